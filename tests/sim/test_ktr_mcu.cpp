// The KTR MCU seen by its firmware: bank switching, the timer interrupt to the cycle, WAI, the
// time base, the watchdog. Every target program is ca65 source assembled at test time.
#include "KtrBoard.h"

#include <gtest/gtest.h>

namespace bx::sim::testing {
namespace {

TEST(KtrMcu, BankSwitchingIsSeenByTheCpuAndByReadMemoryWithABank) {
    REQUIRE_CA65();
    KtrBoard board(emulator_model::kKTR311);
    LOAD(board, Program(R"(
reset:  ldx #$FF
        txs
        stz BANK
        lda $4000
        sta $0200
        lda #5
        sta BANK
        lda $4000
        sta $0201
        lda #13
        sta BANK
        lda $4000
        sta $0202
        lda #14          ; the KTR311 has banks 0-13: the window is empty
        sta BANK
        lda $4000
        sta $0203
        lda #5
        sta BANK
        stp
again:  lda $4000
        sta $0204
        stp
irq:
nmi:    rti
.segment "BANK0"
        .byte $10
.segment "BANK5"
        .byte $15
.segment "BANK13"
        .byte $1D
)"));
    ASSERT_TRUE(board.RunToStop());
    EXPECT_EQ(board.Stops.back().Cond, stop_cond::kStp);
    EXPECT_EQ(board.Stops.back().Bank, 5);
    EXPECT_EQ(board.Peek(0x0200), 0x10);
    EXPECT_EQ(board.Peek(0x0201), 0x15);
    EXPECT_EQ(board.Peek(0x0202), 0x1D);
    EXPECT_EQ(board.Peek(0x0203), 0xFF);
    // The debugger names a bank whatever the CPU has selected.
    EXPECT_EQ(board.Peek(0x0000'4000), 0x10);
    EXPECT_EQ(board.Peek(0x0005'4000), 0x15);
    EXPECT_EQ(board.Peek(0x000D'4000), 0x1D);
    int32_t count = 1;
    EXPECT_TRUE(board.Emu->ReadMemory(0x000E'4000, count).empty());
    EXPECT_EQ(count, 0);
    // The bank register as a watch reads it.
    EXPECT_EQ(board.Peek(sfr::kBank), 5);
    // Editing the register selects the bank for the CPU.
    count = 1;
    board.Emu->WriteMemory(sfr::kBank, count, {13});
    auto state = *board.Emu->GetCpuState();
    state.PC = static_cast<uint16_t>(board.Label("again"));
    board.Emu->SetCpuState(state);
    ASSERT_TRUE(board.RunToStop());
    EXPECT_EQ(board.Peek(0x0204), 0x1D);
    // Outside the window the bank part is ignored: one RAM byte.
    EXPECT_EQ(board.Peek(0x0003'0204), 0x1D);
}

TEST(KtrMcu, Ktr640TakesItsVectorsFromBankZeroWhateverBankIsSelected) {
    REQUIRE_CA65();
    KtrBoard board(emulator_model::kKTR640);
    EXPECT_EQ(board.Emu->GetValue("Bank"), 61);
    LOAD(board, Program(R"(
reset:  ldx #$FF
        txs
        stz $0200
        lda #3
        sta BANK
        jsr $C000        ; banked code in bank 3 returns a value in A
        sta $0201
        lda #<499
        sta TRLDL
        lda #>499
        sta TRLDH
        lda #IRQ_TIMER
        sta IER
        cli
        lda #TCTL_RUN
        sta TCTL
wait:   lda $0200
        cmp #3
        bne wait
        stp
irq:    lda #IRQ_TIMER
        sta IFR
        inc $0200
nmi:    rti
.segment "BANK3"
        lda #$33
        rts
)"));
    ASSERT_TRUE(board.RunToStop());
    EXPECT_EQ(board.Stops.back().Cond, stop_cond::kStp);
    EXPECT_EQ(board.Peek(0x0201), 0x33);
    EXPECT_EQ(board.Peek(0x0200), 3);
    EXPECT_EQ(board.Stops.back().Bank, 3);
    // Bank 3's own top bytes are not what the CPU fetched as vectors.
    EXPECT_EQ(board.Peek(0x0003'FFFE), 0xFF);
}

// The timer starts counting in the cycle after the store that sets RUN; with reload R and
// prescaler P it underflows (R + 1) * P cycles later, and the IRQ entry begins there.
TEST(KtrMcu, TheTimerInterruptIsTakenAtTheRightCycle) {
    REQUIRE_CA65();
    KtrBoard board(emulator_model::kKTR311);
    LOAD(board, Program(R"(
reset:  ldx #$FF
        txs
        stz TRLDH
        lda #99
        sta TRLDL
        lda #IRQ_TIMER
        sta IER
        cli
start:  lda #(TCTL_RUN | TCTL_DIV8)
        sta TCTL
        wai
loop:   bra loop
irq:    lda #IRQ_TIMER
        sta IFR
nmi:    rti
)"));
    const int32_t start = board.Label("start");
    ASSERT_TRUE(board.Emu->SetBreak(start + 2, 1, 1)); // the STA TCTL
    ASSERT_TRUE(board.Emu->SetBreak(board.Label("irq"), 1, 1));
    ASSERT_TRUE(board.RunToStop());
    ASSERT_EQ(board.Stops.back(), (Stop{0, start + 2, 1}));
    const uint64_t beforeStore = board.Emu->Cycles();
    ASSERT_TRUE(board.RunToStop());
    ASSERT_EQ(board.Stops.back(), (Stop{0, board.Label("irq"), 1}));
    // STA zp writes in its third cycle (beforeStore + 2); counting starts one cycle later;
    // 100 * 8 cycles to the underflow; then the 7-cycle entry.
    EXPECT_EQ(board.Emu->Cycles(), beforeStore + 2 + 1 + 800 + 7);
    // The counter was reloaded at the underflow and counts down again.
    board.Emu->Step();
    board.Emu->Step();
    int32_t count = 1;
    const uint8_t low = board.Emu->ReadMemory(sfr::kTcntL, count).at(0);
    EXPECT_LE(low, 99);
    EXPECT_GE(low, 97);
}

TEST(KtrMcu, TheTimerInterruptEndsAnInstructionLoopAtItsNextBoundary) {
    REQUIRE_CA65();
    KtrBoard board(emulator_model::kKTR310);
    LOAD(board, Program(R"(
reset:  ldx #$FF
        txs
        stz TRLDH
        lda #9
        sta TRLDL
        lda #IRQ_TIMER
        sta IER
        cli
start:  lda #TCTL_RUN
        sta TCTL
loop:   nop
        bra loop
irq:    lda #IRQ_TIMER
        sta IFR
nmi:    rti
)"));
    const int32_t start = board.Label("start");
    ASSERT_TRUE(board.Emu->SetBreak(start + 2, 1, 1));
    ASSERT_TRUE(board.Emu->SetBreak(board.Label("irq"), 1, 1));
    ASSERT_TRUE(board.RunToStop());
    const uint64_t beforeStore = board.Emu->Cycles();
    ASSERT_TRUE(board.RunToStop());
    ASSERT_EQ(board.Stops.back().Address, board.Label("irq"));
    // Due at beforeStore + 3 + 10; the loop's instructions end at beforeStore + 3 + 2k or
    // + 3k: the entry starts at the first boundary at or after the due cycle.
    const uint64_t due = beforeStore + 3 + 10;
    const uint64_t entry = board.Emu->Cycles() - 7;
    EXPECT_GE(entry, due);
    EXPECT_LE(entry, due + 2);
}

TEST(KtrMcu, WaiIsEndedByAnInterruptEvenWithIrqMasked) {
    REQUIRE_CA65();
    KtrBoard board(emulator_model::kKTR310);
    LOAD(board, Program(R"(
reset:  ldx #$FF
        txs
        stz $0200
        stz TRLDH
        lda #200
        sta TRLDL
        lda #IRQ_TIMER
        sta IER
        sei              ; masked: WAI resumes without entering the handler
        lda #TCTL_RUN
        sta TCTL
        wai
        lda #$AA
        sta $0200
        lda IFR
        sta $0201
        stp
irq:    inc $0202
nmi:    rti
)"));
    ASSERT_TRUE(board.RunToStop());
    EXPECT_EQ(board.Stops.back().Cond, stop_cond::kStp);
    EXPECT_EQ(board.Peek(0x0200), 0xAA);
    EXPECT_EQ(board.Peek(0x0201) & sfr::kIrqTimer, sfr::kIrqTimer);
    EXPECT_EQ(board.Peek(0x0202), 0);
}

TEST(KtrMcu, TheTimeBaseTicksFromTheSubClockOnlyWithDualClock) {
    REQUIRE_CA65();
    // Counts 200 ticks of 1024 Hz, then stops: about 195 ms of simulated time.
    const std::string source = Program(R"(
reset:  ldx #$FF
        txs
        stz $0200
        lda #(TBCTL_EN | TBCTL_1024HZ)
        sta TBCTL
        lda TBCTL
        sta $0202
        lda #IRQ_TIMEBASE
        sta IER
        cli
loop:   wai
        lda $0200
        cmp #200
        bne loop
        stp
irq:    lda #IRQ_TIMEBASE
        sta IFR
        inc $0200
nmi:    rti
)");
    {
        KtrBoard board(emulator_model::kKTR311);
        board.Emu->SetOption("DualClock", true);
        board.Emu->SetClock(0, 3'000'000);
        LOAD(board, source);
        board.Emu->SetUnthrottled(true);
        const double start = board.Emu->SimulatedSeconds();
        ASSERT_TRUE(board.RunToStop());
        EXPECT_EQ(board.Peek(0x0202), sfr::kTimeBaseEnable | 3);
        EXPECT_EQ(board.Stops.back().Cond, stop_cond::kStp);
        const double elapsed = board.Emu->SimulatedSeconds() - start;
        EXPECT_NEAR(elapsed, 200.0 / 1024, 1.0 / 1024);
        EXPECT_NEAR(static_cast<double>(board.Emu->Cycles()), 3e6 * 200 / 1024, 3e6 / 1024);
    }
    {
        KtrBoard board(emulator_model::kKTR311);
        LOAD(board, source);
        ASSERT_TRUE(board.Emu->SetBreak(board.Label("irq"), 1, 1));
        board.Emu->SetUnthrottled(true);
        board.Emu->Run();
        while (board.Emu->Cycles() < 400'000)
            board.Dispatcher.RunUntil([] { return false; }, std::chrono::milliseconds(1));
        EXPECT_TRUE(board.Emu->Stop()) << "no sub-clock: no tick ever came";
        EXPECT_TRUE(board.Stops.empty());
        EXPECT_EQ(board.Peek(0x0202), 0);
    }
}

TEST(KtrMcu, TheWatchdogResetsAProgramThatStopsRestartingIt) {
    REQUIRE_CA65();
    const std::string source = Program(R"(
reset:  ldx #$FF
        txs
        inc $0200        ; RAM survives a reset: count the starts
        lda SYSSTAT
        sta $0201
        bmi again
        lda #WDT_16K
        sta WDTCTL
kick:   lda $0202        ; restart the watchdog while $0202 is non-zero
        beq hang
        lda #WDT_KEY
        sta WDTCLR
        dec $0202
        bra kick
hang:   bra hang
again:  stp
irq:
nmi:    rti
)");
    {
        KtrBoard board(emulator_model::kKTR310);
        board.Emu->SetOption("WDT", true);
        LOAD(board, source);
        int32_t count = 3;
        board.Emu->WriteMemory(0x0200, count, {0, 0, 200});
        board.Emu->SetUnthrottled(true);
        ASSERT_TRUE(board.RunToStop());
        EXPECT_EQ(board.Stops.back().Cond, stop_cond::kStp);
        EXPECT_EQ(board.Peek(0x0200), 2);
        EXPECT_EQ(board.Peek(0x0201), sfr::kStatWatchdogReset | sfr::kStatWdtOption);
        // 200 restarts of some 20 cycles each kept it alive, then 16,384 cycles of silence.
        EXPECT_GT(board.Emu->Cycles(), 200u * 15 + 16384);
        EXPECT_LT(board.Emu->Cycles(), 200u * 40 + 16384 + 200);
    }
    {
        // Without the option there is no watchdog.
        KtrBoard board(emulator_model::kKTR310);
        LOAD(board, source);
        int32_t count = 3;
        board.Emu->WriteMemory(0x0200, count, {0, 0, 0});
        board.Emu->SetUnthrottled(true);
        board.Emu->Run();
        while (board.Emu->Cycles() < 200'000)
            board.Dispatcher.RunUntil([] { return false; }, std::chrono::milliseconds(1));
        EXPECT_TRUE(board.Emu->Stop());
        EXPECT_TRUE(board.Stops.empty());
        EXPECT_EQ(board.Peek(0x0200), 1);
        EXPECT_EQ(board.Peek(0x0201), 0);
    }
}

TEST(KtrMcu, StatusAndModelRegistersTellTheOptionsAndThePart) {
    REQUIRE_CA65();
    KtrBoard board(emulator_model::kKTR640);
    board.Emu->SetOption("UseRC", true);
    board.Emu->SetOption("DualClock", true);
    board.Emu->SetOption("Unknown", true); // ignored
    LOAD(board, Program(R"(
reset:  stp
irq:
nmi:    rti
)"));
    EXPECT_EQ(board.Peek(sfr::kSysStat), sfr::kStatRc | sfr::kStatDualClock);
    EXPECT_EQ(board.Peek(sfr::kModelId), 24);
}

// A program's reads of the registers are served from a copy of their values kept beside the
// registers: after the program's own stores and after the debugger's, every register must read
// the same through the CPU as through ReadMemory.
TEST(KtrMcu, EveryRegisterReadsTheSameFromTheProgramAsFromTheDebugger) {
    REQUIRE_CA65();
    KtrBoard board(emulator_model::kKTR311);
    LOAD(board, Program(R"(
reset:  ldx #$FF
        txs
        lda #$5A
        sta TRLDL
        lda #$12
        sta TRLDH
        lda #(TCTL_RUN | TCTL_DIV64)
        sta TCTL
        lda #TCTL_DIV8          ; stopped again: the count stays where it is
        sta TCTL
        lda #$F0
        sta P0DIR
        lda #$A5
        sta P0                  ; outputs show $A, the inputs read high
        lda #$03
        sta DAC
        lda #(IRQ_TIMER | IRQ_KEY)
        sta IER
        lda #$0F
        sta KEYEN
        lda #WDT_64K
        sta WDTCTL
        lda #1
        sta BANK
copy:   ldx #0
@next:  lda BANK,x              ; every register through the CPU, into $0300
        sta $0300,x
        inx
        cpx #(MODELID - BANK + 1)
        bne @next
        stp
irq:
nmi:    rti
)"));
    const int count = sfr::kModelId - sfr::kBase + 1;
    const auto compare = [&](const char* when) {
        for (int i = 0; i < count; ++i)
            EXPECT_EQ(board.Peek(0x0300 + i), board.Peek(sfr::kBase + i))
                << when << ": register $" << std::hex << sfr::kBase + i;
    };
    ASSERT_TRUE(board.RunToStop());
    compare("after the program's stores");
    EXPECT_EQ(board.Peek(0x0300 + sfr::kBank - sfr::kBase), 1);
    EXPECT_EQ(board.Peek(0x0300 + sfr::kDac - sfr::kBase), 3);
    EXPECT_EQ(board.Peek(0x0300 + sfr::kP0 - sfr::kBase), 0xAF);
    EXPECT_EQ(board.Peek(0x0300 + sfr::kTrldL - sfr::kBase), 0x5A);
    EXPECT_EQ(board.Peek(0x0300 + sfr::kIer - sfr::kBase), sfr::kIrqTimer | sfr::kIrqKey);
    EXPECT_EQ(board.Peek(0x0300 + sfr::kWdtctl - sfr::kBase), 1);
    EXPECT_EQ(board.Peek(0x0300 + sfr::kModelId - sfr::kBase), 13);

    // The debugger's stores, then the copy again.
    const auto poke = [&](int32_t address, uint8_t value) {
        int32_t one = 1;
        board.Emu->WriteMemory(address, one, {value});
    };
    poke(sfr::kDac, 0x77);
    poke(sfr::kP0Dir, 0xFF);
    poke(sfr::kBank, 2);
    poke(sfr::kIer, 0);
    auto cpu = *board.Emu->GetCpuState();
    cpu.PC = static_cast<uint16_t>(board.Label("copy"));
    board.Emu->SetCpuState(cpu);
    ASSERT_TRUE(board.RunToStop());
    compare("after the debugger's stores");
    EXPECT_EQ(board.Peek(0x0300 + sfr::kDac - sfr::kBase), 0x77);
    EXPECT_EQ(board.Peek(0x0300 + sfr::kP0 - sfr::kBase), 0xA5) << "all eight lines drive now";
    EXPECT_EQ(board.Peek(0x0300 + sfr::kBank - sfr::kBase), 2);
}

} // namespace
} // namespace bx::sim::testing
