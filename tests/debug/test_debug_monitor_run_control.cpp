// DebugMonitor's run control on a fake target: the commands and what they ask of the target,
// StepOver and its temporary breakpoint, the stops and their messages, Reset and the model.

#include "debug/DebugMonitorRig.h"
#include "foundation/Error.h"

#include <functional>
#include <gtest/gtest.h>

namespace bx {
namespace {

using test::DebugMonitorRig;
using test::FakeEmulator;
using Strings = std::vector<std::string>;
using Call = FakeEmulator::BreakCall;

constexpr int32_t kPC = 0x8000;
constexpr int32_t kReturn = kPC + 3;
const std::vector<uint8_t> kJsr{0x20, 0x00, 0x90}; // JSR $9000

// The calls of a full refresh, UpdateStatus(True, True, True, True), on a target without tabs.
// clang-format off
const Strings kFullRefresh{"Inspectors Busy", "SetReadAhead 0 768 1 0", "Inspectors ReloadRegisters",
    "Inspectors ReloadWatches", "SetReadAhead 0 0 0 0", "Inspectors ReloadMemory", "GetCpuState",
    "Inspectors NotBusy"};
// clang-format on

Strings Then(Strings first, const Strings& more) {
    first.insert(first.end(), more.begin(), more.end());
    return first;
}

// A monitor on a halted target at kPC, the appliance's model selected, no source tabs.
struct Halted {
    Halted() {
        rig.appliance.Model = "KTR311";
        rig.Create();
        emulator().Cpu->PC = kPC;
    }
    FakeEmulator& emulator() { return rig.targets.Current(); }
    DebugMonitor& monitor() { return *rig.monitor; }
    // The Emulator's calls since the last Forget().
    Strings Calls() { return Strings(emulator().Calls.begin() + seen, emulator().Calls.end()); }
    void Forget() { seen = static_cast<std::ptrdiff_t>(emulator().Calls.size()); }

    DebugMonitorRig rig;
    std::ptrdiff_t seen = 0;
};

TEST(DebugMonitorRunControl, EachCommandAsksTheTargetAndRefreshesOnlyAfterAStop) {
    const auto step = [](DebugMonitor& m) { return m.Step(), true; };
    const auto go = [](DebugMonitor& m) { return m.Continue(), true; };
    const auto brk = [](DebugMonitor& m) { return m.Break(); };
    const auto ifNecessary = [](DebugMonitor& m) { return m.BreakIfNecessary(); };
    const auto simple = [](DebugMonitor& m) { return m.SimpleBreak(); };
    struct Case {
        const char* what;
        bool running;
        std::function<bool(DebugMonitor&)> command; // its answer, true for a void command
        Strings calls;
        bool answer, runningAfter;
    };
    const Case cases[] = {
        {"Step", false, step, Then({"Step"}, kFullRefresh), true, false},
        {"Continue", false, go, {"Run"}, true, true},
        {"Break, halted", false, brk, {"Stop"}, false, false},
        {"Break, running", true, brk, Then({"Stop"}, kFullRefresh), true, false},
        {"BreakIfNecessary, halted", false, ifNecessary, {}, false, false},
        {"BreakIfNecessary, running: no refresh", true, ifNecessary, {"Stop"}, true, false},
        {"SimpleBreak, running", true, simple, {"Stop"}, true, false},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.what);
        Halted t;
        if (c.running)
            t.monitor().Continue();
        t.Forget();

        EXPECT_EQ(c.command(t.monitor()), c.answer);

        EXPECT_EQ(t.Calls(), c.calls);
        EXPECT_EQ(t.monitor().Running(), c.runningAfter);
    }
}

TEST(DebugMonitorRunControl, StepOverRunsToATemporaryBreakpointOnlyOverACall) {
    struct Case {
        const char* what;
        std::vector<uint8_t> code;
        int32_t flagsThere; // the breakpoint kinds standing at the return address
        bool refused, unreadable;
        Strings calls;  // the run control calls
        bool temporary; // a temporary breakpoint was set (and the stop clears it)
    };
    const Case cases[] = {
        {"no call: a step", {0xEA}, 0, false, false, {"Step"}, false},
        {"the user's breakpoint at the return", kJsr, 1, false, false, {"Run"}, false},
        {"nothing there", kJsr, 0, false, false, {"SetBreak 00008003 1 1", "Run"}, true},
        {"a read breakpoint there", kJsr, 2, false, false, {"SetBreak 00008003 1 1", "Run"}, true},
        {"a write breakpoint there", kJsr, 4, false, false, {"SetBreak 00008003 1 1", "Run"}, true},
        {"both there", kJsr, 6, false, false, {"SetBreak 00008003 1 1", "Run"}, true},
        {"SetBreak refused: nothing", kJsr, 0, true, false, {"SetBreak 00008003 1 1"}, false},
        {"flags unreadable: nothing", kJsr, 0, false, true, {}, false},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.what);
        Halted t;
        FakeEmulator& emulator = t.emulator();
        emulator.Poke(kPC, c.code);
        if (c.flagsThere != 0)
            emulator.SetBreak(kReturn, c.flagsThere, 1);
        emulator.RefuseBreaks = c.refused;
        if (c.unreadable)
            emulator.MakeUnreadable(kReturn, 1);
        t.Forget();

        t.monitor().StepOver();

        Strings calls;
        for (const std::string& call : t.Calls())
            if (call == "Step" || call == "Run" || call.starts_with("SetBreak"))
                calls.push_back(call);
        EXPECT_EQ(calls, c.calls);
        EXPECT_EQ(t.monitor().Running(), !c.calls.empty() && c.calls.back() == "Run");
        EXPECT_EQ(t.monitor().TempBreak(), c.temporary ? kReturn : -1);
        if (!t.monitor().Running())
            continue;

        // The stop comes elsewhere (another breakpoint): a temporary breakpoint goes all the
        // same, and whatever stood there before stays.
        emulator.RaiseBreakHit(0, 0x9004, 1);
        EXPECT_EQ(emulator.ClearBreakCalls.size(), c.temporary ? 1u : 0u);
        EXPECT_EQ(emulator.BreakFlagsAt(kReturn), c.flagsThere);
        EXPECT_EQ(t.monitor().TempBreak(), -1);
    }
}

