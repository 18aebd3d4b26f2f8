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
#include <string>

namespace bx {
namespace {

// The log's first line: the local date and time in a fixed width that sorts as text.
std::string DateTimeLine(const platform::LocalDateTime& t) {
    char text[80];
    std::snprintf(text, sizeof text, "%04d-%02d-%02d %02d:%02d:%02d\n", t.Year, t.Month, t.Day,
                  t.Hour, t.Minute, t.Second);
    return text;
}

TEST(Diagnoser, ANewLogHoldsTheDateAndTimeAndEachTraceIsAppendedAtOnce) {
    test::TempFolder folder;
    {
        Diagnoser earlier(folder.Sub("vkbx.log"));
        earlier.Trace(trace_module::kDebugMonitor, 401, "first run");
    }
    const std::string before = DateTimeLine(platform::LocalNow());
    Diagnoser diagnoser(folder.Sub("vkbx.log"));
    const std::string after = DateTimeLine(platform::LocalNow());
    const std::string header = folder.ReadFile("vkbx.log");
    EXPECT_TRUE(std::regex_match(header, std::regex(R"(\d{4}-\d\d-\d\d \d\d:\d\d:\d\d\n)")))
        << header;
    EXPECT_LE(before, header);
    EXPECT_LE(header, after);
    diagnoser.Trace(trace_module::kDebugMonitor, 405, "");
    EXPECT_EQ(folder.ReadFile("vkbx.log"), header + "M1001 S405 \n");
    diagnoser.Trace(trace_module::kSymbler, 12, "loading  demo.dbg");
    EXPECT_EQ(folder.ReadFile("vkbx.log"), header + "M1001 S405 \nM1030 S12 loading  demo.dbg\n");
    // The earlier run's lines are gone, and so is the temporary file of the replacement.
    EXPECT_EQ(platform::ListFolder(folder.Path()), std::vector<std::string>{"vkbx.log"});
    // A log deleted during the run is made again by the next trace.
    ASSERT_TRUE(platform::DeleteFile(folder.Sub("vkbx.log")));
    diagnoser.Trace(trace_module::kMemoryEditor, 9, "after");
    EXPECT_EQ(folder.ReadFile("vkbx.log"), "M1005 S9 after\n");
}

TEST(Diagnoser, ALogThatCannotBeWrittenRaisesAFileError) {
    test::TempFolder folder;
    try {
        Diagnoser diagnoser(folder.Sub("missing\\vkbx.log"));
        ADD_FAILURE() << "a log in a missing folder was created";
    } catch (const BxError& error) {
        EXPECT_EQ(error.Number, errors::kFileAccess);
        EXPECT_EQ(error.Source, "Diagnoser");
        EXPECT_NE(error.Description.find("vkbx.log"), std::string::npos) << error.Description;
    }
    // The folder disappears under the running program.
    ASSERT_TRUE(platform::CreateFolder(folder.Sub("logs")));
    Diagnoser diagnoser(folder.Sub("logs\\vkbx.log"));
    std::filesystem::remove_all(folder.Native() / "logs");
    EXPECT_THROW(diagnoser.Trace(trace_module::kDebugMonitor, 1, ""), BxError);
}

// The one Diagnoser of a process is made at its first use, so this is checked in a fresh child
// process, where nothing has touched Instance() before.
void CheckInstanceInFreshProcess() {
    bool ok = false;
    {
        test::TempFolder first;
        test::TempFolder second;
        Diagnoser* made = nullptr;
        {
            platform::ScopedProgramFolder programFolder(first.Path());
            made = &Diagnoser::Instance();
        }
        // A later change of the program's folder doesn't move the running log.
        platform::ScopedProgramFolder programFolder(second.Path());
        Diagnoser::Instance().Trace(trace_module::kSymbler, 3, "x");
        ok = &Diagnoser::Instance() == made && made->LogPath() == first.Sub("vkbx.log") &&
             first.ReadFile("vkbx.log").ends_with("\nM1030 S3 x\n") &&
             !platform::FileExists(second.Sub("vkbx.log"));
    }
    std::fprintf(stderr, "%s", ok ? "instance checked" : "a second log or a moved one");
    std::exit(ok ? 0 : 1);
}

TEST(DiagnoserInstance, IsMadeOnceInTheProgramFolderAtFirstUse) {
    // "threadsafe" runs the child as a new process of this program, not a fork, so no
    // Diagnoser made earlier in this process exists there.
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    EXPECT_EXIT(CheckInstanceInFreshProcess(), testing::ExitedWithCode(0), "instance checked");
}

} // namespace
} // namespace bx
