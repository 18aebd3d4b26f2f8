// The Watch value model: reading through the emulator, the text forms of each format and size,
// masks, byte order, register locations, writing back, and the text forms that carry a watch
// through list controls and the appliance file.

#include "inspectors/Watch.h"
#include "support/FakeEmulator.h"

#include <gtest/gtest.h>
#include <string>
#include <vector>

namespace bx {
namespace {

using test::FakeEmulator;

constexpr int32_t kBank1 = 0x14000; // "01:4000"

std::string Nul() {
    return std::string(1, '\0');
}

class WatchValue : public ::testing::Test {
protected:
    // A memory watch at "01:4000" with the given display name and mask.
    Watch& MemoryWatch(const std::string& display, int32_t mask = -1) {
        watch.Location = "01:4000";
        watch.SetDisplay(display);
        watch.Mask = mask;
        return watch;
    }

    // The value text of a fresh copy of watch, as the inspectors read it.
    std::string FreshValue() {
        Watch copy;
        copy.FromString(watch.AsString());
        return copy.ValueString(emulator);
    }

    FakeEmulator emulator;
    Watch watch;
};

// ---- Reading memory -------------------------------------------------------------------------

TEST_F(WatchValue, BankAddressLocationReadsTheBankTimes65536PlusTheAddress) {
    emulator.Poke(0x28010, {0x5A});
    watch.Location = "02:8010";
    watch.SetDisplay("HexByte");
    EXPECT_EQ(watch.ValueString(emulator), "$5A");
    EXPECT_EQ(emulator.Calls, (std::vector<std::string>{"ReadMemory 00028010 1"}));
}

TEST_F(WatchValue, HexFormatPadsBySize) {
    emulator.Poke(kBank1, {0x0A, 0x00, 0x00, 0x00});
    EXPECT_EQ(MemoryWatch("HexByte").ValueString(emulator), "$0A");
    EXPECT_EQ(MemoryWatch("HexWord").ValueString(emulator), "$000A");
    EXPECT_EQ(MemoryWatch("HexLong").ValueString(emulator), "$0000000A");
}

TEST_F(WatchValue, HexWithoutAByteWordOrLongSizeGivesEmptyTextButStillReads) {
    emulator.Poke(kBank1, {0x12, 0x34});
    EXPECT_EQ(MemoryWatch("Hex").ValueString(emulator), "");
    EXPECT_FALSE(watch.Invalid);
    // Two sizes add up to 3, which names no hex width; the read goes by the larger size.
    EXPECT_EQ(MemoryWatch("HexByteWord").ValueString(emulator), "");
    EXPECT_EQ(emulator.Calls,
              (std::vector<std::string>{"ReadMemory 00014000 1", "ReadMemory 00014000 2"}));
}

TEST_F(WatchValue, WordAndLongFollowTheByteOrder) {
    emulator.Poke(kBank1, {0x78, 0x56, 0x34, 0x12});
    EXPECT_EQ(MemoryWatch("HexWord").ValueString(emulator), "$5678");
    EXPECT_EQ(MemoryWatch("HexLong").ValueString(emulator), "$12345678");
    watch.LittleEndian = false;
    EXPECT_EQ(MemoryWatch("HexWord").ValueString(emulator), "$7856");
    EXPECT_EQ(MemoryWatch("HexLong").ValueString(emulator), "$78563412");
}

TEST_F(WatchValue, DecimalIsTheDefaultFormatAndLongValuesAreSigned) {
    emulator.Poke(kBank1, {0xFF, 0xFF, 0xFF, 0xFF});
    EXPECT_EQ(MemoryWatch("DecByte").ValueString(emulator), "255");
    EXPECT_EQ(MemoryWatch("Word").ValueString(emulator), "65535");
    EXPECT_EQ(MemoryWatch("DecLong").ValueString(emulator), "-1");
    EXPECT_EQ(MemoryWatch("HexLong").ValueString(emulator), "$FFFFFFFF");
}

TEST_F(WatchValue, NoSizeReadsOneByte) {
    emulator.Poke(kBank1, {0x07, 0x01});
    EXPECT_EQ(MemoryWatch("Dec").ValueString(emulator), "7");
    EXPECT_EQ(emulator.Calls.back(), "ReadMemory 00014000 1");
}

TEST_F(WatchValue, FormatsAreTestedBinThenHexThenStr) {
    emulator.Poke(kBank1, {0x41});
    EXPECT_EQ(MemoryWatch("BinHexByte", 0xFF).ValueString(emulator), "%01000001");
    EXPECT_EQ(MemoryWatch("HexStrByte").ValueString(emulator), "$41");
    EXPECT_EQ(MemoryWatch("StrDecByte").ValueString(emulator), "'A'");
}

// ---- Masks ----------------------------------------------------------------------------------

TEST_F(WatchValue, MaskSelectsBitsWithoutShiftingThem) {
    emulator.Poke(kBank1, {0xA5});
    EXPECT_EQ(MemoryWatch("DecByte", 0xF0).ValueString(emulator), "160");
    EXPECT_EQ(MemoryWatch("HexByte", 0x0F).ValueString(emulator), "$05");
}

TEST_F(WatchValue, BinShowsBitsOutsideTheMaskAsDashes) {
    emulator.Poke(kBank1, {0xA5});
    EXPECT_EQ(MemoryWatch("BinByte", 0x0F).ValueString(emulator), "%----0101");
    EXPECT_EQ(MemoryWatch("BinByte", 0x3C).ValueString(emulator), "%--1001--");
    EXPECT_EQ(MemoryWatch("BinByte", 0).ValueString(emulator), "%--------");
}

TEST_F(WatchValue, BinOfALongWithFullMaskShows32DigitsAndNoDash) {
    emulator.Poke(kBank1, {0x01, 0x00, 0x00, 0x80});
    EXPECT_EQ(MemoryWatch("BinLong").ValueString(emulator), "%1" + std::string(30, '0') + "1");
}

TEST_F(WatchValue, BinTakesBit31OfTheMaskForThe32ndDigit) {
    emulator.Poke(kBank1, {0xFF, 0xFF, 0xFF, 0xFF});
    EXPECT_EQ(MemoryWatch("BinLong", static_cast<int32_t>(0x80000000u)).ValueString(emulator),
              "%1" + std::string(31, '-'));
    EXPECT_EQ(MemoryWatch("BinLong", 0x7FFFFFFF).ValueString(emulator),
              "%-" + std::string(31, '1'));
}

TEST_F(WatchValue, BinWithoutASizeIsThePercentSignAlone) {
    emulator.Poke(kBank1, {0xFF});
    EXPECT_EQ(MemoryWatch("Bin").ValueString(emulator), "%");
}

TEST_F(WatchValue, BinConsumesTheMaskFieldSoEachShowingUsesAFreshCopy) {
    emulator.Poke(kBank1, {0xA5, 0x00});

    MemoryWatch("BinByte", -1);
    EXPECT_EQ(watch.ValueString(emulator), "%10100101");
    // Shifted right by eight bits, bit 31 cleared first.
    EXPECT_EQ(watch.Mask, 0x007FFFFF);

    MemoryWatch("BinWord", 0x0F0F);
    EXPECT_EQ(watch.ValueString(emulator), "%----0000----0101");
    EXPECT_EQ(watch.Mask, 0);
    // Shown again on the same object, every bit has left the mask.
    EXPECT_EQ(watch.ValueString(emulator), "%----------------");

    MemoryWatch("BinWord", 0x0F0F);
    EXPECT_EQ(FreshValue(), "%----0000----0101");
    EXPECT_EQ(FreshValue(), "%----0000----0101");
    EXPECT_EQ(watch.Mask, 0x0F0F);
}

TEST_F(WatchValue, OnlyBinFormattingTouchesTheMask) {
    emulator.Poke(kBank1, {0xA5});
    MemoryWatch("HexByte", 0x0F).ValueString(emulator);
    EXPECT_EQ(watch.Mask, 0x0F);
}

// ---- Str ------------------------------------------------------------------------------------

TEST_F(WatchValue, StrRepeatsTheLowByteCharacterSizeTimesInQuotes) {
    emulator.Poke(kBank1, {0x41, 0x42, 0x43, 0x44});
    EXPECT_EQ(MemoryWatch("StrByte").ValueString(emulator), "'A'");
    EXPECT_EQ(MemoryWatch("StrWord").ValueString(emulator), "'AA'");
    watch.LittleEndian = false;
    EXPECT_EQ(MemoryWatch("StrLong").ValueString(emulator), "'DDDD'");
    EXPECT_EQ(MemoryWatch("Str").ValueString(emulator), "''");
}

TEST_F(WatchValue, StrOfAByteAbove127IsItsLatin1CharacterInUtf8) {
    emulator.Poke(kBank1, {0xE9});
    EXPECT_EQ(MemoryWatch("StrByte").ValueString(emulator), "'\xC3\xA9'");
}

// ---- Registers ------------------------------------------------------------------------------

TEST_F(WatchValue, RegisterLocationsReadTheCpuState) {
    emulator.Cpu = CpuState{0x11, 0x22, 0x33, 0xFD, 0x24, 0x8123};
    const std::vector<std::pair<std::string, std::string>> cases{{"R:A", "17"}, {"R:X", "34"},
                                                                 {"R:Y", "51"}, {"R:S", "253"},
                                                                 {"R:P", "36"}, {"R:PC", "33059"}};
    for (const auto& [location, expected] : cases) {
        watch.Location = location;
        EXPECT_EQ(watch.ValueString(emulator), expected) << location;
    }
    EXPECT_EQ(emulator.Calls.size(), cases.size());
    EXPECT_EQ(emulator.Calls.front(), "GetCpuState");
}

TEST_F(WatchValue, RegisterLocationLooksOnlyAtTheFirstCharacterAndTheNameFromTheThird) {
    emulator.Cpu = CpuState{0x11, 0x22, 0x33, 0xFD, 0x24, 0x8123};
    watch.SetDisplay("HexWord");
    watch.Location = "RxPC";
    EXPECT_EQ(watch.ValueString(emulator), "$8123");
    watch.Location = "Reg:X";
    EXPECT_EQ(watch.ValueString(emulator), "$0000"); // the name is "g:X"
    EXPECT_FALSE(watch.Invalid);
    EXPECT_EQ(emulator.Calls, (std::vector<std::string>{"GetCpuState", "GetCpuState"}));
}

TEST_F(WatchValue, UnknownRegisterNameReadsZero) {
    emulator.Cpu = CpuState{0x11, 0x22, 0x33, 0xFD, 0x24, 0x8123};
    for (const std::string location : {"R:Q", "R:", "R", "R:a", "R:PCL"}) {
        watch.Location = location;
        EXPECT_EQ(watch.ValueString(emulator), "0") << location;
        EXPECT_FALSE(watch.Invalid) << location;
    }
}

TEST_F(WatchValue, RegisterMaskAndFormatApplyAsForMemory) {
    emulator.Cpu = CpuState{0, 0, 0, 0xFF, 0b10100011, 0};
    watch.Location = "R:P";
    watch.SetDisplay("BinByte");
    watch.Mask = 0x81;
    EXPECT_EQ(watch.ValueString(emulator), "%1------1");
}

// ---- Failed reads ---------------------------------------------------------------------------

TEST_F(WatchValue, EmptyLocationGivesEmptyTextWithoutAskingTheEmulator) {
    watch.Invalid = true;
    watch.SetDisplay("HexByte");
    EXPECT_EQ(watch.ValueString(emulator), "");
    EXPECT_FALSE(watch.Invalid);
    EXPECT_TRUE(emulator.Calls.empty());
}

TEST_F(WatchValue, UnreadableWordIsInvalidUntilTheNextSuccessfulRead) {
    emulator.Poke(kBank1, {0x34, 0x12});
    emulator.MakeUnreadable(kBank1 + 1, 1);
    MemoryWatch("HexWord");
    EXPECT_EQ(watch.ValueString(emulator), "Invalid");
    EXPECT_TRUE(watch.Invalid);

    // The byte alone is readable: the next read clears the flag.
    watch.SetDisplay("HexByte");
    EXPECT_EQ(watch.ValueString(emulator), "$34");
    EXPECT_FALSE(watch.Invalid);
}

TEST_F(WatchValue, AddressInNoBankIsInvalid) {
    emulator.HighestBank = 1;
    watch.Location = "05:4000";
    watch.SetDisplay("HexByte");
    EXPECT_EQ(watch.ValueString(emulator), "Invalid");
    EXPECT_TRUE(watch.Invalid);
}

TEST_F(WatchValue, RegisterWithoutCpuStatusIsInvalid) {
    emulator.Cpu.reset();
    watch.Location = "R:A";
    EXPECT_EQ(watch.ValueString(emulator), "Invalid");
    EXPECT_TRUE(watch.Invalid);
    emulator.Cpu = CpuState{};
    EXPECT_EQ(watch.ValueString(emulator), "0");
    EXPECT_FALSE(watch.Invalid);
}

TEST_F(WatchValue, EmulatorErrorsDuringTheReadShowAsInvalid) {
    emulator.ThrowOnRead = true;
    MemoryWatch("HexByte");
    EXPECT_EQ(watch.ValueString(emulator), "Invalid");
    EXPECT_TRUE(watch.Invalid);
    watch.Location = "R:A";
    EXPECT_EQ(watch.ValueString(emulator), "Invalid");
    EXPECT_TRUE(watch.Invalid);
}

TEST_F(WatchValue, LocationWithoutColonNamesNoMemoryAndIsInvalid) {
    watch.Location = "4000";
    EXPECT_EQ(watch.ValueString(emulator), "Invalid");
    EXPECT_TRUE(watch.Invalid);
    EXPECT_TRUE(emulator.Calls.empty());
}

// ---- Writing back ---------------------------------------------------------------------------

class WatchWrite : public WatchValue {
protected:
    std::vector<uint8_t> Written() const {
        return emulator.WriteCalls.empty() ? std::vector<uint8_t>{}
                                           : emulator.WriteCalls.back().Data;
    }
};

TEST_F(WatchWrite, BitFieldWriteKeepsTheBitsOutsideTheMask) {
    emulator.Poke(kBank1, {0xA5});
    MemoryWatch("HexByte", 0x0F).SetValueString(emulator, "3");
    ASSERT_EQ(emulator.WriteCalls.size(), 1u);
    EXPECT_EQ(emulator.WriteCalls[0].Address, kBank1);
    EXPECT_EQ(Written(), std::vector<uint8_t>{0xA3});
    EXPECT_EQ(emulator.Peek(kBank1), 0xA3);
    EXPECT_FALSE(watch.Invalid);
    // The current value is read first, then written.
    EXPECT_EQ(emulator.Calls,
              (std::vector<std::string>{"ReadMemory 00014000 1", "WriteMemory 00014000 1"}));
}

TEST_F(WatchWrite, TypedBitsOutsideTheMaskAreDropped) {
    emulator.Poke(kBank1, {0xA5});
    MemoryWatch("BinByte", 0xF0).SetValueString(emulator, "$FF");
    EXPECT_EQ(Written(), std::vector<uint8_t>{0xF5});
}

TEST_F(WatchWrite, AcceptsEveryNumberFormOfTheReader) {
    emulator.Poke(kBank1, {0x00});
    const std::vector<std::pair<std::string, uint8_t>> cases{
        {"$1F", 0x1F}, {"%1010", 0x0A}, {"12", 12}, {"12.5", 12}, {"&H7E", 0x7E}, {"$01:20", 0x20}};
    for (const auto& [text, expected] : cases) {
        MemoryWatch("HexByte").SetValueString(emulator, text);
        EXPECT_EQ(emulator.Peek(kBank1), expected) << text;
    }
}

TEST_F(WatchWrite, TextTheReaderRefusesWritesZeroUnderTheMask) {
    emulator.Poke(kBank1, {0xA5});
    MemoryWatch("HexByte", 0xF0).SetValueString(emulator, "abc");
    EXPECT_EQ(Written(), std::vector<uint8_t>{0x05});
    EXPECT_FALSE(watch.Invalid);
}

TEST_F(WatchWrite, BinaryTextWithDashesReplacedKeepsItsMaskPositions) {
    // The editors turn "-" into "0" before writing; the digits under the mask land in place.
    emulator.Poke(kBank1, {0xA5});
    MemoryWatch("BinByte", 0x0F).SetValueString(emulator, "%00001100");
    EXPECT_EQ(Written(), std::vector<uint8_t>{0xAC});
}

TEST_F(WatchWrite, WordAndLongAreWrittenInTheWatchesByteOrder) {
    MemoryWatch("HexWord").SetValueString(emulator, "$1234");
    EXPECT_EQ(Written(), (std::vector<uint8_t>{0x34, 0x12}));
    MemoryWatch("HexLong").SetValueString(emulator, "$12345678");
    EXPECT_EQ(Written(), (std::vector<uint8_t>{0x78, 0x56, 0x34, 0x12}));

    watch.LittleEndian = false;
    MemoryWatch("HexWord").SetValueString(emulator, "$1234");
    EXPECT_EQ(Written(), (std::vector<uint8_t>{0x12, 0x34}));
    MemoryWatch("HexLong").SetValueString(emulator, "$12345678");
    EXPECT_EQ(Written(), (std::vector<uint8_t>{0x12, 0x34, 0x56, 0x78}));
    EXPECT_EQ(emulator.WriteCalls.back().Address, kBank1);
}

TEST_F(WatchWrite, WrittenValueReadsBackTheSame) {
    for (const std::string display : {"HexByte", "HexWord", "HexLong"}) {
        for (bool little : {true, false}) {
            watch.LittleEndian = little;
            MemoryWatch(display).SetValueString(emulator, "$89ABCDEF");
            const std::string full = "89ABCDEF";
            const std::size_t digits = display == "HexByte" ? 2 : display == "HexWord" ? 4 : 8;
            EXPECT_EQ(watch.ValueString(emulator), "$" + full.substr(8 - digits))
                << display << (little ? " little" : " big");
        }
    }
}

TEST_F(WatchWrite, NegativeValuesWriteTheirTwosComplementBytes) {
    MemoryWatch("DecLong").SetValueString(emulator, "-2");
    EXPECT_EQ(Written(), (std::vector<uint8_t>{0xFE, 0xFF, 0xFF, 0xFF}));
    MemoryWatch("DecWord").SetValueString(emulator, "-1");
    EXPECT_EQ(Written(), (std::vector<uint8_t>{0xFF, 0xFF}));
}

TEST_F(WatchWrite, ValuesWiderThanTheLocationAreCutToIt) {
    MemoryWatch("HexByte").SetValueString(emulator, "300");
    EXPECT_EQ(Written(), std::vector<uint8_t>{0x2C});
    MemoryWatch("HexWord").SetValueString(emulator, "$12345");
    EXPECT_EQ(Written(), (std::vector<uint8_t>{0x45, 0x23}));
}

TEST_F(WatchWrite, FailedReadStopsTheWriteWithInvalidSet) {
    emulator.MakeUnreadable(kBank1, 1);
    MemoryWatch("HexByte").SetValueString(emulator, "1");
    EXPECT_TRUE(watch.Invalid);
    EXPECT_TRUE(emulator.WriteCalls.empty());
}

TEST_F(WatchWrite, ErrorsOfTheWriteAreIgnoredAndLeaveInvalidFalse) {
    emulator.ThrowOnWrite = true;
    watch.Invalid = true;
    MemoryWatch("HexByte").SetValueString(emulator, "1");
    EXPECT_EQ(emulator.WriteCalls.size(), 1u);
    EXPECT_EQ(emulator.Peek(kBank1), 0);
    EXPECT_FALSE(watch.Invalid);

    emulator.Cpu = CpuState{};
    watch.Location = "R:A";
    EXPECT_NO_THROW(watch.SetValueString(emulator, "1"));
    EXPECT_EQ(emulator.SetCpuStateCalls.size(), 1u);
    EXPECT_FALSE(watch.Invalid);
}

TEST_F(WatchWrite, EmptyLocationWritesNothingAndClearsInvalid) {
    watch.Invalid = true;
    watch.SetValueString(emulator, "5");
    EXPECT_FALSE(watch.Invalid);
    EXPECT_TRUE(emulator.Calls.empty());
}

TEST_F(WatchWrite, RegisterWriteSetsThatOneRegisterOfAFreshSnapshot) {
    emulator.Cpu = CpuState{0x11, 0x22, 0x33, 0xFD, 0x24, 0x8123};
    watch.Location = "R:X";
    watch.SetValueString(emulator, "$42");
    ASSERT_EQ(emulator.SetCpuStateCalls.size(), 1u);
    EXPECT_EQ(emulator.SetCpuStateCalls[0], (CpuState{0x11, 0x42, 0x33, 0xFD, 0x24, 0x8123}));
    EXPECT_EQ(emulator.Calls,
              (std::vector<std::string>{"GetCpuState", "GetCpuState", "SetCpuState"}));

    watch.Location = "R:PC";
    watch.SetValueString(emulator, "$C000");
    EXPECT_EQ(emulator.Cpu->PC, 0xC000);
    EXPECT_FALSE(watch.Invalid);
}

TEST_F(WatchWrite, RegisterBitFieldWriteKeepsTheOtherFlags) {
    emulator.Cpu = CpuState{0, 0, 0, 0xFF, 0b10100010, 0};
    watch.Location = "R:P";
    watch.Mask = 0x01;
    watch.SetValueString(emulator, "1");
    EXPECT_EQ(emulator.Cpu->P, 0b10100011);
}

TEST_F(WatchWrite, RegisterValueIsCutToTheRegistersWidth) {
    emulator.Cpu = CpuState{};
    watch.Location = "R:A";
    watch.SetValueString(emulator, "$1FF");
    EXPECT_EQ(emulator.Cpu->A, 0xFF);
    watch.Location = "R:PC";
    watch.SetValueString(emulator, "$12345");
    EXPECT_EQ(emulator.Cpu->PC, 0x2345);
}

TEST_F(WatchWrite, UnknownRegisterNameHandsTheSnapshotBackUnchanged) {
    emulator.Cpu = CpuState{1, 2, 3, 4, 5, 6};
    watch.Location = "R:Q";
    watch.SetValueString(emulator, "9");
    ASSERT_EQ(emulator.SetCpuStateCalls.size(), 1u);
    EXPECT_EQ(emulator.SetCpuStateCalls[0], (CpuState{1, 2, 3, 4, 5, 6}));
}

TEST_F(WatchWrite, RegisterWithoutCpuStatusIsInvalidAndNotWritten) {
    emulator.Cpu.reset();
    watch.Location = "R:A";
    watch.SetValueString(emulator, "1");
    EXPECT_TRUE(watch.Invalid);
    EXPECT_TRUE(emulator.SetCpuStateCalls.empty());
}

// ---- Display and Access names ---------------------------------------------------------------

TEST(WatchDisplay, NamesAreMatchedWithoutRegardToCase) {
    Watch watch;
    watch.SetDisplay("hexbyte");
    EXPECT_EQ(watch.DisplayFlags, watch_display::kHex | 1);
    EXPECT_EQ(watch.Display(), "HexByte");
    watch.SetDisplay("BINword");
    EXPECT_EQ(watch.DisplayFlags, watch_display::kBin | 2);
    EXPECT_EQ(watch.Display(), "BinWord");
    watch.SetDisplay("DecLONG");
    EXPECT_EQ(watch.Display(), "DecLong");
}

TEST(WatchDisplay, SettingANameClearsTheFlagsFirst) {
    Watch watch;
    watch.DisplayFlags = watch_display::kBin | watch_display::kStrShown | 4;
    watch.SetDisplay("Word");
    EXPECT_EQ(watch.DisplayFlags, 2);
    watch.SetDisplay("");
    EXPECT_EQ(watch.DisplayFlags, 0);
    EXPECT_EQ(watch.Display(), "");
}

TEST(WatchDisplay, FormatsComeBackInBinHexDecOrderThenTheSize) {
    Watch watch;
    watch.SetDisplay("LongDecHexBin");
    EXPECT_EQ(watch.Display(), "BinHexDecLong");
}

TEST(WatchDisplay, TwoSizesAddUpAndNameNoSize) {
    Watch watch;
    watch.SetDisplay("HexByteWord");
    EXPECT_EQ(watch.DisplayFlags & watch_display::kSizeMask, 3);
    EXPECT_EQ(watch.Display(), "Hex");
    watch.SetDisplay("WordLong");
    EXPECT_EQ(watch.DisplayFlags & watch_display::kSizeMask, 6);
    // Each name counts once, however often it stands in the text.
    watch.SetDisplay("ByteByte");
    EXPECT_EQ(watch.DisplayFlags & watch_display::kSizeMask, 1);
}

TEST(WatchDisplay, StrIsSetButNeverNamedBack) {
    Watch watch;
    watch.SetDisplay("StrByte");
    EXPECT_EQ(watch.DisplayFlags, watch_display::kStr | 1);
    EXPECT_EQ(watch.Display(), "Byte");
    watch.DisplayFlags = watch_display::kStrShown | 2;
    EXPECT_EQ(watch.Display(), "StrWord");
}

TEST(WatchAccess, NamesAndFlags) {
    Watch watch;
    EXPECT_EQ(watch.Access(), "ReadWrite");
    watch.SetAccess("read");
    EXPECT_EQ(watch.AccessFlags, 1);
    EXPECT_EQ(watch.Access(), "Read");
    EXPECT_TRUE(watch.IsReadable());
    EXPECT_FALSE(watch.IsWritable());
    watch.SetAccess("WRITE");
    EXPECT_EQ(watch.AccessFlags, 2);
    EXPECT_EQ(watch.Access(), "Write");
    watch.SetAccess("WriteRead");
    EXPECT_EQ(watch.Access(), "ReadWrite");
    watch.SetAccess("");
    EXPECT_EQ(watch.AccessFlags, 0);
    EXPECT_EQ(watch.Access(), "");
}

// ---- AsString -------------------------------------------------------------------------------

TEST(WatchAsString, AllFieldsInOrderSeparatedByNul) {
    Watch watch;
    watch.Title = "Bank";
    watch.Description = "Bank select";
    watch.Location = "00:0010";
    watch.Category = "SFR";
    watch.SetDisplay("HexByte");
    watch.Mask = 0xFF;
    watch.Expanded = true;
    watch.LittleEndian = false;
    watch.SetAccess("Read");
    const std::string nul = Nul();
    EXPECT_EQ(watch.AsString(), "Bank" + nul + "Bank select" + nul + "00:0010" + nul + "SFR" + nul +
                                    "HexByte" + nul + "000000FF" + nul + "True" + nul + "False" +
                                    nul + "False" + nul + "Read");
}

TEST(WatchAsString, DefaultWatchText) {
    const std::string nul = Nul();
    EXPECT_EQ(Watch().AsString(), nul + nul + nul + nul + nul + "FFFFFFFF" + nul + "False" + nul +
                                      "True" + nul + "False" + nul + "ReadWrite");
}

TEST(WatchAsString, RoundTripRebuildsEveryField) {
    Watch original;
    original.Title = "count";
    original.Description = "loop counter";
    original.Location = "02:4010";
    original.Category = "UserWatches";
    original.SetDisplay("BinWord");
    original.Mask = 0x0FF0;
    original.Expanded = true;
    original.LittleEndian = false;
    original.Disabled = true;
    original.SetAccess("Write");

    Watch copy;
    copy.FromString(original.AsString());
    EXPECT_EQ(copy.Title, "count");
    EXPECT_EQ(copy.Description, "loop counter");
    EXPECT_EQ(copy.Location, "02:4010");
    EXPECT_EQ(copy.Category, "UserWatches");
    EXPECT_EQ(copy.DisplayFlags, original.DisplayFlags);
    EXPECT_EQ(copy.Mask, 0x0FF0);
    EXPECT_TRUE(copy.Expanded);
    EXPECT_FALSE(copy.LittleEndian);
    EXPECT_TRUE(copy.Disabled);
    EXPECT_EQ(copy.AccessFlags, watch_access::kWrite);
    EXPECT_EQ(copy.AsString(), original.AsString());
}

TEST(WatchAsString, MaskOfAllOnesAndOfZeroSurvive) {
    Watch watch;
    Watch copy;
    watch.Mask = -1;
    copy.FromString(watch.AsString());
    EXPECT_EQ(copy.Mask, -1);
    watch.Mask = 0;
    copy.FromString(watch.AsString());
    EXPECT_EQ(copy.Mask, 0);
}

TEST(WatchAsString, StrWatchBecomesAPlainSizeWatchAfterOneTrip) {
    Watch watch;
    watch.SetDisplay("StrByte");
    Watch copy;
    copy.FromString(watch.AsString());
    EXPECT_EQ(copy.DisplayFlags, 1);
}

TEST(WatchAsString, FromStringResetsEverythingFirst) {
    Watch watch;
    watch.Title = "old";
    watch.Location = "01:0000";
    watch.Mask = 0x0F;
    watch.Invalid = true;
    watch.Saved = true;
    watch.Expanded = true;
    watch.Children().Add("child", "SFR");

    watch.FromString("new");
    EXPECT_EQ(watch.Title, "new");
    EXPECT_EQ(watch.Location, "");
    EXPECT_EQ(watch.Mask, -1);
    EXPECT_FALSE(watch.Invalid);
    EXPECT_FALSE(watch.Saved);
    EXPECT_FALSE(watch.Expanded);
    EXPECT_TRUE(watch.LittleEndian);
    EXPECT_EQ(watch.AccessFlags, 3);
    EXPECT_FALSE(watch.HasChildren());
}

TEST(WatchAsString, ChildrenAreNotPartOfTheTextAndSharedChildrenStayAtTopLevel) {
    Watches topLevel;
    auto parent = topLevel.Add("PORT", "SFR");
    auto child = topLevel.Add("P0", "SFR");
    parent->Children().AddItem(child);
    EXPECT_EQ(parent->AsString().find("P0"), std::string::npos);

    parent->FromString(parent->AsString());
    EXPECT_FALSE(parent->HasChildren());
    EXPECT_EQ(parent->Children().Count(), 0u);
    EXPECT_EQ(topLevel.Item("P0", "SFR"), child);
    EXPECT_EQ(child.use_count(), 2); // the test's handle and the top-level collection
}

TEST(WatchAsString, BooleanPartsOtherThanTrueOrFalseKeepTheDefault) {
    const std::string nul = Nul();
    Watch watch;
    watch.FromString("t" + nul + nul + nul + nul + "HexByte" + nul + "FF" + nul + "TRUE" + nul +
                     "yes" + nul + "false");
    EXPECT_TRUE(watch.Expanded);
    EXPECT_TRUE(watch.LittleEndian);
    EXPECT_FALSE(watch.Disabled);
    EXPECT_EQ(watch.Mask, 0xFF);
    // No access part: the default stays.
    EXPECT_EQ(watch.AccessFlags, 3);
}

TEST(WatchAsString, EmptyAccessPartMeansNoAccess) {
    Watch watch;
    watch.SetAccess("");
    Watch copy;
    copy.FromString(watch.AsString());
    EXPECT_EQ(copy.AccessFlags, 0);
}

} // namespace
} // namespace bx
