// The ld65 debug file reader: files written by hand (the bank rule, the path split, every way
// a file can be wrong) and files that real ca65 and ld65 builds write.
#include "support/Cc65.h"
#include "support/TempFolder.h"
#include "symbols/Ld65SymbolLibrary.h"

#include <algorithm>
#include <gtest/gtest.h>
#include <memory>
#include <sstream>
#include <string>
#include <vector>

namespace bx::symbols {
namespace {

using test::TempFolder;

// A complete small file: one source, one code segment at $8000, one bank segment at offset
// $C000 (bank 1), one segment linked at a 24-bit address (bank 2), one RAM segment.
const std::string kGood =
    "version\tmajor=2,minor=0\n"
    "info\tcsym=0,file=2,lib=0,line=5,mod=1,scope=1,seg=4,span=5,sym=3,type=0\n"
    "file\tid=0,name=\"a.asm\",size=10,mtime=0x1,mod=0\n"
    "file\tid=1,name=\"/abs/dir/b.asm\",size=10,mtime=0x1,mod=0\n"
    "line\tid=0,file=0,line=3,span=0\n"
    "line\tid=1,file=0,line=4,span=1\n"
    "line\tid=2,file=1,line=7,span=2\n"
    "line\tid=3,file=1,line=8,span=3\n"
    "line\tid=4,file=0,line=9,span=4\n"
    "mod\tid=0,name=\"a.o\",file=0\n"
    "seg\tid=0,name=\"CODE\",start=0x008000,size=0x0004,addrsize=absolute,"
    "type=ro,oname=\"rom.bin\",ooffs=0\n"
    "seg\tid=1,name=\"BANK1\",start=0x004000,size=0x0010,addrsize=absolute,"
    "type=ro,oname=\"rom.bin\",ooffs=49152\n"
    "seg\tid=2,name=\"FAR\",start=0x024000,size=0x0002,addrsize=far,"
    "type=ro,oname=\"far.bin\",ooffs=0\n"
    "seg\tid=3,name=\"BSS\",start=0x000200,size=0x0010,addrsize=absolute,"
    "type=rw\n"
    "span\tid=0,seg=0,start=0,size=2\n"
    "span\tid=1,seg=0,start=2,size=2\n"
    "span\tid=2,seg=1,start=6,size=3\n"
    "span\tid=3,seg=2,start=1,size=1\n"
    "span\tid=4,seg=3,start=0,size=16\n"
    "scope\tid=0,name=\"\",mod=0,size=4\n"
    "sym\tid=0,name=\"start\",addrsize=absolute,scope=0,def=0,val=0x8000,"
    "seg=0,type=lab\n"
    "sym\tid=1,name=\"far\",addrsize=absolute,scope=0,def=0,val=0x24001,"
    "seg=2,type=lab\n"
    "sym\tid=2,name=\"buf\",addrsize=absolute,scope=0,def=0,val=0x200,"
    "seg=3,type=lab\n";

std::string Replace(std::string text, const std::string& from, const std::string& to) {
    const std::size_t at = text.find(from);
    EXPECT_NE(at, std::string::npos) << from;
    return at == std::string::npos ? text : text.replace(at, from.size(), to);
}

// Every symbol as "name address kind", in the order reported.
std::vector<std::string> Symbols(Ld65SymbolLibrary& library, const std::string& filter = "") {
    std::vector<std::string> seen;
    library.EnumerateSymbols(filter, [&seen](const SymbolDefinition& s) {
        std::ostringstream text;
        text << s.Name << " " << std::hex << s.Address << " " << s.Kind;
        seen.push_back(text.str());
    });
    return seen;
}

TEST(Ld65HandWritten, TheGoodFileAnswersWithEveryKindOfBankAlsoWithCrLfAndUnknownRecords) {
    std::string crlf;
    for (char c : kGood)
        crlf += c == '\n' ? "\r\n" : std::string(1, c);
    crlf = Replace(crlf, "mod\tid=0", "future\tsomething=1\r\nmod\tid=0,newkey=\"x\"");
    for (const std::string& text : {kGood, crlf}) {
        Ld65SymbolLibrary library;
        ASSERT_TRUE(library.LoadText(text, "good.sym")) << library.LoadError();
        EXPECT_EQ(library.GetAddress(0, 3), 0x8000);
        EXPECT_EQ(library.GetAddress(0, 4), 0x8002);
        EXPECT_EQ(library.GetAddress(1, 7), 0x14006) << "bank from the file offset";
        EXPECT_EQ(library.GetAddress(1, 8), 0x24001) << "bank from the segment's 24-bit start";
        EXPECT_EQ(library.GetAddress(0, 9), -1) << "only RAM bytes: no code";
        int32_t file = 0, line = 0;
        ASSERT_TRUE(library.FindSource(0x14008, file, line));
        EXPECT_EQ(file, 1);
        EXPECT_EQ(line, 7);
        EXPECT_FALSE(library.FindSource(0x14009, file, line));
        EXPECT_FALSE(library.FindSource(0x0200, file, line)) << "RAM is not code";
        std::string folder, name;
        ASSERT_TRUE(library.GetSourceFile(1, folder, name));
        EXPECT_EQ(folder + "|" + name, "\\abs\\dir|b.asm");
        EXPECT_EQ(Symbols(library),
                  (std::vector<std::string>{"start 8000 Code", "far 24001 Code", "buf 200 Data"}));
    }
}

TEST(Ld65HandWritten, MalformedFilesAreRefusedWithAReasonAndLeaveNothingLoaded) {
    const std::pair<std::string, const char*> cases[] = {
        // the text, a part of the reason
        {"", "empty"},
        {"hello world\n", "version record"},
        {Replace(kGood, "major=2", "major=3"),
         "version 3.0 of the debug file format isn't supported"},
        {Replace(kGood,
                 "info\tcsym=0,file=2,lib=0,line=5,mod=1,scope=1,seg=4,span=5,sym=3,type=0\n", ""),
         "ahead of the info record"},
        {Replace(kGood, "line=5,mod", "line=6,mod"), "5 of 6 line records"},
        {Replace(kGood, "sym=3,type", "sym=2,type"), "beyond the count"},
        {Replace(kGood, "line\tid=1,", "line\tid=0,"), "appears twice"},
        {Replace(kGood, "id=2,file=1,", "id=2,file=2,"), "names file 2"},
        {Replace(kGood, "line=4,span=1", "line=4,span=9"), "names span 9"},
        {Replace(kGood, "id=3,seg=2,", "id=3,seg=7,"), "names segment 7"},
        {Replace(kGood, "id=4,seg=3,start=0,size=16", "id=4,seg=3,start=0"), "no \"size\""},
        {Replace(kGood, "name=\"a.asm\"", "name=\"a.asm"), "can't be read"},
        {kGood.substr(0, kGood.size() - 1), "no line end"},
        {Replace(kGood, "line=5,mod", "line=999999999,mod"), "out of range"},
        {Replace(kGood, "start=0x024000", "start=0xFFFFFF"), "past 24-bit"},
        {Replace(Replace(kGood, "scope=1,seg", "scope=2,seg"),
                 "scope\tid=0,name=\"\",mod=0,size=4\n",
                 "scope\tid=0,name=\"a\",mod=0,parent=1\nscope\tid=1,name=\"b\",mod=0,parent=0\n"),
         "contain each other"},
    };
    for (const auto& [text, reason] : cases) {
        SCOPED_TRACE(reason);
        Ld65SymbolLibrary library;
        ASSERT_TRUE(library.LoadText(kGood, "first.sym")) << library.LoadError();
        EXPECT_FALSE(library.LoadText(text, "bad.sym"));
        EXPECT_NE(library.LoadError().find(reason), std::string::npos) << library.LoadError();
        EXPECT_EQ(library.FileCount(), 0);
        EXPECT_EQ(library.GetAddress(0, 3), -1);
        EXPECT_EQ(library.EnumerateSymbols("", nullptr), 0);
    }
}

TEST(Ld65HandWritten, TheReasonNamesTheFileAndTheLineOrTheFileThatCantBeRead) {
    Ld65SymbolLibrary library;
    EXPECT_FALSE(library.LoadText(Replace(kGood, "size=0x0004", "size=0xZZ"), "\\p\\bad.sym"));
    EXPECT_EQ(library.LoadError(), "The symbol file /p/bad.sym can't be read (line 11): seg 0: "
                                   "\"size\" is no number");
    TempFolder folder;
    EXPECT_TRUE(library.LoadFile(folder.WriteFile("x\\good.sym", kGood))) << library.LoadError();
    EXPECT_EQ(library.GetAddress(0, 3), 0x8000);
    EXPECT_FALSE(library.LoadFile(folder.Sub("missing.sym")));
    EXPECT_EQ(library.LoadError().rfind("Can't read the symbol file ", 0), 0u)
        << library.LoadError();
    EXPECT_EQ(library.GetAddress(0, 3), -1);
    EXPECT_FALSE(library.LoadFile(folder.Sub("x"))) << "a folder is no symbol file";
}

TEST(Ld65BankRule, AddressOfFollowsTheRomImageLayoutAndTheSegmentsOwnBank) {
    struct Case {
        int64_t segStart, offset, outputOffset, expected;
        const char* why;
    };
    for (Case c : {
             Case{0x4000, 0x3FFF, 0x1C000, 0x57FFF, "last byte of bank 5"},
             Case{0x4000, 0, 0x0000, 0x4000, "mode 1: $4000 is unbanked at offset 0"},
             Case{0xC000, 2, 0xC000, 0x1C002, "mode 1: window $C000, bank 1"},
             Case{0xC000, 0, 0x4000, 0xC000, "mode 0: $C000 is unbanked at offset $4000"},
             Case{0x8000, 0, 0x10000, 0x8000, "outside the windows nothing is banked"},
             Case{0x4000, 0, -1, 0x4000, "no output file, no bank from it"},
             Case{0x24000, 0, 0xC000, 0x24000, "the own bank wins over the offset"},
         })
        EXPECT_EQ(Ld65SymbolLibrary::AddressOf(c.segStart, c.offset, c.outputOffset), c.expected)
            << c.why;
}

TEST(Ld65SourcePaths, RecordedPathsSplitIntoFolderAndNameInBackslashForm) {
    const std::pair<const char*, const char*> cases[] = {
        // recorded, "folder|name"
        {"src/inc/m.inc", "src\\inc|m.inc"},
        {"../lib/x.asm", "..\\lib|x.asm"},
        {"/a.asm", "\\|a.asm"},
        {"C:\\work\\a.asm", "C:\\work|a.asm"},
        {"dir/", "dir|"},
    };
    for (const auto& [recorded, expected] : cases) {
        std::string folder = "old", name = "old";
        Ld65SymbolLibrary::SplitSourcePath(recorded, folder, name);
        EXPECT_EQ(folder + "|" + name, expected) << recorded;
    }
}

// ---- Real ld65 builds ------------------------------------------------------------------------

// The banked program of the test support, and in bank 3 nested macros, repeats and a scope,
// built with the real tools; every query of the debug file, and every cut of it refused.
TEST(Ld65RealBuild, TheDebugFileOfABankedProgramAnswersEveryQuery) {
    SKIP_WITHOUT_BUILD_TOOLS();
    TempFolder folder;
    std::vector<std::string> sources = test::WriteBankedProgram(folder);
    sources.push_back("m.asm");             // file 4
    folder.WriteFile("m.asm",               //
                     ".macro inner\n"       // 1
                     "    inx\n"            // 2
                     ".endmacro\n"          // 3
                     ".macro outer\n"       // 4
                     "    dex\n"            // 5
                     "    inner\n"          // 6
                     ".endmacro\n"          // 7
                     ".segment \"BANK3\"\n" // 8
                     ".proc sub\n"          // 9
                     "    outer\n"          // 10 03:4000-4001
                     "@twice: outer\n"      // 11 03:4002-4003
                     ".repeat 3\n"          // 12
                     "    iny\n"            // 13 03:4004, 4005, 4006
                     ".endrepeat\n"         // 14
                     "back: rts\n"          // 15 03:4007
                     ".endproc\n"           // 16
                     "MINUS = -1\n");       // 17
    const test::Cc65Build build =
        test::AssembleAndLink(folder, sources, test::kBankedRomConfig, "rom.bin", "rom.sym");
    ASSERT_TRUE(build.Ok) << build.Log;
    Ld65SymbolLibrary library;
    ASSERT_TRUE(library.LoadFile(folder.Sub("rom.sym"))) << library.LoadError();

    // The linker's file ids, folder and name in backslash form.
    const char* files[] = {"|main.asm",  "inc|macros.inc", "src|b1.asm",
                           "src|b2.asm", "|m.asm",         "|"};
    for (int32_t index : {0, 1, 2, 3, 4, 5, -1}) {
        std::string folder = "old", name = "old";
        EXPECT_EQ(library.GetSourceFile(index, folder, name), index >= 0 && index < 5);
        EXPECT_EQ(folder + "|" + name, files[index >= 0 && index < 5 ? index : 5]) << index;
    }
    // A line with code gives the address of its first byte with its bank: unbanked code, a
    // macro call (where its expansion starts), a label and an instruction on one line, a table
    // in ROM, the vectors, a macro body line, banks 1 and 2 (the slices at file offsets 3 and
    // 4 * $4000), bank 3, the first of two expansions and of three repeats. No code (-1): a
    // comment, zero-page and BSS storage, a label alone, a macro's head, past the end, line 0,
    // a file that isn't there.
    const int32_t lines[][3] = {
        {0, 11, 0x8000},  {0, 13, 0x8003},  {0, 19, 0x8013}, {0, 21, 0x8014},  {0, 23, 0xFFFA},
        {1, 6, 0x8006},   {2, 10, 0x14008}, {3, 6, 0x24002}, {4, 11, 0x34002}, {4, 2, 0x34001},
        {4, 13, 0x34004}, {0, 1, -1},       {0, 6, -1},      {0, 8, -1},       {0, 10, -1},
        {1, 3, -1},       {0, 24, -1},      {0, 0, -1},      {5, 1, -1}};
    for (const auto& [file, line, address] : lines)
        EXPECT_EQ(library.GetAddress(file, line), address) << "file " << file << " line " << line;
    // Every byte of a line's code finds that line (an operand byte too), a macro's code the line
    // that called it. Where no code is (file -1: zero page, fill behind a table, an empty bank,
    // bank 1's address without its bank, behind bank 1's code), nothing is found and the
    // outputs are left alone.
    const int32_t bytes[][3] = {
        {0x8001, 0, 11},  {0x8007, 0, 13},  {0x800A, 0, 15},  {0x8017, 0, 21},
        {0xFFFF, 0, 23},  {0x14007, 2, 9},  {0x24001, 3, 5},  {0x34001, 4, 10},
        {0x34003, 4, 11}, {0x34006, 4, 13}, {0x0000, -1, 0},  {0x8018, -1, 0},
        {0x4000, -1, 0},  {0x4006, -1, 0},  {0x14009, -1, 0}, {-1, -1, 0}};
    for (const auto& [address, file, line] : bytes) {
        int32_t foundFile = 77, foundLine = 88;
        EXPECT_EQ(library.FindSource(address, foundFile, foundLine), file >= 0)
            << std::hex << address;
        EXPECT_EQ(std::make_pair(foundFile, foundLine),
                  file >= 0 ? std::make_pair(file, line) : std::make_pair(77, 88))
            << std::hex << address;
    }

    // Symbols in the order of the file's records (imports and cheap locals left out), with
    // their bank, scoped names qualified, a kind from their segment.
    const std::string text = folder.ReadFile("rom.sym");
    std::vector<std::string> fileOrder, reported, all = Symbols(library);
    std::istringstream records(text);
    for (std::string record; std::getline(records, record);)
        if (record.rfind("sym\t", 0) == 0 && record.find("type=imp") == std::string::npos &&
            record.find("name=\"@") == std::string::npos) {
            const std::size_t name = record.find("name=\"") + 6;
            fileOrder.push_back(record.substr(name, record.find('"', name) - name));
        }
    for (const std::string& symbol : all) {
        const std::string name = symbol.substr(0, symbol.find(' '));
        reported.push_back(name.substr(name.rfind(':') + 1)); // the file has scopes apart
    }
    EXPECT_EQ(reported, fileOrder);
    std::sort(all.begin(), all.end());
    EXPECT_EQ(all, (std::vector<std::string>{"MINUS ffffffff Equate", "PORTVAL 10 Equate",
                                             "bank1fn 14002 Code", "bank2fn 24000 Code",
                                             "buffer 200 Data", "counter 0 Data", "loop 8008 Code",
                                             "nmi 8013 Code", "reset 8000 Code", "sub 34000 Code",
                                             "sub::back 34007 Code", "table 8014 Code"}));
    EXPECT_EQ(library.EnumerateSymbols("code", nullptr), 8) << "the filter ignores case";
    EXPECT_EQ(Symbols(library, "Equate").size(), 2u);

    for (std::size_t length = 0; length < text.size(); ++length) {
        Ld65SymbolLibrary cut;
        EXPECT_FALSE(cut.LoadText(text.substr(0, length), "rom.sym")) << "cut at " << length;
        EXPECT_NE(cut.LoadError(), "") << "cut at " << length;
        EXPECT_EQ(cut.FileCount(), 0);
    }
}

} // namespace
} // namespace bx::symbols
