// Power-on of a large appliance: 40 source files of 2,000 lines each, assembled with ca65 and
// linked with ld65 into a 1 MB ROM image for the KTR640 (the 32 KB fixed area and 62 banks),
// taken by DebugMonitor::PowerOn to the halted target with every source tab filled: hub,
// emulator, the 63 ROM slices, the debug file, the staleness test, 40 views of 2,000 lines with
// their code prefixes, the breakpoints and the reset. The figure is the time of one PowerOn.
// Needs ca65 and ld65; says so and runs nothing without them.
#include "CountingPrompter.h"
#include "LargeAppliance.h"
#include "appliance/Appliance.h"
#include "debug/DebugMonitor.h"
#include "foundation/Diagnoser.h"
#include "platform/FileSystem.h"
#include "platform/Paths.h"
#include "platform/QueueDispatcher.h"
#include "sim/DevicePanel.h"
#include "sim/SimTargetFactory.h"
#include "symbols/Ld65SymbolLibrary.h"

#include <benchmark/benchmark.h>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <string>
#include <unistd.h>

namespace {

namespace fs = std::filesystem;

class QuietStatus : public bx::StatusDisplay {
public:
    void State(int) override {}
    void StateArg(const std::string&) override {}
    void GoAway() override {}
};

class PanelHost : public bx::DebugMonitorHost {
public:
    bx::Facade* RequestFacade() override { return &panel; }
    bx::sim::DevicePanel panel;
};

void BM_PowerOnLargeAppliance(benchmark::State& state) {
    static LargeAppliance files("power-on");
    if (!files.ok) {
        state.SkipWithError("ca65/ld65 are not installed or the large appliance didn't build");
        return;
    }
    bx::Appliance appliance;
    appliance.Title = "big";
    appliance.Model = "KTR640";
    appliance.Folder = bx::platform::FromNativePath(files.folder.string()) + "\\";
    appliance.BankStart = 0xC000;
    appliance.BankSize = 0x4000;
    appliance.BankCount = kBanks;
    appliance.ProgramStart = 0x4000;
    appliance.RateMultiplier = 1;
    appliance.RateDivider = 1;
    appliance.RunTarget()->OutputPath = "big.rom";
    appliance.Breakpoints().Add(0, 0x4000, 1, 1);

    CountingPrompter prompter;
    QuietStatus status;
    bx::Diagnoser diagnoser(bx::platform::FromNativePath((files.folder / "vkbx.log").string()));
    bx::platform::QueueDispatcher dispatcher;
    bx::sim::SimTargetFactory targets(
        dispatcher, [] { return std::make_unique<bx::symbols::Ld65SymbolLibrary>(); });
    PanelHost host;
    bx::DebugInspectors inspectors;
    int tabs = 0;
    for (auto _ : state) {
        state.PauseTiming();
        auto monitor = std::make_unique<bx::DebugMonitor>(targets, prompter, status, diagnoser,
                                                          host, inspectors, true);
        monitor->SetAppliance(&appliance);
        state.ResumeTiming();
        if (!monitor->PowerOn()) {
            state.SkipWithError(("power-on failed: " + prompter.last).c_str());
            return;
        }
        state.PauseTiming();
        tabs = static_cast<int>(monitor->Tabs().size());
        monitor.reset();
        state.ResumeTiming();
    }
    state.counters["source_tabs"] = tabs - 1; // the first tab is the disassembly
    state.counters["boxes"] = prompter.boxes;
}
BENCHMARK(BM_PowerOnLargeAppliance)->Unit(benchmark::kMillisecond)->Iterations(5);

} // namespace

BENCHMARK_MAIN();
