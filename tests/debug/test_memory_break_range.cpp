#include "debug/MemoryBreakRange.h"
#include "support/FakeEmulator.h"

#include <gtest/gtest.h>

namespace bx {
namespace {

using test::FakeEmulator;
using Call = FakeEmulator::BreakCall;
using Field = MemoryBreakPlan::Field;

const std::string kBadStart =
    "The starting address must be a hexadecimal bank number followed by a colon ':' and then "
    "another hexadecimal value between 0000 and FFFF.";
const std::string kBadEnd = "The end address must be a hexadecimal value between 0000 and FFFF "
                            "larger than the starting address.";

TEST(MemoryBreakPlan, TheOptionGivesTheKindsToSetAndToClear) {
    struct Case {
        int32_t option, set, clear;
    };
    for (Case c : {Case{0, 0, 6}, Case{1, 2, 4}, Case{2, 4, 2}, Case{3, 6, 0}}) {
        MemoryBreakPlan plan = PlanMemoryBreak("01:4000", "40FF", c.option, 3);
        ASSERT_TRUE(plan.Accepted()) << c.option;
        EXPECT_EQ(plan.SetKinds, c.set) << c.option;
        EXPECT_EQ(plan.ClearKinds, c.clear) << c.option;
        EXPECT_EQ(plan.Address, 0x14000);
        EXPECT_EQ(plan.Length, 0x100);
    }
}

TEST(MemoryBreakPlan, RangesFromOneByteToTheTopOfTheBank) {
    MemoryBreakPlan one = PlanMemoryBreak("00:0200", "0200", 1, 3);
    ASSERT_TRUE(one.Accepted());
    EXPECT_EQ(one.Length, 1) << "an end equal to the start is one byte";
    MemoryBreakPlan top = PlanMemoryBreak("02:C000", "FFFF", 1, 3);
    ASSERT_TRUE(top.Accepted());
    EXPECT_EQ(top.Address, 0x2C000);
    EXPECT_EQ(top.Length, 0x10000 - 0xC000);
    MemoryBreakPlan noColon = PlanMemoryBreak("4000", "4001", 3, 3);
    ASSERT_TRUE(noColon.Accepted()) << "no colon: bank 0";
    EXPECT_EQ(noColon.Address, 0x4000);
    MemoryBreakPlan lower = PlanMemoryBreak("3:4abc", "4abd", 3, 3);
    ASSERT_TRUE(lower.Accepted());
    EXPECT_EQ(lower.Address, 0x34ABC);
}

TEST(MemoryBreakPlan, ABadStartIsRefusedWithItsMessageAndTheFocusOnTheStart) {
    for (const char* start : {"", "xy:4000", "04:4000", "01:10000", "01:4000 ", "-1:4000",
                              "01:000004000X", "100000001:4000"}) {
        MemoryBreakPlan plan = PlanMemoryBreak(start, "4001", 1, 3);
        EXPECT_EQ(plan.Invalid, Field::Start) << "\"" << start << "\"";
        EXPECT_EQ(plan.Message, kBadStart);
        EXPECT_EQ(plan.Title, "Configure Memory Breakpoints");
    }
}

TEST(MemoryBreakPlan, ABadEndIsRefusedWithItsMessageAndTheFocusOnTheEnd) {
    for (const char* end : {"", "zz", "3FFF", "10000", "01:4001", "100004001"}) {
        MemoryBreakPlan plan = PlanMemoryBreak("01:4000", end, 1, 3);
        EXPECT_EQ(plan.Invalid, Field::End) << "\"" << end << "\"";
        EXPECT_EQ(plan.Message, kBadEnd);
        EXPECT_EQ(plan.Title, "Configure Memory Breakpoints");
    }
}

TEST(MemoryBreakPlan, TheHighestBankComesFromTheEmulator) {
    FakeEmulator emulator;
    emulator.HighestBank = 1;
    EXPECT_TRUE(PlanMemoryBreak(emulator, "01:4000", "4000", 1).Accepted());
    EXPECT_EQ(PlanMemoryBreak(emulator, "02:4000", "4000", 1).Invalid, Field::Start);
    EXPECT_EQ(emulator.Calls.back(), "GetValue Bank");
}

TEST(MemoryBreakPlan, ApplyingSetsFirstThenClears) {
    FakeEmulator emulator;
    ApplyMemoryBreakPlan(emulator, PlanMemoryBreak("01:4000", "400F", 1, 3));
    EXPECT_EQ(emulator.SetBreakCalls, (std::vector<Call>{{0x14000, 2, 16}}));
    EXPECT_EQ(emulator.ClearBreakCalls, (std::vector<Call>{{0x14000, 4, 16}}));
    std::vector<std::string> order;
    for (const std::string& call : emulator.Calls)
        if (call.rfind("SetBreak", 0) == 0 || call.rfind("ClearBreak", 0) == 0)
            order.push_back(call.substr(0, call.find(' ')));
    EXPECT_EQ(order, (std::vector<std::string>{"SetBreak", "ClearBreak"}));
    EXPECT_EQ(emulator.BreakFlagsAt(0x14005), 2);
}

TEST(MemoryBreakPlan, ApplyingMakesOnlyTheCallsWithKinds) {
    FakeEmulator none;
    ApplyMemoryBreakPlan(none, PlanMemoryBreak("00:0200", "020F", 0, 3));
    EXPECT_TRUE(none.SetBreakCalls.empty());
    EXPECT_EQ(none.ClearBreakCalls, (std::vector<Call>{{0x0200, 6, 16}}));
    FakeEmulator both;
    ApplyMemoryBreakPlan(both, PlanMemoryBreak("00:0200", "020F", 3, 3));
    EXPECT_EQ(both.SetBreakCalls, (std::vector<Call>{{0x0200, 6, 16}}));
    EXPECT_TRUE(both.ClearBreakCalls.empty());
    FakeEmulator refused;
    ApplyMemoryBreakPlan(refused, PlanMemoryBreak("zz", "020F", 3, 3));
    EXPECT_TRUE(refused.Calls.empty());
}

} // namespace
} // namespace bx
