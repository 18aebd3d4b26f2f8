// The load map: the keyed collections of images and segment maps, placing images with the
// placement cursor, and taking them away again with the steps that made them.
#include "appliance/Appliance.h"

#include <gtest/gtest.h>
#include <string>
#include <vector>

namespace bx {
namespace {

using Keys = std::vector<std::string>;

template <class Collection>
Keys KeysOf(const Collection& collection) {
    Keys keys;
    for (const auto& entry : collection)
        keys.push_back(entry.key);
    return keys;
}

TEST(LoadMap, SegmentMapsStandInAddressOrderAndNameTheirBinaries) {
    ObjMaps maps;
    maps.Add("DATA", 0x0200, 0x100);
    maps.Add("ZP", 0x0000, 0x100);
    maps.Add("BSS", 0x0200, 0x80); // behind an equal start
    maps.Add("code", 0x8000, 0x4000);
    EXPECT_EQ(KeysOf(maps), (Keys{"ZP", "DATA", "BSS", "code"}));
    EXPECT_EQ(maps.Item("code")->BinFileName("demo"), "demo.bin");
    EXPECT_EQ(maps.Item("DATA")->BinFileName("demo"), "demo_DATA.bin");
    EXPECT_THROW(maps.Add("ZP", 0x10, 1), BxError);
}

TEST(LoadMap, AnImageTakesItsPlaceWithItsContentAndGoesWithItsStep) {
    Appliance appliance;
    auto product = appliance.AddBuildStep("x.bin", "link", "a.obj");
    ASSERT_EQ(KeysOf(appliance.LoadImages()), Keys{"x.bin@FFFF:FFFFFFFF"}) << "waiting";
    appliance.LabelLoadAddr("x.bin", 2, 1, 0x4000, 100);
    appliance.LabelLoadAddr("x.bin", 16, 3, 0x5000, 16); // once more elsewhere
    EXPECT_EQ(appliance.LoadImages().First()->Content, product);
    EXPECT_EQ(appliance.LoadImages().First()->Offset, 2);
    EXPECT_EQ(appliance.LoadImages().At(1).item->Content, product);

    // A name the graph doesn't know becomes an empty target; placing it while it also waits
    // takes every entry of its name away.
    appliance.LabelLoadAddr("font.bin", 0, 0, 0x8000, 64);
    auto font = appliance.BuildTargets().Item("font.bin");
    ASSERT_NE(font, nullptr);
    EXPECT_TRUE(font->Make.empty() && !font->Sources);
    appliance.LoadImages().Add(font, -1, -1);
    appliance.LabelLoadAddr("font.bin", 0, 2, 0x4000, 16);
    EXPECT_EQ(KeysOf(appliance.LoadImages()),
              (Keys{"x.bin@01:4000", "x.bin@03:5000", "font.bin@02:4000"}));

    // A taken key is the duplicate-key error, and nothing moves.
    const int32_t bank = appliance.NextBank, address = appliance.NextAddress;
    try {
        appliance.LabelLoadAddr("x.bin", 4, 1, 0x4000, 32);
        ADD_FAILURE() << "a taken key must be refused";
    } catch (const BxError& error) {
        EXPECT_EQ(error.Number, errors::kDuplicateKey);
    }
    EXPECT_EQ(appliance.NextBank, bank);
    EXPECT_EQ(appliance.NextAddress, address);
    EXPECT_EQ(appliance.LoadImages().First()->Size, 100);

    // Removing by place takes one image and the step; -1 takes every image of the name, and a
    // product's sources become loadable.
    appliance.RemoveLoadItem("x.bin", 0x4000, 1);
    appliance.RemoveLoadItem("font.bin", -1, 2);
    EXPECT_EQ(KeysOf(appliance.LoadImages()), (Keys{"x.bin@03:5000", "a.obj@FFFF:FFFFFFFF"}));
    EXPECT_EQ(appliance.BuildTargets().Item("x.bin"), nullptr);
    EXPECT_EQ(appliance.BuildTargets().Item("font.bin"), nullptr);
    EXPECT_TRUE(appliance.IsDirty());
}

// The cursor moves on from its own value by the size alone, across bank boundaries; the
// appliance's own ROM (in any case, by its exact name) holds everything and doesn't move it.
TEST(LoadMap, ThePlacementCursorFollowsTheSizes) {
    Appliance appliance;
    appliance.Title = "Demo";
    appliance.NextAddress = 0x4000;
    const struct {
        const char* name;
        int32_t bank, start, size, nextBank, nextAddress;
    } rows[] = {
        {"a.bin", 5, 0x7000, 0x100, 0, 0x4100},
        {"b.bin", 6, 0x5000, 0x200, 0, 0x4300},
        {"Demo.rom", 0, 0x8000, 0x8000, 0, 0x4300},
        {"DEMO.ROM", 1, 0x8000, 0x8000, 0, 0x4300},
        {"Demo.rom.bak", 0, 0x8000, 0x10, 0, 0x4310},
        {"big.bin", 0, 0x4310, 20000, 1, 0x4310 + 20000 - 0x4000},
        {"c.bin", 0, 0x4000, 2 * 0x4000 - 0x1130, 3, 0x4000},
    };
    for (const auto& row : rows) {
        appliance.LabelLoadAddr(row.name, 0, row.bank, row.start, row.size);
        EXPECT_EQ(appliance.NextBank, row.nextBank) << row.name;
        EXPECT_EQ(appliance.NextAddress, row.nextAddress) << row.name;
    }

    appliance.BankSize = 0;
    try {
        appliance.LabelLoadAddr("d.bin", 0, 1, 0x4000, 16);
        ADD_FAILURE() << "a bank size of 0 can't move the cursor";
    } catch (const BxError& error) {
        EXPECT_EQ(error.Number, 11);
        EXPECT_EQ(error.Source, "Appliance Object");
        EXPECT_EQ(error.Description, "Division by zero");
    }
    EXPECT_NE(appliance.LoadImages().Item("d.bin", 0x4000, 1), nullptr) << "placed before";
    EXPECT_NO_THROW(appliance.LabelLoadAddr("demo.rom", 0, 2, 0x8000, 16));
}

} // namespace
} // namespace bx
