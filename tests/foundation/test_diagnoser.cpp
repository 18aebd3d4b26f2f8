#include "foundation/Diagnoser.h"
#include "foundation/Error.h"
#include "platform/FileSystem.h"
#include "platform/LocalTime.h"
#include "platform/ProgramFolder.h"
#include "support/TempFolder.h"

#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <gtest/gtest.h>
#include <regex>
#include <sstream>
#include <string>
#include <vector>

namespace bx {
namespace {

std::vector<std::string> Lines(const std::string& text) {
    std::vector<std::string> lines;
    std::istringstream in(text);
    for (std::string line; std::getline(in, line);)
        lines.push_back(line);
    return lines;
}

bool IsDateTime(const std::string& line) {
    static const std::regex form(R"(\d{4}-\d{2}-\d{2} \d{2}:\d{2}:\d{2})");
    return std::regex_match(line, form);
}

std::string Format(const platform::LocalDateTime& t) {
    char text[80];
    std::snprintf(text, sizeof text, "%04d-%02d-%02d %02d:%02d:%02d", t.Year, t.Month, t.Day,
                  t.Hour, t.Minute, t.Second);
    return text;
}

TEST(Diagnoser, CreationWritesTheLocalDateAndTimeAsTheOnlyLine) {
    bx::test::TempFolder folder;
    std::string before = Format(platform::LocalNow());
    Diagnoser diagnoser(folder.Sub("vkbx.log"));
    std::string after = Format(platform::LocalNow());

    std::string text = folder.ReadFile("vkbx.log");
    std::vector<std::string> lines = Lines(text);
    ASSERT_EQ(lines.size(), 1u) << text;
    EXPECT_TRUE(IsDateTime(lines[0])) << lines[0];
    // The fixed-width form sorts as text, so the stamp lies between the two readings.
    EXPECT_LE(before, lines[0]);
    EXPECT_LE(lines[0], after);
    EXPECT_EQ(text, lines[0] + "\n");
    EXPECT_EQ(diagnoser.LogPath(), folder.Sub("vkbx.log"));
}

TEST(Diagnoser, TraceAppendsModuleCheckpointAndText) {
    bx::test::TempFolder folder;
    Diagnoser diagnoser(folder.Sub("vkbx.log"));
    diagnoser.Trace(trace_module::kDebugMonitor, 405, "");
    diagnoser.Trace(trace_module::kSymbler, 12, "loading demo.dbg");
    diagnoser.Trace(trace_module::kMemoryEditor, 0, "two  blanks");

    std::vector<std::string> lines = Lines(folder.ReadFile("vkbx.log"));
    ASSERT_EQ(lines.size(), 4u);
    EXPECT_TRUE(IsDateTime(lines[0])) << lines[0];
    EXPECT_EQ(lines[1], "M1001 S405 ");
    EXPECT_EQ(lines[2], "M1030 S12 loading demo.dbg");
    EXPECT_EQ(lines[3], "M1005 S0 two  blanks");
}

TEST(Diagnoser, TraceWithEmptyTextEndsInTheBlankAfterTheCheckpoint) {
    bx::test::TempFolder folder;
    Diagnoser diagnoser(folder.Sub("vkbx.log"));
    std::string header = folder.ReadFile("vkbx.log");
    diagnoser.Trace(trace_module::kWatchEditor, 7, "");
    EXPECT_EQ(folder.ReadFile("vkbx.log"), header + "M1003 S7 \n");
}

TEST(Diagnoser, EachTraceIsInTheFileAsSoonAsTheCallReturns) {
    bx::test::TempFolder folder;
    Diagnoser diagnoser(folder.Sub("vkbx.log"));
    diagnoser.Trace(trace_module::kDebugMonitor, 1, "a");
    EXPECT_EQ(Lines(folder.ReadFile("vkbx.log")).back(), "M1001 S1 a");
    diagnoser.Trace(trace_module::kDebugMonitor, 2, "b");
    EXPECT_EQ(Lines(folder.ReadFile("vkbx.log")).back(), "M1001 S2 b");
}

TEST(Diagnoser, TwoRunsInARowLeaveOnlyTheSecondRunsLines) {
    bx::test::TempFolder folder;
    {
        Diagnoser first(folder.Sub("vkbx.log"));
        first.Trace(trace_module::kDebugMonitor, 401, "first run");
        first.Trace(trace_module::kDebugMonitor, 402, "");
    }
    Diagnoser second(folder.Sub("vkbx.log"));
    second.Trace(trace_module::kDebugMonitor, 405, "second run");

    std::string text = folder.ReadFile("vkbx.log");
    std::vector<std::string> lines = Lines(text);
    ASSERT_EQ(lines.size(), 2u) << text;
    EXPECT_TRUE(IsDateTime(lines[0])) << lines[0];
    EXPECT_EQ(lines[1], "M1001 S405 second run");
    EXPECT_EQ(text.find("first run"), std::string::npos);
    // The replacement goes through a temporary file that doesn't stay behind.
    EXPECT_EQ(platform::ListFolder(folder.Path()), std::vector<std::string>{"vkbx.log"});
}

TEST(Diagnoser, LogThatCannotBeCreatedRaisesAFileError) {
    bx::test::TempFolder folder;
    try {
        Diagnoser diagnoser(folder.Sub("missing\\vkbx.log"));
        FAIL() << "a log in a missing folder was created";
    } catch (const BxError& error) {
        EXPECT_EQ(error.Number, errors::kFileAccess);
        EXPECT_EQ(error.Source, "Diagnoser");
        EXPECT_NE(error.Description.find("vkbx.log"), std::string::npos) << error.Description;
    }
}

TEST(Diagnoser, TraceThatCannotWriteRaisesAFileError) {
    bx::test::TempFolder folder;
    ASSERT_TRUE(platform::CreateFolder(folder.Sub("logs")));
    Diagnoser diagnoser(folder.Sub("logs\\vkbx.log"));
    // The folder disappears under the running program.
    ASSERT_TRUE(platform::DeleteFile(folder.Sub("logs\\vkbx.log")));
    std::filesystem::remove(folder.Native() / "logs");
    EXPECT_THROW(diagnoser.Trace(trace_module::kDebugMonitor, 1, ""), BxError);
}

TEST(Diagnoser, TraceRecreatesALogDeletedDuringTheRun) {
    bx::test::TempFolder folder;
    Diagnoser diagnoser(folder.Sub("vkbx.log"));
    ASSERT_TRUE(platform::DeleteFile(folder.Sub("vkbx.log")));
    diagnoser.Trace(trace_module::kDebugMonitor, 9, "after");
    EXPECT_EQ(folder.ReadFile("vkbx.log"), "M1001 S9 after\n");
}

// The one Diagnoser of a process is made at its first use, so this test checks it in a fresh
// child process: there, nothing has touched Instance() before.
void CheckInstanceInFreshProcess() {
    std::string failure;
    {
        bx::test::TempFolder first;
        bx::test::TempFolder second;
        Diagnoser* made = nullptr;
        {
            platform::ScopedProgramFolder programFolder(first.Path());
            made = &Diagnoser::Instance();
            if (made->LogPath() != first.Sub("vkbx.log"))
                failure += "log path is " + made->LogPath() + "; ";
            std::vector<std::string> lines = Lines(first.ReadFile("vkbx.log"));
            if (lines.empty() || !IsDateTime(lines[0]))
                failure += "no date and time line in the program folder's log; ";
            made->Trace(trace_module::kDebugMonitor, 405, "");
        }
        {
            // A later change of the program's folder doesn't move the running log.
            platform::ScopedProgramFolder programFolder(second.Path());
            Diagnoser& again = Diagnoser::Instance();
            if (&again != made)
                failure += "a second Diagnoser was made; ";
            again.Trace(trace_module::kSymbler, 3, "x");
            if (platform::FileExists(second.Sub("vkbx.log")))
                failure += "a log appeared in the later program folder; ";
        }
        std::vector<std::string> lines = Lines(first.ReadFile("vkbx.log"));
        if (lines.size() != 3 || lines[1] != "M1001 S405 " || lines[2] != "M1030 S3 x")
            failure += "log holds:\n" + first.ReadFile("vkbx.log");
    }
    std::fprintf(stderr, "%s", failure.empty() ? "instance checked" : failure.c_str());
    std::exit(failure.empty() ? 0 : 1);
}

TEST(DiagnoserInstance, IsMadeOnceInTheProgramFolderAtFirstUse) {
    // "threadsafe" runs the child as a new process of this program, not a fork, so no
    // Diagnoser made earlier in this process exists there.
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    EXPECT_EXIT(CheckInstanceInFreshProcess(), testing::ExitedWithCode(0), "instance checked");
}

} // namespace
} // namespace bx
