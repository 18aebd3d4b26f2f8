#pragma once
// The main frame's logic without its window: start-up in its order, the appliance commands
// (New, Load, Open Rom Image, Save, Close, the recent list, Add Source, the build commands),
// the four command states, power toggling with the pending build, and desktop switching. The
// frame owns the one Appliance (always an object, an empty one while none is open) and uses
// the one GlobalSettings for the life of the process.
//
// Everything the flows need of the child windows and of modal dialogs goes through
// FrameWindows, so the order of the calls and every message box can be checked without a
// window. UI thread only.

#include "appliance_editor/ApplianceWizard.h"
#include "build/BuildDriver.h"
#include "foundation/HostInterfaces.h"
#include "frame/CommandState.h"

#include <cstdint>
#include <memory>
#include <string>

namespace bx {

class Appliance;
class Diagnoser;
class FrameGeometry;
class GlobalSettings;
class UnpackNotice;

// The names of the child windows, as the appliance's desktop records name them.
namespace child {
inline constexpr const char* kAppliance = "frmAppliance";
inline constexpr const char* kSource = "frmSource";
inline constexpr const char* kMessage = "frmMessage";
inline constexpr const char* kRegister = "frmRegister";
inline constexpr const char* kWatch = "frmWatch";
inline constexpr const char* kMemory = "frmMemory";
inline constexpr const char* kPrototyper = "frmPrototyper";
inline constexpr const char* kExtender = "frmExtender";
} // namespace child

// The desktops the frame switches between.
namespace desktop {
inline constexpr const char* kSource = "Source";
inline constexpr const char* kDebug = "Debug";
inline constexpr const char* kIce = "Ice";
inline constexpr const char* kExternalSuffix = "Ext";
} // namespace desktop

// The trace channel of the frame's appliance commands.
inline constexpr int32_t kFrameTraceModule = 2010;

// The product's own name, and the caption of a frame with an appliance open (Folder + " " +
// this text) or without one (FrameCaption()).
inline constexpr const char* kProductCaption = "Sarnova Tessarine(TM) Real-Time Simulation Studio";

// The message of the start-up's stop when BX.gss is missing (its doubled word as it stands).
inline constexpr const char* kSettingsMissingText =
    "The global template file file is not found at the Tessarine's main directory. The program "
    "will stop.";

// What a run of the new-appliance wizard gave.
struct WizardOutcome {
    std::unique_ptr<Appliance> Made; // null when cancelled
    bool Cancelled = true;
    std::string FirstSource; // the main source the wizard chose, relative to the new folder
};

// The child windows and dialogs of the frame, as its flows reach them.
class FrameWindows : public SourceHost, public ApplianceWindow {
public:
    // ---- Children ---------------------------------------------------------------------------

    // frmAppliance finishes its edits and offers to save the appliance; false: cancelled.
    virtual bool ApplianceWindowQueryUnload() = 0;
    // frmSource saves its documents, asking for each unsaved one; false: cancelled.
    virtual bool SourceWindowUnloadSave() = 0;
    // SourceHost::SaveAll(force) saves every document without a question (the builds);
    // this one saves the modified ones, asking first when prompt is set. False: cancelled.
    virtual bool SourceWindowSaveAll(bool prompt) = 0;
    // The window forgets its appliance and its contents and goes.
    virtual void UnloadChild(const std::string& name) = 0;
    // The window (loaded if need be) takes the appliance.
    virtual void GiveAppliance(const std::string& name, Appliance& appliance) = 0;
    // wizAppliance, wizConfig and frmAppliance take the settings at start-up.
    virtual void GiveSettings(GlobalSettings& settings) = 0;
    // frmSource opens a document (path relative to the appliance's folder or whole).
    virtual void OpenSource(const std::string& path) = 0;
    // frmSource's closing call after a New or an Open: it prepares its editor for the body
    // (keyword hints). withRom: a New around a ROM image, with no source to open.
    virtual void SourceWindowStartup(bool withRom) = 0;
    // frmSource switches the debugger on or off; whether the switch worked.
    virtual bool SourceWindowPowerOn(bool on) = 0;
    // The memory, watch and register windows follow the debug menus.
    virtual void InspectorsEnable(bool enable) = 0;
    // Places the windows by the appliance's layout of that desktop; false when it can't.
    virtual bool ApplyDesktop(const std::string& name) = 0;
    // frmExtender fills the extender toolbar.
    virtual void FillExtenderToolbar() = 0;
    virtual void SetCaption(const std::string& caption) = 0;
    // The crash handler and the program log "bx.log"; false when they couldn't be set up.
    virtual bool StartDiagnostics() { return true; }

