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
        symbols = std::make_shared<Watches>();
        for (const auto& [name, location] : {std::pair<const char*, const char*>{"key", "00:0012"},
                                             {"buf", "01:2000"},
                                             {"bad", "zz"}}) {
            auto symbol = symbols->Add(name, "Symbol");
            symbol->Location = location;
        }
        list.SetAppliance(&appliance);
        list.SetSymbolList(symbols);
    }

    std::vector<std::string> Titles() const {
        std::vector<std::string> titles;
        for (const WatchRow& row : list.Rows())
            titles.push_back(row.Text);
        return titles;
    }

    Appliance appliance;
    std::shared_ptr<Watches> symbols;
    FakeEmulator emulator;
    WatchList list;
};

TEST_F(WatchListTest, LocationsComeFromTheSymbolListByNameOrElement) {
    const std::pair<const char*, const char*> rows[] = {
        {"key", "00:0012"}, {"buf[3]", "01:2003"}, {"buf[$10]", "01:2010"}, {"buf[x]", ""},
        {"nope", ""},       {"nope[1]", ""},       {"bad[1]", "00:0001"}};
    for (const auto& [name, location] : rows)
        EXPECT_EQ(list.EvalLocation(name), location) << name;
}

TEST_F(WatchListTest, AddedWatchStandsInTheGroupAndTheApplianceAndShowsQuestionMarks) {
    EXPECT_FALSE(appliance.IsDirty());
    ASSERT_TRUE(list.AddWatch("key", WatchFormat::Hex, WatchList::kByte));
    ASSERT_TRUE(list.AddWatch("buf[3]", WatchFormat::Bin, WatchList::kWord));
    EXPECT_TRUE(appliance.IsDirty());
    ASSERT_EQ(list.Rows().size(), 2u);
    EXPECT_EQ(list.Rows()[0].Value, "??");
    EXPECT_EQ(list.Rows()[1].Location, "01:2003");

    const std::shared_ptr<Watch> key = appliance.Watches().Item("key", "UserWatches");
    ASSERT_TRUE(key);
    EXPECT_EQ(key->Location, "00:0012");
    EXPECT_EQ(key->Display(), "HexByte");
    EXPECT_EQ(key->Mask, 255);
    EXPECT_EQ(appliance.Watches().Item("buf[3]", "UserWatches")->Display(), "BinWord");
    EXPECT_EQ(appliance.Watches().Item("", "UserWatches")->Children().Count(), 2u);

    // The same name twice is refused and leaves one row.
    EXPECT_FALSE(list.AddWatch("key", WatchFormat::Dec, WatchList::kLong));
    EXPECT_EQ(list.Rows().size(), 2u);

    // A kept watch comes back with the appliance, and a new build places it anew.
    WatchList again;
    again.SetAppliance(&appliance);
    ASSERT_EQ(again.Rows().size(), 2u);
    symbols->Item("buf", "Symbol")->Location = "02:3000";
    again.SetSymbolList(symbols);
    EXPECT_EQ(again.Rows()[1].Location, "02:3003");
}

TEST_F(WatchListTest, RefreshShowsValuesAndMarksTheOnesThatChanged) {
    list.AddWatch("key", WatchFormat::Hex, WatchList::kByte);
    list.AddWatch("nope", WatchFormat::Dec, WatchList::kByte); // no location: no value
    emulator.Poke(0x12, {0x41});
    list.Refresh(&emulator);
    EXPECT_EQ(list.Rows()[0].Value, "$41");
    EXPECT_FALSE(list.Rows()[0].Changed);
    EXPECT_EQ(list.Rows()[1].Value, "??");

    emulator.Poke(0x12, {0x42});
    list.Refresh(&emulator);
    EXPECT_EQ(list.Rows()[0].Value, "$42");
    EXPECT_TRUE(list.Rows()[0].Changed);
    list.Refresh(&emulator);
    EXPECT_FALSE(list.Rows()[0].Changed);

    list.Refresh(nullptr);
    EXPECT_EQ(list.Rows()[0].Value, "Invalid");
}

TEST_F(WatchListTest, CommitWritesTheTypedValueOfAWatchThatReads) {
    list.AddWatch("key", WatchFormat::Bin, WatchList::kByte);
    list.AddWatch("nope", WatchFormat::Dec, WatchList::kByte);
    emulator.Poke(0x12, {0xF0});
    // A binary form with dashes: each "-" is a "0".
    EXPECT_TRUE(list.CommitValue(0, "%1-1-", emulator));
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
    list.SortBy(0);
    EXPECT_EQ(Titles(), (std::vector<std::string>{"A", "b", "key"}));
    list.SortBy(0);
    EXPECT_EQ(Titles(), (std::vector<std::string>{"key", "b", "A"}));
    list.SortBy(1); // by address: the empty ones first
    EXPECT_EQ(Titles().back(), "key");

    ASSERT_TRUE(list.ReplaceWatch(2, "buf[1]", WatchFormat::Dec, WatchList::kWord));
    EXPECT_EQ(appliance.Watches().Item("key", "UserWatches"), nullptr);
    EXPECT_TRUE(appliance.Watches().Item("buf[1]", "UserWatches"));
    list.RemoveWatch(0);
    EXPECT_EQ(list.Rows().size(), 2u);
    EXPECT_EQ(appliance.Watches().Item("", "UserWatches")->Children().Count(), 2u);
}

TEST(WatchNameFormat, OnlyDigitsMayStandBetweenTheBrackets) {
    const std::pair<const char*, bool> rows[] = {{"key", true},      {"buf[3]", true},
                                                 {"buf[12]", true},  {"buf[x]", false},
                                                 {"buf[$3]", false}, {"buf[3", true}};
    for (const auto& [name, valid] : rows)
        EXPECT_EQ(WatchList::NameFormatIsValid(name), valid) << name;
}

} // namespace
} // namespace bx
