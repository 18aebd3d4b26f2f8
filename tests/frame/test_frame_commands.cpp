// The frame's flows without a window: command states through a whole session, start-up stops,
// the appliance commands with their boxes and the order in which the children are reached.
#include "frame/FrameRig.h"
#include "frame/ProductInfo.h"
#include "support/TraceLog.h"

#include <map>

namespace bx::test {
namespace {

// One session through every state: 0 start, 1 open, 2 powered on, 3 running, 4 stopped,
// 5 powered off, 6 closed. Each row: an item (a button as "btn:Key") and whether it is
// enabled in each of the states.
struct StateRow {
    const char* Item;
    const char* Enabled;
};

constexpr StateRow kEnabledInStates[] = {
    {"mnuAppl", "1111111"},           {"mnuApplNew", "1111111"},
    {"mnuApplLoad", "1111111"},       {"mnuApplNewRom", "1111111"},
    {"mnuApplSave", "0111110"},       {"mnuApplClose", "0111110"},
    {"mnuArchUse", "0000000"},        {"mnuPeriConf", "0000000"},
    {"mnuProtoConf", "0000000"},      {"mnuRecentFileList", "0000000"},
    {"mnuExit", "1111111"},           {"mnuSource", "1111111"},
    {"mnuSrcNew", "1100111"},         {"mnuSrcSave", "0000011"},
    {"mnuSrcSaveAs", "0000011"},      {"mnuSrcClose", "0000011"},
    {"mnuSrcAllClose", "0000011"},    {"mnuSrcAdd", "1100110"},
    {"mnuSrcRemove", "0100111"},      {"mnuObjConfig", "0000000"},
    {"mnuSegAdd", "1111111"},         {"mnuSegRem", "0000000"},
    {"mnuSegConf", "0000000"},        {"mnuSetExtEd", "1111111"},
    {"mnuEdit", "1111111"},           {"mnuEditUndo", "0000000"},
    {"mnuEditRedo", "0000000"},       {"mnuEditCut", "0000000"},
    {"mnuEditCopy", "0000000"},       {"mnuEditPaste", "0000000"},
    {"mnuEditFind", "0011110"},       {"mnuEditFindNext", "0011110"},
    {"mnuEditReplace", "0000011"},    {"mnuOptionPrompt", "0000011"},
    {"mnuBuild", "1111111"},          {"mnuBuildUpdated", "0100010"},
    {"mnuBuildRebuild", "0100010"},   {"mnuBuildCleanup", "1100011"},
    {"mnuSetExtBuild", "1111111"},    {"mnuDebug", "1111111"},
    {"mnuDbgPower", "1110111"},       {"mnuDbgRun", "0011100"},
    {"mnuDbgStepIn", "0011100"},      {"mnuDbgStepOver", "0000000"},
    {"mnuDbgReset", "0011100"},       {"mnuDbgBreak", "0001000"},
    {"mnuBkptToggle", "0011100"},     {"mnuBkptMemory", "0011100"},
    {"mnuBkptClearAll", "0011100"},   {"mnuBkptEdit", "0011100"},
    {"mnuSetExtIce", "1111111"},      {"mnuHelp", "1111111"},
    {"mnuHelpProductWeb", "1111111"}, {"mnuAboutBX", "1111111"},
    {"btn:NewAppl", "1111111"},       {"btn:OpenAppl", "1111111"},
    {"btn:SaveAppl", "0111110"},      {"btn:AddSrc", "1100110"},
    {"btn:RemSrc", "0000011"},        {"btn:SaveSrc", "0000011"},
    {"btn:Build", "0100010"},         {"btn:Rebuild", "0100010"},
    {"btn:Power", "1110110"},         {"btn:Reset", "0011100"},
    {"btn:Run", "0011100"},           {"btn:Break", "0001000"},
    {"btn:StepIn", "0011100"},        {"btn:StepOver", "0000000"},
    {"btn:StepAuto", "1111111"},      {"btn:StepN", "1111111"},
    {"btn:BreakToggle", "0011100"},   {"btn:BreakClear", "0011100"},
};

struct Snapshot {
    std::map<std::string, bool> enabled;
    bool menusVisible;
    bool powerPressed;
    std::string powerCaption;
};

Snapshot Take(const CommandState& commands) {
    Snapshot shot;
    for (const StateRow& row : kEnabledInStates) {
        const std::string id = row.Item;
        shot.enabled[id] = id.rfind("btn:", 0) == 0 ? commands.Button(id.substr(4)).Enabled
                                                    : commands.Menu(id).Enabled;
    }
    shot.menusVisible = commands.Menu("mnuSource").Visible && commands.Menu("mnuBuild").Visible &&
                        commands.Menu("mnuDebug").Visible;
    shot.powerPressed = commands.Button("Power").Checked;
    shot.powerCaption = commands.Menu("mnuDbgPower").Caption;
    return shot;
}

using FrameCommandsTest = FrameRig;

TEST_F(FrameCommandsTest, CommandStatesFollowASessionFromStartToClose) {
    const std::string path = WriteAppliance("demo");
    std::vector<Snapshot> shots;
    Started();
    shots.push_back(Take(frame.Commands()));
    frame.Open(path);
    shots.push_back(Take(frame.Commands()));
    frame.TogglePower();
    shots.push_back(Take(frame.Commands()));
    frame.EnterRunning();
    shots.push_back(Take(frame.Commands()));
    frame.EnterHalted();
    shots.push_back(Take(frame.Commands()));
    frame.TogglePower();
    shots.push_back(Take(frame.Commands()));
    ASSERT_TRUE(frame.Close());
    shots.push_back(Take(frame.Commands()));

    for (const StateRow& row : kEnabledInStates)
        for (std::size_t state = 0; state < shots.size(); ++state)
            EXPECT_EQ(shots[state].enabled[row.Item], row.Enabled[state] == '1')
                << row.Item << " in state " << state;
    const char* pressed = "0011100";
    const char* visible = "1111110";
    for (std::size_t state = 0; state < shots.size(); ++state) {
        EXPECT_EQ(shots[state].powerPressed, pressed[state] == '1') << "state " << state;
        EXPECT_EQ(shots[state].powerCaption, pressed[state] == '1' ? "&Power Off" : "&Power On");
        EXPECT_EQ(shots[state].menusVisible, visible[state] == '1') << "state " << state;
    }
    EXPECT_EQ(windows.CallsOf("Inspectors"),
              (std::vector<std::string>{"0", "0", "1", "0", "0"})); // open, power on/off, close
    EXPECT_EQ(prompter.Boxes().size(), 0u);
}

TEST_F(FrameCommandsTest, ToolbarButtonsPerformTheirMenuItems) {
    const std::pair<const char*, const char*> dispatch[] = {
        {"NewAppl", "mnuApplNew"},
        {"OpenAppl", "mnuApplLoad"},
        {"SaveAppl", "mnuApplSave"},
        {"AddSrc", "mnuSrcAdd"},
        {"RemSrc", "mnuSrcRemove"},
        {"SaveSrc", "mnuSrcSave"},
        {"Build", "mnuBuildUpdated"},
        {"Rebuild", "mnuBuildRebuild"},
        {"Power", "mnuDbgPower"},
        {"Reset", "mnuDbgReset"},
        {"StepIn", "mnuDbgStepIn"},
        {"StepOver", "mnuDbgStepOver"},
        {"Run", "mnuDbgRun"},
        {"Break", "mnuDbgBreak"},
        {"BreakToggle", "mnuBkptToggle"},
        {"BreakClear", "mnuBkptClearAll"},
        {"StepAuto", ""},
        {"StepN", ""},
    };
    ASSERT_EQ(CommandState::ButtonTable().size(), std::size(dispatch));
    for (const auto& [key, item] : dispatch)
        EXPECT_EQ(CommandState::MenuItemOfButton(key), item) << key;
}

TEST_F(FrameCommandsTest, StartUpRunsItsStepsInOrder) {
    ASSERT_TRUE(frame.Start());
    EXPECT_EQ(windows.calls, (std::vector<std::string>{"GiveSettings", "FillExtender",
                                                       "Desktop Source", "Caption"}));
    EXPECT_EQ(windows.caption, FrameCaption());
    EXPECT_EQ(frame.CurrentDesktop(), "Source");
    const auto trace = ReadTraceLog(program.Sub("vkbx.log"));
    ASSERT_FALSE(trace.empty());
    EXPECT_EQ(trace[0].Module, kFrameTraceModule);
    EXPECT_EQ(trace[0].Text.rfind("Operating system infomation, OS Version:", 0), 0u);
}

TEST_F(FrameCommandsTest, StartUpStopsWithoutSettingsOrTemplates) {
    struct Case {
        const char* name;
        const char* remove; // what is taken from the program folder
        const char* title;  // the box shown
        const char* text;
    } cases[] = {
        {"settings missing", "BX.gss", "Error", kSettingsMissingText},
        {"templates missing", "Templates\\Sarnova\\KTR640\\keep.txt", "Checking Templates",
         "Templates unusable. Please contact Sarnova."},
    };
    for (const Case& c : cases) {
        TempFolder folder;
        platform::ScopedProgramFolder scoped(folder.Path());
        folder.WriteFile("BX.gss", program.ReadFile("BX.gss"));
        for (const char* body : {"KTR310", "KTR311", "KTR640"})
            folder.WriteFile(std::string("Templates\\Sarnova\\") + body + "\\keep.txt", "");
        platform::DeleteFile(folder.Sub(c.remove));
        if (std::string(c.remove).find("KTR640") != std::string::npos)
            platform::DeleteFolderTree(folder.Sub("Templates\\Sarnova\\KTR640"));
        ScriptedPrompter boxes;
        GlobalSettings fresh(boxes);
        FakeFrameWindows fake;
        FrameCommands startup(fresh, fake, boxes, status, messages, diagnoser, nullptr);
        EXPECT_FALSE(startup.Start()) << c.name;
        ASSERT_FALSE(boxes.Boxes().empty()) << c.name;
        EXPECT_EQ(boxes.Boxes().back().title, c.title) << c.name;
        EXPECT_EQ(boxes.Boxes().back().text, c.text) << c.name;
        EXPECT_FALSE(fake.Called("FillExtender")) << c.name;
        EXPECT_FALSE(fake.Called("Caption")) << c.name;
    }
}

TEST_F(FrameCommandsTest, OpenHandsTheApplianceToEveryChildInOrder) {
    const std::string path = WriteAppliance("demo");
    Started();
    frame.Open(path);
    EXPECT_EQ(windows.CallsOf("Unload"),
              (std::vector<std::string>{"frmAppliance", "frmSource", "frmMessage", "frmWatch",
                                        "frmPrototyper", "frmMemory", "frmRegister"}));
    EXPECT_EQ(windows.CallsOf("Give"),
              (std::vector<std::string>{"frmAppliance", "frmSource", "frmMessage", "frmRegister",
                                        "frmWatch", "frmExtender", "frmMemory"}));
    EXPECT_TRUE(windows.Called("SourceStartup 0"));
    EXPECT_EQ(windows.caption,
              platform::ToNativePath(frame.CurrentAppliance().Folder) + " " + kProductCaption);
    EXPECT_EQ(TracePoints(ReadTraceLog(program.Sub("vkbx.log")), kFrameTraceModule),
              (std::vector<int32_t>{1, 100, 200, 210, 220, 230, 240, 250, 300, 400, 500}));
    EXPECT_EQ(frame.CurrentAppliance().ClockParam, "4");
    EXPECT_EQ(frame.CurrentAppliance().IceEmuNumber, 13);
    EXPECT_EQ(settings.RecentAppliances, std::vector<std::string>{path});
    EXPECT_EQ(frame.Commands().Menu("mnuRecent(0)").Caption, path);
}

TEST_F(FrameCommandsTest, OpenFailuresShowTheirBox) {
    struct Case {
        const char* name;
        std::string file; // content of the file opened; empty: no file
        const char* text;
    } cases[] = {
        {"missing file", "", "Cannot open appliance model."},
        {"older version", R"(<Appliance Title="old" Version="v 00.01.007"/>)",
         "The '' family was selected and is not supported."},
        {"unknown clock",
         R"(<Appliance Title="x" Version="v 00.01.009"><Architecture Model="KTR311" )"
         R"(Family="KTR" OPClock="3 MHz"/></Appliance>)",
         "The '3 MHz' clock was selected and is not supported."},
    };
    Started();
    for (const Case& c : cases) {
        const std::string path = work.Sub(std::string(c.name) + ".apl");
        if (!c.file.empty())
            work.WriteFile(std::string(c.name) + ".apl", c.file);
        const std::size_t before = prompter.Boxes().size();
        frame.Open(path);
        ASSERT_EQ(prompter.Boxes().size(), before + 1) << c.name;
        EXPECT_EQ(prompter.Boxes().back().title, "Open Appliance") << c.name;
        EXPECT_EQ(prompter.Boxes().back().text, c.text) << c.name;
        EXPECT_EQ(prompter.Boxes().back().icon, Icon::Exclamation) << c.name;
        EXPECT_FALSE(frame.Commands().Menu("mnuApplSave").Enabled) << c.name;
        EXPECT_TRUE(settings.RecentAppliances.empty()) << c.name;
    }
}

TEST_F(FrameCommandsTest, RecentListKeepsFiveAndBringsAReopenedFifthToTheFront) {
    std::vector<std::string> paths;
    for (const char* name : {"a", "b", "c", "d", "e"})
        paths.push_back(WriteAppliance(name));
    Started();
    for (const std::string& path : paths)
        frame.Open(path);
    const std::vector<std::string> expected{paths[4], paths[3], paths[2], paths[1], paths[0]};
    ASSERT_EQ(settings.RecentAppliances, expected);

    frame.OpenRecent(4); // "a", the fifth
    EXPECT_EQ(settings.RecentAppliances,
              (std::vector<std::string>{paths[0], paths[4], paths[3], paths[2], paths[1]}));
    for (int i = 0; i < CommandState::kRecentEntries; ++i)
        EXPECT_EQ(frame.Commands().Menu(CommandState::RecentItemName(i)).Caption,
                  settings.RecentAppliances[static_cast<std::size_t>(i)]);

    frame.OpenRecent(2); // listed and not last: the list loses its last entry only
    EXPECT_EQ(settings.RecentAppliances,
              (std::vector<std::string>{paths[0], paths[4], paths[3], paths[2]}));
}

TEST_F(FrameCommandsTest, CloseRefusedByAWindowKeepsEverything) {
    const std::string path = WriteAppliance("demo");
    Started();
    frame.Open(path);
    for (bool sourceRefuses : {false, true}) {
        windows.applianceAnswer = sourceRefuses;
        windows.sourceAnswer = !sourceRefuses;
        windows.calls.clear();
        EXPECT_FALSE(frame.Close());
        EXPECT_TRUE(windows.CallsOf("Unload").empty());
        EXPECT_TRUE(frame.ApplianceOpen());
        EXPECT_EQ(frame.CurrentAppliance().Title, "demo");
        EXPECT_TRUE(frame.Commands().Menu("mnuApplClose").Enabled);
    }
    windows.calls.clear();
    frame.Open(WriteAppliance("other")); // Open closes first, and stops at the refusal
    EXPECT_EQ(frame.CurrentAppliance().Title, "demo");
    EXPECT_FALSE(frame.QueryExit());
}

TEST_F(FrameCommandsTest, NewSavesTheWizardsApplianceAndOpensItsMainSource) {
    Started();
    auto made = std::make_unique<Appliance>();
    made->Settings = &settings;
    ASSERT_TRUE(made->Load(platform::FromNativePath(std::string(BX_SOURCE_DIR) +
                                                    "/data/Templates/Sarnova/KTR311/KTR311.tpl")));
    made->Title = "fresh";
    made->Folder = work.Sub("fresh") + "\\";
    platform::CreateFolder(work.Sub("fresh"));
    windows.wizard = WizardOutcome{std::move(made), false, "main.asm"};
    frame.New("");
    EXPECT_TRUE(platform::FileExists(work.Sub("fresh\\fresh.apl")));
    EXPECT_EQ(messages.lines, std::vector<std::string>{"Appliance created."});
    EXPECT_TRUE(windows.Called("OpenSource main.asm"));
    EXPECT_TRUE(windows.Called("SaveAllPrompt 1"));
    EXPECT_EQ(settings.RecentAppliances, std::vector<std::string>{work.Sub("fresh\\fresh.apl")});
    EXPECT_TRUE(frame.Commands().Menu("mnuApplSave").Enabled);

    // A cancelled wizard leaves the frame without an appliance.
    windows.wizard = WizardOutcome{};
    frame.New("");
    EXPECT_FALSE(frame.ApplianceOpen());
    EXPECT_EQ(windows.caption, FrameCaption());
}

TEST_F(FrameCommandsTest, SaveCancelledBySourceWindowSaysSo) {
    const std::string path = WriteAppliance("demo");
    Started();
    frame.Open(path);
    windows.sourceAnswer = false;
    frame.SaveCommand();
    ASSERT_EQ(prompter.Boxes().size(), 1u);
    EXPECT_EQ(prompter.Boxes()[0].title, "Save Appliance");
    EXPECT_EQ(prompter.Boxes()[0].text, "Save appliance was cancelled.");
}

TEST_F(FrameCommandsTest, FailedPowerOnChangesNothingAndAPendingBuildRunsAtTheEnd) {
    const std::string path = WriteAppliance("demo");
    Started();
    frame.Open(path);
    windows.powerAnswer = false;
    windows.calls.clear();
    frame.PostBuildRequest();
    frame.TogglePower();
    EXPECT_FALSE(frame.Powered());
    EXPECT_EQ(frame.CurrentDesktop(), "Source");
    EXPECT_EQ(frame.Commands().Menu("mnuDbgPower").Caption, "&Power On");
    EXPECT_FALSE(frame.Commands().Menu("mnuDbgRun").Enabled);
    EXPECT_FALSE(frame.BuildPending());
    // The build ran: an appliance made from a bare template has no steps to build.
    ASSERT_EQ(prompter.Boxes().size(), 1u);
    EXPECT_EQ(prompter.Boxes()[0].text, "Nothing to build or no rules to build.");
}

TEST_F(FrameCommandsTest, DesktopSwitchAddsExtAndKeepsTheOldNameOnFailure) {
    Started();
    frame.ExternalFlag = true;
    EXPECT_TRUE(frame.SwitchDesktop("Debug"));
    EXPECT_EQ(frame.CurrentDesktop(), "DebugExt");
    windows.desktopAnswer = false;
    EXPECT_FALSE(frame.SwitchDesktop("Source"));
    EXPECT_EQ(frame.CurrentDesktop(), "DebugExt");
}

} // namespace
} // namespace bx::test
