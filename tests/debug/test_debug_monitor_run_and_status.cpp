// DebugMonitor on a halted fake target: the run commands and what they ask of the target,
// StepOver and its temporary breakpoint, the stops and their messages, Reset and the model;
// what a status update reads, how the bank is folded into the PC, the source tabs and their
// views, the strip's clicks, and the breakpoint commands over the views.

#include "debug/DebugMonitorRig.h"
#include "foundation/Common.h"
#include "foundation/Error.h"

#include <functional>
#include <gtest/gtest.h>

namespace bx {
namespace {

using test::DebugMonitorRig;
using test::ExpectBox;
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

// A monitor on a halted target at kPC with symbols loaded, three source files in the
// appliance's folder (file 0 "a.asm", file 1 "b.asm", file 2 "sub\c.asm"), the bank window at
// $4000 of 16 KB, and no source tab open.
class Halted : public DebugMonitorRig {
public:
    explicit Halted(bool disassemblyTab = false) {
        appliance.Model = "KTR311";
        // Lines with code show the image's bytes, so the views need the image.
        appliance.Folder = appFolder.Path() + "\\";
        appliance.RunTarget()->OutputPath = "app.rom";
        WriteRom(0x8000);
        Create(disassemblyTab);
        emulator().Cpu->PC = kPC;
        WriteSource("a.asm", "a1\r\na2\r\na3\r\na4\r\na5\r\n");
        WriteSource("b.asm", "b1\r\nb2\r\n");
        WriteSource("sub\\c.asm", "c1\r\n");
        symbols().Files[0] = {appFolder.Path(), "a.asm"};
        symbols().Files[1] = {appFolder.Path(), "b.asm"};
        symbols().Files[2] = {appFolder.Path() + "\\sub", "c.asm"};
        monitor->Symbols().ListFilePath("app.sym");
        Forget();
    }

    FakeEmulator& emulator() { return targets.Current(); }
    test::FakeSymbolLibrary& symbols() { return *targets.Symbols; }
    DebugMonitor& dm() { return *monitor; }
    // The Emulator's calls since the last Forget().
    Strings Calls() { return Strings(emulator().Calls.begin() + seen_, emulator().Calls.end()); }
    void Forget() { seen_ = static_cast<std::ptrdiff_t>(emulator().Calls.size()); }

    // The "Bank" watch of the SFR group at $0010 holding value ("$03", "$0012").
    void AddBankWatch(uint16_t value, const std::string& display) {
        std::shared_ptr<Watch> bank = appliance.Watches().Add("Bank", "SFR");
        bank->Location = "00:0010";
        bank->SetDisplay(display);
        emulator().Poke(0x10,
                        {static_cast<uint8_t>(value & 0xFF), static_cast<uint8_t>(value >> 8)});
    }
    // The symbol library's calls that look up a source line.
    Strings FindSourceCalls() const {
        Strings found;
        for (const std::string& call : targets.Symbols->Calls)
            if (call.starts_with("FindSource"))
                found.push_back(call);
        return found;
    }
    // The text of a view's line n without its 15-column code prefix.
    std::string TextOfLine(int32_t view, int32_t n) {
        return dm().ViewAt(view)->Line(n).substr(15);
    }

private:
    std::ptrdiff_t seen_ = 0;
};

// ---- Run control ----------------------------------------------------------------------------

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
            t.dm().Continue();
        t.Forget();

        EXPECT_EQ(c.command(t.dm()), c.answer);

        EXPECT_EQ(t.Calls(), c.calls);
        EXPECT_EQ(t.dm().Running(), c.runningAfter);
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

        t.dm().StepOver();

        Strings calls;
        for (const std::string& call : t.Calls())
            if (call == "Step" || call == "Run" || call.starts_with("SetBreak"))
                calls.push_back(call);
        EXPECT_EQ(calls, c.calls);
        EXPECT_EQ(t.dm().Running(), !c.calls.empty() && c.calls.back() == "Run");
        EXPECT_EQ(t.dm().TempBreak(), c.temporary ? kReturn : -1);
        if (!t.dm().Running())
            continue;

        // The stop comes elsewhere (another breakpoint): a temporary breakpoint goes all the
        // same, and whatever stood there before stays.
        emulator.RaiseBreakHit(0, 0x9004, 1);
        EXPECT_EQ(emulator.ClearBreakCalls.size(), c.temporary ? 1u : 0u);
        EXPECT_EQ(emulator.BreakFlagsAt(kReturn), c.flagsThere);
        EXPECT_EQ(t.dm().TempBreak(), -1);
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
        t.dm().Continue();

