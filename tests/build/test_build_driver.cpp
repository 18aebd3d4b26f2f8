// The build driver: the external builder's command line and the Makefile byte for byte, the
// option byte, a build in both modes with the helper program or a small script as the tool,
// the clean-up with its question, and the build command's sequence.
#include "appliance/Appliance.h"
#include "build/BuildDriver.h"
#include "build/ExternalBuilder.h"
#include "foundation/Diagnoser.h"
#include "foundation/Error.h"
#include "platform/FileSystem.h"
#include "platform/Paths.h"
#include "platform/Process.h"
#include "platform/ProgramFolder.h"
#include "settings/GlobalSettings.h"
#include "support/TempFolder.h"
#include "support/TestDoubles.h"

#include <chrono>
#include <filesystem>
#include <gtest/gtest.h>

namespace bx {
namespace {

// One body with five options of maps 1, 2, 4, 8 and 16, and three clocks.
const char* kSettings =
    R"(<GlobalSettings Version="v 00.00.001"><MCU Family="KTR">)"
    R"(<Body Model="KTR311" TemplateDir="KTR311" OptionsDef="$00">)"
    R"(<OPClock Rate="4 MHz" RateParam="2" Dual="False"/>)"
    R"(<OPClock Rate="32.768 kHz" RateParam="0" Dual="False"/>)"
    R"(<OPClock Rate="4 MHz/32.768 kHz" RateParam="3" Dual="True"/>)"
    R"(<Options Name="A" Map="1"/><Options Name="B" Map="2"/><Options Name="C" Map="4"/>)"
    R"(<Options Name="D" Map="8"/><Options Name="E" Map="16"/>)"
    R"(</Body></MCU></GlobalSettings>)";

// The helper's path in the system's backslash form, quoted, as a command names a program.
std::string Helper(const std::string& arguments) {
    return "\"" + platform::FromNativePath(BX_CHILD_PROCESS) + "\" " + arguments;
}

struct RecordingHosts : SourceHost, ApplianceWindow {
    bool SaveAll(bool force) override {
        calls.push_back(force ? "SaveAll forced" : "SaveAll");
        return true;
    }
    void Update(bool refresh) override { calls.push_back(refresh ? "Update refresh" : "Update"); }
    std::vector<std::string> calls;
};

class BuildDriverTest : public ::testing::Test {
protected:
    BuildDriverTest() {
        EXPECT_TRUE(settings.LoadXml(kSettings));
        appliance.Settings = &settings;
        appliance.Title = "demo";
        appliance.Family = "KTR";
        appliance.Model = "KTR311";
        appliance.ModelParam = "KTR311";
        appliance.OPClock = "4 MHz";
        appliance.ClockParam = "2";
        appliance.Folder = work.Path() + "\\";
        appliance.BuildMessage.Connect([this](const std::string& text) { pane.PostMessage(text); });
    }
    // The ROM from a.obj and a ready-made b.obj, a.obj assembled from a.asm.
    void AddExampleSteps() {
        appliance.AddBuildStep("demo.rom", "%tools%\\link %i", "a.obj");
        appliance.AddBuildStep("demo.rom", "%tools%\\link %i", "b.obj");
        appliance.AddBuildStep("a.obj", "%tools%\\asm %i", "a.asm");
    }
    std::string Log() const { return programFolder.ReadFile("vkbx.log"); }

