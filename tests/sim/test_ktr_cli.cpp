// tessarine-cli cpu-run --model: a flat program on a KTR model instead of plain RAM.
#include "cli/CliMain.h"
#include "support/CliRunner.h"
#include "support/TempFolder.h"

#include <filesystem>
#include <fstream>
#include <gtest/gtest.h>
#include <sstream>
#include <string>
#include <vector>

namespace bx::sim {
namespace {

using test::CliResult;

CliResult Cli(const std::vector<std::string>& args) {
    return test::RunCli(args);
}

std::string WriteBinary(const test::TempFolder& folder, const std::string& name,
                        const std::vector<uint8_t>& bytes) {
    auto path = folder.Native() / name;
    std::ofstream(path, std::ios::binary)
        .write(reinterpret_cast<const char*>(bytes.data()),
               static_cast<std::streamsize>(bytes.size()));
    return path.string();
}

TEST(CpuRunOnModel, RunsInTheModelsRamWithTheSameCounts) {
    test::TempFolder folder;
    // $0400: LDX #3; loop: DEX; BNE loop; done: JMP done
    const std::string image =
        WriteBinary(folder, "loop.bin", {0xA2, 0x03, 0xCA, 0xD0, 0xFD, 0x4C, 0x05, 0x04});
    for (const char* model : {"7", "13", "24"}) {
        CliResult r = Cli({"cpu-run", image, "--load", "$0400", "--start", "$0400", "--success",
                           "$0405", "--model", model});
        EXPECT_EQ(r.status, 0) << model << ": " << r.err;
        EXPECT_EQ(r.out, "pass: trap at $0405, 8 instructions, 19 cycles\n") << model;
        EXPECT_EQ(r.err, "");
    }
}

TEST(CpuRunOnModel, ReportsExecutionWhereTheModelHasNoMemory) {
    test::TempFolder folder;
    // $2000 is RAM on the KTR640 only.
    const std::string image = WriteBinary(folder, "far.bin", {0xE8, 0xDB});
    CliResult r = Cli({"cpu-run", image, "--load", "$2000", "--start", "$2000", "--model", "7"});
    EXPECT_EQ(r.status, 1);
    EXPECT_EQ(r.out, "fail: execution reached $2000, where the KTR310 has no memory, "
                     "0 instructions, 0 cycles\n");
    EXPECT_NE(r.err.find("2 bytes of the image"), std::string::npos) << r.err;
    CliResult ok = Cli({"cpu-run", image, "--load", "$2000", "--start", "$2000", "--model", "24"});
    EXPECT_EQ(ok.status, 0);
    EXPECT_EQ(ok.out, "STP at $2001, 2 instructions, 5 cycles\n");
}

TEST(CpuRunOnModel, FindsATrapElsewhereThanTheSuccessAddress) {
    test::TempFolder folder;
    // $0400: INX; trap: JMP trap
    const std::string image = WriteBinary(folder, "trap.bin", {0xE8, 0x4C, 0x01, 0x04});
    CliResult r = Cli({"cpu-run", image, "--load", "$0400", "--start", "$0400", "--success",
                       "$1234", "--model", "13"});
    EXPECT_EQ(r.status, 1);
    EXPECT_EQ(r.out.rfind("fail: trap at $0401, expected $1234, ", 0), 0u) << r.out;
}

TEST(CpuRunOnModel, RefusesAModelNumberThatIsNoKtr) {
    test::TempFolder folder;
    const std::string image = WriteBinary(folder, "stp.bin", {0xDB});
    for (const char* bad : {"9", "x", "13a", ""}) {
        CliResult r = Cli({"cpu-run", image, "--load", "0", "--start", "0", "--model", bad});
        EXPECT_EQ(r.status, 2) << bad;
    }
    EXPECT_EQ(Cli({"cpu-run", image, "--load", "0", "--start", "0", "--model"}).status, 2);
}

TEST(CpuRunOnModel, TheExtendedOpcodesTestPassesOnTheKtr640) {
    const auto file =
        std::filesystem::path(BX_SHARED_DIR) / "cputests/dormann/65C02_extended_opcodes_test.bin";
    if (!std::filesystem::exists(file))
        GTEST_SKIP() << "CPU test program data is absent: " << file;
    // The program keeps its data in zero page from $0A and at $0200, its code from $0400: all
    // RAM on the KTR640; only the SFR block's 64 bytes of the 64 KB image are left out.
    CliResult r = Cli({"cpu-run", file.string(), "--load", "0", "--start", "$0400", "--success",
                       "$24F1", "--model", "24"});
    EXPECT_EQ(r.status, 0) << r.out << r.err;
    EXPECT_EQ(r.out, "pass: trap at $24F1, 21986986 instructions, 66907084 cycles\n");
}

} // namespace
} // namespace bx::sim
