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

TEST_F(WatchValue, MemoryValueTextFollowsFormatSizeMaskAndByteOrder) {
    struct Row {
        std::vector<uint8_t> bytes; // at "01:4000"
        const char* display;
        int32_t mask;
        bool little;
        std::string text;
    };
    const std::string zeros30(30, '0'), dashes31(31, '-'), ones31(31, '1');
    const Row rows[] = {
        {{0x0A, 0, 0, 0}, "HexByte", -1, true, "$0A"},
        {{0x0A, 0, 0, 0}, "HexWord", -1, true, "$000A"},
        {{0x0A, 0, 0, 0}, "HexLong", -1, true, "$0000000A"},
        {{0x12, 0x34}, "Hex", -1, true, ""},         // no byte, word or long size
        {{0x12, 0x34}, "HexByteWord", -1, true, ""}, // sizes add up to 3, no hex width
        {{0x78, 0x56, 0x34, 0x12}, "HexWord", -1, true, "$5678"},
        {{0x78, 0x56, 0x34, 0x12}, "HexLong", -1, true, "$12345678"},
        {{0x78, 0x56, 0x34, 0x12}, "HexWord", -1, false, "$7856"},
        {{0x78, 0x56, 0x34, 0x12}, "HexLong", -1, false, "$78563412"},
        {{0xFF, 0xFF, 0xFF, 0xFF}, "DecByte", -1, true, "255"},
        {{0xFF, 0xFF, 0xFF, 0xFF}, "Word", -1, true, "65535"}, // decimal is the default
        {{0xFF, 0xFF, 0xFF, 0xFF}, "DecLong", -1, true, "-1"}, // longs are signed
        {{0xFF, 0xFF, 0xFF, 0xFF}, "HexLong", -1, true, "$FFFFFFFF"},
        {{0x07, 0x01}, "Dec", -1, true, "7"},            // no size reads one byte
        {{0x41}, "BinHexByte", 0xFF, true, "%01000001"}, // Bin before Hex before Str
        {{0x41}, "HexStrByte", -1, true, "$41"},
        {{0x41}, "StrDecByte", -1, true, "'A'"},
        {{0xA5}, "DecByte", 0xF0, true, "160"}, // a mask selects bits without shifting them
        {{0xA5}, "HexByte", 0x0F, true, "$05"},
        {{0xA5}, "BinByte", 0x0F, true, "%----0101"}, // bits outside the mask are dashes
        {{0xA5}, "BinByte", 0x3C, true, "%--1001--"},
        {{0xA5}, "BinByte", 0, true, "%--------"},
        {{0xA5, 0x00}, "BinWord", 0x0F0F, true, "%----0000----0101"},
        {{0x01, 0, 0, 0x80}, "BinLong", -1, true, "%1" + zeros30 + "1"},
        {{0xFF, 0xFF, 0xFF, 0xFF},
         "BinLong",
         static_cast<int32_t>(0x80000000u),
         true,
         "%1" + dashes31},
        {{0xFF, 0xFF, 0xFF, 0xFF}, "BinLong", 0x7FFFFFFF, true, "%-" + ones31},
        {{0xFF}, "Bin", -1, true, "%"},
        {{0x41, 0x42, 0x43, 0x44}, "StrByte", -1, true, "'A'"}, // the low byte, size times
        {{0x41, 0x42, 0x43, 0x44}, "StrWord", -1, true, "'AA'"},
        {{0x41, 0x42, 0x43, 0x44}, "StrLong", -1, false, "'DDDD'"},
        {{0x41, 0x42, 0x43, 0x44}, "Str", -1, true, "''"},
        {{0xE9}, "StrByte", -1, true, "'\xC3\xA9'"}, // Latin-1 above 127, in UTF-8
    };
    for (const Row& row : rows) {
        SCOPED_TRACE(std::string(row.display) + " -> " + row.text);
        FakeEmulator fresh;
        fresh.Poke(kBank1, row.bytes);
        Watch w;
        w.Location = "01:4000";
        w.SetDisplay(row.display);
        w.Mask = row.mask;
        w.LittleEndian = row.little;
        EXPECT_EQ(w.ValueString(fresh), row.text);
        EXPECT_FALSE(w.Invalid);
    }
}

