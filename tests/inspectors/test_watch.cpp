#include "inspectors/Watch.h"

#include <gtest/gtest.h>

namespace bx {
namespace {

TEST(Watches, KeyIsCategoryCaretTitleAndTakenKeysGiveNothing) {
    Watches watches;
    auto bank = watches.Add("Bank", "SFR");
    ASSERT_NE(bank, nullptr);
    EXPECT_EQ(watches.At(0).key, "SFR^Bank");
    EXPECT_EQ(watches.Add("Bank", "SFR"), nullptr);
    EXPECT_NE(watches.Add("Bank", "UserWatches"), nullptr);
    EXPECT_EQ(watches.Item("Bank", "SFR"), bank);
    EXPECT_EQ(watches.Item("bank", "SFR"), nullptr);
    auto copy = std::make_shared<Watch>();
    copy->Title = "Bank";
    copy->Category = "SFR";
    EXPECT_EQ(watches.AddItem(copy), nullptr);
    watches.Remove("Bank", "SFR");
    EXPECT_EQ(watches.Item("Bank", "SFR"), nullptr);
    EXPECT_EQ(watches.Count(), 1u);
}

TEST(Watches, DefaultsAndSharedChildren) {
    Watch watch;
    EXPECT_EQ(watch.Mask, -1);
    EXPECT_TRUE(watch.LittleEndian);
    EXPECT_TRUE(watch.IsReadable());
    EXPECT_TRUE(watch.IsWritable());
    EXPECT_FALSE(watch.HasChildren());
    watch.AccessFlags = 1;
    EXPECT_FALSE(watch.IsWritable());

    // A child stands at top level and in its parent's children: one object, two collections.
    Watches topLevel;
    auto parent = topLevel.Add("PORT", "SFR");
    auto child = topLevel.Add("P0", "SFR");
    parent->Children().AddItem(child);
    EXPECT_TRUE(parent->HasChildren());
    child->Expanded = true;
    EXPECT_TRUE(parent->Children().Item("P0", "SFR")->Expanded);
}

} // namespace
} // namespace bx
