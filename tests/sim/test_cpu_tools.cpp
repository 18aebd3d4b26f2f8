// The single-step test runner and the command line's cpu-run and cpu-test commands.
#include "cli/CliMain.h"
#include "sim/SingleStepTest.h"
#include "support/CliRunner.h"
#include "support/TempFolder.h"

#include <fstream>
#include <gtest/gtest.h>
#include <sstream>
#include <string>
#include <vector>

namespace bx::sim {
namespace {

// LDA #$12 at $0200.
SingleStepCase LdaImmediate() {
    SingleStepCase c;
    c.Name = "a9 test";
    c.Initial = CpuRegisters{0x00, 0x01, 0x02, 0xF0, 0x22, 0x0200};
    c.Final = CpuRegisters{0x12, 0x01, 0x02, 0xF0, 0x20, 0x0202};
    c.InitialRam = {{0x0200, 0xA9}, {0x0201, 0x12}};
    c.FinalRam = c.InitialRam;
    c.Cycles = {{0x0200, 0xA9, false}, {0x0201, 0x12, false}};
    return c;
}

const char* kLdaJson = R"([{"name": "a9 test",
  "initial": {"pc": 512, "s": 240, "a": 0, "x": 1, "y": 2, "p": 34,
              "ram": [[512, 169], [513, 18]]},
  "final": {"pc": 514, "s": 240, "a": 18, "x": 1, "y": 2, "p": 32,
            "ram": [[512, 169], [513, 18]]},
  "cycles": [[512, 169, "read"], [513, 18, "read"]]}])";

TEST(SingleStepRunner, PassesARightCaseAndNamesEveryKindOfDifference) {
    EXPECT_EQ(RunSingleStepCase(LdaImmediate(), true), "");

    SingleStepCase wrongA = LdaImmediate();
    wrongA.Final.A = 0x13;
    wrongA.Final.P = 0x22;
    EXPECT_EQ(RunSingleStepCase(wrongA, false), "A $12 expected $13; P $20 expected $22");

    SingleStepCase wrongRam = LdaImmediate();
    wrongRam.FinalRam.push_back({0x0300, 0x01});
    EXPECT_EQ(RunSingleStepCase(wrongRam, false), "RAM $0300 $00 expected $01");

    SingleStepCase wrongCycles = LdaImmediate();
    wrongCycles.Cycles.push_back({0x0202, 0x00, false});
    std::string text = RunSingleStepCase(wrongCycles, true);
    EXPECT_NE(text.find("cycles 2 expected 3"), std::string::npos) << text;
    EXPECT_NE(text.find("bus cycle 3 nothing expected read $0202=$00"), std::string::npos) << text;

    SingleStepCase wrongBus = LdaImmediate();
    wrongBus.Cycles[1].IsWrite = true;
    EXPECT_EQ(RunSingleStepCase(wrongBus, false), "") << "bus cycles compared only on request";
    EXPECT_EQ(RunSingleStepCase(wrongBus, true),
              "bus cycle 2 read $0201=$12 expected write $0201=$12");
}

TEST(SingleStepRunner, ParsesTheJsonFormatAndExplainsStructuralFaults) {
    auto cases = ParseSingleStepCases(ParseJson(kLdaJson));
    ASSERT_EQ(cases.size(), 1u);
    EXPECT_EQ(cases[0].Name, "a9 test");
    EXPECT_EQ(cases[0].Initial.P, 34);
    EXPECT_EQ(cases[0].Final.PC, 514);
    EXPECT_EQ(cases[0].Cycles, LdaImmediate().Cycles);
    EXPECT_EQ(RunSingleStepCase(cases[0], true), "");

    struct Bad {
        std::string Json;
        std::string Message;
    };
    const Bad bad[] = {
        {"{}", "not an array"},
        {"[1]", "test 0 is not an object"},
        {"[{\"initial\": {}}]", "test 0.name"},
        {std::string(kLdaJson).replace(std::string(kLdaJson).find("\"s\": 240"), 8, "\"s\": 256"),
         "initial.s is out of range"},
        {std::string(kLdaJson).replace(std::string(kLdaJson).find("\"a\": 0"), 6, "\"a\": \"0\""),
         "initial.a is not a number"},
        {std::string(kLdaJson).replace(std::string(kLdaJson).find("\"read\""), 6, "\"peek\""),
         "direction \"peek\""},
        {std::string(kLdaJson).replace(std::string(kLdaJson).find("[512, 169], [513, 18]]}"), 10,
                                       "[512]"),
         "[address, value]"},
    };
    for (const Bad& b : bad) {
        try {
            ParseSingleStepCases(ParseJson(b.Json));
            ADD_FAILURE() << "accepted: " << b.Json;
        } catch (const std::runtime_error& e) {
            EXPECT_NE(std::string(e.what()).find(b.Message), std::string::npos)
                << e.what() << " / wanted " << b.Message;
        }
    }
}

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

