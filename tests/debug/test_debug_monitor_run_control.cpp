// DebugMonitor's run control on a fake target: Continue, Step, StepOver and its temporary
// breakpoint, the breaks, the stop messages, Reset and the model selection.

#include "debug/DebugMonitorRig.h"
#include "foundation/Error.h"

#include <algorithm>
#include <gtest/gtest.h>

namespace bx {
namespace {

using test::DebugMonitorRig;
using test::FakeEmulator;
using test::RecordedBox;
using Strings = std::vector<std::string>;
using Call = FakeEmulator::BreakCall;

constexpr int32_t kPC = 0x8000;
constexpr int32_t kReturn = kPC + 3;

// A halted target at kPC, the appliance's model selected, no source tabs.
class RunControl : public ::testing::Test {
protected:
    RunControl() {
        rig.appliance.Model = "KTR311";
        rig.appliance.ClockParam = "3.58";
        monitor = &rig.Create();
        emulator().Model = emulator_model::kKTR311;
        emulator().Cpu->PC = kPC;
    }

    FakeEmulator& emulator() { return rig.targets.Current(); }
    // The calls of the Emulator since the last Forget().
    Strings Calls() const {
        const Strings& all = rig.targets.Emulators.back()->Calls;
        return Strings(all.begin() + static_cast<std::ptrdiff_t>(seen_), all.end());
    }
    void Forget() { seen_ = emulator().Calls.size(); }
    bool Called(const std::string& call) const {
        const Strings calls = Calls();
        return std::find(calls.begin(), calls.end(), call) != calls.end();
    }
    // The calls whose text starts with prefix, since the last Forget().
    Strings CallsStarting(const std::string& prefix) const {
        Strings found;
        for (const std::string& call : Calls())
            if (call.starts_with(prefix))
                found.push_back(call);
        return found;
    }

