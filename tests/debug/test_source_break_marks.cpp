// Execute breakpoints on source lines: the toggle of one view, which keeps the Emulator, the
// appliance's records and the marks in step, and the marks rebuilt from the records. The
// commands over all views are tested through the DebugMonitor.

#include "appliance/Appliance.h"
#include "debug/SourceBreakMarks.h"
#include "debug/SymblerRig.h"
#include "support/FakeEmulator.h"

#include <functional>
#include <gtest/gtest.h>

namespace bx {
namespace {

using test::FakeEmulator;
using Call = FakeEmulator::BreakCall;
using Lines = std::vector<int32_t>;

void Wire(SourceBreakMarks& view, const std::shared_ptr<FakeEmulator>& emulator,
          Appliance& appliance, Symbler& symbler, int32_t file) {
    view.TargetEmulator = emulator;
    view.TargetAppliance = &appliance;
    view.Symbols = &symbler;
    view.FileId = file;
}

// A view of file 2 on a loaded fake library in which lines 9 and 10 of file 2 (one of them
// banked) and line 4 of file 3 have code; an appliance and a fake emulator.
struct MarksRig : test::FakeSymbler {
    MarksRig() {
        fake->LineAddresses[{2, 9}] = 0x14006;
        fake->LineAddresses[{2, 10}] = 0x8008;
        fake->LineAddresses[{3, 4}] = 0x9000;
        fake->Sources[0x14006] = {2, 9};
        fake->Sources[0x8008] = {2, 10};
        fake->Sources[0x9000] = {3, 4};
        symbler.ListFilePath("app.sym");
        Wire(view, emulator, appliance, symbler, 2);
        view.QueryBusy = [this] { return running; };
        view.Repaint = [this] { ++repaints; };
    }

