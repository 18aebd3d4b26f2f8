// The simulator behind the Emulator interface: models, memory access, breakpoints of every kind
// and their Cond, disassembly, and the calls that need no program.
#include "KtrBoard.h"
#include "foundation/Error.h"

#include <gtest/gtest.h>

namespace bx::sim::testing {
namespace {

TEST(KtrEmulator, ModelsAreSelectedByNumberAndAnUnknownNumberSelectsNone) {
    platform::QueueDispatcher dispatcher;
    KtrEmulator emu(dispatcher);
    EXPECT_EQ(emu.GetModel(), 0);
    emu.SetModel(7);
    EXPECT_EQ(emu.GetModel(), 7);
    EXPECT_EQ(emu.GetValue("Bank"), 3);
    emu.SetModel(13);
    EXPECT_EQ(emu.GetValue("Bank"), 13);
    emu.SetModel(24);
    EXPECT_EQ(emu.GetValue("Bank"), 61);
    emu.SetModel(99);
    EXPECT_EQ(emu.GetModel(), 0);
    EXPECT_THROW(emu.GetValue("Speed"), BxError);
    EXPECT_THROW(emu.Run(), BxError);
}

TEST(KtrEmulator, SelectingTheSameModelKeepsMemoryAndBreakpointsAnotherStartsAfresh) {
    platform::QueueDispatcher dispatcher;
    KtrEmulator emu(dispatcher);
    emu.SetModel(13);
    int32_t count = 2;
    emu.WriteMemory(0x0300, count, {0x12, 0x34});
    EXPECT_EQ(count, 2);
    ASSERT_TRUE(emu.SetBreak(0x0005'4000, 1, 1));
    emu.SetModel(13);
    count = 2;
    EXPECT_EQ(emu.ReadMemory(0x0300, count), (std::vector<uint8_t>{0x12, 0x34}));
    std::vector<int32_t> flags;
    ASSERT_TRUE(emu.GetBreakFlags(0x0005'4000, flags, 1));
    EXPECT_EQ(flags, std::vector<int32_t>{1});
    emu.SetModel(7);
    count = 2;
    EXPECT_EQ(emu.ReadMemory(0x0300, count), (std::vector<uint8_t>{0, 0}));
    ASSERT_TRUE(emu.GetBreakFlags(0x0000'4000, flags, 1));
    EXPECT_EQ(flags, std::vector<int32_t>{0});
}

TEST(KtrEmulator, AddressesWithoutMemoryGiveEmptyDataAndRefuseWritesAndBreakpoints) {
    platform::QueueDispatcher dispatcher;
    KtrEmulator emu(dispatcher);
    emu.SetModel(7); // RAM $0000-$07FF, banks 0-3
    int32_t count = 4;
    EXPECT_TRUE(emu.ReadMemory(0x0800, count).empty());
    EXPECT_EQ(count, 0);
    count = 4;
    EXPECT_TRUE(emu.ReadMemory(0x0004'4000, count).empty()) << "bank 4 doesn't exist";
    count = 4;
    EXPECT_TRUE(emu.ReadMemory(0xFFFE, count).empty()) << "runs past $FFFF";
    count = 2;
    EXPECT_EQ(emu.ReadMemory(0x07FF - 1, count).size(), 2u);
    count = 1;
    EXPECT_THROW(emu.WriteMemory(0x2000, count, {1}), BxError);
    EXPECT_FALSE(emu.SetBreak(0x07FF, 2, 2));
    std::vector<int32_t> flags;
    EXPECT_TRUE(emu.GetBreakFlags(0x07FE, flags, 2));
    EXPECT_EQ(flags, (std::vector<int32_t>{0, 0})) << "a refused range sets nothing";
    EXPECT_FALSE(emu.GetBreakFlags(0x1000, flags, 1));
    EXPECT_TRUE(flags.empty());
}

TEST(KtrEmulator, PortNamesAndTheIceCallsOfTheSimulator) {
    platform::QueueDispatcher dispatcher;
    KtrEmulator emu(dispatcher);
    EXPECT_EQ(emu.GetPortId("P0"), 0);
    EXPECT_EQ(emu.GetPortId("P1"), 1);
    EXPECT_EQ(emu.GetPortId("P2"), 2);
    EXPECT_EQ(emu.GetPortId("DAC"), 3);
    EXPECT_THROW(emu.GetPortId("P3"), BxError);
    emu.SetIceDriver("C:\\ice\\driver.dll");
    EXPECT_EQ(emu.GetIceDriver(), "");
    EXPECT_TRUE(emu.SetReadAhead(0, 768, true, false));
    EXPECT_TRUE(emu.SetReadAhead(0, 0, false, false));
    EXPECT_FALSE(emu.ResetRequested());
    emu.SetResetKey(true);
    EXPECT_TRUE(emu.ResetRequested());
    EXPECT_THROW(emu.AttachHub(-5, 2002), BxError);
}

TEST(KtrEmulator, ReadingAnSfrThroughTheDebuggerHasNoSideEffect) {
    platform::QueueDispatcher dispatcher;
    KtrEmulator emu(dispatcher);
    emu.SetModel(13);
    int32_t count = 3;
    // Start the timer from the debugger: reload $1234, RUN.
    emu.WriteMemory(sfr::kTrldL, count = 2, {0x34, 0x12});
    count = 1;
    emu.WriteMemory(sfr::kTctl, count, {sfr::kTimerRun});
    count = 1;
    const uint8_t low = emu.ReadMemory(sfr::kTcntL, count).at(0);
    EXPECT_EQ(low, 0x34);
    count = 1;
    EXPECT_EQ(emu.ReadMemory(sfr::kTcntH, count).at(0), 0) << "a peek doesn't latch the high byte";
}

TEST(KtrEmulator, BreakpointsOfEachKindStopWithTheirCond) {
    REQUIRE_CA65();
    KtrBoard board(emulator_model::kKTR311);
    LOAD(board, Program(R"(
reset:  ldx #$FF
        txs
        lda #1
bpx:    nop
        lda $0300        ; read breakpoint
afterr: sta $0301        ; write breakpoint
afterw: nop
        stp
after:
irq:
nmi:    rti
)"));
    const int32_t bpx = board.Label("bpx");
    ASSERT_TRUE(board.Emu->SetBreak(bpx, 1, 1));
    ASSERT_TRUE(board.Emu->SetBreak(0x0300, 2, 1));
    ASSERT_TRUE(board.Emu->SetBreak(0x0301, 4, 1));
    std::vector<int32_t> flags;
    ASSERT_TRUE(board.Emu->GetBreakFlags(0x02FF, flags, 4));
    EXPECT_EQ(flags, (std::vector<int32_t>{0, 2, 4, 0}));

    ASSERT_TRUE(board.RunToStop());
    EXPECT_EQ(board.Stops.back(), (Stop{0, bpx, 1}));
    EXPECT_EQ(board.Emu->GetCpuState()->PC, bpx) << "an execute breakpoint stops before";
    // Continuing leaves the breakpoint; a memory breakpoint stops behind its instruction.
    ASSERT_TRUE(board.RunToStop());
    EXPECT_EQ(board.Stops.back(), (Stop{0, board.Label("afterr"), 2}));
    ASSERT_TRUE(board.RunToStop());
    EXPECT_EQ(board.Stops.back(), (Stop{0, board.Label("afterw"), 4}));
    EXPECT_EQ(board.Peek(0x0301), 0) << "the write happened";
    ASSERT_TRUE(board.RunToStop());
    EXPECT_EQ(board.Stops.back(), (Stop{0, board.Label("after"), stop_cond::kStp}));

    // Clearing one kind keeps the others; ClearBreak(0, 7, -1) clears everything.
    ASSERT_TRUE(board.Emu->SetBreak(0x0300, 4, 1));
    ASSERT_TRUE(board.Emu->ClearBreak(0x0300, 2, 1));
    ASSERT_TRUE(board.Emu->GetBreakFlags(0x0300, flags, 1));
    EXPECT_EQ(flags, std::vector<int32_t>{4});
    ASSERT_TRUE(board.Emu->SetBreak(0x0302, 2, 1));
    ASSERT_TRUE(board.Emu->ClearBreak(0, 2, -1)) << "one kind everywhere";
    ASSERT_TRUE(board.Emu->GetBreakFlags(0x0300, flags, 3));
    EXPECT_EQ(flags, (std::vector<int32_t>{4, 4, 0}));
    ASSERT_TRUE(board.Emu->ClearBreak(0, 7, -1));
    ASSERT_TRUE(board.Emu->GetBreakFlags(0x02FF, flags, 4));
    EXPECT_EQ(flags, (std::vector<int32_t>{0, 0, 0, 0}));
    ASSERT_TRUE(board.Emu->GetBreakFlags(bpx, flags, 1));
    EXPECT_EQ(flags, std::vector<int32_t>{0});
    board.Emu->Reset();
    ASSERT_TRUE(board.RunToStop());
    EXPECT_EQ(board.Stops.back().Cond, stop_cond::kStp);
    EXPECT_EQ(board.Stops.size(), 5u);
}

// The registers that programs read and write most are served without the bus's slow path; a
// breakpoint on one of them must still stop.
TEST(KtrEmulator, BreakpointsOnRegistersStopLikeThoseOnMemory) {
    REQUIRE_CA65();
    KtrBoard board(emulator_model::kKTR311);
    LOAD(board, Program(R"(
reset:  ldx #$FF
        txs
again:  lda P2
afterr: lda #WDT_KEY
        sta WDTCLR
afterw: lda #$3C
        sta P0
afterp: stz DAC          ; the DAC's level already: no change
afterd: lda IFR
        stp
irq:
nmi:    rti
)"));
    ASSERT_TRUE(board.Emu->SetBreak(sfr::kP2, 2, 1));
    ASSERT_TRUE(board.Emu->SetBreak(sfr::kWdtclr, 4, 1));
    ASSERT_TRUE(board.Emu->SetBreak(sfr::kP0, 4, 1));
    ASSERT_TRUE(board.Emu->SetBreak(sfr::kDac, 4, 1));
    ASSERT_TRUE(board.RunToStop());
    EXPECT_EQ(board.Stops.back(), (Stop{0, board.Label("afterr"), 2}));
    ASSERT_TRUE(board.RunToStop());
    EXPECT_EQ(board.Stops.back(), (Stop{0, board.Label("afterw"), 4}));
    ASSERT_TRUE(board.RunToStop());
    EXPECT_EQ(board.Stops.back(), (Stop{0, board.Label("afterp"), 4}));
    ASSERT_TRUE(board.RunToStop());
    EXPECT_EQ(board.Stops.back(), (Stop{0, board.Label("afterd"), 4}));
    ASSERT_TRUE(board.RunToStop());
    EXPECT_EQ(board.Stops.back().Cond, stop_cond::kStp);

    // Cleared, the same registers run through without a stop.
    ASSERT_TRUE(board.Emu->ClearBreak(0, 7, -1));
    auto cpu = *board.Emu->GetCpuState();
    cpu.PC = static_cast<uint16_t>(board.Label("again"));
    board.Emu->SetCpuState(cpu);
    ASSERT_TRUE(board.RunToStop());
    EXPECT_EQ(board.Stops.back().Cond, stop_cond::kStp);
    EXPECT_EQ(board.Stops.size(), 6u);
}

TEST(KtrEmulator, BreakpointsOutsideTheWindowFoldTheBankAndInsideItNameOneBank) {
    REQUIRE_CA65();
    KtrBoard board(emulator_model::kKTR310);
    LOAD(board, Program(R"(
reset:  ldx #$FF
        txs
        lda #1
        sta BANK
        lda $4010        ; bank 1: no breakpoint there
        lda #2
        sta BANK
        lda $4010        ; bank 2: breakpoint
after:  lda $0210        ; the breakpoint was set as bank 3's $0210
after2: stp
irq:
nmi:    rti
)"));
    ASSERT_TRUE(board.Emu->SetBreak(0x0002'4010, 2, 1));
    ASSERT_TRUE(board.Emu->SetBreak(0x0003'0210, 2, 1));
    std::vector<int32_t> flags;
    ASSERT_TRUE(board.Emu->GetBreakFlags(0x0000'0210, flags, 1));
    EXPECT_EQ(flags, std::vector<int32_t>{2}) << "one RAM byte whatever the bank part";
    ASSERT_TRUE(board.Emu->GetBreakFlags(0x0001'4010, flags, 1));
    EXPECT_EQ(flags, std::vector<int32_t>{0});
    ASSERT_TRUE(board.RunToStop());
    EXPECT_EQ(board.Stops.back(), (Stop{2, board.Label("after"), 2}));
    ASSERT_TRUE(board.RunToStop());
    EXPECT_EQ(board.Stops.back(), (Stop{2, board.Label("after2"), 2}));
}

TEST(KtrEmulator, ExecutionWhereNoMemoryExistsStopsWithAnUnknownCause) {
    REQUIRE_CA65();
    KtrBoard board(emulator_model::kKTR310);
    LOAD(board, Program(R"(
reset:  jmp $2000        ; the KTR310 has no memory there
irq:
nmi:    rti
)"));
    ASSERT_TRUE(board.RunToStop());
    EXPECT_EQ(board.Stops.back(), (Stop{0, 0x2000, stop_cond::kIllegal}));
}

TEST(KtrEmulator, StepExecutesOneInstructionAndIgnoresBreakpoints) {
    REQUIRE_CA65();
    KtrBoard board(emulator_model::kKTR311);
    LOAD(board, Program(R"(
reset:  lda #$42
        sta $0300
        jsr sub
back:   stp
sub:    inx
        rts
irq:
nmi:    rti
)"));
    const int32_t reset = board.Label("reset");
    ASSERT_EQ(board.Emu->GetCpuState()->PC, reset);
    ASSERT_TRUE(board.Emu->SetBreak(0x0300, 4, 1));
    ASSERT_TRUE(board.Emu->SetBreak(reset + 2, 1, 1));
    board.Emu->Step();
    EXPECT_EQ(board.Emu->GetCpuState()->PC, reset + 2);
    EXPECT_EQ(board.Emu->GetCpuState()->A, 0x42);
    board.Emu->Step();
    EXPECT_EQ(board.Emu->GetCpuState()->PC, reset + 5);
    EXPECT_EQ(board.Peek(0x0300), 0x42);
    EXPECT_EQ(board.Emu->NextInstruction(reset + 5), board.Label("back"));
    EXPECT_LT(board.Emu->NextInstruction(reset), 0);
    board.Dispatcher.RunPending();
    EXPECT_TRUE(board.Stops.empty()) << "Step raises no BreakHit";

    int32_t next = 0;
    std::vector<std::string> text;
    ASSERT_TRUE(board.Emu->Disassemble(reset, 4, next, text));
    EXPECT_EQ(text, (std::vector<std::string>{"LDA #$42", "STA $0300",
                                              "JSR $" +
                                                  [&] {
                                                      char hex[8];
                                                      std::snprintf(hex, sizeof hex, "%04X",
                                                                    board.Label("sub"));
                                                      return std::string(hex);
                                                  }(),
                                              "STP"}));
    EXPECT_EQ(next, board.Label("sub"));
    EXPECT_FALSE(board.Emu->Disassemble(0x2000, 1, next, text));
    EXPECT_EQ(next, 0x2001);
    EXPECT_TRUE(text.empty());
    // A bank part is kept in the next address.
    ASSERT_TRUE(board.Emu->Disassemble(0x0003'4000, 2, next, text));
    EXPECT_EQ(next >> 16, 3);
}

TEST(KtrEmulator, SetCpuStateWritesEveryRegisterAndLeavesStp) {
    REQUIRE_CA65();
    KtrBoard board(emulator_model::kKTR310);
    LOAD(board, Program(R"(
reset:  stp
other:  inx
        stp
irq:
nmi:    rti
)"));
    ASSERT_TRUE(board.RunToStop());
    bx::CpuState s{1, 2, 3, 0x80, 0x20, static_cast<uint16_t>(board.Label("other"))};
    board.Emu->SetCpuState(s);
    EXPECT_EQ(*board.Emu->GetCpuState(), s);
    board.Emu->Step();
    EXPECT_EQ(board.Emu->GetCpuState()->X, 3);
}

} // namespace
} // namespace bx::sim::testing
