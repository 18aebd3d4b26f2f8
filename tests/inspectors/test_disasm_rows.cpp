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
        emulator->Instructions = {{0x8000, {"LDA #$12", 2}},
                                  {0x8002, {"JSR $9000", 3}},
                                  {0x8005, {"RTS", 1}},
                                  {0x8006, {"BNE $8000", 2}},
                                  {0x8008, {"JMP $8000", 3}}};
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

TEST_F(DisasmRowsTest, RowsShowBankAddressBytesAndText) {
    rows.SetPC(0x8000);
    const std::vector<DisasmRow> listing = rows.DrawListing(5);
    ASSERT_EQ(listing.size(), 5u);
    EXPECT_EQ(listing[0].Text, "   00:8000     A9 12       LDA #$12");
    EXPECT_EQ(listing[1].Text, "   00:8002     20 00 90    JSR $9000");
    EXPECT_EQ(listing[2].Text, "   00:8005     60          RTS");
    EXPECT_EQ(listing[3].Text, "   00:8006     D0 F8       BNE $8000");
    EXPECT_EQ(listing[4].Text, "   00:8008     4C 00 80    JMP $8000");
    EXPECT_EQ(listing[1].Next, 0x8005);
    EXPECT_EQ(listing[1].Rule, RowRule::Dot);
    EXPECT_EQ(listing[0].Rule, RowRule::None);
    // The extra byte behind each instruction is read but not shown.
    EXPECT_NE(std::find(emulator->Calls.begin(), emulator->Calls.end(), "ReadMemory 00008000 3"),
              emulator->Calls.end());
    EXPECT_EQ(emulator->Calls.front(), "SetReadAhead 32768 512 0 0");
    EXPECT_EQ(emulator->Calls.back(), "SetReadAhead 0 0 0 0");
}

TEST(DisasmRowRules, EachFlowChangeHasItsRule) {
    const std::pair<const char*, RowRule> cases[] = {{"RTI", RowRule::Solid},
                                                     {"RTS", RowRule::Solid},
                                                     {"JSR $9000", RowRule::Dot},
                                                     {"JMP ($1234)", RowRule::Dash},
                                                     {"BRA $8000", RowRule::Dash},
                                                     {"BNE $8000", RowRule::DashDotDot},
                                                     {"BEQ $8000", RowRule::DashDotDot},
                                                     {"BCS $8000", RowRule::DashDotDot},
                                                     {"BCC $8000", RowRule::DashDotDot},
                                                     {"BMI $8000", RowRule::DashDotDot},
                                                     {"BPL $8000", RowRule::DashDotDot},
                                                     {"BVC $8000", RowRule::DashDotDot},
                                                     {"BVS $8000", RowRule::DashDotDot},
                                                     {"bne $8000", RowRule::DashDotDot},
                                                     {"LDA #$12", RowRule::None},
                                                     {"BBR3 $12,$8010", RowRule::None},
                                                     {"", RowRule::None}};
    for (auto [text, rule] : cases)
        EXPECT_EQ(DisasmRows::RuleOf(text), rule) << text;
}

// ---- Bank fold ------------------------------------------------------------------------------

TEST(DisasmBankText, TheWatchDigitsAreReadAsDecimal) {
    EXPECT_EQ(DisasmRows::BankOfWatchText("$03"), 3);
    EXPECT_EQ(DisasmRows::BankOfWatchText("$10"), 10);
    EXPECT_EQ(DisasmRows::BankOfWatchText("$0A"), std::nullopt);
    EXPECT_EQ(DisasmRows::BankOfWatchText("Invalid"), std::nullopt);
    EXPECT_EQ(DisasmRows::BankOfWatchText(""), std::nullopt);
}

