// The build driver: the external builder's command line and the Makefile byte for byte for
// hand-made appliances, the option byte, a build in both modes with the helper program or a
// small script as the tool, the clean-up with its question, and the build command's sequence.
#include "appliance/Appliance.h"
#include "build/BuildDriver.h"
#include "foundation/Diagnoser.h"
#include "foundation/Error.h"
#include "platform/FileSystem.h"
#include "platform/Paths.h"
#include "platform/ProgramFolder.h"
#include "settings/GlobalSettings.h"
#include "support/TempFolder.h"
#include "support/TestDoubles.h"

#include <chrono>
#include <filesystem>
#include <gtest/gtest.h>
#include <unistd.h>

namespace bx {
namespace {

using test::ScriptedPrompter;

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

std::string Helper() {
    return "\"" + platform::FromNativePath(BX_CHILD_PROCESS) + "\"";
}

struct RecordingSourceHost : SourceHost {
    bool SaveAll(bool force) override {
        calls.push_back(force);
        return true;
    }
    std::vector<bool> calls;
};

struct RecordingApplianceWindow : ApplianceWindow {
    void Update(bool refresh) override { calls.push_back(refresh); }
    std::vector<bool> calls;
};

class BuildDriverTest : public ::testing::Test {
protected:
    BuildDriverTest() {
        EXPECT_TRUE(settings.LoadXml(kSettings));
        // The tools folder is the program's folder when the appliance is made.
        appliance = std::make_unique<Appliance>();
        appliance->Settings = &settings;
        appliance->Title = "demo";
        appliance->Family = "KTR";
        appliance->Model = "KTR311";
        appliance->ModelParam = "KTR311";
        appliance->OPClock = "4 MHz";
        appliance->ClockParam = "2";
        appliance->Folder = work.Path() + "\\";
        messagesId = appliance->BuildMessage.Connect(
            [this](const std::string& text) { pane.PostMessage(text); });
    }

    // The steps of the two-rule example: the ROM from a.obj and a ready-made b.obj, a.obj
    // assembled from a.asm.
    void AddExampleSteps() {
        appliance->AddBuildStep("demo.rom", "%tools%\\link %i", "a.obj");
        appliance->AddBuildStep("demo.rom", "%tools%\\link %i", "b.obj");
        appliance->AddBuildStep("a.obj", "%tools%\\asm %i", "a.asm");
    }

    std::string Log() const {
        return platform::ReadFile(programFolder.Sub("vkbx.log")).value_or("");
    }

