#include "appliance/LoadMap.h"
#include "appliance/Peripherals.h"

#include <gtest/gtest.h>

namespace bx {
namespace {

std::shared_ptr<BuildTarget> Target(const std::string& output) {
    return std::make_shared<BuildTarget>(BuildTarget{output, "", nullptr});
}

TEST(LoadImages, KeysCarryBankAndAddressAndRemoveByNameTakesAllUnplaced) {
    LoadImages images;
    auto rom = Target("demo.rom");
    auto image = images.Add(rom, 0x8000, 0);
    EXPECT_EQ(images.At(0).key, "demo.rom@00:8000");
    EXPECT_EQ(image->Content, rom);
    images.Add(rom, 0x4000, 0x12);
    images.Add(rom, -1, -1);
    images.Add(Target("other.bin"), -1, -1);
    EXPECT_EQ(images.At(1).key, "demo.rom@12:4000");
    EXPECT_EQ(images.At(2).key, "demo.rom@FFFF:FFFFFFFF");
    EXPECT_EQ(images.Item("demo.rom", 0x4000, 0x12), images.At(1).item);
    EXPECT_EQ(images.Item("demo.rom", 0x4000, 0x13), nullptr);
    EXPECT_THROW(images.Add(rom, 0x8000, 0), BxError);

    images.Remove("demo.rom", 0x8000, 0); // by key
    EXPECT_EQ(images.Count(), 3u);
    images.Remove("demo.rom", -1, 0); // by name: every image of that file
    ASSERT_EQ(images.Count(), 1u);
    EXPECT_EQ(images.First()->Content->OutputPath, "other.bin");
}

TEST(ObjMaps, InsertInAddressOrderBehindEqualStartsAndNameTheirBinaries) {
    ObjMaps maps;
    maps.Add("DATA", 0x0200, 0x100);
    maps.Add("ZP", 0x0000, 0x100);
    maps.Add("BSS", 0x0200, 0x80);
    maps.Add("CODE", 0x8000, 0x4000);
    std::vector<std::string> order;
    for (const auto& entry : maps)
        order.push_back(entry.key);
    EXPECT_EQ(order, (std::vector<std::string>{"ZP", "DATA", "BSS", "CODE"}));
    EXPECT_EQ(maps.Item("CODE")->BinFileName("demo"), "demo.bin");
    EXPECT_EQ((ObjMap{"code", 0, 0}).BinFileName("demo"), "demo.bin");
    EXPECT_EQ(maps.Item("DATA")->BinFileName("demo"), "demo_DATA.bin");
    EXPECT_THROW(maps.Add("ZP", 0x10, 1), BxError);
}

TEST(Peripherals, WiresAreKeyedByPeripheralPinsetAndMaskAndRefuseDuplicatesQuietly) {
    Peripherals peripherals;
    auto ui = peripherals.Add("Panel");
    ui->Type = "SimpleUI";
    auto first = ui->Wires.Add(ui, "LED", 0x0F);
    ASSERT_NE(first, nullptr);
    EXPECT_EQ(first->Type, 0) << "a new wire is digital";
    EXPECT_EQ(ui->Wires.At(0).key, "Panel-LED-0000000F");
    EXPECT_NE(ui->Wires.Add(ui, "LED", 0xF0), nullptr) << "one pin set, several masks";
    EXPECT_EQ(ui->Wires.Add(ui, "LED", 0x0F), nullptr);
    EXPECT_EQ(ui->Wires.Count(), 2u);
    EXPECT_EQ(ui->Wires.Item("Panel-LED-0000000F"), first);
    EXPECT_THROW(peripherals.Add("Panel"), BxError);
}

TEST(Views, FirstOfEmptyCollectionsIsNothingAndDisplaysAreKeyedByPeripheral) {
    Views views;
    EXPECT_EQ(views.First(), nullptr);
    auto view = views.Add("Main");
    EXPECT_EQ(view->DisplaySpecs.First(), nullptr);
    auto keypad = std::make_shared<Peripheral>();
    keypad->Name = "Keys";
    auto display = view->DisplaySpecs.Add(keypad);
    EXPECT_EQ(view->DisplaySpecs.Item("Keys"), display);
    EXPECT_EQ(views.First(), view);

    Desktops desktops;
    auto source = desktops.Add("Source", 800.5f, 600);
    source->Windows.Add("frmSource", "0", "0", "1/2", "1", "");
    EXPECT_EQ(desktops.Item("Source")->Windows.Item("frmSource")->Width, "1/2");
    EXPECT_FLOAT_EQ(source->Width, 800.5f);
}

} // namespace
} // namespace bx
