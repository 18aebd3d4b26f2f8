// The Symbler over its symbol library: loading and its traces, the empty answers before a
// load, source paths, lines and addresses, and the labels as symbol watches; on a fake library
// and on a real ca65/ld65 build.

#include "debug/SymblerRig.h"

#include <gtest/gtest.h>
#include <sstream>

namespace bx {
namespace {

using test::TempFolder;
using Strings = std::vector<std::string>;

// The trace lines after the first (the date and time of the log's creation).
Strings TraceLines(const TempFolder& folder) {
    std::istringstream text(folder.ReadFile("vkbx.log"));
    Strings lines;
    for (std::string line; std::getline(text, line);)
        lines.push_back(line);
    return Strings(lines.begin() + 1, lines.end());
}

class SymblerOnFake : public ::testing::Test, public test::FakeSymbler {};

TEST_F(SymblerOnFake, ListFilePathLoadsAndTracesTheOutcomeAndALoadErrorIsNotCaught) {
    EXPECT_TRUE(fake->Calls.empty()) << "creation loads nothing";
    symbler.ListFilePath("C:\\work\\app.sym");
    EXPECT_TRUE(symbler.Loaded());
    EXPECT_EQ(fake->Calls, Strings{"LoadFile C:\\work\\app.sym"});
    fake->LoadSucceeds = false;
    symbler.ListFilePath("C:\\work\\other.sym");
    EXPECT_FALSE(symbler.Loaded());
    EXPECT_EQ(symbler.SymbolFilePath(), "C:\\work\\other.sym");
    EXPECT_EQ(symbler.LoadError(), "the fake refuses");
    fake->ThrowOnLoad = true;
    EXPECT_THROW(symbler.ListFilePath("x.sym"), BxError);
    EXPECT_EQ(TraceLines(logFolder),
              (Strings{"M1030 S1100 ", "M1030 S1110 ", "M1030 S1010 ", "M1030 S1020 True",
                       "M1030 S1010 ", "M1030 S1020 False", "M1030 S1010 "}))
        << "no 1020 after a throw";
}

TEST_F(SymblerOnFake, SourcePathsJoinFolderAndNameWithExactlyOneBackslash) {
    symbler.ListFilePath("app.sym");
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
    };
    for (const auto& [folder, name, path] : cases) {
        fake->Files[0] = {folder, name};
        EXPECT_EQ(symbler.GetSourcePath(0), path) << "\"" << folder << "\" \"" << name << "\"";
    }
    EXPECT_EQ(symbler.GetSourcePath(1), "") << "no such file";
}

TEST_F(SymblerOnFake, CodeLabelsFromTheRomAndOtherSymbolsBelowItBecomeSymbolWatches) {
    symbler.ListFilePath("app.sym");
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
    EXPECT_EQ(fake->Calls.back(), "EnumerateSymbols ");
    Strings seen;
    for (const auto& entry : *watches)
        seen.push_back(entry.item->Title + " " + entry.item->Location + " " + entry.item->Category);
    EXPECT_EQ(seen,
              (Strings{"reset 00:8000 Symbol", "bank1fn 01:4002 Symbol", "edge 00:4000 Symbol",
                       "buffer 00:0200 Symbol", "PORT 00:0010 Symbol", "mixed 00:9000 Symbol"}));
    EXPECT_NE(symbler.GetLabelsAsWatches(false)->Item("reset", "Symbol"),
              watches->Item("reset", "Symbol"))
        << "each call gives a fresh list";
    symbler.GetLabelsAsWatches(true);
    EXPECT_EQ(fake->Calls.back(), "EnumerateSymbols Code");
}

TEST(SymblerOnLd65File, TheBankedProgramGivesPathsLinesAndWatches) {
    SKIP_WITHOUT_BUILD_TOOLS();
    test::Ld65Symbler built;
    ASSERT_TRUE(built.build.Ok) << built.build.Log;
    Symbler& symbler = built.symbler;
    ASSERT_TRUE(symbler.Loaded()) << symbler.LoadError();

    Strings paths;
    for (int32_t file = 0; file <= 4; ++file)
        paths.push_back(symbler.GetSourcePath(file));
    EXPECT_EQ(paths, (Strings{"main.asm", "inc\\macros.inc", "src\\b1.asm", "src\\b2.asm", ""}));
    EXPECT_EQ(symbler.GetPC(2, 9), 0x14006);
    int32_t file = 0, line = 0;
    ASSERT_TRUE(symbler.GetSourceAt(0, 0x8005, file, line));
    EXPECT_EQ(file * 100 + line, 13);
    std::unique_ptr<Watches> all = symbler.GetLabelsAsWatches(false);
    EXPECT_EQ(all->Count(), 9u);
    EXPECT_EQ(all->Item("bank1fn", "Symbol")->Location, "01:4002");
    EXPECT_EQ(symbler.GetLabelsAsWatches(true)->Count(), 6u) << "code only";
}

} // namespace
} // namespace bx
