#include "debug/MemoryBreakRange.h"

#include "debug/Emulator.h"
#include "foundation/Common.h"

namespace bx {

namespace {

constexpr const char* kTitle = "Configure Memory Breakpoints";
constexpr const char* kBadStart =
    "The starting address must be a hexadecimal bank number followed by a colon ':' and then "
    "another hexadecimal value between 0000 and FFFF.";
constexpr const char* kBadEnd = "The end address must be a hexadecimal value between 0000 and "
                                "FFFF larger than the starting address.";

MemoryBreakPlan Refuse(MemoryBreakPlan::Field field, const char* message) {
    MemoryBreakPlan plan;
    plan.Invalid = field;
    plan.Title = kTitle;
    plan.Message = message;
    return plan;
}

// HexToLong keeps 32 bits, so "100004000" would come back as $4000: a text with more than four
// digits behind its leading zeros is out of range whatever it reads as.
bool FitsIn16Bits(const std::string& digits) {
    std::size_t first = digits.find_first_not_of('0');
    return first == std::string::npos || digits.size() - first <= 4;
}

} // namespace

MemoryBreakPlan PlanMemoryBreak(const std::string& startText, const std::string& endText,
                                int32_t option, int32_t highestBank) {
    // The start reads as the number parser's "$bank:address" form; a text without a colon is
    // an address in bank 0.
    int32_t bank = 0;
    bool failed = false;
    int32_t start = ParseNumber("$" + startText, bank, failed);
    std::size_t colon = startText.find(':');
    std::string addressDigits =
        colon == std::string::npos ? startText : startText.substr(colon + 1);
    if (!IsHexText(startText, true) || failed || !FitsIn16Bits(addressDigits) ||
        !FitsIn16Bits(colon == std::string::npos ? "" : startText.substr(0, colon)) || bank < 0 ||
        bank > highestBank || start < 0 || start > 0xFFFF)
        return Refuse(MemoryBreakPlan::Field::Start, kBadStart);

    int32_t end = HexToLong(endText);
    if (!IsHexText(endText, false) || !FitsIn16Bits(endText) || end < start || end > 0xFFFF)
        return Refuse(MemoryBreakPlan::Field::End, kBadEnd);

    MemoryBreakPlan plan;
    plan.Address = bank * 65536 + start;
    plan.Length = end - start + 1;
    switch (option) {
    case memory_break_option::kRead:
        plan.SetKinds = break_kind::kRead;
        plan.ClearKinds = break_kind::kWrite;
        break;
    case memory_break_option::kWrite:
        plan.SetKinds = break_kind::kWrite;
        plan.ClearKinds = break_kind::kRead;
        break;
    case memory_break_option::kReadWrite:
        plan.SetKinds = break_kind::kRead | break_kind::kWrite;
        break;
    default: // none
        plan.ClearKinds = break_kind::kRead | break_kind::kWrite;
        break;
    }
    return plan;
}

MemoryBreakPlan PlanMemoryBreak(Emulator& emulator, const std::string& startText,
                                const std::string& endText, int32_t option) {
    int32_t highest = emulator.GetValue("Bank");
    return PlanMemoryBreak(startText, endText, option, highest);
}

void ApplyMemoryBreakPlan(Emulator& emulator, const MemoryBreakPlan& plan) {
    if (!plan.Accepted())
        return;
    if (plan.SetKinds != 0)
        emulator.SetBreak(plan.Address, plan.SetKinds, plan.Length);
    if (plan.ClearKinds != 0)
        emulator.ClearBreak(plan.Address, plan.ClearKinds, plan.Length);
}

} // namespace bx