        t.emulator().RaiseBreakHit(1, 0x4005, cond);

        EXPECT_FALSE(t.dm().Running());
        EXPECT_EQ(t.TextsAt(9010), Strings{"BreakHit @ 01:4005"});
        EXPECT_EQ(Strings(t.emulator().Calls.end() - 8, t.emulator().Calls.end()), kFullRefresh);
        ASSERT_EQ(t.prompter.Boxes().size(), message ? 1u : 0u);
        if (message)
            test::ExpectBox(t.prompter.Boxes()[0], "Breakpoint Hit", message, Buttons::Ok,
                            Icon::Information);
        EXPECT_EQ(t.host.Stops, (std::vector<test::RecordingHost::Stop>{
                                    {1, 0x4005, cond, t.prompter.Boxes().size()}}))
            << "raised after the message";
    }

    // A stop that was asked for is dropped when its event comes late.
    Halted t;
    t.dm().Continue();
    t.dm().SimpleBreak();
    t.Forget();
    t.emulator().RaiseBreakHit(0, 0x8123, 2);
    EXPECT_TRUE(t.Calls().empty());
    EXPECT_TRUE(t.prompter.Boxes().empty());
    EXPECT_TRUE(t.host.Stops.empty());
}

// ---- Reset ----------------------------------------------------------------------------------

