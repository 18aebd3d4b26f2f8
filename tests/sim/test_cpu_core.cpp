// The core where the single-step suites don't reach: the opcode table the disassembler prints
// from, the undefined opcodes, reset, IRQ, NMI, WAI, STP, the run loop and its bus cycles.
#include "sim/Cpu65C02.h"
#include "sim/OpcodeTable.h"

#include <array>
#include <cstdio>
#include <gtest/gtest.h>
#include <initializer_list>
#include <map>
#include <memory>
#include <string>
#include <string_view>

namespace bx::sim {
namespace {

// 64 KB of RAM that logs every bus cycle: "r0300 w01FF=03 ...", dummy reads as reads.
struct LoggingBus {
    uint8_t Read(uint16_t a) { return Log(a, "r%04X "), Memory[a]; }
    void Write(uint16_t a, uint8_t v) { Log(a, "w%04X=%02X ", Memory[a] = v), ++Writes; }
    void DummyRead(uint16_t a) { Log(a, "r%04X "), ++DummyReads; }
    void Log(uint16_t a, const char* format, int value = 0) {
        char text[16];
        std::snprintf(text, sizeof text, format, a, value);
        Trace += text;
        ++Cycles;
    }
    std::array<uint8_t, 65536> Memory{};
    std::string Trace;
    int Cycles = 0, Writes = 0, DummyReads = 0;
};

struct Machine {
    std::unique_ptr<LoggingBus> Bus = std::make_unique<LoggingBus>();
    Cpu65C02<LoggingBus> Cpu{*Bus};
    void Poke(uint16_t address, std::initializer_list<uint8_t> bytes) {
        for (uint8_t b : bytes)
            Bus->Memory[address++] = b;
    }
    CpuRegisters& Regs() { return Cpu.Registers(); }
    uint8_t Peek(uint16_t address) const { return Bus->Memory[address]; }
};

// {length, cycles} of the 44 undefined opcodes the WDC part runs as NOPs, written out here
// apart from the table.
std::map<uint8_t, std::pair<int, int>> UndefinedNops() {
    std::map<uint8_t, std::pair<int, int>> nops;
    for (uint8_t op : {0x02, 0x22, 0x42, 0x62, 0x82, 0xC2, 0xE2})
        nops[op] = {2, 2};
    for (int hi = 0; hi < 16; ++hi)
        for (int lo : {0x3, 0xB})
            if (hi * 16 + lo != 0xCB && hi * 16 + lo != 0xDB)
                nops[static_cast<uint8_t>(hi * 16 + lo)] = {1, 1};
    nops[0x44] = {2, 3};
    for (uint8_t op : {0x54, 0xD4, 0xF4})
        nops[op] = {2, 4};
    nops[0x5C] = {3, 8};
    nops[0xDC] = nops[0xFC] = {3, 4};
    return nops;
}

// Every opcode run once without and once with its penalties (X = Y = $FF to cross a page, D
// set), branches not taken: the cycles, the bus cycles and the length must be the table's; the
// undefined opcodes must be NOPs that read only their own bytes and change nothing.
TEST(CpuOpcodeTable, EveryOpcodeTakesTheTableCyclesLengthAndPenalties) {
    constexpr uint16_t kOrigin = 0x0300;
    const auto nops = UndefinedNops();
    const uint8_t kBranchFlag[] = {kFlagN, kFlagV, kFlagC, kFlagZ}; // BPL/BMI, BVC/BVS, ...
    ASSERT_EQ(nops.size(), 44u);
    for (int opInt = 0; opInt < 256; ++opInt) {
        const auto op = static_cast<uint8_t>(opInt);
        const OpcodeInfo& info = OpcodeInfoOf(op);
        SCOPED_TRACE(::testing::Message() << info.Mnemonic << " $" << std::hex << opInt);
        const bool nop = info.Flags & kUndefined;
        ASSERT_EQ(nops.count(op), nop ? 1u : 0u);
        if (nop) {
            EXPECT_STREQ(info.Mnemonic, "NOP");
            EXPECT_EQ(std::make_pair(int(info.Length), int(info.Cycles)), nops.at(op));
        }
        for (bool penalties : {false, true}) {
            Machine m;
            // BRA to its own page; $10 points into page $30, crossed by ($10),Y with Y = $FF.
            m.Poke(kOrigin, {op, static_cast<uint8_t>(op == 0x80 ? 0 : 0x10), 0x20});
            m.Poke(0x0010, {static_cast<uint8_t>(penalties ? 0x80 : 0x00), 0x30});
            if (info.Mode == AddrMode::ZeroPageRelative) // BBRn not taken on a set bit
                m.Poke(0x0010, {static_cast<uint8_t>(info.Mnemonic[2] == 'R' ? 0xFF : 0x00)});
            const uint8_t index = penalties ? 0xFF : 0x01;
            uint8_t p = kFlagU | (penalties ? kFlagD : 0);
            if ((op & 0x3F) == 0x10) // a branch on a clear flag: set it
                p |= kBranchFlag[op >> 6];
            m.Regs() = CpuRegisters{0x00, index, index, 0xFF, nop ? uint8_t(0xFF) : p, kOrigin};
            const int expected =
                info.Cycles + (penalties ? (info.Flags & kPageCrossPenalty ? 1 : 0) +
                                               (info.Flags & kDecimalPenalty ? 1 : 0)
                                         : 0);
            EXPECT_EQ(m.Cpu.Step(), expected) << (penalties ? "with penalties" : "");
            EXPECT_EQ(m.Bus->Cycles, expected);
            const bool jumps = std::string_view("\x00\x20\x40\x4C\x60\x6C\x7C", 7).find(char(op)) !=
                               std::string_view::npos; // BRK JSR RTI JMP RTS JMP() JMP(,X)
            EXPECT_EQ(m.Regs().PC, jumps ? m.Regs().PC : kOrigin + info.Length);
            if (nop) {
                const CpuRegisters& r = m.Regs();
                EXPECT_EQ(r.A << 24 | r.X << 16 | r.Y << 8 | r.S, index << 16 | index << 8 | 0xFF);
                EXPECT_EQ(r.P, 0xFF);
                EXPECT_EQ(m.Bus->Writes * 10 + m.Bus->DummyReads, info.Cycles - info.Length)
                    << "no write; only the instruction's own bytes read as data";
            }
        }
    }
}

constexpr uint16_t kIrqHandler = 0x8000;
constexpr uint16_t kNmiHandler = 0x9000;

// NOPs at $0300 onward and at both handlers, the vectors pointing at the handlers.
Machine WithHandlers() {
    Machine m;
    for (uint16_t a = 0; a < 0x40; ++a)
        m.Bus->Memory[0x0300 + a] = m.Bus->Memory[kIrqHandler + a] =
            m.Bus->Memory[kNmiHandler + a] = 0xEA;
    m.Poke(kNmiVector, {0x00, 0x90, 0x00, 0x00, 0x00, 0x80});
    m.Regs() = CpuRegisters{0, 0, 0, 0xFF, kFlagU, 0x0300};
    return m;
}

TEST(CpuReset, ReadsTheVectorAtFFFCSetsIClearsDAndLowersSWithReads) {
    Machine m;
    m.Poke(kResetVector, {0x23, 0xC1});
    m.Regs() = CpuRegisters{0x11, 0x22, 0x33, 0xFF, kFlagU | kFlagD | kFlagC, 0x4567};
    m.Cpu.Reset();
    EXPECT_EQ(m.Cpu.Cycles(), 7u);
    EXPECT_EQ(m.Regs().PC, 0xC123);
    EXPECT_EQ(m.Regs().P & (kFlagI | kFlagD | kFlagC), kFlagI | kFlagC);
    EXPECT_EQ(m.Regs().S, 0xFC);
    EXPECT_EQ(m.Regs().A, 0x11);
    EXPECT_EQ(m.Bus->Writes, 0) << "the stack cycles of a reset are reads";
    EXPECT_EQ(m.Bus->Trace.substr(30), "rFFFC rFFFD ");
    EXPECT_EQ(m.Cpu.State(), CpuState::Running);
}

TEST(CpuIrq, IsMaskedByILevelSensitiveAndEnteredWithDCleared) {
    Machine m = WithHandlers();
    m.Regs().P = kFlagU | kFlagI | kFlagD;
    m.Cpu.SetIrq(true);
    EXPECT_EQ(m.Cpu.Step(), 2) << "masked: the NOP ran";
    m.Poke(0x0301, {0x58}); // CLI
    m.Cpu.Step();
    const uint64_t instructions = m.Cpu.Instructions();
    m.Bus->Trace.clear();
    EXPECT_EQ(m.Cpu.Step(), 7) << "the entry sequence";
    EXPECT_EQ(m.Bus->Trace, "r0302 r0302 w01FF=03 w01FE=02 w01FD=28 rFFFE rFFFF ")
        << "the address of the next instruction and P with B clear pushed";
    EXPECT_EQ(m.Cpu.Instructions(), instructions) << "an entry is not an instruction";
    EXPECT_EQ(m.Regs().PC, kIrqHandler);
    EXPECT_EQ(m.Regs().S, 0xFC);
    EXPECT_EQ(m.Regs().P & (kFlagI | kFlagD), kFlagI) << "the 65C02 clears D on entry";
    // Still asserted after RTI, so it comes straight back; released, the program goes on.
    m.Poke(kIrqHandler, {0x40}); // RTI
    EXPECT_EQ(m.Cpu.Step(), 6);
    EXPECT_EQ(m.Regs().PC, 0x0302);
    EXPECT_EQ(m.Cpu.Step(), 7);
    m.Cpu.SetIrq(false);
    m.Cpu.Step();
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
    m.Cpu.TriggerNmi();
    m.Cpu.SetIrq(true);
    EXPECT_EQ(m.Cpu.Step(), 7);
    EXPECT_EQ(m.Regs().PC, kNmiHandler) << "NMI before a masked IRQ, and again inside NMI";
}

TEST(CpuWai, IdlesOffTheBusUntilAnInterruptLineEndsIt) {
    struct Wake {
        const char* Name;
        uint8_t P;
        bool Irq, Nmi;
        int Cycles;
        uint16_t Pc;
        uint8_t S;
    };
    const Wake wakes[] = {
        {"IRQ enters the handler", kFlagU, true, false, 7, kIrqHandler, 0xFC},
        {"masked IRQ resumes: the INX runs", kFlagU | kFlagI, true, false, 2, 0x0302, 0xFF},
        {"NMI enters with IRQ masked", kFlagU | kFlagI, false, true, 7, kNmiHandler, 0xFC},
    };
    for (const Wake& w : wakes) {
        SCOPED_TRACE(w.Name);
        Machine m = WithHandlers();
        m.Poke(0x0300, {0xCB, 0xE8}); // WAI; INX
        m.Regs().P = w.P;
        EXPECT_EQ(m.Cpu.Step(), 3);
        EXPECT_EQ(m.Cpu.State(), CpuState::Waiting);
        EXPECT_EQ(m.Cpu.Step(), 1);
        EXPECT_EQ(m.Cpu.Run(1000), 1000u) << "Run lets the budget pass while waiting";
        EXPECT_EQ(m.Bus->Trace, "r0300 r0301 r0301 ") << "idle cycles leave the bus alone";
        m.Cpu.SetIrq(w.Irq);
        if (w.Nmi)
            m.Cpu.TriggerNmi();
        EXPECT_EQ(m.Cpu.Step(), w.Cycles);
        EXPECT_EQ(m.Cpu.State(), CpuState::Running);
        EXPECT_EQ(m.Regs().PC, w.Pc);
        EXPECT_EQ(m.Regs().S, w.S);
        EXPECT_EQ(m.Peek(0x01FE), w.S == 0xFC ? 0x01 : 0x00) << "returns behind the WAI";
    }
}

TEST(CpuStp, StopsUntilResetAndIgnoresInterrupts) {
    Machine m = WithHandlers();
    m.Poke(kResetVector, {0x20, 0x03});
    m.Poke(0x0300, {0xDB, 0xE8}); // STP; INX
    EXPECT_EQ(m.Cpu.Step(), 3);
    EXPECT_EQ(m.Bus->Trace, "r0300 r0301 r0301 ");
    EXPECT_EQ(m.Cpu.State(), CpuState::Stopped);
    m.Cpu.SetIrq(true);
    m.Cpu.TriggerNmi();
    EXPECT_EQ(m.Cpu.Step(), 1);
    EXPECT_EQ(m.Cpu.Run(1'000'000'000), 1'000'000'000u) << "at once, not cycle by cycle";
    EXPECT_EQ(m.Cpu.Cycles(), 3u + 1 + 1'000'000'000);
    EXPECT_EQ(m.Regs().PC, 0x0301);
    EXPECT_EQ(m.Regs().X, 0) << "nothing after STP ran";
    m.Cpu.SetIrq(false);
    m.Cpu.Reset();
    EXPECT_EQ(m.Cpu.State(), CpuState::Running);
    EXPECT_EQ(m.Regs().PC, 0x0320);
    EXPECT_EQ(m.Cpu.Step(), 2) << "the pending NMI was cleared by the reset";
}

TEST(CpuRun, SpendsItsBudgetInWholeInstructionsTakesInterruptsAndHonoursRequestStop) {
    Machine m = WithHandlers();
    m.Poke(0x0300, {0xE8, 0x4C, 0x00, 0x03}); // loop: INX; JMP loop (5 cycles a pass)
    EXPECT_EQ(m.Cpu.Run(10), 10u);
    EXPECT_EQ(m.Regs().X, 2);
    EXPECT_EQ(m.Cpu.Instructions(), 4u);
    EXPECT_EQ(m.Cpu.Run(1), 2u) << "the INX is not split";
    m.Cpu.RequestStop();
    EXPECT_EQ(m.Cpu.Run(1000), 0u);
    EXPECT_EQ(m.Cpu.Run(3), 3u) << "the request is used up";
    m.Cpu.RequestStop();
    m.Cpu.Step();
    EXPECT_GT(m.Cpu.Run(3), 0u) << "a Step serves a stop request too";
    m.Regs().PC = 0x0300;
    m.Cpu.SetIrq(true);
    EXPECT_EQ(m.Cpu.Run(9), 9u); // entry (7) + one handler NOP (2)
    EXPECT_EQ(m.Regs().PC, kIrqHandler + 1);
}

} // namespace
} // namespace bx::sim
