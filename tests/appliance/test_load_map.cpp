#include "appliance/Appliance.h"
#include "foundation/Error.h"

#include <gtest/gtest.h>
#include <string>
#include <vector>

namespace bx {
namespace {

using Keys = std::vector<std::string>;

Keys LoadKeys(Appliance& appliance) {
    Keys keys;
    for (const auto& entry : appliance.LoadImages())
        keys.push_back(entry.key);
    return keys;
}

// ---- Placing images ----------------------------------------------------------------------------

TEST(LabelLoadAddr, AWaitingImageTakesItsPlaceAndKeepsItsContent) {
    Appliance appliance;
    auto product = appliance.AddBuildStep("x.bin", "link", "a.obj");
    ASSERT_EQ(LoadKeys(appliance), Keys{"x.bin@FFFF:FFFFFFFF"});

    appliance.LabelLoadAddr("x.bin", 2, 1, 0x4000, 100);
    ASSERT_EQ(LoadKeys(appliance), Keys{"x.bin@01:4000"});
    auto image = appliance.LoadImages().First();
    EXPECT_EQ(image->Content, product);
    EXPECT_EQ(image->Offset, 2);
    EXPECT_EQ(image->Bank, 1);
    EXPECT_EQ(image->Start, 0x4000);
    EXPECT_EQ(image->Size, 100);
}

TEST(LabelLoadAddr, ANameTheGraphDoesNotKnowBecomesAnEmptyTarget) {
    Appliance appliance;
    appliance.LabelLoadAddr("font.bin", 0, 0, 0x8000, 64);
    auto target = appliance.BuildTargets().Item("font.bin");
    ASSERT_NE(target, nullptr);
    EXPECT_EQ(target->Make, "");
    EXPECT_EQ(target->Sources, nullptr);
    EXPECT_EQ(appliance.LoadImages().First()->Content, target);
    EXPECT_TRUE(appliance.IsDirty());
}

TEST(LabelLoadAddr, APlacedImageCanBePlacedOnceMoreElsewhere) {
    Appliance appliance;
    appliance.LabelLoadAddr("tbl.bin", 0, 0, 0x8000, 16);
    appliance.LabelLoadAddr("tbl.bin", 16, 3, 0x4000, 16);
    EXPECT_EQ(LoadKeys(appliance), (Keys{"tbl.bin@00:8000", "tbl.bin@03:4000"}));
    EXPECT_EQ(appliance.LoadImages().At(0).item->Content,
              appliance.LoadImages().At(1).item->Content);
}

TEST(LabelLoadAddr, PlacingAWaitingImageTakesEveryEntryOfItsNameAway) {
    Appliance appliance;
    appliance.LabelLoadAddr("tbl.bin", 0, 0, 0x8000, 16);
    appliance.LoadImages().Add(appliance.BuildTargets().Item("tbl.bin"), -1, -1);
    appliance.LabelLoadAddr("other.bin", 0, 0, 0x9000, 16);
    appliance.LabelLoadAddr("tbl.bin", 0, 2, 0x4000, 16);
    EXPECT_EQ(LoadKeys(appliance), (Keys{"other.bin@00:9000", "tbl.bin@02:4000"}));
}

TEST(LabelLoadAddr, ASecondImageUnderTheSameKeyIsTheDuplicateKeyErrorAndLeavesTheCursor) {
    Appliance appliance;
    appliance.LabelLoadAddr("a.bin", 0, 0, 0x8000, 16);
    const int32_t bank = appliance.NextBank;
    const int32_t address = appliance.NextAddress;
    try {
        appliance.LabelLoadAddr("a.bin", 4, 0, 0x8000, 32);
        FAIL() << "a taken key must be refused";
    } catch (const BxError& error) {
        EXPECT_EQ(error.Number, errors::kDuplicateKey);
    }
    EXPECT_EQ(appliance.NextBank, bank);
    EXPECT_EQ(appliance.NextAddress, address);
    ASSERT_EQ(appliance.LoadImages().Count(), 1u);
    EXPECT_EQ(appliance.LoadImages().First()->Size, 16) << "the first item is left as it was";
}

// ---- The placement cursor ----------------------------------------------------------------------

class PlacementCursor : public ::testing::Test {
protected:
    Appliance appliance;
    void SetUp() override {
        appliance.Title = "Demo";
        appliance.BankStart = 0x4000;
        appliance.BankSize = 0x4000;
        appliance.NextBank = 0;
        appliance.NextAddress = 0x4000;
    }
};

TEST_F(PlacementCursor, MovesOnByTheSizeAcrossTheBankBoundary) {
    appliance.LabelLoadAddr("big.bin", 0, 0, 0x4000, 20000);
    // T = 0x4000 - 0x4000 + 20000 = 20000: one bank on, 20000 - 16384 into the window.
    EXPECT_EQ(appliance.NextBank, 1);
    EXPECT_EQ(appliance.NextAddress, 20000 - 16384 + 16384);
}

TEST_F(PlacementCursor, CountsFromItsOwnValueNotFromThePlacedAddress) {
    appliance.LabelLoadAddr("a.bin", 0, 5, 0x7000, 0x100);
    appliance.LabelLoadAddr("b.bin", 0, 6, 0x5000, 0x200);
    EXPECT_EQ(appliance.NextBank, 0);
    EXPECT_EQ(appliance.NextAddress, 0x4300);
    appliance.LabelLoadAddr("c.bin", 0, 0, 0x4300, 3 * 0x4000 - 0x300);
    EXPECT_EQ(appliance.NextBank, 3);
    EXPECT_EQ(appliance.NextAddress, 0x4000);
}

TEST_F(PlacementCursor, TheAppliancesOwnRomInAnyCaseLeavesItWhereItIs) {
    for (const char* name : {"Demo.rom", "DEMO.ROM", "demo.Rom"}) {
        appliance.LabelLoadAddr(name, 0, 0, 0x8000, 0x8000);
        EXPECT_EQ(appliance.NextBank, 0) << name;
        EXPECT_EQ(appliance.NextAddress, 0x4000) << name;
    }
    appliance.LabelLoadAddr("Demo.rom.bak", 0, 0, 0x8000, 0x10);
    EXPECT_EQ(appliance.NextAddress, 0x4010) << "only the exact name is the own ROM";
}

TEST_F(PlacementCursor, AZeroBankSizeIsADivisionErrorAfterTheImageIsPlaced) {
    appliance.BankSize = 0;
    try {
        appliance.LabelLoadAddr("a.bin", 0, 1, 0x4000, 16);
        FAIL() << "a bank size of 0 can't move the cursor";
    } catch (const BxError& error) {
        EXPECT_EQ(error.Number, 11);
        EXPECT_EQ(error.Source, "Appliance Object");
        EXPECT_EQ(error.Description, "Division by zero");
    }
    EXPECT_EQ(LoadKeys(appliance), Keys{"a.bin@01:4000"});
    EXPECT_EQ(appliance.NextAddress, 0x4000);
    EXPECT_NO_THROW(appliance.LabelLoadAddr("demo.rom", 0, 0, 0x8000, 16))
        << "the own ROM never divides";
}

// ---- Removing images ---------------------------------------------------------------------------

TEST(RemoveLoadItem, ByPlaceTakesOneImageAndThenTheStep) {
    Appliance appliance;
    appliance.LabelLoadAddr("tbl.bin", 0, 0, 0x8000, 16);
    appliance.LabelLoadAddr("tbl.bin", 0, 1, 0x4000, 16);
    appliance.LabelLoadAddr("keep.bin", 0, 1, 0x5000, 16);
    appliance.RemoveLoadItem("tbl.bin", 0x8000, 0);
    EXPECT_EQ(LoadKeys(appliance), (Keys{"tbl.bin@01:4000", "keep.bin@01:5000"}));
    EXPECT_EQ(appliance.BuildTargets().Item("tbl.bin"), nullptr);
    EXPECT_NE(appliance.BuildTargets().Item("keep.bin"), nullptr);
}

TEST(RemoveLoadItem, WithMinusOneTakesEveryImageOfTheName) {
    Appliance appliance;
    appliance.LabelLoadAddr("tbl.bin", 0, 0, 0x8000, 16);
    appliance.LabelLoadAddr("tbl.bin", 0, 1, 0x4000, 16);
    appliance.LabelLoadAddr("keep.bin", 0, 1, 0x5000, 16);
    appliance.RemoveLoadItem("tbl.bin", -1, 1);
    EXPECT_EQ(LoadKeys(appliance), Keys{"keep.bin@01:5000"});
    appliance.RemoveLoadItem("keep.bin", 0x5000, -1);
    EXPECT_TRUE(appliance.LoadImages().Empty());
    EXPECT_TRUE(appliance.BuildTargets().Empty());
}

TEST(RemoveLoadItem, AProductGoesAndItsSourcesBecomeLoadable) {
    Appliance appliance;
    appliance.AddBuildStep("x.bin", "link", "a.obj");
    appliance.AddBuildStep("x.bin", "link", "b.obj");
    appliance.RemoveLoadItem("x.bin", -1, -1);
    EXPECT_EQ(LoadKeys(appliance), (Keys{"a.obj@FFFF:FFFFFFFF", "b.obj@FFFF:FFFFFFFF"}));
    EXPECT_EQ(appliance.BuildTargets().Item("x.bin"), nullptr);
    EXPECT_TRUE(appliance.IsDirty());
}

} // namespace
} // namespace bx