TEST(DebugMonitorRunControl, AStopRefreshesExplainsItsCauseAndThenTellsTheHost) {
    const char* unknown = "A breakpoint is hit on the previous line for an unknown reason "
                          "(possibly an illegal instruction).";
    const std::pair<int32_t, const char*> cases[] = {
        {1, nullptr}, // an execute breakpoint needs no word
        {2, "A breakpoint is hit because of a READ operation in the previous instruction."},
        {4, "A breakpoint is hit because of a WRITE operation in the previous instruction."},
        {3, unknown},
        {6, unknown},
    };
    for (const auto& [cond, message] : cases) {
        SCOPED_TRACE("Cond " + std::to_string(cond));
        Halted t;
        t.monitor().Continue();

        t.emulator().RaiseBreakHit(1, 0x4005, cond);

        EXPECT_FALSE(t.monitor().Running());
        EXPECT_EQ(t.rig.TextsAt(9010), Strings{"BreakHit @ 01:4005"});
        EXPECT_EQ(Strings(t.emulator().Calls.end() - 8, t.emulator().Calls.end()), kFullRefresh);
        ASSERT_EQ(t.rig.prompter.Boxes().size(), message ? 1u : 0u);
        if (message)
            test::ExpectBox(t.rig.prompter.Boxes()[0], "Breakpoint Hit", message, Buttons::Ok,
                            Icon::Information);
        EXPECT_EQ(t.rig.host.Stops, (std::vector<test::RecordingHost::Stop>{
                                        {1, 0x4005, cond, t.rig.prompter.Boxes().size()}}))
            << "raised after the message";
    }

    // A stop that was asked for is dropped when its event comes late.
    Halted t;
    t.monitor().Continue();
    t.monitor().SimpleBreak();
    t.Forget();
    t.emulator().RaiseBreakHit(0, 0x8123, 2);
    EXPECT_TRUE(t.Calls().empty());
    EXPECT_TRUE(t.rig.prompter.Boxes().empty());
    EXPECT_TRUE(t.rig.host.Stops.empty());
}

// ---- Reset ----------------------------------------------------------------------------------

