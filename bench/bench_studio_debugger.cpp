// The debugger's windows on the offscreen platform, with the large appliance (40 source tabs
// of 2,000 lines, a 1 MB ROM for the KTR640) opened in the studio's frame and powered on:
//  - BM_StepToRepaintedWindows: one Step (F8) from the frame's command to every visible window
//    painted again: the status update with its source tracking and the inspectors' reload, and
//    a synchronous paint of the frame. Its inverse is how many lines a held F8 steps a second.
//  - BM_DisassemblyRepaint: one full paint of the disassembly (a screenful read from the
//    target and drawn).
#include "CountingPrompter.h"
#include "LargeAppliance.h"
#include "appliance/Appliance.h"
#include "debug/ui/DebuggerControl.h"
#include "foundation/Diagnoser.h"
#include "frame/ui/MainFrame.h"
#include "inspectors/ui/DisasmView.h"
#include "platform/Paths.h"
#include "platform/ProgramFolder.h"
#include "platform/ui/DialogRunner.h"
#include "settings/GlobalSettings.h"

#include <QApplication>
#include <QDialog>
#include <QTabBar>
#include <QTest>
#include <benchmark/benchmark.h>
#include <iostream>

namespace {

class NoDialogs : public bx::ui::DialogRunner {
public:
    int Exec(QDialog&) override { return QDialog::Rejected; }
};

std::string ProgramFolder() {
    return bx::platform::FromNativePath(BX_PROGRAM_DIR);
}

// The frame with the large appliance powered on, made once for all the benchmarks.
struct PoweredStudio {
    LargeAppliance files{"studio-debugger"};
    bx::platform::ScopedProgramFolder program{ProgramFolder()};
    NoDialogs dialogs;
    CountingPrompter prompter;
    std::unique_ptr<bx::Diagnoser> diagnoser;
    std::unique_ptr<bx::ui::MainFrame> frame;
    std::string error;

    PoweredStudio() {
        bx::ui::SetDialogRunner(&dialogs);
        if (!files.ok) {
            error = "ca65/ld65 are not installed or the large appliance didn't build";
            return;
        }
        const std::string folder = bx::platform::FromNativePath(files.folder.string()) + "\\";
        diagnoser = std::make_unique<bx::Diagnoser>(folder + "vkbx.log");
        {
            bx::GlobalSettings settings(prompter);
            settings.Load(ProgramFolder() + "\\BX.gss");
            bx::Appliance appliance;
            appliance.Settings = &settings;
            appliance.Title = "big";
            appliance.Family = "KTR";
            appliance.Model = "KTR640";
            appliance.ModelParam = "KTR640";
            appliance.OPClock = "4 MHz";
            appliance.Folder = folder;
            appliance.BankStart = 0xC000;
            appliance.BankSize = 0x4000;
            appliance.BankCount = kBanks;
            appliance.ProgramStart = 0x4000;
            appliance.RunTarget()->OutputPath = "big.rom";
            appliance.Save(true);
        }
        frame = std::make_unique<bx::ui::MainFrame>(&prompter, diagnoser.get());
        if (!frame->Initialise()) {
            error = "the frame didn't start";
            return;
        }
        frame->resize(1400, 900);
        frame->show();
        if (!QTest::qWaitForWindowExposed(frame.get())) {
            error = "the frame didn't show";
            return;
        }
        frame->Frame().Open(folder + "big.apl");
        frame->Perform("mnuDbgPower");
        if (!frame->Frame().Powered() || prompter.boxes != 0)
            error = "power-on failed";
    }
    ~PoweredStudio() {
        frame.reset();
        bx::ui::SetDialogRunner(nullptr);
    }
};

PoweredStudio& Studio() {
    static PoweredStudio studio;
    return studio;
}

void BM_StepToRepaintedWindows(benchmark::State& state) {
    PoweredStudio& studio = Studio();
    if (!studio.error.empty()) {
        state.SkipWithError(studio.error.c_str());
        return;
    }
    bx::ui::MainFrame& frame = *studio.frame;
    const int tabs = frame.Debugger()->Tabs()->count() - 1;
    for (auto _ : state) {
        frame.Perform("mnuDbgStepIn");
        frame.repaint();
    }
    state.counters["source_tabs"] = tabs;
    state.counters["lines_per_second"] =
        benchmark::Counter(static_cast<double>(state.iterations()), benchmark::Counter::kIsRate);
}
BENCHMARK(BM_StepToRepaintedWindows)->Unit(benchmark::kMillisecond);

void BM_DisassemblyRepaint(benchmark::State& state) {
    PoweredStudio& studio = Studio();
    if (!studio.error.empty()) {
        state.SkipWithError(studio.error.c_str());
        return;
    }
    bx::ui::DebuggerControl& debugger = *studio.frame->Debugger();
    debugger.Tabs()->setCurrentIndex(0); // the disassembly in front
    bx::ui::DisasmView& view = *debugger.Disassembly();
    for (auto _ : state)
        view.repaint();
    state.counters["rows"] = view.height() / view.fontMetrics().height();
}
BENCHMARK(BM_DisassemblyRepaint)->Unit(benchmark::kMillisecond);

} // namespace

int main(int argc, char** argv) {
    setenv("QT_QPA_PLATFORM", "offscreen", 0);
    QApplication app(argc, argv);
    benchmark::Initialize(&argc, argv);
    benchmark::RunSpecifiedBenchmarks();
    benchmark::Shutdown();
    // The studio goes before the application does.
    if (Studio().frame)
        Studio().frame.reset();
    return 0;
}
