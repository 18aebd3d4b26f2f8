// The process runner: one tool run from start to end with the helper program child_process,
// its two streams in one text, its exit status, the temporary files that must not stay, and
// the error of a program that can't be started.
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
#include <csignal>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <gtest/gtest.h>
#include <regex>
#include <thread>
#include <unistd.h>

namespace bx {
namespace {

// The helper's path in the system's backslash form, quoted, as a command names a program.
std::string Helper() {
    return "\"" + platform::FromNativePath(BX_CHILD_PROCESS) + "\"";
}

class ProcessRunnerTest : public ::testing::Test {
protected:
    // Runs a command with the program's folder in programFolder; returns the exit status.
    int32_t Run(std::string command, const std::string& workingFolder = "") {
        return ShellExecute(command, workingFolder.empty() ? work.Path() : workingFolder, output,
                            false, diagnoser);
    }
    // Names in the program's folder that carry one of the runner's prefixes.
    std::vector<std::string> TemporaryFilesLeft() const {
        std::vector<std::string> left;
        for (const std::string& name : platform::ListFolder(programFolder.Path()))
            if (name.rfind("vki", 0) == 0 || name.rfind("vko", 0) == 0)
                left.push_back(name);
        return left;
    }

    test::TempFolder programFolder;
    test::TempFolder work;
    platform::ScopedProgramFolder useProgramFolder{programFolder.Path()};
    Diagnoser diagnoser{programFolder.Sub("vkbx.log")};
    std::string output = "stale";
};

TEST_F(ProcessRunnerTest, BothStreamsLandInOneTextInTheOrderWritten) {
    EXPECT_EQ(Run(Helper() + " --out=one --err=two --out=three --err=four"), 0);
    EXPECT_EQ(output, "one\r\ntwo\r\nthree\r\nfour\r\n");
}

TEST_F(ProcessRunnerTest, ExitStatusIsReturnedAsItIs) {
    EXPECT_EQ(Run(Helper() + " --out=x --exit=3"), 3);
    EXPECT_EQ(output, "x\r\n");
    EXPECT_EQ(Run(Helper() + " --exit=255"), 255);
}

TEST_F(ProcessRunnerTest, NonZeroStatusWithNoOutputGivesTheEmptyText) {
    EXPECT_EQ(Run(Helper() + " --exit=7"), 7);
    EXPECT_EQ(output, "");
}

TEST_F(ProcessRunnerTest, LastLineGetsCrLfAlsoWithoutALineEnd) {
    EXPECT_EQ(Run(Helper() + " --out=first --raw=unfinished"), 0);
    EXPECT_EQ(output, "first\r\nunfinished\r\n");
}

TEST_F(ProcessRunnerTest, StandardInputIsAnEmptyFile) {
    EXPECT_EQ(Run(Helper() + " --stdin"), 0);
    EXPECT_EQ(output, "stdin:0\r\n");
}

TEST_F(ProcessRunnerTest, ChildStartsInTheWorkingFolder) {
    EXPECT_EQ(Run(Helper() + " --cwd"), 0);
    EXPECT_EQ(output, work.Native().string() + "\r\n");
}

TEST_F(ProcessRunnerTest, QuotesGroupWordsAndBackslashesBecomeTheSystemsSeparator) {
    EXPECT_EQ(Run(Helper() + " --args \"a b\" C:\\w\\\\ \"\" x\"y z\"w"), 0);
    EXPECT_EQ(output, "[a b]\r\n[C:/w//]\r\n[]\r\n[xy zw]\r\n");
}

TEST_F(ProcessRunnerTest, NoTemporaryFileRemainsAfterARun) {
    Run(Helper() + " --out=a --err=b --exit=1");
    EXPECT_TRUE(TemporaryFilesLeft().empty());
}

TEST_F(ProcessRunnerTest, ProgramThatDoesNotExistRaisesTheSystemsErrorAndLeavesNoFiles) {
    try {
        Run("\"" + work.Sub("no-such-tool") + "\" -x");
        FAIL() << "no error raised";
    } catch (const BxError& error) {
        EXPECT_EQ(error.Number, 2); // ENOENT
        EXPECT_EQ(error.Source, "ShellExec");
        EXPECT_FALSE(error.Description.empty());
    }
    EXPECT_EQ(output, "stale"); // the output is left alone on this path
    EXPECT_TRUE(TemporaryFilesLeft().empty());
}

TEST_F(ProcessRunnerTest, ProgramIsFoundOnThePathWhenNamedWithoutAFolder) {
    EXPECT_EQ(Run("sh -c \"echo found; exit 4\""), 4);
    EXPECT_EQ(output, "found\r\n");
}

TEST_F(ProcessRunnerTest, RunWritesItsCheckpointsToTheTraceLog) {
    std::string command = Helper() + " --exit=5";
    const std::string asGiven = command;
    ShellExecute(command, work.Path(), output, false, diagnoser);
    const std::string log = *platform::ReadFile(programFolder.Sub("vkbx.log"));
    EXPECT_NE(log.find("M1010 S1001 In, Out and Err handles are "), std::string::npos) << log;
    EXPECT_NE(log.find("M1010 S1010 " + asGiven + "\n"), std::string::npos) << log;
    EXPECT_NE(log.find("M1010 S1015 CreateProcess returns 1\n"), std::string::npos) << log;
    EXPECT_NE(log.find("M1010 S1020 Process exit code: 5\n"), std::string::npos) << log;
}

TEST_F(ProcessRunnerTest, ProgramFolderThatCannotTakeFilesSendsThemToTheSystemsFolder) {
    // A folder that isn't there can't be written to, for the superuser too.
    platform::ScopedProgramFolder missing(programFolder.Sub("gone"));
    const auto before = platform::ListFolder(platform::TempFolder());
    std::string command = Helper() + " --out=ok";
    EXPECT_EQ(ShellExecute(command, work.Path(), output, false, diagnoser), 0);
    EXPECT_EQ(output, "ok\r\n");
    EXPECT_FALSE(platform::FolderExists(programFolder.Sub("gone")));
    // Whatever other programs do in the shared folder, ours are gone again.
    for (const std::string& name : platform::ListFolder(platform::TempFolder())) {
        if (name.rfind("vki", 0) == 0 || name.rfind("vko", 0) == 0) {
            EXPECT_NE(std::find(before.begin(), before.end(), name), before.end()) << name;
        }
    }
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
    std::string command = Helper() + " --pid --spawn --sleep=100 --out=started --sleep=60000";
    const RunResult result = ShellExecute(command, work.Path(), control, diagnoser);
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
    EXPECT_TRUE(Ended(pids[0]));
    EXPECT_TRUE(Ended(pids[1]));
    EXPECT_TRUE(TemporaryFilesLeft().empty());
}

TEST_F(ProcessRunnerTest, ToolOverItsTimeLimitIsEndedAndLeavesNoFiles) {
    RunControl control;
    control.timeLimit = std::chrono::milliseconds(100);
    std::string command = Helper() + " --out=waiting --sleep=60000";
    const RunResult result = ShellExecute(command, work.Path(), control, diagnoser);
    EXPECT_EQ(result.End, RunEnd::TimedOut);
    EXPECT_EQ(result.ExitCode, 128 + SIGTERM);
    EXPECT_TRUE(TemporaryFilesLeft().empty());
}

TEST(OutputLines, PiecesBecomeCompleteLinesWhereverTheyAreCut) {
    struct Row {
        std::vector<std::string> pieces;
        std::vector<std::string> posts; // what reaches the sink, Finish included
    };
    const std::string longLine(kLongestOutputLine + 3, 'x');
    const Row rows[] = {
        {{"a\nb", "c\n"}, {"a\r\n", "bc\r\n"}},
        {{"a\r", "\nb\r", "\n"}, {"a\r\n", "b\r\n"}},
        {{"a\r", "b"}, {"a\r\n", "b\r\n"}},
        {{"one\ntwo\nthr", "ee"}, {"one\r\ntwo\r\n", "three\r\n"}},
        {{longLine}, {longLine.substr(0, kLongestOutputLine) + "\r\n", "xxx\r\n"}},
        {{""}, {}},
    };
    for (const Row& row : rows) {
        std::vector<std::string> posts;
        OutputLines lines([&posts](const std::string& text) { posts.push_back(text); });
        for (const std::string& piece : row.pieces)
            lines.Add(piece);
        lines.Finish();
        EXPECT_EQ(posts, row.posts) << row.pieces[0].substr(0, 20);
    }
}

TEST(ShellPrefix, ComspecNamingCommandComInAnyCasePutsTheOldShellInFront) {
    EXPECT_EQ(WithShellPrefix("make -f x", "C:\\COMMAND.COM"), "command.com /C make -f x");
    EXPECT_EQ(WithShellPrefix("make", "c:\\dos\\command.com"), "command.com /C make");
    EXPECT_EQ(WithShellPrefix("make", "C:\\Windows\\system32\\cmd.exe"), "make");
    EXPECT_EQ(WithShellPrefix("make", ""), "make");
}

TEST(OutputLines, EveryLineEndFormBecomesCrLf) {
    std::string output;
    AppendLinesWithCrLf("a\nb\r\nc\rd", output);
    EXPECT_EQ(output, "a\r\nb\r\nc\r\nd\r\n");
    std::string empty;
    AppendLinesWithCrLf("", empty);
    EXPECT_EQ(empty, "");
    std::string blankLines;
    AppendLinesWithCrLf("\n\nx\n", blankLines);
    EXPECT_EQ(blankLines, "\r\n\r\nx\r\n");
}

TEST(CommandSplitting, WordsAreSplitAsAPersonReadsThem) {
    using V = std::vector<std::string>;
    EXPECT_EQ(platform::SplitCommandLine("  make  -f\tMakefile "), (V{"make", "-f", "Makefile"}));
    EXPECT_EQ(platform::SplitCommandLine("\"C:\\my tools\\asm\" -o \"a b.obj\""),
              (V{"C:/my tools/asm", "-o", "a b.obj"}));
    EXPECT_EQ(platform::SplitCommandLine("a \"\" b"), (V{"a", "", "b"}));
    EXPECT_EQ(platform::SplitCommandLine("a \"open to the end"), (V{"a", "open to the end"}));
    EXPECT_TRUE(platform::SplitCommandLine("   ").empty());
}

TEST(TemporaryFiles, MadeEmptyWithThePrefixAndUnique) {
    test::TempFolder folder;
    const std::string first = platform::MakeTempFile(folder.Path(), "vki");
    const std::string second = platform::MakeTempFile(folder.Path(), "vki");
    ASSERT_FALSE(first.empty());
    EXPECT_NE(first, second);
    EXPECT_EQ(first.rfind(folder.Path() + "\\vki", 0), 0u);
    EXPECT_EQ(platform::FileSize(first).value_or(99), 0u);
    EXPECT_TRUE(platform::MakeTempFile(folder.Sub("missing"), "vki").empty());
}

} // namespace
} // namespace bx
