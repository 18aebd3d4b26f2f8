// The public CPU test suites from the shared test data: Klaus Dormann's self-checking 6502 and
// 65C02 programs and Bruce Clark's decimal-mode test run to their end on a flat 64 KB RAM, and
// the WDC 65C02 single-step cases (Tom Harte's SingleStepTests); then the trap runner that ends
// those programs.
#include "sim/Cpu65C02.h"
#include "sim/FlatRamBus.h"
#include "sim/SingleStepTest.h"
#include "sim/TrapRunner.h"

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <gtest/gtest.h>
#include <iterator>
#include <memory>
#include <sstream>
#include <vector>

namespace bx::sim {
namespace {

namespace fs = std::filesystem;

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
    struct Program {
        const char* File;
        uint16_t Load, Trap;
        uint64_t Instructions, Cycles; // as two independent cores measured them; 0: unknown
    };
    const Program programs[] = {
        {"6502_functional_test.bin", 0x0000, 0x3469, 30'646'177, 96'561'324},
        {"extra/6502_functional_test_v2020_sbfaulkner/6502_functional_test.bin", 0x000A, 0x3469,
         30'648'049, 0},
        {"65C02_extended_opcodes_test.bin", 0x0000, 0x24F1, 21'986'986, 66'907'084},
    };
    for (const Program& p : programs) {
        SCOPED_TRACE(p.File);
        BX_REQUIRE_DATA(kCpuTests / "dormann" / p.File);
        ImageRun run(kCpuTests / "dormann" / p.File, p.Load, 0x0400);
        const TrapRunResult result = RunUntilTrap(run.Cpu, 200'000'000);
        EXPECT_EQ(result.How, TrapStop::Trap);
        EXPECT_EQ(result.Address, p.Trap) << "the trap's address names the failing test";
        EXPECT_EQ(result.Instructions, p.Instructions);
        if (p.Cycles != 0) {
            EXPECT_EQ(result.Cycles, p.Cycles);
        }
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
        // A limit of exactly the instructions up to the trap still finds it.
        for (uint64_t limit : {uint64_t{1000}, test.Instructions}) {
            Cpu65C02<FlatRamBus> cpu(*bus);
            cpu.Registers().PC = 0x0200;
            const TrapRunResult ended = RunUntilTrap(cpu, limit);
            EXPECT_EQ(ended.How, test.How);
            EXPECT_EQ(ended.Address, test.Address);
            EXPECT_EQ(ended.Instructions, test.Instructions);
            EXPECT_EQ(ended.Cycles, test.Cycles);
        }
        // One less stops in front of it; the next run executes it once.
        Cpu65C02<FlatRamBus> limited(*bus);
        limited.Registers().PC = 0x0200;
        TrapRunResult ended = RunUntilTrap(limited, test.Instructions - 1);
        EXPECT_EQ(ended.How, Limit);
        EXPECT_EQ(ended.Address, test.Address);
        EXPECT_EQ(ended.Instructions, test.Instructions - 1);
        EXPECT_EQ(ended.Cycles, test.CyclesBeforeLast);
        ended = RunUntilTrap(limited, 1000);
        EXPECT_EQ(ended.How, test.How);
        EXPECT_EQ(ended.Instructions, 1u);
        EXPECT_EQ(ended.Cycles, test.Cycles - test.CyclesBeforeLast);
    }
}

} // namespace
} // namespace bx::sim
