// The appliance's breakpoint records, and the memory breakpoint dialog's plan: its checks of the
// range, the kinds of each option, and the calls that apply it.

#include "debug/Breakpoints.h"
#include "debug/MemoryBreakRange.h"
#include "support/FakeEmulator.h"

#include <algorithm>
#include <gtest/gtest.h>

namespace bx {
namespace {

using test::FakeEmulator;
using Call = FakeEmulator::BreakCall;
using Field = MemoryBreakPlan::Field;

// The text with each "|" turned into the NUL character that separates the parts.
std::string Parts(std::string text) {
    std::replace(text.begin(), text.end(), '|', '\0');
    return text;
}

TEST(Breakpoints, TextFormIsFourDecimalsSeparatedByNulAndRoundTrips) {
    EXPECT_EQ((Breakpoint{0, 49152, 1, 1}.AsString()), Parts("0|49152|1|1"));
    Breakpoint copy;
    ASSERT_TRUE(copy.FromString(Parts("3|-1|16|6")));
    EXPECT_EQ(copy.AsString(), Parts("3|-1|16|6"));
    // Too few parts, a part that is no number, an empty part.
    for (const char* bad : {"1|2|3", "1|x|3|4", "1||3|4"}) {
        EXPECT_FALSE(copy.FromString(Parts(bad))) << bad;
        EXPECT_EQ(copy.AsString(), Parts("3|-1|16|6")) << "untouched";
    }
}

TEST(MemoryBreakPlan, AnAcceptedRangeRunsFromOneByteToTheTopOfTheBank) {
    struct Case {
        const char *start, *end;
        int32_t address, length;
    };
    const Case cases[] = {{"01:4000", "40FF", 0x14000, 0x100},
                          {"00:0200", "0200", 0x0200, 1}, // an end equal to the start
                          {"02:C000", "FFFF", 0x2C000, 0x4000},
                          {"4000", "4001", 0x4000, 2}, // no colon: bank 0
                          {"3:4abc", "4abd", 0x34ABC, 2}};
    for (const Case& c : cases) {
        MemoryBreakPlan plan = PlanMemoryBreak(c.start, c.end, 1, 3);
        ASSERT_TRUE(plan.Accepted()) << c.start;
        EXPECT_EQ(plan.Address, c.address) << c.start;
        EXPECT_EQ(plan.Length, c.length) << c.start;
    }
}

TEST(MemoryBreakPlan, ABadFieldIsRefusedWithItsMessageAndTheFocusOnIt) {
    const std::string badStart =
        "The starting address must be a hexadecimal bank number followed by a colon ':' and "
        "then another hexadecimal value between 0000 and FFFF.";
    const std::string badEnd = "The end address must be a hexadecimal value between 0000 and "
                               "FFFF larger than the starting address.";
    const auto expectRefused = [](const MemoryBreakPlan& plan, Field field,
                                  const std::string& message) {
        EXPECT_EQ(plan.Invalid, field);
        EXPECT_EQ(plan.Message, message);
        EXPECT_EQ(plan.Title, "Configure Memory Breakpoints");
    };
    // Bank 4 is past the highest, 3; "3FFF" lies below the start.
    for (const char* start : {"", "xy:4000", "04:4000", "01:10000", "01:4000 ", "-1:4000",
                              "01:000004000X", "100000001:4000"}) {
        SCOPED_TRACE(start);
        expectRefused(PlanMemoryBreak(start, "4001", 1, 3), Field::Start, badStart);
    }
    for (const char* end : {"", "zz", "3FFF", "10000", "01:4001", "100004001"}) {
        SCOPED_TRACE(end);
        expectRefused(PlanMemoryBreak("01:4000", end, 1, 3), Field::End, badEnd);
    }
}

TEST(MemoryBreakPlan, TheHighestBankComesFromTheEmulator) {
    FakeEmulator emulator;
    emulator.HighestBank = 1;
    EXPECT_TRUE(PlanMemoryBreak(emulator, "01:4000", "4000", 1).Accepted());
    EXPECT_EQ(PlanMemoryBreak(emulator, "02:4000", "4000", 1).Invalid, Field::Start);
    EXPECT_EQ(emulator.Calls.back(), "GetValue Bank");
}

TEST(MemoryBreakPlan, TheOptionGivesTheKindsAndApplyingSetsThemFirstThenClears) {
    struct Case {
        int32_t option, set, clear;
        std::vector<std::string> calls;
    };
    const Case cases[] = {{0, 0, 6, {"ClearBreak 00014000 6 16"}},
                          {1, 2, 4, {"SetBreak 00014000 2 16", "ClearBreak 00014000 4 16"}},
                          {2, 4, 2, {"SetBreak 00014000 4 16", "ClearBreak 00014000 2 16"}},
                          {3, 6, 0, {"SetBreak 00014000 6 16"}}};
    for (const Case& c : cases) {
        SCOPED_TRACE(c.option);
        const MemoryBreakPlan plan = PlanMemoryBreak("01:4000", "400F", c.option, 3);
        EXPECT_EQ(plan.SetKinds, c.set);
        EXPECT_EQ(plan.ClearKinds, c.clear);
        FakeEmulator emulator;
        emulator.SetBreak(0x14005, 6, 1);
        emulator.Calls.clear();
        ApplyMemoryBreakPlan(emulator, plan);
        EXPECT_EQ(emulator.Calls, c.calls);
        EXPECT_EQ(emulator.BreakFlagsAt(0x14005), c.set);
    }
    FakeEmulator refused;
    ApplyMemoryBreakPlan(refused, PlanMemoryBreak("zz", "020F", 3, 3));
    EXPECT_TRUE(refused.Calls.empty());
}

} // namespace
} // namespace bx
