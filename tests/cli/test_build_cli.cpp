// "tessarine-cli new" and "tessarine-cli build": a body's template in a program folder made by
// the test, the wizard and the save behind "new", a real build behind "build" (skipped without
// ca65, ld65 and make), and the messages and exit statuses of the failures.
#include "appliance/Appliance.h"
#include "cli/CliMain.h"
#include "platform/FileSystem.h"
#include "platform/Paths.h"
#include "platform/ProgramFolder.h"
#include "settings/GlobalSettings.h"
#include "support/CliRunner.h"
#include "support/TempFolder.h"
#include "support/TestDoubles.h"

#include <csignal>
#include <cstdlib>
#include <filesystem>
#include <gtest/gtest.h>
#include <regex>

namespace bx::cli {
namespace {

const char* kSettings =
    R"(<GlobalSettings Version="v 00.00.001"><MCU Family="KTR">)"
    R"(<Body Model="KTR310" TemplateDir="KTR310" TemplateFile="KTR310.tpl" IceEmuNo="7")"
    R"( HasWDT="Yes" BootVect="$FFFC" ProgramStart="$8000" OptionsDef="$00" BankCount="0">)"
    R"(<OPClock Rate="4 MHz" RateParam="2" Dual="False"/></Body>)"
    R"(</MCU><External><ExtEditor Command="" InUse="False"/>)"
    R"(<ExtBuilder Command="%AppPath%\builder.sh" InUse="False"/>)"
    R"(<ExtDebugger Driver="" InUse="False"/></External></GlobalSettings>)";

const char* kLinkerConfig = "MEMORY { ROM: start = $8000, size = $8000, fill = yes, file = %O; }\n"
                            "SEGMENTS { CODE: load = ROM, type = ro;\n"
                            "           VECTORS: load = ROM, type = ro, start = $FFFA; }\n";

const char* kProgram = ".segment \"CODE\"\nreset: jmp reset\n"
                       ".segment \"VECTORS\"\n.word reset, reset, reset\n";

using test::CliResult;
using test::RunCli;

bool HaveTools() {
    return std::system("command -v ca65 >/dev/null 2>&1 && command -v ld65 >/dev/null 2>&1 && "
                       "command -v make >/dev/null 2>&1") == 0;
}

class BuildCliTest : public ::testing::Test {
protected:
    void SetUp() override {
        program.WriteFile("BX.gss", kSettings);
        program.WriteFile("Templates/Sarnova/KTR310/main.asm", kProgram);
        program.WriteFile("Templates/Sarnova/KTR310/rom.cfg", kLinkerConfig);
        // The template appliance: ca65 then ld65 with the debug file named after the title.
        test::ScriptedPrompter quiet;
        GlobalSettings settings(quiet);
        ASSERT_TRUE(settings.LoadXml(kSettings));
        Appliance tpl;
        tpl.Settings = &settings;
        tpl.Title = tpl.Model = tpl.ModelParam = "KTR310";
        tpl.Family = "KTR";
        tpl.OPClock = "4 MHz";
        tpl.Folder = program.Sub("Templates\\Sarnova\\KTR310\\");
        tpl.BuildAssociations().Add("asm", "ca65 -g %i -o %o", "o");
        tpl.BuildAssociations().Add("o", "ld65 -C rom.cfg --dbgfile %n.sym -o %o %i", "rom");
        tpl.BuildAssociations().Add("rom", "00:8000", "");
        tpl.RunTarget()->Make = "make %o";
        tpl.Save(true);
        std::filesystem::rename(program.Native() / "Templates/Sarnova/KTR310/KTR310.apl",
                                program.Native() / "Templates/Sarnova/KTR310/KTR310.tpl");
    }

    std::string Dir(const std::string& name) const { return (work.Native() / name).string(); }
    std::string Apl(const std::string& name) const { return Dir(name) + "/" + name + ".apl"; }

    test::TempFolder program;
    platform::ScopedProgramFolder useProgram{program.Path()};
    test::TempFolder work;
};

TEST_F(BuildCliTest, NewThenBuildGivesTheRomAndTheDebugFileAndCleanAsksFirst) {
    if (!HaveTools())
        GTEST_SKIP() << "ca65, ld65 or make is not installed; the real build can't run";
    auto made = RunCli({"new", "--body", "KTR310", "--name", "demo", "--dir", Dir("demo")});
    EXPECT_EQ(made.status, 0) << made.err;
    EXPECT_EQ(made.out, "Appliance created.\nwrote " + Apl("demo") + "\n");
    EXPECT_EQ(made.err, "");
    EXPECT_EQ(platform::ListFolder(work.Sub("demo")),
              (std::vector<std::string>{"demo.apl", "main.asm", "rom.cfg"}));
    auto result = RunCli({"build", Apl("demo")});
    EXPECT_EQ(result.status, 0) << result.out << result.err;
    EXPECT_EQ(
        result.out.rfind("Saving all open files.\n\nBuilding files that are out-of-date.\n\n", 0),
        0u)
        << result.out;
    EXPECT_TRUE(result.out.ends_with("Build completed.\n"));
    EXPECT_EQ(platform::FileSize(work.Sub("demo\\demo.rom")).value_or(0), 32768u);
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

    // A syntax error comes back as the tool's line, and the build fails.
    work.WriteFile("demo/main.asm", "reset: jmp reset\n  bogus x\n");
    auto bad = RunCli({"build", Apl("demo"), "--rebuild", "--yes"});
    EXPECT_EQ(bad.status, 1);
    EXPECT_NE(bad.out.find("\nmain.asm(2): Error: "), std::string::npos) << bad.out;
    EXPECT_TRUE(bad.out.ends_with("Build failed.\n"));
}

TEST_F(BuildCliTest, HangingToolIsStoppedByTheTimeLimitOrASignalAndLeavesNothingBehind) {
    ASSERT_EQ(RunCli({"new", "--body", "KTR310", "--name", "hang", "--dir", Dir("hang")}).status,
              0);
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

TEST_F(BuildCliTest, ExternalBuildRunsTheSettingsBuilderWithItsCommandLine) {
    const std::string builder = program.WriteFile(
        "builder.sh", "#!/bin/sh\necho \"builder got $*\"\n: > ext.rom\nexit 0\n");
    std::filesystem::permissions(platform::ToNativePath(builder),
                                 std::filesystem::perms::owner_all);
    ASSERT_EQ(RunCli({"new", "--body", "KTR310", "--name", "ext", "--dir", Dir("ext")}).status, 0);
    auto result = RunCli({"build", Apl("ext"), "--external"});
    EXPECT_EQ(result.status, 0) << result.out << result.err;
    EXPECT_NE(result.out.find("builder got -D " + Dir("ext") + "// -N ext -O ext.rom -T " +
                              program.Native().string() + "// -MB KTR310 -MP 0 -MS -M2 main.asm"),
              std::string::npos)
        << result.out;
    EXPECT_FALSE(platform::FileExists(work.Sub("ext\\Makefile")));
}

TEST_F(BuildCliTest, BadInputGivesAClearMessageAndANonZeroExit) {
    std::filesystem::create_directory(work.Native() / "taken");
    program.WriteFile("old.gss", std::regex_replace(std::string(kSettings),
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
