// The device hub and the devices: wiring rules, port direction, and each device driven by a
// ca65 program on the MCU through the hub.
#include "KtrBoard.h"
#include "foundation/Error.h"
#include "sim/SimDevices.h"
#include "sim/SimTargetFactory.h"
#include "sim/WavWriter.h"

#include <algorithm>
#include <fstream>
#include <gtest/gtest.h>
#include <iterator>
#include <thread>

namespace bx::sim::testing {
namespace {

using namespace std::chrono_literals;

TEST(SimHub, BitsAreRoutedLowestSetBitToLowestSetBit) {
    EXPECT_EQ(MapBits(0b1010, 0b1111, 0b11110000), 0b10100000u);
    EXPECT_EQ(MapBits(0b0100, 0b0110, 0b10001), 0b10000u);
    EXPECT_EQ(MapBits(0xFF, 0x0F, 0x03), 0x03u) << "the shorter mask ends the pairing";
}

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

TEST(SimHub, WiresOfEveryMaskShapeCarryTheLevelsBitForBit) {
    struct Case {
        uint32_t From, To;
    };
    const Case cases[] = {
        {0x000000FF, 0x000000FF}, // a whole port onto a whole pin set
        {0x000000F0, 0x0000000F}, // a nibble moved down
        {0x000000F0, 0x00000003}, // the shorter run ends the pairing
        {0x00000006, 0x00000011}, // bits that are no run
        {0xFFFFFFFF, 0xFFFFFFFF}, // all 32 lines
    };
    const uint32_t drives[][2] = {// level, driven
                                  {0x00000000, 0xFFFFFFFF},
                                  {0xA5A5A5A5, 0xFFFFFFFF},
                                  {0x0000005A, 0x000000F0},
                                  {0xFFFFFFFF, 0x0000000F},
                                  {0x12345678, 0x0F0F0F0F}};
    for (const Case& c : cases) {
        auto hub = SimHub::Create();
        RecordingMember source(hub, 1), target(hub, 2);
        ASSERT_TRUE(hub->ConnectDigital(1, 0, static_cast<int32_t>(c.From), 2, 0,
                                        static_cast<int32_t>(c.To)));
        for (const auto& d : drives) {
            source.Drive(0, d[0], d[1]);
            EXPECT_EQ(target.Driven[0], MapBits(d[1], c.From, c.To))
                << std::hex << c.From << " -> " << c.To << " driving " << d[1];
            EXPECT_EQ(target.Level[0], ~MapBits(d[1] & ~d[0], c.From, c.To))
                << std::hex << c.From << " -> " << c.To << " level " << d[0];
        }
    }
}

TEST(SimHub, AWriteReachesOnlyTheEndsOfTheLinesItChanged) {
    // One port split into two wires, as a keypad's rows and columns share port P2.
    auto hub = SimHub::Create();
    RecordingMember port(hub, 1), rows(hub, 2), columns(hub, 3);
    ASSERT_TRUE(hub->ConnectDigital(1, 0, 0xF0, 2, 0, 0x0F));
    ASSERT_TRUE(hub->ConnectDigital(3, 0, 0x0F, 1, 0, 0x0F));
    port.Drive(0, 0xE0, 0xF0);
    const int rowCalls = rows.Deliveries[0], columnCalls = columns.Deliveries[0];
    EXPECT_EQ(rows.Level[0], 0xFFFFFFFEu);
    for (uint32_t level : {0xD0u, 0xB0u, 0x70u, 0xF0u})
        port.Drive(0, level, 0xF0);
    EXPECT_EQ(rows.Deliveries[0], rowCalls + 4);
    EXPECT_EQ(rows.Level[0], 0xFFFFFFFFu);
    EXPECT_EQ(columns.Deliveries[0], columnCalls) << "the column lines never changed";
    port.Drive(0, 0xF0, 0xF1); // the port starts driving a column line
    EXPECT_EQ(columns.Deliveries[0], columnCalls + 1);
    EXPECT_EQ(columns.Driven[0], 0x1u);
    EXPECT_EQ(columns.Level[0], 0xFFFFFFFEu);
    port.Drive(0, 0xF1, 0xF1); // and drives it high
    EXPECT_EQ(columns.Level[0], 0xFFFFFFFFu);
    EXPECT_EQ(columns.Driven[0], 0x1u);
}

TEST(SimHub, APinSetThatDoesNotListenIsAskedInsteadAndIsCaughtUpWhenItListens) {
    auto hub = SimHub::Create();
    RecordingMember source(hub, 1), target(hub, 2);
    ASSERT_TRUE(hub->ConnectDigital(1, 0, 0x0F, 2, 0, 0xF0));
    {
        std::lock_guard lock(hub->Lock());
        hub->ListenLocked(2, 0, false);
    }
    const int calls = target.Deliveries[0];
    source.Drive(0, 0x05, 0x0F);
    EXPECT_EQ(target.Deliveries[0], calls) << "not listening: not called";
    std::lock_guard lock(hub->Lock());
    uint32_t level = 0, driven = 0;
    hub->InputLocked(2, 0, level, driven);
    EXPECT_EQ(driven, 0xF0u);
    EXPECT_EQ(level, ~0xA0u);
    hub->ListenLocked(2, 0, true);
    EXPECT_EQ(target.Deliveries[0], calls + 1) << "listening again: called with the levels";
    EXPECT_EQ(target.Level[0], ~0xA0u);
    source.Drive(0, 0x0F, 0x0F);
    EXPECT_EQ(target.Deliveries[0], calls + 2);
    EXPECT_EQ(target.Level[0], 0xFFFFFFFFu);
}

TEST(SimHub, ALazyDriverGoesThroughTheHubOnlyWhileAListenerIsWired) {
    auto hub = SimHub::Create();
    RecordingMember mcu(hub, 1), leds(hub, 2);
    LazyDrive drive;
    {
        std::lock_guard lock(hub->Lock());
        hub->DriveLazilyLocked(1, 0, drive);
    }
    EXPECT_FALSE(drive.Needed.load()) << "nothing wired";
    ASSERT_TRUE(hub->ConnectDigital(1, 0, 0xFF, 2, 0, 0xFF));
    EXPECT_TRUE(drive.Needed.load()) << "a listening end";
    std::lock_guard lock(hub->Lock());
    hub->ListenLocked(2, 0, false);
    EXPECT_FALSE(drive.Needed.load()) << "its only end stopped listening";
    // The driver only records its drive; the hub reads it when levels are asked for.
    drive.Latest.store(LazyDrive::Pack(0x3C, 0xFF));
    uint32_t level = 0, driven = 0;
    hub->InputLocked(2, 0, level, driven);
    EXPECT_EQ(level & 0xFF, 0x3Cu);
    EXPECT_EQ(driven, 0xFFu);
    drive.Latest.store(LazyDrive::Pack(0x81, 0xFF));
    hub->ListenLocked(2, 0, true);
    EXPECT_TRUE(drive.Needed.load());
    EXPECT_EQ(leds.Level[0] & 0xFF, 0x81u) << "a new listener gets the latest drive";
    // A drive that slipped past the flag is carried at the end of the worker's slice.
    drive.Latest.store(LazyDrive::Pack(0x42, 0xFF));
    hub->AdvanceTime(0.001);
    EXPECT_EQ(leds.Level[0] & 0xFF, 0x42u);
    // A member that leaves takes its lazy drive with it: the hub reads it no more.
    hub->Leave(1, &mcu);
    drive.Latest.store(LazyDrive::Pack(0x00, 0xFF));
    hub->InputLocked(2, 0, level, driven);
    EXPECT_EQ(level & 0xFF, 0x42u);
}

TEST(SimHub, HandlesAreFoundWhileTheHubLivesAndParametersAreChecked) {
    int32_t handle;
    {
        auto hub = SimHub::Create();
        handle = hub->HubHandle();
        auto other = SimHub::Create();
        EXPECT_NE(other->HubHandle(), handle);
        EXPECT_EQ(SimHub::Find(handle), hub);
        hub->SetParameter("Multiplier", 3);
        hub->SetParameter("Divider", 2);
        EXPECT_EQ(hub->Multiplier(), 3);
        EXPECT_EQ(hub->Divider(), 2);
        EXPECT_THROW(hub->SetParameter("Speed", 1), BxError);
        EXPECT_THROW(hub->SetParameter("Divider", 0), BxError);
        EXPECT_EQ(hub->Start(), 0);
        EXPECT_TRUE(hub->Started());
    }
    EXPECT_EQ(SimHub::Find(handle), nullptr);
    SimSpeaker speaker;
    EXPECT_FALSE(speaker.Connect(handle, 2001));
}

TEST(SimHub, ConnectionsNeedJoinedMembersWithThosePinSets) {
    auto hub = SimHub::Create();
    SimSimpleUI ui;
    SimSpeaker speaker;
    ASSERT_TRUE(ui.Connect(hub->HubHandle(), device_id::kSimpleUI));
    ASSERT_TRUE(speaker.Connect(hub->HubHandle(), device_id::kSpeaker));
    SimKeypad second;
    EXPECT_FALSE(second.Connect(hub->HubHandle(), device_id::kSpeaker)) << "the id is taken";
    EXPECT_EQ(ui.PinsetId("LED"), 0);
    EXPECT_EQ(ui.PinsetId("Button"), 1);
    EXPECT_EQ(speaker.PinsetId("Audio"), 0);
    EXPECT_THROW(ui.PinsetId("Audio"), BxError);
    EXPECT_FALSE(hub->ConnectDigital(2002, 0, 0xFF, 2003, 0, 0xFF)) << "no emulator joined";
    EXPECT_FALSE(hub->ConnectDigital(2003, 7, 0xFF, 2003, 0, 0xFF)) << "no such pin set";
    EXPECT_FALSE(hub->ConnectAnalog(2003, 0, 2001, 0)) << "LED is digital";
    EXPECT_FALSE(hub->ConnectDigital(2003, 1, 0xFF, 2001, 0, 0xFF)) << "Audio is analog";
}

TEST(SimHub, AKeyHeldOnOneDevicePullsTheWiredLineOfAnotherLow) {
    // Two devices wired to each other, no MCU: the buttons of the SimpleUI drive the rows of
    // the keypad, both ways of writing the wire give the same result.
    auto hub = SimHub::Create();
    SimSimpleUI ui;
    SimKeypad keypad;
    ASSERT_TRUE(ui.Connect(hub->HubHandle(), 2003));
    ASSERT_TRUE(keypad.Connect(hub->HubHandle(), 2004));
    ASSERT_TRUE(hub->ConnectDigital(2004, SimKeypad::kRow, 0x0F, 2003, SimSimpleUI::kButton, 0xF0));
    keypad.PressKey(1, 2);
    EXPECT_EQ(keypad.ColumnLevels(), 0xFF);
    ui.PressButton(5); // button bit 5 = second set bit of 0xF0 = row 1
    EXPECT_EQ(keypad.ColumnLevels(), static_cast<uint8_t>(~0x04));
    ui.ReleaseButton(5);
    EXPECT_EQ(keypad.ColumnLevels(), 0xFF);
}

TEST(SimHub, AKeyPressedWhileItsRowIsAlreadyLowPullsItsColumnAtOnce) {
    // With no key held the keypad is not told of row changes; a press takes the rows as they
    // are then, and from then on it follows them.
    auto hub = SimHub::Create();
    RecordingMember port(hub, 1);
    SimKeypad keypad;
    ASSERT_TRUE(keypad.Connect(hub->HubHandle(), 2004));
    ASSERT_TRUE(hub->ConnectDigital(1, 0, 0xF0, 2004, SimKeypad::kRow, 0x0F));
    ASSERT_TRUE(hub->ConnectDigital(2004, SimKeypad::kColumn, 0x0F, 1, 0, 0x0F));
    port.Drive(0, 0xBF, 0xF0); // row 2 low
    const int calls = port.Deliveries[0];
    port.Drive(0, 0x7F, 0xF0); // row 3 low
    EXPECT_EQ(port.Deliveries[0], calls) << "no key held: the columns stay as they are";
    keypad.PressKey(3, 1);
    EXPECT_EQ(keypad.ColumnLevels(), static_cast<uint8_t>(~0x02));
    EXPECT_EQ(port.Level[0] & 0x0F, 0x0Du);
    port.Drive(0, 0xEF, 0xF0); // row 0 low
    EXPECT_EQ(port.Level[0] & 0x0F, 0x0Fu);
    port.Drive(0, 0x7F, 0xF0);
    EXPECT_EQ(port.Level[0] & 0x0F, 0x0Du);
    keypad.ReleaseKey(3, 1);
    EXPECT_EQ(port.Level[0] & 0x0F, 0x0Fu);
}

TEST(KtrDevices, PortDirectionDecidesWhatTheLedsSeeAndWhatThePortReads) {
    REQUIRE_CA65();
    KtrBoard board(emulator_model::kKTR310);
    auto hub = SimHub::Create();
    SimSimpleUI ui;
    board.Emu->AttachHub(hub->HubHandle(), device_id::kEmulator);
    ASSERT_TRUE(ui.Connect(hub->HubHandle(), device_id::kSimpleUI));
    const int32_t p0 = board.Emu->GetPortId("P0"), p1 = board.Emu->GetPortId("P1");
    ASSERT_TRUE(hub->ConnectDigital(2002, p0, 0xFF, 2003, ui.PinsetId("LED"), 0xFF));
    ASSERT_TRUE(hub->ConnectDigital(2003, ui.PinsetId("Button"), 0xFF, 2002, p1, 0xFF));
    LOAD(board, Program(R"(
reset:  ldx #$FF
        txs
        lda #$0F
        sta P0DIR
        lda #$A5
        sta P0           ; LEDs 0 and 2 lit; the upper four lines are inputs and float
        lda #$04
        sta P1DIR        ; P1.2 is an output driving 1
        sta P1
loop:   lda P1
        sta $0200
        bra loop
irq:
nmi:    rti
)"));
    EXPECT_EQ(ui.LitLeds(), 0x00) << "after reset every pin is an input";
    board.Emu->SetUnthrottled(true);
    board.Emu->Run();
    ASSERT_TRUE(board.Advance(20'000));
    EXPECT_EQ(ui.LitLeds(), 0x05);
    EXPECT_EQ(ui.LedLevels(), 0xF5);
    EXPECT_EQ(board.Peek(0x0200), 0xFF) << "nothing pressed: pull-ups";
    ui.PressButton(0);
    ui.PressButton(2); // P1.2 is an output: the pin reads its latch
    ASSERT_TRUE(board.Advance(20'000));
    EXPECT_EQ(board.Peek(0x0200), 0xFE);
    ui.ReleaseButton(0);
    ASSERT_TRUE(board.Advance(20'000));
    EXPECT_EQ(board.Peek(0x0200), 0xFF);
    EXPECT_TRUE(board.Emu->Stop());
    EXPECT_EQ(ui.HeldButtons(), 0x04);
}

TEST(KtrDevices, AScanningProgramReadsTheKeypadThroughMappedNibbles) {
    REQUIRE_CA65();
    KtrBoard board(emulator_model::kKTR311);
    auto hub = SimHub::Create();
    SimKeypad keypad;
    keypad.SetParameter("Rows", "4");
    keypad.SetParameter("Columns", "4");
    keypad.SetParameter("Keys", "1,2,3,A 4,5,6,B 7,8,9,C *,0,#,D");
    keypad.SetParameter("Colour", "red"); // unknown: ignored
    board.Emu->AttachHub(hub->HubHandle(), device_id::kEmulator);
    ASSERT_TRUE(keypad.Connect(hub->HubHandle(), device_id::kKeypad));
    // Rows from the upper nibble of P2, columns back into its lower nibble.
    ASSERT_TRUE(hub->ConnectDigital(2002, 2, 0xF0, 2004, keypad.PinsetId("Row"), 0x0F));
    ASSERT_TRUE(hub->ConnectDigital(2004, keypad.PinsetId("Column"), 0x0F, 2002, 2, 0x0F));
    EXPECT_EQ(keypad.Label(2, 1), "8");
    EXPECT_EQ(keypad.Label(3, 3), "D");
    LOAD(board, kKeypadScanProgram);
    keypad.PressKey(2, 1); // "8"
    board.Emu->SetUnthrottled(true);
    board.Emu->Run();
    ASSERT_TRUE(board.Advance(20'000));
    ASSERT_TRUE(board.Emu->Stop());
    EXPECT_EQ(board.Peek(0x0200), 0x0F);
    EXPECT_EQ(board.Peek(0x0201), 0x0F);
    EXPECT_EQ(board.Peek(0x0202), 0x0D) << "column 1 low while row 2 is driven low";
    EXPECT_EQ(board.Peek(0x0203), 0x0F);
    keypad.ReleaseKey(2, 1);
    keypad.PressKey(0, 3);
    board.Emu->Run();
    ASSERT_TRUE(board.Advance(20'000));
    ASSERT_TRUE(board.Emu->Stop());
    EXPECT_EQ(board.Peek(0x0200), 0x07);
    EXPECT_EQ(board.Peek(0x0202), 0x0F);
}

TEST(KtrDevices, AKeyPressWakesWaiThroughTheKeyInterrupt) {
    REQUIRE_CA65();
    KtrBoard board(emulator_model::kKTR310);
    auto hub = SimHub::Create();
    SimSimpleUI ui;
    board.Emu->AttachHub(hub->HubHandle(), device_id::kEmulator);
    ASSERT_TRUE(ui.Connect(hub->HubHandle(), device_id::kSimpleUI));
    ASSERT_TRUE(hub->ConnectDigital(2003, 1, 0x01, 2002, 1, 0x80)); // button 0 -> P1.7
    LOAD(board, Program(R"(
reset:  ldx #$FF
        txs
        lda #$80
        sta KEYEN
        lda #IRQ_KEY
        sta IER
        cli
        wai
        stp
irq:    lda IFR
        sta $0200
        lda #IRQ_KEY
        sta IFR
nmi:    rti
)"));
    board.Emu->Run();
    std::this_thread::sleep_for(30ms);
    board.Dispatcher.RunPending();
    EXPECT_TRUE(board.Stops.empty()) << "waiting for the key";
    ui.PressButton(0);
    ASSERT_TRUE(board.WaitForStops(1));
    EXPECT_EQ(board.Stops.back().Cond, stop_cond::kStp);
    EXPECT_EQ(board.Peek(0x0200) & sfr::kIrqKey, sfr::kIrqKey);
}

TEST(KtrDevices, TheSpeakerSamplesTheDacAndWritesAWavFile) {
    REQUIRE_CA65();
    KtrBoard board(emulator_model::kKTR311);
    auto hub = SimHub::Create();
    SimSpeaker speaker;
    board.Emu->AttachHub(hub->HubHandle(), device_id::kEmulator);
    ASSERT_TRUE(speaker.Connect(hub->HubHandle(), device_id::kSpeaker));
    ASSERT_TRUE(
        hub->ConnectAnalog(2002, board.Emu->GetPortId("DAC"), 2001, speaker.PinsetId("Audio")));
    board.Emu->SetClock(0, 1'000'000);
    // A square wave: 500 cycles high ($C0), 500 cycles low ($40): 1 kHz at 1 MHz.
    LOAD(board, Program(R"(
reset:  ldx #$FF
        txs
        stz TRLDH
        lda #249
        sta TRLDL        ; 250 cycles per underflow
        lda #TCTL_RUN
        sta TCTL
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
irq:
nmi:    rti
)"));
    speaker.StartRecording();
    std::vector<int16_t> discard;
    speaker.TakeSamples(discard);
    board.Emu->SetUnthrottled(true);
    board.Emu->Run();
    while (board.Emu->SimulatedSeconds() < 0.05)
        std::this_thread::sleep_for(1ms);
    ASSERT_TRUE(board.Emu->Stop());
    std::vector<int16_t> samples;
    speaker.TakeSamples(samples);
    ASSERT_GT(samples.size(), 2000u);
    int high = 0, low = 0, other = 0;
    for (int16_t s : samples)
        (s == 0x40 * 256 ? high : s == -0x40 * 256 ? low : other)++;
    EXPECT_NEAR(high, low, samples.size() / 20.0);
    EXPECT_LE(other, 2) << "only the two levels (and the reset level at the start)";
    // 1 kHz at 44.1 kHz: about 44 samples per period, 22 per half.
    int changes = 0;
    for (std::size_t i = 1; i < samples.size(); ++i)
        changes += samples[i] != samples[i - 1];
    const double seconds = static_cast<double>(samples.size()) / SimSpeaker::kSampleRate;
    EXPECT_NEAR(changes, seconds * 2000, seconds * 2000 * 0.1 + 3);

    const std::string path = board.Folder.Sub("speaker.wav");
    const std::size_t recorded = speaker.RecordedSamples();
    EXPECT_GE(recorded, samples.size());
    ASSERT_TRUE(speaker.StopRecording(path));
    std::ifstream in(board.Folder.Native() / "speaker.wav", std::ios::binary);
    const std::string wav{std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>()};
    ASSERT_EQ(wav.size(), 44 + recorded * 2);
    EXPECT_EQ(wav.substr(0, 4), "RIFF");
    EXPECT_EQ(wav.substr(8, 8), "WAVEfmt ");
    EXPECT_EQ(wav.substr(36, 4), "data");
    EXPECT_EQ(static_cast<uint8_t>(wav[24]) | (static_cast<uint8_t>(wav[25]) << 8), 44100 & 0xFFFF);
}

// Power-on's order: hub with its rate, the emulator joins, the model, the devices and wires
// by the names of the appliance's wires, all through the factory's interfaces.
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
    EXPECT_EQ(samples[high], level(0x40));
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

TEST(SimTargetFactory, PowerOnWiresTheSimulatorThroughTheInterfaces) {
    platform::QueueDispatcher dispatcher;
    SimTargetFactory factory(dispatcher, nullptr);
    EXPECT_EQ(factory.CreateSymbolLibrary(), nullptr);
    std::shared_ptr<DeviceHub> hub = factory.CreateHub();
    hub->SetParameter("Multiplier", 1);
    hub->SetParameter("Divider", 4);
    EXPECT_EQ(hub->Start(), 0);
    std::shared_ptr<Emulator> emu = factory.CreateEmulator();
    emu->AttachHub(hub->HubHandle(), device_id::kEmulator);
    emu->SetModel(emulator_model::kKTR311);
    std::unique_ptr<SimpleUI> ui = factory.CreateSimpleUI();
    std::unique_ptr<Speaker> speaker = factory.CreateSpeaker();
    std::unique_ptr<Keypad> keypad = factory.CreateKeypad();
    keypad->SetParameter("Rows", "2");
    EXPECT_TRUE(ui->Connect(hub->HubHandle(), device_id::kSimpleUI));
    EXPECT_TRUE(speaker->Connect(hub->HubHandle(), device_id::kSpeaker));
    EXPECT_TRUE(keypad->Connect(hub->HubHandle(), device_id::kKeypad));
    EXPECT_TRUE(
        hub->ConnectDigital(2002, emu->GetPortId("P0"), 0xFF, 2003, ui->PinsetId("LED"), 0xFF));
    EXPECT_TRUE(hub->ConnectAnalog(2002, emu->GetPortId("DAC"), 2001, speaker->PinsetId("Audio")));
    EXPECT_TRUE(hub->ConnectDigital(2004, keypad->PinsetId("Column"), 0x0F, 2002,
                                    emu->GetPortId("P2"), 0x0F));
    // The emulator drives the LEDs once a program sets P0 up: here the debugger does.
    int32_t count = 2;
    emu->WriteMemory(sfr::kP0, count, {0x81, 0xFF});
    EXPECT_EQ(static_cast<SimSimpleUI&>(*ui).LitLeds(), 0x81);
}

TEST(WavWriter, TheHeaderDescribesSixteenBitMonoPcm) {
    const std::string wav = EncodeWav({1, -1, 0x1234}, 8000);
    ASSERT_EQ(wav.size(), 44u + 6);
    EXPECT_EQ(wav.substr(0, 4), "RIFF");
    EXPECT_EQ(static_cast<uint8_t>(wav[4]), 36 + 6);
    EXPECT_EQ(static_cast<uint8_t>(wav[20]), 1); // PCM
    EXPECT_EQ(static_cast<uint8_t>(wav[22]), 1); // mono
    EXPECT_EQ(static_cast<uint8_t>(wav[34]), 16);
    EXPECT_EQ(static_cast<uint8_t>(wav[40]), 6);
    EXPECT_EQ(static_cast<uint8_t>(wav[46]), 0xFF);
    EXPECT_EQ(static_cast<uint8_t>(wav[47]), 0xFF);
    EXPECT_EQ(static_cast<uint8_t>(wav[48]), 0x34);
}

} // namespace
} // namespace bx::sim::testing
