// The memory inspector's canvas model: row texts, the background by breakpoint kinds, a
// paint's reads from the target, and the edit box's commit. Which byte a point lands on is
// tested by the widget test's clicks.

#include "foundation/Diagnoser.h"
#include "inspectors/MemoryCanvas.h"
#include "support/FakeEmulator.h"
#include "support/TempFolder.h"
#include "support/TraceLog.h"

#include <gtest/gtest.h>

namespace bx {
namespace {

using test::FakeEmulator;

TEST(MemoryCanvasText, RowsBackgroundsAndGotoFieldsHaveTheirForms) {
    const std::vector<uint8_t> bytes = {0x41, 0x20, 0x21, 0x7E, 0x7F, 0x00, 0xFF, 0x61,
                                        0x30, 0x39, 0x2E, 0x80, 0x20, 0x5A, 0x7A, 0x01};
    const std::string text = MemoryCanvas::RowText(0x0D, 0xFFF, bytes);
    EXPECT_EQ(text, "0D:FFF0 41 20 21 7E 7F 00 FF 61-30 39 2E 80 20 5A 7A 01 A.!~...a09...Zz.");
    EXPECT_EQ(text.size(), std::size_t(MemoryCanvas::kRowChars));
    EXPECT_EQ(text.substr(MemoryCanvas::ByteChar(8), 2), "30");
    EXPECT_EQ(MemoryCanvas::RowText(0, 2, {}), "00:0020 ") << "a row the target can't give";

    // The background by the breakpoint kinds of the byte: write (and read), read, execute.
    const Rgb red{255, 192, 192}, blue{192, 192, 255}, green{192, 240, 192}, yellow{240, 240, 192};
    // clang-format off
    const std::pair<int32_t, std::optional<Rgb>> colours[] = {{0, std::nullopt}, {6, red},
        {7, red}, {4, blue}, {5, blue}, {2, green}, {3, green}, {1, yellow}, {8, yellow}};
    const std::pair<const char*, std::optional<int32_t>> fields[] = {{"1f", 0x1F},
        {"0000000012345678", 0x12345678}, {"FFFFFFFF", -1}, {"", std::nullopt},
        {"12G", std::nullopt}, {"$12", std::nullopt}, {"123456789", std::nullopt}};
    // clang-format on
    for (const auto& [flags, colour] : colours)
        EXPECT_EQ(MemoryCanvas::BreakColour(flags), colour) << "flags " << flags;
    for (const auto& [field, value] : fields)
        EXPECT_EQ(MemoryCanvas::HexField(field), value) << field;
}

class MemoryCanvasOnTarget : public ::testing::Test {
protected:
    MemoryCanvasOnTarget() : diagnoser(logs.Sub("vkbx.log")), canvas(&diagnoser) {
        canvas.TargetEmulator = emulator;
    }
    std::vector<std::string> Traces() const {
        std::vector<std::string> texts;
        for (const test::TraceEntry& entry : test::ReadTraceLog(diagnoser.LogPath()))
            if (entry.Module == trace_module::kMemoryEditor)
                texts.push_back(std::to_string(entry.Point) + " " + entry.Text);
        return texts;
    }

    test::TempFolder logs;
    Diagnoser diagnoser;
    std::shared_ptr<FakeEmulator> emulator = std::make_shared<FakeEmulator>();
    MemoryCanvas canvas;
};

TEST_F(MemoryCanvasOnTarget, PaintReadsEachRowAndItsFlagsInOneReadAheadBurst) {
    emulator->Poke(0x12340, {0x41, 0x42});
    emulator->SetBreak(0x12341, 4, 2);
    emulator->MakeUnreadable(0x12350, 1);
    canvas.Bank = 1;
    canvas.Row = 0x234;
    emulator->Calls.clear();

    const auto rows = canvas.Paint(3);
    ASSERT_TRUE(rows);
    ASSERT_EQ(rows->size(), 3u);
    EXPECT_EQ((*rows)[0].Text.substr(0, 17), "01:2340 41 42 00 ");
    EXPECT_EQ(std::vector<int32_t>((*rows)[0].Flags.begin(), (*rows)[0].Flags.begin() + 4),
              (std::vector<int32_t>{0, 4, 4, 0}));
    EXPECT_EQ((*rows)[1].Text, "01:2350 "); // a byte of it can't be read
    EXPECT_TRUE((*rows)[1].Bytes.empty());
    EXPECT_EQ((*rows)[2].Address, 0x12360);
    EXPECT_EQ(emulator->Calls.front(), "SetReadAhead 74560 768 0 1");
    EXPECT_EQ(emulator->Calls.back(), "SetReadAhead 0 0 0 0");
    EXPECT_EQ(Traces(), (std::vector<std::string>{"1010 Memory paint entered",
                                                  "1090 Leaving cvsMemory Paint()"}));
}

TEST_F(MemoryCanvasOnTarget, PaintStopsAfterTheLastRowOfTheBankAndNeedsAnEmulator) {
    canvas.Row = 4094;
    const auto rows = canvas.Paint(10);
    ASSERT_TRUE(rows);
    ASSERT_EQ(rows->size(), 2u);
    EXPECT_EQ(rows->back().Text.substr(0, 8), "00:FFF0 ");
    EXPECT_EQ(Traces()[1], "1027 Out of range");

    canvas.TargetEmulator = nullptr;
    EXPECT_FALSE(canvas.Paint(10));
    EXPECT_EQ(Traces().back(), "1020 mEmulator is nothing!");
}

TEST_F(MemoryCanvasOnTarget, CommitWritesTheHexValueOfTheBoxWhenItIsAByte) {
    canvas.Bank = 2;
    canvas.Row = 0x100;
    const int32_t cell = 0x21000 + 2 * 16 + 5; // screen row 2, column 5
    EXPECT_EQ(canvas.CellAddress(2, 5), cell);
    // The byte written, or -1 for a text that is no byte and writes nothing.
    const std::pair<const char*, int> rows[] = {
        {"A5", 0xA5}, {"7", 0x07}, {"G1", 0x00}, {"1FF", -1}, {"FFFFFFFF", -1}};
    for (const auto& [text, byte] : rows) {
        emulator->Poke(cell, {0x5A});
        EXPECT_EQ(canvas.WriteCell(2, 5, text), byte >= 0) << text;
        EXPECT_EQ(emulator->Peek(cell), byte >= 0 ? byte : 0x5A) << text;
    }
    EXPECT_EQ(canvas.ReadCell(2, 5), std::optional<uint8_t>(0x5A));
    // A bank the target doesn't have: nothing to read, nothing written.
    canvas.Bank = 9;
    EXPECT_EQ(canvas.ReadCell(0, 0), std::nullopt);
    EXPECT_FALSE(canvas.WriteCell(0, 0, "12"));
}

} // namespace
} // namespace bx
