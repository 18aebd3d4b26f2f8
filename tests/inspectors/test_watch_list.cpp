// The watch window's model: the rows of the appliance's "UserWatches" group, locations from the
// symbol list (plain names and "name[n]"), adding, replacing and removing watches, the values
// and the dark red of a change, the in-place commit, sorting, and the name format check.

#include "appliance/Appliance.h"
#include "inspectors/Watch.h"
#include "inspectors/WatchList.h"
#include "support/FakeEmulator.h"

#include <gtest/gtest.h>

namespace bx {
namespace {

using test::FakeEmulator;

class WatchListTest : public ::testing::Test {
protected:
    WatchListTest() {
        for (const auto& [name, location] : {std::pair<const char*, const char*>{"key", "00:0012"},
                                             {"buf", "01:2000"},
                                             {"bad", "zz"}})
            symbols->Add(name, "Symbol")->Location = location;
        list.SetAppliance(&appliance);
        list.SetSymbolList(symbols);
    }

    // Each row as "title location value", "!" behind a value that changed.
    std::vector<std::string> Shown() const {
        std::vector<std::string> rows;
        for (const WatchRow& row : list.Rows())
            rows.push_back(row.Text + " " + row.Location + " " + row.Value +
                           (row.Changed ? "!" : ""));
        return rows;
    }
    std::size_t GroupSize() {
        return appliance.Watches().Item("", "UserWatches")->Children().Count();
    }

    Appliance appliance;
    std::shared_ptr<Watches> symbols = std::make_shared<Watches>();
    FakeEmulator emulator;
    WatchList list;
};

TEST_F(WatchListTest, LocationsComeFromTheSymbolListByNameOrElementInAValidName) {
    const std::tuple<const char*, const char*, bool> rows[] = {
        {"key", "00:0012", true},       {"buf[3]", "01:2003", true}, {"buf[12]", "01:200C", true},
        {"buf[$10]", "01:2010", false}, {"buf[x]", "", false},       {"nope", "", true},
        {"nope[1]", "", true},          {"bad[1]", "00:0001", true}, {"buf[3", "", true}};
    for (const auto& [name, location, valid] : rows) {
        EXPECT_EQ(list.EvalLocation(name), location) << name;
        EXPECT_EQ(WatchList::NameFormatIsValid(name), valid) << name;
    }
}

TEST_F(WatchListTest, AWatchIsAddedToTheApplianceReadAndMarkedWhenItChanges) {
    ASSERT_TRUE(list.AddWatch("key", WatchFormat::Hex, WatchList::kByte));
    ASSERT_TRUE(list.AddWatch("nope", WatchFormat::Bin, WatchList::kWord)); // no location
    EXPECT_FALSE(list.AddWatch("key", WatchFormat::Dec, WatchList::kLong)) << "a name once";
    EXPECT_TRUE(appliance.IsDirty());
    EXPECT_EQ(GroupSize(), 2u);
    const std::shared_ptr<Watch> key = appliance.Watches().Item("key", "UserWatches");
    EXPECT_EQ(key->Location + " " + key->Display() + " " + std::to_string(key->Mask),
              "00:0012 HexByte 255");
    EXPECT_EQ(appliance.Watches().Item("nope", "UserWatches")->Display(), "BinWord");
    EXPECT_EQ(Shown(), (std::vector<std::string>{"key 00:0012 ??", "nope  ??"}));

    for (uint8_t value : {0x41, 0x42, 0x42}) {
        emulator.Poke(0x12, {value});
        list.Refresh(&emulator);
    }
    EXPECT_EQ(Shown()[0], "key 00:0012 $42") << "the change was one refresh ago";
    emulator.Poke(0x12, {0x43});
    list.Refresh(&emulator);
    EXPECT_EQ(Shown(), (std::vector<std::string>{"key 00:0012 $43!", "nope  ??"}));
    list.Refresh(nullptr);
    EXPECT_EQ(Shown()[0], "key 00:0012 Invalid!");

    // A kept watch comes back with the appliance, and a new build places it anew.
    ASSERT_TRUE(list.AddWatch("buf[3]", WatchFormat::Hex, WatchList::kByte));
    WatchList again;
    again.SetAppliance(&appliance);
    symbols->Item("buf", "Symbol")->Location = "02:3000";
    again.SetSymbolList(symbols);
    EXPECT_EQ(again.Rows()[2].Location, "02:3003");
}

TEST_F(WatchListTest, CommitWritesTheTypedValueOfAWatchThatReads) {
    list.AddWatch("key", WatchFormat::Bin, WatchList::kByte);
    list.AddWatch("nope", WatchFormat::Dec, WatchList::kByte);
    emulator.Poke(0x12, {0xF0});
    EXPECT_TRUE(list.CommitValue(0, "%1-1-", emulator)) << "each \"-\" is a \"0\"";
    EXPECT_EQ(emulator.Peek(0x12), 0x0A);
    EXPECT_FALSE(list.CommitValue(0, "", emulator));
    EXPECT_FALSE(list.CommitValue(1, "5", emulator)); // no location, nothing read
    appliance.Watches().Item("key", "UserWatches")->Disabled = true;
    list.SetAppliance(&appliance);
    EXPECT_FALSE(list.CommitValue(0, "1", emulator));
    EXPECT_EQ(emulator.Peek(0x12), 0x0A);
}

TEST_F(WatchListTest, RemoveReplaceAndSortKeepRowsAndApplianceInStep) {
    for (const char* name : {"b", "key", "A"})
        list.AddWatch(name, WatchFormat::Hex, WatchList::kByte);
    const auto titles = [this] {
        std::string text;
        for (const WatchRow& row : list.Rows())
            text += row.Text + " ";
        return text;
    };
    list.SortBy(0);
    EXPECT_EQ(titles(), "A b key ");
    list.SortBy(0);
    EXPECT_EQ(titles(), "key b A ");
    list.SortBy(1);
    EXPECT_EQ(titles(), "b A key ") << "by address: the empty ones first";

    ASSERT_TRUE(list.ReplaceWatch(2, "buf[1]", WatchFormat::Dec, WatchList::kWord));
    EXPECT_EQ(appliance.Watches().Item("key", "UserWatches"), nullptr);
    EXPECT_TRUE(appliance.Watches().Item("buf[1]", "UserWatches"));
    list.RemoveWatch(0);
    EXPECT_EQ(titles(), "A buf[1] ");
    EXPECT_EQ(GroupSize(), 2u);
}

} // namespace
} // namespace bx
