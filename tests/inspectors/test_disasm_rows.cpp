// The disassembly view's rows: their text and rule, the bank folded into a PC in the window,
// the breakpoint marks, the end of a listing, and no reads while the target runs.

#include "appliance/Appliance.h"
#include "inspectors/DisasmRows.h"
#include "support/FakeEmulator.h"

#include <algorithm>
#include <gtest/gtest.h>

namespace bx {
namespace {

using test::FakeEmulator;

// A listing from $8000 of a fake target with scripted instructions, over an appliance whose
// bank window is $4000-$7FFF.
class DisasmRowsTest : public ::testing::Test {
protected:
    DisasmRowsTest() {
        emulator->HighestBank = 15;
        emulator->Poke(0x8000, {0xA9, 0x12, 0x20, 0x00, 0x90, 0x60, 0xD0, 0xF8, 0x4C, 0x00, 0x80});
        // clang-format off
        emulator->Instructions = {{0x8000, {"LDA #$12", 2}}, {0x8002, {"JSR $9000", 3}},
            {0x8005, {"RTS", 1}}, {0x8006, {"BNE $8000", 2}}, {0x8008, {"JMP $8000", 3}}};
        // clang-format on
        rows.TargetEmulator = emulator;
        rows.TargetAppliance = &appliance;
        rows.QueryBusy = [this] { return busy; };
    }

    // The "Bank" SFR watch, reading the byte at $00F0 as "$" and two hex digits.
    void AddBankWatch(uint8_t selected) {
        auto watch = appliance.Watches().Add("Bank", "SFR");
        watch->Location = "00:00F0";
        watch->SetDisplay("HexByte");
        emulator->Poke(0xF0, {selected});
    }

