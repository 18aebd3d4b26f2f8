// The single-step test runner and the command line's cpu-run and cpu-test commands.
#include "sim/SingleStepTest.h"
#include "support/CliRunner.h"
#include "support/TempFolder.h"

#include <filesystem>
#include <gtest/gtest.h>
#include <sstream>
#include <string>
#include <vector>

namespace bx::sim {
namespace {

using test::CliResult;
using test::RunCli;

// LDA #$12 at $0200.
SingleStepCase LdaImmediate() {
    SingleStepCase c;
    c.Name = "a9 test";
    c.Initial = CpuRegisters{0x00, 0x01, 0x02, 0xF0, 0x22, 0x0200};
    c.Final = CpuRegisters{0x12, 0x01, 0x02, 0xF0, 0x20, 0x0202};
    c.InitialRam = c.FinalRam = {{0x0200, 0xA9}, {0x0201, 0x12}};
    c.Cycles = {{0x0200, 0xA9, false}, {0x0201, 0x12, false}};
    return c;
}

const std::string kLdaJson = R"([{"name": "a9 test",
  "initial": {"pc": 512, "s": 240, "a": 0, "x": 1, "y": 2, "p": 34,
              "ram": [[512, 169], [513, 18]]},
  "final": {"pc": 514, "s": 240, "a": 18, "x": 1, "y": 2, "p": 32,
            "ram": [[512, 169], [513, 18]]},
  "cycles": [[512, 169, "read"], [513, 18, "read"]]}])";

std::string Replaced(std::string text, const std::string& from, const std::string& to) {
    return text.replace(text.find(from), from.size(), to);
}

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
    const std::string text = RunSingleStepCase(wrongCycles, true);
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
    const std::pair<std::string, std::string> bad[] = {
        {"{}", "not an array"},
        {"[1]", "test 0 is not an object"},
        {"[{\"initial\": {}}]", "test 0.name"},
        {Replaced(kLdaJson, "\"s\": 240", "\"s\": 256"), "initial.s is out of range"},
        {Replaced(kLdaJson, "\"a\": 0", "\"a\": \"0\""), "initial.a is not a number"},
        {Replaced(kLdaJson, "\"read\"", "\"peek\""), "direction \"peek\""},
        {Replaced(kLdaJson, "[512, 169], [513, 18]]}", "[512]]}"), "[address, value]"},
    };
    for (const auto& [json, message] : bad) {
        try {
            ParseSingleStepCases(ParseJson(json));
            ADD_FAILURE() << "accepted: " << json;
        } catch (const std::runtime_error& e) {
            EXPECT_NE(std::string(e.what()).find(message), std::string::npos)
                << e.what() << " / wanted " << message;
        }
    }
}

