// The process runner: tool runs from start to end with the helper program child_process, their
// two streams in one text, the exit status, the temporary files that must not stay, a stop and
// a time limit, and the error of a program that can't be started.
#include "build/ProcessRunner.h"
#include "foundation/Diagnoser.h"
#include "foundation/Error.h"
#include "platform/FileSystem.h"
#include "platform/Paths.h"
#include "platform/Process.h"
#include "platform/ProgramFolder.h"
#include "support/TempFolder.h"

#include <algorithm>
#include <chrono>
#include <fstream>
#include <gtest/gtest.h>
#include <regex>
#include <thread>

namespace bx {
namespace {

// The helper's path in the system's backslash form, quoted, as a command names a program.
std::string Helper(const std::string& arguments) {
    return "\"" + platform::FromNativePath(BX_CHILD_PROCESS) + "\" " + arguments;
}

// Names in a folder that carry one of the runner's prefixes.
std::vector<std::string> RunnerFiles(const std::string& folder) {
    std::vector<std::string> left;
    for (const std::string& name : platform::ListFolder(folder))
        if (name.rfind("vki", 0) == 0 || name.rfind("vko", 0) == 0)
            left.push_back(name);
    return left;
}

class ProcessRunnerTest : public ::testing::Test {
protected:
    RunResult Start(std::string command, const RunControl& control) {
        return ShellExecute(command, work.Path(), control, diagnoser);
    }
    test::TempFolder programFolder;
    test::TempFolder work;
    platform::ScopedProgramFolder useProgramFolder{programFolder.Path()};
    Diagnoser diagnoser{programFolder.Sub("vkbx.log")};
};

TEST_F(ProcessRunnerTest, ToolsRunInTheWorkingFolderAndGiveTheirStatusAndBothStreamsInOrder) {
    const std::tuple<std::string, int32_t, std::string> rows[] = {
        {Helper("--out=one --err=two --out=three --err=four"), 0,
         "one\r\ntwo\r\nthree\r\nfour\r\n"},
        {Helper("--out=x --exit=3"), 3, "x\r\n"},
        {Helper("--exit=255"), 255, ""},
        {Helper("--out=first --raw=unfinished"), 0, "first\r\nunfinished\r\n"},
        {Helper("--stdin"), 0, "stdin:0\r\n"}, // standard input is an empty file
        {Helper("--cwd"), 0, work.Native().string() + "\r\n"},
        // Quotes group words; backslashes become the system's separator.
        {Helper("--args \"a b\" C:\\w\\\\ \"\" x\"y z\"w"), 0,
         "[a b]\r\n[C:/w//]\r\n[]\r\n[xy zw]\r\n"},
        // A program named without a folder is found on the PATH.
        {"sh -c \"echo found; exit 4\"", 4, "found\r\n"}};
    for (const auto& [command, status, output] : rows) {
        SCOPED_TRACE(command);
        std::string given = command, text = "stale";
        EXPECT_EQ(ShellExecute(given, work.Path(), text, false, diagnoser), status);
        EXPECT_EQ(text, output);
        EXPECT_EQ(RunnerFiles(programFolder.Path()), std::vector<std::string>{});
    }
    const std::string log = programFolder.ReadFile("vkbx.log");
    EXPECT_NE(log.find("M1010 S1001 In, Out and Err handles are "), std::string::npos) << log;
    EXPECT_NE(log.find("M1010 S1010 sh -c \"echo found; exit 4\"\n"), std::string::npos) << log;
    EXPECT_NE(log.find("M1010 S1015 CreateProcess returns 1\n"), std::string::npos) << log;
    EXPECT_NE(log.find("M1010 S1020 Process exit code: 4\n"), std::string::npos) << log;
}

TEST_F(ProcessRunnerTest, AProgramThatCannotStartRaisesTheSystemsErrorAndLeavesNoFiles) {
    std::string command = "\"" + work.Sub("no-such-tool") + "\" -x", output = "stale";
    try {
        ShellExecute(command, work.Path(), output, false, diagnoser);
        ADD_FAILURE() << "no error raised";
    } catch (const BxError& error) {
        EXPECT_EQ(error.Number, 2); // ENOENT
        EXPECT_EQ(error.Source, "ShellExec");
        EXPECT_FALSE(error.Description.empty());
    }
    EXPECT_EQ(output, "stale");
    EXPECT_EQ(RunnerFiles(programFolder.Path()), std::vector<std::string>{});
}

TEST_F(ProcessRunnerTest, AProgramFolderThatCannotTakeFilesSendsThemToTheSystemsFolder) {
    platform::ScopedProgramFolder missing(programFolder.Sub("gone"));
    const auto before = RunnerFiles(platform::TempFolder());
    std::string command = Helper("--out=ok"), output;
    EXPECT_EQ(ShellExecute(command, work.Path(), output, false, diagnoser), 0);
    EXPECT_EQ(output, "ok\r\n");
    EXPECT_FALSE(platform::FolderExists(programFolder.Sub("gone")));
    // Whatever other programs do in the shared folder, ours are gone again.
    for (const std::string& name : RunnerFiles(platform::TempFolder()))
        EXPECT_NE(std::find(before.begin(), before.end(), name), before.end()) << name;
}

// Whether a process has ended: gone, or a zombie nobody reaped yet.
bool Ended(int pid) {
    std::ifstream stat("/proc/" + std::to_string(pid) + "/stat");
    std::string text;
    std::getline(stat, text);
    const std::size_t close = text.rfind(')');
    return !stat || close == std::string::npos || text.substr(close + 2, 1) == "Z";
}

TEST_F(ProcessRunnerTest, StopEndsTheToolAndEverythingItStartedAndOutputArrivesAsItComes) {
    std::string seen;
    int waits = 0;
    RunControl control;
    control.onOutput = [&seen](const std::string& lines) { seen += lines; };
    control.whileWaiting = [&waits] { ++waits; };
    // Asked for the stop only once the line is there: the output came while the tool ran.
    control.stopRequested = [&seen] { return seen.find("started") != std::string::npos; };
    const RunResult result =
        Start(Helper("--pid --spawn --sleep=100 --out=started --sleep=60000"), control);
    EXPECT_EQ(result.End, RunEnd::Stopped);
    EXPECT_GT(waits, 0);
    std::vector<int> pids;
    const std::regex pid("pid:([0-9]+)");
    for (std::sregex_iterator it(seen.begin(), seen.end(), pid), end; it != end; ++it)
        pids.push_back(std::stoi((*it)[1]));
    ASSERT_EQ(pids.size(), 2u) << seen;
    // The orphaned grandchild is reaped by the system in its own time.
    for (int i = 0; i < 500 && !(Ended(pids[0]) && Ended(pids[1])); ++i)
        std::this_thread::sleep_for(std::chrono::milliseconds(10));
    EXPECT_TRUE(Ended(pids[0]) && Ended(pids[1]));
    EXPECT_EQ(RunnerFiles(programFolder.Path()), std::vector<std::string>{});
}

TEST(OutputLines, PiecesBecomeCompleteCrLfLinesWhereverTheyAreCut) {
    const std::string longLine(kLongestOutputLine + 3, 'x');
    const std::pair<std::vector<std::string>, std::vector<std::string>> rows[] = {
        {{"a\nb", "c\n"}, {"a\r\n", "bc\r\n"}},
        {{"a\r", "\nb\r", "\n"}, {"a\r\n", "b\r\n"}},
        {{"a\r", "b"}, {"a\r\n", "b\r\n"}},
        {{"one\ntwo\nthr", "ee"}, {"one\r\ntwo\r\n", "three\r\n"}},
        {{longLine}, {longLine.substr(0, kLongestOutputLine) + "\r\n", "xxx\r\n"}},
        {{""}, {}}};
    for (const auto& [pieces, posts] : rows) {
        std::vector<std::string> posted;
        OutputLines lines([&posted](const std::string& text) { posted.push_back(text); });
        for (const std::string& piece : pieces)
            lines.Add(piece);
        lines.Finish();
        EXPECT_EQ(posted, posts) << pieces[0].substr(0, 20);
    }
    std::string output;
    AppendLinesWithCrLf("a\nb\r\nc\rd", output);
    AppendLinesWithCrLf("", output);
    AppendLinesWithCrLf("\n\nx\n", output);
    EXPECT_EQ(output, "a\r\nb\r\nc\r\nd\r\n\r\n\r\nx\r\n");
}

TEST(CommandLines, WordsSplitAsAPersonReadsThemAndComspecNamingCommandComPutsItInFront) {
    EXPECT_EQ(platform::SplitCommandLine(" make\t-f \"\" \"open to the end"),
              (std::vector<std::string>{"make", "-f", "", "open to the end"}));
    EXPECT_TRUE(platform::SplitCommandLine("   ").empty());
    EXPECT_EQ(WithShellPrefix("make -f x", "c:\\DOS\\Command.COM"), "command.com /C make -f x");
    EXPECT_EQ(WithShellPrefix("make", "C:\\Windows\\system32\\cmd.exe") + WithShellPrefix("m", ""),
              "makem");
}

} // namespace
} // namespace bx
