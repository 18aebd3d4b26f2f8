// Peripherals and their wires: the keys, who owns whom, and the NUL-separated text a wire
// travels in between the appliance editor's rows and the model.
#include "appliance/Appliance.h"

#include <gtest/gtest.h>
#include <initializer_list>
#include <string>

namespace bx {
namespace {

// The fields, each followed by one NUL character.
std::string Fields(std::initializer_list<std::string> fields) {
    std::string text;
    for (const auto& field : fields)
        text += field + '\0';
    return text;
}

TEST(Peripherals, WiresAreKeyedByPinsetAndMaskAndDoNotKeepTheirPeripheralAlive) {
    std::weak_ptr<Peripheral> watched;
    {
        Peripherals peripherals;
        auto panel = peripherals.Add("Panel");
        auto first = panel->Wires.Add(panel, "LED", 0x0F);
        EXPECT_EQ(first->Type, 0) << "a new wire is digital";
        EXPECT_NE(panel->Wires.Add(panel, "LED", 0xF0), nullptr) << "one pin set, two masks";
        EXPECT_EQ(panel->Wires.Add(panel, "LED", 0x0F), nullptr) << "refused quietly";
        EXPECT_EQ(panel->Wires.Item("Panel-LED-0000000F"), first);
        EXPECT_THROW(peripherals.Add("Panel"), BxError);
        watched = panel;
    }
    EXPECT_TRUE(watched.expired());
}

// Each row: the text read into a wire that held `before`, whether reading got every field,
// and the wire's text afterwards. A short text keeps the fields read so far; only the exact
// words choose analog, inbound and disconnected.
TEST(WireText, ReadingStopsAtTheFirstMissingFieldAndTakesOnlyExactWords) {
    Appliance appliance;
    appliance.Peripherals().Add("Panel");
    appliance.Peripherals().Add("Beeper");
    const std::string before =
        Fields({"Beeper", "old", "00000007", "old", "00000007", "Analog", "Inbound", "False"});
    const struct {
        const char* name;
        std::string text;
        bool complete;
        std::string after;
    } rows[] = {
        {"unknown peripheral",
         Fields({"Nobody", "LED", "0000000F", "P1", "00000001", "Digital", "Inbound", "True"}),
         false, Fields({"", "old", "00000007", "old", "00000007", "Analog", "Inbound", "False"})},
        {"short text", Fields({"Panel", "Button", "FF"}), false,
         Fields({"Panel", "Button", "000000FF", "old", "00000007", "Analog", "Inbound", "False"})},
        {"empty text", "", false, before},
        {"inexact words and masks without a hex digit",
         Fields({"Panel", "LED", "zz", "P0", "", "analog", "inbound", "false"}), true,
         Fields({"Panel", "LED", "00000000", "P0", "00000000", "Digital", "Outbound", "True"})},
        {"the last NUL missing, the widest masks",
         Fields({"Panel", "LED", "80000000", "P0", "ffffffff", "Analog", "Inbound"}) + "False",
         true,
         Fields({"Panel", "LED", "80000000", "P0", "FFFFFFFF", "Analog", "Inbound", "False"})},
    };
    for (const auto& row : rows) {
        Wire wire;
        ASSERT_TRUE(wire.FromString(appliance, before));
        EXPECT_EQ(wire.FromString(appliance, row.text), row.complete) << row.name;
        EXPECT_EQ(wire.AsString(), row.after) << row.name;
    }
    // A wire whose peripheral is gone reads as one without.
    Wire orphan;
    orphan.Peripheral = std::make_shared<Peripheral>();
    EXPECT_EQ(orphan.AsString(),
              Fields({"", "", "00000000", "", "00000000", "Digital", "Inbound", "False"}));
}

} // namespace
} // namespace bx