TEST(DebugMonitorRunControl, ResetSelectsTheModelSetsClockAndOptionsThenResetsAndRefreshes) {
    struct Case {
        const char *clock, *opClock;
        bool wdt, rc;
        Strings settings;
    };
    const Case cases[] = {
        {"3.58", "3.58M", false, false, {"SetClock 0 3580000", "SetOption DualClock 0"}},
        {"4",
         "32.768k/4M",
         true,
         false,
         {"SetClock 0 4000000", "SetOption DualClock 1", "SetOption WDT 1"}},
        {"1.8432",
         "",
         false,
         true,
         {"SetClock 0 1843200", "SetOption DualClock 0", "SetOption UseRC 1"}},
        {"8",
         "/",
         true,
         true,
         {"SetClock 0 8000000", "SetOption DualClock 1", "SetOption WDT 1", "SetOption UseRC 1"}},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(std::string(c.clock) + " " + c.opClock);
        Halted t;
        t.rig.appliance.ClockParam = c.clock;
        t.rig.appliance.OPClock = c.opClock;
        t.rig.appliance.WDT = c.wdt;
        t.rig.appliance.Oscillator = c.rc;
        t.Forget();

        t.monitor().Reset();

        EXPECT_EQ(t.Calls(), Then(Then({"SetModel 13", "GetModel"}, c.settings),
                                  Then({"Reset"}, kFullRefresh)));
        EXPECT_EQ(t.rig.TextsAt(710).size(), 1u);
    }

    // A target whose reset fails is refreshed all the same.
    class ResetRefusingEmulator : public FakeEmulator {
    public:
        int32_t Reset() override { throw BxError(1, "Emulator", "reset refused"); }
    };
    DebugMonitorRig rig;
    rig.targets.MakeEmulator = [] { return std::make_shared<ResetRefusingEmulator>(); };
    EXPECT_NO_THROW(rig.Create().Reset());
    EXPECT_TRUE(rig.TextsAt(710).empty());
    EXPECT_EQ(Strings(rig.targets.Current().Calls.end() - 8, rig.targets.Current().Calls.end()),
              kFullRefresh);
}

// ---- The model ------------------------------------------------------------------------------

TEST(DebugMonitorInitMcuModel, SelectsByTheBodysNameOrTheIceNumberAndWarnsOnceForAnUnknownBody) {
    const std::string unknown = "MCU body 'ZX81' is not currently supported by the software "
                                "simulator. \r\nKTR311A is simulated instead.";
    struct Case {
        const char* model;
        int16_t ice; // the ICE's model number, 0 for the simulator
        int32_t selected;
        bool ok;
        Strings boxes;
    };
    const Case cases[] = {
        {"ktr310", 0, 7, true, {}},       {"Ktr311a", 0, 13, true, {}},
        {"KTR640B", 0, 24, true, {}},     {"My KTR311 board", 0, 13, true, {}},
        {"ZX81", 0, 13, true, {unknown}}, // twice: the second finds 13 selected and leaves it
        {"ZX81", 24, 24, true, {}},       // under ICE the body's name plays no part
        {"ZX81", 99, 0, false, {}},       // a number the ICE refuses
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(std::string(c.model) + " " + std::to_string(c.ice));
        DebugMonitorRig rig;
        rig.appliance.Model = c.model;
        rig.appliance.ExtDebuggerInUse = c.ice != 0;
        rig.appliance.IceEmuNumber = c.ice;
        DebugMonitor& monitor = rig.Create();
        FakeEmulator& emulator = rig.targets.Current();
        emulator.Model = emulator_model::kKTR640;

        EXPECT_EQ(monitor.InitMcuModel(), c.ok);
        EXPECT_EQ(monitor.InitMcuModel(), c.ok);

        EXPECT_EQ(emulator.Model, c.selected);
        EXPECT_EQ(rig.BoxTexts(), c.boxes);
        for (const test::RecordedBox& box : rig.prompter.Boxes())
            test::ExpectBox(box, "MCU Model Initialization", unknown, Buttons::Ok,
                            Icon::Exclamation);
        EXPECT_EQ(rig.Points(), (std::vector<int32_t>{900, 910, 920, 810, 820, 810, 820}));
    }
}

} // namespace
} // namespace bx