    DebugMonitorRig rig;
    DebugMonitor* monitor = nullptr;

private:
    std::size_t seen_ = 0;
};

// The calls of a full refresh, UpdateStatus(True, True, True, True), on a target without tabs.
const Strings kFullRefresh{"Inspectors Busy",
                           "SetReadAhead 0 768 1 0",
                           "Inspectors ReloadRegisters",
                           "Inspectors ReloadWatches",
                           "SetReadAhead 0 0 0 0",
                           "Inspectors ReloadMemory",
                           "GetCpuState",
                           "Inspectors NotBusy"};

TEST_F(RunControl, ContinueRunsAndStepRefreshesWithoutTouchingRunning) {
    monitor->Step();
    Strings expected{"Step"};
    expected.insert(expected.end(), kFullRefresh.begin(), kFullRefresh.end());
    EXPECT_EQ(Calls(), expected);
    EXPECT_FALSE(monitor->Running());

    Forget();
    monitor->Continue();
    EXPECT_EQ(Calls(), Strings{"Run"});
    EXPECT_TRUE(monitor->Running());
}

TEST_F(RunControl, StepOverAnInstructionThatCallsNothingSteps) {
    emulator().Poke(kPC, {0xEA}); // NOP

    monitor->StepOver();

    EXPECT_TRUE(Called("Step"));
    EXPECT_FALSE(Called("Run"));
    EXPECT_TRUE(emulator().SetBreakCalls.empty());
    EXPECT_FALSE(monitor->Running());
    EXPECT_EQ(monitor->TempBreak(), -1);
}

TEST_F(RunControl, StepOverAUserBreakpointAtTheReturnAddressPlacesNothingAndRuns) {
    emulator().Poke(kPC, {0x20, 0x00, 0x90}); // JSR $9000
    emulator().SetBreak(kReturn, break_kind::kExecute, 1);
    emulator().SetBreakCalls.clear();

    monitor->StepOver();

    EXPECT_TRUE(emulator().SetBreakCalls.empty());
    EXPECT_EQ(monitor->TempBreak(), -1);
    EXPECT_TRUE(monitor->Running());
    EXPECT_EQ(Calls().back(), "Run");

    emulator().RaiseBreakHit(0, kReturn, 1);
    EXPECT_TRUE(emulator().ClearBreakCalls.empty()) << "the user's breakpoint stays";
    EXPECT_EQ(emulator().BreakFlagsAt(kReturn), break_kind::kExecute);
}

TEST_F(RunControl, StepOverPlacesATemporaryBreakpointThatTheNextStopRemoves) {
    // Whatever else stands at the return address (nothing, or a memory breakpoint of read,
    // write or both), the temporary execute breakpoint goes on top and leaves it as it was.
    for (int32_t memoryKinds : {0, 2, 4, 6}) {
        SCOPED_TRACE("flags " + std::to_string(memoryKinds));
        emulator().SetBreakCalls.clear();
        emulator().ClearBreakCalls.clear();
        emulator().Poke(kPC, {0x20, 0x00, 0x90});
        if (memoryKinds != 0)
            emulator().SetBreak(kReturn, memoryKinds, 1);
        emulator().SetBreakCalls.clear();

        monitor->StepOver();

        EXPECT_EQ(emulator().SetBreakCalls, (std::vector<Call>{{kReturn, 1, 1}}));
        EXPECT_EQ(monitor->TempBreak(), kReturn);
        EXPECT_TRUE(monitor->Running());
        EXPECT_EQ(emulator().Calls.back(), "Run");

        // The stop comes elsewhere (another breakpoint): the temporary one goes all the same.
        emulator().RaiseBreakHit(0, 0x9004, 1);
        EXPECT_EQ(emulator().ClearBreakCalls, (std::vector<Call>{{kReturn, 1, 1}}));
        EXPECT_EQ(emulator().BreakFlagsAt(kReturn), memoryKinds);
        EXPECT_EQ(monitor->TempBreak(), -1);
        EXPECT_FALSE(monitor->Running());
        if (memoryKinds != 0)
            emulator().ClearBreak(kReturn, memoryKinds, 1);
    }
}

TEST_F(RunControl, StepOverDoesNothingWhenNoBreakpointCanStandAtTheReturnAddress) {
    struct Case {
        const char* what;
        bool refuse;
        bool unreadable;
    };
    for (const Case& c :
         {Case{"SetBreak refused", true, false}, Case{"flags unreadable", false, true}}) {
        SCOPED_TRACE(c.what);
        DebugMonitorRig rig;
        DebugMonitor& monitor = rig.Create();
        FakeEmulator& emulator = rig.targets.Current();
        emulator.Cpu->PC = kPC;
        emulator.Poke(kPC, {0x20, 0x00, 0x90});
        emulator.RefuseBreaks = c.refuse;
        if (c.unreadable)
            emulator.MakeUnreadable(kReturn, 1);

        monitor.StepOver();

        EXPECT_EQ(emulator.SetBreakCalls.size(), c.refuse ? 1u : 0u);
        EXPECT_EQ(std::count(emulator.Calls.begin(), emulator.Calls.end(), "Run"), 0);
        EXPECT_EQ(std::count(emulator.Calls.begin(), emulator.Calls.end(), "Step"), 0);
        EXPECT_FALSE(monitor.Running());
        EXPECT_EQ(monitor.TempBreak(), -1);
        EXPECT_TRUE(rig.inspectors.Calls.empty()) << "no refresh either";
    }
}

TEST_F(RunControl, BreakRefreshesOnlyATargetThatWasRunning) {
    EXPECT_FALSE(monitor->Break());
    EXPECT_EQ(Calls(), Strings{"Stop"});

    monitor->Continue();
    Forget();
    EXPECT_TRUE(monitor->Break());
    Strings expected{"Stop"};
    expected.insert(expected.end(), kFullRefresh.begin(), kFullRefresh.end());
    EXPECT_EQ(Calls(), expected);
    EXPECT_FALSE(monitor->Running());
}

TEST_F(RunControl, BreakIfNecessaryStopsOnlyARunningTargetAndTellsWhetherItRan) {
    EXPECT_FALSE(monitor->BreakIfNecessary());
    EXPECT_TRUE(Calls().empty());

    monitor->Continue();
    Forget();
    EXPECT_TRUE(monitor->BreakIfNecessary());
    EXPECT_EQ(Calls(), Strings{"Stop"}) << "a stop without refresh";
    EXPECT_FALSE(monitor->Running());
}

TEST_F(RunControl, AStopThatWasAskedForIsDroppedWhenItsEventComesLate) {
    monitor->Continue();
    monitor->SimpleBreak();
    Forget();

    emulator().RaiseBreakHit(0, 0x8123, 2);

    EXPECT_TRUE(Calls().empty());
    EXPECT_TRUE(rig.prompter.Boxes().empty());
    EXPECT_TRUE(rig.host.Stops.empty());
    EXPECT_TRUE(rig.TextsAt(9010).empty());
}

TEST_F(RunControl, AStopRefreshesExplainsItsCauseAndThenTellsTheHost) {
    struct Case {
        int32_t cond;
        const char* message; // nullptr: no box
    };
    const char* unknown = "A breakpoint is hit on the previous line for an unknown reason "
                          "(possibly an illegal instruction).";
    const Case cases[] = {
        {1, nullptr},
        {2, "A breakpoint is hit because of a READ operation in the previous instruction."},
        {4, "A breakpoint is hit because of a WRITE operation in the previous instruction."},
        {3, unknown},
        {6, unknown},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE("Cond " + std::to_string(c.cond));
        DebugMonitorRig rig;
        DebugMonitor& monitor = rig.Create();
        monitor.Continue();

        rig.targets.Current().RaiseBreakHit(1, 0x4005, c.cond);

        EXPECT_FALSE(monitor.Running());
        EXPECT_EQ(rig.TextsAt(9010), Strings{"BreakHit @ 01:4005"});
        EXPECT_NE(
            std::find(rig.inspectors.Calls.begin(), rig.inspectors.Calls.end(), "ReloadRegisters"),
            rig.inspectors.Calls.end())
            << "the views were brought to the stop";
        if (c.message == nullptr) {
            EXPECT_TRUE(rig.prompter.Boxes().empty());
        } else {
            ASSERT_EQ(rig.prompter.Boxes().size(), 1u);
            const RecordedBox& box = rig.prompter.Boxes()[0];
            EXPECT_EQ(box.title, "Breakpoint Hit");
            EXPECT_EQ(box.text, c.message);
            EXPECT_EQ(box.buttons, Buttons::Ok);
            EXPECT_EQ(box.icon, Icon::Information);
        }
        ASSERT_EQ(rig.host.Stops.size(), 1u);
        EXPECT_EQ(rig.host.Stops[0],
                  (test::RecordingHost::Stop{1, 0x4005, c.cond, rig.prompter.Boxes().size()}))
            << "raised after the message";
    }
}

// ---- Reset ----------------------------------------------------------------------------------

TEST_F(RunControl, ResetSetsClockAndOptionsThenResetsAndRefreshes) {
    struct Case {
        const char* clock;
        const char* opClock;
        bool wdt, rc;
        int32_t hertz;
        Strings options;
    };
    const Case cases[] = {
        {"3.58", "3.58M", false, false, 3580000, {"SetOption DualClock 0"}},
        {"4", "32.768k/4M", true, false, 4000000, {"SetOption DualClock 1", "SetOption WDT 1"}},
        {"1.8432", "", false, true, 1843200, {"SetOption DualClock 0", "SetOption UseRC 1"}},
        {"8",
         "/",
         true,
         true,
         8000000,
         {"SetOption DualClock 1", "SetOption WDT 1", "SetOption UseRC 1"}},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(std::string(c.clock) + " " + c.opClock);
        rig.appliance.ClockParam = c.clock;
        rig.appliance.OPClock = c.opClock;
        rig.appliance.WDT = c.wdt;
        rig.appliance.Oscillator = c.rc;
        for (int round = 0; round < 2; ++round) {
            SCOPED_TRACE("reset " + std::to_string(round + 1));
            Forget();
            monitor->Reset();
            EXPECT_EQ(CallsStarting("SetClock"), Strings{"SetClock 0 " + std::to_string(c.hertz)});
            EXPECT_EQ(CallsStarting("SetOption"), c.options);
            const Strings calls = Calls();
            const auto reset = std::find(calls.begin(), calls.end(), "Reset");
            ASSERT_NE(reset, calls.end());
            EXPECT_EQ(Strings(reset + 1, calls.end()), kFullRefresh);
        }
    }
    EXPECT_EQ(rig.TextsAt(710).size(), 8u);
    EXPECT_EQ(rig.TextsAt(720).size(), 8u);
}

class ResetRefusingEmulator : public FakeEmulator {
public:
    int32_t Reset() override {
        FakeEmulator::Reset();
        throw BxError(1, "Emulator", "reset refused");
    }
};

TEST(DebugMonitorReset, AnErrorOfTheTargetsResetIsIgnored) {
    DebugMonitorRig rig;
    rig.targets.MakeEmulator = [] { return std::make_shared<ResetRefusingEmulator>(); };
    rig.appliance.Model = "KTR311";
    DebugMonitor& monitor = rig.Create();

    EXPECT_NO_THROW(monitor.Reset());

    EXPECT_TRUE(rig.TextsAt(710).empty());
    EXPECT_EQ(rig.TextsAt(720).size(), 1u) << "the refresh went on";
    EXPECT_EQ(rig.inspectors.Calls.back(), "NotBusy");
}

// ---- The model ------------------------------------------------------------------------------

TEST(DebugMonitorInitMcuModel, SelectsTheModelByTheBodysNameWithoutRegardToCase) {
    struct Case {
        const char* model;
        int32_t selected;
    };
    const Case cases[] = {
        {"ktr310", 7}, {"Ktr311a", 13}, {"KTR311A", 13}, {"KTR640B", 24}, {"My KTR311 board", 13},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.model);
        DebugMonitorRig rig;
        rig.appliance.Model = c.model;
        DebugMonitor& monitor = rig.Create();
        FakeEmulator& emulator = rig.targets.Current();

        EXPECT_TRUE(monitor.InitMcuModel());

        EXPECT_EQ(emulator.Model, c.selected);
        EXPECT_TRUE(rig.prompter.Boxes().empty());
        EXPECT_EQ(rig.Points(), (std::vector<int32_t>{900, 910, 920, 810, 820}));
    }
}

TEST(DebugMonitorInitMcuModel, AnUnknownBodyIsSimulatedAsKtr311AWithOneWarning) {
    DebugMonitorRig rig;
    rig.appliance.Model = "ZX81";
    DebugMonitor& monitor = rig.Create();
    FakeEmulator& emulator = rig.targets.Current();

    EXPECT_TRUE(monitor.InitMcuModel());
    EXPECT_TRUE(monitor.InitMcuModel());

    ASSERT_EQ(rig.prompter.Boxes().size(), 1u);
    const RecordedBox& box = rig.prompter.Boxes()[0];
    EXPECT_EQ(box.title, "MCU Model Initialization");
    EXPECT_EQ(box.text, "MCU body 'ZX81' is not currently supported by the software simulator. "
                        "\r\nKTR311A is simulated instead.");
    EXPECT_EQ(box.buttons, Buttons::Ok);
    EXPECT_EQ(box.icon, Icon::Exclamation);
    EXPECT_EQ(emulator.Model, emulator_model::kKTR311);
    EXPECT_EQ(std::count(emulator.Calls.begin(), emulator.Calls.end(), "SetModel 13"), 1)
        << "the second call finds 13 selected and leaves it";
}

TEST(DebugMonitorInitMcuModel, AnUnknownBodyWarnsWhenAnotherModelIsSelected) {
    DebugMonitorRig rig;
    rig.appliance.Model = "ZX81";
    DebugMonitor& monitor = rig.Create();
    rig.targets.Current().Model = emulator_model::kKTR640;

    EXPECT_TRUE(monitor.InitMcuModel());

    EXPECT_EQ(rig.prompter.Boxes().size(), 1u);
    EXPECT_EQ(rig.targets.Current().Model, emulator_model::kKTR311);
}

TEST(DebugMonitorInitMcuModel, UnderIceSelectsTheIceNumberAndFailsWhenRefused) {
    for (int16_t number : {24, 99}) {
        SCOPED_TRACE(number);
        DebugMonitorRig rig;
        rig.appliance.ExtDebuggerInUse = true;
        rig.appliance.IceEmuNumber = number;
        rig.appliance.Model = "ZX81";
        DebugMonitor& monitor = rig.Create();

        EXPECT_EQ(monitor.InitMcuModel(), number == 24);

        EXPECT_EQ(rig.targets.Current().Calls.front(), "SetModel " + std::to_string(number));
        EXPECT_TRUE(rig.prompter.Boxes().empty()) << "the body's name plays no part";
    }
}

} // namespace
} // namespace bx