TEST_F(WatchValue, ReadsGoToBankTimes65536PlusAddressByTheLargerSizeOrOneByte) {
    emulator.Poke(0x28010, {0x5A});
    watch.Location = "02:8010";
    watch.SetDisplay("HexByte");
    EXPECT_EQ(watch.ValueString(emulator), "$5A");
    MemoryWatch("HexByteWord").ValueString(emulator);
    MemoryWatch("Dec").ValueString(emulator);
    EXPECT_EQ(emulator.Calls,
              (std::vector<std::string>{"ReadMemory 00028010 1", "ReadMemory 00014000 2",
                                        "ReadMemory 00014000 1"}));
}

// ---- Masks ----------------------------------------------------------------------------------

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
    // Other formats leave the mask alone.
    MemoryWatch("HexByte", 0x0F).ValueString(emulator);
    EXPECT_EQ(watch.Mask, 0x0F);
}

// ---- Registers ------------------------------------------------------------------------------

TEST_F(WatchValue, RegisterLocationsReadOneFreshCpuStateByTheNameFromTheThirdCharacter) {
    struct Row {
        const char* location;
        const char* display;
        int32_t mask;
        const char* text;
    };
    const Row rows[] = {
        {"R:A", "", -1, "17"},
        {"R:X", "", -1, "34"},
        {"R:Y", "", -1, "51"},
        {"R:S", "", -1, "253"},
        {"R:P", "", -1, "163"},
        {"R:PC", "", -1, "33059"},
        {"RxPC", "HexWord", -1, "$8123"},  // only the first character is looked at
        {"Reg:X", "HexWord", -1, "$0000"}, // the name is "g:X"
        {"R:Q", "", -1, "0"},
        {"R:", "", -1, "0"}, // unknown names read zero
        {"R", "", -1, "0"},
        {"R:a", "", -1, "0"},
        {"R:PCL", "", -1, "0"},
        {"R:P", "BinByte", 0x81, "%1------1"}, // mask and format apply
    };
    for (const Row& row : rows) {
        SCOPED_TRACE(row.location);
        FakeEmulator fresh;
        fresh.Cpu = CpuState{0x11, 0x22, 0x33, 0xFD, 0xA3, 0x8123};
        Watch w;
        w.Location = row.location;
        w.SetDisplay(row.display);
        w.Mask = row.mask;
        EXPECT_EQ(w.ValueString(fresh), row.text);
        EXPECT_FALSE(w.Invalid);
        EXPECT_EQ(fresh.Calls, std::vector<std::string>{"GetCpuState"});
    }
}

// ---- Failed reads ---------------------------------------------------------------------------

TEST_F(WatchValue, EmptyLocationGivesEmptyTextWithoutAskingTheEmulator) {
    watch.Invalid = true;
    watch.SetDisplay("HexByte");
    EXPECT_EQ(watch.ValueString(emulator), "");
    EXPECT_FALSE(watch.Invalid);
    EXPECT_TRUE(emulator.Calls.empty());
}

TEST_F(WatchValue, UnreadableLocationsShowInvalidUntilTheNextSuccessfulRead) {
    struct Row {
        const char* location;
        const char* display;
        void (*setup)(FakeEmulator&);
    };
    const Row rows[] = {
        {"01:4000", "HexWord", [](FakeEmulator& e) { e.MakeUnreadable(kBank1 + 1, 1); }},
        {"05:4000", "HexByte", [](FakeEmulator& e) { e.HighestBank = 1; }},
        {"4000", "HexByte", [](FakeEmulator&) {}}, // no colon: names no memory
        {"01:4000", "HexByte", [](FakeEmulator& e) { e.ThrowOnRead = true; }},
        {"R:A", "", [](FakeEmulator& e) { e.ThrowOnRead = true; }},
        {"R:A", "", [](FakeEmulator& e) { e.Cpu.reset(); }},
    };
    for (const Row& row : rows) {
        SCOPED_TRACE(row.location);
        FakeEmulator fresh;
        fresh.Poke(kBank1, {0x34, 0x12});
        fresh.Cpu = CpuState{};
        row.setup(fresh);
        Watch w;
        w.Location = row.location;
        w.SetDisplay(row.display);
        EXPECT_EQ(w.ValueString(fresh), "Invalid");
        EXPECT_TRUE(w.Invalid);
    }
    // The unreadable word's first byte alone is readable; a register once the status is back.
    emulator.Poke(kBank1, {0x34, 0x12});
    emulator.MakeUnreadable(kBank1 + 1, 1);
    MemoryWatch("HexWord").ValueString(emulator);
    ASSERT_TRUE(watch.Invalid);
    watch.SetDisplay("HexByte");
    EXPECT_EQ(watch.ValueString(emulator), "$34");
    EXPECT_FALSE(watch.Invalid);
    emulator.Cpu.reset();
    watch.Location = "R:A";
    watch.SetDisplay("");
    ASSERT_EQ(watch.ValueString(emulator), "Invalid");
    emulator.Cpu = CpuState{};
    EXPECT_EQ(watch.ValueString(emulator), "0");
    EXPECT_FALSE(watch.Invalid);
}

