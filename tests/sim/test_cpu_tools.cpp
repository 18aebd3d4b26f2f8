// The tools around the core: the JSON reader and the single-step test runner, the
// disassembler (its ca65 text assembled again by ca65), and the command line's cpu-run and
// cpu-test commands.
#include "sim/Disassembler.h"
#include "sim/OpcodeTable.h"
#include "sim/SingleStepTest.h"
#include "support/Cc65.h"
#include "support/CliRunner.h"
#include "support/TempFolder.h"

#include <array>
#include <filesystem>
#include <gtest/gtest.h>
#include <sstream>
#include <string>
#include <tuple>
#include <vector>

namespace bx::sim {
namespace {

using test::CliResult;
using test::RunCli;

// The disassembly of bytes placed at address (wrapping at the top) in an otherwise empty 64 KB.
Disassembly At(uint16_t address, std::initializer_list<uint8_t> bytes) {
    static std::array<uint8_t, 65536> memory;
    memory.fill(0);
    uint16_t a = address;
    for (uint8_t b : bytes)
        memory[a++] = b;
    return Disassemble([](uint16_t at) { return memory[at]; }, address);
}

TEST(Json, ReadsNestedValuesInDocumentOrder) {
    JsonValue v = ParseJson(R"( {"n": [1, -2.5, 3e2], "flags": {"t": true, "f": false, "z": null},
                                 "s": "a\"b\\c\/\n\u00e9\ud83d\ude00"} )");
    ASSERT_TRUE(v.IsObject() && v.Members().size() == 3 && v.Members()[2].first == "s");
    const auto& n = v.Find("n")->Items();
    ASSERT_EQ(n.size(), 3u);
    EXPECT_EQ(std::tuple(n[0].AsNumber(), n[1].AsNumber(), n[2].AsNumber()),
              std::tuple(1, -2.5, 300));
    const JsonValue* flags = v.Find("flags");
    EXPECT_TRUE(flags->Find("t")->AsBool() && !flags->Find("f")->AsBool() &&
                flags->Find("z")->IsNull());
    EXPECT_EQ(v.Find("s")->AsString(), "a\"b\\c/\n\xC3\xA9\xF0\x9F\x98\x80");
    EXPECT_EQ(v.Find("missing"), nullptr);
}

// Malformed text, every cut of a document and nesting deep enough to exhaust the stack are
// refused with a JsonError that says where.
TEST(Json, RejectsMalformedCutOrTooDeeplyNestedInputWithItsPosition) {
    const char* bad[] = {
        "",          "[1,]",        "{\"a\" 1}",     "[1 2]", "{\"a\":1,}", "\"open",
        "[01]",      "[1.]",        "[1e]",          "[-]",   "tru",        "nul",
        "[\"\\x\"]", "[\"\\u12\"]", "[\"\\ud800\"]", "{1:2}", "[1] x",      "[\"a\nb\"]",
        "{",         "[",           "[\"\\",         "[+1]",  "[.5]",       "[\"\\udc00\"]",
        "[1e999]",
    };
    for (const char* text : bad)
        EXPECT_THROW(ParseJson(text), JsonError) << text;
    const std::string good = R"([{"name": "x", "a": [1, 2.5e1, -0], "s": "\u00e9\n", "t": true}])";
    for (std::size_t cut = 0; cut < good.size(); ++cut)
        EXPECT_THROW(ParseJson(good.substr(0, cut)), JsonError) << "cut at " << cut;
    EXPECT_THROW(ParseJson(std::string(100000, '[')), JsonError);
    EXPECT_NO_THROW(ParseJson(std::string(100, '[') + std::string(100, ']')));
    try {
        ParseJson("[1,\n  2,\n  x]");
        FAIL() << "no error";
    } catch (const JsonError& e) {
        EXPECT_NE(std::string(e.what()).find("line 3, column 3"), std::string::npos) << e.what();
    }
}

TEST(Disassembler, PrintsEveryAddressingModeInCa65Syntax) {
    struct Case {
        uint16_t At;
        std::initializer_list<uint8_t> Bytes;
        const char* Text;
        int Length;
    };
    const Case cases[] = {
        {0x0200, {0x0A}, "ASL A", 1},
        {0x0200, {0xA9, 0x12}, "LDA #$12", 2},
        {0x0200, {0x9D, 0x34, 0x12}, "STA $1234,X", 3},
        {0x0200, {0x7C, 0x34, 0x12}, "JMP ($1234,X)", 3},
        {0x0200, {0xB1, 0x12}, "LDA ($12),Y", 2},
        {0xC010, {0x10, 0x80}, "BPL $BF92", 2},
        {0xC000, {0x3F, 0x12, 0x02}, "BBR3 $12,$C005", 3},
        {0x0200, {0xAD, 0x12, 0x00}, "LDA a:$0012", 3},
        {0x0200, {0x00, 0x55}, "BRK", 1},
        {0x0200, {0x02, 0x12}, ".byte $02,$12 ; NOP", 2},
        {0xFFFF, {0x4C}, "JMP $0000", 3}, // the operand bytes from $0000 on
        {0xFFFE, {0xD0, 0x00}, "BNE $0000", 2},
    };
    for (const Case& c : cases) {
        Disassembly d = At(c.At, c.Bytes);
        EXPECT_EQ(d.Text, c.Text);
        EXPECT_EQ(d.Length, c.Length) << c.Text;
    }
}

// Every opcode, disassembled and fed back to ca65 and ld65, gives back the same bytes: the
// lengths, modes and mnemonics of the whole table.
TEST(Disassembler, Ca65ReassemblesTheTextOfEveryOpcodeToTheSameBytes) {
    SKIP_WITHOUT_BUILD_TOOLS();
    std::vector<uint8_t> stream;
    for (int op = 0; op < 256; ++op) {
        const OpcodeInfo& info = OpcodeInfoOf(static_cast<uint8_t>(op));
        stream.push_back(static_cast<uint8_t>(op));
        if (info.Length > 1)
            stream.push_back(static_cast<uint8_t>(op * 7 + 3)); // forward and backward branches
        if (info.Length > 2)
            stream.push_back(op % 3 == 0 ? 0x00 : 0x12); // some operands below $0100
    }
    const auto read = [&](uint16_t a) {
        return a - 0x1000u < stream.size() ? stream[a - 0x1000u] : 0;
    };
    std::string source = ".segment \"CODE\"\n.org $1000\n";
    for (uint16_t a = 0x1000; a < 0x1000 + stream.size(); a += Disassemble(read, a).Length)
        source += "    " + Disassemble(read, a).Text + "\n";
    test::TempFolder folder;
    folder.WriteFile("flat.cfg", "MEMORY { RAM: start = $1000, size = $1000, file = %O; }\n"
                                 "SEGMENTS { CODE: load = RAM, type = rw; }\n");
    const test::Assembled assembled =
        test::Assemble(folder, source, (folder.Native() / "flat.cfg").string(), ".");
    ASSERT_TRUE(assembled.Ok) << assembled.Log << source;
    ASSERT_EQ(assembled.Image, stream);
}

// LDA #$12 at $0200.
const std::string kLdaJson = R"([{"name": "a9 test",
  "initial": {"pc": 512, "s": 240, "a": 0, "x": 1, "y": 2, "p": 34,
              "ram": [[512, 169], [513, 18]]},
  "final": {"pc": 514, "s": 240, "a": 18, "x": 1, "y": 2, "p": 32,
            "ram": [[512, 169], [513, 18]]},
  "cycles": [[512, 169, "read"], [513, 18, "read"]]}])";

