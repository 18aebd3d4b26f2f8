// End to end on the debugger: for each shipped body, an appliance made from its template and
// built with the real tools, powered on by DebugMonitor in the built-in simulator with the
// devices wired as the template wires them: run to a source-line breakpoint, stepped, stepped
// over a call, stopped by a memory write, reset and powered on again, the starter program's
// LEDs and tone; every message box is asserted through the scripted prompter. Skipped without
// ca65, ld65 and make.
#include "appliance/Appliance.h"
#include "debug/DebugMonitor.h"
#include "foundation/Common.h"
#include "foundation/Diagnoser.h"
#include "platform/Paths.h"
#include "platform/QueueDispatcher.h"
#include "settings/GlobalSettings.h"
#include "sim/DevicePanel.h"
#include "sim/KtrEmulator.h"
#include "sim/SimTargetFactory.h"
#include "support/RecordingHost.h"
#include "support/ShippedProgram.h"
#include "support/TestDoubles.h"
#include "symbols/Ld65SymbolLibrary.h"

#include <algorithm>
#include <chrono>
#include <filesystem>
#include <gtest/gtest.h>
#include <thread>

namespace bx {
namespace {

struct Body {
    const char* model;
    int32_t bankWindow; // where the bank window starts
};
// A failing test and ctest's list name the body, not the parameter's bytes.
void PrintTo(const Body& body, std::ostream* out) {
    *out << body.model;
}

class ShippedDebugTest : public ::testing::TestWithParam<Body> {
protected:
    void SetUp() override {
        SKIP_WITHOUT_BUILD_TOOLS();
        apl = shipped.New(GetParam().model);
    }
    // Builds the appliance, loads it and gives it to the monitor.
    void BuildAndOpen() {
        const test::CliResult built = shipped.Build();
        ASSERT_EQ(built.status, 0) << built.out << built.err;
        ASSERT_TRUE(settings.Load(shipped.program.Sub("BX.gss")));
        appliance.Settings = &settings;
        ASSERT_TRUE(appliance.Load(platform::FromNativePath(apl)));
        host.FacadeToGive = &panel;
        host.ViewToGive = appliance.Views().First();
        monitor.SetAppliance(&appliance);
    }
    int32_t MainView() {
        for (int32_t view = 1; monitor.ViewAt(view) != nullptr; ++view)
            if (FileNameOf(monitor.Symbols().GetSourcePath(monitor.FileOfView(view))) == "main.asm")
                return view;
        return 0;
    }
    // The address of the line of main.asm that starts with text, or of a line after it.
    int32_t AddressOf(const std::string& text, int after = 0) {
        return monitor.Symbols().GetPC(monitor.FileOfView(MainView()),
                                       shipped.LineOf(text) + after);
    }
    // Runs the posted work until the host heard one more stop.
    bool WaitForStop() {
        const std::size_t seen = host.Stops.size();
        return dispatcher.RunUntil([&] { return host.Stops.size() > seen; },
                                   std::chrono::seconds(10));
    }
    // The line the debugger shows the program counter at, in the current view.
    int32_t ShownLine() {
        SourceLineModel* view = monitor.ViewAt(monitor.CurrentView());
        return view != nullptr ? view->SelectedLine() : 0;
    }
    sim::KtrEmulator& Emu() { return dynamic_cast<sim::KtrEmulator&>(*monitor.CurrentEmulator()); }

