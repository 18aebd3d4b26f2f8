// The core against the opcode table: lengths, base cycles, the page-crossing, branch and
// decimal penalties, and the undefined opcodes that the WDC part runs as NOPs.
#include "CpuTestMachine.h"
#include "sim/OpcodeTable.h"

#include <cstring>
#include <gtest/gtest.h>
#include <map>

namespace bx::sim {
namespace {

using testing::Machine;

constexpr uint16_t kOrigin = 0x0300;

bool IsControlFlow(uint8_t op) {
    const OpcodeInfo& info = OpcodeInfoOf(op);
    static const char* const kJumps[] = {"JMP", "JSR", "RTS", "RTI", "BRK"};
    for (const char* name : kJumps)
        if (std::strcmp(info.Mnemonic, name) == 0)
            return true;
    return info.Mode == AddrMode::Relative || info.Mode == AddrMode::ZeroPageRelative;
}

// A machine with the opcode at kOrigin and the operand bytes $10 $20: zero page $10, absolute
// $2010, pointers at $10..$13 that point into page $30 without crossing with X = Y = 1.
Machine Prepared(uint8_t op) {
    Machine m;
    m.Poke(kOrigin, {op, 0x10, 0x20});
    m.Poke(0x0010, {0x00, 0x30, 0x00, 0x30});
    m.Regs() = CpuRegisters{0x00, 0x01, 0x01, 0xFF, 0x20, kOrigin};
    return m;
}

// The P value under which a conditional branch at op is not taken.
uint8_t NotTakenFlags(uint8_t op) {
    static const std::map<uint8_t, uint8_t> kFlags = {
        {0x10, kFlagN}, {0x30, 0}, {0x50, kFlagV}, {0x70, 0},
        {0x90, kFlagC}, {0xB0, 0}, {0xD0, kFlagZ}, {0xF0, 0},
    };
    auto it = kFlags.find(op);
    return static_cast<uint8_t>(kFlagU | (it == kFlags.end() ? 0 : it->second));
}

TEST(CpuOpcodeTable, UndefinedOpcodesHaveTheWdcNopLengthsAndCycles) {
    // Written out here independently of the table: {length, cycles} per undefined opcode.
    std::map<uint8_t, std::pair<int, int>> expected;
    for (uint8_t op : {0x02, 0x22, 0x42, 0x62, 0x82, 0xC2, 0xE2})
        expected[op] = {2, 2};
    for (int hi = 0; hi < 16; ++hi)
        for (int lo : {0x3, 0xB})
            if (hi * 16 + lo != 0xCB && hi * 16 + lo != 0xDB)
                expected[static_cast<uint8_t>(hi * 16 + lo)] = {1, 1};
    expected[0x44] = {2, 3};
    for (uint8_t op : {0x54, 0xD4, 0xF4})
        expected[op] = {2, 4};
    expected[0x5C] = {3, 8};
    expected[0xDC] = {3, 4};
    expected[0xFC] = {3, 4};
    ASSERT_EQ(expected.size(), 44u);

    int undefinedInTable = 0;
    for (int op = 0; op < 256; ++op) {
        const OpcodeInfo& info = OpcodeInfoOf(static_cast<uint8_t>(op));
        if (!(info.Flags & kUndefined)) {
            EXPECT_EQ(expected.count(static_cast<uint8_t>(op)), 0u) << std::hex << op;
            continue;
        }
        ++undefinedInTable;
        ASSERT_EQ(expected.count(static_cast<uint8_t>(op)), 1u) << std::hex << op;
        EXPECT_STREQ(info.Mnemonic, "NOP");
        EXPECT_EQ(info.Length, expected[static_cast<uint8_t>(op)].first) << std::hex << op;
        EXPECT_EQ(info.Cycles, expected[static_cast<uint8_t>(op)].second) << std::hex << op;
    }
    EXPECT_EQ(undefinedInTable, 44);
}

TEST(CpuOpcodeTable, UndefinedOpcodesRunAsNopsOfTheirLengthAndCyclesWithoutWriting) {
    for (int op = 0; op < 256; ++op) {
        const OpcodeInfo& info = OpcodeInfoOf(static_cast<uint8_t>(op));
        if (!(info.Flags & kUndefined))
            continue;
        Machine m = Prepared(static_cast<uint8_t>(op));
        m.Regs().P = 0xFF; // every flag set: a NOP must leave them all alone
        const CpuRegisters before = m.Regs();
        const int cycles = m.Cpu.Step();
        EXPECT_EQ(cycles, info.Cycles) << std::hex << op;
        EXPECT_EQ(m.Bus->Log.size(), static_cast<std::size_t>(info.Cycles)) << std::hex << op;
        EXPECT_EQ(m.Regs().PC, kOrigin + info.Length) << std::hex << op;
        EXPECT_EQ(m.Regs().A, before.A);
        EXPECT_EQ(m.Regs().X, before.X);
        EXPECT_EQ(m.Regs().Y, before.Y);
        EXPECT_EQ(m.Regs().S, before.S);
        EXPECT_EQ(m.Regs().P, before.P) << std::hex << op;
        EXPECT_EQ(m.Bus->Writes(), 0) << std::hex << op;
        // Only the instruction's own bytes are fetched as data; the rest are dummy reads.
        EXPECT_EQ(m.Bus->DummyReads, info.Cycles - info.Length) << std::hex << op;
        EXPECT_EQ(m.Cpu.State(), CpuState::Running);
    }
}

TEST(CpuOpcodeTable, DocumentedOpcodesTakeTheTableLengthAndBaseCycles) {
    for (int opInt = 0; opInt < 256; ++opInt) {
        const uint8_t op = static_cast<uint8_t>(opInt);
        const OpcodeInfo& info = OpcodeInfoOf(op);
        if (info.Flags & kUndefined)
            continue;
        Machine m = Prepared(op);
        m.Regs().P = NotTakenFlags(op);
        if (info.Mode == AddrMode::ZeroPageRelative) // BBRn not taken on a set bit, BBSn on clear
            m.Poke(0x0010, {static_cast<uint8_t>(info.Mnemonic[2] == 'R' ? 0xFF : 0x00)});
        if (op == 0x80) // BRA: to the same page, taken by definition
            m.Poke(kOrigin + 1, {0x00});
        const int cycles = m.Cpu.Step();
        EXPECT_EQ(cycles, info.Cycles) << info.Mnemonic << " " << std::hex << opInt;
        EXPECT_EQ(m.Bus->Log.size(), static_cast<std::size_t>(cycles)) << std::hex << opInt;
        if (!IsControlFlow(op) || info.Mode == AddrMode::Relative ||
            info.Mode == AddrMode::ZeroPageRelative) {
            EXPECT_EQ(m.Regs().PC, kOrigin + info.Length) << info.Mnemonic << std::hex << opInt;
        }
    }
}

TEST(CpuOpcodeTable, PageCrossingAddsACycleExactlyWhereTheTableSaysSo) {
    int checked = 0;
    for (int opInt = 0; opInt < 256; ++opInt) {
        const uint8_t op = static_cast<uint8_t>(opInt);
        const OpcodeInfo& info = OpcodeInfoOf(op);
        if (info.Flags & kUndefined)
            continue;
        if (info.Mode != AddrMode::AbsoluteX && info.Mode != AddrMode::AbsoluteY &&
            info.Mode != AddrMode::ZeroPageIndirectIndexed)
            continue;
        Machine m = Prepared(op);
        m.Regs().X = 0xFF; // $2010 + $FF and $3000 + $FF... : make both indexes cross
        m.Regs().Y = 0xFF;
        m.Poke(0x0010, {0x80, 0x30}); // ($10),Y = $3080 + $FF crosses into $31
        const int cycles = m.Cpu.Step();
        const int penalty = (info.Flags & kPageCrossPenalty) ? 1 : 0;
        EXPECT_EQ(cycles, info.Cycles + penalty) << info.Mnemonic << " " << std::hex << opInt;
        ++checked;
    }
    EXPECT_EQ(checked, 34); // 8 ALU x 3 modes (STA too), 4 shifts, DEC/INC, LDX/LDY, BIT, STZ
}

TEST(CpuOpcodeTable, DecimalModeAddsACycleToAdcAndSbcOnly) {
    for (int opInt = 0; opInt < 256; ++opInt) {
        const uint8_t op = static_cast<uint8_t>(opInt);
        const OpcodeInfo& info = OpcodeInfoOf(op);
        if ((info.Flags & kUndefined) || IsControlFlow(op) || op == 0xCB || op == 0xDB)
            continue;
        Machine m = Prepared(op);
        m.Regs().P = kFlagU | kFlagD;
        const int cycles = m.Cpu.Step();
        const int penalty = (info.Flags & kDecimalPenalty) ? 1 : 0;
        EXPECT_EQ(cycles, info.Cycles + penalty) << info.Mnemonic << " " << std::hex << opInt;
    }
}

TEST(CpuOpcodeTable, BranchesAddACycleWhenTakenAndAnotherOnAPageCross) {
    struct Case {
        uint16_t At;
        std::initializer_list<uint8_t> Code;
        uint8_t P;
        uint8_t ZeroPage10;
        int Cycles;
        uint16_t Pc;
    };
    const Case cases[] = {
        {0x0300, {0xD0, 0x10}, kFlagZ, 0, 2, 0x0302},     // BNE not taken
        {0x0300, {0xD0, 0x10}, 0, 0, 3, 0x0312},          // taken, same page
        {0x0300, {0xD0, 0xF0}, 0, 0, 4, 0x02F2},          // taken backwards into page 2
        {0x03F0, {0xF0, 0x20}, kFlagZ, 0, 4, 0x0412},     // BEQ forwards into page 4
        {0x0300, {0x80, 0x7F}, 0, 0, 3, 0x0381},          // BRA same page
        {0x03C0, {0x80, 0x7F}, 0, 0, 4, 0x0441},          // BRA across
        {0x0300, {0x0F, 0x10, 0x20}, 0, 0x01, 5, 0x0303}, // BBR0 on a set bit: not taken
        {0x0300, {0x0F, 0x10, 0x20}, 0, 0x00, 6, 0x0323}, // BBR0 taken, same page
        {0x03F0, {0x8F, 0x10, 0x20}, 0, 0x01, 7, 0x0413}, // BBS0 taken across a page
    };
    for (const Case& c : cases) {
        Machine m;
        m.Poke(c.At, c.Code);
        m.Poke(0x0010, {c.ZeroPage10});
        m.Regs().PC = c.At;
        m.Regs().P = static_cast<uint8_t>(kFlagU | c.P);
        EXPECT_EQ(m.Cpu.Step(), c.Cycles) << std::hex << c.At << " " << int(*c.Code.begin());
        EXPECT_EQ(m.Regs().PC, c.Pc);
    }
}

TEST(CpuDecimalMode, AdcAndSbcGiveBcdResultsWithValidNAndZ) {
    struct Case {
        uint8_t Op, A, Operand, CarryIn, Result;
        uint8_t FlagsSet; // among N, Z, C
    };
    const Case cases[] = {
        {0x69, 0x09, 0x01, 0, 0x10, 0},               // 09 + 01 = 10
        {0x69, 0x99, 0x01, 0, 0x00, kFlagZ | kFlagC}, // 99 + 01 = 100: Z valid on the 65C02
        {0x69, 0x79, 0x00, 1, 0x80, kFlagN},          // 79 + 00 + 1 = 80: N from the result
        {0x69, 0x58, 0x46, 1, 0x05, kFlagC},          // 58 + 46 + 1 = 105
        {0xE9, 0x00, 0x01, 1, 0x99, kFlagN},          // 00 - 01 = 99, borrow
        {0xE9, 0x46, 0x12, 1, 0x34, kFlagC},          // 46 - 12 = 34
        {0xE9, 0x40, 0x40, 1, 0x00, kFlagZ | kFlagC}, // 40 - 40 = 00
        {0xE9, 0x32, 0x02, 0, 0x29, kFlagC},          // 32 - 02 - 1 = 29
    };
    for (const Case& c : cases) {
        Machine m;
        m.Poke(0x0300, {c.Op, c.Operand});
        m.Regs().PC = 0x0300;
        m.Regs().A = c.A;
        m.Regs().P = static_cast<uint8_t>(kFlagU | kFlagD | (c.CarryIn ? kFlagC : 0));
        EXPECT_EQ(m.Cpu.Step(), 3) << "one cycle more than in binary mode";
        EXPECT_EQ(m.Regs().A, c.Result) << std::hex << int(c.Op) << " " << int(c.A);
        EXPECT_EQ(m.Regs().P & (kFlagN | kFlagZ | kFlagC), c.FlagsSet)
            << std::hex << int(c.Op) << " " << int(c.A) << " " << int(c.Operand);
        EXPECT_TRUE(m.Regs().P & kFlagD);
    }
}

TEST(CpuInstructions, BitImmediateChangesOnlyZ) {
    Machine m;
    m.Poke(0x0300, {0x89, 0xC0, 0x89, 0x01});
    m.Regs().PC = 0x0300;
    m.Regs().A = 0x01;
    m.Regs().P = kFlagU; // N and V clear
    m.Cpu.Step();        // BIT #$C0: A & $C0 = 0, and bits 7/6 of the operand are not copied
    EXPECT_EQ(m.Regs().P, kFlagU | kFlagZ);
    m.Regs().P = kFlagU | kFlagN | kFlagV | kFlagZ;
    m.Cpu.Step(); // BIT #$01: non-zero, N and V stay set
    EXPECT_EQ(m.Regs().P, kFlagU | kFlagN | kFlagV);
}

TEST(CpuInstructions, JmpIndirectReadsAcrossAPageAndIndexedIndirectAddsX) {
    Machine m;
    m.Poke(0x0300, {0x6C, 0xFF, 0x12}); // JMP ($12FF): no NMOS page-wrap bug
    m.Poke(0x12FF, {0x34, 0x56});
    m.Poke(0x1200, {0x99});
    m.Poke(0x5634, {0x7C, 0x00, 0x40}); // JMP ($4000,X)
    m.Poke(0x4004, {0x78, 0x9A});
    m.Regs().PC = 0x0300;
    m.Regs().X = 4;
    EXPECT_EQ(m.Cpu.Step(), 6);
    EXPECT_EQ(m.Regs().PC, 0x5634);
    EXPECT_EQ(m.Cpu.Step(), 6);
    EXPECT_EQ(m.Regs().PC, 0x9A78);
}

TEST(CpuInstructions, BitManipulationAndTestAndSetWorkOnMemory) {
    Machine m;
    m.Poke(0x0300, {0x87, 0x40,               // SMB0 $40
                    0x27, 0x40,               // RMB2 $40
                    0x04, 0x41,               // TSB $41
                    0x1C, 0x42, 0x00,         // TRB $0042
                    0x64, 0x43,               // STZ $43
                    0xDA, 0x5A, 0xFA, 0x7A}); // PHX PHY PLX PLY
    m.Poke(0x0040, {0x04, 0x10, 0xFF, 0x55});
    m.Regs() = CpuRegisters{0x0F, 0x11, 0x22, 0xFF, kFlagU, 0x0300};
    EXPECT_EQ(m.Cpu.Step(), 5);
    EXPECT_EQ(m.Peek(0x40), 0x05);
    EXPECT_EQ(m.Cpu.Step(), 5);
    EXPECT_EQ(m.Peek(0x40), 0x01);
    EXPECT_EQ(m.Cpu.Step(), 5);
    EXPECT_EQ(m.Peek(0x41), 0x1F);
    EXPECT_TRUE(m.Regs().P & kFlagZ) << "A & $10 == 0";
    EXPECT_EQ(m.Cpu.Step(), 6);
    EXPECT_EQ(m.Peek(0x42), 0xF0);
    EXPECT_FALSE(m.Regs().P & kFlagZ) << "A & $FF != 0";
    EXPECT_EQ(m.Cpu.Step(), 3);
    EXPECT_EQ(m.Peek(0x43), 0x00);
    m.Cpu.Step();
    m.Cpu.Step();
    EXPECT_EQ(m.Peek(0x01FF), 0x11);
    EXPECT_EQ(m.Peek(0x01FE), 0x22);
    m.Cpu.Step(); // PLX takes Y's value
    m.Cpu.Step(); // PLY takes X's value
    EXPECT_EQ(m.Regs().X, 0x22);
    EXPECT_EQ(m.Regs().Y, 0x11);
    EXPECT_EQ(m.Regs().S, 0xFF);
}

} // namespace
} // namespace bx::sim
