// Klaus Dormann's self-checking 6502 and 65C02 test programs and Bruce Clark's decimal-mode
// test, run to their end on a flat 64 KB RAM. Load, start and success addresses come from the
// listings of the builds in the shared test data.
#include "sim/Cpu65C02.h"
#include "sim/FlatRamBus.h"
#include "sim/TrapRunner.h"

#include <filesystem>
#include <fstream>
#include <gtest/gtest.h>
#include <iterator>
#include <memory>
#include <vector>

namespace bx::sim {
namespace {

namespace fs = std::filesystem;

fs::path DormannFolder() {
    return fs::path(BX_SHARED_DIR) / "cputests/dormann";
}

std::vector<uint8_t> ReadImage(const fs::path& path) {
    std::ifstream in(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>()};
}

struct ImageRun {
    std::unique_ptr<FlatRamBus> Bus = std::make_unique<FlatRamBus>();
    TrapRunResult Result;
};

// Loads the image, starts at start with no interrupt asserted and runs to its trap or STP.
ImageRun RunImage(const fs::path& path, uint16_t load, uint16_t start) {
    ImageRun run;
    std::vector<uint8_t> image = ReadImage(path);
    EXPECT_FALSE(image.empty()) << path;
    EXPECT_TRUE(run.Bus->Load(load, image));
    Cpu65C02<FlatRamBus> cpu(*run.Bus);
    cpu.Registers().PC = start;
    run.Result = RunUntilTrap(cpu, 200'000'000);
    return run;
}

#define BX_REQUIRE_DATA(file)                                                                      \
    if (!fs::exists(DormannFolder() / (file)))                                                     \
    GTEST_SKIP() << "CPU test program data is absent: " << (DormannFolder() / (file))

TEST(CpuFunctionalTests, Nmos6502FunctionalTestReachesItsSuccessTrap) {
    BX_REQUIRE_DATA("6502_functional_test.bin");
    ImageRun run = RunImage(DormannFolder() / "6502_functional_test.bin", 0x0000, 0x0400);
    EXPECT_EQ(run.Result.How, TrapStop::Trap);
    EXPECT_EQ(run.Result.Address, 0x3469) << "the trap's address names the failing test";
    // The run length two independent cores measured (the trap instruction counted once).
    EXPECT_EQ(run.Result.Instructions, 30'646'177u);
    EXPECT_EQ(run.Result.Cycles, 96'561'324u);
}

TEST(CpuFunctionalTests, Nmos6502FunctionalTest2020BuildReachesItsSuccessTrap) {
    const char* file = "extra/6502_functional_test_v2020_sbfaulkner/6502_functional_test.bin";
    BX_REQUIRE_DATA(file);
    ImageRun run = RunImage(DormannFolder() / file, 0x000A, 0x0400);
    EXPECT_EQ(run.Result.How, TrapStop::Trap);
    EXPECT_EQ(run.Result.Address, 0x3469);
    EXPECT_EQ(run.Result.Instructions, 30'648'049u);
}

TEST(CpuFunctionalTests, ExtendedOpcodesTestReachesItsSuccessTrap) {
    BX_REQUIRE_DATA("65C02_extended_opcodes_test.bin");
    ImageRun run = RunImage(DormannFolder() / "65C02_extended_opcodes_test.bin", 0x0000, 0x0400);
    EXPECT_EQ(run.Result.How, TrapStop::Trap);
    EXPECT_EQ(run.Result.Address, 0x24F1);
    EXPECT_EQ(run.Result.Instructions, 21'986'986u);
    EXPECT_EQ(run.Result.Cycles, 66'907'084u);
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
    const char* file = "decimal/6502_config_valerino/6502_decimal_test.bin";
    BX_REQUIRE_DATA(file);
    auto bus = std::make_unique<FlatRamBus>();
    ASSERT_TRUE(bus->Load(0x0200, ReadImage(DormannFolder() / file)));
    Cpu65C02<FlatRamBus> cpu(*bus);
    cpu.Registers().PC = 0x0200;
    const auto& m = bus->Memory;
    // From the listing: "bne DONE" after the ADC comparison and after the SBC comparison,
    // the loop's continuation NEXT1, the STP at DONE; zero page N1, N2, DA, AR, ERROR.
    constexpr uint16_t kAdcMismatch = 0x022F, kSbcMismatch = 0x023A, kNext1 = 0x023C;
    int nmosOnlySbcCases = 0;
    uint64_t instructions = 0;
    while (cpu.State() == CpuState::Running && instructions < 100'000'000) {
        const CpuRegisters& r = cpu.Registers();
        const bool mismatch = (r.P & kFlagZ) == 0;
        if (r.PC == kAdcMismatch && mismatch) {
            ADD_FAILURE() << "ADC mismatch: N1=" << int(m[0]) << " N2=" << int(m[1])
                          << " C=" << int(r.Y) << " A=" << int(m[4]) << " predicted " << int(m[6]);
            break;
        }
        if (r.PC == kSbcMismatch && mismatch) {
            const int n1 = m[0], n2 = m[1], carry = r.Y;
            const bool invalidBcd = (n1 & 0x0F) > 9 || (n2 & 0x0F) > 9 || n1 > 0x99 || n2 > 0x99;
            int lo = (n1 & 0x0F) - (n2 & 0x0F) + carry - 1;
            int wdc = n1 - n2 + carry - 1;
            if (wdc < 0)
                wdc -= 0x60;
            if (lo < 0)
                wdc -= 0x06;
            if (!invalidBcd || m[4] != (wdc & 0xFF)) {
                ADD_FAILURE() << "SBC mismatch: N1=" << n1 << " N2=" << n2 << " C=" << carry
                              << " A=" << int(m[4]) << " NMOS prediction " << int(m[6]);
                break;
            }
            ++nmosOnlySbcCases;
            cpu.Registers().PC = kNext1;
        }
        cpu.Step();
        ++instructions;
    }
    EXPECT_EQ(cpu.State(), CpuState::Stopped);
    EXPECT_EQ(cpu.Registers().PC, 0x024C) << "after the STP at $024B";
    EXPECT_EQ(m[0x000B], 0) << "ERROR";
    // The number of (N1, N2, carry) triples whose NMOS and 65C02 SBC results differ.
    EXPECT_EQ(nmosOnlySbcCases, 9216);
}

TEST(CpuFunctionalTests, DecimalTest65C02PredictionChecksAllFlagsAndEndsWithoutError) {
    const char* file = "decimal/65c02_config_sbfaulkner/6502_decimal_test.bin";
    BX_REQUIRE_DATA(file);
    ImageRun run = RunImage(DormannFolder() / file, 0x0200, 0x0200);
    EXPECT_EQ(run.Result.How, TrapStop::Stopped);
    EXPECT_EQ(run.Result.Address, 0x024B);
    const auto& m = run.Bus->Memory;
    EXPECT_EQ(m[0x000B], 0) << "ERROR; N1=" << int(m[0]) << " N2=" << int(m[1])
                            << " carry-in in Y, actual A=" << int(m[4]) << " P=" << int(m[5])
                            << " predicted A=" << int(m[6]);
}

} // namespace
} // namespace bx::sim