// cpu-run on plain RAM and on the KTR models (--model), and every argument it refuses.
TEST(CpuRunCommand, ReportsTrapsAndStopsWithCountsAndRefusesBadArguments) {
    test::TempFolder folder;
    // loop.bin, $0400: LDX #3; loop: DEX; BNE loop; done: JMP done. 8 instructions: LDX (2) +
    // 3 x DEX (2) + 2 taken BNE (3) + 1 untaken (2) + JMP (3) = 19 cycles. stp.bin: INX; STP.
    folder.WriteFile("loop.bin", "\xA2\x03\xCA\xD0\xFD\x4C\x05\x04");
    folder.WriteFile("stp.bin", "\xE8\xDB");
    const char* kPass = "pass: trap at $0405, 8 instructions, 19 cycles\n";
    struct Row {
        int Status;
        const char* Out;  // the whole output, or without a final line end its start; or nullptr
        const char* Err;  // a part of the error output; nullptr: none where all went well
        const char* Args; // the first one an image of the folder, '' an empty one
    };
    const Row rows[] = {
        {0, kPass, nullptr, "loop.bin --load $0400 --start 0x400 --success $0405"},
        {1, "fail: trap at $0405, expected $1234, 8 instructions, 19 cycles\n", nullptr,
         "loop.bin --load $400 --start $400 --success $1234"},
        {0, "trap at $0405, 8 instructions, 19 cycles\n", nullptr,
         "loop.bin --load 1024 --start 1024"},
        {1, "fail: no trap within 3 instructions (PC $0402), 7 cycles\n", nullptr,
         "loop.bin --load $400 --start $400 --limit 3"},
        {0, "pass: STP at $0201, 2 instructions, 5 cycles\n", nullptr,
         "stp.bin --load $0200 --start $0200 --success $0201"},
        {0, kPass, nullptr, "loop.bin --load $0400 --start $0400 --success $0405 --model 7"},
        {0, kPass, nullptr, "loop.bin --load $0400 --start $0400 --success $0405 --model 13"},
        {0, kPass, nullptr, "loop.bin --load $0400 --start $0400 --success $0405 --model 24"},
        {1, "fail: trap at $0405, expected $1234, ", nullptr,
         "loop.bin --load $0400 --start $0400 --success $1234 --model 13"},
        // $2000 is RAM on the KTR640 only.
        {1,
         "fail: execution reached $2000, where the KTR310 has no memory, 0 instructions, 0 "
         "cycles\n",
         "2 bytes of the image", "stp.bin --load $2000 --start $2000 --model 7"},
        {0, "STP at $2001, 2 instructions, 5 cycles\n", nullptr,
         "stp.bin --load $2000 --start $2000 --model 24"},
        {2, nullptr, nullptr, "stp.bin --start $0200"}, // no --load
        {2, nullptr, nullptr, "stp.bin --load $10000 --start 0"},
        {2, nullptr, "does not fit at $FFFF", "stp.bin --load $FFFF --start 0"},
        {2, nullptr, nullptr, "stp.bin --load $0G00 --start 0"},
        {2, nullptr, "needs a value", "stp.bin --load 0 --start"},
        {2, nullptr, "cannot open", "none.bin --load 0 --start 0"},
        {2, nullptr, nullptr, "stp.bin --load 0 --start 0 --model"},
        {2, nullptr, nullptr, "stp.bin --load 0 --start 0 --model 9"},
        {2, nullptr, nullptr, "stp.bin --load 0 --start 0 --model x"},
        {2, nullptr, nullptr, "stp.bin --load 0 --start 0 --model 13a"},
        {2, nullptr, nullptr, "stp.bin --load 0 --start 0 --model ''"},
        {2, nullptr, nullptr, "stp.bin --load 0 --start 0 --limit -1"},
        {2, nullptr, nullptr, "stp.bin --load 0 --start 0 --limit +5"},
        {2, nullptr, nullptr, "stp.bin --load 0 --start 0 --limit 0"},
        {2, nullptr, nullptr, "stp.bin --load 0 --start 0 --limit 1e9"},
        {2, nullptr, nullptr, "stp.bin --load 0 --start 0 --limit 99999999999999999999"},
    };
    for (const Row& row : rows) {
        SCOPED_TRACE(row.Args);
        std::vector<std::string> args{"cpu-run"};
        std::istringstream words(row.Args);
        for (std::string word; words >> word;)
            args.push_back(args.size() == 1 ? (folder.Native() / word).string()
                           : word == "''"   ? ""
                                            : word);
        const CliResult r = RunCli(args);
        EXPECT_EQ(r.status, row.Status) << r.err;
        if (row.Out != nullptr) {
            const std::string out = row.Out;
            EXPECT_EQ(out.back() == '\n' ? r.out : r.out.substr(0, out.size()), out);
        }
        if (row.Err != nullptr) {
            EXPECT_NE(r.err.find(row.Err), std::string::npos) << r.err;
        } else if (row.Status == 0) {
            EXPECT_EQ(r.err, "");
        }
    }
}

TEST(CpuRunCommand, TheExtendedOpcodesTestPassesOnTheKtr640) {
    const auto file =
        std::filesystem::path(BX_SHARED_DIR) / "cputests/dormann/65C02_extended_opcodes_test.bin";
    if (!std::filesystem::exists(file))
        GTEST_SKIP() << "CPU test program data is absent: " << file;
    // The program keeps its data in zero page from $0A and at $0200, its code from $0400: all
    // RAM on the KTR640; only the SFR block's 64 bytes of the 64 KB image are left out.
    CliResult r = RunCli({"cpu-run", file.string(), "--load", "0", "--start", "$0400", "--success",
                          "$24F1", "--model", "24"});
    EXPECT_EQ(r.status, 0) << r.out << r.err;
    EXPECT_EQ(r.out, "pass: trap at $24F1, 21986986 instructions, 66907084 cycles\n");
}

TEST(CpuTestCommand, PrintsOneLinePerFailureAndTheTotals) {
    test::TempFolder folder;
    folder.WriteFile("good.json", kLdaJson);
    folder.WriteFile("mixed.json", kLdaJson.substr(0, kLdaJson.size() - 1) + ", " +
                                       Replaced(kLdaJson, "\"a\": 18", "\"a\": 19").substr(1));
    folder.WriteFile("broken.json", "[{\"name\": ");
    const auto native = [&](const char* name) { return (folder.Native() / name).string(); };

    CliResult ok = RunCli({"cpu-test", native("good.json"), "--bus"});
    EXPECT_EQ(ok.status, 0);
    EXPECT_EQ(ok.out, "1 passed, 0 failed\n");
    CliResult both = RunCli({"cpu-test", native("good.json"), native("mixed.json")});
    EXPECT_EQ(both.status, 1);
    EXPECT_EQ(both.out,
              native("mixed.json") + ": a9 test: A $12 expected $13\n2 passed, 1 failed\n");
    CliResult bad = RunCli({"cpu-test", native("broken.json")});
    EXPECT_EQ(bad.status, 1);
    EXPECT_EQ(bad.out, "0 passed, 0 failed\n");
    EXPECT_NE(bad.err.find("JSON error at line 1"), std::string::npos) << bad.err;
    EXPECT_EQ(RunCli({"cpu-test"}).status, 2);
}

} // namespace
} // namespace bx::sim
