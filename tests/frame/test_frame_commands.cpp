// The frame's flows without a window: command states through a whole session, start-up, the
// appliance commands with their boxes and the order in which the children are reached.
#include "appliance/Appliance.h"
#include "foundation/Diagnoser.h"
#include "frame/FrameCommands.h"
#include "frame/ProductInfo.h"
#include "platform/ProgramFolder.h"
#include "settings/GlobalSettings.h"
#include "support/TempFolder.h"
#include "support/TestDoubles.h"
#include "support/TraceLog.h"

#include <functional>
#include <gtest/gtest.h>
#include <map>
#include <sstream>

namespace bx::test {
namespace {

// Records every call as one line ("Give frmSource", "PowerOn 1") and answers from its fields.
class FakeFrameWindows : public FrameWindows {
public:
    bool SaveAll(bool force) override { return Log("SaveAll", force), true; }
    void Update(bool) override { Log("Update"); }
    bool ApplianceWindowQueryUnload() override { return Log("QueryUnload"), applianceAnswer; }
    bool SourceWindowUnloadSave() override { return Log("UnloadSave"), sourceAnswer; }
    bool SourceWindowSaveAll(bool prompt) override {
        return Log("SaveAllPrompt", prompt), sourceAnswer;
    }
    void UnloadChild(const std::string& name) override { Log("Unload " + name); }
    void GiveAppliance(const std::string& name, Appliance&) override { Log("Give " + name); }
    void GiveSettings(GlobalSettings&) override { Log("GiveSettings"); }
    void OpenSource(const std::string& path) override { Log("OpenSource " + path); }
    void SourceWindowStartup(bool withRom) override { Log("SourceStartup", withRom); }
    bool SourceWindowPowerOn(bool on) override { return Log("PowerOn", on), powerAnswer; }
    void InspectorsEnable(bool enable) override { Log("Inspectors", enable); }
    bool ApplyDesktop(const std::string& name) override {
        return Log("Desktop " + name), desktopAnswer;
    }
    void FillExtenderToolbar() override { Log("FillExtender"); }
    void SetCaption(const std::string& text) override { Log("Caption"), caption = text; }
    void ShowSplash() override { Log("Splash"); }
    std::string ChooseFileToOpen(const std::string&, const std::string&) override { return ""; }
    WizardOutcome RunApplianceWizard(GlobalSettings&, const std::string&,
                                     const std::string& romPath) override {
        return Log("Wizard " + romPath), std::move(wizard);
    }

    // The calls of one kind ("Give", "Unload"), in order, without their kind.
    std::vector<std::string> CallsOf(const std::string& kind) const {
        std::vector<std::string> found;
        for (const std::string& call : calls)
            if (call.rfind(kind + " ", 0) == 0)
                found.push_back(call.substr(kind.size() + 1));
        return found;
    }
    bool Called(const std::string& call) const {
        return std::find(calls.begin(), calls.end(), call) != calls.end();
    }

    std::vector<std::string> calls;
    std::string caption;
    bool applianceAnswer = true, sourceAnswer = true, powerAnswer = true, desktopAnswer = true;
    WizardOutcome wizard;

private:
    void Log(const std::string& call) { calls.push_back(call); }
    void Log(const std::string& kind, bool flag) { Log(kind + (flag ? " 1" : " 0")); }
};

class FrameRig : public ::testing::Test {
protected:
    FrameRig()
        : programFolder(program.Path()), diagnoser(program.Sub("vkbx.log")), settings(prompter),
          frame(settings, windows, prompter, status, messages, diagnoser, nullptr) {
        MakeProgramFolder(program);
    }

    // Writes <folder>\<name>\<name>.apl from the KTR311 template; returns its path.
    std::string WriteAppliance(const std::string& name) {
        std::string text = *platform::ReadFile(ShippedFile(kTemplate));
        text.replace(text.find("KTR311"), 6, name); // the title
        return work.WriteFile(name + "\\" + name + ".apl", text);
    }
    static constexpr const char* kTemplate = "Templates/Sarnova/KTR311/KTR311.tpl";

    // The frame as after a start-up with the shipped settings.
    void Started() {
        ASSERT_TRUE(frame.Start());
        windows.calls.clear();
    }

