#pragma once
// The frame's logic on a bench: a program folder with the shipped BX.gss and a template folder
// per body, the frame's windows as a recorder, and an appliance file made from a shipped
// template.

#include "appliance/Appliance.h"
#include "foundation/Diagnoser.h"
#include "frame/FrameCommands.h"
#include "platform/FileSystem.h"
#include "platform/Paths.h"
#include "platform/ProgramFolder.h"
#include "settings/GlobalSettings.h"
#include "support/TempFolder.h"
#include "support/TestDoubles.h"

#include <gtest/gtest.h>
#include <memory>
#include <string>
#include <vector>

namespace bx::test {

// Records every call as one line ("Give frmSource", "Desktop Debug") and answers from its
// fields.
class FakeFrameWindows : public FrameWindows {
public:
    bool SaveAll(bool force) override { return Record("SaveAll " + Flag(force)), true; }
    void Update(bool) override { Record("Update"); }
    bool ApplianceWindowQueryUnload() override {
        return Record("QueryUnload frmAppliance"), applianceAnswer;
    }
    bool SourceWindowUnloadSave() override { return Record("UnloadSave frmSource"), sourceAnswer; }
    bool SourceWindowSaveAll(bool prompt) override {
        return Record("SaveAllPrompt " + Flag(prompt)), sourceAnswer;
    }
    void UnloadChild(const std::string& name) override { Record("Unload " + name); }
    void GiveAppliance(const std::string& name, Appliance&) override { Record("Give " + name); }
    void GiveSettings(GlobalSettings&) override { Record("GiveSettings"); }
    void OpenSource(const std::string& path) override { Record("OpenSource " + path); }
    void SourceWindowStartup(bool withRom) override { Record("SourceStartup " + Flag(withRom)); }
    bool SourceWindowPowerOn(bool on) override {
        return Record("PowerOn " + Flag(on)), powerAnswer;
    }
    void InspectorsEnable(bool enable) override { Record("Inspectors " + Flag(enable)); }
    bool ApplyDesktop(const std::string& name) override {
        return Record("Desktop " + name), desktopAnswer;
    }
    void FillExtenderToolbar() override { Record("FillExtender"); }
    void SetCaption(const std::string& caption) override {
        this->caption = caption;
        Record("Caption");
    }
    void ShowSplash() override { Record("Splash"); }
    std::string ChooseFileToOpen(const std::string& title, const std::string&) override {
        Record("Choose " + title);
        return chosenFile;
    }
    WizardOutcome RunApplianceWizard(GlobalSettings&, const std::string&,
                                     const std::string& romPath) override {
        Record("Wizard " + romPath);
        return std::move(wizard);
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
    bool applianceAnswer = true;
    bool sourceAnswer = true;
    bool powerAnswer = true;
    bool desktopAnswer = true;
    std::string chosenFile;
    WizardOutcome wizard;

private:
    void Record(const std::string& call) { calls.push_back(call); }
    static std::string Flag(bool value) { return value ? "1" : "0"; }
};

class FrameRig : public ::testing::Test {
protected:
    FrameRig()
        : programFolder(program.Path()), diagnoser(program.Sub("vkbx.log")), settings(prompter),
          frame(settings, windows, prompter, status, messages, diagnoser, nullptr) {
        const auto shipped = platform::ReadFile(
            platform::FromNativePath(std::string(BX_SOURCE_DIR) + "/data/BX.gss"));
        program.WriteFile("BX.gss", shipped.value_or(""));
        for (const char* body : {"KTR310", "KTR311", "KTR640"})
            program.WriteFile(std::string("Templates\\Sarnova\\") + body + "\\keep.txt", "");
    }

    // Writes <folder>\<name>\<name>.apl from the KTR311 template; returns its path.
    std::string WriteAppliance(const std::string& name) {
        GlobalSettings shipped(prompter);
        EXPECT_TRUE(shipped.Load(program.Sub("BX.gss")));
        Appliance appliance;
        appliance.Settings = &shipped;
        const std::string folder = work.Sub(name) + "\\";
        platform::CreateFolder(work.Sub(name));
        EXPECT_TRUE(appliance.Load(platform::FromNativePath(
            std::string(BX_SOURCE_DIR) + "/data/Templates/Sarnova/KTR311/KTR311.tpl")));
        appliance.Title = name;
        appliance.Folder = folder;
        appliance.Save(true);
        return folder + name + ".apl";
    }

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

} // namespace bx::test
