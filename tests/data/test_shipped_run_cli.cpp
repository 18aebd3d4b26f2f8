// "tessarine-cli run" and "tessarine-cli demo" on an appliance made from the shipped KTR311
// template and built with the real tools: what each stop prints, the recording of the speaker
// while a key is held, and the exit status of each way a session can fail. Skipped without
// ca65, ld65 and make.
#include "platform/Paths.h"
#include "support/ShippedProgram.h"

#include <filesystem>
#include <gtest/gtest.h>
#include <regex>
#include <set>
#include <sstream>
#include <tuple>

namespace bx {
namespace {

using test::CliResult;
using test::RunCli;

class RunCliTest : public ::testing::Test {
protected:
    void SetUp() override {
        SKIP_WITHOUT_BUILD_TOOLS();
        apl = shipped.New("KTR311");
        const CliResult built = shipped.Build();
        ASSERT_EQ(built.status, 0) << built.out << built.err;
    }
    int LineOf(const std::string& text) const { return shipped.LineOf(text); }

    // The stop reports of a run's output: "stop: <reason> at BB:AAAA" and its source line.
    static std::vector<std::pair<std::string, std::string>> Stops(const std::string& out) {
        std::vector<std::pair<std::string, std::string>> stops;
        static const std::regex stopLine(
            R"(stop: (.*) at ([0-9A-F]{2}:[0-9A-F]{4})\n  source: ([^\n]*))");
        for (auto it = std::sregex_iterator(out.begin(), out.end(), stopLine);
             it != std::sregex_iterator(); ++it)
            stops.emplace_back((*it)[1].str() + " " + (*it)[2].str(), (*it)[3].str());
        return stops;
    }