    TempFolder program;
    TempFolder work;
    platform::ScopedProgramFolder programFolder;
    Diagnoser diagnoser;
    ScriptedPrompter prompter;
    RecordingStatusDisplay status;
    RecordingMessageSink messages;
    GlobalSettings settings;
    FakeFrameWindows windows;
    FrameCommands frame;
};

// One session through every state: 0 start, 1 open, 2 powered on, 3 running, 4 stopped,
// 5 powered off, 6 closed. Each row: whether its items are on in each of the states, and the
// items: a menu item or "btn:Key" enabled, a menu "shown:", a button "pressed:", a menu item
// "off:" captioned "&Power Off".
constexpr std::pair<const char*, const char*> kOnInStates[] = {
    {"1111111", "mnuAppl mnuApplNew mnuApplLoad mnuApplNewRom mnuExit mnuSource mnuSegAdd"
                " mnuSetExtEd mnuEdit mnuBuild mnuSetExtBuild mnuDebug mnuSetExtIce mnuHelp"
                " mnuHelpProductWeb mnuAboutBX btn:NewAppl btn:OpenAppl btn:StepAuto btn:StepN"},
    {"0000000", "mnuArchUse mnuPeriConf mnuProtoConf mnuRecentFileList mnuObjConfig mnuSegRem"
                " mnuSegConf mnuEditUndo mnuEditRedo mnuEditCut mnuEditCopy mnuEditPaste"
                " mnuDbgStepOver btn:StepOver"},
    {"0111110", "mnuApplSave mnuApplClose btn:SaveAppl"},
    {"0000011", "mnuSrcSave mnuSrcSaveAs mnuSrcClose mnuSrcAllClose mnuEditReplace"
                " mnuOptionPrompt btn:RemSrc btn:SaveSrc"},
    {"0011100", "mnuDbgRun mnuDbgStepIn mnuDbgReset mnuBkptToggle mnuBkptMemory mnuBkptClearAll"
                " mnuBkptEdit btn:Reset btn:Run btn:StepIn btn:BreakToggle btn:BreakClear"
                " pressed:Power off:mnuDbgPower"},
    {"0100010", "mnuBuildUpdated mnuBuildRebuild btn:Build btn:Rebuild"},
    {"1100110", "mnuSrcAdd btn:AddSrc"},
    {"0011110", "mnuEditFind mnuEditFindNext"},
    {"0001000", "mnuDbgBreak btn:Break"},
    {"1100111", "mnuSrcNew"},
    {"0100111", "mnuSrcRemove"},
    {"1100011", "mnuBuildCleanup"},
    {"1110111", "mnuDbgPower"},
    {"1110110", "btn:Power"},
    {"1111110", "shown:mnuSource shown:mnuBuild shown:mnuDebug"},
};

std::map<std::string, bool> Snapshot(const CommandState& commands) {
    std::map<std::string, bool> shot;
    for (const auto& [pattern, items] : kOnInStates) {
        std::istringstream words(items);
        for (std::string id; words >> id;) {
            const std::string rest = id.substr(id.find(':') + 1);
            shot[id] = id.rfind("off:", 0) == 0       ? commands.Menu(rest).Caption == "&Power Off"
                       : id.rfind("pressed:", 0) == 0 ? commands.Button(rest).Checked
                       : id.rfind("shown:", 0) == 0   ? commands.Menu(rest).Visible
                       : id.rfind("btn:", 0) == 0     ? commands.Button(rest).Enabled
                                                      : commands.Menu(id).Enabled;
        }
    }
    return shot;
}

using FrameCommandsTest = FrameRig;

TEST_F(FrameCommandsTest, CommandStatesFollowASessionFromStartToClose) {
    const std::string path = WriteAppliance("demo");
    const std::function<void()> session[] = {[&] { Started(); },
                                             [&] { frame.Open(path); },
                                             [&] { frame.TogglePower(); },
                                             [&] { frame.EnterRunning(); },
                                             [&] { frame.EnterHalted(); },
                                             [&] { frame.TogglePower(); },
                                             [&] { ASSERT_TRUE(frame.Close()); }};
    std::vector<std::map<std::string, bool>> shots;
    for (const auto& step : session) {
        step();
        shots.push_back(Snapshot(frame.Commands()));
    }

    for (const auto& [pattern, items] : kOnInStates) {
        std::istringstream words(items);
        for (std::string id; words >> id;)
            for (std::size_t state = 0; state < shots.size(); ++state)
                EXPECT_EQ(shots[state][id], pattern[state] == '1') << id << " in state " << state;
    }
    EXPECT_EQ(windows.CallsOf("Inspectors"),
              (std::vector<std::string>{"0", "0", "1", "0", "0"})); // open, power on/off, close
    EXPECT_EQ(prompter.Boxes().size(), 0u);
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

    // A desktop switch adds "Ext" while the external flag is set, and keeps the old name when
    // the windows can't be placed.
    frame.ExternalFlag = true;
    EXPECT_TRUE(frame.SwitchDesktop("Debug"));
    EXPECT_EQ(frame.CurrentDesktop(), "DebugExt");
    windows.desktopAnswer = false;
    EXPECT_FALSE(frame.SwitchDesktop("Source"));
    EXPECT_EQ(frame.CurrentDesktop(), "DebugExt");
}

TEST_F(FrameCommandsTest, OpenReachesEveryChildInOrderAndFailuresAndRefusalsSaySo) {
    const struct {
        const char* name;
        std::string file; // content of the file opened; empty: no file
        const char* text;
    } failures[] = {
        {"missing file", "", "Cannot open appliance model."},
        {"older version", R"(<Appliance Title="old" Version="v 00.01.007"/>)",
         "The '' family was selected and is not supported."},
        {"unknown clock",
         R"(<Appliance Title="x" Version="v 00.01.009"><Architecture Model="KTR311" )"
         R"(Family="KTR" OPClock="3 MHz"/></Appliance>)",
         "The '3 MHz' clock was selected and is not supported."},
    };
    Started();
    for (const auto& failure : failures) {
        if (!failure.file.empty())
            work.WriteFile(std::string(failure.name) + ".apl", failure.file);
        frame.Open(work.Sub(std::string(failure.name) + ".apl"));
        ASSERT_FALSE(prompter.Boxes().empty()) << failure.name;
        EXPECT_EQ(prompter.Boxes().back().title, "Open Appliance") << failure.name;
        EXPECT_EQ(prompter.Boxes().back().text, failure.text) << failure.name;
        EXPECT_EQ(prompter.Boxes().back().icon, Icon::Exclamation) << failure.name;
        EXPECT_FALSE(frame.Commands().Menu("mnuApplSave").Enabled) << failure.name;
    }
    EXPECT_EQ(prompter.Boxes().size(), 3u);
    EXPECT_TRUE(settings.RecentAppliances.empty());

    const std::string path = WriteAppliance("demo");
    prompter = ScriptedPrompter();
    windows.calls.clear();
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
              (std::vector<int32_t>{1, 100, 100, 100, // start-up, the three failed opens
                                    100, 200, 210, 220, 230, 240, 250, 300, 400, 500}));
    EXPECT_EQ(frame.CurrentAppliance().ClockParam, "4");
    EXPECT_EQ(frame.CurrentAppliance().IceEmuNumber, 13);
    EXPECT_EQ(settings.RecentAppliances, std::vector<std::string>{path});
    EXPECT_EQ(frame.Commands().Menu("mnuRecent(0)").Caption, path);

