// The trap runner on the CPU's run loop: it stops right after the first execution of a jump or
// branch to itself, an STP, or a WAI that nothing can end, with exact counts, and never runs
// past its instruction limit.
#include "sim/Cpu65C02.h"
#include "sim/FlatRamBus.h"
#include "sim/TrapRunner.h"

#include <gtest/gtest.h>
#include <memory>
#include <vector>

namespace bx::sim {
namespace {

struct TrapCase {
    const char* Name;
    std::vector<uint8_t> Code; // at $0200, started there
    TrapStop How;
    uint16_t Address;
    uint64_t Instructions, Cycles;
    uint64_t CyclesBeforeLast; // of all instructions but the last
};

const TrapCase kCases[] = {
    // LDX #3; loop: DEX; BNE loop; JMP * (2 + 3 x 2 + 2 x 3 + 2 + 3)
    {"jmp", {0xA2, 0x03, 0xCA, 0xD0, 0xFD, 0x4C, 0x05, 0x02}, TrapStop::Trap, 0x0205, 8, 19, 16},
    // INX; BRA *
    {"bra", {0xE8, 0x80, 0xFE}, TrapStop::Trap, 0x0201, 2, 5, 2},
    // CLC; BCS * (not taken: no trap); SEC; BCS *
    {"branch", {0x18, 0xB0, 0xFE, 0x38, 0xB0, 0xFE}, TrapStop::Trap, 0x0204, 4, 9, 6},
    // SMB0 $10; BBS0 $10,*
    {"bbs", {0x87, 0x10, 0x8F, 0x10, 0xFD}, TrapStop::Trap, 0x0202, 2, 11, 5},
    // NOP; JMP ($0205), the pointer there holding $0201
    {"jmp indirect", {0xEA, 0x6C, 0x05, 0x02, 0x00, 0x01, 0x02}, TrapStop::Trap, 0x0201, 2, 8, 2},
    // NOP; JSR * (PC comes back to the JSR)
    {"jsr", {0xEA, 0x20, 0x01, 0x02}, TrapStop::Trap, 0x0201, 2, 8, 2},
    // INX; STP
    {"stp", {0xE8, 0xDB}, TrapStop::Stopped, 0x0201, 2, 5, 2},
    // INX; WAI with no interrupt asserted
    {"wai", {0xE8, 0xCB}, TrapStop::Waiting, 0x0201, 2, 5, 2},
};

TEST(TrapRunner, StopsAfterTheFirstExecutionAndAtTheExactLimit) {
    for (const TrapCase& test : kCases) {
        SCOPED_TRACE(test.Name);
        auto bus = std::make_unique<FlatRamBus>();
        ASSERT_TRUE(bus->Load(0x0200, test.Code));

        Cpu65C02<FlatRamBus> cpu(*bus);
        cpu.Registers().PC = 0x0200;
        TrapRunResult ended = RunUntilTrap(cpu, 1000);
        EXPECT_EQ(ended.How, test.How);
        EXPECT_EQ(ended.Address, test.Address);
        EXPECT_EQ(ended.Instructions, test.Instructions);
        EXPECT_EQ(ended.Cycles, test.Cycles);

        // A limit of exactly the instructions up to the trap still finds it.
        Cpu65C02<FlatRamBus> exact(*bus);
        exact.Registers().PC = 0x0200;
        ended = RunUntilTrap(exact, test.Instructions);
        EXPECT_EQ(ended.How, test.How);
        EXPECT_EQ(ended.Instructions, test.Instructions);
        EXPECT_EQ(ended.Cycles, test.Cycles);

        // One less stops in front of it; the next run executes it once.
        Cpu65C02<FlatRamBus> limited(*bus);
        limited.Registers().PC = 0x0200;
        ended = RunUntilTrap(limited, test.Instructions - 1);
        EXPECT_EQ(ended.How, TrapStop::Limit);
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