// ---- Writing back ---------------------------------------------------------------------------

class WatchWrite : public WatchValue {
protected:
    std::vector<uint8_t> Written() const {
        return emulator.WriteCalls.empty() ? std::vector<uint8_t>{}
                                           : emulator.WriteCalls.back().Data;
    }
};

TEST_F(WatchWrite, WrittenBytesFollowMaskSizeAndByteOrder) {
    struct Row {
        const char* display;
        int32_t mask;
        bool little;
        const char* text;
        std::vector<uint8_t> written; // over 0xA5 at "01:4000"
    };
    const Row rows[] = {
        {"HexByte", 0x0F, true, "3", {0xA3}},         // bits outside the mask are kept
        {"BinByte", 0xF0, true, "$FF", {0xF5}},       // typed bits outside the mask are dropped
        {"HexByte", 0xF0, true, "abc", {0x05}},       // refused text writes zero under the mask
        {"BinByte", 0x0F, true, "%00001100", {0xAC}}, // the editors' dashes turned into zeros
        {"HexByte", -1, true, "$1F", {0x1F}},         // every number form of the reader
        {"HexByte", -1, true, "%1010", {0x0A}},
        {"HexByte", -1, true, "12", {12}},
        {"HexByte", -1, true, "12.5", {12}},
        {"HexByte", -1, true, "&H7E", {0x7E}},
        {"HexByte", -1, true, "$01:20", {0x20}},
        {"HexWord", -1, true, "$1234", {0x34, 0x12}},
        {"HexLong", -1, true, "$12345678", {0x78, 0x56, 0x34, 0x12}},
        {"HexWord", -1, false, "$1234", {0x12, 0x34}},
        {"HexLong", -1, false, "$12345678", {0x12, 0x34, 0x56, 0x78}},
        {"DecLong", -1, true, "-2", {0xFE, 0xFF, 0xFF, 0xFF}}, // two's complement
        {"DecWord", -1, true, "-1", {0xFF, 0xFF}},
        {"HexByte", -1, true, "300", {0x2C}}, // cut to the location's width
        {"HexWord", -1, true, "$12345", {0x45, 0x23}},
    };
    for (const Row& row : rows) {
        SCOPED_TRACE(std::string(row.display) + " <- " + row.text);
        FakeEmulator fresh;
        fresh.Poke(kBank1, {0xA5});
        Watch w;
        w.Location = "01:4000";
        w.SetDisplay(row.display);
        w.Mask = row.mask;
        w.LittleEndian = row.little;
        w.SetValueString(fresh, row.text);
        ASSERT_EQ(fresh.WriteCalls.size(), 1u);
        EXPECT_EQ(fresh.WriteCalls[0].Address, kBank1);
        EXPECT_EQ(fresh.WriteCalls[0].Data, row.written);
        EXPECT_FALSE(w.Invalid);
    }
}