    windows.sourceAnswer = false;
    frame.SaveCommand();
    ASSERT_EQ(prompter.Boxes().size(), 1u);
    EXPECT_EQ(prompter.Boxes()[0].title, "Save Appliance");
    EXPECT_EQ(prompter.Boxes()[0].text, "Save appliance was cancelled.");

    // A failed power-on changes nothing, and a pending build runs at its end (one made from a
    // bare template has no steps to build).
    windows.sourceAnswer = true;
    windows.powerAnswer = false;
    frame.PostBuildRequest();
    frame.TogglePower();
    EXPECT_FALSE(frame.Powered());
    EXPECT_EQ(frame.CurrentDesktop(), "Source");
    EXPECT_EQ(frame.Commands().Menu("mnuDbgPower").Caption, "&Power On");
    EXPECT_FALSE(frame.Commands().Menu("mnuDbgRun").Enabled);
    EXPECT_FALSE(frame.BuildPending());
    ASSERT_EQ(prompter.Boxes().size(), 2u);
    EXPECT_EQ(prompter.Boxes()[1].text, "Nothing to build or no rules to build.");

    // A close refused by either window keeps everything; so does an Open, which closes first.
    for (bool sourceRefuses : {false, true}) {
        windows.applianceAnswer = sourceRefuses;
        windows.sourceAnswer = !sourceRefuses;
        windows.calls.clear();
        EXPECT_FALSE(frame.Close());
        EXPECT_TRUE(windows.CallsOf("Unload").empty());
        EXPECT_TRUE(frame.ApplianceOpen());
        EXPECT_TRUE(frame.Commands().Menu("mnuApplClose").Enabled);
    }
    frame.Open(WriteAppliance("other"));
    EXPECT_EQ(frame.CurrentAppliance().Title, "demo");
    EXPECT_FALSE(frame.QueryExit());
}

TEST_F(FrameCommandsTest, NewSavesTheWizardsApplianceAndTheRecentListKeepsFive) {
    Started();
    auto made = std::make_unique<Appliance>();
    made->Settings = &settings;
    ASSERT_TRUE(made->Load(ShippedFile(kTemplate)));
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

    // The recent list keeps five (the new one drops out) and brings a reopened fifth to the
    // front; one listed and not last costs the list its last entry only.
    std::vector<std::string> paths;
    for (const char* name : {"a", "b", "c", "d", "e"})
        frame.Open(paths.emplace_back(WriteAppliance(name)));
    ASSERT_EQ(settings.RecentAppliances,
              (std::vector<std::string>{paths[4], paths[3], paths[2], paths[1], paths[0]}));
    frame.OpenRecent(4);
    EXPECT_EQ(settings.RecentAppliances,
              (std::vector<std::string>{paths[0], paths[4], paths[3], paths[2], paths[1]}));
    for (int i = 0; i < CommandState::kRecentEntries; ++i)
        EXPECT_EQ(frame.Commands().Menu(CommandState::RecentItemName(i)).Caption,
                  settings.RecentAppliances[static_cast<std::size_t>(i)]);
    frame.OpenRecent(2);
    EXPECT_EQ(settings.RecentAppliances,
              (std::vector<std::string>{paths[0], paths[4], paths[3], paths[2]}));
}

} // namespace
} // namespace bx::test
