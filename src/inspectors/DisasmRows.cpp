#include "inspectors/DisasmRows.h"

#include "appliance/Appliance.h"
#include "debug/Emulator.h"
#include "foundation/Common.h"

#include <algorithm>
#include <cctype>
#include <cmath>
#include <map>

namespace bx {

namespace {

// The longest instruction of the CPU; a longer answer can't be one.
constexpr int32_t kMaxInstruction = 3;
constexpr int32_t kBankShift = 16;

// Closes the read-ahead burst however the listing ends.
class ReadAheadBurst {
public:
    ReadAheadBurst(Emulator& emulator, int32_t address) : emulator_(emulator) {
        emulator_.SetReadAhead(address, DisasmRows::kReadAhead, false, false);
    }
    ~ReadAheadBurst() {
        try {
            emulator_.SetReadAhead(0, 0, false, false);
        } catch (...) {
            // An error of the listing itself is already on its way up.
        }
    }
    ReadAheadBurst(const ReadAheadBurst&) = delete;
    ReadAheadBurst& operator=(const ReadAheadBurst&) = delete;

private:
    Emulator& emulator_;
};

} // namespace

RowRule DisasmRows::RuleOf(const std::string& mnemonic) {
    static const std::map<std::string, RowRule> rules{
        {"RTI", RowRule::Solid},      {"RTS", RowRule::Solid},      {"JSR", RowRule::Dot},
        {"JMP", RowRule::Dash},       {"BRA", RowRule::Dash},       {"BNE", RowRule::DashDotDot},
        {"BEQ", RowRule::DashDotDot}, {"BCS", RowRule::DashDotDot}, {"BCC", RowRule::DashDotDot},
        {"BMI", RowRule::DashDotDot}, {"BPL", RowRule::DashDotDot}, {"BVC", RowRule::DashDotDot},
        {"BVS", RowRule::DashDotDot}};
    auto it = rules.find(UpperCase(mnemonic.substr(0, 3)));
    return it == rules.end() ? RowRule::None : it->second;
}

std::optional<int32_t> DisasmRows::BankOfWatchText(const std::string& valueText) {
    const std::string digits = valueText.size() > 1 ? valueText.substr(1, 2) : std::string();
    // The number reader's prefixed forms are no decimal number.
    if (digits.empty() || digits[0] == '$' || digits[0] == '%')
        return std::nullopt;
    int32_t unusedBank = 0;
    bool failed = false;
    const int32_t bank = ParseNumber(digits, unusedBank, failed);
    if (failed)
        return std::nullopt;
    return bank;
}

int32_t DisasmRows::RowsInside(double controlHeight, double rowHeight) {
    if (rowHeight <= 0 || controlHeight <= 0)
        return 0;
    return static_cast<int32_t>(std::ceil(controlHeight / rowHeight));
}

void DisasmRows::SetPC(int32_t pc) {
    pc_ = pc;
    if (Repaint)
        Repaint();
}

std::optional<std::vector<DisasmRow>> DisasmRows::Paint(int32_t rowCount) {
    const bool busy = QueryBusy ? QueryBusy() : false;
    if (busy || !TargetEmulator)
        return std::nullopt;
    return DrawListing(rowCount);
}

void DisasmRows::FoldBank() {
    if (TargetAppliance == nullptr || !TargetEmulator)
        return;
    const int32_t start = TargetAppliance->BankStart;
    if (pc_ < start || pc_ >= start + TargetAppliance->BankSize)
        return;
    std::shared_ptr<Watch> bankWatch = TargetAppliance->Watches().Item("Bank", "SFR");
    if (!bankWatch)
        return;
    // A copy reads the value: showing a value may change the record it is shown from.
    Watch reader;
    reader.FromString(bankWatch->AsString());
    if (std::optional<int32_t> bank = BankOfWatchText(reader.ValueString(*TargetEmulator)))
        pc_ += *bank << kBankShift;
}

bool DisasmRows::HasBreakpoint(int32_t address) const {
    if (TargetAppliance == nullptr)
        return false;
    // Line breakpoints keep the bank inside Start with Bank 0; a record with its bank apart
    // names the same byte.
    const Breakpoints& records = TargetAppliance->Breakpoints();
    return records.Item(0, address, 1, break_kind::kExecute) != nullptr ||
           (address >> kBankShift != 0 && records.Item(address >> kBankShift, address & 0xFFFF, 1,
                                                       break_kind::kExecute) != nullptr);
}

std::vector<DisasmRow> DisasmRows::DrawListing(int32_t rowCount) {
    std::vector<DisasmRow> rows;
    if (!TargetEmulator)
        return rows;
    FoldBank();
    Emulator& emulator = *TargetEmulator;
    ReadAheadBurst burst(emulator, pc_);
    int32_t address = pc_;
    while (static_cast<int32_t>(rows.size()) < rowCount) {
        int32_t next = address;
        std::vector<std::string> text;
        emulator.Disassemble(address, 1, next, text);
        if (next > address + kMaxInstruction || next <= address)
            break;
        DisasmRow row;
        row.Address = address;
        row.Next = next;
        row.Breakpoint = HasBreakpoint(address);
        // One byte more than the instruction is read, as the target is asked for it; it is
        // never shown.
        int32_t count = next - address + 1;
        std::vector<uint8_t> data = emulator.ReadMemory(address, count);
        row.Text =
            Spaces(3) + Hex2(address >> kBankShift) + ":" + Hex4(address & 0xFFFF) + Spaces(5);
        if (!data.empty()) {
            const auto length = static_cast<std::size_t>(next - address);
            row.Bytes.assign(data.begin(), data.begin() + std::min(length, data.size()));
            for (uint8_t byte : row.Bytes)
                row.Text += Hex2(byte) + " ";
        }
        if (!text.empty()) {
            row.Mnemonic = text.front();
            row.Text += Spaces((address - next + 4) * 3) + row.Mnemonic;
            row.Rule = RuleOf(row.Mnemonic);
        }
        rows.push_back(std::move(row));
        address = next;
    }
    return rows;
}

} // namespace bx
