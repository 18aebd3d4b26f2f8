#include "appliance/Appliance.h"
#include "debug/Symbler.h"
#include "foundation/Diagnoser.h"
#include "foundation/Error.h"
#include "inspectors/SourceLineModel.h"
#include "support/Cc65Toolchain.h"
#include "support/FakeEmulator.h"
#include "support/FakeSymbolLibrary.h"
#include "support/TempFolder.h"
#include "support/TestDoubles.h"
#include "symbols/Ld65SymbolLibrary.h"

#include <gtest/gtest.h>

namespace bx {
namespace {

using test::FakeEmulator;
using test::FakeSymbolLibrary;
using test::TempFolder;

// Twelve rows of 240 twips fit the view, so the large change is 10.
constexpr double kRow = 240;
constexpr double kBlank = 120;

// A view of file 2 of a fake library, over an image "rom.bin" loaded at $8000:
//   line 1 no code          line 2 $8000 (1 byte)   line 3 $8001 (2)   line 4 $8003 (3)
//   line 5 $8006 (5 bytes)  lines 6, 7 no code      line 8 $800B, the last line with code
//   line 9 01:4006 (banked)  line 10 $4000 (in the window)  line 11 $20000 (above 64 KB)
class SourceLineModelTest : public ::testing::Test {
protected:
    SourceLineModelTest() {
        const int32_t code[][2] = {{2, 0x8000}, {3, 0x8001},  {4, 0x8003},  {5, 0x8006},
                                   {8, 0x800B}, {9, 0x14006}, {10, 0x4000}, {11, 0x20000}};
        for (const auto& [line, address] : code)
            fake->LineAddresses[{2, line}] = address;
        symbler.ListFilePath("app.sym");
        WriteImage({0xEA, 0xA9, 0x10, 0x20, 0x00, 0x90, 0xA2, 0xFF, 0x9A, 0x18, 0x69, 0x60});
        appliance.Folder = folder.Path() + "\\";
        appliance.RunTarget()->OutputPath = "rom.bin";
        appliance.ProgramStart = 0x8000;
        model.SetAppliance(&appliance);
        model.SetEmulator(emulator);
        model.SetSymbols(&symbler);
        model.SetFileId(2);
        model.SetTextMetrics(kBlank, kRow);
        model.Resize(12 * kRow);
        model.Prompts = &prompter;
        model.Repaint = [this] { ++repaints; };
        model.TipChanged = [this](const std::string& tip) { tips.push_back(tip); };
    }

    void WriteImage(const std::vector<uint8_t>& bytes) {
        folder.WriteFile("rom.bin", std::string(bytes.begin(), bytes.end()));
    }
    void AddLines(int32_t count) {
        for (int32_t n = 1; n <= count; ++n)
            model.AddLine("text " + std::to_string(n));
    }

