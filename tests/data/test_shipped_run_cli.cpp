// "tessarine-cli run" and "tessarine-cli demo" on an appliance made from the shipped KTR311
// template and built with the real tools: what each stop prints, the recording of the speaker
// while a key is held, and the exit status of each way a session can fail. Skipped without
// ca65, ld65 and make.
#include "ShippedProgram.h"
#include "platform/Paths.h"

#include <filesystem>
#include <gtest/gtest.h>
#include <regex>
#include <set>

namespace bx {
namespace {

using test::CliResult;
using test::RunCli;

class RunCliTest : public ::testing::Test {
protected:
    void SetUp() override {
        REQUIRE_BUILD_TOOLS();
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
    EXPECT_EQ(stops[0].first.substr(0, 11), "powered on ");
    EXPECT_NE(stops[0].second.find("main.asm:" + std::to_string(LineOf("reset:")) + ": reset:"),
              std::string::npos);
    EXPECT_EQ(stops[1].first.substr(0, 11), "breakpoint ");
    EXPECT_NE(stops[1].second.find("main.asm:" + std::to_string(mainLine) + ": main:"),
              std::string::npos);
    EXPECT_NE(stops[3].second.find(":" + std::to_string(scanLine) + ":"), std::string::npos);
    EXPECT_NE(stops[3].second.find("jsr scan_keypad"), std::string::npos);
    EXPECT_EQ(stops[4].first.substr(0, 10), "step over ");
    EXPECT_NE(stops[4].second.find(":" + std::to_string(scanLine + 1) + ":"), std::string::npos);
    EXPECT_NE(run.out.find("  registers: A=$"), std::string::npos);
    EXPECT_NE(run.out.find("  watch Bank = $00"), std::string::npos);
    // After the main loop's first pass the LED pattern is 1 and the DAC level $80.
    EXPECT_NE(run.out.find("  memory 00:0000: 01 80"), std::string::npos) << run.out;
}

TEST_F(RunCliTest, AHeldKeyMakesTheSpeakerSoundAndTheRecordingHoldsIt) {
    const std::string wav = shipped.work.Sub("tone.wav");
    CliResult run = RunCli({"run", apl, "--run-for", "300", "--press", "5@50:100", "--wav",
                            platform::ToNativePath(wav)});
    ASSERT_EQ(run.status, 0) << run.out << run.err;
    EXPECT_NE(run.out.find("stop: ran for 300 ms"), std::string::npos) << run.out;
    const std::optional<std::string> file = platform::ReadFile(wav);
    ASSERT_TRUE(file);
    ASSERT_GT(file->size(), 44u + 2 * 8000);
    EXPECT_EQ(file->substr(0, 4), "RIFF");
    // Silent (one level) before the key and after it, two levels while it is held.
    auto levelsIn = [&](double fromMs, double toMs) {
        std::set<int16_t> levels;
        for (std::size_t i = static_cast<std::size_t>(fromMs * 44.1);
             i < static_cast<std::size_t>(toMs * 44.1); ++i) {
            const std::size_t at = 44 + 2 * i;
            if (at + 1 >= file->size())
                break;
            levels.insert(static_cast<int16_t>(static_cast<uint8_t>((*file)[at]) |
                                               static_cast<uint8_t>((*file)[at + 1]) << 8));
        }
        return levels.size();
    };
    EXPECT_EQ(levelsIn(5, 45), 1u);
    // The key lands on its exact cycle; the windows keep clear of the edges all the same, for
    // the tone's own period.
    EXPECT_GE(levelsIn(80, 140), 2u);
    EXPECT_EQ(levelsIn(230, 295), 1u);
}

TEST_F(RunCliTest, TheSameUnthrottledRunTwiceGivesTheSameLinesAndTheSameRecording) {
    std::string outputs[2], recordings[2];
    for (int i = 0; i < 2; ++i) {
        const std::string wav = shipped.work.Sub("run" + std::to_string(i) + ".wav");
        CliResult run = RunCli({"run", apl, "--run-for", "100", "--press", "5@20:30", "--wav",
                                platform::ToNativePath(wav), "--unthrottled"});
        ASSERT_EQ(run.status, 0) << run.out << run.err;
        outputs[i] = std::regex_replace(run.out, std::regex("run[01]\\.wav"), "run.wav");
        recordings[i] = platform::ReadFile(wav).value_or("");
    }
    EXPECT_EQ(outputs[0], outputs[1]);
    EXPECT_NE(outputs[0].find(", 100 ms of simulated time\n"), std::string::npos) << outputs[0];
    ASSERT_GT(recordings[0].size(), 44u);
    EXPECT_TRUE(recordings[0] == recordings[1]) << "the two recordings differ";
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
    // A breakpoint the program never reaches: the tone's routine, with no key held.
    CliResult never =
        RunCli({"run", apl, "--break", "half_wave", "--timeout", "50", "--unthrottled"});
    EXPECT_EQ(never.status, 3) << never.out << never.err;
    EXPECT_NE(never.err.find("time budget"), std::string::npos);
    EXPECT_NE(never.out.find("stop: time budget spent"), std::string::npos);

    // Options the run can't use.
    EXPECT_EQ(RunCli({"run"}).status, 2);
    EXPECT_EQ(RunCli({"run", apl, "--steps", "many"}).status, 2);
    EXPECT_EQ(RunCli({"run", apl, "--press", "5"}).status, 2);
    EXPECT_EQ(RunCli({"run", apl, "--dump", "00:FFFF:2"}).status, 2);
    CliResult label = RunCli({"run", apl, "--break", "no_such_label"});
    EXPECT_EQ(label.status, 1);
    EXPECT_NE(label.err.find("no_such_label"), std::string::npos);
    CliResult key = RunCli({"run", apl, "--press", "Z@0"});
    EXPECT_EQ(key.status, 1);
    EXPECT_NE(key.err.find("no key of the keypad"), std::string::npos);
    EXPECT_EQ(RunCli({"run", apl, "--watch", "NoSuchWatch"}).status, 1);
    EXPECT_EQ(RunCli({"run", shipped.work.Sub("nothing.apl")}).status, 1);

    // A stale image: the question is printed, No debugs the old image.
    const auto source = shipped.work.Native() / "app" / "main.asm";
    std::filesystem::last_write_time(source, std::filesystem::last_write_time(source) +
                                                 std::chrono::seconds(30));
    CliResult stale = RunCli({"run", apl});
    EXPECT_EQ(stale.status, 0) << stale.err;
    EXPECT_NE(stale.out.find("Power On: ROM image is older than at least one of the source files."),
              std::string::npos);
    CliResult rebuild = RunCli({"run", apl, "--answer", "yes"});
    EXPECT_EQ(rebuild.status, 1);
    EXPECT_NE(rebuild.err.find("needs a build"), std::string::npos);

    // No image at all.
    ASSERT_TRUE(platform::DeleteFile(shipped.work.Sub("app\\app.rom")));
    CliResult missing = RunCli({"run", apl});
    EXPECT_EQ(missing.status, 1);
    EXPECT_NE(missing.out.find("Power On: Cannot load ROM image."), std::string::npos);
    EXPECT_NE(missing.err.find("power-on failed"), std::string::npos);
}

TEST(DemoCliTest, CreatesBuildsRunsAndRecordsTheKeypadsTone) {
    REQUIRE_BUILD_TOOLS();
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
