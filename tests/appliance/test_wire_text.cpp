#include "appliance/Appliance.h"

#include <cstdint>
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

class WireText : public ::testing::Test {
protected:
    Appliance appliance;
    std::shared_ptr<Peripheral> panel;
    std::shared_ptr<Peripheral> speaker;

    void SetUp() override {
        panel = appliance.Peripherals().Add("Panel");
        panel->Type = "SimpleUI";
        speaker = appliance.Peripherals().Add("Beeper");
        speaker->Type = "Speaker";
    }
};

TEST_F(WireText, EveryFieldIsFollowedByOneNulAlsoTheLast) {
    Wire wire;
    wire.Peripheral = panel;
    wire.Pinset = "LED";
    wire.PinsetMask = 0x0F;
    wire.Port = "P1";
    wire.PortMask = 0xF0;
    wire.Type = 0;
    wire.Direction = 1;
    wire.IsConnected = true;
    EXPECT_EQ(wire.AsString(), Fields({"Panel", "LED", "0000000F", "P1", "000000F0", "Digital",
                                       "Outbound", "True"}));

    wire.Peripheral = speaker;
    wire.Type = 1;
    wire.Direction = 0;
    wire.IsConnected = false;
    wire.PinsetMask = -1;
    EXPECT_EQ(wire.AsString(), Fields({"Beeper", "LED", "FFFFFFFF", "P1", "000000F0", "Analog",
                                       "Inbound", "False"}));
}

TEST_F(WireText, RoundTripsWithAnyMasksAndEveryKind) {
    const int32_t masks[] = {0,  1,         0x80, 0x7FFFFFFF, static_cast<int32_t>(0x80000000u),
                             -1, 0x12345678};
    for (int32_t pinsetMask : masks) {
        for (int32_t portMask : masks) {
            for (int kind = 0; kind < 8; ++kind) {
                Wire wire;
                wire.Peripheral = kind % 2 ? panel : speaker;
                wire.Pinset = "Row";
                wire.PinsetMask = pinsetMask;
                wire.Port = "P2";
                wire.PortMask = portMask;
                wire.Type = static_cast<int16_t>(kind & 1);
                wire.Direction = static_cast<int16_t>((kind >> 1) & 1);
                wire.IsConnected = (kind & 4) != 0;

                Wire copy;
                ASSERT_TRUE(copy.FromString(appliance, wire.AsString()));
                EXPECT_EQ(copy.Peripheral, wire.Peripheral);
                EXPECT_EQ(copy.Pinset, wire.Pinset);
                EXPECT_EQ(copy.PinsetMask, pinsetMask);
                EXPECT_EQ(copy.Port, wire.Port);
                EXPECT_EQ(copy.PortMask, portMask);
                EXPECT_EQ(copy.Type, wire.Type);
                EXPECT_EQ(copy.Direction, wire.Direction);
                EXPECT_EQ(copy.IsConnected, wire.IsConnected);
                EXPECT_EQ(copy.AsString(), wire.AsString());
            }
        }
    }
}

TEST_F(WireText, AnUnknownPeripheralLeavesItEmptyAndTheRestUntouched) {
    Wire wire;
    wire.Peripheral = panel;
    wire.Pinset = "before";
    wire.PinsetMask = 7;
    EXPECT_FALSE(wire.FromString(appliance, Fields({"Nobody", "LED", "0000000F", "P1", "00000001",
                                                    "Digital", "Inbound", "True"})));
    EXPECT_EQ(wire.Peripheral, nullptr);
    EXPECT_EQ(wire.Pinset, "before");
    EXPECT_EQ(wire.PinsetMask, 7);
}

TEST_F(WireText, AShortTextKeepsTheFieldsReadSoFar) {
    Wire wire;
    wire.Port = "before";
    wire.IsConnected = true;
    EXPECT_FALSE(wire.FromString(appliance, Fields({"Panel", "Button", "FF"})));
    EXPECT_EQ(wire.Peripheral, panel);
    EXPECT_EQ(wire.Pinset, "Button");
    EXPECT_EQ(wire.PinsetMask, 0xFF);
    EXPECT_EQ(wire.Port, "before");
    EXPECT_TRUE(wire.IsConnected);

    Wire untouched;
    untouched.Peripheral = speaker;
    EXPECT_FALSE(untouched.FromString(appliance, ""));
    EXPECT_EQ(untouched.Peripheral, speaker) << "nothing to read, nothing read";
}

TEST_F(WireText, OnlyTheExactWordsChooseAnalogInboundAndDisconnected) {
    Wire wire;
    ASSERT_TRUE(wire.FromString(
        appliance, Fields({"Panel", "LED", "zz", "P0", "", "analog", "inbound", "false"})));
    EXPECT_EQ(wire.PinsetMask, 0) << "a mask with no hex digit reads as 0";
    EXPECT_EQ(wire.PortMask, 0);
    EXPECT_EQ(wire.Type, 0) << "only \"Analog\" is analog";
    EXPECT_EQ(wire.Direction, 1) << "only \"Inbound\" is inbound";
    EXPECT_TRUE(wire.IsConnected) << "only \"False\" disconnects";

    ASSERT_TRUE(wire.FromString(
        appliance, Fields({"Panel", "LED", "f0", "P0", "", "Analog", "Inbound"}) + "False"))
        << "the last NUL may be missing";
    EXPECT_EQ(wire.PinsetMask, 0xF0);
    EXPECT_EQ(wire.Type, 1);
    EXPECT_EQ(wire.Direction, 0);
    EXPECT_FALSE(wire.IsConnected);
}

TEST(WireOwnership, APeripheralWithWiresIsFreedWithItsCollection) {
    std::weak_ptr<Peripheral> watched;
    std::weak_ptr<Wire> wire;
    {
        Peripherals peripherals;
        auto keypad = peripherals.Add("Keys");
        wire = keypad->Wires.Add(keypad, "Row", 0x0F);
        ASSERT_EQ(wire.lock()->Peripheral, keypad);
        EXPECT_EQ(wire.lock()->Peripheral->Name, "Keys");
        watched = keypad;
    }
    EXPECT_TRUE(watched.expired()) << "the wire must not keep its peripheral alive";
    EXPECT_TRUE(wire.expired());
}

TEST(WireOwnership, AWireWhosePeripheralIsGoneReadsAsEmpty) {
    Wire wire;
    {
        auto gone = std::make_shared<Peripheral>();
        gone->Name = "Gone";
        wire.Peripheral = gone;
        EXPECT_TRUE(static_cast<bool>(wire.Peripheral));
    }
    EXPECT_FALSE(static_cast<bool>(wire.Peripheral));
    EXPECT_EQ(wire.Peripheral, nullptr);
    EXPECT_EQ(wire.AsString(),
              Fields({"", "", "00000000", "", "00000000", "Digital", "Inbound", "False"}))
        << "no peripheral, no name";
}

} // namespace
} // namespace bx