    TempFolder folder;
    Diagnoser diagnoser{folder.Sub("vkbx.log")};
    FakeSymbolLibrary* fake = nullptr;
    Symbler symbler{[this] {
                        auto library = std::make_unique<FakeSymbolLibrary>();
                        fake = library.get();
                        return library;
                    },
                    diagnoser};
    Appliance appliance;
    std::shared_ptr<FakeEmulator> emulator = std::make_shared<FakeEmulator>();
    test::ScriptedPrompter prompter;
    SourceLineModel model;
    int repaints = 0;
    std::vector<std::string> tips;
};

// ---- The prefix -----------------------------------------------------------------------------

TEST_F(SourceLineModelTest, EachLineCarriesTheAddressAndBytesOfItsCode) {
    AddLines(11);
    const std::string blank(15, ' ');
    const std::string expected[] = {
        blank,             // no code
        "8000 EA        ", // one byte, then six blanks and two
        "8001 A9 10     ", // two bytes
        "8003 20 00 90  ", // three bytes
        "8006 A2 FF 9A..", // five bytes: three shown, the rest cut off
        blank,
        blank,
        "800B 60 ?? ??..", // no next line: five bytes assumed; the image ends after one
        blank,             // banked code
        blank,             // an address in the window
        blank,             // outside 64 KB
    };
    for (int32_t n = 1; n <= 11; ++n)
        EXPECT_EQ(model.Line(n), expected[n - 1] + "text " + std::to_string(n)) << "line " << n;
    EXPECT_EQ(model.Line(12), "") << "the empty line kept past the last";
    EXPECT_EQ(model.ScrollBar().Min, 1);
    EXPECT_EQ(model.ScrollBar().Max, 11);
    EXPECT_TRUE(model.ScrollBar().Visible);
}

TEST_F(SourceLineModelTest, ANextLineBelowOrSixBytesOnCountsAsFiveBytes) {
    fake->LineAddresses[{2, 2}] = 0x8006;
    fake->LineAddresses[{2, 3}] = 0x8000;
    fake->LineAddresses[{2, 4}] = 0x8006;
    fake->LineAddresses[{2, 5}] = 0x800C;
    AddLines(4);
    EXPECT_EQ(model.Line(2).substr(0, 15), "8006 A2 FF 9A..");
    EXPECT_EQ(model.Line(4).substr(0, 15), "8006 A2 FF 9A..");
}

TEST_F(SourceLineModelTest, TheImageIsReadOncePerLoadAndAMissingOneIsAnError) {
    model.AddLine("a");
    model.AddLine("b");
    WriteImage({0x00, 0x11, 0x22, 0x33});
    model.AddLine("c");
    EXPECT_EQ(model.Line(3).substr(0, 15), "8001 A9 10     ") << "bytes of the first read";
    model.Clear();
    EXPECT_FALSE(model.ScrollBar().Visible);
    EXPECT_EQ(model.LineCount(), 0);
    model.AddLine("a");
    model.AddLine("b");
    EXPECT_EQ(model.Line(2).substr(0, 15), "8000 00        ") << "read afresh after Clear";
    WriteImage({});
    model.Clear();
    AddLines(2);
    EXPECT_EQ(model.Line(2).substr(0, 15), "8000 ?? ?? ??  ") << "no bytes there";
    model.Clear();
    appliance.RunTarget()->OutputPath = "gone.bin";
    EXPECT_NO_THROW(model.AddLine("comment")) << "a line without code needs no image";
    EXPECT_THROW(model.AddLine("nop"), BxError);
}

// ---- Position and keys ----------------------------------------------------------------------

TEST_F(SourceLineModelTest, KeysMoveTheTopLineWithinTheRange) {
    model.SetAppliance(nullptr);
    AddLines(50);
    ASSERT_EQ(model.ScrollBar().LargeChange, 10);
    using M = SourceLineModel;
    const int32_t cases[][4] = {{1, M::kKeyUp, 1, true},
                                {5, M::kKeyUp, 4, true},
                                {5, M::kKeyDown, 6, true},
                                {50, M::kKeyDown, 50, true},
                                {3, M::kKeyPageUp, 1, true},
                                {25, M::kKeyPageUp, 15, true},
                                {5, M::kKeyPageDown, 15, true},
                                {45, M::kKeyPageDown, 50, true},
                                {7, 65, 7, false}}; // top, key, top after, handled
    for (const auto& [top, key, after, handled] : cases) {
        model.SetTopLine(top);
        EXPECT_EQ(model.KeyDown(key, false), handled != 0) << "key " << key << " at " << top;
        EXPECT_EQ(model.TopLine(), after) << "key " << key << " at " << top;
    }
    model.ScrollBarMove(-1);
    EXPECT_EQ(model.TopLine(), 6);
    model.ScrollBarMove(1);
    EXPECT_EQ(model.TopLine(), 7);
}

TEST_F(SourceLineModelTest, EnsureVisibleCentresOnlyALineOutOfView) {
    model.SetAppliance(nullptr);
    AddLines(50);
    model.EnsureVisible(12);
    EXPECT_EQ(model.TopLine(), 1) << "rows 1 to 12 are in view";
    model.EnsureVisible(30);
    EXPECT_EQ(model.TopLine(), 25) << "30 less half of 11";
    model.EnsureVisible(2);
    EXPECT_EQ(model.TopLine(), 1) << "clamped to the range";
    repaints = 0;
    model.SetSelectedLine(49);
    EXPECT_EQ(model.SelectedLine(), 49);
    EXPECT_EQ(model.TopLine(), 44);
    EXPECT_GE(repaints, 1);
}

// ---- The strip ------------------------------------------------------------------------------

TEST_F(SourceLineModelTest, AClickInTheStripTogglesOnlyALineWithCode) {
    AddLines(11);
    EXPECT_EQ(model.StripWidth(), 2000);
    EXPECT_EQ(model.StripClick(2000, 0), ToggleOutcome::NoCode) << "line 1";
    EXPECT_TRUE(model.Marks().MarkedLines().empty());
    EXPECT_EQ(model.StripClick(10, kRow * 1.5), ToggleOutcome::Set) << "line 2";
    EXPECT_TRUE(model.IsMarked(2));
    EXPECT_EQ(emulator->BreakFlagsAt(0x8000), 1);
    EXPECT_EQ(model.StripClick(2001, kRow), std::nullopt) << "right of the strip";
}

TEST_F(SourceLineModelTest, TheTipShowsTheCutOffBytesFromMemory) {
    AddLines(11);
    emulator->Poke(0x8006, {0xA2, 0xFF, 0x9A, 0x18, 0x69});
    EXPECT_EQ(model.StripHover(10, 4 * kRow), StripPointer::Cross);
    EXPECT_EQ(model.HoveredLine(), 5);
    EXPECT_EQ(model.TipText(), "A2 FF 9A 18 69 ");
    model.StripHover(10, 4 * kRow + 10);
    EXPECT_EQ(tips.size(), 1u) << "the same line raises nothing again";

    model.StripHover(10, 7 * kRow);
    EXPECT_EQ(model.TipText(), "00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 ..")
        << "the last line with code: sixteen bytes and more";
    model.StripHover(10, 8 * kRow);
    EXPECT_EQ(tips.back(), "") << "banked code has no tip";
    model.StripHover(10, 3 * kRow);
    EXPECT_EQ(tips.back(), "") << "three bytes are all shown";

    model.StripHover(10, 4 * kRow);
    EXPECT_EQ(model.StripHover(2000, 0), StripPointer::Arrow);
    EXPECT_EQ(model.TipText(), "") << "dropped outside the strip";
    EXPECT_EQ(tips.size(), 5u) << "without an event";
}

// ---- Find -----------------------------------------------------------------------------------

struct FindCase {
    const char* text;
    bool wholeWord;
    bool ignoreCase;
    int32_t start;
    int32_t expected;
};

TEST_F(SourceLineModelTest, FindAppliesTheWholeWordRuleAndWraps) {
    model.SetAppliance(nullptr);
    for (const char* line : {"    jmp LOOP1", "xLOOP LOOP", "LOOP1 LOOP", "loop: nop",
                             "    bne foo.LOOP.x", "; LOOP_2 end", "LOOP: inx"})
        model.AddLine(line);
    const FindCase cases[] = {
        {"LOOP", true, false, 1, 5},  // LOOP1 and a later LOOP on one line don't count
        {"LOOP", false, false, 1, 1}, // any match
        {"LOOP", true, true, 1, 4},   // "loop:" ignoring case
        {"LOOP", true, false, 6, 7},  // "LOOP_": "_" is a word character
        {"jmp", false, false, 3, 1},  // wrapped round to line 1
        {"BRK", false, false, 4, 0},  // nowhere: a box, and the view stays
    };
    for (const FindCase& c : cases) {
        model.SetTopLine(3);
        model.WholeWord = c.wholeWord;
        model.IgnoreCase = c.ignoreCase;
        EXPECT_EQ(model.FindLine(c.text, c.start), c.expected) << c.text << " from " << c.start;
        EXPECT_EQ(model.TopLine(), c.expected == 0 ? 3 : c.expected) << c.text;
    }
    ASSERT_EQ(prompter.Boxes().size(), 1u);
    EXPECT_EQ(prompter.Boxes()[0].text, "Search text is not found / Search wrapped");
    EXPECT_EQ(prompter.Boxes()[0].icon, Icon::Exclamation);
}

class ScriptedFind : public FindDialog {
public:
    bool ShowModal() override { return ++shown > 0; }
    std::string FindTarget() const override { return target; }
    bool MatchCase() const override { return matchCase; }
    bool WholeWord() const override { return wholeWord; }
    std::string target;
    bool matchCase = true, wholeWord = false;
    int shown = 0;
};

TEST_F(SourceLineModelTest, FindNextGoesOnBelowTheTopLineWithTheDialogsSettings) {
    model.SetAppliance(nullptr);
    for (const char* line : {"lda x", "LDA y", "sta z", "lda w"})
        model.AddLine(line);
    ScriptedFind dialog;
    model.Finder = &dialog;
    model.FindNext();
    EXPECT_EQ(dialog.shown, 1) << "no stored text: the dialog";
    dialog.target = "lda";
    model.FindNew();
    EXPECT_EQ(model.TopLine(), 1);
    model.FindNext();
    EXPECT_EQ(model.TopLine(), 4) << "matching case skips LDA";
    dialog.matchCase = false;
    model.FindNext();
    EXPECT_EQ(model.TopLine(), 1) << "wrapped";
    model.FindNext();
    EXPECT_EQ(model.TopLine(), 2) << "the check boxes are read again";
    EXPECT_EQ(dialog.shown, 2);
    EXPECT_TRUE(prompter.Boxes().empty());
}

// ---- A real program -------------------------------------------------------------------------

TEST(SourceLineModelOnARealBuild, PrefixesComeFromTheDebugFileAndTheRomImage) {
    if (!test::Cc65Available())
        GTEST_SKIP() << test::kNoCc65;
    TempFolder folder;
    test::Cc65Build build = test::BuildBankedProgram(folder);
    ASSERT_TRUE(build.Ok) << build.Log;
    Diagnoser diagnoser(folder.Sub("vkbx.log"));
    Symbler symbler([] { return std::make_unique<symbols::Ld65SymbolLibrary>(); }, diagnoser);
    symbler.ListFilePath(folder.Sub("rom.sym"));
    ASSERT_TRUE(symbler.Loaded());
    Appliance appliance;
    appliance.Folder = folder.Path() + "\\";
    appliance.RunTarget()->OutputPath = "rom.bin";
    appliance.ProgramStart = 0x8000;

    auto prefixes = [&](int32_t file, const std::string& source) {
        SourceLineModel model;
        model.SetAppliance(&appliance);
        model.SetSymbols(&symbler);
        model.SetFileId(file);
        std::vector<std::string> result{""};
        std::string text = folder.ReadFile(source);
        for (std::size_t at = 0, end; (end = text.find('\n', at)) != std::string::npos;
             at = end + 1)
            model.AddLine(text.substr(at, end - at));
        for (int32_t n = 1; n <= model.LineCount(); ++n)
            result.push_back(model.Line(n).substr(0, 15));
        return result;
    };
    const std::vector<std::string> main = prefixes(0, "main.asm");
    ASSERT_EQ(main.size(), 24u);
    EXPECT_EQ(main[1], std::string(15, ' ')) << "a comment";
    EXPECT_EQ(main[11], "8000 A2 FF     ") << "ldx #$FF";
    EXPECT_EQ(main[12], "8002 9A        ") << "txs";
    EXPECT_EQ(main[13], "8003 18 69 10..") << "the macro call's five bytes";
    EXPECT_EQ(main[15], "8008 20 02 40  ") << "jsr bank1fn, linked at 01:4002";
    EXPECT_EQ(main[18], "8010 4C 08 80  ") << "jmp loop";
    const std::vector<std::string> bank1 = prefixes(2, "src\\b1.asm");
    EXPECT_EQ(bank1[7], std::string(15, ' ')) << "banked code shows no address";
}

} // namespace
} // namespace bx