    test::TempFolder programFolder;
    test::TempFolder work;
    platform::ScopedProgramFolder useProgramFolder{programFolder.Path()};
    Diagnoser diagnoser{programFolder.Sub("vkbx.log")};
    test::ScriptedPrompter prompter;
    GlobalSettings settings{prompter};
    Appliance appliance;
    test::RecordingMessageSink pane;
    RecordingHosts hosts;
    BuildHosts buildHosts{prompter, pane, hosts, hosts, diagnoser};
};

// ---- The texts ----------------------------------------------------------------------------

TEST_F(BuildDriverTest, ExternalCommandLineReadsByteForByteAsTheBuilderExpectsIt) {
    const std::string tools = appliance.ToolsPath(); // the program's folder, with a backslash
    appliance.Folder = "C:\\w\\";
    for (int i = 1; i <= 5; ++i)
        appliance.SetOptionAt(i, true);
    appliance.BuildTargets().Add(nullptr, "", "main.asm");
    // The program's folder stands for "%AppPath%", without its final backslash; the RC and
    // watchdog flags add their switches; the 32.768 kHz clock takes "-MS" away (the main clock
    // gives it); the option byte has a bit for each option set.
    platform::ScopedProgramFolder programFolder("C:\\p");
    appliance.ExtBuilder = "%AppPath%\\bin\\build.exe";
    appliance.Oscillator = true;
    appliance.WDT = true;
    appliance.OPClock = "4 MHz/32.768 kHz";
    appliance.ClockParam = "3";
    appliance.SetOptionAt(2, false);
    appliance.BuildTargets().Add(nullptr, "", "tune.pcm");
    EXPECT_EQ(ExternalCommandLine(appliance, prompter),
              "\"C:\\p\\bin\\build.exe\" -D \"C:\\w\\\\\" -N \"demo\" -O \"demo.rom\" -T \"" +
                  tools + "\\\"  -MB KTR311 -MP 1D -MR -MW -M3 \"main.asm\" \"tune.pcm\"  ");
    EXPECT_TRUE(prompter.Boxes().empty());
    // The shipped builder reads that line, in the system's form, as it was meant.
    std::vector<std::string> words = platform::SplitCommandLine(
        platform::ToNativePath(ExternalCommandLine(appliance, prompter)));
    builder::BuilderOptions options;
    ASSERT_EQ(builder::ParseBuilderArgs({words.begin() + 1, words.end()}, options), "");
    EXPECT_EQ(options.folder + " " + options.title + " " + options.output + " " + options.model +
                  " " + options.clock,
              "C:/w// demo demo.rom KTR311 3");
    EXPECT_EQ(options.tools, platform::ToNativePath(tools) + "/");
    EXPECT_TRUE(options.optionByte == 0x1D && !options.mainClock && options.rcOscillator &&
                options.watchdog);
    EXPECT_EQ(options.files, (std::vector<std::string>{"main.asm", "tune.pcm"}));
    // Without the body's parameter the error box comes and "-MB" is left out.
    appliance.ModelParam = "";
    EXPECT_EQ(ExternalCommandLine(appliance, prompter).find("-MB"), std::string::npos);
    ASSERT_EQ(prompter.Boxes().size(), 1u);
    EXPECT_EQ(prompter.Boxes()[0].title + ": " + prompter.Boxes()[0].text,
              "Error: Error Occurs while using the external builder, the mcubody parameter is "
              "not found \r\nat the appliance file. There is something wrong at the settings.");
    appliance.Model = "KTR999";
    EXPECT_THROW(ExternalCommandLine(appliance, prompter), BxError);
}

TEST(Makefile, HasARuleForEachStepWithACommandAndQuotesNamesForMake) {
    platform::ScopedProgramFolder programFolder("\\p");
    Appliance appliance;
    appliance.Title = "demo";
    appliance.BuildTargets().Add(nullptr, "", "main.asm");
    EXPECT_EQ(MakefileText(appliance), "") << "no step with a command";
    appliance.AddBuildStep("demo.rom", "%tools%\\link %i", "a.obj");
    appliance.AddBuildStep("demo.rom", "%tools%\\link %i", "my lib\\a#1.obj");
    appliance.AddBuildStep("demo.rom", "%tools%\\link %i", "cost$.obj");
    appliance.AddBuildStep("a.obj", "%tools%\\asm %i", "a.asm");
    EXPECT_EQ(MakefileText(appliance),
              "demo.rom: demo.apl a.obj my lib\\a#1.obj cost$.obj \r\n"
              "\t\\p\\link \"a.obj\" \"my lib\\a#1.obj\" \"cost$.obj\" \r\n\r\n"
              "a.obj: demo.apl a.asm \r\n\t\\p\\asm \"a.asm\" \r\n\r\n");
    EXPECT_EQ(MakefileForMake(appliance),
              "demo.rom: demo.apl a.obj my\\ lib/a\\#1.obj cost$$.obj \r\n"
              "\t/p/link \"a.obj\" \"my lib/a#1.obj\" \"cost$.obj\" \r\n\r\n"
              "a.obj: demo.apl a.asm \r\n\t/p/asm \"a.asm\" \r\n\r\n");
    appliance.AddBuildStep("demo.rom", "%tools%\\link %i", "a;b.obj");
    try {
        MakefileForMake(appliance);
        ADD_FAILURE() << "a name with \";\" went into the Makefile";
    } catch (const BxError& error) {
        EXPECT_NE(error.Description.find("\"a;b.obj\" can't stand in the Makefile"),
                  std::string::npos)
            << error.Description;
    }
}

// ---- A build ------------------------------------------------------------------------------

TEST_F(BuildDriverTest, InternalBuildWritesTheMakefileRunsTheToolAndSavesWithoutBreakpoints) {
    AddExampleSteps();
    const std::string before = platform::CurrentDirectory();
    const std::string tools = platform::ToNativePath(appliance.ToolsPath());
    const std::tuple<std::string, std::string, bool, std::string> rows[] = {
        {Helper("--out=making --err=warning"), "", true, "making\r\nwarning\r\n"},
        {Helper("\"--err=main.asm(3): Error: x\" --exit=2"), "", false,
         "main.asm(3): Error: x\r\n"},
        // A tool that ends well without making the run target's output fails the build.
        {Helper("--out=nothing"), "demo.rom", false,
         "nothing\r\nThe build ended without making \"" + work.Native().string() +
             "/demo.rom\".\r\n"},
        {"%tools%\\no-such-make -f Makefile", "", false,
         "Fatal error: execution of '" + tools +
             "no-such-make -f Makefile' failed. Error: 0x00000002 No such file or directory"}};
    for (const auto& [make, output, built, text] : rows) {
        SCOPED_TRACE(make);
        pane.lines.clear();
        appliance.RunTarget()->Make = make;
        appliance.RunTarget()->OutputPath = output;
        appliance.Breakpoints().Add(0, 0x8000, 1, 1);
        appliance.Touch();
        EXPECT_EQ(Build(appliance, prompter, diagnoser), built);
        EXPECT_EQ(pane.Text(),
                  text + "\r\n\r\n" + (built ? "Build completed." : "Build failed.") + "\r\n");
        // Every build drops the breakpoints and writes the appliance file.
        EXPECT_TRUE(appliance.Breakpoints().Empty());
        EXPECT_FALSE(appliance.IsDirty());
        EXPECT_EQ(platform::CurrentDirectory(), before);
    }
    EXPECT_TRUE(platform::FileExists(work.Sub("demo.apl")));
    EXPECT_EQ(work.ReadFile("Makefile"), "demo.rom: demo.apl a.obj b.obj \r\n\t" + tools +
                                             "link \"a.obj\" \"b.obj\" \r\n\r\n"
                                             "a.obj: demo.apl a.asm \r\n\t" +
                                             tools + "asm \"a.asm\" \r\n\r\n");
    // A tool that can't be started is traced under the checkpoint of its mode.
    appliance.ExtBuilderInUse = true;
    appliance.ExtBuilder = "%AppPath%\\missing-builder";
    EXPECT_FALSE(Build(appliance, prompter, diagnoser));
    EXPECT_NE(Log().find("M1 S2002 Build error #00000002\n"), std::string::npos) << Log();
    EXPECT_NE(Log().find("M1 S2001 Build error #00000002\n"), std::string::npos) << Log();
}

// ---- Clean-up and the build command --------------------------------------------------------

TEST_F(BuildDriverTest, BuildCommandSavesSetsTheClockCleansWhenToldBuildsAndUpdatesTheTree) {
    AddExampleSteps();
    appliance.RunTarget()->Make = Helper("--out=done");
    appliance.OPClock = "32.768 kHz";
    appliance.ClockParam = "stale";
    DoBuild(appliance, true, false, false, buildHosts);
    EXPECT_EQ(pane.Text(), "Saving all open files.\r\n\r\nBuilding files that are out-of-date."
                           "\r\n\r\ndone\r\n\r\n\r\nBuild completed.\r\n");
    EXPECT_EQ(appliance.ClockParam, "0");
    // Rebuild asks before deleting, and No only skips the deletion.
    for (const char* name : {"a.obj", "b.bin", "c.sym", "d.cfg", "e.rom", "main.asm", "locked.obj"})
        work.WriteFile(name, "x");
    std::filesystem::permissions(work.Native() / "locked.obj", std::filesystem::perms::owner_read);
    prompter.Answer(AnswerNo);
    DoBuild(appliance, false, true, true, buildHosts);
    EXPECT_EQ(pane.clears, 1);
    EXPECT_NE(pane.Text().find("Deleting intermediate files.\r\n\r\nBuilding files that are "
                               "out-of-date.\r\n\r\ndone\r\n"),
              std::string::npos);
    EXPECT_TRUE(platform::FileExists(work.Sub("a.obj")));
    EXPECT_EQ(hosts.calls, (std::vector<std::string>{"SaveAll", "Update refresh", "SaveAll forced",
                                                     "Update refresh"}));
    // Yes deletes the five kinds of intermediate files, but no read-only one.
    prompter.Answer(AnswerYes);
    EXPECT_FALSE(BuildClean(appliance, true, prompter));
    EXPECT_EQ(platform::ListFolder(work.Path()),
              (std::vector<std::string>{"Makefile", "demo.apl", "locked.obj", "main.asm"}));
    appliance.OPClock = "99 MHz"; // a clock the body lacks
    EXPECT_THROW(DoBuild(appliance, true, false, false, buildHosts), BxError);
}

} // namespace
} // namespace bx
