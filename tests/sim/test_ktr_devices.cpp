// The device hub and the devices: wiring rules, lines that listen or not, port direction, and
// the speaker and the key interrupt driven by ca65 programs on the MCU through the hub.
#include "KtrBoard.h"
#include "foundation/Error.h"
#include "sim/SimDevices.h"
#include "sim/SimTargetFactory.h"
#include "sim/WavWriter.h"

#include <algorithm>
#include <gtest/gtest.h>
#include <thread>

namespace bx::sim::testing {
namespace {

using namespace std::chrono_literals;

// A member with digital pin sets 0 and 1 that records what it sees and can drive.
class RecordingMember : public HubMember {
public:
    RecordingMember(std::shared_ptr<SimHub> hub, int32_t id) : hub_(std::move(hub)), id_(id) {
        hub_->Join(id_, this);
    }
    ~RecordingMember() override { hub_->Leave(id_, this); }
    PinKind PinsetKind(int32_t pin) const override {
        return pin == 0 || pin == 1 ? PinKind::Digital : PinKind::None;
    }
    void OnDigitalInput(int32_t pin, uint32_t level, uint32_t driven) override {
        Level[pin] = level;
        Driven[pin] = driven;
        ++Deliveries[pin];
    }
    void Drive(int32_t pin, uint32_t level, uint32_t driven) {
        hub_->DriveDigital(id_, pin, level, driven);
    }
    uint32_t Level[2] = {0xFFFFFFFFu, 0xFFFFFFFFu}, Driven[2] = {0, 0};
    int Deliveries[2] = {0, 0};

private:
    std::shared_ptr<SimHub> hub_;
    int32_t id_;
};

// Bits pair off lowest set bit to lowest set bit, the shorter mask ending the pairing; an
// undriven line reads high.
TEST(SimHub, WiresOfEveryMaskShapeCarryTheLevelsBitForBit) {
    EXPECT_EQ(MapBits(0b1010, 0b1111, 0b11110000), 0b10100000u);
    EXPECT_EQ(MapBits(0b0100, 0b0110, 0b10001), 0b10000u);
    EXPECT_EQ(MapBits(0xFF, 0x0F, 0x03), 0x03u);
    const std::pair<uint32_t, uint32_t> wires[] = {
        {0xFF, 0xFF}, {0xF0, 0x0F}, {0xF0, 0x03}, {0x06, 0x11}, {0xFFFFFFFF, 0xFFFFFFFF}};
    // level, driven
    const std::pair<uint32_t, uint32_t> drives[] = {{0x00000000, 0xFFFFFFFF},
                                                    {0xA5A5A5A5, 0xFFFFFFFF},
                                                    {0x0000005A, 0x000000F0},
                                                    {0xFFFFFFFF, 0x0000000F},
                                                    {0x12345678, 0x0F0F0F0F}};
    for (const auto& [from, to] : wires) {
        auto hub = SimHub::Create();
        RecordingMember source(hub, 1), target(hub, 2);
        ASSERT_TRUE(
            hub->ConnectDigital(1, 0, static_cast<int32_t>(from), 2, 0, static_cast<int32_t>(to)));
        for (const auto& [level, driven] : drives) {
            SCOPED_TRACE(::testing::Message() << std::hex << from << " -> " << to << " driving "
                                              << level << "/" << driven);
            source.Drive(0, level, driven);
            EXPECT_EQ(std::pair(target.Level[0], target.Driven[0]),
                      std::pair(~MapBits(driven & ~level, from, to), MapBits(driven, from, to)));
        }
    }
}

// A pin set that doesn't listen is not called but asked, and is caught up when it listens
// again; a lazy driver goes through the hub only while a listening end is wired.
TEST(SimHub, APinSetThatDoesNotListenIsAskedAndALazyDriverIsReadWhenAsked) {
    auto hub = SimHub::Create();
    RecordingMember source(hub, 1), target(hub, 2), leds(hub, 3);
    ASSERT_TRUE(hub->ConnectDigital(1, 0, 0x0F, 2, 0, 0xF0));
    std::lock_guard lock(hub->Lock());
    hub->ListenLocked(2, 0, false);
    const int calls = target.Deliveries[0];
    source.Drive(0, 0x05, 0x0F);
    EXPECT_EQ(target.Deliveries[0], calls) << "not listening: not called";
    uint32_t level = 0, driven = 0;
    hub->InputLocked(2, 0, level, driven);
    EXPECT_EQ(std::pair(level, driven), std::pair(~0xA0u, 0xF0u));
    hub->ListenLocked(2, 0, true);
    EXPECT_EQ(target.Deliveries[0], calls + 1) << "listening again: called with the levels";
    EXPECT_EQ(target.Level[0], ~0xA0u);

    LazyDrive drive;
    hub->DriveLazilyLocked(1, 1, drive);
    EXPECT_FALSE(drive.Needed.load()) << "nothing wired";
    ASSERT_TRUE(hub->ConnectDigital(1, 1, 0xFF, 3, 0, 0xFF));
    EXPECT_TRUE(drive.Needed.load()) << "a listening end";
    hub->ListenLocked(3, 0, false);
    EXPECT_FALSE(drive.Needed.load()) << "its only end stopped listening";
    drive.Latest.store(LazyDrive::Pack(0x3C, 0xFF)); // recorded only; read when asked
    hub->InputLocked(3, 0, level, driven);
    EXPECT_EQ(std::pair(level & 0xFF, driven), std::pair(0x3Cu, 0xFFu));
    drive.Latest.store(LazyDrive::Pack(0x81, 0xFF));
    hub->ListenLocked(3, 0, true);
    EXPECT_TRUE(drive.Needed.load());
    EXPECT_EQ(leds.Level[0] & 0xFF, 0x81u) << "a new listener gets the latest drive";
    drive.Latest.store(LazyDrive::Pack(0x42, 0xFF)); // slipped past the flag
    hub->AdvanceTime(0.001);
    EXPECT_EQ(leds.Level[0] & 0xFF, 0x42u) << "carried at the end of the worker's slice";
    hub->Leave(1, &source);
    drive.Latest.store(LazyDrive::Pack(0x00, 0xFF));
    hub->InputLocked(3, 0, level, driven);
    EXPECT_EQ(level & 0xFF, 0x42u) << "a member that leaves takes its lazy drive with it";
}

TEST(SimHub, RefusesWhatItCannotConnectAndIsFoundOnlyWhileItLives) {
    int32_t handle;
    {
        auto hub = SimHub::Create();
        handle = hub->HubHandle();
        EXPECT_NE(SimHub::Create()->HubHandle(), handle);
        EXPECT_EQ(SimHub::Find(handle), hub);
        hub->SetParameter("Multiplier", 3);
        hub->SetParameter("Divider", 2);
        EXPECT_EQ(std::pair(hub->Multiplier(), hub->Divider()), std::pair(3, 2));
        EXPECT_THROW(hub->SetParameter("Speed", 1), BxError);
        EXPECT_THROW(hub->SetParameter("Divider", 0), BxError);
        SimSimpleUI ui;
        SimSpeaker speaker;
        SimKeypad second;
        ASSERT_TRUE(ui.Connect(handle, device_id::kSimpleUI) &&
                    speaker.Connect(handle, device_id::kSpeaker));
        EXPECT_FALSE(second.Connect(handle, device_id::kSpeaker)) << "the id is taken";
        EXPECT_EQ(ui.PinsetId("Button"), SimSimpleUI::kButton);
        EXPECT_THROW(ui.PinsetId("Audio"), BxError);
        EXPECT_FALSE(hub->ConnectDigital(2002, 0, 0xFF, 2003, 0, 0xFF)) << "no emulator joined";
        EXPECT_FALSE(hub->ConnectDigital(2003, 7, 0xFF, 2003, 0, 0xFF)) << "no such pin set";
        EXPECT_FALSE(hub->ConnectAnalog(2003, 0, 2001, 0)) << "LED is digital";
        EXPECT_FALSE(hub->ConnectDigital(2003, 1, 0xFF, 2001, 0, 0xFF)) << "Audio is analog";
    }
    EXPECT_EQ(SimHub::Find(handle), nullptr);
    SimSpeaker speaker;
    EXPECT_FALSE(speaker.Connect(handle, device_id::kSpeaker));
}

// A keypad follows its rows only while a key is held: a press takes the rows as they are
// then; a SimpleUI button wired to a row pulls that key's column low too.
TEST(SimHub, AKeyPullsItsColumnLowWhileItsRowIsLow) {
    auto hub = SimHub::Create();
    RecordingMember port(hub, 1);
    SimKeypad keypad;
    SimSimpleUI ui;
    ASSERT_TRUE(keypad.Connect(hub->HubHandle(), device_id::kKeypad) &&
                ui.Connect(hub->HubHandle(), device_id::kSimpleUI) &&
                hub->ConnectDigital(1, 0, 0xF0, 2004, SimKeypad::kRow, 0x0F) &&
                hub->ConnectDigital(2004, SimKeypad::kColumn, 0x0F, 1, 0, 0x0F));
    port.Drive(0, 0xBF, 0xF0); // row 2 low
    const int calls = port.Deliveries[0];
    port.Drive(0, 0x7F, 0xF0); // row 3 low
    EXPECT_EQ(port.Deliveries[0], calls) << "no key held: the columns stay as they are";
    keypad.PressKey(3, 1);
    EXPECT_EQ(port.Level[0] & 0x0F, 0x0Du);
    port.Drive(0, 0xEF, 0xF0); // row 0 low
    EXPECT_EQ(port.Level[0] & 0x0F, 0x0Fu);
    port.Drive(0, 0x7F, 0xF0);
    EXPECT_EQ(port.Level[0] & 0x0F, 0x0Du);
    keypad.ReleaseKey(3, 1);
    EXPECT_EQ(port.Level[0] & 0x0F, 0x0Fu);

    port.Drive(0, 0xF0, 0x00); // the port lets the rows go: buttons 4-7 drive them
    ASSERT_TRUE(hub->ConnectDigital(2003, SimSimpleUI::kButton, 0xF0, 2004, SimKeypad::kRow, 0x0F));
    keypad.PressKey(1, 2);
    EXPECT_EQ(keypad.ColumnLevels(), 0xFF);
    ui.PressButton(5); // the second set bit of 0xF0: row 1
    EXPECT_EQ(keypad.ColumnLevels(), static_cast<uint8_t>(~0x04));
    ui.ReleaseButton(5);
    EXPECT_EQ(keypad.ColumnLevels(), 0xFF);
}

// Power-on's order through the factory's interfaces, and the port direction: outputs drive
// the LEDs, inputs float high, and a port's pins read its latch where it drives, the wire
// elsewhere.
TEST(SimTargetFactory, PowerOnWiresTheDevicesAndThePortDirectionDecidesWhoDrives) {
    platform::QueueDispatcher dispatcher;
    SimTargetFactory factory(dispatcher, nullptr);
    EXPECT_EQ(factory.CreateSymbolLibrary(), nullptr);
    std::shared_ptr<DeviceHub> hub = factory.CreateHub();
    hub->SetParameter("Divider", 4);
    EXPECT_EQ(hub->Start(), 0);
    std::shared_ptr<Emulator> emu = factory.CreateEmulator();
    emu->AttachHub(hub->HubHandle(), device_id::kEmulator);
    emu->SetModel(emulator_model::kKTR311);
    std::unique_ptr<SimpleUI> ui = factory.CreateSimpleUI();
    std::unique_ptr<Speaker> speaker = factory.CreateSpeaker();
    std::unique_ptr<Keypad> keypad = factory.CreateKeypad();
    EXPECT_TRUE(ui->Connect(hub->HubHandle(), device_id::kSimpleUI) &&
                speaker->Connect(hub->HubHandle(), device_id::kSpeaker) &&
                keypad->Connect(hub->HubHandle(), device_id::kKeypad));
    EXPECT_TRUE(
        hub->ConnectDigital(2002, emu->GetPortId("P0"), 0xFF, 2003, ui->PinsetId("LED"), 0xFF) &&
        hub->ConnectDigital(2003, ui->PinsetId("Button"), 0xFF, 2002, emu->GetPortId("P1"), 0xFF) &&
        hub->ConnectAnalog(2002, emu->GetPortId("DAC"), 2001, speaker->PinsetId("Audio")) &&
        hub->ConnectDigital(2004, keypad->PinsetId("Column"), 0x0F, 2002, emu->GetPortId("P2"),
                            0x0F));
    auto& leds = static_cast<SimSimpleUI&>(*ui);
    EXPECT_EQ(leds.LitLeds(), 0x00) << "after reset every pin is an input";
    int32_t count = 2;
    emu->WriteMemory(sfr::kP0, count, {0xA5, 0x0F}); // P0, P0DIR
    EXPECT_EQ(leds.LitLeds() * 256 + leds.LedLevels(), 0x05F5) << "the upper four lines float high";
    emu->WriteMemory(sfr::kP1, count = 2, {0x04, 0x04}); // P1.2 drives 1
    EXPECT_EQ(emu->ReadMemory(sfr::kP1, count = 1).at(0), 0xFF) << "nothing pressed: pull-ups";
    leds.PressButton(0);
    leds.PressButton(2); // P1.2 is an output: the pin reads its latch
    EXPECT_EQ(emu->ReadMemory(sfr::kP1, count = 1).at(0), 0xFE);
}

TEST(KtrDevices, AKeyPressWakesWaiThroughTheKeyInterrupt) {
    LOADED_BOARD(board, emulator_model::kKTR310, Program(R"(
reset:  put $80, KEYEN
        put IRQ_KEY, IER
        cli
        wai
        stp
irq:    lda IFR
        sta $0200
        put IRQ_KEY, IFR
        rti
)"));
    SimSimpleUI ui;
    ASSERT_TRUE(ui.Connect(board.Hub().HubHandle(), device_id::kSimpleUI) &&
                board.Hub().ConnectDigital(2003, 1, 0x01, 2002, 1, 0x80)); // button 0 -> P1.7
    board.Emu->Run();
    std::this_thread::sleep_for(30ms);
    board.Dispatcher.RunPending();
    EXPECT_TRUE(board.Stops.empty()) << "waiting for the key";
    ui.PressButton(0);
    ASSERT_TRUE(board.WaitForStops(1));
    EXPECT_EQ(board.Stops.back().Cond, stop_cond::kStp);
    EXPECT_EQ(board.Peek(0x0200) & sfr::kIrqKey, sfr::kIrqKey);
}

// A square wave from a program, 500 cycles high ($C0), 500 cycles low ($40): 1 kHz at 1 MHz,
// sampled at 44.1 kHz.
TEST(KtrDevices, TheSpeakerSamplesTheDacInTime) {
    LOADED_BOARD(board, emulator_model::kKTR311, Program(R"(
reset:  stz TRLDH
        put 249, TRLDL           ; 250 cycles per underflow
        put TCTL_RUN, TCTL
        lda #$C0
        ldy #2
loop:   sta DAC
wait:   lda IFR
        and #IRQ_TIMER
        beq wait
        sta IFR
        dey
        bne wait
        ldy #2
        lda DAC
        eor #$80
        bra loop
)"));
    SimSpeaker speaker;
    ASSERT_TRUE(speaker.Connect(board.Hub().HubHandle(), device_id::kSpeaker) &&
                board.Hub().ConnectAnalog(2002, port_id::kDac, 2001, SimSpeaker::kAudio));
    board.Emu->SetClock(0, 1'000'000);
    board.Emu->Reset();
    std::vector<int16_t> samples;
    speaker.TakeSamples(samples);
    board.Emu->SetUnthrottled(true);
    board.Emu->Run();
    ASSERT_TRUE(board.Advance(50'000));
    ASSERT_TRUE(board.Emu->Stop());
    speaker.TakeSamples(samples = {});
    ASSERT_GT(samples.size(), 2000u);
    const auto high = std::count(samples.begin(), samples.end(), 0x40 * 256);
    const auto low = std::count(samples.begin(), samples.end(), -0x40 * 256);
    EXPECT_NEAR(high, low, samples.size() / 20.0);
    EXPECT_LE(samples.size() - static_cast<std::size_t>(high + low), 2u) << "and the reset level";
    int changes = 0; // a change every 22 samples or so
    for (std::size_t i = 1; i < samples.size(); ++i)
        changes += samples[i] != samples[i - 1];
    const double seconds = static_cast<double>(samples.size()) / SimSpeaker::kSampleRate;
    EXPECT_NEAR(changes, seconds * 2000, seconds * 2000 * 0.1 + 3);
}

TEST(KtrDevices, TheSpeakerKeepsTheNewestTenSecondsAndRecordsThemAll) {
    SimSpeaker speaker;
    const auto level = [](uint8_t dac) { return static_cast<int16_t>((dac - 128) * 256); };
    speaker.StartRecording();
    speaker.OnAnalogInput(SimSpeaker::kAudio, 0xC0, 0.0); // the clock starts here
    speaker.OnAnalogInput(SimSpeaker::kAudio, 0x40, 3.0); // 3 s at $C0, then $40
    speaker.OnTime(12.5);
    std::vector<int16_t> samples;
    speaker.TakeSamples(samples);
    // 12.5 s were produced; the buffer keeps the newest 10 s: 0.5 s of $C0, then 9.5 s of $40.
    ASSERT_EQ(samples.size(), SimSpeaker::kBufferLimit);
    const std::size_t high = 3 * SimSpeaker::kSampleRate - (551'250 - SimSpeaker::kBufferLimit);
    EXPECT_EQ(std::count(samples.begin(), samples.end(), level(0xC0)), high);
    EXPECT_EQ(samples[high - 1], level(0xC0));
    EXPECT_EQ(std::count(samples.begin(), samples.end(), level(0x40)), samples.size() - high);
    EXPECT_EQ(speaker.RecordedSamples(), 551'250u) << "the recording loses nothing";
    // More than the limit in one step, and a step that owes part of a sample.
    speaker.OnTime(30.0);
    speaker.OnTime(30.0 + 0.5 / SimSpeaker::kSampleRate);
    speaker.TakeSamples(samples = {});
    ASSERT_EQ(samples.size(), SimSpeaker::kBufferLimit);
    EXPECT_EQ(std::count(samples.begin(), samples.end(), level(0x40)), samples.size());
    EXPECT_EQ(speaker.RecordedSamples(), 30u * SimSpeaker::kSampleRate + 1);
}

TEST(WavWriter, TheHeaderDescribesSixteenBitMonoPcm) {
    const std::string wav = EncodeWav({1, -1, 0x1234}, 8000);
    ASSERT_EQ(wav.size(), 44u + 6);
    EXPECT_EQ(wav.substr(0, 16) + wav.substr(36, 4), std::string("RIFF\x2A\0\0\0WAVEfmt data", 20));
    // PCM, mono, the rate, 16 bits, the data's size, the samples
    const std::pair<int, int> bytes[] = {{20, 1}, {22, 1},    {24, 8000 & 0xFF}, {34, 16},
                                         {40, 6}, {46, 0xFF}, {47, 0xFF},        {48, 0x34}};
    for (const auto& [at, value] : bytes)
        EXPECT_EQ(static_cast<uint8_t>(wav[at]), value) << at;
}

} // namespace
} // namespace bx::sim::testing
