// The simulator's worker thread: Stop against a natural stop, stale deliveries, calls made and
// holds set while the target runs, devices that go or press keys while it drives them.
#include "KtrBoard.h"
#include "sim/SimDevices.h"

#include <gtest/gtest.h>
#include <thread>

namespace bx::sim::testing {
namespace {

using namespace std::chrono_literals;

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

TEST(KtrThreads, StopRacingANaturalStopGivesEitherTheStopOrTheBreakHitNeverBoth) {
    LOADED_BOARD(board, emulator_model::kKTR311, Program(kDelayThenStp));
    board.Emu->SetClock(0, 8'000'000);
    int stoppedByUs = 0, stoppedByItself = 0;
    for (int i = 0; i < 60; ++i) {
        // Delays from a few microseconds to about a millisecond of simulated time, and the
        // Stop at varying moments around the natural stop.
        board.Poke(0x0200, {static_cast<uint8_t>(1 + (i % 6))});
        board.Emu->Reset();
        board.Emu->SetUnthrottled(i % 2 == 0);
        const std::size_t before = board.Stops.size();
        board.Emu->Run();
        std::this_thread::sleep_for(std::chrono::microseconds(50 * (i % 10)));
        const bool wasRunning = board.Emu->Stop();
        EXPECT_FALSE(board.Emu->IsRunning());
        // Whatever was posted arrives now.
        board.Dispatcher.RunUntil([] { return false; }, 5ms);
        if (wasRunning) {
            ++stoppedByUs;
            EXPECT_EQ(board.Stops.size(), before) << "iteration " << i;
            // Halted: the PC doesn't move any more.
            const uint16_t pc = board.Emu->GetCpuState()->PC;
            std::this_thread::sleep_for(2ms);
            EXPECT_EQ(board.Emu->GetCpuState()->PC, pc);
        } else {
            ++stoppedByItself;
            ASSERT_EQ(board.Stops.size(), before + 1) << "iteration " << i;
            EXPECT_EQ(board.Stops.back().Cond, stop_cond::kStp);
        }
    }
    // Both outcomes should occur over the sweep; say so if the host made one of them vanish.
    if (stoppedByUs == 0 || stoppedByItself == 0)
        GTEST_LOG_(INFO) << "only one outcome occurred: " << stoppedByUs << " stopped by Stop, "
                         << stoppedByItself << " by themselves";
}

TEST(KtrThreads, AStopPostedBeforeANewRunIsNotDelivered) {
    LOADED_BOARD(board, emulator_model::kKTR311, Program(kDelayThenStp));
    board.Poke(0x0200, {1});
    board.Emu->SetUnthrottled(true);
    board.Emu->Run();
    // Let the target stop by itself without letting the UI queue run.
    while (board.Emu->IsRunning())
        std::this_thread::sleep_for(1ms);
    board.Emu->Reset();
    // About 80 ms in real time: long enough to be still running when the queue runs.
    board.Poke(0x0200, {0});
    board.Emu->SetUnthrottled(false);
    board.Emu->Run();
    board.Dispatcher.RunPending();
    EXPECT_TRUE(board.Stops.empty()) << "the first run's stop is stale once a new Run started";
    ASSERT_TRUE(board.WaitForStops(1));
    EXPECT_EQ(board.Stops.size(), 1u);
}

TEST(KtrThreads, ADeliveryPostedByADestroyedEmulatorIsDropped) {
    platform::QueueDispatcher dispatcher;
    int hits = 0;
    {
        KtrEmulator emu(dispatcher);
        emu.SetModel(emulator_model::kKTR310);
        int32_t count = 0x8000;
        emu.WriteMemory(0x8000, count, std::vector<uint8_t>(0x8000, 0xDB)); // STP everywhere
        emu.Reset();
        emu.BreakHit.Connect([&](int32_t, int32_t, int32_t) { ++hits; });
        emu.Run();
        while (emu.IsRunning())
            std::this_thread::sleep_for(1ms);
    }
    EXPECT_EQ(dispatcher.RunPending(), 1);
    EXPECT_EQ(hits, 0);
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
    EXPECT_GE(heldAt[0], 123'457u);
    EXPECT_LT(heldAt[0], 123'457u + 8); // the first instruction boundary at or after it
    EXPECT_EQ(heldAt[0], heldAt[1]);
    EXPECT_EQ(counted[0], counted[1]);
}

TEST(KtrThreads, DevicesAndHubMayGoWhileTheTargetDrivesThem) {
    REQUIRE_CA65();
    KtrBoard board(emulator_model::kKTR311);
    auto hub = SimHub::Create();
    board.Emu->AttachHub(hub->HubHandle(), device_id::kEmulator);
    auto ui = std::make_unique<SimSimpleUI>();
    auto speaker = std::make_unique<SimSpeaker>();
    ASSERT_TRUE(ui->Connect(hub->HubHandle(), device_id::kSimpleUI));
    ASSERT_TRUE(speaker->Connect(hub->HubHandle(), device_id::kSpeaker));
    ASSERT_TRUE(hub->ConnectDigital(2002, 0, 0xFF, 2003, 0, 0xFF));
    ASSERT_TRUE(hub->ConnectAnalog(2002, 3, 2001, 0));
    LOAD(board, Program(R"(
reset:  put $FF, P0DIR
loop:   inc P0
        inc DAC
        bra loop
)"));
    board.Emu->SetUnthrottled(true);
    board.Emu->Run();
    std::this_thread::sleep_for(10ms);
    ui->PressButton(1);
    ui.reset();
    std::this_thread::sleep_for(5ms);
    speaker.reset();
    hub.reset(); // the emulator still holds it
    std::this_thread::sleep_for(5ms);
    EXPECT_TRUE(board.Emu->Stop());
    EXPECT_NE(board.Peek(sfr::kP0), 0xEE);
}

// Scans a 4x4 keypad wired with its rows on P2.4-P2.7 and its columns on P2.0-P2.3: drives one
// row low at a time and stores the column nibble of row r at $0200 + r, without end.
const std::string kKeypadScanProgram = Program(R"(
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
)");

// A key pressed and released from another thread while the program scans: the keypad, told of
// no row change while no key is held, follows the rows from the press on, whatever the worker
// is doing at that moment; the scan finds the key's column in its row.
TEST(KtrThreads, KeysPressedWhileTheProgramScansAreSeenByTheScan) {
    LOADED_BOARD(board, emulator_model::kKTR311, kKeypadScanProgram);
    SimKeypad keypad;
    keypad.SetParameter("Rows", "4");
    keypad.SetParameter("Columns", "4");
    keypad.SetParameter("Keys", "1,2,3,A 4,5,6,B 7,8,9,C *,0,#,D");
    keypad.SetParameter("Colour", "red"); // unknown: ignored
    EXPECT_EQ(keypad.Label(2, 1), "8");
    EXPECT_EQ(keypad.Label(3, 3), "D");
    ASSERT_TRUE(keypad.Connect(board.Hub().HubHandle(), device_id::kKeypad));
    // Rows from the upper nibble of P2, columns back into its lower nibble.
    ASSERT_TRUE(board.Hub().ConnectDigital(2002, 2, 0xF0, 2004, keypad.PinsetId("Row"), 0x0F));
    ASSERT_TRUE(board.Hub().ConnectDigital(2004, keypad.PinsetId("Column"), 0x0F, 2002, 2, 0x0F));
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
