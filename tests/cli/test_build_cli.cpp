// "tessarine-cli new" and "tessarine-cli build" on a copy of the shipped program folder: the
// texts of new, build and clean, a tool stopped by the time limit or a signal, and the messages
// and exit statuses of the failures. The builds of every body in both modes are the shipped
// data's own tests.
#include "platform/FileSystem.h"
#include "support/ShippedProgram.h"

#include <csignal>
#include <filesystem>
#include <gtest/gtest.h>
#include <regex>

namespace bx::cli {
namespace {

using test::CliResult;
using test::RunCli;

// The shipped program folder and templates, in a copy the tests may change.
class BuildCliTest : public ::testing::Test {
protected:
    std::string Dir(const std::string& name) const { return shipped.Dir(name); }
    std::string Apl(const std::string& name) const { return shipped.Apl(name); }

    test::ShippedAppliances shipped;
    test::TempFolder& program = shipped.program;
    test::TempFolder& work = shipped.work;
};

TEST_F(BuildCliTest, NewThenBuildGivesTheRomAndTheDebugFileAndCleanAsksFirst) {
    SKIP_WITHOUT_BUILD_TOOLS();
    auto made = RunCli({"new", "--body", "KTR310", "--name", "demo", "--dir", Dir("demo")});
    EXPECT_EQ(made.status, 0) << made.err;
    EXPECT_EQ(made.out, "Appliance created.\nwrote " + Apl("demo") + "\n");
    EXPECT_EQ(made.err, "");
    auto result = RunCli({"build", Apl("demo")});
    EXPECT_EQ(result.status, 0) << result.out << result.err;
    EXPECT_EQ(
        result.out.rfind("Saving all open files.\n\nBuilding files that are out-of-date.\n\n", 0),
        0u)
        << result.out;
    EXPECT_TRUE(result.out.ends_with("Build completed.\n"));
    EXPECT_EQ(platform::FileSize(work.Sub("demo\\demo.rom")).value_or(0), 0x8000u + 4 * 0x4000);
    EXPECT_TRUE(platform::FileExists(work.Sub("demo\\demo.sym")));

    // Clean-up with --yes deletes the products; without it the question is answered No.
    auto kept = RunCli({"build", Apl("demo"), "--clean"});
    EXPECT_EQ(kept.status, 0);
    EXPECT_NE(kept.err.find("Cleaning Up Existing Build: We are about to delete files in '"),
              std::string::npos);
    EXPECT_TRUE(platform::FileExists(work.Sub("demo\\demo.rom")));
    auto cleaned = RunCli({"build", Apl("demo"), "--clean", "--yes"});
    EXPECT_EQ(cleaned.out, "Cleaned up intermediate files.\n");
    EXPECT_FALSE(platform::FileExists(work.Sub("demo\\demo.rom")));
}

TEST_F(BuildCliTest, HangingToolIsStoppedByTheTimeLimitOrASignalAndLeavesNothingBehind) {
    shipped.New("KTR310", "hang");
    const std::string apl = work.ReadFile("hang/hang.apl");
    const std::tuple<std::string, std::vector<std::string>, int, std::string> rows[] = {
        {"sh -c &quot;echo waiting; sleep 30&quot;",
         {"--timeout", "1"},
         1,
         "waiting\nThe build was stopped: the tool ran longer than 1 second.\n"},
        // The tool sends the TERM to the command itself, as "kill" from a terminal would.
        {"sh -c &quot;echo waiting; kill -TERM $PPID; sleep 30&quot;",
         {},
         128 + SIGTERM,
         "waiting\nThe build was stopped before the tool ended.\n"}};
    for (const auto& [command, extra, status, note] : rows) {
        work.WriteFile("hang/hang.apl", std::regex_replace(apl, std::regex("Make=\"make %o\""),
                                                           "Make=\"" + command + "\""));
        std::vector<std::string> args{"build", Apl("hang")};
        args.insert(args.end(), extra.begin(), extra.end());
        auto result = RunCli(args);
        EXPECT_EQ(result.status, status) << result.out << result.err;
        EXPECT_NE(result.out.find(note), std::string::npos) << result.out;
        EXPECT_TRUE(result.out.ends_with("Build failed.\n")) << result.out;
        for (const std::string& name : platform::ListFolder(program.Path()))
            EXPECT_TRUE(name.rfind("vki", 0) != 0 && name.rfind("vko", 0) != 0) << name;
    }
}

TEST_F(BuildCliTest, BadInputGivesAClearMessageAndANonZeroExit) {
    std::filesystem::create_directory(work.Native() / "taken");
    program.WriteFile("old.gss", std::regex_replace(program.ReadFile("BX.gss"),
                                                    std::regex("v 00.00.001"), "v 09.09.009"));
    const std::tuple<std::vector<std::string>, int, std::string> rows[] = {
        {{"new", "--body", "KTR310", "--name", "taken", "--dir", Dir("taken")},
         1,
         "Appliance Wizard: Directory already exists or directory is read-only. Please select "
         "another directory.\n"},
        {{"new", "--body", "KTR310", "--name", "x", "--dir", Dir("x"), "--settings",
          program.Native().string() + "/old.gss"},
         1,
         "are of a version this program doesn't read"},
        {{"build", Dir("none.apl")}, 1, "no such file"},
        {{"new", "--name", "x", "--dir", Dir("x")}, 2, "usage: tessarine-cli new"},
        {{"new", "--body", "KTR310", "--name"}, 2, "usage: tessarine-cli new"},
        {{"build"}, 2, "usage: tessarine-cli build"},
        {{"build", "a.apl", "--rebuild", "--clean"}, 2, "usage: tessarine-cli build"},
        {{"build", "a.apl", "--fast"}, 2, "usage: tessarine-cli build"},
        {{"build", "a.apl", "--timeout", "-1"}, 2, "usage: tessarine-cli build"}};
    for (const auto& [args, status, message] : rows) {
        auto result = RunCli(args);
        EXPECT_EQ(result.status, status) << message;
        EXPECT_NE(result.err.find(message), std::string::npos) << result.err;
    }
    EXPECT_EQ(platform::ListFolder(work.Path()), std::vector<std::string>{"taken"});
}

TEST_F(BuildCliTest, NewThatCannotSaveLeavesNothingBehindAndSaysNothingWasCreated) {
    // A template naming a body the settings don't have: the wizard makes the folder, the save
    // can't name the option attributes.
    const std::string tpl = program.ReadFile("Templates/Sarnova/KTR310/KTR310.tpl");
    program.WriteFile("Templates/Sarnova/KTR310/KTR310.tpl",
                      std::regex_replace(tpl, std::regex("Model=\"KTR310\""), "Model=\"KTR999\""));
    auto result =
        RunCli({"new", "--body", "KTR310", "--name", "demo", "--dir", Dir("parent/demo")});
    EXPECT_EQ(result.status, 1);
    EXPECT_EQ(result.out, "");
    EXPECT_NE(result.err.find("KTR999"), std::string::npos) << result.err;
    EXPECT_NE(result.err.find("nothing was kept: " + Dir("parent") + " was removed again"),
              std::string::npos)
        << result.err;
    EXPECT_TRUE(platform::ListFolder(work.Path()).empty());
}

} // namespace
} // namespace bx::cli
