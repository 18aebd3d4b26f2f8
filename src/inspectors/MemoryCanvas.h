#pragma once
// MemoryCanvas: the model of the memory inspector's hex canvas (MemoryEditor, in frmMemory).
// It keeps no copy of memory: each paint reads the rows on screen again from the Emulator,
// sixteen bytes and their breakpoint flags per row, inside one read-ahead burst. Beside that it
// holds the canvas's arithmetic, so that the widget only turns it into pixels: the text of a
// row, the byte a click lands on, where the edit box goes, the background of a byte by its
// breakpoint flags, and the range of the horizontal bar.
//
// A row's text, in a fixed-pitch font: "BB:AAAA " (bank, address of the row's first byte),
// each byte as two hexadecimal digits followed by "-" behind the eighth and a blank behind the
// others, then each byte as its character (codes 33 to 126; "." for any other, the blank
// included): 72 characters in all. A row that can't be read shows its address alone.
//
// Addresses: (bank * 4096 + row) * 16 + column, so each bank is 64 KB in this view whatever
// the appliance's bank window is. The bars give the bank (fsbBank), the row of the top line
// (fsbAddr, 0 to 4095) and the shift to the left in blanks (fsbHorizontal).
//
// The canvas's metrics are the text widths of "BB:AAAA " (the address column), "HH" (a byte)
// and " " (the gap), and the height of a blank (a row); with a fixed-pitch font they are 8, 2
// and 1 character widths.
//
// Trace lines under module 1005. UI thread only, like the Emulator calls it makes.

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace bx {

class Diagnoser;
class Emulator;

struct MemoryMetrics {
    double RowHeight = 0;
    double AddressWidth = 0;
    double ByteWidth = 0;
    double GapWidth = 0;
};

struct MemoryRow {
    int32_t Row = 0;            // 0 to 4095 within the bank
    int32_t Address = 0;        // address form of the row's first byte
    std::vector<uint8_t> Bytes; // sixteen, or none when the row can't be read
    std::vector<int32_t> Flags; // the breakpoint kinds of each byte, as many as Bytes
    std::string Text;           // the row as painted
};

struct Rgb {
    int R = 0, G = 0, B = 0;
    bool operator==(const Rgb&) const = default;
};

class MemoryCanvas {
public:
    static constexpr int32_t kBytesPerRow = 16;
    static constexpr int32_t kRowsPerBank = 4096;
    // The width of one whole row in blanks: the address column, three for each byte, one for
    // each character.
    static constexpr int32_t kRowChars = 72;
    static constexpr int32_t kAddressChars = 8;
    static constexpr int32_t kCharColumnChar = kAddressChars + 3 * kBytesPerRow;
    static constexpr int32_t kReadAhead = 768;

    explicit MemoryCanvas(const Diagnoser* diagnoser = nullptr) : diagnoser_(diagnoser) {}

    std::shared_ptr<Emulator> TargetEmulator;
    // The bars' values.
    int32_t Bank = 0;
    int32_t Row = 0;
    int32_t Horizontal = 0;

    // One paint of rowCount rows from the top row: nothing without an Emulator (the canvas
    // stays as it was), else the rows read now. The listing ends at the last row of the bank.
    std::optional<std::vector<MemoryRow>> Paint(int32_t rowCount);

    // The text of a row whose bytes are bytes (none: the address alone).
    static std::string RowText(int32_t bank, int32_t row, const std::vector<uint8_t>& bytes);
    // Where the two digits of column start in the row text, in characters.
    static int32_t ByteChar(int32_t column) { return kAddressChars + 3 * column; }
    // The background of a byte with these breakpoint kinds; nothing for none.
    static std::optional<Rgb> BreakColour(int32_t flags);

    // The row and the byte column under a point of the canvas (x from the canvas's left edge,
    // before the horizontal shift). A column outside 0 to 15 is no byte: the address column
    // lies left of 0, the characters right of 15.
    static int32_t RowAt(double y, const MemoryMetrics& metrics);
    static int32_t ColumnAt(double x, int32_t horizontal, const MemoryMetrics& metrics);
    // The left edge of the edit box over column, from the canvas's left edge.
    static double EditLeft(int32_t column, int32_t horizontal, const MemoryMetrics& metrics);
    // The horizontal bar's maximum for a canvas that shows visibleColumns blanks.
    static int32_t HorizontalMaximum(int32_t visibleColumns);

    // A field of the go-to dialog read as hexadecimal: digits only, at most eight behind the
    // leading zeros; nothing for any other text (the empty one included).
    static std::optional<int32_t> HexField(const std::string& text);

    // The address of a cell of the screen (row counted from the top line) with the bars as
    // they stand now.
    int32_t CellAddress(int32_t row, int32_t column) const;
    // The byte of a cell; nothing when it can't be read or there is no Emulator.
    std::optional<uint8_t> ReadCell(int32_t row, int32_t column) const;
    // The edit box's commit: HexToLong of text, written into the cell when it is 0 to 255.
    // Whether a byte was written (a value out of range or a write the target refuses writes
    // nothing).
    bool WriteCell(int32_t row, int32_t column, const std::string& text);

private:
    void Trace(int32_t point, const std::string& text) const;

    const Diagnoser* diagnoser_;
};

} // namespace bx
