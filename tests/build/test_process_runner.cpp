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
#include <cstdlib>
#include <filesystem>
#include <gtest/gtest.h>
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