std::string Replaced(std::string text, const std::string& from, const std::string& to) {
    return text.replace(text.find(from), from.size(), to);
}

// The runner passes a right case, read from the JSON format, and names every kind of
// difference; a document of the wrong structure is explained.
TEST(SingleStepRunner, ParsesTheJsonFormatAndNamesEveryKindOfDifference) {
    const auto cases = ParseSingleStepCases(ParseJson(kLdaJson));
    ASSERT_TRUE(cases.size() == 1 && cases[0].Name == "a9 test");
    EXPECT_EQ(RunSingleStepCase(cases[0], true), "");
    SingleStepCase wrong = cases[0];
    wrong.Final.A = 0x13;
    wrong.Final.P = 0x22;
    wrong.FinalRam.push_back({0x0300, 0x01});
    EXPECT_EQ(RunSingleStepCase(wrong, false),
              "A $12 expected $13; P $20 expected $22; RAM $0300 $00 expected $01");
    wrong = cases[0];
    wrong.Cycles.push_back({0x0202, 0x00, false});
    const std::string text = RunSingleStepCase(wrong, true);
    EXPECT_NE(text.find("cycles 2 expected 3"), std::string::npos) << text;
    EXPECT_NE(text.find("bus cycle 3 nothing expected read $0202=$00"), std::string::npos) << text;
    wrong = cases[0];
    wrong.Cycles[1].IsWrite = true;
    EXPECT_EQ(RunSingleStepCase(wrong, false), "") << "bus cycles compared only on request";
    EXPECT_EQ(RunSingleStepCase(wrong, true),
              "bus cycle 2 read $0201=$12 expected write $0201=$12");

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
        std::string refusal = "accepted";
        try {
            ParseSingleStepCases(ParseJson(json));
        } catch (const std::runtime_error& e) {
            refusal = e.what();
        }
        EXPECT_NE(refusal.find(message), std::string::npos) << refusal << " / wanted " << message;
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
        std::string Args; // the first one an image of the folder, '' an empty one
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
        {1, "fail: trap at $0405, expected $1234, ", nullptr,
         "loop.bin --load $0400 --start $0400 --success $1234 --model 13"},
        // $2000 is RAM on the KTR640 only.
        {1,
         "fail: execution reached $2000, where the KTR310 has no memory, 0 instructions, 0 "
         "cycles\n",
         "2 bytes of the image", "stp.bin --load $2000 --start $2000 --model 7"},
        {0, "STP at $2001, 2 instructions, 5 cycles\n", nullptr,
         "stp.bin --load $2000 --start $2000 --model 24"},
        {2, nullptr, "does not fit at $FFFF", "stp.bin --load $FFFF --start 0"},
        {2, nullptr, "needs a value", "stp.bin --load 0 --start"},
        {2, nullptr, "cannot open", "none.bin --load 0 --start 0"},
    };
    std::vector<Row> all(std::begin(rows), std::end(rows));
    for (const char* model : {"7", "13", "24"}) // the same counts in each model's RAM
        all.push_back(
            {0, kPass, nullptr,
             "loop.bin --load $0400 --start $0400 --success $0405 --model " + std::string(model)});
    const std::string load = "--load 0 --start 0 ";
    for (const std::string& refused : std::initializer_list<std::string>{
             "--start $0200", "--load $10000 --start 0", "--load $0G00 --start 0", load + "--model",
             load + "--model 9", load + "--model x", load + "--model 13a", load + "--model ''",
             load + "--limit -1", load + "--limit +5", load + "--limit 0", load + "--limit 1e9",
             load + "--limit 99999999999999999999"})
        all.push_back({2, nullptr, nullptr, "stp.bin " + refused});
    for (const Row& row : all) {
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

    const auto status = [](const CliResult& r) { return std::to_string(r.status) + " " + r.out; };
    EXPECT_EQ(status(RunCli({"cpu-test", native("good.json"), "--bus"})), "0 1 passed, 0 failed\n");
    EXPECT_EQ(status(RunCli({"cpu-test", native("good.json"), native("mixed.json")})),
              "1 " + native("mixed.json") + ": a9 test: A $12 expected $13\n2 passed, 1 failed\n");
    const CliResult bad = RunCli({"cpu-test", native("broken.json")});
    EXPECT_EQ(status(bad), "1 0 passed, 0 failed\n");
    EXPECT_NE(bad.err.find("JSON error at line 1"), std::string::npos) << bad.err;
    EXPECT_EQ(RunCli({"cpu-test"}).status, 2);
}

} // namespace
} // namespace bx::sim
