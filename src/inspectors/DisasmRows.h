#pragma once
// DisasmRows: the row model of the disassembly view, which the debugger shows when the program
// counter has no source line. It holds no listing: each paint asks the Emulator afresh for a
// screenful of instructions from PC downward, and this model turns the answers into rows of
// bank, address, bytes and mnemonic, with the breakpoint mark and the rule that separates a
// change of control flow from what follows. The widget paints the rows; the top row always
// carries the bar of the program counter.
//
// A row's text, in a fixed-pitch font: three blanks, Hex2(bank), ":", Hex4(address), five
// blanks, "XX " for each byte of the instruction, three blanks for each byte short of four,
// and the disassembler's text: "   00:8000     EA          NOP".
//
// Bank fold. A PC inside the bank window names no bank by itself; the first paint takes the
// bank the target has selected from the "Bank" watch of category "SFR" and folds it into PC
// (bits 16 and up), so that later paints list the same bank even after the target switched.
// The watch's text is "$" and hexadecimal digits, and its two digits are read as a decimal
// number, deliberately: "$03" is bank 3, "$10" bank 10, and "$0A" doesn't read and leaves PC
// as it is. The debugger's status update reads the same watch the same way, and the two must
// agree on the bank of one stop.
//
// UI thread only; the host answers QueryBusy so that nothing is read while the target runs.

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace bx {

class Appliance;
class Emulator;

// The rule under a row, by the first three letters of its mnemonic.
enum class RowRule {
    None,
    Solid,      // RTI, RTS: the control's normal pen
    Dash,       // JMP, BRA: pen style 1
    Dot,        // JSR: pen style 2
    DashDotDot, // conditional branches: pen style 4
};

struct DisasmRow {
    int32_t Address = 0; // address form, bank in bits 16 and up
    int32_t Next = 0;    // the address behind the instruction
    std::vector<uint8_t> Bytes;
    std::string Mnemonic; // empty when the Emulator gave no text
    bool Breakpoint = false;
    RowRule Rule = RowRule::None;
    std::string Text;
};

class DisasmRows {
public:
    // The read-ahead window of one paint: a screenful in few transfers from a target behind
    // an ICE.
    static constexpr int32_t kReadAhead = 512;

    // The rule a mnemonic text asks for.
    static RowRule RuleOf(const std::string& mnemonic);
    // The bank the "Bank" watch's text names: its second and third characters read as a
    // decimal number; nullopt when they don't read as one.
    static std::optional<int32_t> BankOfWatchText(const std::string& valueText);
    // How many rows a control of this height paints: every row whose top lies inside it.
    static int32_t RowsInside(double controlHeight, double rowHeight);

    std::shared_ptr<Emulator> TargetEmulator;
    Appliance* TargetAppliance = nullptr;
    // Is the target running now (no handler: it isn't).
    std::function<bool()> QueryBusy;
    // The view must paint again.
    std::function<void()> Repaint;

    // Stores the address (bank possibly folded in) and repaints.
    void SetPC(int32_t pc);
    int32_t PC() const { return pc_; }

    // A paint: nothing (nullopt) while the target runs or without an Emulator, else
    // DrawListing.
    std::optional<std::vector<DisasmRow>> Paint(int32_t rowCount);
    // Folds the bank into PC if it lies in the window, then lists up to rowCount instructions
    // from PC inside one read-ahead burst. The listing ends early at an answer longer than an
    // instruction can be (more than 3 bytes) or one that doesn't move forward: a wrap or a
    // failure of the Emulator.
    std::vector<DisasmRow> DrawListing(int32_t rowCount);

private:
    void FoldBank();
    bool HasBreakpoint(int32_t address) const;

    int32_t pc_ = 0;
};

} // namespace bx
