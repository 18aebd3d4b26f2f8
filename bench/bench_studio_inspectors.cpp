// The register, watch and memory windows on the offscreen platform, in the studio's frame with
// the KTR311 starter appliance (made from the shipped template and built by the command line
// tool) powered on, four watches added through the watch item dialog:
//  - BM_MemoryCanvasRepaint: one full paint of the memory canvas, every row read from the
//    target with its break flags; argument 0 at the size of the "Debug" desktop, 1 with the
//    window grown to 1200 x 860.
//  - BM_InspectorsReloadAfterStop: after a step of the target (not counted), the status
//    update's part for the inspectors (the register tree of the template's ~50 items, the
//    watches, the memory) and a synchronous paint of the three windows.
//  - BM_StepWithInspectorsShown: F8 from the frame's command to the whole frame painted again,
//    the three windows shown beside the debugger; its inverse is how many lines a held F8
//    steps a second.
#include "StudioBench.h"
#include "debug/DebugMonitor.h"
#include "debug/Emulator.h"
#include "debug/ui/DebuggerControl.h"
#include "foundation/Diagnoser.h"
#include "frame/ui/ChildWindow.h"
#include "frame/ui/MainFrame.h"
#include "inspectors/ui/MemoryEditor.h"
#include "inspectors/ui/RegisterEditor.h"
#include "inspectors/ui/WatchEditor.h"
#include "platform/Paths.h"
#include "platform/ProgramFolder.h"
#include "platform/ui/DialogRunner.h"

#include <QApplication>
#include <QComboBox>
#include <QDialog>
#include <QPushButton>
#include <QTest>
#include <QTreeWidget>
#include <benchmark/benchmark.h>
#include <cstdlib>
#include <filesystem>
#include <unistd.h>

namespace {

namespace fs = std::filesystem;

// The watch item dialog takes the name in hand; every other dialog closes at once.
class WatchDialogs : public bx::ui::DialogRunner {
public:
    int Exec(QDialog& dialog) override {
        auto* name = dialog.findChild<QComboBox*>("cbWatchItems");
        if (!name)
            return QDialog::Rejected;
        name->setEditText(QString::fromStdString(watch));
        dialog.findChild<QPushButton*>("cmdOk")->click();
        return dialog.result();
    }
    std::string watch;
};

// The starter appliance powered on in the frame, made once for all the benchmarks.
struct PoweredStarter {
    fs::path folder =
        fs::temp_directory_path() / ("tessarine-bench-inspectors-" + std::to_string(getpid()));
    bx::platform::ScopedProgramFolder program{ProgramFolder()};
    WatchDialogs dialogs;
    CountingPrompter prompter;
    std::unique_ptr<bx::Diagnoser> diagnoser;
    std::unique_ptr<bx::ui::MainFrame> frame;
    std::string error;

    PoweredStarter() {
        bx::ui::SetDialogRunner(&dialogs);
        const std::string cli = std::string(BX_PROGRAM_DIR) + "/tessarine-cli";
        const fs::path app = folder / "starter";
        const std::string make = "'" + cli + "' new --body KTR311 --name starter --dir '" +
                                 app.string() + "' >/dev/null && '" + cli + "' build '" +
                                 (app / "starter.apl").string() + "' >/dev/null";
        if (std::system(make.c_str()) != 0) {
            error = "the starter appliance couldn't be made and built (ca65, ld65, make?)";
            return;
        }
        diagnoser = std::make_unique<bx::Diagnoser>(
            bx::platform::FromNativePath((folder / "vkbx.log").string()));
        error = PowerOnInFrame(frame, prompter, *diagnoser,
                               bx::platform::FromNativePath((app / "starter.apl").string()));
        if (!error.empty())
            return;
        for (const char* name : {"key", "leds", "level", "row_bits[2]"}) {
            dialogs.watch = name;
            Watches().AddWatch();
        }
        if (Watches().List()->topLevelItemCount() != 4)
            error = "the watches weren't added";
    }
    ~PoweredStarter() {
        frame.reset();
        bx::ui::SetDialogRunner(nullptr);
        fs::remove_all(folder);
    }

    template <class T>
    T& Window(const char* name) {
        return *qobject_cast<T*>(frame->Child(name)->Content());
    }
    bx::ui::WatchEditor& Watches() { return Window<bx::ui::WatchEditor>("frmWatch"); }
};

PoweredStarter& Starter() {
    static PoweredStarter starter;
    return starter;
}

void BM_MemoryCanvasRepaint(benchmark::State& state) {
    PoweredStarter& starter = Starter();
    if (!starter.error.empty()) {
        state.SkipWithError(starter.error.c_str());
        return;
    }
    auto& memory = starter.Window<bx::ui::MemoryEditor>("frmMemory");
    bx::ui::ChildWindow* child = starter.frame->Child("frmMemory");
    const QSize desktop = child->size();
    if (state.range(0) == 1)
        child->resize(1200, 860);
    QApplication::processEvents();
    for (auto _ : state)
        memory.Canvas()->repaint();
    state.counters["rows"] = std::ceil(memory.Canvas()->height() / memory.Metrics().RowHeight);
    child->resize(desktop);
}
BENCHMARK(BM_MemoryCanvasRepaint)->Arg(0)->Arg(1)->Unit(benchmark::kMillisecond);

void BM_InspectorsReloadAfterStop(benchmark::State& state) {
    PoweredStarter& starter = Starter();
    if (!starter.error.empty()) {
        state.SkipWithError(starter.error.c_str());
        return;
    }
    bx::DebugMonitor& monitor = starter.frame->Debugger()->Monitor();
    bx::ui::ChildWindow* windows[] = {starter.frame->Child("frmRegister"),
                                      starter.frame->Child("frmWatch"),
                                      starter.frame->Child("frmMemory")};
    for (auto _ : state) {
        state.PauseTiming();
        monitor.CurrentEmulator()->Step();
        state.ResumeTiming();
        monitor.UpdateStatus(false, true, true, true);
        for (bx::ui::ChildWindow* window : windows)
            window->repaint();
    }
    state.counters["register_nodes"] = static_cast<double>(
        starter.Window<bx::ui::RegisterEditor>("frmRegister").Model().Nodes().size());
    state.counters["watches"] = starter.Watches().List()->topLevelItemCount();
}
BENCHMARK(BM_InspectorsReloadAfterStop)->Unit(benchmark::kMillisecond);

void BM_StepWithInspectorsShown(benchmark::State& state) {
    PoweredStarter& starter = Starter();
    if (!starter.error.empty()) {
        state.SkipWithError(starter.error.c_str());
        return;
    }
    MeasureStepToRepaintedFrame(state, *starter.frame);
}
BENCHMARK(BM_StepWithInspectorsShown)->Unit(benchmark::kMillisecond);

} // namespace

int main(int argc, char** argv) {
    return RunStudioBenchmarks(argc, argv, [] { Starter().frame.reset(); });
}
