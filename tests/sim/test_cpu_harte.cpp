// The WDC 65C02 single-step tests (Tom Harte's SingleStepTests, 100 cases for each of the 210
// documented opcodes): registers, RAM, cycle count and every bus cycle, dummy reads included.
#include "sim/SingleStepTest.h"

#include <algorithm>
#include <filesystem>
#include <gtest/gtest.h>
#include <string>
#include <vector>

namespace bx::sim {
namespace {

namespace fs = std::filesystem;

fs::path HarteFolder() {
    return fs::path(BX_SHARED_DIR) / "cputests/harte/wdc65c02/v1";
}

std::vector<fs::path> HarteFiles() {
    std::vector<fs::path> files;
    std::error_code ec;
    for (const auto& entry : fs::directory_iterator(HarteFolder(), ec))
        if (entry.path().extension() == ".json")
            files.push_back(entry.path());
    std::sort(files.begin(), files.end());
    return files;
}

TEST(CpuSingleStep, PassesEveryCaseOnRegistersRamCyclesAndBusAccesses) {
    if (!fs::is_directory(HarteFolder()))
        GTEST_SKIP() << "single-step test data is absent: " << HarteFolder();
    const auto files = HarteFiles();
    ASSERT_EQ(files.size(), 210u) << "expected one file per documented opcode";
    int passed = 0, failed = 0;
    for (const auto& file : files) {
        SingleStepFileResult result = RunSingleStepFile(file.string(), true);
        ASSERT_TRUE(result.Error.empty()) << result.Error;
        EXPECT_EQ(result.Passed + result.Failed, 100) << file;
        passed += result.Passed;
        failed += result.Failed;
        // A few lines per opcode are enough to see the pattern of a fault.
        for (std::size_t i = 0; i < result.Failures.size() && i < 3; ++i)
            ADD_FAILURE() << file.filename().string() << " " << result.Failures[i];
    }
    EXPECT_EQ(passed, 21000);
    EXPECT_EQ(failed, 0);
}

} // namespace
} // namespace bx::sim
