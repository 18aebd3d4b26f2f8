#pragma once
// What the studio's benchmarks that power a target on in the frame share: a prompter that counts
// the boxes instead of showing them (a measured flow shows none), the program's folder of this
// build, the frame with an appliance opened and powered on, F8 to the repainted frame, and
// main() (StudioBenchMain.h).

#include "CountingPrompter.h"
#include "StudioBenchMain.h"
#include "foundation/Diagnoser.h"
#include "foundation/HostInterfaces.h"
#include "frame/ui/MainFrame.h"
#include "platform/Paths.h"

#include <QApplication>
#include <QTest>
#include <benchmark/benchmark.h>
#include <cstdlib>
#include <functional>
#include <iostream>
#include <memory>
#include <string>

namespace {

std::string ProgramFolder() {
    return bx::platform::FromNativePath(BX_PROGRAM_DIR);
}

// A frame of 1400 x 900 on the screen with the appliance at apl (the system's path form) opened
// and powered on; what went wrong, or "" when the target is halted with no box shown.
std::string PowerOnInFrame(std::unique_ptr<bx::ui::MainFrame>& frame, CountingPrompter& prompter,
                           const bx::Diagnoser& diagnoser, const std::string& apl) {
    frame = std::make_unique<bx::ui::MainFrame>(&prompter, &diagnoser);
    if (!frame->Initialise())
        return "the frame didn't start";
    frame->resize(1400, 900);
    frame->show();
    if (!QTest::qWaitForWindowExposed(frame.get()))
        return "the frame didn't show";
    frame->Frame().Open(apl);
    frame->Perform("mnuDbgPower");
    if (!frame->Frame().Powered() || prompter.boxes != 0)
        return "power-on failed";
    return "";
}

// F8 from the frame's command to the whole frame painted again; its inverse is how many lines a
// held F8 steps a second.
void MeasureStepToRepaintedFrame(benchmark::State& state, bx::ui::MainFrame& frame) {
    for (auto _ : state) {
        frame.Perform("mnuDbgStepIn");
        frame.repaint();
    }
    state.counters["lines_per_second"] =
        benchmark::Counter(static_cast<double>(state.iterations()), benchmark::Counter::kIsRate);
}

} // namespace
