// The debug source view's model: the code prefix of each line from the symbols and the ROM
// image, scrolling by keys and to a line, the strip's click and tip, and the find; on a fake
// library and on a real ca65/ld65 build.

#include "appliance/Appliance.h"
#include "debug/SymblerRig.h"
#include "foundation/Error.h"
#include "inspectors/SourceLineModel.h"
#include "support/FakeEmulator.h"
#include "support/TestDoubles.h"

#include <gtest/gtest.h>
#include <sstream>

namespace bx {
namespace {

using Strings = std::vector<std::string>;

// Twelve rows of 240 twips fit the view, so the large change is 10.
constexpr double kRow = 240;

// A view of file 2 of a fake library, over an image "rom.bin" loaded at $8000:
//   line 1 no code          line 2 $8000 (1 byte)   line 3 $8001 (2)   line 4 $8003 (3)
//   line 5 $8006 (5 bytes)  lines 6, 7 no code      line 8 $800B, the last line with code
//   line 9 01:4006 (banked)  line 10 $4000 (in the window)  line 11 $20000 (above 64 KB)
class SourceLineModelTest : public ::testing::Test, public test::FakeSymbler {
protected:
    SourceLineModelTest() {
        const int32_t code[][2] = {{2, 0x8000}, {3, 0x8001},  {4, 0x8003},  {5, 0x8006},
                                   {8, 0x800B}, {9, 0x14006}, {10, 0x4000}, {11, 0x20000}};
        for (const auto& [line, address] : code)
            fake->LineAddresses[{2, line}] = address;
        symbler.ListFilePath("app.sym");
        WriteImage({0xEA, 0xA9, 0x10, 0x20, 0x00, 0x90, 0xA2, 0xFF, 0x9A, 0x18, 0x69, 0x60});
        appliance.Folder = logFolder.Path() + "\\";
        appliance.RunTarget()->OutputPath = "rom.bin";
        appliance.ProgramStart = 0x8000;
        model.SetAppliance(&appliance);
        model.SetEmulator(emulator);
        model.SetSymbols(&symbler);
        model.SetFileId(2);
        model.SetTextMetrics(120, kRow);
        model.Resize(12 * kRow);
        model.Prompts = &prompter;
        model.TipChanged = [this](const std::string& tip) { tips.push_back(tip); };
    }

    void WriteImage(const std::vector<uint8_t>& bytes) {
        logFolder.WriteFile("rom.bin", std::string(bytes.begin(), bytes.end()));
    }
    void AddLines(int32_t count) {
        for (int32_t n = 1; n <= count; ++n)
            model.AddLine("text " + std::to_string(n));
    }
    std::string Prefix(int32_t line) const { return model.Line(line).substr(0, 15); }

    Appliance appliance;
    std::shared_ptr<test::FakeEmulator> emulator = std::make_shared<test::FakeEmulator>();
    test::ScriptedPrompter prompter;
    SourceLineModel model;
    Strings tips;
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
    EXPECT_EQ(model.ScrollBar().Max, 11);
    EXPECT_TRUE(model.ScrollBar().Visible);

