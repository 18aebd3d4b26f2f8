// The Symbler over its symbol library: loading and its traces, the empty answers before a
// load, source paths, lines and addresses, and the labels as symbol watches; on a fake library
// and on real ld65 debug files.

#include "debug/Symbler.h"
#include "foundation/Diagnoser.h"
#include "support/Cc65Toolchain.h"
#include "support/FakeSymbolLibrary.h"
#include "support/TempFolder.h"
#include "symbols/Ld65SymbolLibrary.h"

#include <gtest/gtest.h>
#include <sstream>

namespace bx {
namespace {

using test::FakeSymbolLibrary;
using test::TempFolder;
using Strings = std::vector<std::string>;

// The trace lines after the first (the date and time of the log's creation).
Strings TraceLines(const TempFolder& folder) {
    std::istringstream text(folder.ReadFile("vkbx.log"));
    Strings lines;
    std::string line;
    std::getline(text, line);
    while (std::getline(text, line))
        lines.push_back(line);
    return lines;
}

// A Symbler on a fake library, tracing into a log of its own.
class SymblerOnFake : public ::testing::Test {
protected:
    void Load() {
        fake->LoadSucceeds = true;
        symbler.ListFilePath("C:\\work\\app.sym");
        ASSERT_TRUE(symbler.Loaded());
    }

