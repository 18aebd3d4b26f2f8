#include "appliance/Appliance.h"
#include "debug/SourceBreakMarks.h"
#include "debug/Symbler.h"
#include "foundation/Diagnoser.h"
#include "support/Cc65Toolchain.h"
#include "support/FakeEmulator.h"
#include "support/FakeSymbolLibrary.h"
#include "support/TempFolder.h"
#include "symbols/Ld65SymbolLibrary.h"

#include <gtest/gtest.h>

namespace bx {
namespace {

using test::FakeEmulator;
using test::FakeSymbolLibrary;
using test::TempFolder;
using Call = FakeEmulator::BreakCall;

// One view of file 2 on a loaded fake library in which lines 9 and 10 have code (one of them
// banked), an appliance and a fake emulator.
class BreakMarksOfAView : public ::testing::Test {
protected:
    BreakMarksOfAView()
        : diagnoser(logFolder.Sub("vkbx.log")),
          symbler(
              [this] {
                  auto library = std::make_unique<FakeSymbolLibrary>();
                  fake = library.get();
                  return library;
              },
              diagnoser) {
        fake->LineAddresses[{2, 9}] = 0x14006;
        fake->LineAddresses[{2, 10}] = 0x8008;
        fake->LineAddresses[{3, 4}] = 0x9000;
        fake->Sources[0x14006] = {2, 9};
        fake->Sources[0x8008] = {2, 10};
        fake->Sources[0x9000] = {3, 4};
        symbler.ListFilePath("app.sym");
        emulator = std::make_shared<FakeEmulator>();
        view.TargetEmulator = emulator;
        view.TargetAppliance = &appliance;
        view.Symbols = &symbler;
        view.FileId = 2;
        view.QueryBusy = [this] { return running; };
        view.Repaint = [this] { ++repaints; };
    }

