// The fake emulator that the inspector and debugger tests drive: it must keep the promises of
// the Emulator interface that those tests lean on, or their results mean nothing.

#include "foundation/Error.h"
#include "support/FakeEmulator.h"

#include <gtest/gtest.h>

namespace bx::test {
namespace {

TEST(FakeEmulator, MemoryIsPerBankAndReadsGiveWhatWasWritten) {
    FakeEmulator emulator;
    int32_t count = 2;
    emulator.WriteMemory(0x24000, count, {0x12, 0x34});
    EXPECT_EQ(count, 2);
    count = 2;
    EXPECT_EQ(emulator.ReadMemory(0x24000, count), (std::vector<uint8_t>{0x12, 0x34}));
    count = 2;
    EXPECT_EQ(emulator.ReadMemory(0x14000, count), (std::vector<uint8_t>{0, 0}));
}

TEST(FakeEmulator, RangesOutsideTheBanksCantBeReadOrWritten) {
    FakeEmulator emulator;
    emulator.HighestBank = 1;
    int32_t count = 1;
    EXPECT_TRUE(emulator.ReadMemory(0x24000, count).empty());
    EXPECT_EQ(count, 0);
    count = 2;
    EXPECT_TRUE(emulator.ReadMemory(0xFFFF, count).empty());
    count = 1;
    EXPECT_THROW(emulator.WriteMemory(0x24000, count, {1}), BxError);
    EXPECT_EQ(emulator.GetValue("Bank"), 1);
    EXPECT_THROW(emulator.GetValue("Speed"), BxError);
}

TEST(FakeEmulator, UnreadableRangeFailsEveryReadThatTouchesIt) {
    FakeEmulator emulator;
    emulator.MakeUnreadable(0x4001, 1);
    int32_t count = 1;
    EXPECT_EQ(emulator.ReadMemory(0x4000, count).size(), 1u);
    count = 2;
    EXPECT_TRUE(emulator.ReadMemory(0x4000, count).empty());
    std::vector<int32_t> flags;
    EXPECT_FALSE(emulator.GetBreakFlags(0x4000, flags, 2));
    EXPECT_TRUE(flags.empty());
}

TEST(FakeEmulator, BreakpointKindsAreBitsPerByteAndClearAllRemovesEverything) {
    FakeEmulator emulator;
    EXPECT_TRUE(emulator.SetBreak(0x8000, 2, 4));
    EXPECT_TRUE(emulator.SetBreak(0x8001, 1, 1));
    std::vector<int32_t> flags;
    ASSERT_TRUE(emulator.GetBreakFlags(0x8000, flags, 5));
    EXPECT_EQ(flags, (std::vector<int32_t>{2, 3, 2, 2, 0}));

    // Clearing one kind leaves the others on the same byte.
    EXPECT_TRUE(emulator.ClearBreak(0x8001, 1, 1));
    EXPECT_EQ(emulator.BreakFlagsAt(0x8001), 2);

    EXPECT_TRUE(emulator.ClearBreak(0, 7, -1));
    ASSERT_TRUE(emulator.GetBreakFlags(0x8000, flags, 5));
    EXPECT_EQ(flags, (std::vector<int32_t>{0, 0, 0, 0, 0}));
    EXPECT_EQ(emulator.SetBreakCalls.size(), 2u);
    EXPECT_EQ(emulator.ClearBreakCalls.back(), (FakeEmulator::BreakCall{0, 7, -1}));

    emulator.RefuseBreaks = true;
    EXPECT_FALSE(emulator.SetBreak(0x8000, 1, 1));
    EXPECT_EQ(emulator.BreakFlagsAt(0x8000), 0);
}

TEST(FakeEmulator, SelectingTheSameModelKeepsMemoryAndAnUnknownOneSelectsNone) {
    FakeEmulator emulator;
    emulator.SetModel(13);
    emulator.Poke(0x8000, {0xEA});
    emulator.SetBreak(0x8000, 1, 1);
    emulator.SetModel(13);
    EXPECT_EQ(emulator.Peek(0x8000), 0xEA);
    EXPECT_EQ(emulator.BreakFlagsAt(0x8000), 1);
    emulator.SetModel(7);
    EXPECT_EQ(emulator.Peek(0x8000), 0);
    EXPECT_EQ(emulator.BreakFlagsAt(0x8000), 0);
    emulator.SetModel(99);
    EXPECT_EQ(emulator.GetModel(), 0);
}

TEST(FakeEmulator, RunStopAndBreakHit) {
    FakeEmulator emulator;
    std::vector<std::string> hits;
    emulator.BreakHit.Connect([&](int32_t bank, int32_t address, int32_t cond) {
        hits.push_back(std::to_string(bank) + ":" + std::to_string(address) + ":" +
                       std::to_string(cond));
    });
    EXPECT_FALSE(emulator.Stop());
    emulator.Run();
    EXPECT_TRUE(emulator.Running);
    emulator.RaiseBreakHit(1, 0x4000, 1);
    EXPECT_FALSE(emulator.Running);
    EXPECT_EQ(hits, (std::vector<std::string>{"1:16384:1"}));
    emulator.Run();
    EXPECT_TRUE(emulator.Stop());
    EXPECT_EQ(emulator.Calls, (std::vector<std::string>{"Stop", "Run", "Run", "Stop"}));
}

TEST(FakeEmulator, ResetLoadsThePcFromTheResetVector) {
    FakeEmulator emulator;
    emulator.Poke(0xFFFC, {0x00, 0x80});
    emulator.Reset();
    ASSERT_TRUE(emulator.GetCpuState().has_value());
    EXPECT_EQ(emulator.GetCpuState()->PC, 0x8000);
}

TEST(FakeEmulator, NextInstructionFindsTheReturnAddressOfAJsrOnly) {
    FakeEmulator emulator;
    emulator.Poke(0x8000, {0x20, 0x00, 0x90, 0xEA});
    EXPECT_EQ(emulator.NextInstruction(0x8000), 0x8003);
    EXPECT_LT(emulator.NextInstruction(0x8003), 0);
}

TEST(FakeEmulator, DisassemblyIsScriptedOrOneDataByte) {
    FakeEmulator emulator;
    emulator.Poke(0x8000, {0xA9, 0x12, 0xEA});
    emulator.Instructions[0x8000] = {"LDA #$12", 2};
    int32_t next = 0;
    std::vector<std::string> text;
    ASSERT_TRUE(emulator.Disassemble(0x8000, 2, next, text));
    EXPECT_EQ(text, (std::vector<std::string>{"LDA #$12", ".byte $EA"}));
    EXPECT_EQ(next, 0x8003);
    emulator.HighestBank = 0;
    EXPECT_FALSE(emulator.Disassemble(0x18000, 1, next, text));
    EXPECT_EQ(next, 0x18001);
    EXPECT_TRUE(text.empty());
}

TEST(FakeEmulator, IceDriverAndPortsAndOptionsAreRecorded) {
    FakeEmulator emulator;
    emulator.IceDriverLoads = false;
    emulator.SetIceDriver("C:\\ice\\drv.dll");
    EXPECT_EQ(emulator.GetIceDriver(), "");
    EXPECT_EQ(emulator.GetPortId("P1"), 1);
    EXPECT_THROW(emulator.GetPortId("P9"), BxError);
    emulator.SetOption("WDT", true);
    emulator.SetClock(0, 3580000);
    EXPECT_TRUE(emulator.Options.at("WDT"));
    EXPECT_EQ(emulator.Clocks.at(0), 3580000);
    emulator.AttachHub(5, 2002);
    EXPECT_EQ(emulator.AttachedHub, 5);
    EXPECT_EQ(emulator.Calls.back(), "AttachHub 5 2002");
}

} // namespace
} // namespace bx::test