TEST(DebugMonitorRunControl, ResetSelectsTheModelSetsClockAndOptionsThenResetsAndRefreshes) {
    struct Case {
        const char *clock, *opClock;
        bool wdt, rc;
        Strings settings;
    };
    // clang-format off
    const Case cases[] = {
        {"3.58", "3.58M", false, false, {"SetClock 0 3580000", "SetOption DualClock 0"}},
        {"4", "32.768k/4M", true, false,
            {"SetClock 0 4000000", "SetOption DualClock 1", "SetOption WDT 1"}},
        {"1.8432", "", false, true,
            {"SetClock 0 1843200", "SetOption DualClock 0", "SetOption UseRC 1"}},
        {"8", "/", true, true,
            {"SetClock 0 8000000", "SetOption DualClock 1", "SetOption WDT 1", "SetOption UseRC 1"}},
    };
    // clang-format on
    for (const Case& c : cases) {
        SCOPED_TRACE(std::string(c.clock) + " " + c.opClock);
        Halted t;
        t.appliance.ClockParam = c.clock;
        t.appliance.OPClock = c.opClock;
        t.appliance.WDT = c.wdt;
        t.appliance.Oscillator = c.rc;

        t.dm().Reset();

        EXPECT_EQ(t.Calls(), Then(Then({"SetModel 13", "GetModel"}, c.settings),
                                  Then({"Reset"}, kFullRefresh)));
        EXPECT_EQ(t.TextsAt(710).size(), 1u);
    }
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

// ---- What a status update reads -------------------------------------------------------------

TEST(DebugMonitorUpdateStatus, RegistersAndWatchesAreReadInOneReadAheadBracketMemoryOutside) {
    const Strings ahead{"SetReadAhead 0 768 1 0"}, behind{"SetReadAhead 0 0 0 0"};
    // clang-format off
    const std::tuple<bool, bool, bool, Strings> cases[] = {
        {false, false, true, {"Inspectors ReloadMemory"}},
        {true, true, false, Then(Then(ahead, {"Inspectors ReloadRegisters", "Inspectors ReloadWatches"}), behind)},
        {true, false, false, Then(Then(ahead, {"Inspectors ReloadRegisters"}), behind)},
        {false, true, false, Then(Then(ahead, {"Inspectors ReloadWatches"}), behind)}};
    // clang-format on
    for (const auto& [registers, watches, memory, calls] : cases) {
        SCOPED_TRACE(calls[calls.size() / 2]);
        Halted t;
        t.dm().UpdateStatus(false, registers, watches, memory);
        EXPECT_EQ(t.Calls(),
                  Then(Then({"Inspectors Busy"}, calls), {"GetCpuState", "Inspectors NotBusy"}));
    }
}

TEST(DebugMonitorUpdateStatus, TheSourceFollowsThePCOnlyFromASelectedSourceTab) {
    const std::tuple<bool, int32_t, std::string> cases[] = {
        {false, -1, "| tab 0 view 0 |"},               // no tab at all
        {true, -1, "D | tab 1 view 0 |"},              // on the disassembly tab
        {false, 1, "K1 K0 | tab 2 view 2 | 1:0 0:4"}}; // the PC's file gets a tab
    for (const auto& [disassemblyTab, openFile, state] : cases) {
        SCOPED_TRACE(state);
        Halted rig(disassemblyTab);
        if (openFile >= 0) {
            ASSERT_TRUE(rig.dm().GotoFileLine(openFile, 0, true, true, true));
        }
        rig.emulator().Cpu->PC = 0x8123;
        rig.symbols().Sources[0x8123] = {0, 4};

        rig.dm().UpdateStatus(true, false, false, false);

        EXPECT_EQ(rig.dm().Disassembly().PC(), 0x8123);
        EXPECT_EQ(rig.State(), state);
        EXPECT_EQ(rig.FindSourceCalls().size(), openFile >= 0 ? 1u : 0u);
        EXPECT_TRUE(rig.prompter.Boxes().empty());
        EXPECT_EQ(rig.TextsAt(640), Strings{"Update status read PC=$8123"});
    }
}

TEST(DebugMonitorUpdateStatus, AnIceWithoutStatusAndAPCWithoutSourceAreReported) {
    Halted rig;
    rig.dm().Disassembly().SetPC(0x8000);
    rig.emulator().Cpu.reset();
    rig.dm().UpdateStatus(true, true, true, true);
    EXPECT_EQ(rig.dm().Disassembly().PC(), 0x8000) << "the disassembly stays";
    EXPECT_EQ(rig.inspectors.Calls.back(), "NotBusy") << "the pointer is given back";
    EXPECT_FALSE(rig.dm().GotoPC(0x9000));
    ASSERT_EQ(rig.prompter.Boxes().size(), 2u);
    ExpectBox(rig.prompter.Boxes()[0], "Update Status", "ICE is not ready.", Buttons::Ok,
              Icon::Exclamation);
    ExpectBox(rig.prompter.Boxes()[1], "Debugger",
              "There is no source information available for PC=$9000", Buttons::Ok,
              Icon::Exclamation);
}

TEST(DebugMonitorUpdateStatus, APCInsideTheWindowTakesTheBankWatchsDigitsReadAsDecimal) {
    const std::string noBank = "No 'Bank' register is found. Bank 0 is assumed";
    const std::string noDecode = "Error in memory decode because no bank register is provided";
    struct Case {
        int32_t pc;
        const char* display; // the bank watch's, nullptr for none
        uint16_t value;
        int32_t folded;
        Strings boxes;
    };
    const Case cases[] = {
        {0x4100, nullptr, 0, 0x4100, {noBank, noDecode}}, // bank 0, said twice
        {0x4000, nullptr, 0, 0x4000, {noBank}},           // the window's first byte: once
        {0x4000, "HexByte", 0x03, 0x34000, {}},           // ... and its bank once
        {0x4100, "HexByte", 0x03, 0x34100, {}},
        {0x4100, "HexByte", 0x10, 0xA4100, {}},   // "$10" is bank 10
        {0x4100, "HexByte", 0x0A, 0x4100, {}},    // "$0A" reads as bank 0
        {0x4100, "HexWord", 0x0012, 0xC4100, {}}, // all four digits of a word
        {0x4100, "HexWord", 0x0100, 0x644100, {}},
        {0x8000, "HexByte", 0x03, 0x8000, {}}, // outside the window
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(Hex8(c.folded));
        Halted rig;
        ASSERT_TRUE(rig.dm().GotoFileLine(0, 0, true, true, true));
        if (c.display != nullptr)
            rig.AddBankWatch(c.value, c.display);
        rig.emulator().Cpu->PC = c.pc;
        rig.symbols().Sources[c.folded] = {0, 3};

        rig.dm().UpdateStatus(true, false, false, false);

        EXPECT_EQ(rig.BoxTexts(), c.boxes);
        for (const test::RecordedBox& box : rig.prompter.Boxes()) {
            EXPECT_EQ(box.title, box.text == noBank ? "Update Status" : "Error");
            EXPECT_EQ(box.icon, box.text == noBank ? Icon::Information : Icon::Critical);
        }
        EXPECT_EQ(rig.dm().Disassembly().PC(), c.folded);
        EXPECT_EQ(rig.FindSourceCalls(), Strings{"FindSource " + std::to_string(c.folded)});
        EXPECT_EQ(rig.State(), "K0 | tab 1 view 1 | 0:3");
        EXPECT_EQ(rig.TextsAt(640), Strings{"Update status read PC=$" + Hex4(c.pc)});
    }
}

// ---- Tabs and views -------------------------------------------------------------------------

TEST(DebugMonitorTabs, EachFileGetsATabAndViewAndOneThatCannotBeReadLeavesNeither) {
    Halted rig(true); // tab 1 is the disassembly: view v sits on tab v + 1
    ASSERT_TRUE(rig.dm().GotoFileLine(2, 0, false, true, true));
    ASSERT_TRUE(rig.dm().GotoFileLine(0, 0, false, true, true));
    EXPECT_EQ(rig.State(), "D K2 K0 | tab 3 view 2 | 2:0 0:0") << "the file read last in front";
    const DebugTab& tab = rig.dm().Tabs()[1];
    EXPECT_EQ(tab.Caption + " " + tab.ToolTip, "c.asm " + rig.appFolder.Sub("sub\\c.asm"));
    EXPECT_EQ(rig.TextOfLine(1, 1), "c1");
    EXPECT_EQ(rig.TextOfLine(2, 5), "a5");
    EXPECT_FALSE(rig.dm().DisassemblyInFront());

    ASSERT_TRUE(rig.dm().GotoFileLine(1, 0, false, true, true));
    rig.symbols().Files[3] = {rig.appFolder.Path(), "gone.asm"};
    EXPECT_FALSE(rig.dm().GotoFileLine(3, 0, true, true, true));
    EXPECT_EQ(rig.State(), "D K2 K0 K1 | tab 4 view 3 | 2:0 0:0 1:0");

    // A reload that fails takes the tab and its view; the tabs behind keep theirs.
    ASSERT_TRUE(rig.dm().GotoFileLine(0, 0, true, true, true));
    std::filesystem::remove(rig.Native("a.asm"));
    EXPECT_FALSE(rig.dm().GotoFileLine(0, 0, true, true, true));
    EXPECT_EQ(rig.State(), "D K2 K1 | tab 0 view 0 | 2:0 1:0");
    EXPECT_EQ(rig.dm().ViewAt(2)->FileId(), 1);
}

// ---- Breakpoints over the views -------------------------------------------------------------

TEST(DebugMonitorBreakpoints, ToggleGoesToTheNamedOrCurrentViewAndClearAllEmptiesEverything) {
    Halted rig;
    rig.symbols().LineAddresses[{0, 3}] = 0x8010;
    rig.symbols().LineAddresses[{1, 2}] = 0x8020;
    ASSERT_TRUE(rig.dm().GotoFileLine(0, 0, false, true, true)); // view 1
    ASSERT_TRUE(rig.dm().GotoFileLine(1, 2, true, true, true));  // view 2, current, line 2
    FakeEmulator& emulator = rig.emulator();
    using Calls = std::vector<FakeEmulator::BreakCall>;

    EXPECT_EQ(rig.dm().ToggleBreak(1, 3), ToggleOutcome::Set);
    EXPECT_EQ(rig.dm().ToggleBreak(0, 3), ToggleOutcome::NoLine) << "view 0 is no view";
    EXPECT_EQ(rig.dm().ToggleBreak(3, 3), ToggleOutcome::NoLine) << "no such view";
    EXPECT_EQ(rig.dm().ToggleBreak(-1, 3), ToggleOutcome::Set) << "the current view's line 2";
    EXPECT_EQ(rig.dm().ToggleBreak(2, -1), ToggleOutcome::Cleared);
    EXPECT_EQ(emulator.SetBreakCalls, (Calls{{0x8010, 1, 1}, {0x8020, 1, 1}}));
    EXPECT_EQ(emulator.ClearBreakCalls, (Calls{{0x8020, 1, 1}}));
    EXPECT_TRUE(rig.dm().ViewAt(1)->IsMarked(3));
    EXPECT_FALSE(rig.dm().ViewAt(2)->IsMarked(2));
    EXPECT_EQ(rig.appliance.Breakpoints().Count(), 1u);

    emulator.SetBreak(0x0200, break_kind::kWrite, 4); // a memory breakpoint
    rig.dm().ClearAllBreaks();
    EXPECT_EQ(emulator.ClearBreakCalls.back(), (FakeEmulator::BreakCall{0, 7, -1}));
    EXPECT_EQ(emulator.BreakFlagsAt(0x0200), 0);
    EXPECT_EQ(rig.appliance.Breakpoints().Count(), 0u);
    EXPECT_FALSE(rig.dm().ViewAt(1)->IsMarked(3));
}

} // namespace
} // namespace bx
