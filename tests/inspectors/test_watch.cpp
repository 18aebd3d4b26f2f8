// The Watch value model: reading through the emulator, the text forms of each format and size,
// masks, byte order, register locations, writing back, and the text forms that carry a watch
// through list controls and the appliance file; and the keyed collection of watches.

#include "inspectors/Watch.h"
#include "support/FakeEmulator.h"

#include <algorithm>
#include <functional>
#include <gtest/gtest.h>

namespace bx {
namespace {

using test::FakeEmulator;
using Bytes = std::vector<uint8_t>;

constexpr int32_t kBank1 = 0x14000; // "01:4000"

struct TestWatch : Watch {
    TestWatch(const std::string& location, const std::string& display, int32_t mask = -1,
              bool little = true) {
        Location = location;
        SetDisplay(display);
        Mask = mask;
        LittleEndian = little;
    }
};

// The text with each "|" turned into the NUL character that separates the parts.
std::string Parts(std::string text) {
    std::replace(text.begin(), text.end(), '|', '\0');
    return text;
}

// ---- Reading --------------------------------------------------------------------------------

TEST(WatchValue, MemoryValueTextFollowsFormatSizeMaskAndByteOrder) {
    const Bytes word{0x78, 0x56, 0x34, 0x12}, ones{0xFF, 0xFF, 0xFF, 0xFF},
        abcd{0x41, 0x42, 0x43, 0x44};
    const std::string ones31(31, '1');
    // clang-format off
    const std::tuple<Bytes, const char*, int32_t, bool, std::string> rows[] = {
        {{0x0A}, "HexByte", -1, true, "$0A"},
        {word, "Hex", -1, true, ""},            // no byte, word or long size
        {word, "HexByteWord", -1, true, ""},    // sizes add up to 3, no hex width
        {word, "HexWord", -1, true, "$5678"},
        {word, "HexLong", -1, true, "$12345678"},
        {word, "HexWord", -1, false, "$7856"},  // big-endian
        {word, "HexLong", -1, false, "$78563412"},
        {ones, "DecByte", -1, true, "255"},
        {ones, "Word", -1, true, "65535"},      // decimal is the default
        {ones, "DecLong", -1, true, "-1"},      // longs are signed
        {{0x07, 0x01}, "Dec", -1, true, "7"},   // no size reads one byte
        {{0x41}, "BinHexByte", 0xFF, true, "%01000001"}, // Bin before Hex before Str
        {{0x41}, "HexStrByte", -1, true, "$41"},
        {{0x41}, "StrDecByte", -1, true, "'A'"},
        {{0xA5}, "DecByte", 0xF0, true, "160"}, // a mask selects bits without shifting them
        {{0xA5}, "BinByte", 0x3C, true, "%--1001--"}, // bits outside the mask are dashes
        {{0xA5, 0x00}, "BinWord", 0x0F0F, true, "%----0000----0101"},
        {{0x01, 0, 0, 0x80}, "BinLong", -1, true, "%1" + std::string(30, '0') + "1"},
        {ones, "BinLong", 0x7FFFFFFF, true, "%-" + ones31},
        {abcd, "StrWord", -1, true, "'AA'"},    // the low byte, size times
        {abcd, "StrLong", -1, false, "'DDDD'"},
        {{0xE9}, "StrByte", -1, true, "'\xC3\xA9'"}, // Latin-1 above 127, in UTF-8
    };
    // clang-format on
    for (const auto& [bytes, display, mask, little, text] : rows) {
        SCOPED_TRACE(std::string(display) + " -> " + text);
        FakeEmulator emulator;
        emulator.Poke(kBank1, bytes);
        TestWatch watch("01:4000", display, mask, little);
        EXPECT_EQ(watch.ValueString(emulator), text);
        EXPECT_FALSE(watch.Invalid);
    }
    // Reads go to bank * 65536 + address, by the larger size, or one byte without a size.
    FakeEmulator emulator;
    for (const char* display : {"HexByte", "HexByteWord", "Dec"})
        TestWatch("02:8010", display).ValueString(emulator);
    EXPECT_EQ(emulator.Calls,
              (std::vector<std::string>{"ReadMemory 00028010 1", "ReadMemory 00028010 2",
                                        "ReadMemory 00028010 1"}));
}

TEST(WatchValue, BinConsumesTheMaskFieldSoEachShowingUsesAFreshCopy) {
    FakeEmulator emulator;
    emulator.Poke(kBank1, {0xA5, 0x00});
    TestWatch word("01:4000", "BinWord", 0x0F0F), byte("01:4000", "BinByte");
    const std::string record = word.AsString();
    EXPECT_EQ(word.ValueString(emulator), "%----0000----0101");
    EXPECT_EQ(word.ValueString(emulator), "%----------------") << "shown again: mask used up";
    byte.ValueString(emulator);
    EXPECT_EQ(byte.Mask, 0x007FFFFF) << "bit 31 cleared, then shifted right by 8 bits";
    Watch copy;
    copy.FromString(record);
    EXPECT_EQ(copy.ValueString(emulator), "%----0000----0101");
}

TEST(WatchValue, RegisterLocationsReadOneFreshCpuStateByTheNameFromTheThirdCharacter) {
    const std::tuple<const char*, const char*, int32_t, const char*> rows[] = {
        {"R:A", "", -1, "17"},
        {"R:S", "", -1, "253"},
        {"R:PC", "", -1, "33059"},
        {"RxPC", "HexWord", -1, "$8123"},  // only the first character is looked at
        {"Reg:X", "HexWord", -1, "$0000"}, // the name is "g:X": unknown names read zero
        {"R:a", "", -1, "0"},
        {"R:P", "BinByte", 0x81, "%1------1"}, // mask and format apply
    };
    for (const auto& [location, display, mask, text] : rows) {
        SCOPED_TRACE(location);
        FakeEmulator emulator;
        emulator.Cpu = CpuState{0x11, 0x22, 0x33, 0xFD, 0xA3, 0x8123};
        TestWatch watch(location, display, mask);
        EXPECT_EQ(watch.ValueString(emulator), text);
        EXPECT_EQ(emulator.Calls, std::vector<std::string>{"GetCpuState"});
    }
}

TEST(WatchValue, AFailedReadShowsInvalidUntilTheNextReadThatWorks) {
    using Arrange = std::function<void(FakeEmulator&)>;
    const std::tuple<const char*, const char*, Arrange, bool> rows[] = {
        {"01:4000", "HexWord", [](FakeEmulator& e) { e.MakeUnreadable(kBank1 + 1, 1); }, true},
        {"05:4000", "HexByte", [](FakeEmulator&) {}, false}, // banks 0 to 3
        {"4000", "HexByte", [](FakeEmulator&) {}, false},    // no colon: names no memory
        {"01:4000", "HexByte", [](FakeEmulator& e) { e.ThrowOnRead = true; }, true},
        {"R:A", "", [](FakeEmulator& e) { e.Cpu.reset(); }, true},
    };
    for (const auto& [location, display, arrange, recovers] : rows) {
        SCOPED_TRACE(location);
        FakeEmulator failing, working;
        arrange(failing);
        TestWatch watch(location, display);
        EXPECT_EQ(watch.ValueString(failing), "Invalid");
        EXPECT_TRUE(watch.Invalid);
        EXPECT_EQ(watch.ValueString(working) != "Invalid", recovers);
        EXPECT_EQ(watch.Invalid, !recovers);
    }
    FakeEmulator emulator;
    EXPECT_EQ(TestWatch("", "HexByte").ValueString(emulator), "") << "no location";
    EXPECT_TRUE(emulator.Calls.empty());
}

// ---- Writing --------------------------------------------------------------------------------

TEST(WatchWrite, WrittenBytesFollowMaskSizeAndByteOrderAfterAReadOfTheValue) {
    // clang-format off
    const std::tuple<const char*, int32_t, bool, const char*, Bytes> rows[] = { // over 0xA5
        {"HexByte", 0x0F, true, "3", {0xA3}},         // bits outside the mask are kept
        {"BinByte", 0xF0, true, "$FF", {0xF5}},       // typed bits outside the mask are dropped
        {"HexByte", 0xF0, true, "abc", {0x05}},       // refused text writes zero under the mask
        {"BinByte", 0x0F, true, "%00001100", {0xAC}}, // the editors' dashes turned into zeros
        {"HexByte", -1, true, "%1010", {0x0A}},       // the number forms of the reader
        {"HexWord", -1, true, "$1234", {0x34, 0x12}},
        {"HexLong", -1, true, "$12345678", {0x78, 0x56, 0x34, 0x12}},
        {"HexWord", -1, false, "$1234", {0x12, 0x34}},
        {"HexLong", -1, false, "$12345678", {0x12, 0x34, 0x56, 0x78}},
        {"DecLong", -1, true, "-2", {0xFE, 0xFF, 0xFF, 0xFF}}, // two's complement
        {"HexByte", -1, true, "300", {0x2C}},                  // cut to the location's width
        {"HexWord", -1, true, "$12345", {0x45, 0x23}},
    };
    // clang-format on
    for (const auto& [display, mask, little, text, written] : rows) {
        SCOPED_TRACE(std::string(display) + " <- " + text);
        FakeEmulator emulator;
        emulator.Poke(kBank1, {0xA5});
        TestWatch watch("01:4000", display, mask, little);
        watch.SetValueString(emulator, text);
        const std::string size = std::to_string(written.size());
        EXPECT_EQ(emulator.Calls, (std::vector<std::string>{"ReadMemory 00014000 " + size,
                                                            "WriteMemory 00014000 " + size}));
        ASSERT_EQ(emulator.WriteCalls.size(), 1u);
        EXPECT_EQ(emulator.WriteCalls[0].Data, written);
    }
}

TEST(WatchWrite, RegisterWriteChangesOnlyThatRegisterCutToItsWidthUnderTheMask) {
    const CpuState before{0x11, 0x22, 0x33, 0xFD, 0x24, 0x8123};
    const std::tuple<const char*, int32_t, const char*, CpuState> rows[] = {
        {"R:X", -1, "$42", {0x11, 0x42, 0x33, 0xFD, 0x24, 0x8123}},
        {"R:A", -1, "$1FF", {0xFF, 0x22, 0x33, 0xFD, 0x24, 0x8123}},
        {"R:PC", -1, "$12345", {0x11, 0x22, 0x33, 0xFD, 0x24, 0x2345}},
        {"R:P", 0x01, "1", {0x11, 0x22, 0x33, 0xFD, 0x25, 0x8123}}, // other flags kept
        {"R:Q", -1, "9", before}, // an unknown name hands the snapshot back unchanged
    };
    for (const auto& [location, mask, text, after] : rows) {
        SCOPED_TRACE(std::string(location) + " <- " + text);
        FakeEmulator emulator;
        emulator.Cpu = before;
        TestWatch(location, "", mask).SetValueString(emulator, text);
        EXPECT_EQ(emulator.SetCpuStateCalls, std::vector<CpuState>{after});
    }
}

TEST(WatchWrite, AFailedReadStopsTheWriteAndAFailedWriteIsIgnored) {
    const std::tuple<const char*, std::function<void(FakeEmulator&)>, bool, std::size_t> rows[] = {
        {"01:4000", [](FakeEmulator& e) { e.MakeUnreadable(kBank1, 1); }, true, 0},
        {"R:A", [](FakeEmulator& e) { e.Cpu.reset(); }, true, 0},
        {"01:4000", [](FakeEmulator& e) { e.ThrowOnWrite = true; }, false, 1},
        {"R:A", [](FakeEmulator& e) { e.ThrowOnWrite = true; }, false, 1},
        {"", [](FakeEmulator&) {}, false, 0}, // no location: nothing asked
    };
    for (const auto& [location, arrange, invalid, writes] : rows) {
        SCOPED_TRACE(location);
        FakeEmulator emulator;
        arrange(emulator);
        TestWatch watch(location, "HexByte");
        watch.Invalid = !invalid;
        EXPECT_NO_THROW(watch.SetValueString(emulator, "1"));
        EXPECT_EQ(watch.Invalid, invalid);
        EXPECT_EQ(emulator.WriteCalls.size() + emulator.SetCpuStateCalls.size(), writes);
    }
}

// ---- Text forms -----------------------------------------------------------------------------

TEST(WatchText, DisplayAndAccessNamesAreMatchedWithoutCaseAndComeBackInTheirOrder) {
    using namespace watch_display;
    const std::tuple<const char*, int32_t, const char*> displays[] = {
        {"hexbyte", kHex | kByte, "HexByte"},
        {"LongDecHexBin", kBin | kHex | kDec | kLong, "BinHexDecLong"},
        {"", 0, ""},
        {"HexByteWord", kHex | 3, "Hex"},  // two sizes add up and name no size
        {"ByteByte", kByte, "Byte"},       // each name counts once
        {"StrByte", kStr | kByte, "Byte"}, // Str is set but never named back
    };
    for (const auto& [name, flags, display] : displays) {
        Watch watch;
        watch.DisplayFlags = kBin | kStrShown | kLong; // setting a name clears the flags first
        watch.SetDisplay(name);
        EXPECT_EQ(watch.DisplayFlags, flags) << name;
        EXPECT_EQ(watch.Display(), display) << name;
    }
    Watch watch;
    watch.DisplayFlags = kStrShown | kWord;
    EXPECT_EQ(watch.Display(), "StrWord");
    const std::tuple<const char*, int32_t, const char*> accesses[] = {
        {"read", 1, "Read"}, {"WRITE", 2, "Write"}, {"WriteRead", 3, "ReadWrite"}, {"", 0, ""}};
    for (const auto& [name, flags, access] : accesses) {
        watch.SetAccess(name);
        EXPECT_EQ(watch.AccessFlags, flags) << name;
        EXPECT_EQ(watch.Access(), access) << name;
    }
}

TEST(WatchText, AsStringHoldsEveryFieldInOrderAndFromStringRebuildsThemFromTheDefaults) {
    Watch watch;
    EXPECT_EQ(watch.AsString(), Parts("|||||FFFFFFFF|False|True|False|ReadWrite"));
    watch.Title = "count";
    watch.Description = "loop counter";
    watch.Location = "02:4010";
    watch.Category = "UserWatches";
    watch.SetDisplay("BinWord");
    watch.Mask = 0x0FF0;
    watch.Expanded = true;
    watch.LittleEndian = false;
    watch.Disabled = true;
    watch.SetAccess("Write");
    const std::string text =
        Parts("count|loop counter|02:4010|UserWatches|BinWord|00000FF0|True|False|True|Write");
    EXPECT_EQ(watch.AsString(), text);

    // Every field differs from its default, so an equal text means every field came back;
    // children, Invalid and the Saved mark are not part of it and are reset.
    Watch copy;
    copy.Invalid = copy.Saved = true;
    copy.Children().Add("child", "SFR");
    copy.FromString(text);
    EXPECT_EQ(copy.AsString(), text);
    EXPECT_FALSE(copy.Invalid || copy.Saved || copy.HasChildren());
    // Missing parts, and booleans other than True or False, keep the default; a Str watch
    // comes back a plain size.
    copy.FromString(Parts("t||||StrByte|0|TRUE|yes"));
    EXPECT_EQ(copy.AsString(), Parts("t||||Byte|00000000|True|True|False|ReadWrite"));
}

} // namespace
} // namespace bx
