// The device hub and the devices (wiring rules, keys that follow their rows, port direction, the
// speaker and the key interrupt driven by ca65 programs on the MCU through the hub), and the
// simulator's worker thread: Stop against a natural stop, stale deliveries, calls made and holds
// set while the target runs, devices that go or press keys while it drives them.
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

TEST(SimHub, RefusesWhatItCannotConnectAndIsFoundOnlyWhileItLives) {
    int32_t handle;
    {
        auto hub = SimHub::Create();
        handle = hub->HubHandle();
        EXPECT_NE(SimHub::Create()->HubHandle(), handle);
        EXPECT_EQ(SimHub::Find(handle), hub);
        EXPECT_THROW(hub->SetParameter("Speed", 1), BxError);
        EXPECT_THROW(hub->SetParameter("Divider", 0), BxError);
        SimSimpleUI ui;
        SimSpeaker speaker;
        SimKeypad second;
        ASSERT_TRUE(ui.Connect(handle, device_id::kSimpleUI) &&
                    speaker.Connect(handle, device_id::kSpeaker));
        EXPECT_FALSE(second.Connect(handle, device_id::kSpeaker)) << "the id is taken";
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

// A SimpleUI button wired to a keypad row (buttons 4-7 here) pulls the held key's column low;
// a port driving the rows is covered by the scanning program below.
TEST(SimHub, AButtonDrivingARowPullsTheHeldKeysColumnLow) {
    auto hub = SimHub::Create();
    SimKeypad keypad;
    SimSimpleUI ui;
    ASSERT_TRUE(keypad.Connect(hub->HubHandle(), device_id::kKeypad) &&
                ui.Connect(hub->HubHandle(), device_id::kSimpleUI) &&
                hub->ConnectDigital(2003, SimSimpleUI::kButton, 0xF0, 2004, SimKeypad::kRow, 0x0F));
    keypad.PressKey(1, 2);
    EXPECT_EQ(keypad.ColumnLevels(), 0xFF);
    ui.PressButton(5); // the second set bit of 0xF0: row 1
    EXPECT_EQ(keypad.ColumnLevels(), static_cast<uint8_t>(~0x04));
    ui.ReleaseButton(5);
    EXPECT_EQ(keypad.ColumnLevels(), 0xFF);
}

// Power-on's order through the factory's interfaces (the debugger's power-on of a shipped
// appliance wires every device so), and the port direction: outputs drive
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
    EXPECT_TRUE(ui->Connect(hub->HubHandle(), device_id::kSimpleUI));
    EXPECT_TRUE(
        hub->ConnectDigital(2002, emu->GetPortId("P0"), 0xFF, 2003, ui->PinsetId("LED"), 0xFF) &&
        hub->ConnectDigital(2003, ui->PinsetId("Button"), 0xFF, 2002, emu->GetPortId("P1"), 0xFF));
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
irq:    copy IFR, $0200
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
    EXPECT_EQ(board.Stops.back().Cond << 8 | (board.Peek(0x0200) & sfr::kIrqKey),
              stop_cond::kStp << 8 | sfr::kIrqKey);
}

// A square wave from a program, 500 cycles high ($C0), 500 cycles low ($40): 1 kHz at 1 MHz,
// sampled at 44.1 kHz.
TEST(KtrDevices, TheSpeakerSamplesTheDacInTime) {
    LOADED_BOARD(board, emulator_model::kKTR311, Program(R"(
reset:  put 249, TRLDL           ; 250 cycles per underflow
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
    ASSERT_TRUE(board.RunFor(50'000));
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

// A delay loop of $0200 * 256 iterations (about 1,300 cycles per unit), then STP.
const char* kDelayThenStp = R"(
reset:  ldy $0200
outer:  ldx #0
inner:  dex
        bne inner
        dey
        bne outer
        stp
)";

// Delays from a few microseconds to about a millisecond of simulated time, and the Stop at
// varying moments around the natural stop: a Stop that finds the target running leaves it
// halted and nothing delivered; one that comes too late leaves exactly the STP's BreakHit.
TEST(KtrThreads, StopRacingANaturalStopGivesEitherTheStopOrTheBreakHitNeverBoth) {
    LOADED_BOARD(board, emulator_model::kKTR311, Program(kDelayThenStp));
    board.Emu->SetClock(0, 8'000'000);
    for (int i = 0; i < 60; ++i) {
        board.Poke(0x0200, {static_cast<uint8_t>(1 + (i % 6))});
        board.Emu->Reset();
        board.Emu->SetUnthrottled(i % 2 == 0);
        const std::size_t before = board.Stops.size();
        board.Emu->Run();
        std::this_thread::sleep_for(std::chrono::microseconds(50 * (i % 10)));
        const bool wasRunning = board.Emu->Stop();
        ASSERT_FALSE(board.Emu->IsRunning());
        board.Dispatcher.RunUntil([] { return false; }, 5ms); // whatever was posted arrives
        ASSERT_EQ(board.Stops.size(), before + (wasRunning ? 0 : 1)) << "iteration " << i;
        EXPECT_EQ(wasRunning ? stop_cond::kStp : board.Stops.back().Cond, stop_cond::kStp);
        const uint16_t pc = board.Emu->GetCpuState()->PC;
        std::this_thread::sleep_for(1ms);
        EXPECT_EQ(board.Emu->GetCpuState()->PC, pc) << "halted";
    }
}

// A stop is dropped when a new Run started after it was posted.
TEST(KtrThreads, StaleDeliveriesAreDropped) {
    LOADED_BOARD(board, emulator_model::kKTR311, Program(kDelayThenStp));
    board.Poke(0x0200, {1});
    board.Emu->SetUnthrottled(true);
    board.Emu->Run();
    while (board.Emu->IsRunning()) // stopped by itself without letting the UI queue run
        std::this_thread::sleep_for(1ms);
    board.Emu->Reset();
    board.Poke(0x0200, {0}); // about 80 ms in real time: still running when the queue runs
    board.Emu->SetUnthrottled(false);
    board.Emu->Run();
    board.Dispatcher.RunPending();
    EXPECT_TRUE(board.Stops.empty()) << "the first run's stop is stale once a new Run started";
    ASSERT_TRUE(board.WaitForStops(1));
    EXPECT_EQ(board.Stops.size(), 1u);
}

// A hold stops time on the same cycle whatever the slices, the held target still running;
// moved on, it lets the target go to the next one; released, the target runs on, and calls
// made meanwhile are served between its slices.
TEST(KtrThreads, AHoldStopsTimeOnTheSameCycleAndCallsWhileRunningAreServedBetweenSlices) {
    LOADED_BOARD(board, emulator_model::kKTR311, Program("reset:\nloop: inc $0200\n bra loop"));
    uint64_t heldAt[2] = {};
    uint8_t counted[2] = {};
    for (int unthrottled = 0; unthrottled < 2; ++unthrottled) {
        board.Emu->Reset();
        board.Emu->SetUnthrottled(unthrottled == 1);
        const uint64_t start = board.Emu->Cycles();
        const uint8_t before = board.Peek(0x0200); // memory outlives the reset
        board.Emu->HoldAt(start + 123'457);
        board.Emu->Run();
        ASSERT_TRUE(board.Dispatcher.RunUntil([&] { return board.Emu->Held(); }, 10s));
        heldAt[unthrottled] = board.Emu->Cycles() - start;
        counted[unthrottled] = static_cast<uint8_t>(board.Peek(0x0200) - before);
        EXPECT_TRUE(board.Emu->IsRunning()) << "a held target still runs";
        board.Emu->HoldAt(start + 200'000);
        ASSERT_TRUE(board.Dispatcher.RunUntil(
            [&] { return board.Emu->Held() && board.Emu->Cycles() >= start + 200'000; }, 10s));
        board.Emu->ReleaseHold();
        int changes = 0;
        for (uint8_t last = board.Peek(0x0200), i = 0; i < 50; ++i) {
            std::vector<int32_t> flags;
            EXPECT_TRUE(board.Emu->GetBreakFlags(0x0200, flags, 1) && !board.Emu->ResetRequested());
            changes += board.Peek(0x0200) != last;
            last = board.Peek(0x0200);
            std::this_thread::sleep_for(2ms);
        }
        EXPECT_GT(changes, 2) << "the target ran between the calls";
        EXPECT_TRUE(board.Emu->Stop());
    }
    EXPECT_TRUE(heldAt[0] >= 123'457 && heldAt[0] < 123'457 + 8)
        << "the first boundary at or after";
    EXPECT_EQ(std::pair(heldAt[0], counted[0]), std::pair(heldAt[1], counted[1]));
}

TEST(KtrThreads, DevicesAndHubMayGoWhileTheTargetDrivesThem) {
    LOADED_BOARD(board, emulator_model::kKTR311, Program(R"(
reset:  put $FF, P0DIR
loop:   inc P0
        inc DAC
        bra loop
)"));
    auto hub = SimHub::Create();
    board.Emu->AttachHub(hub->HubHandle(), device_id::kEmulator);
    auto ui = std::make_unique<SimSimpleUI>();
    auto speaker = std::make_unique<SimSpeaker>();
    ASSERT_TRUE(ui->Connect(hub->HubHandle(), device_id::kSimpleUI) &&
                speaker->Connect(hub->HubHandle(), device_id::kSpeaker) &&
                hub->ConnectDigital(2002, 0, 0xFF, 2003, 0, 0xFF) &&
                hub->ConnectAnalog(2002, 3, 2001, 0));
    board.Emu->SetUnthrottled(true);
    board.Emu->Run();
    std::this_thread::sleep_for(10ms);
    ui->PressButton(1);
    ui.reset();
    std::this_thread::sleep_for(5ms);
    speaker.reset();
    hub.reset(); // the emulator still holds it
    std::this_thread::sleep_for(5ms);
    EXPECT_TRUE(board.Emu->Stop()) << "still running after its devices and hub went";
}

// A key pressed and released from another thread while the program scans: the keypad, told of
// no row change while no key is held, follows the rows from the press on, whatever the worker
// is doing at that moment; the scan finds the key's column in its row.
TEST(KtrThreads, KeysPressedWhileTheProgramScansAreSeenByTheScan) {
    // Scans a 4x4 keypad, its rows on P2.4-P2.7 and its columns on P2.0-P2.3: drives one row
    // low at a time and stores the column nibble of row r at $0200 + r, without end.
    LOADED_BOARD(board, emulator_model::kKTR311, Program(R"(
reset:  put $F0, P2DIR
scan:   ldx #0
        lda #%11100000   ; row 0 low
row:    ora #$0F
        sta P2
        pha
        lda P2
        and #$0F
        sta $0200,x
        pla
        sec
        rol a            ; next row low
        inx
        cpx #4
        bne row
        bra scan
)"));
    SimKeypad keypad;
    keypad.SetParameter("Keys", "1,2,3,A 4,5,6,B 7,8,9,C *,0,#,D");
    keypad.SetParameter("Colour", "red"); // unknown: ignored
    EXPECT_EQ(keypad.Label(2, 1) + keypad.Label(3, 3), "8D");
    // Rows from the upper nibble of P2, columns back into its lower nibble.
    ASSERT_TRUE(keypad.Connect(board.Hub().HubHandle(), device_id::kKeypad) &&
                board.Hub().ConnectDigital(2002, 2, 0xF0, 2004, keypad.PinsetId("Row"), 0x0F) &&
                board.Hub().ConnectDigital(2004, keypad.PinsetId("Column"), 0x0F, 2002, 2, 0x0F));
    board.Emu->SetUnthrottled(true);
    board.Emu->Run();
    for (int round = 0; round < 8; ++round) {
        const int row = round % 4, column = (round * 3) % 4;
        keypad.PressKey(row, column);
        // More than a whole slice of the worker after the press: every row scanned since.
        ASSERT_TRUE(board.Advance(2'500'000));
        for (int r = 0; r < 4; ++r)
            EXPECT_EQ(board.Peek(0x0200 + r), r == row ? 0x0F & ~(1 << column) : 0x0F)
                << round << " row " << r;
        keypad.ReleaseKey(row, column);
        ASSERT_TRUE(board.Advance(2'500'000));
        EXPECT_EQ(board.Peek(0x0200 + row), 0x0F) << round;
    }
    EXPECT_TRUE(board.Emu->Stop());
}

} // namespace
} // namespace bx::sim::testing