    test::TempFolder programFolder;
    test::TempFolder work;
    platform::ScopedProgramFolder useProgramFolder{programFolder.Path()};
    Diagnoser diagnoser{programFolder.Sub("vkbx.log")};
    ScriptedPrompter prompter;
    GlobalSettings settings{prompter};
    std::unique_ptr<Appliance> appliance;
    test::RecordingMessageSink pane;
    std::size_t messagesId = 0;
};

// ---- The texts ----------------------------------------------------------------------------

TEST(ExternalCommandLine, ReadsByteForByteAsTheBuilderExpectsIt) {
    test::ScriptedPrompter prompter;
    GlobalSettings settings(prompter);
    ASSERT_TRUE(settings.LoadXml(kSettings));
    platform::ScopedProgramFolder programFolder("C:\\p");
    Appliance appliance;
    appliance.Settings = &settings;
    appliance.ExtBuilder = "C:\\b\\tool.exe";
    appliance.Folder = "C:\\w\\";
    appliance.Title = "demo";
    appliance.Family = "KTR";
    appliance.Model = "KTR311";
    appliance.ModelParam = "KTR311";
    appliance.OPClock = "4 MHz";
    appliance.ClockParam = "2";
    for (int i = 1; i <= 5; ++i)
        appliance.SetOptionAt(i, true);
    appliance.BuildTargets().Add(nullptr, "", "main.asm");
    EXPECT_EQ(ExternalCommandLine(appliance, prompter),
              "\"C:\\b\\tool.exe\" -D \"C:\\w\\\\\" -N \"demo\" -O \"demo.rom\" -T \"C:\\p\\\\\"  "
              "-MB KTR311 -MP 1F -MS -M2 \"main.asm\"  ");
    EXPECT_TRUE(prompter.Boxes().empty());

    // The program's folder stands for "%AppPath%", without its final backslash; the RC and
    // watchdog flags add their switches; the 32.768 kHz clock takes "-MS" away.
    appliance.ExtBuilder = "%AppPath%\\bin\\build.exe";
    appliance.Oscillator = true;
    appliance.WDT = true;
    appliance.OPClock = "4 MHz/32.768 kHz";
    appliance.ClockParam = "3";
    appliance.SetOptionAt(2, false);
    appliance.BuildTargets().Add(nullptr, "", "tune.pcm");
    EXPECT_EQ(ExternalCommandLine(appliance, prompter),
              "\"C:\\p\\bin\\build.exe\" -D \"C:\\w\\\\\" -N \"demo\" -O \"demo.rom\" -T "
              "\"C:\\p\\\\\"  -MB KTR311 -MP 1D -MR -MW -M3 \"main.asm\" \"tune.pcm\"  ");
}

TEST_F(BuildDriverTest, EmptyModelParamShowsTheErrorBoxAndLeavesOutMb) {
    appliance->ModelParam = "";
    const std::string line = ExternalCommandLine(*appliance, prompter);
    ASSERT_EQ(prompter.Boxes().size(), 1u);
    EXPECT_EQ(prompter.Boxes()[0].title, "Error");
    EXPECT_EQ(prompter.Boxes()[0].text,
              "Error Occurs while using the external builder, the mcubody parameter is not found "
              "\r\nat the appliance file. There is something wrong at the settings.");
    EXPECT_EQ(prompter.Boxes()[0].icon, Icon::Exclamation);
    EXPECT_EQ(line.find("-MB"), std::string::npos);
    EXPECT_NE(line.find("\\\" -MP 0 -MS -M2 "), std::string::npos) << line;
}

TEST_F(BuildDriverTest, UnknownBodyInExternalModeRaisesAnError) {
    appliance->Model = "KTR999";
    EXPECT_THROW(ExternalCommandLine(*appliance, prompter), BxError);
}

TEST(OptionByte, FollowsTheFirstEightOptionsFromTheDefault) {
    Appliance appliance;
    MCUBody body;
    // No options at all: the default as it stands, cut to eight bits.
    body.OptionsDef = 0x1A5;
    EXPECT_EQ(OptionByte(appliance, body), 0xA5);

    // Nine options: set flags OR their maps in, clear ones take them out, the ninth does
    // nothing (there is no ninth flag).
    body.OptionsDef = 0x0F;
    for (int i = 0; i < 9; ++i) {
        auto option = std::make_shared<OptionsInfo>();
        option->Name = "O" + std::to_string(i + 1);
        option->Map = i < 8 ? (1 << i) : 0x0F;
        body.Options.Add(option->Name, option);
    }
    appliance.SetOptionAt(5, true);
    appliance.SetOptionAt(8, true);
    EXPECT_EQ(OptionByte(appliance, body), 0x90);
    // All eight clear: zero.
    appliance.SetOptionAt(5, false);
    appliance.SetOptionAt(8, false);
    EXPECT_EQ(OptionByte(appliance, body), 0x00);
}

TEST(Makefile, TwoStepsReadByteForByteAndAPlainSourceGetsNoRule) {
    platform::ScopedProgramFolder programFolder("C:\\p");
    Appliance appliance;
    appliance.Title = "demo";
    appliance.AddBuildStep("demo.rom", "%tools%\\link %i", "a.obj");
    appliance.AddBuildStep("demo.rom", "%tools%\\link %i", "b.obj");
    appliance.AddBuildStep("a.obj", "%tools%\\asm %i", "a.asm");
    EXPECT_EQ(MakefileText(appliance), "demo.rom: demo.apl a.obj b.obj \r\n"
                                       "\tC:\\p\\link \"a.obj\" \"b.obj\" \r\n"
                                       "\r\n"
                                       "a.obj: demo.apl a.asm \r\n"
                                       "\tC:\\p\\asm \"a.asm\" \r\n"
                                       "\r\n");
}

TEST(Makefile, OnDiskEveryNameIsQuotedForMakeAndOneMakeCannotCarryIsRefused) {
    platform::ScopedProgramFolder programFolder("\\p");
    Appliance appliance;
    appliance.Title = "demo";
    appliance.AddBuildStep("demo.rom", "%tools%\\link %i", "my lib\\a#1.obj");
    appliance.AddBuildStep("demo.rom", "%tools%\\link %i", "cost$.obj");
    EXPECT_EQ(MakefileForMake(appliance), "demo.rom: demo.apl my\\ lib/a\\#1.obj cost$$.obj \r\n"
                                          "\t/p/link \"my lib/a#1.obj\" \"cost$.obj\" \r\n"
                                          "\r\n");
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

TEST(Makefile, NoStepsWithACommandGiveAnEmptyFile) {
    Appliance appliance;
    appliance.Title = "demo";
    appliance.BuildTargets().Add(nullptr, "", "main.asm");
    EXPECT_EQ(MakefileText(appliance), "");
}

// ---- A build ------------------------------------------------------------------------------

TEST_F(BuildDriverTest, InternalBuildWritesTheMakefileInTheSystemsFormAndRunsTheRunCommand) {
    AddExampleSteps();
    appliance->RunTarget()->Make = Helper() + " --out=making --err=warning";
    appliance->Breakpoints().Add(0, 0x8000, 1, 1);
    const std::string before = platform::CurrentDirectory();

    EXPECT_TRUE(Build(*appliance, prompter, diagnoser));

    const std::string tools = platform::ToNativePath(appliance->ToolsPath());
    EXPECT_EQ(work.ReadFile("Makefile"), "demo.rom: demo.apl a.obj b.obj \r\n\t" + tools +
                                             "link \"a.obj\" \"b.obj\" \r\n\r\n"
                                             "a.obj: demo.apl a.asm \r\n\t" +
                                             tools + "asm \"a.asm\" \r\n\r\n");
    EXPECT_EQ(pane.Text(), "making\r\nwarning\r\n\r\n\r\nBuild completed.\r\n");
    EXPECT_EQ(platform::CurrentDirectory(), before);
    // Every build drops the breakpoints and writes the appliance file.
    EXPECT_TRUE(appliance->Breakpoints().Empty());
    EXPECT_FALSE(appliance->IsDirty());
    EXPECT_TRUE(platform::FileExists(work.Sub("demo.apl")));
}

TEST_F(BuildDriverTest, NonZeroExitStatusFailsTheBuildAndStillSavesWithoutBreakpoints) {
    AddExampleSteps();
    appliance->RunTarget()->Make = Helper() + " \"--err=main.asm(3): Error: x\" --exit=2";
    appliance->Breakpoints().Add(0, 0x8000, 1, 1);
    appliance->Touch();
    EXPECT_FALSE(Build(*appliance, prompter, diagnoser));
    EXPECT_EQ(pane.Text(), "main.asm(3): Error: x\r\n\r\n\r\nBuild failed.\r\n");
    EXPECT_TRUE(appliance->Breakpoints().Empty());
    EXPECT_FALSE(appliance->IsDirty());
}

TEST_F(BuildDriverTest, ToolThatEndsWellWithoutMakingTheRunTargetFailsTheBuild) {
    AddExampleSteps();
    appliance->RunTarget()->OutputPath = "demo.rom";
    appliance->RunTarget()->Make = Helper() + " --out=nothing";
    EXPECT_FALSE(Build(*appliance, prompter, diagnoser));
    EXPECT_EQ(pane.Text(), "nothing\r\nThe build ended without making \"" + work.Native().string() +
                               "/demo.rom\".\r\n\r\n\r\nBuild failed.\r\n");
    work.WriteFile("demo.rom", "");
    pane.lines.clear();
    EXPECT_TRUE(Build(*appliance, prompter, diagnoser));
    EXPECT_EQ(pane.lines.back(), "Build completed.");
}

TEST_F(BuildDriverTest, StopOrTimeLimitEndsTheToolAndTheBuildFailsWithItsLastSteps) {
    AddExampleSteps();
    appliance->RunTarget()->Make = Helper() + " --out=started --sleep=60000";
    struct Row {
        BuildControl control;
        std::string note;
    };
    Row rows[2];
    rows[0].control.timeLimit = std::chrono::milliseconds(100);
    rows[0].note = "The build was stopped: the tool ran longer than 100 ms.";
    rows[1].control.stopRequested = [this] {
        return pane.Text().find("started") != std::string::npos;
    };
    rows[1].note = "The build was stopped before the tool ended.";
    for (const Row& row : rows) {
        pane.lines.clear();
        appliance->Breakpoints().Add(0, 0x8000, 1, 1);
        EXPECT_FALSE(Build(*appliance, prompter, diagnoser, row.control));
        EXPECT_EQ(pane.Text(), "started\r\n" + row.note + "\r\n\r\n\r\nBuild failed.\r\n");
        EXPECT_TRUE(appliance->Breakpoints().Empty());
        EXPECT_TRUE(platform::FileExists(work.Sub("demo.apl")));
    }
}

TEST_F(BuildDriverTest, ToolThatCannotStartGivesTheFatalErrorTextAndATraceLine) {
    AddExampleSteps();
    appliance->RunTarget()->Make = "%tools%\\no-such-make -f Makefile";
    EXPECT_FALSE(Build(*appliance, prompter, diagnoser));
    const std::string command =
        platform::ToNativePath(appliance->ToolsPath()) + "no-such-make -f Makefile";
    ASSERT_EQ(pane.lines.size(), 2u);
    EXPECT_EQ(pane.lines[0], "Fatal error: execution of '" + command +
                                 "' failed. Error: 0x00000002 No such file or directory\r\n");
    EXPECT_EQ(pane.lines[1], "Build failed.");
    EXPECT_NE(Log().find("M1 S2002 Build error #00000002\n"), std::string::npos) << Log();
    EXPECT_FALSE(appliance->IsDirty());
}

TEST_F(BuildDriverTest, ExternalBuildHandsTheBuilderItsCommandLineInTheSystemsForm) {
    // A builder that lists its arguments, one per line, and makes the ROM it was told of.
    const std::string script =
        work.WriteFile("builder.sh", "#!/bin/sh\n"
                                     "for a in \"$@\"; do echo \"[$a]\"; done\n"
                                     ": > demo.rom\n"
                                     "exit 0\n");
    std::filesystem::permissions(platform::ToNativePath(script), std::filesystem::perms::owner_all);
    appliance->ExtBuilderInUse = true;
    appliance->ExtBuilder = script;
    appliance->BuildTargets().Add(nullptr, "", "main.asm");
    EXPECT_TRUE(Build(*appliance, prompter, diagnoser));
    const std::string folder = work.Native().string();
    const std::string tools = platform::ToNativePath(appliance->ToolsPath());
    EXPECT_EQ(pane.Text(), "[-D]\r\n[" + folder +
                               "//]\r\n[-N]\r\n[demo]\r\n[-O]\r\n[demo.rom]\r\n"
                               "[-T]\r\n[" +
                               tools +
                               "/]\r\n[-MB]\r\n[KTR311]\r\n[-MP]\r\n[0]\r\n"
                               "[-MS]\r\n[-M2]\r\n[main.asm]\r\n\r\n\r\nBuild completed.\r\n");
    EXPECT_FALSE(platform::FileExists(work.Sub("Makefile")));
}

TEST_F(BuildDriverTest, ExternalBuilderThatCannotStartTracesUnderItsOwnCheckpoint) {
    appliance->ExtBuilderInUse = true;
    appliance->ExtBuilder = "%AppPath%\\missing-builder";
    appliance->BuildTargets().Add(nullptr, "", "main.asm");
    EXPECT_FALSE(Build(*appliance, prompter, diagnoser));
    EXPECT_EQ(pane.lines[0].rfind("Fatal error: execution of '\"" +
                                      programFolder.Native().string() + "/missing-builder\" -D",
                                  0),
              0u)
        << pane.lines[0];
    EXPECT_NE(Log().find("M1 S2001 Build error #00000002\n"), std::string::npos) << Log();
}

// ---- Clean-up -----------------------------------------------------------------------------

TEST_F(BuildDriverTest, CleanAsksFirstAndNoKeepsEveryFile) {
    work.WriteFile("a.obj", "x");
    prompter.Answer(AnswerNo);
    EXPECT_FALSE(BuildClean(*appliance, true, prompter));
    ASSERT_EQ(prompter.Boxes().size(), 1u);
    const auto& box = prompter.Boxes()[0];
    EXPECT_EQ(box.title, "Cleaning Up Existing Build");
    EXPECT_EQ(box.text, "We are about to delete files in '" + work.Native().string() +
                            "/' ending in .obj, .bin, .sym, .cfg and .rom. \r\n\r\nAre you sure?");
    EXPECT_EQ(box.buttons, Buttons::YesNo);
    EXPECT_EQ(box.icon, Icon::Exclamation);
    EXPECT_TRUE(platform::FileExists(work.Sub("a.obj")));
}

TEST_F(BuildDriverTest, CleanDeletesTheFiveKindsAndKeepsSourcesAndReadOnlyFiles) {
    for (const char* name :
         {"a.obj", "b.bin", "demo.sym", "ld.cfg", "demo.rom", "main.asm", "demo.apl", "locked.obj"})
        work.WriteFile(name, "x");
    std::filesystem::permissions(work.Native() / "locked.obj", std::filesystem::perms::owner_read);
    prompter.Answer(AnswerYes);
    EXPECT_FALSE(BuildClean(*appliance, true, prompter));
    EXPECT_EQ(platform::ListFolder(work.Path()),
              (std::vector<std::string>{"demo.apl", "locked.obj", "main.asm"}));
    // Without the question nothing is asked.
    EXPECT_FALSE(BuildClean(*appliance, false, prompter));
    EXPECT_EQ(prompter.Boxes().size(), 1u);
}

TEST_F(BuildDriverTest, CleanUpCommandPostsItsNoteWhateverTheAnswer) {
    work.WriteFile("a.obj", "x");
    prompter.Answer(AnswerNo);
    CleanUpCommand(*appliance, prompter, pane);
    EXPECT_EQ(pane.lines, (std::vector<std::string>{"Cleaned up intermediate files."}));
    EXPECT_TRUE(platform::FileExists(work.Sub("a.obj")));
}

// ---- The build command --------------------------------------------------------------------

TEST_F(BuildDriverTest, BuildCommandWithoutStepsWarnsAndLeavesThePaneAlone) {
    RecordingSourceHost sources;
    RecordingApplianceWindow window;
    BuildHosts hosts{prompter, pane, sources, window, diagnoser};
    pane.PostMessage("kept");
    DoBuild(*appliance, true, true, true, hosts);
    ASSERT_EQ(prompter.Boxes().size(), 1u);
    EXPECT_EQ(prompter.Boxes()[0].title, "Warning");
    EXPECT_EQ(prompter.Boxes()[0].text, "Nothing to build or no rules to build.");
    EXPECT_EQ(prompter.Boxes()[0].icon, Icon::Exclamation);
    EXPECT_EQ(pane.clears, 0);
    EXPECT_EQ(pane.lines, (std::vector<std::string>{"kept"}));
    EXPECT_TRUE(sources.calls.empty());
    EXPECT_TRUE(window.calls.empty());
}

TEST_F(BuildDriverTest, BuildCommandSavesSetsTheClockBuildsAndUpdatesTheTree) {
    AddExampleSteps();
    appliance->RunTarget()->Make = Helper() + " --out=done";
    appliance->OPClock = "32.768 kHz";
    appliance->ClockParam = "stale";
    RecordingSourceHost sources;
    RecordingApplianceWindow window;
    BuildHosts hosts{prompter, pane, sources, window, diagnoser};
    pane.PostMessage("old");
    DoBuild(*appliance, true, false, false, hosts);
    EXPECT_EQ(pane.clears, 1);
    EXPECT_EQ(pane.Text(), "Saving all open files.\r\n\r\n"
                           "Building files that are out-of-date.\r\n\r\n"
                           "done\r\n\r\n\r\nBuild completed.\r\n");
    EXPECT_EQ(sources.calls, (std::vector<bool>{false}));
    EXPECT_EQ(window.calls, (std::vector<bool>{true}));
    EXPECT_EQ(appliance->ClockParam, "0");
    EXPECT_TRUE(prompter.Boxes().empty());
}

TEST_F(BuildDriverTest, RebuildAsksBeforeDeletingAndNoOnlySkipsTheDeletion) {
    AddExampleSteps();
    appliance->RunTarget()->Make = Helper() + " --out=done";
    work.WriteFile("a.obj", "x");
    prompter.Answer(AnswerNo);
    RecordingSourceHost sources;
    RecordingApplianceWindow window;
    BuildHosts hosts{prompter, pane, sources, window, diagnoser};
    DoBuild(*appliance, false, true, true, hosts);
    EXPECT_EQ(pane.clears, 0);
    EXPECT_EQ(pane.Text(), "Saving all open files.\r\n\r\n"
                           "Deleting intermediate files.\r\n\r\n"
                           "Building files that are out-of-date.\r\n\r\n"
                           "done\r\n\r\n\r\nBuild completed.\r\n");
    EXPECT_EQ(sources.calls, (std::vector<bool>{true}));
    EXPECT_EQ(prompter.Boxes().size(), 1u);
    EXPECT_TRUE(platform::FileExists(work.Sub("a.obj")));
}

TEST_F(BuildDriverTest, BuildCommandWithAClockTheBodyLacksRaisesAnError) {
    AddExampleSteps();
    appliance->OPClock = "99 MHz";
    RecordingSourceHost sources;
    RecordingApplianceWindow window;
    BuildHosts hosts{prompter, pane, sources, window, diagnoser};
    EXPECT_THROW(DoBuild(*appliance, true, false, false, hosts), BxError);
    EXPECT_TRUE(window.calls.empty());
}

} // namespace
} // namespace bx
