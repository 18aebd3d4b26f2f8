// Two figures of the studio's frame on the offscreen platform, in the program's folder of this
// build:
//  - BM_StartUpToUsableFrame: from a new process to a frame that takes commands. Each iteration
//    starts this program anew in its child role, which builds the application and the frame,
//    runs the start-up (settings, templates, menus, toolbars, children), shows the frame and
//    waits until it is on the screen, then tells the parent through a pipe. The splash closes
//    at once, so its own timer isn't counted; process start, dynamic linking and Qt's own
//    start are.
//  - BM_OpenKtr640ApplianceToFilledWindows: Open of a KTR640 appliance made from the shipped
//    template, until every window of its desktop is placed, shown and painted.
#include "CountingPrompter.h"
#include "StudioBenchMain.h"
#include "appliance/Appliance.h"
#include "appliance_editor/ApplianceWizard.h"
#include "foundation/Diagnoser.h"
#include "frame/ui/MainFrame.h"
#include "platform/Paths.h"
#include "platform/ProgramFolder.h"
#include "platform/ui/DialogRunner.h"
#include "settings/GlobalSettings.h"

#include <QApplication>
#include <QDialog>
#include <QTest>
#include <benchmark/benchmark.h>
#include <chrono>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <iostream>
#include <sys/wait.h>
#include <unistd.h>

namespace {

namespace fs = std::filesystem;

// Closes every dialog at once: the splash among them.
class NoDialogs : public bx::ui::DialogRunner {
public:
    int Exec(QDialog&) override { return QDialog::Rejected; }
};

std::string ProgramFolder() {
    return bx::platform::FromNativePath(BX_PROGRAM_DIR);
}

// The child role: start-up to an exposed frame, then one byte on the pipe.
int RunChild(int pipeFd, int argc, char** argv) {
    QApplication app(argc, argv);
    bx::platform::SetProgramFolder(ProgramFolder());
    NoDialogs dialogs;
    bx::ui::SetDialogRunner(&dialogs);
    CountingPrompter prompter;
    bx::Diagnoser diagnoser(bx::platform::FromNativePath(fs::temp_directory_path().string()) +
                            "\\bench-studio-vkbx.log");
    bx::ui::MainFrame frame(&prompter, &diagnoser);
    if (!frame.Initialise())
        return 1;
    frame.show();
    if (!QTest::qWaitForWindowExposed(&frame))
        return 1;
    const char ready = prompter.boxes == 0 ? 'R' : 'B';
    return write(pipeFd, &ready, 1) == 1 ? 0 : 1;
}

std::string self;

void BM_StartUpToUsableFrame(benchmark::State& state) {
    for (auto _ : state) {
        int fds[2];
        if (pipe(fds) != 0) {
            state.SkipWithError("no pipe");
            return;
        }
        const auto start = std::chrono::steady_clock::now();
        const pid_t child = fork();
        if (child == 0) {
            close(fds[0]);
            const std::string fd = std::to_string(fds[1]);
            execl(self.c_str(), self.c_str(), "--child-startup", fd.c_str(),
                  static_cast<char*>(nullptr));
            _exit(127);
        }
        close(fds[1]);
        char ready = 0;
        const bool got = read(fds[0], &ready, 1) == 1;
        const auto end = std::chrono::steady_clock::now();
        close(fds[0]);
        int status = 0;
        waitpid(child, &status, 0);
        if (!got || ready != 'R') {
            state.SkipWithError("the frame didn't start (or showed a box)");
            return;
        }
        state.SetIterationTime(std::chrono::duration<double>(end - start).count());
    }
}
BENCHMARK(BM_StartUpToUsableFrame)->UseManualTime()->Unit(benchmark::kMillisecond)->Iterations(10);

void BM_OpenKtr640ApplianceToFilledWindows(benchmark::State& state) {
    bx::platform::ScopedProgramFolder program(ProgramFolder());
    NoDialogs dialogs;
    bx::ui::SetDialogRunner(&dialogs);
    CountingPrompter prompter;
    const fs::path work = fs::temp_directory_path() / ("bench-studio-" + std::to_string(getpid()));
    fs::remove_all(work);
    fs::create_directories(work);
    bx::Diagnoser diagnoser(bx::platform::FromNativePath((work / "vkbx.log").string()));

    std::string path;
    {
        bx::GlobalSettings settings(prompter);
        settings.Load(ProgramFolder() + "\\BX.gss");
        bx::WizardInputs inputs;
        inputs.Name = "demo640";
        inputs.WorkingFolder = bx::platform::FromNativePath((work / "demo640").string());
        inputs.Body = "KTR640";
        inputs.TemplateRoot = ProgramFolder() + "\\Templates\\Sarnova\\";
        auto appliance = bx::CreateAppliance(settings, prompter, inputs);
        if (!appliance) {
            state.SkipWithError("the KTR640 appliance couldn't be made");
            return;
        }
        appliance->Save(true);
        path = appliance->Folder + appliance->Title + ".apl";
    }

    bx::ui::MainFrame frame(&prompter, &diagnoser);
    if (!frame.Initialise()) {
        state.SkipWithError("the frame didn't start");
        return;
    }
    frame.show();
    if (!QTest::qWaitForWindowExposed(&frame)) {
        state.SkipWithError("the frame didn't show");
        return;
    }
    for (auto _ : state) {
        frame.Frame().Open(path);
        // Placed and shown; the paint of every visible window happens here.
        frame.repaint();
        QApplication::processEvents();
    }
    if (prompter.boxes != 0 || !frame.Frame().ApplianceOpen())
        state.SkipWithError("the appliance didn't open cleanly");
    frame.Frame().Close();
    bx::ui::SetDialogRunner(nullptr);
    fs::remove_all(work);
}
BENCHMARK(BM_OpenKtr640ApplianceToFilledWindows)->Unit(benchmark::kMillisecond);

} // namespace

int main(int argc, char** argv) {
    setenv("QT_QPA_PLATFORM", "offscreen", 0);
    if (argc == 3 && std::strcmp(argv[1], "--child-startup") == 0)
        return RunChild(std::atoi(argv[2]), argc, argv);
    self = fs::canonical("/proc/self/exe").string();
    return RunStudioBenchmarks(argc, argv);
}