    // ---- Dialogs ----------------------------------------------------------------------------

    // The modal splash; returns when it closed.
    virtual void ShowSplash() = 0;
    // A file chosen in the open dialog, in the system's path form; "" when cancelled. filter
    // is "Text|pattern|Text|pattern".
    virtual std::string ChooseFileToOpen(const std::string& title, const std::string& filter) = 0;
    // wizAppliance, run modally.
    virtual WizardOutcome RunApplianceWizard(GlobalSettings& settings,
                                             const std::string& templateRoot,
                                             const std::string& romPath) = 0;
    // The window shown while an archive unpacks; null for none.
    virtual UnpackNotice* UnpackWindow() { return nullptr; }
};

class FrameCommands {
public:
    // The objects handed in must outlive the frame. geometry (may be null) is what every
    // appliance's writer records the window layout from.
    FrameCommands(GlobalSettings& settings, FrameWindows& windows, Prompter& prompter,
                  StatusDisplay& status, MessageSink& messages, const Diagnoser& diagnoser,
                  const FrameGeometry* geometry);
    ~FrameCommands();
    FrameCommands(const FrameCommands&) = delete;
    FrameCommands& operator=(const FrameCommands&) = delete;

    // ---- Start-up and exit --------------------------------------------------------------------

    // The frame's load in its order, after the splash: the system trace line, the settings,
    // the templates and plug-ins, the recent menu, the extender toolbar, the desktop
    // "Source", the caption. False when the program is to end (BX.gss missing or unreadable,
    // unusable templates), after the box the case calls for.
    bool Start();
    // Asked when the frame is to close: the appliance and source windows save; false keeps
    // everything as it was.
    bool QueryExit();

    // ---- Appliance commands ------------------------------------------------------------------

    bool Close();
    void Open(const std::string& path);
    void New(const std::string& romPath);
    void LoadCommand();
    void OpenRomCommand();
    void SaveCommand();
    // The recent entry i (0 to 4) of the menu.
    void OpenRecent(int index);
    void AddSourceCommand();
    // Build Updated Files (false, false), Rebuild All (true, true); the messages are cleared
    // first in both.
    void BuildCommand(bool clean, bool forceSave);
    void CleanupCommand();

    // ---- Power and desktops --------------------------------------------------------------

    // Power on or off, as the power flag says; a failed switch leaves everything as it was.
    // A build asked for meanwhile runs at the end.
    void TogglePower();
    // A build request of power-on: remembered, carried out at the end of the power switch.
    void PostBuildRequest() { pendingBuild_ = true; }
    // Switches to a desktop ("Source", "Debug", "Ice"; "Ext" behind while the external flag is
    // set); false, with the previous name kept, when its layout can't be applied.
    bool SwitchDesktop(const std::string& name);
    // The target stopped, or started running (the states after Run and after a stop).
    void EnterRunning();
    void EnterHalted();

    // ---- State ------------------------------------------------------------------------------

    Appliance& CurrentAppliance() { return *appliance_; }
    bool ApplianceOpen() const { return applianceOpen_; }
    bool Powered() const { return powered_; }
    bool BuildPending() const { return pendingBuild_; }
    const std::string& CurrentDesktop() const { return desktop_; }
    bool ExternalFlag = false;
    // How the host watches a build while the tool runs and stops it (the studio's Stop).
    BuildControl BuildWatch;
    CommandState& Commands() { return commands_; }
    GlobalSettings& Settings() { return settings_; }
    // "Sarnova ... Studio (Build #n)" with none open, else Folder + " " + the product text.
    std::string Caption() const;

private:
    void ReplaceAppliance(std::unique_ptr<Appliance> appliance);
    void Trace(int32_t point, const std::string& text = {}) const;
    std::string OpenErrorText() const;
    void GiveApplianceToChildren(bool traced);
    void UpdateRecentList();
    void ApplyRateAndBodyOfSettings();
    int Exclaim(const std::string& title, const std::string& text);

    GlobalSettings& settings_;
    FrameWindows& windows_;
    Prompter& prompter_;
    StatusDisplay& status_;
    MessageSink& messages_;
    const Diagnoser& diagnoser_;
    const FrameGeometry* geometry_;

    CommandState commands_;
    std::unique_ptr<Appliance> appliance_;
    std::size_t stateChangeConnection_ = 0;
    bool applianceOpen_ = false;
    bool powered_ = false;
    bool pendingBuild_ = false;
    std::string desktop_;
};

// The operating system line the start-up traces first.
std::string OperatingSystemTraceText();

} // namespace bx
