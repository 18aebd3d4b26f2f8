// The templates' starter program on the simulator, with the devices wired as each template
// appliance wires them: the LEDs light one after the other, and the speaker sounds a tone
// while a key of the keypad is held and rests at the mid level otherwise.
#include "ShippedProgram.h"
#include "appliance/Appliance.h"
#include "platform/FileSystem.h"
#include "platform/Paths.h"
#include "settings/GlobalSettings.h"
#include "sim/KtrBoard.h"
#include "sim/SimDevices.h"
#include "sim/SimHub.h"
#include "support/TestDoubles.h"

#include <gtest/gtest.h>

namespace bx::sim::testing {
namespace {

struct Body {
    const char* model;
    int32_t number;
};

const Body kBodies[] = {{"KTR310", 7}, {"KTR311", 13}, {"KTR640", 24}};

class StarterProgramTest : public ::testing::TestWithParam<Body> {
protected:
    void SetUp() override {
        if (!test::Ca65Available())
            GTEST_SKIP() << test::kCa65Missing;
        const std::string program = platform::FromNativePath(test::BuiltProgramFolder().string());
        ASSERT_TRUE(settings.Load(program + "\\BX.gss"));
        tpl.Settings = &settings;
        const std::string folder = program + "\\Templates\\Sarnova\\" + GetParam().model + "\\";
        ASSERT_TRUE(tpl.Load(folder + GetParam().model + ".tpl"));
        source = platform::ReadFile(folder + "main.asm").value_or("");
        ASSERT_FALSE(source.empty());

        board = std::make_unique<KtrBoard>(GetParam().number);
        board->Emu->AttachHub(hub->HubHandle(), device_id::kEmulator);
        ASSERT_TRUE(ui.Connect(hub->HubHandle(), device_id::kSimpleUI));
        ASSERT_TRUE(keypad.Connect(hub->HubHandle(), device_id::kKeypad));
        ASSERT_TRUE(speaker.Connect(hub->HubHandle(), device_id::kSpeaker));
        // Power-on's wiring, from the template's own wires.
        for (const auto& entry : tpl.Peripherals()) {
            const Peripheral& peripheral = *entry.item;
            for (const auto& parameter : peripheral.Parameters)
                if (peripheral.Type == "Keypad")
                    keypad.SetParameter(parameter.item->Name, parameter.item->Value);
            for (const auto& wire : peripheral.Wires) {
                const Wire& w = *wire.item;
                ASSERT_TRUE(w.IsConnected);
                const int32_t port = board->Emu->GetPortId(w.Port);
                if (peripheral.Type == "Speaker") {
                    ASSERT_EQ(w.Type, 1);
                    ASSERT_TRUE(hub->ConnectAnalog(device_id::kEmulator, port, device_id::kSpeaker,
                                                   speaker.PinsetId(w.Pinset)));
                    continue;
                }
                const int32_t device =
                    peripheral.Type == "Keypad" ? device_id::kKeypad : device_id::kSimpleUI;
                const int32_t pinset =
                    peripheral.Type == "Keypad" ? keypad.PinsetId(w.Pinset) : ui.PinsetId(w.Pinset);
                ASSERT_GE(pinset, 0) << w.Pinset;
                if (w.Direction == 1)
                    ASSERT_TRUE(hub->ConnectDigital(device_id::kEmulator, port, w.PortMask, device,
                                                    pinset, w.PinsetMask));
                else
                    ASSERT_TRUE(hub->ConnectDigital(device, pinset, w.PinsetMask,
                                                    device_id::kEmulator, port, w.PortMask));
            }
        }
        const std::string complaint = board->Load(source);
        ASSERT_TRUE(complaint.empty()) << complaint;
        // The templates run at 4 MHz: one LED step is (3905 + 1) * 256 cycles.
        board->Emu->SetClock(0, 4'000'000);
        board->Emu->Reset();
        board->Emu->SetUnthrottled(true);
    }

    // Runs about cycles more, then stops the target.
    void RunFor(uint64_t cycles) {
        board->Emu->Run();
        ASSERT_TRUE(board->Advance(cycles));
        ASSERT_TRUE(board->Emu->Stop());
    }

    test::ScriptedPrompter prompter;
    GlobalSettings settings{prompter};
    Appliance tpl;
    std::string source;
    std::shared_ptr<SimHub> hub = SimHub::Create();
    SimSimpleUI ui;
    SimKeypad keypad;
    SimSpeaker speaker;
    std::unique_ptr<KtrBoard> board;
};

TEST_P(StarterProgramTest, TheLedsLightOneAfterTheOtherPacedByTheTimer) {
    // Stop each time the program moves the LEDs on.
    const int32_t step = board->Label("next_led");
    ASSERT_GT(step, 0);
    ASSERT_TRUE(board->Emu->SetBreak(step, 1, 1));
    std::vector<uint8_t> shown;
    std::vector<uint64_t> at;
    for (int stop = 0; stop < 9; ++stop) {
        ASSERT_TRUE(board->RunToStop());
        shown.push_back(ui.LitLeds());
        at.push_back(board->Emu->Cycles());
    }
    // LED 0 after reset, then one place on at each step, back to LED 0 after LED 7.
    EXPECT_EQ(shown, (std::vector<uint8_t>{0x01, 0x02, 0x04, 0x08, 0x10, 0x20, 0x40, 0x80, 0x01}));
    // A step every (3905 + 1) * 256 timer cycles; the interrupt's latency adds a little jitter.
    for (std::size_t i = 1; i < at.size(); ++i)
        EXPECT_NEAR(static_cast<double>(at[i] - at[i - 1]), 999'936.0, 2'000.0) << i;
}

// The samples at the two levels of the tone.
int ToneSamples(const std::vector<int16_t>& samples, int& high, int& low) {
    high = low = 0;
    for (int16_t sample : samples) {
        high += sample == (0xC0 - 128) * 256;
        low += sample == (0x40 - 128) * 256;
    }
    return high + low;
}

TEST_P(StarterProgramTest, AHeldKeySoundsATone) {
    std::vector<int16_t> samples;
    int high = 0, low = 0;
    RunFor(200'000);
    speaker.TakeSamples(samples);
    ASSERT_FALSE(samples.empty());
    EXPECT_EQ(ToneSamples(samples, high, low), 0) << "no key held, no tone";
    EXPECT_EQ(samples.back(), 0) << "the speaker rests at the mid level";

    keypad.PressKey(2, 1);
    samples.clear();
    RunFor(200'000);
    speaker.TakeSamples(samples);
    ToneSamples(samples, high, low);
    // About 2 kHz: some hundred half waves in the 50 ms, so both levels come many times.
    EXPECT_GT(high, 200);
    EXPECT_GT(low, 200);

    keypad.ReleaseKey(2, 1);
    RunFor(50'000);
    speaker.TakeSamples(samples);
    samples.clear();
    RunFor(100'000);
    speaker.TakeSamples(samples);
    ASSERT_FALSE(samples.empty());
    EXPECT_EQ(ToneSamples(samples, high, low), 0) << "the tone ends with the key";
}

INSTANTIATE_TEST_SUITE_P(ShippedBodies, StarterProgramTest, ::testing::ValuesIn(kBodies),
                         [](const auto& info) { return std::string(info.param.model); });

} // namespace
} // namespace bx::sim::testing