    std::shared_ptr<FakeEmulator> emulator = std::make_shared<FakeEmulator>();
    Appliance appliance;
    DisasmRows rows;
    bool busy = false;
};

TEST_F(DisasmRowsTest, RowsShowBankAddressBytesAndTextAndNothingIsReadWhileTheTargetRuns) {
    busy = true;
    EXPECT_EQ(rows.Paint(10), std::nullopt);
    EXPECT_TRUE(emulator->Calls.empty());
    busy = false;
    EXPECT_EQ(DisasmRows::RowsInside(2500, 240), 11);
    rows.SetPC(0x8000);
    const std::vector<DisasmRow> listing = rows.DrawListing(5);
    std::vector<std::string> texts;
    for (const DisasmRow& row : listing)
        texts.push_back(row.Text);
    EXPECT_EQ(texts, (std::vector<std::string>{"   00:8000     A9 12       LDA #$12",
                                               "   00:8002     20 00 90    JSR $9000",
                                               "   00:8005     60          RTS",
                                               "   00:8006     D0 F8       BNE $8000",
                                               "   00:8008     4C 00 80    JMP $8000"}));
    EXPECT_EQ(listing[1].Next, 0x8005);
    EXPECT_EQ(listing[1].Rule, RowRule::Dot);
    EXPECT_EQ(listing[0].Rule, RowRule::None);
    // The extra byte behind each instruction is read but not shown.
    EXPECT_NE(std::find(emulator->Calls.begin(), emulator->Calls.end(), "ReadMemory 00008000 3"),
              emulator->Calls.end());
    EXPECT_EQ(emulator->Calls.front(), "SetReadAhead 32768 512 0 0");
    EXPECT_EQ(emulator->Calls.back(), "SetReadAhead 0 0 0 0");
}

TEST(DisasmRowRules, EachFlowChangeHasItsRuleAndTheBankWatchsDigitsReadAsDecimal) {
    using R = RowRule;
    // clang-format off
    const std::pair<const char*, RowRule> rules[] = {
        {"RTI", R::Solid}, {"RTS", R::Solid}, {"JSR $9000", R::Dot}, {"JMP ($1234)", R::Dash},
        {"BRA $8000", R::Dash}, {"BNE $8000", R::DashDotDot}, {"BEQ $8000", R::DashDotDot},
        {"BCS $8000", R::DashDotDot}, {"BCC $8000", R::DashDotDot}, {"BMI $8000", R::DashDotDot},
        {"BPL $8000", R::DashDotDot}, {"BVC $8000", R::DashDotDot}, {"BVS $8000", R::DashDotDot},
        {"bne $8000", R::DashDotDot}, {"LDA #$12", R::None}, {"BBR3 $12,$8010", R::None},
        {"", R::None}};
    // clang-format on
    for (auto [text, rule] : rules)
        EXPECT_EQ(DisasmRows::RuleOf(text), rule) << text;
    const std::pair<const char*, std::optional<int32_t>> banks[] = {
        {"$03", 3}, {"$10", 10}, {"$0A", std::nullopt}, {"Invalid", std::nullopt}, {"", {}}};
    for (auto [text, bank] : banks)
        EXPECT_EQ(DisasmRows::BankOfWatchText(text), bank) << text;
}

TEST_F(DisasmRowsTest, APcInTheWindowTakesTheSelectedBankOnce) {
    rows.SetPC(0x4000);
    EXPECT_EQ(rows.DrawListing(1)[0].Text.substr(0, 10), "   00:4000") << "no watch";
    AddBankWatch(0x0A);
    EXPECT_EQ(rows.DrawListing(1)[0].Text.substr(0, 10), "   00:4000") << "\"$0A\"";
    EXPECT_EQ(rows.PC(), 0x4000);
    emulator->Poke(0xF0, {0x10});
    EXPECT_EQ(rows.DrawListing(1)[0].Text.substr(0, 10), "   0A:4000") << "\"$10\" is bank 10";
    EXPECT_EQ(rows.PC(), 0xA4000);
    emulator->Poke(0xF0, {0x03});
    rows.DrawListing(1);
    EXPECT_EQ(rows.PC(), 0xA4000) << "a folded PC lies outside the window";
    rows.SetPC(0x8000);
    rows.DrawListing(1);
    EXPECT_EQ(rows.PC(), 0x8000) << "outside the window nothing is read";
}

TEST_F(DisasmRowsTest, OnlyExecuteBreakpointsOfOneByteMarkARowInEitherBankForm) {
    appliance.Breakpoints().Add(0, 0x8002, 1, 1);
    appliance.Breakpoints().Add(0, 0x8005, 1, 4);
    appliance.Breakpoints().Add(0, 0x8006, 4, 1);
    appliance.Breakpoints().Add(0, 0x34000, 1, 1);
    appliance.Breakpoints().Add(3, 0x4001, 1, 1);
    emulator->Instructions[0x34000] = {"NOP", 1};
    emulator->Instructions[0x34001] = {"NOP", 1};
    const auto marks = [this](int32_t pc, int32_t count) {
        rows.SetPC(pc);
        std::vector<bool> marked;
        for (const DisasmRow& row : rows.DrawListing(count))
            marked.push_back(row.Breakpoint);
        return marked;
    };
    EXPECT_EQ(marks(0x8000, 5), (std::vector<bool>{false, true, false, false, false}));
    EXPECT_EQ(marks(0x34000, 2), (std::vector<bool>{true, true}));
}

TEST_F(DisasmRowsTest, AnAnswerLongerThanAnInstructionEndsTheListingAndAFailedOneStandsBare) {
    emulator->Instructions[0x8005] = {"???", 4};
    rows.SetPC(0x8000);
    EXPECT_EQ(rows.DrawListing(20).size(), 2u);
    EXPECT_EQ(emulator->Calls.back(), "SetReadAhead 0 0 0 0");

    emulator->MakeUnreadable(0x8000, 1);
    emulator->Instructions.clear();
    const std::vector<DisasmRow> bare = rows.DrawListing(2);
    ASSERT_EQ(bare.size(), 2u);
    EXPECT_EQ(bare[0].Text, "   00:8000     ");
    EXPECT_EQ(bare[1].Address, 0x8001) << "one byte on, and the listing goes on";
}

} // namespace
} // namespace bx
