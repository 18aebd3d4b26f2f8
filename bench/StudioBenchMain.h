#pragma once
// main() of a studio benchmark: the application on the offscreen platform, the benchmarks, then
// release (when given), so that what the benchmarks built goes before the application does.

#include <QApplication>
#include <benchmark/benchmark.h>
#include <cstdlib>
#include <functional>

inline int RunStudioBenchmarks(int argc, char** argv,
                               const std::function<void()>& release = nullptr) {
    setenv("QT_QPA_PLATFORM", "offscreen", 0);
    QApplication app(argc, argv);
    benchmark::Initialize(&argc, argv);
    benchmark::RunSpecifiedBenchmarks();
    benchmark::Shutdown();
    if (release)
        release();
    return 0;
}
