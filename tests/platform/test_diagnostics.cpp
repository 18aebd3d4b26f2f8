// The program log and what a crash leaves in it; the diagnostic archive of the logs.
#include "platform/Archive.h"
#include "platform/Diagnostics.h"
#include "platform/FileSystem.h"
#include "support/TempFolder.h"

#include <cstdlib>
#include <gtest/gtest.h>

namespace bx::test {
namespace {

TEST(Diagnostics, ACrashWritesTheSignalAndABacktraceToTheProgramLog) {
    TempFolder folder;
    const std::string log = folder.Sub("bx.log");
    EXPECT_DEATH(
        {
            platform::OpenProgramLog(log);
            platform::ProgramLogLine("before the crash");
            platform::InstallCrashHandler();
            std::abort();
        },
        "");
    const std::string written = platform::ReadFile(log).value_or("");
    EXPECT_NE(written.find("before the crash\n"), std::string::npos) << written;
    EXPECT_NE(written.find("Fatal error: SIGABRT (abort)\nBacktrace:\n"), std::string::npos)
        << written;
    EXPECT_NE(written.find("End of report."), std::string::npos) << written;
}

TEST(Diagnostics, TheArchiveBesideTheCabinetHoldsTheLogsThatExist) {
    const std::string spec = platform::DiagnosticSpecification("\\opt\\bx");
    EXPECT_EQ(
        spec,
        "dump=medium,tag,compress=best;\\opt\\bx\\007.cab;\\opt\\bx\\vkbx.log;\\opt\\bx\\bx.log");
    EXPECT_EQ(platform::DiagnosticLogFiles(spec),
              (std::vector<std::string>{"\\opt\\bx\\vkbx.log", "\\opt\\bx\\bx.log"}));
    EXPECT_EQ(platform::DiagnosticArchivePath(spec), "\\opt\\bx\\007.zip");
    EXPECT_EQ(platform::DiagnosticArchivePath("dump=medium;"), "");
    TempFolder folder;
    folder.WriteFile("vkbx.log", "M1001 S405 \n");
    ASSERT_TRUE(platform::WriteDiagnosticArchive(platform::DiagnosticSpecification(folder.Path())));
    TempFolder unpacked;
    ASSERT_TRUE(platform::ExtractArchive(folder.Sub("007.zip"), unpacked.Path()));
    EXPECT_EQ(platform::ListFolder(unpacked.Path()), std::vector<std::string>{"vkbx.log"});
    EXPECT_EQ(unpacked.ReadFile("vkbx.log"), "M1001 S405 \n");
    EXPECT_FALSE(platform::WriteDiagnosticArchive(
        platform::DiagnosticSpecification(folder.Sub("no such folder"))));
}

} // namespace
} // namespace bx::test