    // A next line below, or six bytes on or more, counts as five bytes.
    model.Clear();
    fake->LineAddresses[{2, 2}] = 0x8006;
    fake->LineAddresses[{2, 3}] = 0x8000;
    fake->LineAddresses[{2, 4}] = 0x8006;
    fake->LineAddresses[{2, 5}] = 0x800C;
    AddLines(4);
    EXPECT_EQ(Prefix(2), "8006 A2 FF 9A..");
    EXPECT_EQ(Prefix(4), "8006 A2 FF 9A..");
}

TEST_F(SourceLineModelTest, TheImageIsReadOncePerLoadAndAMissingOneIsAnError) {
    AddLines(2);
    WriteImage({0x00, 0x11, 0x22, 0x33});
    model.AddLine("c");
    EXPECT_EQ(Prefix(3), "8001 A9 10     ") << "bytes of the first read";
    model.Clear();
    EXPECT_FALSE(model.ScrollBar().Visible);
    AddLines(2);
    EXPECT_EQ(Prefix(2), "8000 00        ") << "read afresh after Clear";
    WriteImage({});
    model.Clear();
    AddLines(2);
    EXPECT_EQ(Prefix(2), "8000 ?? ?? ??  ") << "no bytes there";
    model.Clear();
    appliance.RunTarget()->OutputPath = "gone.bin";
    EXPECT_NO_THROW(model.AddLine("comment")) << "a line without code needs no image";
    EXPECT_THROW(model.AddLine("nop"), BxError);
}

// ---- Position and keys ----------------------------------------------------------------------

// ---- The strip ------------------------------------------------------------------------------

TEST_F(SourceLineModelTest, AClickInTheStripTogglesALineWithCodeAndTheTipShowsCutOffBytes) {
    AddLines(11);
    EXPECT_EQ(model.StripWidth(), 2000);
    EXPECT_EQ(model.StripClick(2000, 0), ToggleOutcome::NoCode) << "line 1";
    EXPECT_EQ(model.StripClick(10, kRow * 1.5), ToggleOutcome::Set) << "line 2";
    EXPECT_EQ(emulator->BreakFlagsAt(0x8000), 1);
    EXPECT_EQ(model.StripClick(2001, kRow), std::nullopt) << "right of the strip";

    emulator->Poke(0x8006, {0xA2, 0xFF, 0x9A, 0x18, 0x69});
    EXPECT_EQ(model.StripHover(10, 4 * kRow), StripPointer::Cross);
    EXPECT_EQ(model.HoveredLine(), 5);
    EXPECT_EQ(model.TipText(), "A2 FF 9A 18 69 ");
    model.StripHover(10, 4 * kRow + 10); // the same line raises nothing again
    const std::string sixteen = "00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 ..";
    model.StripHover(10, 7 * kRow);
    EXPECT_EQ(model.TipText(), sixteen) << "the last line with code: sixteen bytes and more";
    model.StripHover(10, 8 * kRow); // banked code has no tip
    model.StripHover(10, 3 * kRow); // three bytes are all shown
    model.StripHover(10, 4 * kRow);
    EXPECT_EQ(model.StripHover(2000, 0), StripPointer::Arrow);
    EXPECT_EQ(model.TipText(), "") << "dropped outside the strip";
    EXPECT_EQ(tips, (Strings{"A2 FF 9A 18 69 ", sixteen, "", "", "A2 FF 9A 18 69 "}))
        << "and without an event";
}

// ---- Find -----------------------------------------------------------------------------------

TEST_F(SourceLineModelTest, FindAppliesTheWholeWordRuleAndWraps) {
    model.SetAppliance(nullptr);
    for (const char* line : {"    jmp LOOP1", "xLOOP LOOP", "LOOP1 LOOP", "loop: nop",
                             "    bne foo.LOOP.x", "; LOOP_2 end", "LOOP: inx"})
        model.AddLine(line);
    const std::tuple<const char*, bool, bool, int32_t, int32_t> cases[] = {
        {"LOOP", true, false, 1, 5},  // LOOP1 and a later LOOP on one line don't count
        {"LOOP", false, false, 1, 1}, // any match
        {"LOOP", true, true, 1, 4},   // "loop:" ignoring case
        {"LOOP", true, false, 6, 7},  // "LOOP_": "_" is a word character
        {"jmp", false, false, 3, 1},  // wrapped round to line 1
        {"BRK", false, false, 4, 0},  // nowhere: a box, and the view stays
    };
    for (const auto& [text, wholeWord, ignoreCase, start, found] : cases) {
        model.SetTopLine(3);
        model.WholeWord = wholeWord;
        model.IgnoreCase = ignoreCase;
        EXPECT_EQ(model.FindLine(text, start), found) << text << " from " << start;
        EXPECT_EQ(model.TopLine(), found == 0 ? 3 : found) << text;
    }
    ASSERT_EQ(prompter.Boxes().size(), 1u);
    EXPECT_EQ(prompter.Boxes()[0].text, "Search text is not found / Search wrapped");
    EXPECT_EQ(prompter.Boxes()[0].icon, Icon::Exclamation);
}

// ---- A real program -------------------------------------------------------------------------

TEST(SourceLineModelOnARealBuild, PrefixesComeFromTheDebugFileAndTheRomImage) {
    SKIP_WITHOUT_BUILD_TOOLS();
    test::Ld65Symbler built;
    ASSERT_TRUE(built.symbler.Loaded()) << built.build.Log;
    const test::TempFolder& folder = built.folder;
    Appliance appliance;
    appliance.Folder = folder.Path() + "\\";
    appliance.RunTarget()->OutputPath = "rom.bin";
    appliance.ProgramStart = 0x8000;
    const auto prefixes = [&](int32_t file, const std::string& source) {
        SourceLineModel model;
        model.SetAppliance(&appliance);
        model.SetSymbols(&built.symbler);
        model.SetFileId(file);
        std::istringstream text(folder.ReadFile(source));
        for (std::string line; std::getline(text, line);)
            model.AddLine(line);
        Strings result{""};
        for (int32_t n = 1; n <= model.LineCount(); ++n)
            result.push_back(model.Line(n).substr(0, 15));
        return result;
    };
    const Strings main = prefixes(0, "main.asm");
    ASSERT_EQ(main.size(), 24u);
    EXPECT_EQ(main[1], std::string(15, ' ')) << "a comment";
    EXPECT_EQ(main[11], "8000 A2 FF     ") << "ldx #$FF";
    EXPECT_EQ(main[13], "8003 18 69 10..") << "the macro call's five bytes";
    EXPECT_EQ(main[15], "8008 20 02 40  ") << "jsr bank1fn, linked at 01:4002";
    EXPECT_EQ(prefixes(2, "src\\b1.asm")[7], std::string(15, ' ')) << "banked: no address";
}

} // namespace
} // namespace bx
