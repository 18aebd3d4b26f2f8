#include "appliance_editor/ApplianceWizard.h"

#include "appliance/Appliance.h"
#include "build/ApplianceBuildRules.h"
#include "build/BuildDriver.h"
#include "foundation/Common.h"
#include "foundation/Error.h"
#include "platform/FileSystem.h"
#include "platform/Paths.h"
#include "platform/Process.h"
#include "settings/GlobalSettings.h"

#include <set>

namespace bx {

namespace {

constexpr const char* kFirstSource = "main.asm";
constexpr int32_t kChainImageLength = 16384;

// The highest folder of path (backslash form, a final "\" allowed) that doesn't exist: the
// one MakeDirectories creates first. Empty when the path exists already.
std::string HighestMissingFolder(std::string path) {
    while (path.size() > 1 && path.back() == '\\')
        path.pop_back();
    std::string missing;
    while (!path.empty() && !platform::FolderExists(path) && !platform::FileExists(path)) {
        missing = path;
        const auto slash = path.rfind('\\');
        if (slash == std::string::npos || slash == 0)
            break;
        path.resize(slash);
    }
    return missing;
}

// The working folder the name is put behind: the text up to and including its last "\", or
// the whole text when it has none.
std::string ParentPart(const std::string& folder) {
    const auto slash = folder.rfind('\\');
    return slash == std::string::npos ? folder : folder.substr(0, slash + 1);
}

} // namespace

std::string DefaultProjectsFolder() {
    std::string home = platform::FromNativePath(platform::GetEnvironment("HOME").value_or(""));
    if (home.empty())
        home = platform::CurrentDirectory();
    if (home.back() != '\\')
        home += '\\';
    return home + "SarnovaTessarineProject\\";
}

LoadPlace ParseLoadPlace(const std::string& with) {
    // Positions from 1, as the rule counts them: the ":" must have at least one character
    // ahead of it and at least two behind it.
    const auto colon = with.find(':');
    if (colon == std::string::npos)
        return {};
    const std::size_t p = colon + 1;
    if (p < 2 || p >= with.size() - 1)
        return {};
    return {HexToLong(with.substr(0, colon)), HexToLong(with.substr(colon + 1))};
}

ApplianceWizard::ApplianceWizard(GlobalSettings* settings, Prompter& prompter)
    : settings_(settings), prompter_(prompter) {}

ApplianceWizard::~ApplianceWizard() = default;

bool ApplianceWizard::NewProject(const std::string& templateRoot, const std::string& romImagePath) {
    cancelled_ = true;
    romImagePath_ = romImagePath;
    if (!romImagePath_.empty()) {
        if (!platform::FileExists(romImagePath_)) {
            prompter_.ask("Warning",
                          "Incorrect ROM image path : " + platform::ToNativePath(romImagePath_),
                          Buttons::Ok, Icon::Exclamation);
            romImagePath_.clear();
            return false;
        }
        titleText_ = "Creating An Appliance for ROM Image";
        const std::string fileName = FileNameOf(romImagePath_);
        romPrompt_ = "Rom Image : " + fileName;
        romPromptVisible_ = true;
        SetApplianceName(fileName.substr(0, fileName.find('.')));
        workingDir_ = platform::CurrentDirectory() + "\\" + applianceName_;
    } else {
        titleText_ = "Creating An Appliance";
        romPromptVisible_ = false;
        workingDir_ = DefaultProjectsFolder() + applianceName_;
    }
    templateRoot_ = templateRoot;
    if (templateRoot_.empty() || templateRoot_.back() != '\\')
        templateRoot_ += '\\';
    visible_ = true;
    return true;
}

void ApplianceWizard::Load() {
    bodyList_.clear();
    if (!settings_ || !settings_->Bodies) {
        prompter_.ask("Error",
                      "The global template file is not found at the Tessarine's main directory",
                      Buttons::Ok, Icon::Exclamation);
        return;
    }
    for (int i = 1; i <= static_cast<int>(settings_->Bodies->Count()); ++i)
        bodyList_.push_back(settings_->Bodies->ItemIndex(i)->Model);
}

void ApplianceWizard::Activate() {
    firstSource_ = kFirstSource;
    if (selectedBody_ < 0 && !bodyList_.empty())
        selectedBody_ = 0;
}

void ApplianceWizard::SetApplianceName(const std::string& name) {
    applianceName_ = name;
    workingDir_ = ParentPart(workingDir_) + name;
}

void ApplianceWizard::FolderPicked(const std::string& path) {
    // A drive's root (a path ending in "\") is no place for an appliance folder, and a
    // cancelled picker gives nothing.
    if (path.empty() || path.back() == '\\')
        return;
    workingDir_ = path + "\\" + applianceName_;
}

ApplianceWizard::DoneResult ApplianceWizard::Done() {
    if (selectedBody_ < 0 || selectedBody_ >= static_cast<int>(bodyList_.size()) ||
        bodyList_[selectedBody_].empty()) {
        prompter_.ask("Warning", "Please select one of the MCU body types", Buttons::Ok,
                      Icon::Exclamation);
        return DoneResult::StayInDialog;
    }
    std::shared_ptr<MCUBody> body = settings_->Bodies->ItemIndex(selectedBody_ + 1);
    const std::string dir = templateRoot_ + body->TemplateDir;
    const std::string file = body->TemplateFile;

    auto appliance = std::make_unique<Appliance>();
    appliance->Settings = settings_;
    if (!file.empty() && platform::FileExists(dir + file)) {
        if (!appliance->Load(dir + file)) {
            prompter_.ask(kApplicationTitle, "Cannot load body-specific template file.",
                          Buttons::Ok, Icon::Exclamation);
            visible_ = false;
            return DoneResult::Unloaded;
        }
    }
    appliance->TemplateDir = dir;
    appliance->IceEmuNumber = body->IceEmuNo;

    // The name becomes the file's name: one that would lead out of the folder, or that the
    // build can't carry, is refused before anything is made on disk.
    if (const std::string problem = ApplianceNameProblem(applianceName_); !problem.empty()) {
        prompter_.ask("Appliance Wizard", problem, Buttons::Ok, Icon::Exclamation);
        return DoneResult::StayInDialog;
    }
    if (workingDir_.size() >= 2 && workingDir_.back() != '\\')
        workingDir_ += '\\';
    // The folder must not exist yet: an appliance never lands in a folder with other things.
    // What this step makes (the folder, and any parents that were missing) is remembered, so
    // that a failure later on takes it away again.
    const std::string created = HighestMissingFolder(workingDir_);
    if (!MakeDirectories(workingDir_)) {
        prompter_.ask("Appliance Wizard",
                      "Directory already exists or directory is read-only. Please select "
                      "another directory.",
                      Buttons::Ok, Icon::Exclamation);
        return DoneResult::StayInDialog;
    }
    createdFolder_ = created;
    try {
        FillNewFolder(*appliance, dir);
    } catch (...) {
        platform::DeleteFolderTree(createdFolder_);
        createdFolder_.clear();
        throw;
    }
    appliance_ = std::move(appliance);
    cancelled_ = false;
    visible_ = false;
    return DoneResult::Created;
}

void ApplianceWizard::FillNewFolder(Appliance& appliance, const std::string& dir) {
    appliance.Title = applianceName_;
    appliance.Folder = workingDir_;

    if (!romImagePath_.empty()) {
        const std::string image = appliance.Folder + FileNameOf(romImagePath_);
        platform::CopyFile(romImagePath_, image, true);
        appliance.RunTarget()->OutputPath = image;
        SetRateparam(appliance);
    } else {
        appliance.RunTarget()->OutputPath = applianceName_ + ".rom";
        FollowAssociationChain(appliance);
    }

    appliance.ExtBuilderInUse = settings_->ExtBuilderInUse;
    appliance.ExtDebuggerInUse = settings_->ExtDebuggerInUse;
    appliance.ExtEditorInUse = settings_->ExtEditorInUse;

    // The body as the loaded template names it. Without a template there is nothing to find
    // it by, and the appliance keeps its defaults.
    if (const MCUBody* named = settings_->FindBody(appliance.Family, appliance.Model)) {
        appliance.WizardYesFlag = named->HasWDT == "Yes";
        if (named->BankMode == 0) {
            appliance.BankStart = 16384;
            appliance.BankSize = 16384;
        } else if (named->BankMode == 1) {
            appliance.BankStart = 49152;
            appliance.BankSize = 16384;
        }
        appliance.BootVect = named->BootVect;
        appliance.BankCount = named->BankCount;
        appliance.ProgramStart = named->ProgramStart;
        appliance.OptionsDef = named->OptionsDef;
    }

    CopyTemplateFiles(dir, appliance.Folder);
}

void ApplianceWizard::FollowAssociationChain(Appliance& appliance) const {
    std::string current = firstSource_.empty() ? kFirstSource : firstSource_;
    std::string make = appliance.DefaultBuildCommand(current);
    std::string out = appliance.DefaultOutputPath(current);
    // A table whose chain comes back to a file already on it would go round for ever; the
    // chain ends at the first file seen twice.
    std::set<std::string> seen{current};
    while (!out.empty() && seen.insert(out).second) {
        appliance.AddBuildStep(out, make, current);
        current = out;
        make = appliance.DefaultBuildCommand(current);
        out = appliance.DefaultOutputPath(current);
    }
    // At the chain's end, With names the image's default load place, not a command.
    const LoadPlace place = ParseLoadPlace(make);
    appliance.LabelLoadAddr(current, 0, place.Bank, place.Address, kChainImageLength);
}

void ApplianceWizard::CopyTemplateFiles(const std::string& dir, const std::string& folder) {
    int copied = 0;
    for (const std::string& name : platform::ListFolder(dir))
        if (platform::FileExists(dir + name) && platform::CopyFile(dir + name, folder + name, true))
            ++copied;
    // The template appliance (and any other template of that kind) isn't part of the result.
    platform::DeleteFiles(folder + "*.tpl");
    if (copied == 0)
        prompter_.ask("Warning",
                      "No file is found at the template directory: " + platform::ToNativePath(dir),
                      Buttons::Ok, Icon::Exclamation);
    for (const std::string& name : platform::ListSubfolders(dir))
        platform::CopyFolderTree(dir + name, folder + name);
}

std::unique_ptr<Appliance> ApplianceWizard::TakeAppliance() {
    return std::move(appliance_);
}

void SaveNewAppliance(Appliance& appliance, const std::string& createdFolder) {
    try {
        appliance.Save(true);
    } catch (...) {
        if (!createdFolder.empty())
            platform::DeleteFolderTree(createdFolder);
        throw;
    }
}

std::unique_ptr<Appliance> CreateAppliance(GlobalSettings& settings, Prompter& prompter,
                                           const WizardInputs& inputs, std::string* createdFolder) {
    ApplianceWizard wizard(&settings, prompter);
    if (!wizard.NewProject(inputs.TemplateRoot, inputs.RomImagePath))
        return nullptr;
    wizard.Load();
    int selected = -1;
    for (std::size_t i = 0; i < wizard.BodyList().size(); ++i)
        if (wizard.BodyList()[i] == inputs.Body)
            selected = static_cast<int>(i);
    wizard.SelectBody(selected);
    wizard.Activate();
    // An unknown body is one the user didn't select: the wizard asks for one.
    if (selected < 0)
        wizard.SelectBody(-1);
    if (!inputs.Name.empty() || inputs.RomImagePath.empty())
        wizard.SetApplianceName(inputs.Name);
    if (!inputs.WorkingFolder.empty())
        wizard.SetWorkingFolder(inputs.WorkingFolder);
    if (wizard.Done() != ApplianceWizard::DoneResult::Created)
        return nullptr;
    if (createdFolder)
        *createdFolder = wizard.CreatedFolder();
    return wizard.TakeAppliance();
}

} // namespace bx
