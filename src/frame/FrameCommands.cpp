#include "frame/FrameCommands.h"

#include "appliance/Appliance.h"
#include "build/ApplianceBuildRules.h"
#include "foundation/Common.h"
#include "foundation/Diagnoser.h"
#include "foundation/Error.h"
#include "foundation/ProgressCodes.h"
#include "frame/ProductInfo.h"
#include "platform/FileSystem.h"
#include "platform/Paths.h"
#include "platform/ProgramFolder.h"
#include "platform/SystemInfo.h"
#include "settings/Configuration.h"
#include "settings/GlobalSettings.h"
#include "settings/Templates.h"

#include <algorithm>
#include <exception>
#include <iterator>

namespace bx {

namespace {

// Trace points of the frame's channel.
constexpr int32_t kTraceSystem = 1;
constexpr int32_t kTraceDiagnostics = 2;
constexpr int32_t kTraceOpen = 100;
constexpr int32_t kTraceChildren[] = {200, 210, 220, 230, 240, 250};
constexpr int32_t kTraceViewsOpen = 300;
constexpr int32_t kTraceMenus = 400;
constexpr int32_t kTraceDesktop = 500;

constexpr const char* kLoadFilter = "Appliance Files (*.apl)|*.apl||All Files|(*)";
constexpr const char* kRomFilter = "Rom Images (*.rom;*.bin)|*.rom;*.bin||All Files|(*)";
constexpr const char* kSourceFilter =
    "Assembly source (*.asm)|*.asm|PCM files (*.pcm)|*.pcm|4-bit ADPCM files "
    "(*.ad4;*.adp)|*.ad4;*.adp|All files|*";

} // namespace

std::string OperatingSystemTraceText() {
    const platform::SystemInfo system = platform::GetSystemInfo();
    // The words as the trace has always spelled them: readers of old logs grep for them.
    return "Operating system infomation, OS Version:" + system.Version +
           " OS Build:" + system.Build + " OS Platform:" + system.Platform;
}

FrameCommands::FrameCommands(GlobalSettings& settings, FrameWindows& windows, Prompter& prompter,
                             StatusDisplay& status, MessageSink& messages,
                             const Diagnoser& diagnoser, const FrameGeometry* geometry)
    : settings_(settings), windows_(windows), prompter_(prompter), status_(status),
      messages_(messages), diagnoser_(diagnoser), geometry_(geometry) {
    commands_.InspectorsEnabled.Connect([this](bool enable) { windows_.InspectorsEnable(enable); });
    ReplaceAppliance(std::make_unique<Appliance>());
}

FrameCommands::~FrameCommands() = default;

void FrameCommands::ReplaceAppliance(std::unique_ptr<Appliance> appliance) {
    if (appliance_)
        appliance_->StateChange.Disconnect(stateChangeConnection_);
    appliance_ = std::move(appliance);
    appliance_->Settings = &settings_;
    appliance_->Frame = geometry_;
    stateChangeConnection_ =
        appliance_->StateChange.Connect([this](int code) { status_.State(code); });
}

void FrameCommands::Trace(int32_t point, const std::string& text) const {
    diagnoser_.Trace(kFrameTraceModule, point, text);
}

int FrameCommands::Exclaim(const std::string& title, const std::string& text) {
    return prompter_.ask(title, text, Buttons::Ok, Icon::Exclamation);
}

std::string FrameCommands::Caption() const {
    if (!applianceOpen_)
        return FrameCaption();
    // The folder as the system writes it: the caption is for a person.
    return platform::ToNativePath(appliance_->Folder) + " " + kProductCaption;
}

// ---- Start-up and exit ----------------------------------------------------------------------

bool FrameCommands::Start() {
    Trace(kTraceSystem, OperatingSystemTraceText());
    if (!windows_.StartDiagnostics())
        Trace(kTraceDiagnostics, "Cannot init debug library");

    const std::string settingsPath = platform::ProgramFolder() + "\\" + GlobalSettings::kFileName;
    if (!platform::FileExists(settingsPath)) {
        Exclaim("Error", kSettingsMissingText);
        return false;
    }
    if (!settings_.Load(settingsPath))
        return false;
    windows_.GiveSettings(settings_);

    bool templatesUsable = false;
    try {
        templatesUsable =
            PrepareTemplatesAndPlugIns(settings_, prompter_, diagnoser_, windows_.UnpackWindow());
    } catch (const BxError&) {
        // Settings of a refused version hold no bodies: nothing could be built on them, so the
        // start-up ends as with templates that can't be used.
        diagnoser_.Trace(1, 1010, "Templates not found");
        prompter_.ask("Checking Templates", "Templates unusable. Please contact Sarnova.",
                      Buttons::Ok, Icon::Critical);
    }
    if (!templatesUsable)
        return false;

    commands_.EnableRecentProjectMenus(settings_.RecentAppliances);
    windows_.FillExtenderToolbar();
    SwitchDesktop(desktop::kSource);
    windows_.SetCaption(FrameCaption());
    return true;
}

bool FrameCommands::QueryExit() {
    if (!windows_.ApplianceWindowQueryUnload())
        return false;
    return windows_.SourceWindowUnloadSave();
}

// ---- Appliance commands -----------------------------------------------------------------------

bool FrameCommands::Close() {
    if (!windows_.ApplianceWindowQueryUnload())
        return false;
    if (!windows_.SourceWindowUnloadSave())
        return false;
    for (const char* name : {child::kAppliance, child::kSource, child::kMessage, child::kWatch,
                             child::kPrototyper, child::kMemory, child::kRegister})
        windows_.UnloadChild(name);
    commands_.EnableRuntimeMenus(false);
    commands_.EnableDebugMenus(false);
    commands_.EnableApplianceMenus(false, false);
    powered_ = false;
    applianceOpen_ = false;
    windows_.SetCaption(FrameCaption());
    ReplaceAppliance(std::make_unique<Appliance>());
    return true;
}

void FrameCommands::GiveApplianceToChildren(bool traced) {
    const char* order[] = {child::kAppliance, child::kSource,   child::kMessage, child::kRegister,
                           child::kWatch,     child::kExtender, child::kMemory};
    // The register and the watch windows share one trace point.
    const int32_t points[] = {
        kTraceChildren[0], kTraceChildren[1], kTraceChildren[2], kTraceChildren[3], -1,
        kTraceChildren[4], kTraceChildren[5]};
    for (std::size_t i = 0; i < std::size(order); ++i) {
        if (traced && points[i] >= 0)
            Trace(points[i]);
        windows_.GiveAppliance(order[i], *appliance_);
    }
}

void FrameCommands::ApplyRateAndBodyOfSettings() {
    Appliance& appliance = *appliance_;
    CopyExternalTools(settings_, appliance);

    SetRateparam(appliance);

    if (settings_.Bodies) {
        for (const auto& entry : *settings_.Bodies) {
            const MCUBody& body = *entry.item;
            if (body.Model != appliance.Model)
                continue;
            appliance.IceEmuNumber = body.IceEmuNo;
            appliance.TemplateDir = TemplateRoot() + body.TemplateDir;
        }
    }
}

std::string FrameCommands::OpenErrorText() const {
    if (!appliance_)
        return "Internal error.";
    const Appliance& appliance = *appliance_;
    auto family = settings_.BodiesByFamily.Item(appliance.Family);
    if (!family)
        return "The '" + appliance.Family + "' family was selected and is not supported.";
    auto body = family->Item(appliance.Model);
    if (!body)
        return "The '" + appliance.Model + "' body was selected and is not supported.";
    if (!body->Clockrates.Item(appliance.OPClock))
        return "The '" + appliance.OPClock + "' clock was selected and is not supported.";
    return "No appliance was opened.";
}

void FrameCommands::Open(const std::string& path) {
    if (!Close())
        return;
    Trace(kTraceOpen);
    try {
        if (!appliance_->Load(path)) {
            Exclaim("Open Appliance", "Cannot open appliance model.");
        } else {
            applianceOpen_ = true;
            ApplyRateAndBodyOfSettings();
            status_.State(progress::kPreparingViews);
            GiveApplianceToChildren(true);
            status_.State(progress::kOpeningViews);
            Trace(kTraceViewsOpen);
            commands_.EnableApplianceMenus(true, powered_);
            commands_.EnableDebugMenus(false);
            Trace(kTraceMenus);
            windows_.Update(true);
            SwitchDesktop(desktop::kSource);
            Trace(kTraceDesktop);
            UpdateRecentList();
            windows_.SourceWindowStartup(false);
        }
    } catch (const std::exception&) {
        // The loaded appliance stays, with the windows reached so far; the caption isn't set.
        status_.GoAway();
        Exclaim("Open Appliance", OpenErrorText());
        return;
    }
    status_.GoAway();
    windows_.SetCaption(Caption());
}

void FrameCommands::New(const std::string& romPath) {
    if (!Close())
        return;
    try {
        WizardOutcome outcome = windows_.RunApplianceWizard(settings_, TemplateRoot(), romPath);
        if (outcome.Cancelled || !outcome.Made)
            return; // the frame stays without an appliance
        ReplaceAppliance(std::move(outcome.Made));
        applianceOpen_ = true;
        GiveApplianceToChildren(false);
        commands_.EnableApplianceMenus(true, powered_);
        if (romPath.empty())
            windows_.OpenSource(outcome.FirstSource);
        else
            windows_.SourceWindowStartup(true);
        SwitchDesktop(desktop::kSource);
        windows_.Update(true);
        messages_.ClearMessages();
        messages_.PostMessage("Appliance created.");
        SaveCommand();
        UpdateRecentList();
        windows_.SetCaption(Caption());
    } catch (const BxError& error) {
        Exclaim("New Appliance", error.Description);
    }
}

void FrameCommands::LoadCommand() {
    const std::string path = windows_.ChooseFileToOpen("Open An Appliance Model", kLoadFilter);
    if (!path.empty())
        Open(path);
}

void FrameCommands::OpenRomCommand() {
    const std::string path = windows_.ChooseFileToOpen("Open An Existing Rom Image", kRomFilter);
    if (!path.empty())
        New(path);
}

void FrameCommands::SaveCommand() {
    if (!windows_.SourceWindowSaveAll(true)) {
        Exclaim("Save Appliance", "Save appliance was cancelled.");
        return;
    }
    try {
        appliance_->Save(true);
    } catch (const BxError& error) {
        Exclaim("Save Appliance", error.Description);
    }
}

void FrameCommands::OpenRecent(int index) {
    const CommandItem& item = commands_.Menu(CommandState::RecentItemName(index));
    if (!item.Visible || !item.Enabled)
        return;
    Open(item.Caption);
}

void FrameCommands::UpdateRecentList() {
    std::vector<std::string>& recent = settings_.RecentAppliances;
    const std::string path = appliance_->Folder + appliance_->Title + ".apl";
    // The last entry goes before the path is looked up: a full list re-opening its last entry
    // loses it here and gets it back at the front.
    if (recent.size() >= static_cast<std::size_t>(CommandState::kRecentEntries))
        recent.pop_back();
    if (std::find(recent.begin(), recent.end(), path) != recent.end())
        return;
    recent.insert(recent.begin(), path);
    settings_.Touch();
    commands_.EnableRecentProjectMenus(recent);
}

void FrameCommands::AddSourceCommand() {
    if (!applianceOpen_)
        return;
    const std::string path = windows_.ChooseFileToOpen("Add Source", kSourceFilter);
    if (path.empty())
        return;
    try {
        const bool added = AddSourceToAppliance(*appliance_, path, prompter_, [this](Appliance& a) {
            windows_.GiveAppliance(child::kSource, a);
        });
        if (!added)
            return;
        windows_.Update(true);
        if (GetExtension(path) == "asm")
            windows_.OpenSource(path);
    } catch (const BxError& error) {
        Exclaim("Add Source File", error.Description);
    }
}

void FrameCommands::BuildCommand(bool clean, bool forceSave) {
    if (!applianceOpen_)
        return;
    BuildHosts hosts{prompter_, messages_, windows_, windows_, diagnoser_, BuildWatch};
    try {
        DoBuild(*appliance_, true, clean, forceSave, hosts);
    } catch (const BxError& error) {
        messages_.PostMessage(error.Description);
        Exclaim("Build", error.Description);
    }
}

void FrameCommands::CleanupCommand() {
    if (!applianceOpen_)
        return;
    CleanUpCommand(*appliance_, prompter_, messages_);
}

// ---- Power and desktops ---------------------------------------------------------------------

bool FrameCommands::SwitchDesktop(const std::string& name) {
    const std::string previous = desktop_;
    desktop_ = ExternalFlag ? name + desktop::kExternalSuffix : name;
    if (!windows_.ApplyDesktop(desktop_)) {
        desktop_ = previous;
        return false;
    }
    return true;
}

void FrameCommands::TogglePower() {
    if (!applianceOpen_)
        return;
    if (!powered_) {
        // The caption and the pressed button change first, so that the debug menus the
        // power-on turns on are not turned off again by them.
        powered_ = true;
        commands_.EnableApplianceMenus(true, powered_);
        SwitchDesktop(appliance_->ExtDebuggerInUse ? desktop::kIce : desktop::kDebug);
        if (windows_.SourceWindowPowerOn(true)) {
            commands_.EnableSourceOps(false);
            commands_.EnableDebugMenus(true);
        } else {
            powered_ = false;
            commands_.EnableApplianceMenus(true, powered_);
            SwitchDesktop(desktop::kSource);
        }
    } else if (windows_.SourceWindowPowerOn(false)) {
        powered_ = false;
        commands_.EnableApplianceMenus(true, powered_);
        SwitchDesktop(desktop::kSource);
        commands_.EnableRuntimeMenus(false);
        commands_.EnableDebugMenus(false);
        commands_.EnableSourceOps(true);
    }
    status_.GoAway();
    if (pendingBuild_) {
        pendingBuild_ = false;
        BuildHosts hosts{prompter_, messages_, windows_, windows_, diagnoser_, BuildWatch};
        try {
            DoBuild(*appliance_, true, true, false, hosts);
        } catch (const BxError& error) {
            messages_.PostMessage(error.Description);
            Exclaim("Build", error.Description);
        }
    }
}

void FrameCommands::EnterRunning() {
    commands_.EnableRuntimeMenus(true);
}

void FrameCommands::EnterHalted() {
    commands_.EnableRuntimeMenus(false);
}

} // namespace bx