    std::shared_ptr<FakeEmulator> emulator = std::make_shared<FakeEmulator>();
    Appliance appliance;
    SourceBreakMarks view;
    bool running = false;
    int repaints = 0;
};

TEST(SourceBreakMarks, AToggleSetsAndClearsInTheEmulatorAndTheApplianceAndMarksTheLine) {
    MarksRig r;
    EXPECT_EQ(SourceBreakMarks::MarkKey(17), "L17");
    r.running = true; // the simulator takes a toggle during a run

    EXPECT_EQ(r.view.ToggleLineBreak(9), ToggleOutcome::Set);
    EXPECT_EQ(r.emulator->BreakFlagsAt(0x14006), 1);
    EXPECT_NE(r.appliance.Breakpoints().Item(0, 0x14006, 1, 1), nullptr)
        << "bank 0 in the record, the bank inside the address";
    EXPECT_EQ(r.view.MarkedLines(), Lines{9});
    EXPECT_EQ(r.repaints, 1);

    EXPECT_EQ(r.view.ToggleLineBreak(9), ToggleOutcome::Cleared);
    EXPECT_EQ(r.emulator->ClearBreakCalls, (std::vector<Call>{{0x14006, 1, 1}}));
    EXPECT_EQ(r.emulator->BreakFlagsAt(0x14006), 0);
    EXPECT_EQ(r.appliance.Breakpoints().Count(), 0u);
    EXPECT_TRUE(r.view.MarkedLines().empty());
    EXPECT_EQ(r.repaints, 2);

    // A negative line toggles the selected line; a line given wins over the selection.
    r.view.SelectedLine = 10;
    EXPECT_EQ(r.view.ToggleBreak(-1), ToggleOutcome::Set);
    EXPECT_EQ(r.view.ToggleBreak(9), ToggleOutcome::Set);
    EXPECT_EQ(r.view.MarkedLines(), (Lines{10, 9}));
}

TEST(SourceBreakMarks, AToggleThatCannotBeMadeChangesNothing) {
    const std::tuple<const char*, std::function<void(MarksRig&)>, int32_t, ToggleOutcome> cases[] =
        {
            {"a line without code", [](MarksRig&) {}, 5, ToggleOutcome::NoCode},
            {"a running ICE target: the symbols aren't asked",
             [](MarksRig& r) { r.appliance.ExtDebuggerInUse = r.running = true; }, 9,
             ToggleOutcome::Busy},
            {"no selected line", [](MarksRig&) {}, -1, ToggleOutcome::NoLine},
            {"no emulator", [](MarksRig& r) { r.view.TargetEmulator.reset(); }, 9,
             ToggleOutcome::NotReady},
        };
    for (const auto& [what, arrange, line, outcome] : cases) {
        SCOPED_TRACE(what);
        MarksRig r;
        arrange(r);
        const std::size_t asked = r.fake->Calls.size();

        EXPECT_EQ(r.view.ToggleBreak(line), outcome);

        EXPECT_TRUE(r.emulator->Calls.empty());
        EXPECT_EQ(r.appliance.Breakpoints().Count(), 0u);
        EXPECT_TRUE(r.view.MarkedLines().empty());
        EXPECT_EQ(r.fake->Calls.size() - asked, line == 5 ? 1u : 0u) << "GetAddress 2 5 only";
    }
    MarksRig stopped;
    stopped.appliance.ExtDebuggerInUse = true;
    EXPECT_EQ(stopped.view.ToggleLineBreak(9), ToggleOutcome::Set) << "a halted ICE takes it";
}

TEST(SourceBreakMarks, InitBreakpointsMarksTheExecuteRecordsOfThisFileOnly) {
    MarksRig r;
    r.appliance.Breakpoints().Add(0, 0x14006, 1, 1); // file 2 line 9
    r.appliance.Breakpoints().Add(0, 0x9000, 1, 1);  // file 3: another view's
    r.appliance.Breakpoints().Add(0, 0x8008, 4, 2);  // a read breakpoint: no mark
    r.appliance.Breakpoints().Add(0, 0x7777, 1, 1);  // no source
    r.appliance.Breakpoints().Add(1, 0x14006, 1, 1); // the same line once more: one mark
    r.view.ToggleLineBreak(10); // its record is in the appliance too, so the mark comes back

    r.view.InitBreakpoints();
    EXPECT_EQ(r.view.MarkedLines(), (Lines{9, 10}));

    // Emptying the marks leaves the Emulator and the appliance alone.
    r.emulator->Calls.clear();
    r.view.ClearAllBreakMarks();
    EXPECT_TRUE(r.view.MarkedLines().empty());
    EXPECT_TRUE(r.emulator->Calls.empty());
    EXPECT_EQ(r.appliance.Breakpoints().Count(), 6u);

    r.view.TargetEmulator.reset();
    r.view.InitBreakpoints();
    EXPECT_TRUE(r.view.MarkedLines().empty()) << "needs the emulator";
}

// ---- On a real debug file ---------------------------------------------------------------------

TEST(BreakMarksOnLd65File, ToggleInABankedFileSetsTheBankedAddress) {
    SKIP_WITHOUT_BUILD_TOOLS();
    test::Ld65Symbler built;
    ASSERT_TRUE(built.symbler.Loaded()) << built.build.Log;
    Symbler& symbler = built.symbler;
    auto emulator = std::make_shared<FakeEmulator>();
    Appliance appliance;
    SourceBreakMarks b1, again;
    Wire(b1, emulator, appliance, symbler, 2);

    EXPECT_EQ(b1.ToggleLineBreak(9), ToggleOutcome::Set);
    EXPECT_EQ(b1.ToggleLineBreak(6), ToggleOutcome::NoCode) << "a label alone";
    EXPECT_EQ(emulator->SetBreakCalls, (std::vector<Call>{{0x14006, 1, 1}}));

    Wire(again, emulator, appliance, symbler, 2); // the view after a power cycle
    again.InitBreakpoints();
    EXPECT_EQ(again.MarkedLines(), (Lines{9}));
}

} // namespace
} // namespace bx
