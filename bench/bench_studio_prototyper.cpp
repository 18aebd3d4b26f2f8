// The device panel with the starter program running in real time on the simulator (a KTR310
// appliance made and built by tessarine-cli, powered on by DebugMonitor with the panel's own
// surface as the prototyper, as the studio does):
//  - BM_PanelRepaint: one full paint of the front (LEDs, buttons, keypad, speaker); its cost at
//    60 frames a second is the painting's share of one core.
//  - BM_PanelLiveFrames: three seconds of the panel as it lives, its timer at the screen's rate
//    and a key held (the tone sounds): frames painted a second, the UI thread's share of a core
//    (reading the devices, painting, handing the sound on), the speaker's samples per frame, and
//    the gaps an output with SpeakerSound's queue would have played.
//    /0 paints as the panel does, when something shown changed; /1 paints every frame.
//  - BM_PressToProgram: a key pressed with the mouse until the program's keypad scan has
//    seen it (a breakpoint on the routine the scan calls for a held key), in simulated time.
//  - BM_PressToSoundHandoff: the same press until the first samples of the tone are handed to
//    the audio output, in real time; the output's own queue (SpeakerSound::kQueueMs at the
//    most) comes on top of it.
#include "CountingPrompter.h"
#include "StudioBenchMain.h"
#include "appliance/Appliance.h"
#include "debug/DebugMonitor.h"
#include "debug/Emulator.h"
#include "foundation/Common.h"
#include "foundation/Diagnoser.h"
#include "foundation/ProgressCodes.h"
#include "inspectors/Watch.h"
#include "platform/Paths.h"
#include "platform/ProgramFolder.h"
#include "platform/ui/QtDispatcher.h"
#include "prototyper/PanelLayout.h"
#include "prototyper/ui/FacadeWidget.h"
#include "prototyper/ui/Prototyper.h"
#include "prototyper/ui/SpeakerSound.h"
#include "settings/GlobalSettings.h"
#include "sim/KtrEmulator.h"
#include "sim/SimTargetFactory.h"
#include "symbols/Ld65SymbolLibrary.h"

#include <QApplication>
#include <QElapsedTimer>
#include <QEventLoop>
#include <QTest>
#include <QTimer>
#include <algorithm>
#include <benchmark/benchmark.h>
#include <cstdlib>
#include <ctime>
#include <filesystem>
#include <iostream>
#include <unistd.h>

namespace {

double ThreadCpuSeconds() {
    timespec now{};
    clock_gettime(CLOCK_THREAD_CPUTIME_ID, &now);
    return static_cast<double>(now.tv_sec) + static_cast<double>(now.tv_nsec) * 1e-9;
}

class QuietStatus : public bx::StatusDisplay {
public:
    void State(int) override {}
    void StateArg(const std::string&) override {}
    void GoAway() override {}
};

// Counts the paints of a widget.
class PaintCounter : public QObject {
public:
    int paints = 0;

protected:
    bool eventFilter(QObject*, QEvent* event) override {
        if (event->type() == QEvent::Paint)
            ++paints;
        return false;
    }
};

struct Host : bx::DebugMonitorHost {
    bx::Facade* facade = nullptr;
    bx::Appliance* appliance = nullptr;
    bx::Facade* RequestFacade() override { return facade; }
    std::shared_ptr<bx::View> RequestActiveView() override { return appliance->Views().First(); }
};

// The starter appliance made, built and powered on once, running in real time.
struct RunningPanel {
    std::filesystem::path folder;
    bx::platform::ScopedProgramFolder program{bx::platform::FromNativePath(BX_PROGRAM_DIR)};
    CountingPrompter prompter;
    QuietStatus status;
    std::unique_ptr<bx::Diagnoser> diagnoser;
    bx::GlobalSettings settings{prompter};
    bx::Appliance appliance;
    QObject context;
    bx::ui::QtDispatcher dispatcher{&context};
    bx::sim::SimTargetFactory targets{
        dispatcher, [] { return std::make_unique<bx::symbols::Ld65SymbolLibrary>(); }};
    Host host;
    bx::DebugInspectors inspectors;
    std::unique_ptr<bx::DebugMonitor> monitor;
    std::unique_ptr<bx::ui::Prototyper> panel;
    int32_t halfWave = -1; // the routine the main loop calls while a key is held
    std::string error;

