// Power-on of a large appliance: 40 source files of 2,000 lines each, assembled with ca65 and
// linked with ld65 into a 1 MB ROM image for the KTR640 (the 32 KB fixed area and 62 banks),
// taken by DebugMonitor::PowerOn to the halted target with every source tab filled: hub,
// emulator, the 63 ROM slices, the debug file, the staleness test, 40 views of 2,000 lines with
// their code prefixes, the breakpoints and the reset. The figure is the time of one PowerOn.
// Needs ca65 and ld65; says so and runs nothing without them.
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

constexpr int kFiles = 40;
constexpr int kLinesPerFile = 2000;
constexpr int kBanks = 62;

// Counts the boxes instead of showing them; a power-on of this appliance should show none.
class CountingPrompter : public bx::Prompter {
public:
    int ask(const std::string& title, const std::string& text, bx::Buttons, bx::Icon) override {
        ++boxes;
        last = title + ": " + text;
        return bx::AnswerNo;
    }
    int boxes = 0;
    std::string last;
};

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

struct LargeAppliance {
    fs::path folder;
    bool ok = false;

    LargeAppliance() {
        folder =
            fs::temp_directory_path() / ("tessarine-bench-power-on-" + std::to_string(getpid()));
        fs::create_directories(folder);
        if (std::system("command -v ca65 >/dev/null 2>&1 && command -v ld65 >/dev/null 2>&1") != 0)
            return;
        // Bank mode 1: the fixed 32 KB at $4000-$BFFF, the window $C000-$FFFF, bank 0 under
        // the vectors.
        std::ofstream cfg(folder / "big.cfg");
        cfg << "MEMORY {\n  ZP: start = $0000, size = $00C0, type = rw;\n"
               "  ROM: start = $4000, size = $8000, type = ro, file = %O, fill = yes;\n"
               "  BANK0: start = $C000, size = $3FFA, type = ro, file = %O, fill = yes;\n"
               "  VECTORS: start = $FFFA, size = 6, type = ro, file = %O;\n";
        for (int b = 1; b < kBanks; ++b)
            cfg << "  BANK" << b << ": start = $C000, size = $4000, type = ro, file = %O, "
                << "fill = yes, bank = " << b << ";\n";
        cfg << "}\nSEGMENTS {\n  CODE: load = ROM, type = ro;\n  VECTORS: load = VECTORS, type = "
               "ro;\n";
        for (int b = 0; b < kBanks; ++b)
            cfg << "  BANK" << b << ": load = BANK" << b << ", type = ro, optional = yes;\n";
        cfg << "}\n";
        cfg.close();

        std::string objects;
        for (int f = 0; f < kFiles; ++f) {
            const std::string name = "module" + std::to_string(f);
            std::ofstream source(folder / (name + ".asm"));
            source << "        .setcpu \"65C02\"\n";
            source << (f == 0 ? "        .code\n"
                              : "        .segment \"BANK" + std::to_string(f) + "\"\n");
            if (f == 0)
                source << "reset:\n";
            for (int line = 2; line < kLinesPerFile - 4; ++line) {
                if (line % 4 == 0)
                    source << "; a comment line, as real sources have them\n";
                else
                    source << "        lda #$" << std::hex << (line & 0xFF) << std::dec
                           << "        ; line " << line << "\n";
            }
            if (f == 0)
                source << "        jmp reset\n        .segment \"VECTORS\"\n"
                          "        .word reset, reset, reset\n";
            else
                source << "        rts\n\n\n";
            source.close();
            objects += " " + name + ".o";
            const std::string assemble =
                "cd '" + folder.string() + "' && ca65 -g -o " + name + ".o " + name + ".asm";
            if (std::system(assemble.c_str()) != 0)
                return;
        }
        const std::string link = "cd '" + folder.string() +
                                 "' && ld65 -C big.cfg --dbgfile big.sym -o big.rom" + objects;
        ok = std::system(link.c_str()) == 0 && fs::file_size(folder / "big.rom") == (1u << 20);
    }
    ~LargeAppliance() { fs::remove_all(folder); }
};

void BM_PowerOnLargeAppliance(benchmark::State& state) {
    static LargeAppliance files;
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
