#pragma once
// The memory breakpoint dialog's logic (wizMemoryAttribute), without the dialog: it checks the
// start and end texts and turns the chosen option into the kinds to set and to clear on the
// range. The dialog shows the message of a refused plan and puts the focus on the field named;
// an accepted plan goes to the Emulator with ApplyMemoryBreakPlan, and the dialog closes.
//
// Memory breakpoints are set straight in the Emulator and are not kept in the appliance.

#include <cstdint>
#include <string>

namespace bx {

class Emulator;

// The option group of the dialog.
namespace memory_break_option {
inline constexpr int32_t kNone = 0;
inline constexpr int32_t kRead = 1;
inline constexpr int32_t kWrite = 2;
inline constexpr int32_t kReadWrite = 3;
} // namespace memory_break_option

struct MemoryBreakPlan {
    enum class Field { None, Start, End };
    // The field to focus with its text selected when the input is refused; None when the plan
    // can be applied.
    Field Invalid = Field::None;
    // The message to show for a refused input: this title, an exclamation icon, OK.
    std::string Title;
    std::string Message;
    // For an accepted input: the range in the address form and the kinds, 0 meaning no call.
    int32_t Address = 0;
    int32_t Length = 0;
    int32_t SetKinds = 0;
    int32_t ClearKinds = 0;

    bool Accepted() const { return Invalid == Field::None; }
};

// Checks startText ("bank:address" in hexadecimal, "01:4000") against banks 0 to highestBank
// and endText (a hexadecimal address from the start address up to FFFF in the same bank), and
// gives the kinds of option: none clears read and write, read sets read and clears write, write
// sets write and clears read, read and write sets both.
MemoryBreakPlan PlanMemoryBreak(const std::string& startText, const std::string& endText,
                                int32_t option, int32_t highestBank);

// The dialog's done button: asks the Emulator for its highest bank, then plans.
MemoryBreakPlan PlanMemoryBreak(Emulator& emulator, const std::string& startText,
                                const std::string& endText, int32_t option);

// SetBreak with the kinds to set, if any, then ClearBreak with the kinds to clear, if any. A
// refused plan makes no call.
void ApplyMemoryBreakPlan(Emulator& emulator, const MemoryBreakPlan& plan);

} // namespace bx