    TempFolder logFolder;
    Diagnoser diagnoser;
    FakeSymbolLibrary* fake = nullptr;
    Symbler symbler;
    std::shared_ptr<FakeEmulator> emulator;
    Appliance appliance;
    SourceBreakMarks view;
    bool running = false;
    int repaints = 0;
};

TEST(SourceBreakMarkKeys, TheKeyOfALineIsLFollowedByItsNumber) {
    EXPECT_EQ(SourceBreakMarks::MarkKey(17), "L17");
    EXPECT_EQ(SourceBreakMarks::MarkKey(0), "L0");
}

// ---- The toggle at a line ---------------------------------------------------------------------

TEST_F(BreakMarksOfAView, ToggleSetsTheBreakInTheEmulatorAndTheApplianceAndMarksTheLine) {
    EXPECT_EQ(view.ToggleLineBreak(9), ToggleOutcome::Set);
    EXPECT_EQ(emulator->SetBreakCalls, (std::vector<Call>{{0x14006, 1, 1}}));
    EXPECT_TRUE(emulator->ClearBreakCalls.empty());
    EXPECT_NE(appliance.Breakpoints().Item(0, 0x14006, 1, 1), nullptr)
        << "bank 0 in the record, the bank inside the address";
    EXPECT_EQ(appliance.Breakpoints().Count(), 1u);
    EXPECT_TRUE(view.IsMarked(9));
    EXPECT_EQ(repaints, 1);
}

TEST_F(BreakMarksOfAView, ASecondToggleClearsItEverywhere) {
    view.ToggleLineBreak(9);
    EXPECT_EQ(view.ToggleLineBreak(9), ToggleOutcome::Cleared);
    EXPECT_EQ(emulator->ClearBreakCalls, (std::vector<Call>{{0x14006, 1, 1}}));
    EXPECT_EQ(emulator->BreakFlagsAt(0x14006), 0);
    EXPECT_EQ(appliance.Breakpoints().Count(), 0u);
    EXPECT_FALSE(view.IsMarked(9));
    EXPECT_EQ(repaints, 2);
}

TEST_F(BreakMarksOfAView, ALineWithoutCodeChangesNothing) {
    EXPECT_EQ(view.ToggleLineBreak(5), ToggleOutcome::NoCode);
    EXPECT_EQ(fake->Calls.back(), "GetAddress 2 5");
    EXPECT_TRUE(emulator->SetBreakCalls.empty());
    EXPECT_EQ(appliance.Breakpoints().Count(), 0u);
    EXPECT_TRUE(view.MarkedLines().empty());
    EXPECT_EQ(repaints, 0);
}

TEST_F(BreakMarksOfAView, UnderIceARunningTargetRefusesTheToggleWithoutAskingTheSymbols) {
    appliance.ExtDebuggerInUse = true;
    running = true;
    std::size_t callsBefore = fake->Calls.size();
    EXPECT_EQ(view.ToggleLineBreak(9), ToggleOutcome::Busy);
    EXPECT_EQ(fake->Calls.size(), callsBefore);
    EXPECT_TRUE(emulator->SetBreakCalls.empty());
    EXPECT_FALSE(view.IsMarked(9));
    running = false;
    EXPECT_EQ(view.ToggleLineBreak(9), ToggleOutcome::Set) << "stopped, the ICE takes it";
}

TEST_F(BreakMarksOfAView, TheSimulatorTakesToggleDuringARun) {
    running = true;
    EXPECT_EQ(view.ToggleLineBreak(10), ToggleOutcome::Set);
    EXPECT_EQ(emulator->SetBreakCalls, (std::vector<Call>{{0x8008, 1, 1}}));
}

TEST_F(BreakMarksOfAView, ANegativeLineTogglesTheSelectedLineIfThereIsOne) {
    EXPECT_EQ(view.ToggleBreak(-1), ToggleOutcome::NoLine);
    view.SelectedLine = 10;
    EXPECT_EQ(view.ToggleBreak(-1), ToggleOutcome::Set);
    EXPECT_TRUE(view.IsMarked(10));
    EXPECT_EQ(view.ToggleBreak(9), ToggleOutcome::Set) << "a given line wins over the selection";
    EXPECT_EQ(view.MarkedLines(), (std::vector<int32_t>{10, 9}));
}

TEST_F(BreakMarksOfAView, AViewWithoutItsObjectsDoesNothing) {
    SourceBreakMarks bare;
    EXPECT_EQ(bare.ToggleLineBreak(9), ToggleOutcome::NotReady);
    bare.Symbols = &symbler;
    bare.TargetAppliance = &appliance;
    EXPECT_EQ(bare.ToggleLineBreak(9), ToggleOutcome::NotReady) << "no emulator";
    EXPECT_EQ(appliance.Breakpoints().Count(), 0u);
}

TEST_F(BreakMarksOfAView, BeforeTheSymbolsLoadEveryLineCountsAsWithoutCode) {
    fake->LoadSucceeds = false;
    symbler.ListFilePath("broken.sym");
    EXPECT_EQ(view.ToggleLineBreak(9), ToggleOutcome::NoCode);
}

// ---- Marks from the appliance -----------------------------------------------------------------

TEST_F(BreakMarksOfAView, InitBreakpointsMarksTheExecuteRecordsOfThisFileOnly) {
    appliance.Breakpoints().Add(0, 0x14006, 1, 1); // file 2 line 9
    appliance.Breakpoints().Add(0, 0x9000, 1, 1);  // file 3: another view's
    appliance.Breakpoints().Add(0, 0x8008, 4, 2);  // a read breakpoint: no mark
    appliance.Breakpoints().Add(0, 0x7777, 1, 1);  // no source
    appliance.Breakpoints().Add(1, 0x14006, 1, 1); // the same line once more: one mark
    view.ToggleLineBreak(10); // its record is in the appliance too, so the mark comes back
    view.InitBreakpoints();
    EXPECT_EQ(view.MarkedLines(), (std::vector<int32_t>{9, 10}));
}

TEST_F(BreakMarksOfAView, InitBreakpointsNeedsTheSymblerAndTheEmulator) {
    appliance.Breakpoints().Add(0, 0x14006, 1, 1);
    view.TargetEmulator.reset();
    view.InitBreakpoints();
    EXPECT_TRUE(view.MarkedLines().empty());
}

TEST_F(BreakMarksOfAView, ClearAllBreakMarksLeavesTheEmulatorAndTheApplianceAlone) {
    view.ToggleLineBreak(9);
    emulator->Calls.clear();
    view.ClearAllBreakMarks();
    EXPECT_TRUE(view.MarkedLines().empty());
    EXPECT_TRUE(emulator->Calls.empty());
    EXPECT_EQ(appliance.Breakpoints().Count(), 1u);
    EXPECT_EQ(repaints, 2);
}

// ---- The debugger's commands over all views ---------------------------------------------------

class BreakMarksOfTwoViews : public BreakMarksOfAView {
protected:
    BreakMarksOfTwoViews() {
        other.TargetEmulator = emulator;
        other.TargetAppliance = &appliance;
        other.Symbols = &symbler;
        other.FileId = 3;
        views = {&other, &view};
    }
    SourceBreakMarks other;
    std::vector<SourceBreakMarks*> views;
};

TEST_F(BreakMarksOfTwoViews, ToggleBreakInViewsTogglesTheLineOfTheViewNamed) {
    EXPECT_EQ(ToggleBreakInViews(views, 0, 1, 9), ToggleOutcome::Set);
    EXPECT_TRUE(view.IsMarked(9));
    EXPECT_EQ(ToggleBreakInViews(views, 0, 0, 4), ToggleOutcome::NoLine)
        << "a view must be above 0";
    EXPECT_FALSE(other.IsMarked(4));
    EXPECT_EQ(ToggleBreakInViews(views, 0, 5, 4), ToggleOutcome::NoLine) << "no such view";
}

TEST_F(BreakMarksOfTwoViews, ANegativeArgumentTogglesTheSelectedLineOfTheCurrentView) {
    other.SelectedLine = 4;
    EXPECT_EQ(ToggleBreakInViews(views, 0, -1, 99), ToggleOutcome::Set);
    EXPECT_TRUE(other.IsMarked(4));
    EXPECT_EQ(ToggleBreakInViews(views, 0, 1, -1), ToggleOutcome::Cleared);
    EXPECT_FALSE(other.IsMarked(4));
    EXPECT_EQ(ToggleBreakInViews(views, -1, -1, -1), ToggleOutcome::NoLine) << "no current view";
}

TEST_F(BreakMarksOfTwoViews, ClearAllBreaksEmptiesTheEmulatorTheApplianceAndEveryView) {
    view.ToggleLineBreak(9);
    other.ToggleLineBreak(4);
    ClearAllBreaks(*emulator, appliance, views, true);
    EXPECT_EQ(emulator->ClearBreakCalls.back(), (Call{0, 7, -1}));
    EXPECT_EQ(appliance.Breakpoints().Count(), 0u);
    EXPECT_TRUE(view.MarkedLines().empty());
    EXPECT_TRUE(other.MarkedLines().empty());
}

TEST_F(BreakMarksOfTwoViews, WithNoViewCurrentClearAllBreaksLeavesTheMarks) {
    view.ToggleLineBreak(9);
    ClearAllBreaks(*emulator, appliance, views, false);
    EXPECT_EQ(emulator->ClearBreakCalls.back(), (Call{0, 7, -1}));
    EXPECT_EQ(appliance.Breakpoints().Count(), 0u);
    EXPECT_TRUE(view.IsMarked(9));
}

// ---- On a real debug file ---------------------------------------------------------------------

TEST(BreakMarksOnLd65File, ToggleInABankedFileSetsTheBankedAddress) {
    if (!test::Cc65Available())
        GTEST_SKIP() << test::kNoCc65;
    TempFolder folder;
    test::Cc65Build build = test::BuildBankedProgram(folder);
    ASSERT_TRUE(build.Ok) << build.Log;
    Diagnoser diagnoser(folder.Sub("vkbx.log"));
    Symbler symbler([] { return std::make_unique<symbols::Ld65SymbolLibrary>(); }, diagnoser);
    symbler.ListFilePath(folder.Sub("rom.sym"));
    ASSERT_TRUE(symbler.Loaded()) << symbler.LoadError();
    auto emulator = std::make_shared<FakeEmulator>();
    Appliance appliance;
    SourceBreakMarks b1;
    b1.TargetEmulator = emulator;
    b1.TargetAppliance = &appliance;
    b1.Symbols = &symbler;
    b1.FileId = 2;

    EXPECT_EQ(b1.ToggleLineBreak(9), ToggleOutcome::Set);
    EXPECT_EQ(b1.ToggleLineBreak(6), ToggleOutcome::NoCode) << "a label alone";
    EXPECT_EQ(emulator->SetBreakCalls, (std::vector<Call>{{0x14006, 1, 1}}));
    EXPECT_EQ(emulator->BreakFlagsAt(0x14006), 1);

    SourceBreakMarks again; // the view after a power cycle
    again.TargetEmulator = emulator;
    again.TargetAppliance = &appliance;
    again.Symbols = &symbler;
    again.FileId = 2;
    again.InitBreakpoints();
    EXPECT_EQ(again.MarkedLines(), (std::vector<int32_t>{9}));
}

} // namespace
} // namespace bx
