// The KTR MCU seen by its firmware: banks and vectors, the timer interrupt to the cycle, WAI,
// the time base, the watchdog and the registers. Every target program is ca65 source
// assembled at test time.
#include "KtrBoard.h"

#include <gtest/gtest.h>

namespace bx::sim::testing {
namespace {

// On each model: the window shows the selected bank (an empty one reads $FF), code runs from
// the last bank, the vectors come from the fixed ROM (bank 0 on the KTR640, whose window holds
// $FFFA) whatever bank is selected, WAI with IRQ masked is ended by the timer, and the debugger
// names any bank and selects one by writing BANK.
TEST(KtrMcu, BanksAndVectorsOnEveryModel) {
    REQUIRE_CA65();
    struct Model {
        int32_t Number, LastBank, Window;
    };
    for (const Model model : {Model{7, 3, 0x4000}, Model{13, 13, 0x4000}, Model{24, 61, 0xC000}}) {
        SCOPED_TRACE(model.Number);
        KtrBoard board(model.Number);
        EXPECT_EQ(board.Emu->GetValue("Bank"), model.LastBank);
        const std::string last = std::to_string(model.LastBank);
        LOAD(board, Program(R"(
reset:  stz BANK
        lda WINDOW
        sta $0200
        put LAST, BANK
        jsr WINDOW+1
        sta $0201
        put LAST+1, BANK
        lda WINDOW
        sta $0202
        put LAST, BANK
        stz TRLDH
        put 99, TRLDL
        put IRQ_TIMER, IER
        put TCTL_RUN, TCTL
        cli
        wai              ; the timer's IRQ, through the fixed ROM's vectors
        sei
        wai              ; masked: the timer ends WAI without entering the handler
        lda IFR
        sta $0204
        stp
again:  lda WINDOW
        sta $0205
        stp
irq:    put IRQ_TIMER, IFR
        inc $0203
        rti
.segment "BANK0"
        .byte $10
.segment "BANK)" + last + R"("
        .byte $1D
        lda #$33
        rts
WINDOW = )" + std::to_string(model.Window) +
                            "\nLAST = " + last));
        ASSERT_TRUE(board.RunToStop());
        EXPECT_EQ(board.Stops.back(),
                  (Stop{model.LastBank, board.Label("again"), stop_cond::kStp}));
        const int32_t expected[] = {0x10, 0x33, 0xFF, 1, sfr::kIrqTimer};
        for (int i = 0; i < 5; ++i)
            EXPECT_EQ(board.Peek(0x0200 + i) & (i == 4 ? sfr::kIrqTimer : 0xFF), expected[i]) << i;
        EXPECT_EQ(board.Peek(sfr::kBank), model.LastBank);
        // The debugger names a bank whatever the CPU has selected.
        EXPECT_EQ(board.Peek(model.Window), 0x10);
        EXPECT_EQ(board.Peek(model.LastBank << 16 | model.Window), 0x1D);
        int32_t count = 1;
        EXPECT_TRUE(
            board.Emu->ReadMemory((model.LastBank + 1) << 16 | model.Window, count).empty());
        EXPECT_EQ(count, 0);
        // Writing BANK selects the bank for the CPU.
        board.Poke(sfr::kBank, {0});
        board.JumpTo("again");
        ASSERT_TRUE(board.RunToStop());
        EXPECT_EQ(board.Peek(0x0205), 0x10);
        EXPECT_EQ(board.Peek(0x0002'0205), 0x10) << "outside the window the bank part is ignored";
    }
}

// The timer starts counting in the cycle after the store that sets RUN; with reload R and
// prescaler P it underflows (R + 1) * P cycles later, and the IRQ entry begins there, or at
// the end of the instruction running then.
TEST(KtrMcu, TheTimerInterruptIsTakenAtTheRightCycle) {
    REQUIRE_CA65();
    struct Case {
        const char* Setup; // CONTROL, RELOAD and the instruction the loop waits with
        uint64_t Due;      // cycles from the STA TCTL to the underflow
        uint64_t Slack;
    };
    for (const Case c :
         {Case{"CONTROL = TCTL_RUN | TCTL_DIV8\nRELOAD = 99\n.define WAIT wai", 2 + 1 + 800, 0},
          Case{"CONTROL = TCTL_RUN\nRELOAD = 9\n.define WAIT nop", 3 + 10, 2},
          Case{"CONTROL = TCTL_RUN | TCTL_DIV256\nRELOAD = 2\n.define WAIT wai", 3 + 768, 0}}) {
        SCOPED_TRACE(c.Setup);
        LOADED_BOARD(board, emulator_model::kKTR311, std::string(c.Setup) + "\n" + Program(R"(
reset:  stz TRLDH
        put RELOAD, TRLDL
        put IRQ_TIMER, IER
        cli
        lda #CONTROL
store:  sta TCTL
loop:   WAIT
        bra loop
irq:    put IRQ_TIMER, IFR
        rti
)"));
        ASSERT_TRUE(board.Emu->SetBreak(board.Label("store"), 1, 1));
        ASSERT_TRUE(board.Emu->SetBreak(board.Label("irq"), 1, 1));
        ASSERT_TRUE(board.RunToStop());
        const uint64_t beforeStore = board.Emu->Cycles();
        ASSERT_TRUE(board.RunToStop());
        ASSERT_EQ(board.Stops.back(), (Stop{0, board.Label("irq"), 1}));
        const uint64_t entry = board.Emu->Cycles() - 7;
        EXPECT_GE(entry, beforeStore + c.Due);
        EXPECT_LE(entry, beforeStore + c.Due + c.Slack);
    }
}

TEST(KtrMcu, TheTimeBaseTicksFromTheSubClockOnlyWithDualClock) {
    REQUIRE_CA65();
    for (bool dualClock : {true, false}) {
        SCOPED_TRACE(dualClock ? "dual clock" : "main clock only");
        KtrBoard board(emulator_model::kKTR311);
        board.Emu->SetOption("DualClock", dualClock);
        board.Emu->SetClock(0, 3'000'000);
        // Counts 200 ticks of 1024 Hz, then stops: about 195 ms of simulated time.
        LOAD(board, Program(R"(
reset:  stz $0200
        put (TBCTL_EN | TBCTL_1024HZ), TBCTL
        lda TBCTL
        sta $0202
        put IRQ_TIMEBASE, IER
        cli
loop:   wai
        lda $0200
        cmp #200
        bne loop
        stp
irq:    put IRQ_TIMEBASE, IFR
        inc $0200
        rti
)"));
        board.Emu->SetUnthrottled(true);
        if (!dualClock) {
            ASSERT_TRUE(board.Emu->SetBreak(board.Label("irq"), 1, 1));
            board.Emu->Run();
            ASSERT_TRUE(board.Advance(400'000));
            EXPECT_TRUE(board.Emu->Stop()) << "no sub-clock: no tick ever came";
            EXPECT_EQ(board.Peek(0x0202), 0);
            continue;
        }
        ASSERT_TRUE(board.RunToStop());
        EXPECT_EQ(board.Peek(0x0202), sfr::kTimeBaseEnable | 3);
        EXPECT_EQ(board.Stops.back().Cond, stop_cond::kStp);
        EXPECT_NEAR(board.Emu->SimulatedSeconds(), 200.0 / 1024, 1.0 / 1024);
        EXPECT_NEAR(static_cast<double>(board.Emu->Cycles()), 3e6 * 200 / 1024, 3e6 / 1024);
    }
}

TEST(KtrMcu, TheWatchdogResetsAProgramThatStopsRestartingItOnlyWithTheOption) {
    REQUIRE_CA65();
    for (bool option : {true, false}) {
        SCOPED_TRACE(option ? "WDT on" : "WDT off");
        KtrBoard board(emulator_model::kKTR310);
        board.Emu->SetOption("WDT", option);
        LOAD(board, Program(R"(
reset:  inc $0200        ; RAM survives a reset: count the starts
        lda SYSSTAT
        sta $0201
        bmi again
        put WDT_16K, WDTCTL
kick:   lda $0202        ; restart the watchdog while $0202 is non-zero
        beq hang
        put WDT_KEY, WDTCLR
        dec $0202
        bra kick
hang:   bra hang
again:  stz SYSSTAT      ; a 0 in bit 7 leaves the flag, a 1 clears it
        lda SYSSTAT
        sta $0203
        put $80, SYSSTAT
        lda SYSSTAT
        sta $0204
        stp
)"));
        board.Poke(0x0200, {0, 0, 200});
        board.Emu->SetUnthrottled(true);
        if (!option) {
            board.Emu->Run();
            ASSERT_TRUE(board.Advance(200'000));
            EXPECT_TRUE(board.Emu->Stop());
            EXPECT_EQ(board.Peek(0x0200) * 256 + board.Peek(0x0201), 0x0100) << "one start";
            continue;
        }
        ASSERT_TRUE(board.RunToStop());
        EXPECT_EQ(board.Stops.back().Cond, stop_cond::kStp);
        EXPECT_EQ(board.Peek(0x0200), 2);
        EXPECT_EQ(board.Peek(0x0201), sfr::kStatWatchdogReset | sfr::kStatWdtOption);
        EXPECT_EQ(board.Peek(0x0203) * 256 + board.Peek(0x0204), 0x8101);
        // 200 restarts of some 20 cycles each kept it alive, then 16,384 cycles of silence.
        EXPECT_GT(board.Emu->Cycles(), 200u * 15 + 16384);
        EXPECT_LT(board.Emu->Cycles(), 200u * 40 + 16384 + 200);
    }
}

// A program's reads of the registers are served from a copy of their values kept beside the
// registers: after the program's own stores and after the debugger's, every register must read
// the same through the CPU as through ReadMemory.
TEST(KtrMcu, EveryRegisterReadsTheSameFromTheProgramAsFromTheDebugger) {
    REQUIRE_CA65();
    KtrBoard board(emulator_model::kKTR311);
    board.Emu->SetOption("UseRC", true);
    board.Emu->SetOption("DualClock", true);
    board.Emu->SetOption("Unknown", true); // ignored
    LOAD(board, Program(R"(
reset:  put $5A, TRLDL
        put $12, TRLDH
        put (TCTL_RUN | TCTL_DIV64), TCTL
        put TCTL_DIV8, TCTL     ; stopped again: the count stays where it is
        put $F0, P0DIR
        put $A5, P0             ; outputs show $A, the inputs read high
        put $03, DAC
        put (IRQ_TIMER | IRQ_KEY), IER
        put $0F, KEYEN
        put WDT_64K, WDTCTL
        put 1, BANK
copy:   ldx #0
@next:  lda BANK,x              ; every register through the CPU, into $0300
        sta $0300,x
        inx
        cpx #(MODELID - BANK + 1)
        bne @next
        stp
)"));
    const auto copied = [&](uint16_t sfr) { return board.Peek(0x0300 + sfr - sfr::kBase); };
    const auto compare = [&](const char* when) {
        for (uint16_t sfr = sfr::kBase; sfr <= sfr::kModelId; ++sfr)
            EXPECT_EQ(copied(sfr), board.Peek(sfr)) << when << ": register $" << std::hex << sfr;
    };
    ASSERT_TRUE(board.RunToStop());
    compare("after the program's stores");
    const std::pair<uint16_t, int> values[] = {
        {sfr::kBank, 1},     {sfr::kDac, 3},
        {sfr::kP0, 0xAF},    {sfr::kTrldL, 0x5A},
        {sfr::kWdtctl, 1},   {sfr::kIer, sfr::kIrqTimer | sfr::kIrqKey},
        {sfr::kModelId, 13}, {sfr::kSysStat, sfr::kStatRc | sfr::kStatDualClock},
    };
    for (const auto& [sfr, value] : values)
        EXPECT_EQ(copied(sfr), value) << std::hex << sfr;
    // The debugger's stores, then the copy again.
    board.Poke(sfr::kDac, {0x77});
    board.Poke(sfr::kP0Dir, {0xFF});
    board.Poke(sfr::kBank, {2});
    board.Poke(sfr::kIer, {0});
    board.JumpTo("copy");
    ASSERT_TRUE(board.RunToStop());
    compare("after the debugger's stores");
    EXPECT_EQ(copied(sfr::kDac), 0x77);
    EXPECT_EQ(copied(sfr::kP0), 0xA5) << "all eight lines drive now";
    EXPECT_EQ(copied(sfr::kBank), 2);
}

} // namespace
} // namespace bx::sim::testing
