// The simulator behind the Emulator interface: models, memory access, breakpoints of every kind
// and their Cond, stepping and disassembly.
#include "KtrBoard.h"
#include "foundation/Error.h"

#include <gtest/gtest.h>

namespace bx::sim::testing {
namespace {

TEST(KtrEmulator, ModelsMemoryAndTheCallsThatNeedNoProgram) {
    platform::QueueDispatcher dispatcher;
    KtrEmulator emu(dispatcher);
    EXPECT_THROW(emu.Run(), BxError) << "no model selected";
    for (const auto& [model, lastBank] : {std::pair{7, 3}, {13, 13}, {24, 61}}) {
        emu.SetModel(model);
        EXPECT_EQ(emu.GetModel(), model);
        EXPECT_EQ(emu.GetValue("Bank"), lastBank);
    }
    emu.SetModel(99);
    EXPECT_EQ(emu.GetModel(), 0) << "an unknown number selects none";
    EXPECT_THROW(emu.GetValue("Speed"), BxError);
    EXPECT_EQ(emu.GetPortId("P0"), port_id::kP0);
    EXPECT_EQ(emu.GetPortId("DAC"), port_id::kDac);
    EXPECT_THROW(emu.GetPortId("P3"), BxError);
    EXPECT_THROW(emu.AttachHub(-5, device_id::kEmulator), BxError);
    EXPECT_FALSE(emu.ResetRequested());
    emu.SetResetKey(true);
    EXPECT_TRUE(emu.ResetRequested());

    // The same model again keeps memory and breakpoints; another starts afresh.
    emu.SetModel(13);
    int32_t count = 2;
    emu.WriteMemory(0x0300, count, {0x12, 0x34});
    EXPECT_EQ(count, 2);
    ASSERT_TRUE(emu.SetBreak(0x0005'4000, 1, 1));
    emu.SetModel(13);
    EXPECT_EQ(emu.ReadMemory(0x0300, count = 2), (std::vector<uint8_t>{0x12, 0x34}));
    std::vector<int32_t> flags;
    ASSERT_TRUE(emu.GetBreakFlags(0x0005'4000, flags, 1));
    EXPECT_EQ(flags, std::vector<int32_t>{1});
    emu.SetModel(7); // RAM $0000-$07FF, banks 0-3
    EXPECT_EQ(emu.ReadMemory(0x0300, count = 2), (std::vector<uint8_t>{0, 0}));
    ASSERT_TRUE(emu.GetBreakFlags(0x0000'4000, flags, 1));
    EXPECT_EQ(flags, std::vector<int32_t>{0});

    // Where there is no memory: no data, no writes, no breakpoints.
    for (const int32_t address : {0x0800, 0x0004'4000, 0xFFFE}) { // the last runs past $FFFF
        EXPECT_TRUE(emu.ReadMemory(address, count = 4).empty()) << std::hex << address;
        EXPECT_EQ(count, 0);
    }
    EXPECT_EQ(emu.ReadMemory(0x07FE, count = 2).size(), 2u);
    EXPECT_THROW(emu.WriteMemory(0x2000, count = 1, {1}), BxError);
    EXPECT_FALSE(emu.SetBreak(0x07FF, 2, 2));
    EXPECT_TRUE(emu.GetBreakFlags(0x07FE, flags, 2));
    EXPECT_EQ(flags, (std::vector<int32_t>{0, 0})) << "a refused range sets nothing";
    EXPECT_FALSE(emu.GetBreakFlags(0x1000, flags, 1));
    EXPECT_TRUE(flags.empty());

    // A debugger's read of an SFR has no side effect: it doesn't latch the timer's high byte.
    emu.WriteMemory(sfr::kTrldL, count = 2, {0x34, 0x12});
    emu.WriteMemory(sfr::kTctl, count = 1, {sfr::kTimerRun});
    EXPECT_EQ(emu.ReadMemory(sfr::kTcntL, count = 1).at(0), 0x34);
    EXPECT_EQ(emu.ReadMemory(sfr::kTcntH, count = 1).at(0), 0);
}

// One program passes every kind of breakpoint: execute (stops before), read and write (stop
// behind their instruction), on RAM, on the registers the bus serves on its fast path (a write
// that changes nothing included), in one bank of the window, and on RAM named with a bank.
TEST(KtrEmulator, BreakpointsOfEachKindStopWithTheirCondAndBank) {
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
after:
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
    ASSERT_TRUE(board.Emu->GetBreakFlags(0x02FF, flags, 4));
    EXPECT_EQ(flags, (std::vector<int32_t>{0, 2, 4, 0}));
    ASSERT_TRUE(board.Emu->GetBreakFlags(0x0000'0210, flags, 1));
    EXPECT_EQ(flags, std::vector<int32_t>{2}) << "one RAM byte whatever the bank part";
    ASSERT_TRUE(board.Emu->GetBreakFlags(0x0001'4010, flags, 1));
    EXPECT_EQ(flags, std::vector<int32_t>{0});

    const Stop expected[] = {
        {0, board.Label("bpx"), 1},   {0, board.Label("a_read"), 2},
        {0, board.Label("a_wr"), 4},  {0, board.Label("a_p2"), 2},
        {0, board.Label("a_wdt"), 4}, {0, board.Label("a_p0"), 4},
        {0, board.Label("a_dac"), 4}, {2, board.Label("a_bank"), 2},
        {2, board.Label("a_ram"), 2}, {2, board.Label("after"), stop_cond::kStp},
    };
    for (const Stop& stop : expected) {
        ASSERT_TRUE(board.RunToStop());
        EXPECT_EQ(board.Stops.back(), stop) << std::hex << stop.Address;
    }
    EXPECT_EQ(board.Peek(0x0301), 0x5A) << "the write happened";

    // Clearing one kind keeps the others; ClearBreak(0, 7, -1) clears everything.
    ASSERT_TRUE(board.Emu->SetBreak(0x0300, 4, 1));
    ASSERT_TRUE(board.Emu->ClearBreak(0x0300, 2, 1));
    ASSERT_TRUE(board.Emu->GetBreakFlags(0x0300, flags, 1));
    EXPECT_EQ(flags, std::vector<int32_t>{4});
    ASSERT_TRUE(board.Emu->ClearBreak(0, 2, -1)) << "one kind everywhere";
    ASSERT_TRUE(board.Emu->GetBreakFlags(0x0300, flags, 2));
    EXPECT_EQ(flags, (std::vector<int32_t>{4, 4}));
    ASSERT_TRUE(board.Emu->ClearBreak(0, 7, -1));
    ASSERT_TRUE(board.Emu->GetBreakFlags(0x02FF, flags, 4));
    EXPECT_EQ(flags, (std::vector<int32_t>{0, 0, 0, 0}));
    board.JumpTo("bpx"); // the cleared breakpoints, on RAM and on the registers, pass
    ASSERT_TRUE(board.RunToStop());
    EXPECT_EQ(board.Stops.back(), (Stop{2, board.Label("after"), stop_cond::kStp}));
}

TEST(KtrEmulator, StepDisassemblySetCpuStateAndExecutionWithoutMemory) {
    LOADED_BOARD(board, emulator_model::kKTR310, Program(R"(
reset:  put $42, $0300
        jsr sub
back:   stp
far:    jmp $2000        ; the KTR310 has no memory there
sub:    inx
        rts
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
    board.Dispatcher.RunPending();
    EXPECT_TRUE(board.Stops.empty()) << "Step ignores breakpoints and raises no BreakHit";
    EXPECT_EQ(board.Emu->NextInstruction(reset + 5), board.Label("back")) << "behind the JSR";
    EXPECT_LT(board.Emu->NextInstruction(reset), 0) << "no call";

    int32_t next = 0;
    std::vector<std::string> text;
    ASSERT_TRUE(board.Emu->Disassemble(reset, 4, next, text));
    char jsr[16];
    std::snprintf(jsr, sizeof jsr, "JSR $%04X", board.Label("sub"));
    EXPECT_EQ(text, (std::vector<std::string>{"LDA #$42", "STA $0300", jsr, "STP"}));
    EXPECT_EQ(next, board.Label("far"));
    EXPECT_FALSE(board.Emu->Disassemble(0x2000, 1, next, text));
    EXPECT_EQ(next, 0x2001);
    EXPECT_TRUE(text.empty());
    ASSERT_TRUE(board.Emu->Disassemble(0x0003'4000, 2, next, text));
    EXPECT_EQ(next >> 16, 3) << "the bank part is kept";

    // SetCpuState writes every register and leaves the STP.
    ASSERT_TRUE(board.Emu->ClearBreak(0, 7, -1));
    ASSERT_TRUE(board.RunToStop());
    ASSERT_EQ(board.Stops.back().Cond, stop_cond::kStp);
    const bx::CpuState state{1, 2, 3, 0x80, 0x20, static_cast<uint16_t>(board.Label("sub"))};
    board.Emu->SetCpuState(state);
    EXPECT_EQ(*board.Emu->GetCpuState(), state);
    board.Emu->Step();
    EXPECT_EQ(board.Emu->GetCpuState()->X, 3);
    board.JumpTo("far");
    ASSERT_TRUE(board.RunToStop());
    EXPECT_EQ(board.Stops.back(), (Stop{0, 0x2000, stop_cond::kIllegal}));
}

} // namespace
} // namespace bx::sim::testing
