// Reset, IRQ, NMI, BRK, WAI and STP: the entry sequences, what they push, the flags they
// change, and the CPU states.
#include "CpuTestMachine.h"

#include <gtest/gtest.h>
#include <vector>

namespace bx::sim {
namespace {

using testing::Machine;

constexpr uint16_t kIrqHandler = 0x8000;
constexpr uint16_t kNmiHandler = 0x9000;

// NOPs at $0300 onward and at both handlers, vectors pointing at the handlers.
Machine WithHandlers() {
    Machine m;
    for (uint16_t a = 0x0300; a < 0x0340; ++a)
        m.Poke(a, {0xEA});
    for (uint16_t a = 0; a < 0x10; ++a) {
        m.Poke(kIrqHandler + a, {0xEA});
        m.Poke(kNmiHandler + a, {0xEA});
    }
    m.SetVector(kIrqVector, kIrqHandler);
    m.SetVector(kNmiVector, kNmiHandler);
    m.Regs() = CpuRegisters{0, 0, 0, 0xFF, kFlagU, 0x0300};
    return m;
}

TEST(CpuReset, ReadsTheVectorAtFFFCSetsIClearsDAndLowersS) {
    Machine m;
    m.SetVector(kResetVector, 0xC123);
    m.Regs() = CpuRegisters{0x11, 0x22, 0x33, 0xFF, kFlagU | kFlagD | kFlagC, 0x4567};
    const uint64_t before = m.Cpu.Cycles();
    m.Cpu.Reset();
    EXPECT_EQ(m.Cpu.Cycles() - before, 7u);
    EXPECT_EQ(m.Regs().PC, 0xC123);
    EXPECT_TRUE(m.Regs().P & kFlagI);
    EXPECT_FALSE(m.Regs().P & kFlagD);
    EXPECT_TRUE(m.Regs().P & kFlagC) << "reset leaves the other flags alone";
    EXPECT_EQ(m.Regs().S, 0xFC);
    EXPECT_EQ(m.Regs().A, 0x11);
    ASSERT_EQ(m.Bus->Log.size(), 7u);
    EXPECT_EQ(m.Bus->Writes(), 0) << "the stack cycles of a reset are reads";
    EXPECT_EQ(m.Bus->Log[5].Address, 0xFFFC);
    EXPECT_EQ(m.Bus->Log[6].Address, 0xFFFD);
    EXPECT_EQ(m.Cpu.State(), CpuState::Running);
}

TEST(CpuIrq, IsMaskedByIAndTakenWhenIClears) {
    Machine m = WithHandlers();
    m.Regs().P = kFlagU | kFlagI | kFlagD;
    m.Cpu.SetIrq(true);
    EXPECT_EQ(m.Cpu.Step(), 2);
    EXPECT_EQ(m.Regs().PC, 0x0301) << "masked: the NOP ran";
    m.Poke(0x0301, {0x58}); // CLI
    m.Cpu.Step();
    EXPECT_EQ(m.Regs().PC, 0x0302);
    const uint64_t instructions = m.Cpu.Instructions();
    EXPECT_EQ(m.Cpu.Step(), 7) << "the entry sequence";
    EXPECT_EQ(m.Cpu.Instructions(), instructions) << "an entry is not an instruction";
    EXPECT_EQ(m.Regs().PC, kIrqHandler);
    EXPECT_EQ(m.Peek(0x01FF), 0x03);
    EXPECT_EQ(m.Peek(0x01FE), 0x02) << "the address of the next instruction";
    EXPECT_EQ(m.Peek(0x01FD), kFlagU | kFlagD) << "pushed with B clear";
    EXPECT_EQ(m.Regs().S, 0xFC);
    EXPECT_TRUE(m.Regs().P & kFlagI);
    EXPECT_FALSE(m.Regs().P & kFlagD) << "the 65C02 clears D on entry";
    // Level-sensitive: still asserted after RTI, so it comes straight back.
    m.Poke(kIrqHandler, {0x40}); // RTI
    EXPECT_EQ(m.Cpu.Step(), 6);
    EXPECT_EQ(m.Regs().PC, 0x0302);
    EXPECT_EQ(m.Cpu.Step(), 7);
    EXPECT_EQ(m.Regs().PC, kIrqHandler);
    m.Cpu.SetIrq(false);
    m.Cpu.Step(); // RTI with the line released
    EXPECT_EQ(m.Cpu.Step(), 2);
    EXPECT_EQ(m.Regs().PC, 0x0303);
}

TEST(CpuNmi, IsTakenOncePerEdgeEvenWithIRaised) {
    Machine m = WithHandlers();
    m.Regs().P = kFlagU | kFlagI;
    m.Cpu.TriggerNmi();
    EXPECT_EQ(m.Cpu.Step(), 7);
    EXPECT_EQ(m.Regs().PC, kNmiHandler);
    EXPECT_EQ(m.Peek(0x01FD), kFlagU | kFlagI);
    EXPECT_EQ(m.Cpu.Step(), 2) << "one edge, one entry";
    EXPECT_EQ(m.Regs().PC, kNmiHandler + 1);
    m.Cpu.TriggerNmi();
    m.Cpu.SetIrq(true);
    EXPECT_EQ(m.Cpu.Step(), 7);
    EXPECT_EQ(m.Regs().PC, kNmiHandler) << "NMI before a masked IRQ, and again inside NMI";
}

TEST(CpuBrk, PushesPcPlusTwoWithBSetAndClearsDecimal) {
    Machine m = WithHandlers();
    m.Poke(0x0300, {0x00, 0x42}); // BRK with its signature byte
    m.Regs().P = kFlagU | kFlagD | kFlagC;
    EXPECT_EQ(m.Cpu.Step(), 7);
    EXPECT_EQ(m.Regs().PC, kIrqHandler);
    EXPECT_EQ(m.Peek(0x01FF), 0x03);
    EXPECT_EQ(m.Peek(0x01FE), 0x02);
    EXPECT_EQ(m.Peek(0x01FD), kFlagU | kFlagB | kFlagD | kFlagC);
    EXPECT_TRUE(m.Regs().P & kFlagI);
    EXPECT_FALSE(m.Regs().P & kFlagD);
    EXPECT_EQ(m.Cpu.Instructions(), 1u);
}

TEST(CpuWai, WaitsUntilAnInterruptLineIsAsserted) {
    Machine m = WithHandlers();
    m.Poke(0x0300, {0xCB}); // WAI
    EXPECT_EQ(m.Cpu.Step(), 3);
    EXPECT_EQ(m.Cpu.State(), CpuState::Waiting);
    const std::size_t busCycles = m.Bus->Log.size();
    for (int i = 0; i < 5; ++i)
        EXPECT_EQ(m.Cpu.Step(), 1);
    EXPECT_EQ(m.Bus->Log.size(), busCycles) << "idle cycles leave the bus alone";
    EXPECT_EQ(m.Regs().PC, 0x0301);
    EXPECT_EQ(m.Cpu.Run(1000), 1000u) << "Run lets the budget pass while waiting";
    EXPECT_EQ(m.Cpu.State(), CpuState::Waiting);
}

TEST(CpuWai, EntersTheHandlerWhenIrqIsAssertedAndUnmasked) {
    Machine m = WithHandlers();
    m.Poke(0x0300, {0xCB});
    m.Cpu.Step();
    m.Cpu.SetIrq(true);
    EXPECT_EQ(m.Cpu.Step(), 7);
    EXPECT_EQ(m.Cpu.State(), CpuState::Running);
    EXPECT_EQ(m.Regs().PC, kIrqHandler);
    EXPECT_EQ(m.Peek(0x01FE), 0x01) << "returns behind the WAI";
}

TEST(CpuWai, ResumesWithoutInterruptWhenMasked) {
    Machine m = WithHandlers();
    m.Poke(0x0300, {0x78, 0xCB, 0xE8}); // SEI; WAI; INX
    m.Cpu.Step();
    m.Cpu.Step();
    ASSERT_EQ(m.Cpu.State(), CpuState::Waiting);
    m.Cpu.SetIrq(true);
    EXPECT_EQ(m.Cpu.Step(), 2) << "the INX after WAI runs";
    EXPECT_EQ(m.Cpu.State(), CpuState::Running);
    EXPECT_EQ(m.Regs().X, 1);
    EXPECT_EQ(m.Regs().PC, 0x0303);
    EXPECT_EQ(m.Regs().S, 0xFF) << "nothing pushed";
}

TEST(CpuWai, IsWokenByNmiEvenWithIrqMasked) {
    Machine m = WithHandlers();
    m.Poke(0x0300, {0x78, 0xCB});
    m.Cpu.Step();
    m.Cpu.Step();
    m.Cpu.TriggerNmi();
    EXPECT_EQ(m.Cpu.Step(), 7);
    EXPECT_EQ(m.Regs().PC, kNmiHandler);
}

TEST(CpuStp, StopsUntilResetAndIgnoresInterrupts) {
    Machine m = WithHandlers();
    m.SetVector(kResetVector, 0x0320);
    m.Poke(0x0300, {0xDB, 0xE8}); // STP; INX
    EXPECT_EQ(m.Cpu.Step(), 3);
    EXPECT_EQ(m.Cpu.State(), CpuState::Stopped);
    m.Cpu.SetIrq(true);
    m.Cpu.TriggerNmi();
    for (int i = 0; i < 4; ++i)
        EXPECT_EQ(m.Cpu.Step(), 1);
    const uint64_t cycles = m.Cpu.Cycles();
    EXPECT_EQ(m.Cpu.Run(500), 500u);
    EXPECT_EQ(m.Cpu.Cycles(), cycles + 500);
    EXPECT_EQ(m.Cpu.Run(1'000'000'000), 1'000'000'000u) << "at once, not cycle by cycle";
    EXPECT_EQ(m.Regs().PC, 0x0301);
    EXPECT_EQ(m.Regs().X, 0) << "nothing after STP ran";
    m.Cpu.SetIrq(false);
    m.Cpu.Reset();
    EXPECT_EQ(m.Cpu.State(), CpuState::Running);
    EXPECT_EQ(m.Regs().PC, 0x0320);
    EXPECT_EQ(m.Cpu.Step(), 2) << "the pending NMI was cleared by the reset";
    EXPECT_EQ(m.Regs().PC, 0x0321);
}

TEST(CpuRun, SpendsAtLeastItsBudgetInWholeInstructionsAndHonoursRequestStop) {
    Machine m;
    m.Poke(0x0300, {0xE8, 0x4C, 0x00, 0x03}); // loop: INX; JMP loop (5 cycles a pass)
    m.Regs().PC = 0x0300;
    EXPECT_EQ(m.Cpu.Run(10), 10u);
    EXPECT_EQ(m.Regs().X, 2);
    EXPECT_EQ(m.Cpu.Instructions(), 4u);
    EXPECT_EQ(m.Cpu.Run(1), 2u) << "the INX is not split";
    EXPECT_EQ(m.Cpu.Cycles(), 12u);
    m.Cpu.RequestStop();
    EXPECT_EQ(m.Cpu.Run(1000), 0u);
    EXPECT_EQ(m.Cpu.Run(3), 3u) << "the request is used up";
    m.Cpu.RequestStop();
    m.Cpu.Step();
    EXPECT_GT(m.Cpu.Run(3), 0u) << "a Step serves a stop request too";
}

TEST(CpuRun, TakesInterruptsBetweenInstructions) {
    Machine m = WithHandlers();
    m.Regs().P = kFlagU;
    m.Cpu.SetIrq(true);
    EXPECT_EQ(m.Cpu.Run(9), 9u); // entry (7) + one handler NOP (2)
    EXPECT_EQ(m.Regs().PC, kIrqHandler + 1);
}

TEST(CpuBusCycles, EntrySequencesWaiAndStpDriveTheDocumentedAddresses) {
    using Cycles = std::vector<BusCycle>;
    {
        Machine m = WithHandlers();
        m.Cpu.SetIrq(true);
        m.Cpu.Step();
        const Cycles irq = {{0x0300, 0xEA, false}, {0x0300, 0xEA, false}, {0x01FF, 0x03, true},
                            {0x01FE, 0x00, true},  {0x01FD, 0x20, true},  {0xFFFE, 0x00, false},
                            {0xFFFF, 0x80, false}};
        EXPECT_EQ(m.Bus->Log, irq);
    }
    {
        Machine m = WithHandlers();
        m.Poke(0x0300, {0xCB, 0xDB});
        m.Cpu.Step();
        const Cycles wai = {{0x0300, 0xCB, false}, {0x0301, 0xDB, false}, {0x0301, 0xDB, false}};
        EXPECT_EQ(m.Bus->Log, wai);
        m.Cpu.SetIrq(true);
        m.Regs().P |= kFlagI; // resume without entering
        m.Bus->Log.clear();
        m.Cpu.Step(); // STP
        const Cycles stp = {{0x0301, 0xDB, false}, {0x0302, 0xEA, false}, {0x0302, 0xEA, false}};
        EXPECT_EQ(m.Bus->Log, stp);
    }
}

} // namespace
} // namespace bx::sim