    RunningPanel() {
        folder = std::filesystem::temp_directory_path() /
                 ("tessarine-bench-panel-" + std::to_string(getpid()));
        const std::string cli = std::string(BX_PROGRAM_DIR) + "/tessarine-cli";
        const std::string made = "'" + cli + "' new --body KTR310 --name panel --dir '" +
                                 (folder / "panel").string() + "' >/dev/null && '" + cli +
                                 "' build '" + (folder / "panel" / "panel.apl").string() +
                                 "' >/dev/null";
        if (std::system(made.c_str()) != 0) {
            error = "the starter appliance couldn't be made and built (ca65, ld65, make?)";
            return;
        }
        const std::string native = (folder / "panel").string();
        diagnoser =
            std::make_unique<bx::Diagnoser>(bx::platform::FromNativePath(native) + "\\vkbx.log");
        settings.Load(bx::platform::FromNativePath(BX_PROGRAM_DIR) + "\\BX.gss");
        appliance.Settings = &settings;
        appliance.Load(bx::platform::FromNativePath(native + "/panel.apl"));
        panel = std::make_unique<bx::ui::Prototyper>([this] { return appliance.Views().First(); });
        panel->resize(420, 400);
        panel->show();
        if (!QTest::qWaitForWindowExposed(panel.get())) {
            error = "the panel didn't show";
            return;
        }
        host.facade = panel->PanelFacade();
        host.appliance = &appliance;
        monitor = std::make_unique<bx::DebugMonitor>(targets, prompter, status, *diagnoser, host,
                                                     inspectors, false);
        monitor->SetAppliance(&appliance);
        if (!monitor->PowerOn() || prompter.boxes != 0) {
            error = "power-on failed";
            return;
        }
        if (auto labels = monitor->Symbols().GetLabelsAsWatches(true))
            for (const auto& entry : *labels)
                if (entry.item->Title == "half_wave")
                    halfWave = bx::HexToLong(entry.item->Location.substr(3));
        if (halfWave < 0) {
            error = "the starter program has no label half_wave";
            return;
        }
        monitor->Continue();
    }
    ~RunningPanel() {
        monitor.reset();
        panel.reset();
        std::filesystem::remove_all(folder);
    }