TEST_F(DisasmRowsTest, APcInTheWindowTakesTheSelectedBankOnce) {
    AddBankWatch(0x10);
    rows.SetPC(0x4000);
    std::vector<DisasmRow> listing = rows.DrawListing(1);
    EXPECT_EQ(rows.PC(), 0xA4000) << "\"$10\" is bank 10";
    ASSERT_EQ(listing.size(), 1u);
    EXPECT_EQ(listing[0].Text.substr(0, 10), "   0A:4000");
    emulator->Poke(0xF0, {0x03});
    rows.DrawListing(1);
    EXPECT_EQ(rows.PC(), 0xA4000) << "a folded PC lies outside the window";
}

TEST_F(DisasmRowsTest, WithoutAReadableBankThePcStaysUnbanked) {
    rows.SetPC(0x4000);
    EXPECT_EQ(rows.DrawListing(1)[0].Text.substr(0, 10), "   00:4000") << "no watch";
    AddBankWatch(0x0A);
    EXPECT_EQ(rows.DrawListing(1)[0].Text.substr(0, 10), "   00:4000") << "\"$0A\"";
    EXPECT_EQ(rows.PC(), 0x4000);
    rows.SetPC(0x8000);
    rows.DrawListing(1);
    EXPECT_EQ(rows.PC(), 0x8000) << "outside the window nothing is read";
}

// ---- Marks and the end of the listing -------------------------------------------------------

TEST_F(DisasmRowsTest, OnlyExecuteBreakpointsOfOneByteMarkARow) {
    appliance.Breakpoints().Add(0, 0x8002, 1, 1);
    appliance.Breakpoints().Add(0, 0x8005, 1, 4);
    appliance.Breakpoints().Add(0, 0x8006, 4, 1);
    rows.SetPC(0x8000);
    std::vector<bool> marks;
    for (const DisasmRow& row : rows.DrawListing(5))
        marks.push_back(row.Breakpoint);
    EXPECT_EQ(marks, (std::vector<bool>{false, true, false, false, false}));
}

TEST_F(DisasmRowsTest, ABankedBreakpointMarksItsRowInEitherForm) {
    emulator->Instructions = {{0x34000, {"NOP", 1}}, {0x34001, {"NOP", 1}}};
    appliance.Breakpoints().Add(0, 0x34000, 1, 1);
    appliance.Breakpoints().Add(3, 0x4001, 1, 1);
    rows.SetPC(0x34000);
    const std::vector<DisasmRow> listing = rows.DrawListing(2);
    ASSERT_EQ(listing.size(), 2u);
    EXPECT_TRUE(listing[0].Breakpoint);
    EXPECT_TRUE(listing[1].Breakpoint);
    EXPECT_EQ(listing[1].Text.substr(0, 10), "   03:4001");
}

TEST_F(DisasmRowsTest, AnAnswerLongerThanAnInstructionEndsTheListing) {
    emulator->Instructions[0x8005] = {"???", 4};
    rows.SetPC(0x8000);
    const std::vector<DisasmRow> listing = rows.DrawListing(20);
    EXPECT_EQ(listing.size(), 2u);
    EXPECT_EQ(emulator->Calls.back(), "SetReadAhead 0 0 0 0");

    // A failed answer is one byte on: the row stands bare, and the listing goes on.
    emulator->MakeUnreadable(0x8000, 1);
    emulator->Instructions.clear();
    const std::vector<DisasmRow> bare = rows.DrawListing(2);
    ASSERT_EQ(bare.size(), 2u);
    EXPECT_EQ(bare[0].Text, "   00:8000     ");
    EXPECT_EQ(bare[1].Address, 0x8001);
}

TEST_F(DisasmRowsTest, NothingIsReadWhileTheTargetRuns) {
    int repaints = 0;
    rows.Repaint = [&repaints] { ++repaints; };
    rows.SetPC(0x8000);
    EXPECT_EQ(repaints, 1);
    busy = true;
    EXPECT_EQ(rows.Paint(10), std::nullopt);
    EXPECT_TRUE(emulator->Calls.empty());
    busy = false;
    EXPECT_EQ(rows.Paint(3)->size(), 3u);
    EXPECT_EQ(DisasmRows::RowsInside(2500, 240), 11);
}

} // namespace
} // namespace bx