TEST_F(WatchWrite, TheCurrentValueIsReadFirstAndAWrittenValueReadsBackTheSame) {
    MemoryWatch("HexByte", 0x0F).SetValueString(emulator, "3");
    EXPECT_EQ(emulator.Calls,
              (std::vector<std::string>{"ReadMemory 00014000 1", "WriteMemory 00014000 1"}));
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

TEST_F(WatchWrite, FailedReadOfMemoryOrRegistersStopsTheWriteWithInvalidSet) {
    emulator.MakeUnreadable(kBank1, 1);
    MemoryWatch("HexByte").SetValueString(emulator, "1");
    EXPECT_TRUE(watch.Invalid);
    EXPECT_TRUE(emulator.WriteCalls.empty());
    watch.Location = "R:A";
    watch.Invalid = false;
    emulator.Cpu.reset();
    watch.SetValueString(emulator, "1");
    EXPECT_TRUE(watch.Invalid);
    EXPECT_TRUE(emulator.SetCpuStateCalls.empty());
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

TEST_F(WatchWrite, RegisterWriteChangesOnlyThatRegisterCutToItsWidthUnderTheMask) {
    const CpuState before{0x11, 0x22, 0x33, 0xFD, 0x24, 0x8123};
    struct Row {
        const char* location;
        int32_t mask;
        const char* text;
        CpuState after;
    };
    const Row rows[] = {
        {"R:X", -1, "$42", {0x11, 0x42, 0x33, 0xFD, 0x24, 0x8123}},
        {"R:PC", -1, "$C000", {0x11, 0x22, 0x33, 0xFD, 0x24, 0xC000}},
        {"R:A", -1, "$1FF", {0xFF, 0x22, 0x33, 0xFD, 0x24, 0x8123}},
        {"R:PC", -1, "$12345", {0x11, 0x22, 0x33, 0xFD, 0x24, 0x2345}},
        {"R:P", 0x01, "1", {0x11, 0x22, 0x33, 0xFD, 0x25, 0x8123}}, // other flags kept
        {"R:Q", -1, "9", before}, // an unknown name hands the snapshot back unchanged
    };
    for (const Row& row : rows) {
        SCOPED_TRACE(std::string(row.location) + " <- " + row.text);
        FakeEmulator fresh;
        fresh.Cpu = before;
        Watch w;
        w.Location = row.location;
        w.Mask = row.mask;
        w.SetValueString(fresh, row.text);
        ASSERT_EQ(fresh.SetCpuStateCalls.size(), 1u);
        EXPECT_EQ(fresh.SetCpuStateCalls[0], row.after);
        EXPECT_EQ(fresh.Calls,
                  (std::vector<std::string>{"GetCpuState", "GetCpuState", "SetCpuState"}));
        EXPECT_FALSE(w.Invalid);
    }
}

// ---- Display and Access names ---------------------------------------------------------------

TEST(WatchDisplay, NamesAreMatchedWithoutCaseAndComeBackInBinHexDecOrderThenTheSize) {
    using namespace watch_display;
    struct Row {
        const char* name;
        int32_t flags;
        const char* display;
    };
    const Row rows[] = {
        {"hexbyte", kHex | kByte, "HexByte"},
        {"BINword", kBin | kWord, "BinWord"},
        {"DecLONG", kDec | kLong, "DecLong"},
        {"LongDecHexBin", kBin | kHex | kDec | kLong, "BinHexDecLong"},
        {"Word", kWord, "Word"},
        {"", 0, ""},
        {"HexByteWord", kHex | 3, "Hex"}, // two sizes add up and name no size
        {"WordLong", 6, ""},
        {"ByteByte", kByte, "Byte"},       // each name counts once
        {"StrByte", kStr | kByte, "Byte"}, // Str is set but never named back
    };
    for (const Row& row : rows) {
        SCOPED_TRACE(row.name);
        Watch watch;
        watch.DisplayFlags = kBin | kStrShown | kLong; // setting a name clears the flags first
        watch.SetDisplay(row.name);
        EXPECT_EQ(watch.DisplayFlags, row.flags);
        EXPECT_EQ(watch.Display(), row.display);
    }
    Watch watch;
    watch.DisplayFlags = kStrShown | kWord;
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

TEST(WatchAsString, RoundTripRebuildsEveryFieldButTheStrFlag) {
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
    // Every field differs from its default, so equal texts mean every field came back.
    Watch copy;
    copy.FromString(original.AsString());
    EXPECT_EQ(copy.AsString(), original.AsString());
    EXPECT_EQ(copy.DisplayFlags, original.DisplayFlags);
    // Edge values: masks of all ones and zero, no access; a Str watch comes back a plain size.
    for (int32_t mask : {-1, 0}) {
        original.Mask = mask;
        copy.FromString(original.AsString());
        EXPECT_EQ(copy.Mask, mask);
    }
    original.SetAccess("");
    original.SetDisplay("StrByte");
    copy.FromString(original.AsString());
    EXPECT_EQ(copy.AccessFlags, 0);
    EXPECT_EQ(copy.DisplayFlags, watch_display::kByte);
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

} // namespace
} // namespace bx
