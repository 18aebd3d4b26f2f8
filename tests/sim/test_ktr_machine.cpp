// The KTR machine behind the Emulator interface (models, memory access, breakpoints of every
// kind and their Cond, stepping and disassembly) and as its firmware sees it: banks and vectors,
// the timer interrupt to the cycle, WAI, the time base, the watchdog and the registers. Every
// target program is ca65 source assembled at test time.
#include "KtrBoard.h"
#include "foundation/Error.h"

#include <gtest/gtest.h>
#include <tuple>

namespace bx::sim::testing {
namespace {

TEST(KtrEmulator, ModelsMemoryAndTheCallsThatNeedNoProgram) {
    platform::QueueDispatcher dispatcher;
    KtrEmulator emu(dispatcher);
    EXPECT_THROW(emu.Run(), BxError) << "no model selected";
    for (const auto& [model, lastBank] : {std::pair{7, 3}, {13, 13}, {24, 61}}) {
        emu.SetModel(model);
        EXPECT_EQ(emu.GetModel() * 100 + emu.GetValue("Bank"), model * 100 + lastBank);
    }
    emu.SetModel(99);
    EXPECT_EQ(emu.GetModel(), 0) << "an unknown number selects none";
    EXPECT_THROW(emu.GetValue("Speed"), BxError);
    EXPECT_THROW(emu.GetPortId("P3"), BxError);
    EXPECT_THROW(emu.AttachHub(-5, device_id::kEmulator), BxError);

    // The same model again keeps memory and breakpoints; another starts afresh.
    int32_t count = 2;
    std::vector<int32_t> flags;
    emu.SetModel(13);
    emu.WriteMemory(0x0300, count, {0x12, 0x34});
    ASSERT_TRUE(emu.SetBreak(0x0005'4000, 1, 1));
    emu.SetModel(13);
    EXPECT_EQ(emu.ReadMemory(0x0300, count = 2), (std::vector<uint8_t>{0x12, 0x34}));
    EXPECT_TRUE(emu.GetBreakFlags(0x0005'4000, flags, 1) && flags == std::vector<int32_t>{1});
    emu.SetModel(7); // RAM $0000-$07FF, banks 0-3
    EXPECT_EQ(emu.ReadMemory(0x0300, count = 2), (std::vector<uint8_t>{0, 0}));
    EXPECT_TRUE(emu.GetBreakFlags(0x0000'4000, flags, 1) && flags == std::vector<int32_t>{0});

    // Where there is no memory: no data, no writes, no breakpoints.
    for (const int32_t address : {0x0800, 0x0004'4000, 0xFFFE}) // the last runs past $FFFF
        EXPECT_TRUE(emu.ReadMemory(address, count = 4).empty() && count == 0) << address;
    EXPECT_EQ(emu.ReadMemory(0x07FE, count = 2).size(), 2u);
    EXPECT_THROW(emu.WriteMemory(0x2000, count = 1, {1}), BxError);
    EXPECT_FALSE(emu.SetBreak(0x07FF, 2, 2));
    EXPECT_TRUE(emu.GetBreakFlags(0x07FE, flags, 2) && (flags == std::vector{0, 0}))
        << "a refused range sets nothing";
    EXPECT_TRUE(!emu.GetBreakFlags(0x1000, flags, 1) && flags.empty());

    // A debugger's read of an SFR has no side effect: it doesn't latch the timer's high byte.
    emu.WriteMemory(sfr::kTrldL, count = 2, {0x34, 0x12});
    emu.WriteMemory(sfr::kTctl, count = 1, {sfr::kTimerRun});
    EXPECT_EQ(emu.ReadMemory(sfr::kTcntL, count = 2), (std::vector<uint8_t>{0x34, 0}));
}

// One program passes every kind of breakpoint: execute (stops before), read and write (stop
// behind their instruction), on RAM, on the registers the bus serves on its fast path (a write
// that changes nothing included), in one bank of the window, and on RAM named with a bank.
// Then Step, which ignores breakpoints, NextInstruction and Disassemble, and execution where
// the model has no memory.
TEST(KtrEmulator, BreakpointsOfEachKindStepDisassemblyAndExecutionWithoutMemory) {
    LOADED_BOARD(board, emulator_model::kKTR310, Program(R"(
reset:  lda #1
bpx:    nop
        lda $0300
a_read: sta $0301
a_wr:   lda P2
a_p2:   put WDT_KEY, WDTCLR
a_wdt:  put $3C, P0
a_p0:   stz DAC          ; the DAC's level already: no change
a_dac:  put 1, BANK
        lda $4010        ; bank 1: no breakpoint there
        put 2, BANK
        lda $4010        ; bank 2: breakpoint
a_bank: lda $0210        ; the breakpoint was set as bank 3's $0210
a_ram:  stp
after:  jsr sub
back:   stp
far:    jmp $2000        ; the KTR310 has no memory there
sub:    stx $0300
        inx
        rts
)"));
    const std::pair<int32_t, int32_t> breaks[] = {
        {board.Label("bpx"), 1}, {0x0300, 2},       {0x0301, 4},
        {sfr::kP2, 2},           {sfr::kWdtclr, 4}, {sfr::kP0, 4},
        {sfr::kDac, 4},          {0x0002'4010, 2},  {0x0003'0210, 2},
    };
    for (const auto& [address, kind] : breaks)
        ASSERT_TRUE(board.Emu->SetBreak(address, kind, 1)) << std::hex << address;
    board.Poke(0x0300, {0x5A});
    std::vector<int32_t> flags;
    EXPECT_TRUE(board.Emu->GetBreakFlags(0x02FF, flags, 4) && (flags == std::vector{0, 2, 4, 0}));
    EXPECT_TRUE(board.Emu->GetBreakFlags(0x0000'0210, flags, 1) && (flags == std::vector{2}))
        << "one RAM byte whatever the bank part";
    const std::tuple<int32_t, const char*, int32_t> expected[] = {
        // bank, label, Cond
        {0, "bpx", 1},   {0, "a_read", 2},
        {0, "a_wr", 4},  {0, "a_p2", 2},
        {0, "a_wdt", 4}, {0, "a_p0", 4},
        {0, "a_dac", 4}, {2, "a_bank", 2},
        {2, "a_ram", 2}, {2, "after", stop_cond::kStp}};
    for (const auto& [bank, label, cond] : expected) {
        ASSERT_TRUE(board.RunToStop());
        EXPECT_EQ(board.Stops.back(), (Stop{bank, board.Label(label), cond})) << label;
    }
    EXPECT_EQ(board.Peek(0x0301), 0x5A) << "the write happened";

    // Clearing one kind keeps the others; ClearBreak(0, 7, -1) clears everything.
    ASSERT_TRUE(board.Emu->SetBreak(0x0300, 4, 1) && board.Emu->ClearBreak(0x0300, 2, 1));
    ASSERT_TRUE(board.Emu->SetBreak(0x0302, 2, 1));
    ASSERT_TRUE(board.Emu->ClearBreak(0, 2, -1)) << "one kind everywhere";
    EXPECT_TRUE(board.Emu->GetBreakFlags(0x0300, flags, 3) && (flags == std::vector{4, 4, 0}));
    ASSERT_TRUE(board.Emu->ClearBreak(0, 7, -1));
    EXPECT_TRUE(board.Emu->GetBreakFlags(0x02FF, flags, 4) && (flags == std::vector{0, 0, 0, 0}));
    board.JumpTo("bpx"); // the cleared breakpoints, on RAM and on the registers, pass
    ASSERT_TRUE(board.RunToStop());
    EXPECT_EQ(board.Stops.back(), (Stop{2, board.Label("after"), stop_cond::kStp}));

    // SetCpuState writes every register and leaves the STP; Step runs one instruction each,
    // whatever breakpoints stand there, and raises no BreakHit.
    const bx::CpuState state{1, 2, 3, 0x80, 0x20, static_cast<uint16_t>(board.Label("after"))};
    board.Emu->SetCpuState(state);
    EXPECT_EQ(*board.Emu->GetCpuState(), state);
    ASSERT_TRUE(board.Emu->SetBreak(board.Label("sub"), 1, 1) && board.Emu->SetBreak(0x0300, 4, 1));
    for (int step = 0; step < 3; ++step) // JSR, STX, INX
        board.Emu->Step();
    EXPECT_EQ(board.Peek(0x0300) * 256 + board.Emu->GetCpuState()->X, 0x0203) << "STX, INX";
    board.Dispatcher.RunPending();
    EXPECT_EQ(board.Stops.size(), 11u) << "no BreakHit from a Step";
    EXPECT_EQ(board.Emu->NextInstruction(board.Label("after")), board.Label("back"))
        << "behind the JSR";
    EXPECT_LT(board.Emu->NextInstruction(board.Label("reset")), 0) << "no call";
    int32_t next = 0;
    std::vector<std::string> text;
    ASSERT_TRUE(board.Emu->Disassemble(board.Label("back"), 3, next, text));
    EXPECT_EQ(text, (std::vector<std::string>{"STP", "JMP $2000", "STX $0300"}));
    EXPECT_EQ(next, board.Label("sub") + 3);
    EXPECT_FALSE(board.Emu->Disassemble(0x2000, 1, next, text));
    EXPECT_TRUE(next == 0x2001 && text.empty());
    ASSERT_TRUE(board.Emu->Disassemble(0x0003'4000, 2, next, text));
    EXPECT_EQ(next >> 16, 3) << "the bank part is kept";
    board.JumpTo("far");
    ASSERT_TRUE(board.RunToStop());
    EXPECT_EQ(board.Stops.back(), (Stop{2, 0x2000, stop_cond::kIllegal}));
}

// On each model: the window shows the selected bank (an empty one reads $FF), code runs from
// the last bank, the vectors come from the fixed ROM (bank 0 on the KTR640, whose window holds
// $FFFA) whatever bank is selected, WAI with IRQ masked is ended by the timer, and the debugger
// names any bank and selects one by writing BANK.
TEST(KtrMcu, BanksAndVectorsOnEveryModel) {
    SKIP_WITHOUT_BUILD_TOOLS();
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
        copy WINDOW, $0200
        put LAST, BANK
        jsr WINDOW+1
        sta $0201
        put LAST+1, BANK
        copy WINDOW, $0202
        put LAST, BANK
        put 99, TRLDL
        put IRQ_TIMER, IER
        put TCTL_RUN, TCTL
        cli
        wai              ; the timer's IRQ, through the fixed ROM's vectors
        sei
        wai              ; masked: the timer ends WAI without entering the handler
        copy IFR, $0204
        stp
again:  copy WINDOW, $0205
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
        EXPECT_EQ(std::vector<int>({board.Peek(0x0200), board.Peek(0x0201), board.Peek(0x0202),
                                    board.Peek(0x0203), board.Peek(0x0204) & sfr::kIrqTimer,
                                    board.Peek(sfr::kBank)}),
                  std::vector<int>({0x10, 0x33, 0xFF, 1, sfr::kIrqTimer, model.LastBank}));
        // The debugger names a bank whatever the CPU has selected.
        EXPECT_EQ(board.Peek(model.Window) * 256 + board.Peek(model.LastBank << 16 | model.Window),
                  0x101D);
        int32_t count = 1;
        EXPECT_TRUE(
            board.Emu->ReadMemory((model.LastBank + 1) << 16 | model.Window, count).empty() &&
            count == 0);
        // Writing BANK selects the bank for the CPU.
        board.Poke(sfr::kBank, {0});
        board.JumpTo("again");
        ASSERT_TRUE(board.RunToStop());
        EXPECT_EQ(board.Peek(0x0002'0205), 0x10) << "outside the window the bank part is ignored";
    }
}

// The timer starts counting in the cycle after the store that sets RUN; with reload R and
// prescaler P it underflows (R + 1) * P cycles later, and the IRQ entry begins there, or at
// the end of the instruction running then.
TEST(KtrMcu, TheTimerInterruptIsTakenAtTheRightCycle) {
    SKIP_WITHOUT_BUILD_TOOLS();
    // CONTROL, RELOAD and the instruction the loop waits with; the cycles from the STA TCTL to
    // the underflow; how many more the instruction running then may take.
    using Case = std::tuple<const char*, uint64_t, uint64_t>;
    for (const auto& [setup, due, slack] :
         {Case{"CONTROL = TCTL_RUN | TCTL_DIV8\nRELOAD = 99\n.define WAIT wai", 2 + 1 + 800, 0},
          Case{"CONTROL = TCTL_RUN\nRELOAD = 9\n.define WAIT nop", 3 + 10, 2},
          Case{"CONTROL = TCTL_RUN | TCTL_DIV256\nRELOAD = 2\n.define WAIT wai", 3 + 768, 0}}) {
        SCOPED_TRACE(setup);
        LOADED_BOARD(board, emulator_model::kKTR311, std::string(setup) + "\n" + Program(R"(
reset:  put RELOAD, TRLDL
        put IRQ_TIMER, IER
        cli
        lda #CONTROL
store:  sta TCTL
loop:   WAIT
        bra loop
irq:    put IRQ_TIMER, IFR
        rti
)"));
        ASSERT_TRUE(board.Emu->SetBreak(board.Label("store"), 1, 1) &&
                    board.Emu->SetBreak(board.Label("irq"), 1, 1));
        ASSERT_TRUE(board.RunToStop());
        const uint64_t beforeStore = board.Emu->Cycles();
        ASSERT_TRUE(board.RunToStop());
        ASSERT_EQ(board.Stops.back(), (Stop{0, board.Label("irq"), 1}));
        const uint64_t entry = board.Emu->Cycles() - 7 - beforeStore;
        EXPECT_TRUE(entry >= due && entry <= due + slack) << entry;
    }
}

TEST(KtrMcu, TheTimeBaseTicksFromTheSubClockOnlyWithDualClock) {
    SKIP_WITHOUT_BUILD_TOOLS();
    for (bool dualClock : {true, false}) {
        SCOPED_TRACE(dualClock ? "dual clock" : "main clock only");
        KtrBoard board(emulator_model::kKTR311);
        board.Emu->SetOption("DualClock", dualClock);
        board.Emu->SetClock(0, 3'000'000);
        // Counts 200 ticks of 1024 Hz, then stops: about 195 ms of simulated time.
        LOAD(board, Program(R"(
reset:  stz $0200
        put (TBCTL_EN | TBCTL_1024HZ), TBCTL
        copy TBCTL, $0202
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
        if (!dualClock) { // no sub-clock: TBCTL can't be enabled, no tick ever comes
            ASSERT_TRUE(board.RunFor(400'000));
            EXPECT_EQ(board.Peek(0x0200) * 256 + board.Peek(0x0202), 0);
            continue;
        }
        ASSERT_TRUE(board.RunToStop());
        EXPECT_EQ(board.Peek(0x0202), sfr::kTimeBaseEnable | 3);
        EXPECT_NEAR(board.Emu->SimulatedSeconds(), 200.0 / 1024, 1.0 / 1024);
        EXPECT_NEAR(static_cast<double>(board.Emu->Cycles()), 3e6 * 200 / 1024, 3e6 / 1024);
    }
}

TEST(KtrMcu, TheWatchdogResetsAProgramThatStopsRestartingItOnlyWithTheOption) {
    SKIP_WITHOUT_BUILD_TOOLS();
    for (bool option : {true, false}) {
        SCOPED_TRACE(option ? "WDT on" : "WDT off");
        KtrBoard board(emulator_model::kKTR310);
        board.Emu->SetOption("WDT", option);
        LOAD(board, Program(R"(
reset:  inc $0200        ; RAM survives a reset: count the starts
        copy SYSSTAT, $0201
        bmi again
        put WDT_16K, WDTCTL
kick:   lda $0202        ; restart the watchdog while $0202 is non-zero
        beq hang
        put WDT_KEY, WDTCLR
        dec $0202
        bra kick
hang:   bra hang
again:  stz SYSSTAT      ; a 0 in bit 7 leaves the flag, a 1 clears it
        copy SYSSTAT, $0203
        put $80, SYSSTAT
        copy SYSSTAT, $0204
        stp
)"));
        board.Poke(0x0200, {0, 0, 200});
        board.Emu->SetUnthrottled(true);
        if (!option) {
            ASSERT_TRUE(board.RunFor(200'000));
            EXPECT_EQ(board.Peek(0x0200) * 256 + board.Peek(0x0201), 0x0100) << "one start";
            continue;
        }
        ASSERT_TRUE(board.RunToStop());
        // Two starts, the second from the watchdog; the flag is cleared by a 1 only.
        EXPECT_EQ(std::vector<int>({board.Peek(0x0200), board.Peek(0x0201), board.Peek(0x0203),
                                    board.Peek(0x0204)}),
                  std::vector<int>({2, sfr::kStatWatchdogReset | sfr::kStatWdtOption, 0x81, 0x01}));
        // 200 restarts of some 20 cycles each kept it alive, then 16,384 cycles of silence.
        EXPECT_GT(board.Emu->Cycles(), 200u * 15 + 16384);
        EXPECT_LT(board.Emu->Cycles(), 200u * 40 + 16384 + 200);
    }
}

// A program's reads of the registers are served from a copy of their values kept beside the
// registers: after the program's own stores and after the debugger's, every register must read
// the same through the CPU as through ReadMemory.
TEST(KtrMcu, EveryRegisterReadsTheSameFromTheProgramAsFromTheDebugger) {
    SKIP_WITHOUT_BUILD_TOOLS();
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
snap:   ldx #0
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
    board.Poke(sfr::kBank, {2, 0x77}); // BANK, DAC
    board.Poke(sfr::kP0Dir, {0xFF});
    board.Poke(sfr::kIer, {0});
    board.JumpTo("snap");
    ASSERT_TRUE(board.RunToStop());
    compare("after the debugger's stores");
    EXPECT_EQ(copied(sfr::kBank) << 16 | copied(sfr::kDac) << 8 | copied(sfr::kP0), 0x0277A5)
        << "all eight lines of P0 drive now";
}

} // namespace
} // namespace bx::sim::testing
