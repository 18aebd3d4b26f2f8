// The 65C02 core: the public CPU test suites from the shared test data (Klaus Dormann's
// self-checking 6502 and 65C02 programs and Bruce Clark's decimal-mode test, run to their end on
// a flat 64 KB RAM, and the WDC 65C02 single-step cases, Tom Harte's SingleStepTests) and the
// trap runner that ends those programs; then where the suites don't reach: the undefined
// opcodes, reset, IRQ, NMI, WAI, STP, the run loop and their bus cycles.
#include "sim/Cpu65C02.h"
#include "sim/FlatRamBus.h"
#include "sim/OpcodeTable.h"
#include "sim/SingleStepTest.h"
#include "sim/TrapRunner.h"

#include <algorithm>
#include <array>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <gtest/gtest.h>
#include <initializer_list>
#include <iterator>
#include <map>
#include <memory>
#include <sstream>
#include <string>
#include <tuple>
#include <vector>

namespace bx::sim {
namespace {

namespace fs = std::filesystem;

// 64 KB of RAM that logs every bus cycle: "r0300 w01FF=03 ...", dummy reads as reads.
struct LoggingBus {
    uint8_t Read(uint16_t a) { return Log(a, "r%04X "), Memory[a]; }
    void Write(uint16_t a, uint8_t v) { Log(a, "w%04X=%02X ", Memory[a] = v), ++Writes; }
    void DummyRead(uint16_t a) { Log(a, "r%04X "), ++DummyReads; }
    void Log(uint16_t a, const char* format, int value = 0) {
        char text[16];
        std::snprintf(text, sizeof text, format, a, value);
        Trace += text;
    }
    std::array<uint8_t, 65536> Memory{};
    std::string Trace;
    int Writes = 0, DummyReads = 0;
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

// The 44 undefined opcodes run as NOPs of the WDC part's lengths and cycles (written out here
// apart from the table, which the disassembler prints them from): they read only their own
// bytes as data, write nothing and change no register or flag.
TEST(CpuUndefinedOpcodes, RunAsNopsOfTheirLengthAndCyclesChangingNothing) {
    std::map<int, std::pair<int, int>> nops; // opcode: length, cycles
    for (int op : {0x02, 0x22, 0x42, 0x62, 0x82, 0xC2, 0xE2})
        nops[op] = {2, 2};
    for (int op = 0x03; op < 0x100; op += 8)
        if (op != 0xCB && op != 0xDB) // WAI, STP
            nops[op] = {1, 1};
    nops[0x44] = {2, 3};
    nops[0x54] = nops[0xD4] = nops[0xF4] = {2, 4};
    nops[0x5C] = {3, 8};
    nops[0xDC] = nops[0xFC] = {3, 4};
    int undefined = 0;
    for (int op = 0; op < 256; ++op) {
        const OpcodeInfo& info = OpcodeInfoOf(static_cast<uint8_t>(op));
        SCOPED_TRACE(::testing::Message() << std::hex << op);
        if (!(info.Flags & kUndefined)) {
            EXPECT_EQ(nops.count(op), 0u);
            continue;
        }
        ++undefined;
        ASSERT_EQ(nops.count(op), 1u);
        EXPECT_STREQ(info.Mnemonic, "NOP");
        EXPECT_EQ(std::pair(int(info.Length), int(info.Cycles)), nops.at(op));
        Machine m;
        m.Poke(0x0300, {static_cast<uint8_t>(op), 0x10, 0x20});
        m.Regs() = CpuRegisters{0x11, 0x22, 0x33, 0xFF, 0xFF, 0x0300}; // every flag set
        EXPECT_EQ(m.Cpu.Step(), nops.at(op).second);
        const CpuRegisters& r = m.Regs();
        EXPECT_EQ(std::tuple(r.A, r.X, r.Y, r.S, r.P, r.PC),
                  std::tuple(0x11, 0x22, 0x33, 0xFF, 0xFF, 0x0300 + nops.at(op).first));
        EXPECT_EQ(m.Bus->Writes, 0);
        EXPECT_EQ(m.Bus->DummyReads, nops.at(op).second - nops.at(op).first);
    }
    EXPECT_EQ(undefined, 44);
}

// The documented opcodes take the table's length and base cycles (the disassembler prints from
// the table, so the two must not drift): each runs once with no page crossed, no branch taken
// and D clear, at $0300 with the operand bytes $10 $20 and pointers in page $30.
TEST(CpuOpcodeTable, DocumentedOpcodesTakeTheTableLengthAndBaseCycles) {
    static const std::map<int, uint8_t> kNotTaken = {
        {0x10, kFlagN}, {0x50, kFlagV}, {0x90, kFlagC}, {0xD0, kFlagZ}};
    for (int op = 0; op < 256; ++op) {
        const OpcodeInfo& info = OpcodeInfoOf(static_cast<uint8_t>(op));
        if (info.Flags & kUndefined)
            continue;
        SCOPED_TRACE(::testing::Message() << info.Mnemonic << " " << std::hex << op);
        Machine m;
        m.Poke(0x0300, {static_cast<uint8_t>(op), op == 0x80 ? uint8_t{0} : uint8_t{0x10}, 0x20});
        // BBRn finds its bit set, BBSn clear: neither branches.
        const bool bbr = info.Mode == AddrMode::ZeroPageRelative && info.Mnemonic[2] == 'R';
        m.Poke(0x0010, {uint8_t(bbr ? 0xFF : 0x00), 0x30, 0x00, 0x30});
        const auto flag = kNotTaken.find(op);
        const uint8_t p = uint8_t(kFlagU | (flag != kNotTaken.end() ? flag->second : 0));
        m.Regs() = CpuRegisters{0x00, 0x01, 0x01, 0xFF, p, 0x0300};
        EXPECT_EQ(m.Cpu.Step(), info.Cycles);
        const bool jumps = info.Mode == AddrMode::Absolute && info.Mnemonic[0] == 'J';
        if (!jumps && info.Mode != AddrMode::AbsoluteIndirect &&
            info.Mode != AddrMode::AbsoluteIndexedIndirect && op != 0x00 && op != 0x40 &&
            op != 0x60) {
            EXPECT_EQ(m.Regs().PC, 0x0300 + info.Length);
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
    EXPECT_EQ(
        std::tuple(m.Cpu.Cycles(), m.Regs().PC, m.Regs().S, m.Regs().A, m.Cpu.State()),
        std::tuple(uint64_t{7}, uint16_t{0xC123}, uint8_t{0xFC}, uint8_t{0x11}, CpuState::Running));
    EXPECT_EQ(m.Regs().P & (kFlagI | kFlagD | kFlagC), kFlagI | kFlagC) << "I set, D cleared";
    EXPECT_EQ(m.Bus->Writes, 0) << "the stack cycles of a reset are reads";
    EXPECT_EQ(m.Bus->Trace.substr(30), "rFFFC rFFFD ");
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
    EXPECT_EQ(std::tuple(m.Regs().PC, m.Regs().S, m.Regs().P & (kFlagI | kFlagD)),
              std::tuple(kIrqHandler, 0xFC, kFlagI))
        << "the 65C02 clears D on entry";
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
    EXPECT_EQ(m.Regs().PC * 256 + m.Peek(0x01FD), kNmiHandler * 256 + (kFlagU | kFlagI));
    EXPECT_EQ(m.Cpu.Step(), 2) << "one edge, one entry";
    m.Cpu.TriggerNmi();
    m.Cpu.SetIrq(true);
    EXPECT_EQ(m.Cpu.Step(), 7);
    EXPECT_EQ(m.Regs().PC, kNmiHandler) << "NMI before a masked IRQ, and again inside NMI";
}

// WAI idles off the bus, letting Run's budget pass, until an interrupt line ends it: an IRQ
// enters its handler, a masked IRQ resumes with the INX behind the WAI, an NMI enters even with
// IRQ masked.
TEST(CpuWai, IdlesOffTheBusUntilAnInterruptLineEndsIt) {
    using Wake = std::tuple<uint8_t, bool, int, uint16_t, uint8_t>; // P, NMI (else IRQ), ...
    for (const auto& [p, nmi, cycles, pc, s] :
         {Wake{kFlagU, false, 7, kIrqHandler, 0xFC}, Wake{kFlagU | kFlagI, false, 2, 0x0302, 0xFF},
          Wake{kFlagU | kFlagI, true, 7, kNmiHandler, 0xFC}}) {
        SCOPED_TRACE(::testing::Message() << "P " << int(p) << (nmi ? " NMI" : " IRQ"));
        Machine m = WithHandlers();
        m.Poke(0x0300, {0xCB, 0xE8}); // WAI; INX
        m.Regs().P = p;
        EXPECT_EQ(m.Cpu.Step(), 3);
        EXPECT_EQ(m.Cpu.State(), CpuState::Waiting);
        EXPECT_EQ(m.Cpu.Step(), 1);
        EXPECT_EQ(m.Cpu.Run(1000), 1000u);
        EXPECT_EQ(m.Bus->Trace, "r0300 r0301 r0301 ") << "idle cycles leave the bus alone";
        if (nmi)
            m.Cpu.TriggerNmi();
        else
            m.Cpu.SetIrq(true);
        EXPECT_EQ(m.Cpu.Step(), cycles);
        EXPECT_EQ(std::tuple(m.Cpu.State(), m.Regs().PC, m.Regs().S, m.Peek(0x01FE)),
                  std::tuple(CpuState::Running, pc, s, s == 0xFC ? 0x01 : 0x00))
            << "entered, returning behind the WAI, or resumed";
    }
}

TEST(CpuStp, StopsUntilResetAndIgnoresInterrupts) {
    Machine m = WithHandlers();
    m.Poke(kResetVector, {0x20, 0x03});
    m.Poke(0x0300, {0xDB, 0xE8}); // STP; INX
    EXPECT_EQ(m.Cpu.Step(), 3);
    EXPECT_EQ(std::pair(m.Bus->Trace, m.Cpu.State()),
              std::pair(std::string("r0300 r0301 r0301 "), CpuState::Stopped));
    m.Cpu.SetIrq(true);
    m.Cpu.TriggerNmi();
    EXPECT_EQ(m.Cpu.Step(), 1);
    EXPECT_EQ(m.Cpu.Run(1'000'000'000), 1'000'000'000u) << "at once, not cycle by cycle";
    EXPECT_EQ(m.Cpu.Cycles(), 3u + 1 + 1'000'000'000);
    EXPECT_EQ(m.Regs().PC * 256 + m.Regs().X, 0x030100) << "nothing after STP ran";
    m.Cpu.SetIrq(false);
    m.Cpu.Reset();
    EXPECT_EQ(std::pair(m.Cpu.State(), m.Regs().PC),
              std::pair(CpuState::Running, uint16_t{0x0320}));
    EXPECT_EQ(m.Cpu.Step(), 2) << "the pending NMI was cleared by the reset";
}

TEST(CpuRun, SpendsItsBudgetInWholeInstructionsTakesInterruptsAndHonoursRequestStop) {
    Machine m = WithHandlers();
    m.Poke(0x0300, {0xE8, 0x4C, 0x00, 0x03}); // loop: INX; JMP loop (5 cycles a pass)
    EXPECT_EQ(m.Cpu.Run(10), 10u);
    EXPECT_EQ(m.Regs().X * 100 + m.Cpu.Instructions(), 204u);
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

const fs::path kCpuTests = fs::path(BX_SHARED_DIR) / "cputests";

#define BX_REQUIRE_DATA(path)                                                                      \
    if (!fs::exists(path))                                                                         \
    GTEST_SKIP() << "CPU test data is absent: " << (path)

// A 65C02 on a flat RAM with the image loaded at load and the PC at start.
struct ImageRun {
    ImageRun(const fs::path& path, uint16_t load, uint16_t start) {
        std::ifstream in(path, std::ios::binary);
        const std::vector<uint8_t> image{std::istreambuf_iterator<char>(in), {}};
        EXPECT_FALSE(image.empty()) << path;
        EXPECT_TRUE(Bus->Load(load, image));
        Cpu.Registers().PC = start;
    }
    std::unique_ptr<FlatRamBus> Bus = std::make_unique<FlatRamBus>();
    Cpu65C02<FlatRamBus> Cpu{*Bus};
};

TEST(CpuFunctionalTests, DormannProgramsReachTheirSuccessTrapAfterTheMeasuredRun) {
    // The file, load and trap address, the instructions and cycles up to the trap as two
    // independent cores measured them (0: unknown).
    using Program = std::tuple<const char*, uint16_t, uint16_t, uint64_t, uint64_t>;
    const Program programs[] = {
        {"6502_functional_test.bin", 0x0000, 0x3469, 30'646'177, 96'561'324},
        {"extra/6502_functional_test_v2020_sbfaulkner/6502_functional_test.bin", 0x000A, 0x3469,
         30'648'049, 0},
        {"65C02_extended_opcodes_test.bin", 0x0000, 0x24F1, 21'986'986, 66'907'084},
    };
    for (const auto& [file, load, trap, instructions, cycles] : programs) {
        SCOPED_TRACE(file);
        BX_REQUIRE_DATA(kCpuTests / "dormann" / file);
        ImageRun run(kCpuTests / "dormann" / file, load, 0x0400);
        const TrapRunResult result = RunUntilTrap(run.Cpu, 200'000'000);
        EXPECT_EQ(std::tuple(result.How, result.Address, result.Instructions),
                  std::tuple(TrapStop::Trap, trap, instructions))
            << "the trap's address names the failing test";
        EXPECT_EQ(result.Cycles, cycles != 0 ? cycles : result.Cycles);
    }
}

// The 65C02's decimal SBC differs from the NMOS 6502's for invalid BCD operands: the WDC part
// corrects the result with the whole binary difference, the NMOS part digit by digit (the
// single-step data, taken from WDC silicon, agrees with the 65C02 rule in every such case).
// This build predicts the NMOS results over all 2 x 256 x 256 operand pairs, so on a 65C02 it
// stops at its first invalid-BCD subtraction. The run below lets each SBC mismatch pass only
// after checking that it is one of exactly those cases and that the result is the 65C02's,
// and then resumes the program's loop; everything else (all ADC results, the valid-BCD SBC
// results, every carry) must match the NMOS prediction, and the program must end with
// ERROR = 0.
TEST(CpuFunctionalTests, DecimalTestNmosPredictionDiffersOnlyInInvalidBcdSubtraction) {
    const fs::path file = kCpuTests / "dormann/decimal/6502_config_valerino/6502_decimal_test.bin";
    BX_REQUIRE_DATA(file);
    ImageRun run(file, 0x0200, 0x0200);
    const auto& m = run.Bus->Memory;
    // From the listing: "bne DONE" after the ADC comparison and after the SBC comparison,
    // the loop's continuation NEXT1, the STP at DONE; zero page N1, N2, DA, AR, ERROR.
    constexpr uint16_t kAdcMismatch = 0x022F, kSbcMismatch = 0x023A, kNext1 = 0x023C;
    int nmosOnlySbcCases = 0;
    for (uint64_t n = 0; run.Cpu.State() == CpuState::Running && n < 100'000'000; ++n) {
        const CpuRegisters& r = run.Cpu.Registers();
        const bool mismatch = (r.P & kFlagZ) == 0;
        if (r.PC == kAdcMismatch && mismatch) {
            ADD_FAILURE() << "ADC mismatch: N1=" << int(m[0]) << " N2=" << int(m[1])
                          << " C=" << int(r.Y) << " A=" << int(m[4]) << " predicted " << int(m[6]);
            break;
        }
        if (r.PC == kSbcMismatch && mismatch) {
            const int n1 = m[0], n2 = m[1], carry = r.Y;
            const bool invalidBcd = (n1 & 0x0F) > 9 || (n2 & 0x0F) > 9 || n1 > 0x99 || n2 > 0x99;
            const int lo = (n1 & 0x0F) - (n2 & 0x0F) + carry - 1;
            int wdc = n1 - n2 + carry - 1;
            wdc -= (wdc < 0 ? 0x60 : 0) + (lo < 0 ? 0x06 : 0);
            if (!invalidBcd || m[4] != (wdc & 0xFF)) {
                ADD_FAILURE() << "SBC mismatch: N1=" << n1 << " N2=" << n2 << " C=" << carry
                              << " A=" << int(m[4]) << " NMOS prediction " << int(m[6]);
                break;
            }
            ++nmosOnlySbcCases;
            run.Cpu.Registers().PC = kNext1;
        }
        run.Cpu.Step();
    }
    EXPECT_EQ(run.Cpu.State(), CpuState::Stopped);
    EXPECT_EQ(run.Cpu.Registers().PC, 0x024C) << "after the STP at $024B";
    EXPECT_EQ(m[0x000B], 0) << "ERROR";
    // The number of (N1, N2, carry) triples whose NMOS and 65C02 SBC results differ.
    EXPECT_EQ(nmosOnlySbcCases, 9216);
}

TEST(CpuFunctionalTests, DecimalTest65C02PredictionChecksAllFlagsAndEndsWithoutError) {
    const fs::path file =
        kCpuTests / "dormann/decimal/65c02_config_sbfaulkner/6502_decimal_test.bin";
    BX_REQUIRE_DATA(file);
    ImageRun run(file, 0x0200, 0x0200);
    const TrapRunResult result = RunUntilTrap(run.Cpu, 200'000'000);
    EXPECT_EQ(result.How, TrapStop::Stopped);
    EXPECT_EQ(result.Address, 0x024B);
    const auto& m = run.Bus->Memory;
    EXPECT_EQ(m[0x000B], 0) << "ERROR; N1=" << int(m[0]) << " N2=" << int(m[1])
                            << " carry-in in Y, actual A=" << int(m[4]) << " P=" << int(m[5])
                            << " predicted A=" << int(m[6]);
}

// 100 cases for each of the 210 documented opcodes: registers, RAM, cycle count and every bus
// cycle, dummy reads included.
TEST(CpuSingleStep, PassesEveryCaseOnRegistersRamCyclesAndBusAccesses) {
    const fs::path folder = kCpuTests / "harte/wdc65c02/v1";
    BX_REQUIRE_DATA(folder);
    std::vector<fs::path> files;
    for (const auto& entry : fs::directory_iterator(folder))
        if (entry.path().extension() == ".json")
            files.push_back(entry.path());
    std::sort(files.begin(), files.end());
    ASSERT_EQ(files.size(), 210u) << "expected one file per documented opcode";
    int passed = 0, failed = 0;
    for (const auto& file : files) {
        SingleStepFileResult result = RunSingleStepFile(file.string(), true);
        ASSERT_TRUE(result.Error.empty()) << result.Error;
        EXPECT_EQ(result.Passed + result.Failed, 100) << file;
        passed += result.Passed;
        failed += result.Failed;
        // A few lines per opcode are enough to see the pattern of a fault.
        for (std::size_t i = 0; i < result.Failures.size() && i < 3; ++i)
            ADD_FAILURE() << file.filename().string() << " " << result.Failures[i];
    }
    EXPECT_EQ(passed, 21000);
    EXPECT_EQ(failed, 0);
}

// The trap runner stops right after the first execution of a jump or branch to itself, an
// STP, or a WAI that nothing can end, with exact counts, and never runs past its limit.
TEST(TrapRunner, StopsAfterTheFirstExecutionAndAtTheExactLimit) {
    using enum TrapStop;
    struct TrapCase {
        const char* Code; // at $0200, started there
        TrapStop How;
        uint16_t Address;
        uint64_t Instructions, Cycles;
        uint64_t CyclesBeforeLast; // of all instructions but the last
    };
    const TrapCase cases[] = {
        {"A2 03 CA D0 FD 4C 05 02", Trap, 0x0205, 8, 19, 16}, // LDX #3; loop: DEX; BNE loop; JMP *
        {"E8 80 FE", Trap, 0x0201, 2, 5, 2},                  // INX; BRA *
        {"18 B0 FE 38 B0 FE", Trap, 0x0204, 4, 9, 6},         // CLC; BCS * (no trap); SEC; BCS *
        {"87 10 8F 10 FD", Trap, 0x0202, 2, 11, 5},           // SMB0 $10; BBS0 $10,*
        {"EA 6C 05 02 00 01 02", Trap, 0x0201, 2, 8, 2},      // NOP; JMP ($0205) holding $0201
        {"EA 20 01 02", Trap, 0x0201, 2, 8, 2},               // NOP; JSR *
        {"E8 DB", Stopped, 0x0201, 2, 5, 2},                  // INX; STP
        {"E8 CB", Waiting, 0x0201, 2, 5, 2},                  // INX; WAI, no interrupt asserted
    };
    for (const TrapCase& test : cases) {
        SCOPED_TRACE(test.Code);
        std::vector<uint8_t> code;
        std::istringstream bytes(test.Code);
        for (unsigned byte; bytes >> std::hex >> byte;)
            code.push_back(static_cast<uint8_t>(byte));
        auto bus = std::make_unique<FlatRamBus>();
        ASSERT_TRUE(bus->Load(0x0200, code));
        // A limit of exactly the instructions up to the trap finds it; one less stops in front
        // of it, and the next run of one instruction executes it.
        for (uint64_t limit : {test.Instructions, test.Instructions - 1}) {
            Cpu65C02<FlatRamBus> cpu(*bus);
            cpu.Registers().PC = 0x0200;
            const TrapRunResult ended = RunUntilTrap(cpu, limit);
            const bool whole = limit == test.Instructions;
            EXPECT_EQ(std::tuple(ended.How, ended.Address, ended.Instructions, ended.Cycles),
                      std::tuple(whole ? test.How : Limit, test.Address, limit,
                                 whole ? test.Cycles : test.CyclesBeforeLast));
            const TrapRunResult next = RunUntilTrap(cpu, 1);
            EXPECT_EQ(std::tuple(next.How, next.Instructions, next.Cycles),
                      whole
                          ? std::tuple(test.How, next.Instructions, next.Cycles)
                          : std::tuple(test.How, uint64_t{1}, test.Cycles - test.CyclesBeforeLast));
        }
    }
}

} // namespace
} // namespace bx::sim