    test::ShippedAppliances shipped;
    std::string apl;
};

TEST_F(RunCliTest, StopsAtALineStepsOverTheScanAndPrintsRegistersWatchesAndMemory) {
    const int mainLine = LineOf("main:");
    const int scanLine = LineOf("        jsr scan_keypad");
    CliResult run =
        RunCli({"run", apl, "--break", "main.asm:" + std::to_string(mainLine), "--steps", "2",
                "--step-over", "1", "--watch", "Bank", "--dump", "00:0000:3", "--unthrottled"});
    ASSERT_EQ(run.status, 0) << run.out << run.err;
    const auto stops = Stops(run.out);
    ASSERT_EQ(stops.size(), 5u) << run.out;
    const std::pair<std::string, std::string> expected[] = {
        // the stop, its source line
        {"powered on ", "main.asm:" + std::to_string(LineOf("reset:")) + ": reset:"},
        {"breakpoint ", "main.asm:" + std::to_string(mainLine) + ": main:"},
        {"", ""},
        {"", ":" + std::to_string(scanLine) + ":         jsr scan_keypad"},
        {"step over ", ":" + std::to_string(scanLine + 1) + ":"}};
    for (std::size_t i = 0; i < 5; ++i) {
        EXPECT_EQ(stops[i].first.substr(0, expected[i].first.size()), expected[i].first) << i;
        EXPECT_NE(stops[i].second.find(expected[i].second), std::string::npos) << stops[i].second;
    }
    EXPECT_NE(run.out.find("  registers: A=$"), std::string::npos);
    EXPECT_NE(run.out.find("  watch Bank = $00"), std::string::npos);
    // After the main loop's first pass the LED pattern is 1 and the DAC level $80.
    EXPECT_NE(run.out.find("  memory 00:0000: 01 80"), std::string::npos) << run.out;
}

// A key held from 50 to 100 ms: the speaker silent (one level) before the key and after it, two
// levels while it is held. Paced and unthrottled, the run prints the same lines and records the
// same samples: the key lands on its exact cycle either way.
TEST_F(RunCliTest, AHeldKeySoundsTheSpeakerTheSameWhetherPacedOrUnthrottled) {
    std::string outputs[2], recordings[2];
    for (int i = 0; i < 2; ++i) {
        const std::string wav = shipped.work.Sub("run" + std::to_string(i) + ".wav");
        std::vector<std::string> args{
            "run",     apl,        "--run-for", "300",
            "--press", "5@50:100", "--wav",     platform::ToNativePath(wav)};
        if (i == 1)
            args.push_back("--unthrottled");
        const CliResult run = RunCli(args);
        ASSERT_EQ(run.status, 0) << run.out << run.err;
        outputs[i] = std::regex_replace(run.out, std::regex("run[01]\\.wav"), "run.wav");
        recordings[i] = platform::ReadFile(wav).value_or("");
    }
    EXPECT_EQ(outputs[0], outputs[1]);
    EXPECT_NE(outputs[0].find("stop: ran for 300 ms"), std::string::npos) << outputs[0];
    EXPECT_TRUE(recordings[0] == recordings[1]) << "the two recordings differ";
    const std::string& file = recordings[0];
    ASSERT_GT(file.size(), 44u + 2 * 8000);
    EXPECT_EQ(file.substr(0, 4), "RIFF");
    auto levelsIn = [&](double fromMs, double toMs) {
        std::set<int16_t> levels;
        for (auto i = static_cast<std::size_t>(fromMs * 44.1);
             i < toMs * 44.1 && 45 + 2 * i < file.size(); ++i)
            levels.insert(static_cast<int16_t>(static_cast<uint8_t>(file[44 + 2 * i]) |
                                               static_cast<uint8_t>(file[45 + 2 * i]) << 8));
        return levels.size();
    };
    // The windows keep clear of the key's edges for the tone's own period.
    EXPECT_EQ(levelsIn(5, 45), 1u);
    EXPECT_GE(levelsIn(80, 140), 2u);
    EXPECT_EQ(levelsIn(230, 295), 1u);
}

TEST_F(RunCliTest, StpIsReportedAsTheProgramStoppingTheCpu) {
    const std::string source = shipped.work.ReadFile("app\\main.asm");
    const std::size_t main = source.find("\nmain:") + 1;
    shipped.work.WriteFile("app\\main.asm",
                           source.substr(0, main) + "        stp\n" + source.substr(main));
    ASSERT_EQ(RunCli({"build", apl}).status, 0);
    CliResult run = RunCli({"run", apl, "--until-break", "--unthrottled"});
    EXPECT_EQ(run.status, 0) << run.err;
    EXPECT_NE(run.out.find("stop: the program executed STP (the CPU stopped) at 00:"),
              std::string::npos)
        << run.out;
}

TEST_F(RunCliTest, EachFailureHasItsExitStatusAndReason) {
    // A stale image (a source saved after the build): the question is printed, No (the
    // default) debugs the old image, Yes ends the run for a build. Then no image at all.
    const auto source = shipped.work.Native() / "app" / "main.asm";
    std::filesystem::last_write_time(source, std::filesystem::last_write_time(source) +
                                                 std::chrono::seconds(30));
    const std::tuple<const char*, int, const char*, const char*> rows[] = {
        // arguments after the appliance ("-" for none, "@" for an appliance file that isn't
        // there), exit status, parts of the errors and of the output. First a breakpoint the
        // program never reaches: the tone's routine, with no key held.
        {"--break half_wave --timeout 50 --unthrottled", 3, "time budget",
         "stop: time budget spent"},
        {"-", 2, "", ""},
        {"--steps many", 2, "", ""},
        {"--press 5", 2, "", ""},
        {"--dump 00:FFFF:2", 2, "", ""},
        {"--break no_such_label", 1, "no_such_label", ""},
        {"--press Z@0", 1, "no key of the keypad", ""},
        {"--watch NoSuchWatch", 1, "", ""},
        {"@", 1, "", ""},
        {"", 0, "", "Power On: ROM image is older than at least one of the source files."},
        {"--answer yes", 1, "needs a build", ""},
    };
    for (const auto& [more, status, err, out] : rows) {
        const std::string text = more;
        std::vector<std::string> args{"run"};
        if (text != "-")
            args.push_back(text == "@" ? shipped.work.Sub("nothing.apl") : apl);
        std::istringstream words(text == "-" || text == "@" ? "" : text);
        for (std::string word; words >> word;)
            args.push_back(word);
        const CliResult r = RunCli(args);
        EXPECT_EQ(r.status, status) << more << ": " << r.out << r.err;
        EXPECT_NE(r.err.find(err), std::string::npos) << r.err;
        EXPECT_NE(r.out.find(out), std::string::npos) << r.out;
    }
    ASSERT_TRUE(platform::DeleteFile(shipped.Sub("app", "app.rom")));
    CliResult missing = RunCli({"run", apl});
    EXPECT_EQ(missing.status, 1);
    EXPECT_NE(missing.out.find("Power On: Cannot load ROM image."), std::string::npos);
    EXPECT_NE(missing.err.find("power-on failed"), std::string::npos);
}

TEST(DemoCliTest, CreatesBuildsRunsAndRecordsTheKeypadsTone) {
    SKIP_WITHOUT_BUILD_TOOLS();
    test::ShippedAppliances shipped;
    CliResult demo = RunCli({"demo"});
    ASSERT_EQ(demo.status, 0) << demo.out << demo.err;
    for (const char* line : {"Build completed.", "stop: breakpoint at 00:", "stop: step over at",
                             "stop: ran for 1000 ms"})
        EXPECT_NE(demo.out.find(line), std::string::npos) << line;
    std::smatch folder;
    ASSERT_TRUE(
        std::regex_search(demo.out, folder, std::regex("The demo appliance is in ([^;]+);")));
    const std::filesystem::path wav = std::filesystem::path(folder[1].str()) / "demo.wav";
    ASSERT_TRUE(std::filesystem::exists(wav));
    EXPECT_GT(std::filesystem::file_size(wav), 44u + 2 * 40000);
    std::filesystem::remove_all(folder[1].str());
}

} // namespace
} // namespace bx