    bx::ui::FacadeWidget& Surface() { return *panel->Surface(); }
    bx::sim::KtrEmulator& Emulator() {
        return dynamic_cast<bx::sim::KtrEmulator&>(*monitor->CurrentEmulator());
    }
    // The middle of keypad key "5" in the surface's pixels.
    QPoint KeyFive() {
        return Surface()
            .Pixels(bx::prototyper::KeyOf(*Surface().Layout().Keypad, 4, 4, 1, 1))
            .center();
    }
    void Live(int milliseconds) {
        QEventLoop loop;
        QTimer::singleShot(milliseconds, &loop, &QEventLoop::quit);
        loop.exec();
    }
};

// The median and the largest of a benchmark's latencies, as counters name_median and name_max.
void ReportLatencies(benchmark::State& state, std::vector<double> latencies,
                     const std::string& name) {
    std::sort(latencies.begin(), latencies.end());
    state.counters[name + "_median"] = latencies[latencies.size() / 2];
    state.counters[name + "_max"] = latencies.back();
}

// Made at the first use, and let go in main before the application is.
std::unique_ptr<RunningPanel> running;

RunningPanel& Panel() {
    if (!running)
        running = std::make_unique<RunningPanel>();
    return *running;
}

bool Ready(benchmark::State& state) {
    if (!Panel().error.empty()) {
        state.SkipWithError(Panel().error.c_str());
        return false;
    }
    return true;
}

void BM_PanelRepaint(benchmark::State& state) {
    if (!Ready(state))
        return;
    bx::ui::FacadeWidget& surface = Panel().Surface();
    for (auto _ : state)
        surface.repaint();
    state.counters["width_px"] = surface.width();
    state.counters["height_px"] = surface.height();
    state.counters["frame_interval_ms"] = surface.FrameIntervalMs();
}
BENCHMARK(BM_PanelRepaint)->Unit(benchmark::kMicrosecond);

void BM_PanelLiveFrames(benchmark::State& state) {
    if (!Ready(state))
        return;
    RunningPanel& panel = Panel();
    bx::ui::FacadeWidget& surface = panel.Surface();
    PaintCounter counter;
    surface.installEventFilter(&counter);
    // The output's queue as SpeakerSound keeps it, played at 44,100 samples a second of real
    // time: a frame that finds it empty is a gap a listener would hear.
    const double perMs = bx::ui::SpeakerSound::kSampleRate / 1000.0;
    const double queueLimit = bx::ui::SpeakerSound::kQueueMs * perMs;
    const double prime = bx::ui::SpeakerSound::kPrimeMs * perMs;
    double queued = 0;
    bool playing = false;
    int frames = 0, gaps = 0;
    std::size_t fewest = SIZE_MAX, most = 0;
    QElapsedTimer sinceFrame;
    QTimer watch; // looks at each frame's samples just behind the panel's own timer
    QObject::connect(&watch, &QTimer::timeout, [&] {
        const std::size_t samples = surface.LastSamples().size();
        const double played = static_cast<double>(sinceFrame.nsecsElapsed()) * 1e-6 * perMs;
        sinceFrame.restart();
        ++frames;
        fewest = std::min(fewest, samples);
        most = std::max(most, samples);
        if (playing) {
            queued -= played;
            if (queued < 0) {
                ++gaps; // dry: the output gathers its prime again
                queued = 0;
                playing = false;
            }
        }
        queued = std::min(queueLimit, queued + static_cast<double>(samples));
        playing = playing || queued >= prime;
    });
    // Every frame painted, whether or not anything changed: the panel at its most expensive.
    QTimer everyFrame;
    QObject::connect(&everyFrame, &QTimer::timeout, [&surface] { surface.update(); });
    const int seconds = 3;
    for (auto _ : state) {
        if (state.range(0) == 1)
            everyFrame.start(surface.FrameIntervalMs());
        QTest::mousePress(&surface, Qt::LeftButton, {}, panel.KeyFive());
        counter.paints = 0;
        watch.start(surface.FrameIntervalMs());
        sinceFrame.start();
        const double cpuBefore = ThreadCpuSeconds();
        QElapsedTimer wall;
        wall.start();
        panel.Live(seconds * 1000);
        const double cpu = ThreadCpuSeconds() - cpuBefore;
        const double elapsed = static_cast<double>(wall.nsecsElapsed()) * 1e-9;
        watch.stop();
        everyFrame.stop();
        QTest::mouseRelease(&surface, Qt::LeftButton, {}, panel.KeyFive());
        state.counters["frames_painted_per_s"] = counter.paints / elapsed;
        state.counters["ui_thread_cpu_percent"] = 100.0 * cpu / elapsed;
    }
    state.counters["samples_per_frame_min"] = static_cast<double>(fewest);
    state.counters["samples_per_frame_max"] = static_cast<double>(most);
    state.counters["output_gaps"] = gaps;
    state.counters["frames_watched"] = frames;
    surface.removeEventFilter(&counter);
}
BENCHMARK(BM_PanelLiveFrames)->Arg(0)->Arg(1)->Iterations(1)->Unit(benchmark::kSecond);

void BM_PressToProgram(benchmark::State& state) {
    if (!Ready(state))
        return;
    RunningPanel& panel = Panel();
    bx::ui::FacadeWidget& surface = panel.Surface();
    std::vector<double> latencies;
    for (auto _ : state) {
        panel.Live(5 + static_cast<int>(latencies.size() * 7 % 23)); // presses at any moment
        panel.Emulator().SetBreak(panel.halfWave, 1, 1);
        const double before = panel.Emulator().SimulatedSeconds();
        QTest::mousePress(&surface, Qt::LeftButton, {}, panel.KeyFive());
        if (!QTest::qWaitFor([&] { return !panel.monitor->Running(); }, 5000)) {
            state.SkipWithError("the scan never saw the key");
            return;
        }
        latencies.push_back((panel.Emulator().SimulatedSeconds() - before) * 1000.0);
        QTest::mouseRelease(&surface, Qt::LeftButton, {}, panel.KeyFive());
        panel.Emulator().ClearBreak(panel.halfWave, 1, 1);
        panel.monitor->Continue();
    }
    ReportLatencies(state, latencies, "sim_ms");
}
BENCHMARK(BM_PressToProgram)->Iterations(40)->Unit(benchmark::kMillisecond);

void BM_PressToSoundHandoff(benchmark::State& state) {
    if (!Ready(state))
        return;
    RunningPanel& panel = Panel();
    bx::ui::FacadeWidget& surface = panel.Surface();
    std::vector<double> latencies;
    for (auto _ : state) {
        panel.Live(100 + static_cast<int>(latencies.size() * 7 % 23));
        QElapsedTimer since;
        QTest::mousePress(&surface, Qt::LeftButton, {}, panel.KeyFive());
        since.start();
        // The panel's own frames take the samples; the first tone sample ends the wait.
        const bool heard = QTest::qWaitFor(
            [&] {
                const auto& samples = surface.LastSamples();
                return std::any_of(samples.begin(), samples.end(),
                                   [](int16_t sample) { return sample != 0; });
            },
            2000);
        const double ms = static_cast<double>(since.nsecsElapsed()) * 1e-6;
        QTest::mouseRelease(&surface, Qt::LeftButton, {}, panel.KeyFive());
        if (!heard) {
            state.SkipWithError("no tone reached the panel");
            return;
        }
        latencies.push_back(ms);
    }
    ReportLatencies(state, latencies, "real_ms");
    state.counters["output_queue_ms_max"] = bx::ui::SpeakerSound::kQueueMs;
    state.counters["audio_output"] = surface.Sound() && surface.Sound()->HasDevice() ? 1 : 0;
}
BENCHMARK(BM_PressToSoundHandoff)->Iterations(20)->Unit(benchmark::kMillisecond);

} // namespace

int main(int argc, char** argv) {
    return RunStudioBenchmarks(argc, argv, [] { running.reset(); });
}