    TempFolder logFolder;
    Diagnoser diagnoser{logFolder.Sub("vkbx.log")};
    FakeSymbolLibrary* fake = nullptr;
    Symbler symbler{[this] {
                        auto library = std::make_unique<FakeSymbolLibrary>();
                        fake = library.get();
                        return library;
                    },
                    diagnoser};
};

TEST_F(SymblerOnFake, CreationLoadsNothingAndListFilePathLoadsAndTracesTheOutcome) {
    EXPECT_FALSE(symbler.Loaded());
    EXPECT_TRUE(fake->Calls.empty());

    symbler.ListFilePath("C:\\work\\app.sym");
    EXPECT_TRUE(symbler.Loaded());
    EXPECT_EQ(symbler.SymbolFilePath(), "C:\\work\\app.sym");
    EXPECT_EQ(fake->Calls, Strings{"LoadFile C:\\work\\app.sym"});

    fake->LoadSucceeds = false;
    symbler.ListFilePath("C:\\work\\other.sym");
    EXPECT_FALSE(symbler.Loaded());
    EXPECT_EQ(symbler.SymbolFilePath(), "C:\\work\\other.sym");
    EXPECT_EQ(symbler.LoadError(), "the fake refuses");
    EXPECT_EQ(TraceLines(logFolder),
              (Strings{"M1030 S1100 ", "M1030 S1110 ", "M1030 S1010 ", "M1030 S1020 True",
                       "M1030 S1010 ", "M1030 S1020 False"}));

    // A load that throws is not caught and leaves nothing loaded.
    Load();
    fake->ThrowOnLoad = true;
    EXPECT_THROW(symbler.ListFilePath("x.sym"), BxError);
    EXPECT_FALSE(symbler.Loaded());
    EXPECT_EQ(TraceLines(logFolder).back(), "M1030 S1010 ") << "no 1020 after a throw";
}

TEST_F(SymblerOnFake, WithNothingLoadedEveryQueryGivesItsEmptyAnswerWithoutAskingTheLibrary) {
    fake->Files[0] = {"src", "a.asm"};
    fake->LineAddresses[{0, 3}] = 0x8000;
    fake->Sources[0x8000] = {0, 3};
    fake->Symbols.push_back({"reset", 0x8000, "Code"});
    for (bool failedLoad : {false, true}) {
        SCOPED_TRACE(failedLoad ? "after a failed load" : "before any load");
        if (failedLoad) {
            Load();
            fake->LoadSucceeds = false;
            symbler.ListFilePath("broken.sym");
        }
        fake->Calls.clear();
        int32_t file = 9, line = 9;
        EXPECT_EQ(symbler.GetPC(0, 3), -1);
        EXPECT_EQ(symbler.GetSourcePath(0), "");
        EXPECT_EQ(symbler.GetLabelsAsWatches(failedLoad), nullptr);
        EXPECT_FALSE(symbler.GetSourceAt(0, 0x8000, file, line));
        EXPECT_EQ(file, 9);
        EXPECT_TRUE(fake->Calls.empty());
    }
}

TEST_F(SymblerOnFake, SourcePathsJoinFolderAndNameWithExactlyOneBackslash) {
    Load();
    const std::tuple<const char*, const char*, const char*> cases[] = {
        {"src/", "a.asm", "src\\a.asm"},
        {"src", "a.asm", "src\\a.asm"},
        {"src\\", "a.asm", "src\\a.asm"},
        {"", "a.asm", "a.asm"},
        {"C:\\x", "\\y.asm", "\\y.asm"},
        {"C:\\x", "/y.asm", "/y.asm"},
        {"C:\\x", "D:\\y.asm", "D:\\y.asm"},
        {"C:\\x", "D:", "C:\\x\\D:"}, // too short to be a drive path
        {"src", "", "src\\"},
        {"\\", "a.asm", "\\a.asm"},
        {"..\\lib", "m.inc", "..\\lib\\m.inc"},
    };
    int32_t index = 0;
    for (const auto& [folder, name, path] : cases)
        fake->Files[index++] = {folder, name};
    index = 0;
    for (const auto& [folder, name, path] : cases)
        EXPECT_EQ(symbler.GetSourcePath(index++), path)
            << "folder \"" << folder << "\" name \"" << name << "\"";
    EXPECT_EQ(symbler.GetSourcePath(index), "") << "no such file";
}

TEST_F(SymblerOnFake, GetPCAndGetSourceAtPassTheLibrarysAnswersAndIgnoreTheBank) {
    Load();
    fake->LineAddresses[{2, 9}] = 0x14006;
    fake->Sources[0x14006] = {2, 9};
    EXPECT_EQ(symbler.GetPC(2, 9), 0x14006);
    EXPECT_EQ(symbler.GetPC(2, 5), -1);
    int32_t file = 0, line = 0;
    EXPECT_TRUE(symbler.GetSourceAt(7, 0x14006, file, line)) << "the bank argument plays no part";
    EXPECT_EQ(file, 2);
    EXPECT_EQ(line, 9);
    EXPECT_FALSE(symbler.GetSourceAt(1, 0x4006, file, line))
        << "the bank must be inside the address";
    EXPECT_EQ(fake->Calls.back(), "FindSource 16390");
}

TEST_F(SymblerOnFake, CodeLabelsFromTheRomAndOtherSymbolsBelowItBecomeSymbolWatches) {
    Load();
    symbler.SymbolDefinition("stray", 0x8000, "Code"); // outside a collection: ignored
    fake->Symbols = {
        {"reset", 0x8000, "Code"},    // taken
        {"bank1fn", 0x14002, "Code"}, // taken, with its bank
        {"lowcode", 16383, "Code"},   // a code label below $4000: left out
        {"edge", 16384, "Code"},      // taken
        {"buffer", 0x0200, "Data"},   // taken
        {"romtable", 16384, "Data"},  // data at $4000: left out
        {"PORT", 0x10, "Equate"},     // taken
        {"BIG", 0x12345, "Equate"},   // left out
        {"mixed", 0x9000, "ExtCODE"}, // "Code" in any case counts
        {"reset", 0x8004, "Code"},    // the same name again: the first stays
    };
    std::unique_ptr<Watches> watches = symbler.GetLabelsAsWatches(false);
    ASSERT_NE(watches, nullptr);
    EXPECT_EQ(fake->Calls.back(), "EnumerateSymbols ");
    Strings seen;
    for (const auto& entry : *watches)
        seen.push_back(entry.item->Title + " " + entry.item->Location + " " + entry.item->Category);
    EXPECT_EQ(seen,
              (Strings{"reset 00:8000 Symbol", "bank1fn 01:4002 Symbol", "edge 00:4000 Symbol",
                       "buffer 00:0200 Symbol", "PORT 00:0010 Symbol", "mixed 00:9000 Symbol"}));

    // Each call gives a fresh list; code only asks the library for code.
    std::unique_ptr<Watches> again = symbler.GetLabelsAsWatches(false);
    EXPECT_NE(again->Item("reset", "Symbol"), watches->Item("reset", "Symbol"));
    fake->Symbols = {{"reset", 0x8000, "Code"}, {"buffer", 0x0200, "Data"}};
    std::unique_ptr<Watches> code = symbler.GetLabelsAsWatches(true);
    ASSERT_NE(code, nullptr);
    EXPECT_EQ(fake->Calls.back(), "EnumerateSymbols Code");
    EXPECT_EQ(code->Count(), 1u);
}

// ---- On real debug files ----------------------------------------------------------------------

TEST(SymblerOnLd65File, TheBankedProgramGivesPathsLinesAndWatches) {
    if (!test::Cc65Available())
        GTEST_SKIP() << test::kNoCc65;
    TempFolder folder;
    test::Cc65Build build = test::BuildBankedProgram(folder);
    ASSERT_TRUE(build.Ok) << build.Log;
    Diagnoser diagnoser(folder.Sub("vkbx.log"));
    Symbler symbler([] { return std::make_unique<symbols::Ld65SymbolLibrary>(); }, diagnoser);
    symbler.ListFilePath(folder.Sub("rom.sym"));
    ASSERT_TRUE(symbler.Loaded()) << symbler.LoadError();

    Strings paths;
    for (int32_t file = 0; file <= 4; ++file)
        paths.push_back(symbler.GetSourcePath(file));
    EXPECT_EQ(paths, (Strings{"main.asm", "inc\\macros.inc", "src\\b1.asm", "src\\b2.asm", ""}));
    EXPECT_EQ(symbler.GetPC(2, 9), 0x14006);
    EXPECT_LT(symbler.GetPC(0, 14), 1);
    int32_t file = 0, line = 0;
    ASSERT_TRUE(symbler.GetSourceAt(0, 0x8005, file, line));
    EXPECT_EQ(file, 0);
    EXPECT_EQ(line, 13);

    std::unique_ptr<Watches> all = symbler.GetLabelsAsWatches(false);
    ASSERT_NE(all, nullptr);
    EXPECT_EQ(all->Count(), 9u);
    ASSERT_NE(all->Item("bank1fn", "Symbol"), nullptr);
    EXPECT_EQ(all->Item("bank1fn", "Symbol")->Location, "01:4002");
    ASSERT_NE(all->Item("buffer", "Symbol"), nullptr);
    EXPECT_EQ(all->Item("buffer", "Symbol")->Location, "00:0200");
    std::unique_ptr<Watches> code = symbler.GetLabelsAsWatches(true);
    ASSERT_NE(code, nullptr);
    EXPECT_EQ(code->Count(), 6u);
    EXPECT_EQ(code->Item("buffer", "Symbol"), nullptr);
    EXPECT_EQ(TraceLines(folder).back(), "M1030 S1020 True");
}

TEST(SymblerOnLd65File, SourcePathsRebuildThePathTheLinkerRecordedRelativeOrRooted) {
    TempFolder folder;
    const std::pair<std::string, std::string> recorded[] = {
        {"main.asm", "main.asm"},
        {"src/b1.asm", "src\\b1.asm"},
        {"src/inc/m.inc", "src\\inc\\m.inc"},
        {"../up/y.inc", "..\\up\\y.inc"},
        {"/abs/dir/x.asm", "\\abs\\dir\\x.asm"},
        {"/root.asm", "\\root.asm"},
    };
    std::string text = "version\tmajor=2,minor=0\ninfo\tfile=6,line=0,seg=0,span=0,sym=0,scope=0,"
                       "mod=0\n";
    for (int i = 0; i < 6; ++i)
        text += "file\tid=" + std::to_string(i) + ",name=\"" + recorded[i].first + "\"\n";
    Diagnoser diagnoser(folder.Sub("vkbx.log"));
    Symbler symbler([] { return std::make_unique<symbols::Ld65SymbolLibrary>(); }, diagnoser);
    symbler.ListFilePath(folder.WriteFile("paths.sym", text));
    ASSERT_TRUE(symbler.Loaded()) << symbler.LoadError();
    for (int i = 0; i < 6; ++i)
        EXPECT_EQ(symbler.GetSourcePath(i), recorded[i].second) << recorded[i].first;
}

} // namespace
} // namespace bx
