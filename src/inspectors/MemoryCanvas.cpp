#include "inspectors/MemoryCanvas.h"

#include "debug/Emulator.h"
#include "foundation/Common.h"
#include "foundation/Diagnoser.h"

#include <cmath>
#include <exception>

namespace bx {

void MemoryCanvas::Trace(int32_t point, const std::string& text) const {
    if (diagnoser_)
        diagnoser_->Trace(trace_module::kMemoryEditor, point, text);
}

std::optional<std::vector<MemoryRow>> MemoryCanvas::Paint(int32_t rowCount) {
    if (!TargetEmulator) {
        Trace(1020, "mEmulator is nothing!");
        return std::nullopt;
    }
    Emulator& emulator = *TargetEmulator;
    Trace(1010, "Memory paint entered");
    emulator.SetReadAhead(((Bank << 12) + Row) * kBytesPerRow, kReadAhead, false, true);
    std::vector<MemoryRow> rows;
    rows.reserve(static_cast<std::size_t>(std::max(rowCount, 0)));
    for (int32_t r = 0; r < rowCount; ++r) {
        if (Row + r >= kRowsPerBank) {
            Trace(1027, "Out of range");
            break;
        }
        MemoryRow row;
        row.Row = Row + r;
        row.Address = (Bank * kRowsPerBank + row.Row) * kBytesPerRow;
        int32_t count = kBytesPerRow;
        std::vector<uint8_t> bytes = emulator.ReadMemory(row.Address, count);
        std::vector<int32_t> flags;
        const bool flagsRead = emulator.GetBreakFlags(row.Address, flags, kBytesPerRow);
        // Either answer short leaves the row with its address alone.
        if (flagsRead && bytes.size() >= static_cast<std::size_t>(kBytesPerRow) &&
            flags.size() >= static_cast<std::size_t>(kBytesPerRow)) {
            bytes.resize(kBytesPerRow);
            flags.resize(kBytesPerRow);
            row.Bytes = std::move(bytes);
            row.Flags = std::move(flags);
        }
        row.Text = RowText(Bank, row.Row, row.Bytes);
        rows.push_back(std::move(row));
    }
    emulator.SetReadAhead(0, 0, false, false);
    Trace(1090, "Leaving cvsMemory Paint()");
    return rows;
}

std::string MemoryCanvas::RowText(int32_t bank, int32_t row, const std::vector<uint8_t>& bytes) {
    std::string text = Hex2(bank) + ":" + Hex4(row * kBytesPerRow) + " ";
    if (bytes.empty())
        return text;
    text.reserve(kRowChars);
    for (int32_t c = 0; c < kBytesPerRow; ++c) {
        text += Hex2(bytes[static_cast<std::size_t>(c)]);
        text += c == 7 ? '-' : ' ';
    }
    for (int32_t c = 0; c < kBytesPerRow; ++c) {
        const uint8_t byte = bytes[static_cast<std::size_t>(c)];
        text += byte > 32 && byte < 127 ? static_cast<char>(byte) : '.';
    }
    return text;
}

std::optional<Rgb> MemoryCanvas::BreakColour(int32_t flags) {
    constexpr int32_t kRead = 2;
    constexpr int32_t kWrite = 4;
    if (flags == 0)
        return std::nullopt;
    if ((flags & kRead) != 0 && (flags & kWrite) != 0)
        return Rgb{255, 192, 192};
    if ((flags & kWrite) != 0)
        return Rgb{192, 192, 255};
    if ((flags & kRead) != 0)
        return Rgb{192, 240, 192};
    return Rgb{240, 240, 192};
}

int32_t MemoryCanvas::RowAt(double y, const MemoryMetrics& metrics) {
    if (metrics.RowHeight <= 0)
        return 0;
    return static_cast<int32_t>(std::floor(y / metrics.RowHeight));
}

int32_t MemoryCanvas::ColumnAt(double x, int32_t horizontal, const MemoryMetrics& metrics) {
    const double cell = metrics.GapWidth + metrics.ByteWidth;
    if (cell <= 0)
        return -1;
    // Rounded down, so that the address column (left of the first byte) is below 0.
    return static_cast<int32_t>(
        std::floor((horizontal * metrics.GapWidth + x - metrics.AddressWidth) / cell));
}

double MemoryCanvas::EditLeft(int32_t column, int32_t horizontal, const MemoryMetrics& metrics) {
    return column * (metrics.GapWidth + metrics.ByteWidth) + metrics.AddressWidth -
           metrics.GapWidth / 2 - horizontal * metrics.GapWidth;
}

int32_t MemoryCanvas::HorizontalMaximum(int32_t visibleColumns) {
    const int32_t hidden = kRowChars - visibleColumns;
    return hidden < 1 ? 0 : hidden;
}

std::optional<int32_t> MemoryCanvas::HexField(const std::string& text) {
    if (!IsHexText(text, false))
        return std::nullopt;
    const std::size_t first = text.find_first_not_of('0');
    if (first != std::string::npos && text.size() - first > 8)
        return std::nullopt;
    return HexToLong(text);
}

int32_t MemoryCanvas::CellAddress(int32_t row, int32_t column) const {
    return (Bank * kRowsPerBank + Row + row) * kBytesPerRow + column;
}

std::optional<uint8_t> MemoryCanvas::ReadCell(int32_t row, int32_t column) const {
    if (!TargetEmulator)
        return std::nullopt;
    int32_t count = 1;
    const std::vector<uint8_t> data = TargetEmulator->ReadMemory(CellAddress(row, column), count);
    if (data.empty())
        return std::nullopt;
    return data[0];
}

bool MemoryCanvas::WriteCell(int32_t row, int32_t column, const std::string& text) {
    const int32_t value = HexToLong(text);
    if (!TargetEmulator || value < 0 || value > 255)
        return false;
    try {
        int32_t count = 1;
        TargetEmulator->WriteMemory(CellAddress(row, column), count, {static_cast<uint8_t>(value)});
        return count == 1;
    } catch (const std::exception&) {
        // A byte the target doesn't have (an unreadable cell whose empty box was committed)
        // is left as it is: the canvas shows no value there either.
        return false;
    }
}

} // namespace bx
