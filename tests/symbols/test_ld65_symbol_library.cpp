#include "support/Cc65Toolchain.h"
#include "support/TempFolder.h"
#include "symbols/Ld65SymbolLibrary.h"

#include <algorithm>
#include <gtest/gtest.h>
#include <memory>
#include <sstream>
#include <utility>
#include <vector>

namespace bx::symbols {
namespace {

using test::TempFolder;

// The banked program of the test support, built once for all tests of this suite.
class BankedProgram : public ::testing::Test {
protected:
    static void SetUpTestSuite() {
        if (!test::Cc65Available())
            return;
        folder_ = std::make_unique<TempFolder>();
        test::Cc65Build build = test::BuildBankedProgram(*folder_);
        buildLog_ = build.Log;
        built_ = build.Ok;
    }
    static void TearDownTestSuite() { folder_.reset(); }

    void SetUp() override {
        if (!test::Cc65Available())
            GTEST_SKIP() << test::kNoCc65;
        ASSERT_TRUE(built_) << buildLog_;
        ASSERT_TRUE(library.LoadFile(folder_->Sub("rom.sym"))) << library.LoadError();
    }

    static std::string SymbolFileText() { return folder_->ReadFile("rom.sym"); }

    Ld65SymbolLibrary library;

private:
    static inline std::unique_ptr<TempFolder> folder_;
    static inline std::string buildLog_;
    static inline bool built_ = false;
};

// ---- Files ------------------------------------------------------------------------------------

TEST_F(BankedProgram, SourceFilesAreTheLinkersFileIdsWithFolderAndNameInBackslashForm) {
    struct Expected {
        int32_t index;
        const char* folder;
        const char* name;
    };
    for (Expected e : {Expected{0, "", "main.asm"}, Expected{1, "inc", "macros.inc"},
                       Expected{2, "src", "b1.asm"}, Expected{3, "src", "b2.asm"}}) {
        std::string folder = "old", name = "old";
        ASSERT_TRUE(library.GetSourceFile(e.index, folder, name)) << e.index;
        EXPECT_EQ(folder, e.folder) << e.index;
        EXPECT_EQ(name, e.name) << e.index;
    }
    EXPECT_EQ(library.FileCount(), 4);
}

TEST_F(BankedProgram, AnIndexWithNoFileIsNotFoundAndClearsTheTexts) {
    for (int32_t index : {4, -1, 1000}) {
        std::string folder = "old", name = "old";
        EXPECT_FALSE(library.GetSourceFile(index, folder, name)) << index;
        EXPECT_EQ(folder, "");
        EXPECT_EQ(name, "");
    }
}

// ---- Line to address --------------------------------------------------------------------------

TEST_F(BankedProgram, LinesWithCodeGiveTheAddressOfTheirFirstByteWithTheirBank) {
    struct Case {
        int32_t file, line, address;
    };
    for (Case c : {
             Case{0, 11, 0x8000},  // unbanked code
             Case{0, 12, 0x8002},  //
             Case{0, 13, 0x8003},  // a macro call: where its expansion starts
             Case{0, 15, 0x8008},  //
             Case{0, 19, 0x8013},  // a label and an instruction on one line
             Case{0, 21, 0x8014},  // a table in ROM has bytes in the image too
             Case{0, 23, 0xFFFA},  // the vectors
             Case{1, 4, 0x8003},   // macro body lines, from the one expansion
             Case{1, 5, 0x8004},   //
             Case{1, 6, 0x8006},   //
             Case{2, 4, 0x14000},  // bank 1, from the slice at file offset 3 * $4000
             Case{2, 9, 0x14006},  //
             Case{2, 10, 0x14008}, //
             Case{3, 5, 0x24000},  // bank 2, at file offset 4 * $4000
             Case{3, 6, 0x24002},
         })
        EXPECT_EQ(library.GetAddress(c.file, c.line), c.address)
            << "file " << c.file << " line " << c.line;
}

TEST_F(BankedProgram, LinesWithoutCodeGiveMinusOne) {
    struct Case {
        int32_t file, line;
        const char* why;
    };
    for (Case c : {
             Case{0, 1, "a comment"},
             Case{0, 2, "an .include"},
             Case{0, 6, "zero-page storage: no bytes in the image"},
             Case{0, 8, "BSS storage: no bytes in the image"},
             Case{0, 10, "a label alone"},
             Case{1, 2, "an equate"},
             Case{1, 3, "the macro's head"},
             Case{0, 24, "past the end of the file"},
             Case{0, 0, "line 0"},
             Case{0, -3, "a negative line"},
             Case{4, 1, "a file that isn't there"},
             Case{-1, 11, "a negative file index"},
         })
        EXPECT_EQ(library.GetAddress(c.file, c.line), -1) << c.why;
}

// ---- Address to line --------------------------------------------------------------------------

TEST_F(BankedProgram, EveryByteOfALinesCodeFindsThatLine) {
    struct Case {
        int32_t address, file, line;
    };
    for (Case c : {
             Case{0x8000, 0, 11},
             Case{0x8001, 0, 11}, // the operand byte
             Case{0x8002, 0, 12},
             Case{0x8008, 0, 15},
             Case{0x800A, 0, 15},
             Case{0x8013, 0, 19},
             Case{0x8017, 0, 21}, // last byte of the table
             Case{0xFFFF, 0, 23},
             Case{0x14000, 2, 4},
             Case{0x14006, 2, 9},
             Case{0x14007, 2, 9},
             Case{0x14008, 2, 10},
             Case{0x24001, 3, 5},
         }) {
        int32_t file = -5, line = -5;
        ASSERT_TRUE(library.FindSource(c.address, file, line)) << std::hex << c.address;
        EXPECT_EQ(file, c.file) << std::hex << c.address;
        EXPECT_EQ(line, c.line) << std::hex << c.address;
    }
}

TEST_F(BankedProgram, CodeOfAMacroFindsTheLineThatCalledItNotTheMacroBody) {
    for (int32_t address = 0x8003; address <= 0x8007; ++address) {
        int32_t file = -1, line = -1;
        ASSERT_TRUE(library.FindSource(address, file, line)) << std::hex << address;
        EXPECT_EQ(file, 0) << std::hex << address;
        EXPECT_EQ(line, 13) << std::hex << address;
    }
}

TEST_F(BankedProgram, AddressesNoCodeCoversAreNotFoundAndLeaveTheOutputsAlone) {
    for (int32_t address : {
             0x0000,  // zero page: storage, not code
             0x0200,  // BSS
             0x7FFF,  //
             0x8018,  // behind the table, before the vectors: fill
             0x4000,  // bank 0 holds nothing
             0x4006,  // bank 1's address without its bank
             0x14009, // behind bank 1's code
             0x34000, // bank 3 holds nothing
             -1,
         }) {
        int32_t file = 77, line = 88;
        EXPECT_FALSE(library.FindSource(address, file, line)) << std::hex << address;
        EXPECT_EQ(file, 77);
        EXPECT_EQ(line, 88);
    }
}

TEST_F(BankedProgram, FindSourceOfALinesAddressGivesThatLineBack) {
    for (int32_t file = 0; file < 4; ++file)
        for (int32_t line = 1; line <= 23; ++line) {
            int32_t address = library.GetAddress(file, line);
            if (address < 1 || file == 1)
                continue; // macro body lines give their caller, tested above
            int32_t foundFile = -1, foundLine = -1;
            ASSERT_TRUE(library.FindSource(address, foundFile, foundLine));
            EXPECT_EQ(foundFile, file);
            EXPECT_EQ(foundLine, line);
        }
}

// ---- Symbols ----------------------------------------------------------------------------------

std::vector<std::string> Describe(Ld65SymbolLibrary& library, const std::string& filter,
                                  int32_t& count) {
    std::vector<std::string> seen;
    count = library.EnumerateSymbols(filter, [&seen](const SymbolDefinition& s) {
        std::ostringstream text;
        text << s.Name << " " << std::hex << s.Address << " " << s.Kind;
        seen.push_back(text.str());
    });
    return seen;
}

TEST_F(BankedProgram, SymbolsCarryTheirBankAndAKindFromTheirSegment) {
    int32_t count = 0;
    std::vector<std::string> all = Describe(library, "", count);
    EXPECT_EQ(count, static_cast<int32_t>(all.size()));
    std::vector<std::string> expected = {
        "reset 8000 Code",   "loop 8008 Code",     "nmi 8013 Code",
        "table 8014 Code",   "counter 0 Data",     "buffer 200 Data",
        "PORTVAL 10 Equate", "bank1fn 14002 Code", "bank2fn 24000 Code",
    };
    std::vector<std::string> sortedAll = all, sortedExpected = expected;
    std::sort(sortedAll.begin(), sortedAll.end());
    std::sort(sortedExpected.begin(), sortedExpected.end());
    EXPECT_EQ(sortedAll, sortedExpected) << "each symbol once: the imports of bank1fn and "
                                            "bank2fn in main.asm are not symbols of their own";
}

TEST_F(BankedProgram, SymbolsComeInTheOrderOfTheFile) {
    // The order of the sym records, skipping the two import records.
    std::vector<std::string> fileOrder;
    std::istringstream text(SymbolFileText());
    for (std::string record; std::getline(text, record);) {
        if (record.rfind("sym\t", 0) != 0 || record.find("type=imp") != std::string::npos)
            continue;
        std::size_t name = record.find("name=\"") + 6;
        fileOrder.push_back(record.substr(name, record.find('"', name) - name));
    }
    std::vector<std::string> reported;
    library.EnumerateSymbols("", [&](const SymbolDefinition& s) { reported.push_back(s.Name); });
    EXPECT_EQ(reported, fileOrder);
}

TEST_F(BankedProgram, TheCodeFilterReportsOnlyCodeLabels) {
    int32_t count = 0;
    std::vector<std::string> code = Describe(library, "Code", count);
    EXPECT_EQ(count, 6);
    ASSERT_EQ(code.size(), 6u);
    for (const std::string& s : code)
        EXPECT_NE(s.find(" Code"), std::string::npos) << s;
    EXPECT_EQ(library.EnumerateSymbols("code", nullptr), 6) << "the filter ignores case";
    EXPECT_EQ(library.EnumerateSymbols("Equate", nullptr), 1);
}

// ---- Loading again, and failing -------------------------------------------------------------

TEST_F(BankedProgram, AFailedLoadLeavesNothingLoaded) {
    EXPECT_FALSE(library.LoadFile("\\no\\such\\file.sym"));
    EXPECT_NE(library.LoadError().find("Can't read the symbol file"), std::string::npos);
    std::string folder, name;
    int32_t file = 0, line = 0;
    EXPECT_FALSE(library.GetSourceFile(0, folder, name));
    EXPECT_EQ(library.GetAddress(0, 11), -1);
    EXPECT_FALSE(library.FindSource(0x8000, file, line));
    EXPECT_EQ(library.EnumerateSymbols("", nullptr), 0);
}

TEST_F(BankedProgram, EveryCutOfTheFileIsRefusedWithAReason) {
    const std::string text = SymbolFileText();
    ASSERT_TRUE(library.LoadText(text, "rom.sym"));
    EXPECT_EQ(library.LoadError(), "");
    for (std::size_t length = 0; length < text.size(); ++length) {
        Ld65SymbolLibrary cut;
        EXPECT_FALSE(cut.LoadText(text.substr(0, length), "rom.sym")) << "cut at " << length;
        EXPECT_NE(cut.LoadError(), "") << "cut at " << length;
        EXPECT_EQ(cut.FileCount(), 0);
    }
}

TEST_F(BankedProgram, CorruptBytesNeverCrashTheReader) {
    const std::string text = SymbolFileText();
    uint32_t seed = 12345;
    auto next = [&seed] {
        seed = seed * 1103515245u + 12345u;
        return seed >> 8;
    };
    const char noise[] = "\n\r\t,=\"+x0123456789abcdefABCDEFid=seg=span=line=file=";
    int refused = 0;
    for (int round = 0; round < 2000; ++round) {
        std::string corrupt = text;
        for (int k = 0; k < 1 + round % 4; ++k)
            corrupt[next() % corrupt.size()] = noise[next() % (sizeof noise - 1)];
        Ld65SymbolLibrary library2;
        if (!library2.LoadText(corrupt, "x.sym")) {
            ++refused;
            EXPECT_NE(library2.LoadError(), "");
            continue;
        }
        // Whatever it accepted answers without harm.
        int32_t file = 0, line = 0;
        library2.FindSource(0x8000, file, line);
        library2.GetAddress(0, 11);
        library2.EnumerateSymbols("", nullptr);
    }
    EXPECT_GT(refused, 0);
}

// ---- Macros nested in macros, repeats ---------------------------------------------------------

TEST(Ld65SymbolLibraryMacros, NestedMacrosAndRepeatsFindTheCallingLineAndTheLowestAddress) {
    if (!test::Cc65Available())
        GTEST_SKIP() << test::kNoCc65;
    TempFolder folder;
    folder.WriteFile("m.asm",              //
                     ".macro inner\n"      // 1
                     "    inx\n"           // 2
                     ".endmacro\n"         // 3
                     ".macro outer\n"      // 4
                     "    dex\n"           // 5
                     "    inner\n"         // 6
                     ".endmacro\n"         // 7
                     ".segment \"CODE\"\n" // 8
                     "    nop\n"           // 9  8000
                     "    outer\n"         // 10 8001-8002
                     "    outer\n"         // 11 8003-8004
                     ".repeat 3\n"         // 12
                     "    iny\n"           // 13 8005, 8006, 8007
                     ".endrepeat\n"        // 14
                     "    rts\n");         // 15 8008
    test::Cc65Build build =
        test::AssembleAndLink(folder, {"m.asm"}, test::kBankedRomConfig, "m.bin", "m.sym");
    ASSERT_TRUE(build.Ok) << build.Log;
    Ld65SymbolLibrary library;
    ASSERT_TRUE(library.LoadFile(folder.Sub("m.sym"))) << library.LoadError();

    EXPECT_EQ(library.GetAddress(0, 10), 0x8001);
    EXPECT_EQ(library.GetAddress(0, 11), 0x8003);
    EXPECT_EQ(library.GetAddress(0, 2), 0x8002) << "the first of two expansions";
    EXPECT_EQ(library.GetAddress(0, 13), 0x8005) << "the first of three repeats";
    struct Case {
        int32_t address, line;
    };
    for (Case c : {Case{0x8000, 9}, Case{0x8001, 10}, Case{0x8002, 10}, Case{0x8003, 11},
                   Case{0x8004, 11}, Case{0x8005, 13}, Case{0x8007, 13}, Case{0x8008, 15}}) {
        int32_t file = -1, line = -1;
        ASSERT_TRUE(library.FindSource(c.address, file, line)) << std::hex << c.address;
        EXPECT_EQ(file, 0);
        EXPECT_EQ(line, c.line) << std::hex << c.address;
    }
}

TEST(Ld65SymbolLibraryScopes, ScopedLabelsAreQualifiedAndCheapLocalsLeftOut) {
    if (!test::Cc65Available())
        GTEST_SKIP() << test::kNoCc65;
    TempFolder folder;
    folder.WriteFile("p.asm", ".segment \"CODE\"\n"
                              ".proc outer\n"
                              "    ldx #3\n"
                              "@again: dex\n"
                              "    bne @again\n"
                              "inner: rts\n"
                              ".endproc\n"
                              "MINUS = -1\n");
    test::Cc65Build build =
        test::AssembleAndLink(folder, {"p.asm"}, test::kBankedRomConfig, "p.bin", "p.sym");
    ASSERT_TRUE(build.Ok) << build.Log;
    Ld65SymbolLibrary library;
    ASSERT_TRUE(library.LoadFile(folder.Sub("p.sym"))) << library.LoadError();
    std::vector<std::pair<std::string, int32_t>> seen;
    library.EnumerateSymbols(
        "", [&](const SymbolDefinition& s) { seen.emplace_back(s.Name, s.Address); });
    std::sort(seen.begin(), seen.end());
    std::vector<std::pair<std::string, int32_t>> expected = {
        {"MINUS", -1}, {"outer", 0x8000}, {"outer::inner", 0x8005}};
    EXPECT_EQ(seen, expected);
}

} // namespace
} // namespace bx::symbols