    test::ShippedAppliances shipped;
    std::string apl;
    test::ScriptedPrompter prompts;
    test::RecordingStatusDisplay status;
    Diagnoser diagnoser{shipped.work.Sub("vkbx.log")};
    platform::QueueDispatcher dispatcher;
    sim::SimTargetFactory targets{dispatcher,
                                  [] { return std::make_unique<symbols::Ld65SymbolLibrary>(); }};
    DebugInspectors inspectors;
    GlobalSettings settings{prompts};
    Appliance appliance;
    // The device panel stands in for the prototyper's surface.
    sim::DevicePanel panel;
    test::RecordingHost host{prompts};
    DebugMonitor monitor{targets, prompts, status, diagnoser, host, inspectors, false};
};

TEST_P(ShippedDebugTest, RunsToALineStepsStepsOverStopsOnAWriteResetsAndKeepsItsBreakpoints) {
    BuildAndOpen();
    ASSERT_TRUE(monitor.PowerOn());
    EXPECT_TRUE(prompts.Boxes().empty())
        << prompts.Boxes()[0].title << ": " << prompts.Boxes()[0].text;
    EXPECT_TRUE(monitor.PollingResetKey());
    const int32_t view = MainView();
    ASSERT_GT(view, 0);
    // Powered on: halted at the reset vector, shown at the line of the label reset.
    EXPECT_EQ(ShownLine(), shipped.LineOf("reset:"));
    EXPECT_EQ(monitor.Tabs()[monitor.SelectedTab() - 1].Caption, "main.asm");

    const int32_t mainLine = shipped.LineOf("main:");
    ASSERT_EQ(monitor.ToggleBreak(view, mainLine), ToggleOutcome::Set);
    const int32_t mainAddress = AddressOf("main:");
    EXPECT_EQ(appliance.Breakpoints().Count(), 1u);

    monitor.Continue();
    ASSERT_TRUE(WaitForStop());
    EXPECT_FALSE(monitor.Running());
    EXPECT_EQ(host.Stops.back().Address, mainAddress & 0xFFFF);
    EXPECT_EQ(host.Stops.back().Cond, 1);
    EXPECT_EQ(ShownLine(), mainLine);
    EXPECT_EQ(monitor.Disassembly().PC(), mainAddress);
    EXPECT_EQ(monitor.CurrentEmulator()->GetCpuState()->S, 0xFF) << "set before the main loop";

    // Step: the next line of the loop; step over the call of the keypad scan: the line below.
    monitor.Step();
    EXPECT_EQ(ShownLine(), mainLine + 1);
    monitor.Step(); // sta WDTCLR: on to the call of the scan
    const int32_t callLine = shipped.LineOf("        jsr scan_keypad");
    EXPECT_EQ(ShownLine(), callLine);
    const uint8_t stackBefore = monitor.CurrentEmulator()->GetCpuState()->S;
    monitor.StepOver();
    EXPECT_TRUE(monitor.Running());
    ASSERT_TRUE(WaitForStop());
    EXPECT_EQ(ShownLine(), callLine + 1);
    EXPECT_EQ(monitor.CurrentEmulator()->GetCpuState()->S, stackBefore);
    EXPECT_EQ(monitor.TempBreak(), -1);
    std::vector<int32_t> flags;
    ASSERT_TRUE(monitor.CurrentEmulator()->GetBreakFlags(AddressOf("        jsr scan_keypad", 1),
                                                         flags, 1));
    EXPECT_EQ(flags[0], 0) << "the step over's own breakpoint is gone";

    // A write breakpoint on the key variable (zero page $02): the scan writes it each pass.
    ASSERT_TRUE(monitor.CurrentEmulator()->SetBreak(0x0002, 4, 1));
    ASSERT_EQ(monitor.ToggleBreak(view, mainLine), ToggleOutcome::Cleared);
    monitor.Continue();
    ASSERT_TRUE(WaitForStop());
    EXPECT_EQ(host.Stops.back().Cond, 4);
    ASSERT_FALSE(prompts.Boxes().empty());
    EXPECT_EQ(prompts.Boxes().back().title + ": " + prompts.Boxes().back().text,
              "Breakpoint Hit: A breakpoint is hit because of a WRITE operation in the previous "
              "instruction.");
    EXPECT_EQ(prompts.Boxes().back().icon, Icon::Information);
    monitor.ClearAllBreaks();

    // Reset: back to the reset vector's line.
    monitor.Reset();
    EXPECT_EQ(ShownLine(), shipped.LineOf("reset:"));
    EXPECT_EQ(monitor.CurrentEmulator()->GetCpuState()->PC, AddressOf("reset:") & 0xFFFF);

    // A breakpoint set now survives a second power-on through the appliance.
    ASSERT_EQ(monitor.ToggleBreak(view, mainLine), ToggleOutcome::Set);
    const std::size_t boxes = prompts.Boxes().size();
    ASSERT_TRUE(monitor.PowerOn());
    EXPECT_EQ(prompts.Boxes().size(), boxes);
    ASSERT_GT(MainView(), 0);
    EXPECT_TRUE(monitor.ViewAt(MainView())->IsMarked(mainLine));
    ASSERT_TRUE(monitor.CurrentEmulator()->GetBreakFlags(mainAddress, flags, 1));
    EXPECT_EQ(flags[0], 1);
    monitor.Continue();
    ASSERT_TRUE(WaitForStop());
    EXPECT_EQ(ShownLine(), mainLine);
}

TEST_P(ShippedDebugTest, StepsIntoABankAndShowsTheBankedSourceLine) {
    // The starter program replaced by one that selects bank 3 and calls a routine in it.
    shipped.work.WriteFile("app\\main.asm", R"(        .setcpu "65C02"
        .include "ktr.inc"
        .code
reset:  lda #3
        sta BANK
loop:   jsr far
        bra loop
irq:
nmi:    rti
        .segment "BANK3"
far:    nop
        inx
        rts
        .segment "VECTORS"
        .word nmi, reset, irq
)");
    BuildAndOpen();
    ASSERT_TRUE(monitor.PowerOn());
    EXPECT_TRUE(prompts.Boxes().empty());
    const int32_t view = MainView();
    ASSERT_EQ(monitor.ToggleBreak(view, shipped.LineOf("loop:")), ToggleOutcome::Set);
    monitor.Continue();
    ASSERT_TRUE(WaitForStop());
    EXPECT_EQ(ShownLine(), shipped.LineOf("loop:"));

    monitor.Step(); // into the bank
    EXPECT_EQ(ShownLine(), shipped.LineOf("far:"));
    EXPECT_EQ(monitor.Disassembly().PC(), 3 * 65536 + GetParam().bankWindow);
    monitor.Step();
    EXPECT_EQ(ShownLine(), shipped.LineOf("far:") + 1);
    monitor.Step();
    monitor.Step(); // rts: back in the fixed ROM
    EXPECT_EQ(ShownLine(), shipped.LineOf("loop:") + 1);
    EXPECT_EQ(monitor.Disassembly().PC() >> 16, 0);

    // Over the call into the bank: one step over, the line below the call.
    monitor.Step(); // bra loop
    EXPECT_EQ(ShownLine(), shipped.LineOf("loop:"));
    monitor.StepOver();
    ASSERT_TRUE(WaitForStop());
    EXPECT_EQ(ShownLine(), shipped.LineOf("loop:") + 1);
    EXPECT_TRUE(prompts.Boxes().empty());
}

// The starter program: the LEDs light one after the other, a step every (3905 + 1) * 256
// timer cycles (the interrupt's latency adds a little jitter), and the speaker sounds a tone
// while a key of the keypad is held and rests at the mid level otherwise.
TEST_P(ShippedDebugTest, TheStarterProgramStepsTheLedsByTheTimerAndSoundsAToneWhileAKeyIsHeld) {
    BuildAndOpen();
    ASSERT_TRUE(monitor.PowerOn());
    Emu().SetUnthrottled(true);
    ASSERT_TRUE(Emu().SetBreak(AddressOf("next_led:", 1), 1, 1));
    std::vector<uint8_t> shown;
    std::vector<uint64_t> at;
    for (int stop = 0; stop < 9; ++stop) {
        monitor.Continue();
        ASSERT_TRUE(WaitForStop());
        shown.push_back(panel.LitLeds().value_or(0xEE));
        at.push_back(Emu().Cycles());
    }
    for (std::size_t i = 1; i < at.size(); ++i)
        EXPECT_NEAR(static_cast<double>(at[i] - at[i - 1]), 999'936.0, 2'000.0) << i;
    EXPECT_EQ(shown, (std::vector<uint8_t>{0x01, 0x02, 0x04, 0x08, 0x10, 0x20, 0x40, 0x80, 0x01}));
    ASSERT_TRUE(Emu().ClearBreak(0, 7, -1));

    // About cycles more of running: how many samples the speaker gave at the tone's high and
    // low levels.
    std::vector<int16_t> samples;
    const auto run = [&](uint64_t cycles) {
        const uint64_t target = Emu().Cycles() + cycles;
        monitor.Continue();
        for (int ms = 0; Emu().Cycles() < target && ms < 20'000; ++ms)
            std::this_thread::sleep_for(std::chrono::milliseconds(1));
        EXPECT_TRUE(monitor.Break());
        panel.TakeSpeakerSamples(samples = {});
        return std::pair(std::count(samples.begin(), samples.end(), (0xC0 - 128) * 256),
                         std::count(samples.begin(), samples.end(), (0x40 - 128) * 256));
    };
    using Levels = std::pair<std::ptrdiff_t, std::ptrdiff_t>;
    EXPECT_EQ(run(200'000), Levels(0, 0)) << "no key held, no tone";
    EXPECT_EQ(samples.empty() ? -1 : samples.back(), 0) << "the speaker rests at the mid level";
    ASSERT_TRUE(panel.PressKey(2, 1));
    const auto [high, low] = run(200'000); // about 2 kHz: both levels many times in the 50 ms
    EXPECT_GT(high, 200);
    EXPECT_GT(low, 200);
    ASSERT_TRUE(panel.ReleaseKey(2, 1));
    run(50'000);
    EXPECT_EQ(run(100'000), Levels(0, 0)) << "the tone ends with the key";
}

INSTANTIATE_TEST_SUITE_P(Bodies, ShippedDebugTest,
                         ::testing::Values(Body{"KTR310", 0x4000}, Body{"KTR311", 0x4000},
                                           Body{"KTR640", 0xC000}),
                         [](const auto& info) { return std::string(info.param.model); });

} // namespace
} // namespace bx