TEST(CpuRunCommand, ReportsTheTrapWithCountsAndPassesOnTheSuccessAddress) {
    test::TempFolder folder;
    // $0400: LDX #3; loop: DEX; BNE loop; done: JMP done
    const std::string image =
        WriteBinary(folder, "loop.bin", {0xA2, 0x03, 0xCA, 0xD0, 0xFD, 0x4C, 0x05, 0x04});

    CliResult pass =
        Cli({"cpu-run", image, "--load", "$0400", "--start", "0x400", "--success", "$0405"});
    EXPECT_EQ(pass.status, 0) << pass.err;
    // LDX (2) + 3 x DEX (2) + 2 taken BNE (3) + 1 untaken (2) + JMP (3): 8 and 19.
    EXPECT_EQ(pass.out, "pass: trap at $0405, 8 instructions, 19 cycles\n");

    CliResult fail =
        Cli({"cpu-run", image, "--load", "$400", "--start", "$400", "--success", "$1234"});
    EXPECT_EQ(fail.status, 1);
    EXPECT_EQ(fail.out, "fail: trap at $0405, expected $1234, 8 instructions, 19 cycles\n");

    CliResult plain = Cli({"cpu-run", image, "--load", "1024", "--start", "1024"});
    EXPECT_EQ(plain.status, 0);
    EXPECT_EQ(plain.out, "trap at $0405, 8 instructions, 19 cycles\n");

    CliResult limited =
        Cli({"cpu-run", image, "--load", "$400", "--start", "$400", "--limit", "3"});
    EXPECT_EQ(limited.status, 1);
    EXPECT_EQ(limited.out, "fail: no trap within 3 instructions (PC $0402), 7 cycles\n");
}

TEST(CpuRunCommand, StopsAtStpAndRejectsBadArguments) {
    test::TempFolder folder;
    const std::string image = WriteBinary(folder, "stp.bin", {0xE8, 0xDB});
    CliResult stp =
        Cli({"cpu-run", image, "--load", "$0200", "--start", "$0200", "--success", "$0201"});
    EXPECT_EQ(stp.status, 0);
    EXPECT_EQ(stp.out, "pass: STP at $0201, 2 instructions, 5 cycles\n");

    EXPECT_EQ(Cli({"cpu-run", image, "--start", "$0200"}).status, 2) << "no --load";
    EXPECT_EQ(Cli({"cpu-run", image, "--load", "$10000", "--start", "0"}).status, 2);
    EXPECT_EQ(Cli({"cpu-run", image, "--load", "$FFFF", "--start", "0"}).status, 2)
        << "2 bytes do not fit at $FFFF";
    EXPECT_EQ(Cli({"cpu-run", image, "--load", "$0G00", "--start", "0"}).status, 2);
    EXPECT_EQ(Cli({"cpu-run", image, "--load", "0", "--start"}).status, 2);
    for (const char* limit : {"-1", "+5", "0", "1e9", "99999999999999999999"})
        EXPECT_EQ(Cli({"cpu-run", image, "--load", "0", "--start", "0", "--limit", limit}).status,
                  2)
            << limit;
    CliResult missing =
        Cli({"cpu-run", (folder.Native() / "none.bin").string(), "--load", "0", "--start", "0"});
    EXPECT_EQ(missing.status, 2);
    EXPECT_NE(missing.err.find("cannot open"), std::string::npos);
}

TEST(CpuTestCommand, PrintsOneLinePerFailureAndTheTotals) {
    test::TempFolder folder;
    std::string good = kLdaJson;
    std::string twoCases =
        std::string(kLdaJson).substr(0, std::string(kLdaJson).size() - 1) + ", " +
        std::string(kLdaJson).substr(1).replace(std::string(kLdaJson).find("\"a\": 18") - 1, 7,
                                                "\"a\": 19");
    folder.WriteFile("good.json", good);
    folder.WriteFile("mixed.json", twoCases);
    folder.WriteFile("broken.json", "[{\"name\": ");
    const std::string goodPath = (folder.Native() / "good.json").string();
    const std::string mixedPath = (folder.Native() / "mixed.json").string();

    CliResult ok = Cli({"cpu-test", goodPath, "--bus"});
    EXPECT_EQ(ok.status, 0);
    EXPECT_EQ(ok.out, "1 passed, 0 failed\n");

    CliResult mixed = Cli({"cpu-test", goodPath, mixedPath});
    EXPECT_EQ(mixed.status, 1);
    EXPECT_EQ(mixed.out, mixedPath + ": a9 test: A $12 expected $13\n2 passed, 1 failed\n");

    CliResult broken = Cli({"cpu-test", (folder.Native() / "broken.json").string()});
    EXPECT_EQ(broken.status, 1);
    EXPECT_EQ(broken.out, "0 passed, 0 failed\n");
    EXPECT_NE(broken.err.find("JSON error at line 1"), std::string::npos) << broken.err;

    EXPECT_EQ(Cli({"cpu-test"}).status, 2);
}

} // namespace
} // namespace bx::sim
