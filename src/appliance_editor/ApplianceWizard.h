#pragma once
// The logic of the new-appliance wizard (wizAppliance) without its window: from a name, a
// working folder and an MCU body it makes the folder, fills it with the body's template files,
// loads the body's template appliance and derives the build steps of the first source
// ("main.asm") from the template's association table. The second form starts from an existing
// ROM image instead of a source. The caller saves the appliance it gets (the New command).
//
// ApplianceWizard holds the dialog's state and reacts to its events in the order a window
// raises them (NewProject, Load, Activate, the text and picker events, Done or Cancel); the
// window only mirrors the texts. CreateAppliance runs the whole dialog for given inputs, for
// the command line and the tests. Messages go through the Prompter. UI thread only.

#include "foundation/HostInterfaces.h"

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

namespace bx {

class Appliance;
class GlobalSettings;

// The title the wizard's failure to load a template shows, the application's own.
inline constexpr const char* kApplicationTitle = "Tessarine Studio";

// Where new appliances go by default: "SarnovaTessarineProject\" in the user's home folder
// (the current directory when HOME isn't set), with its final "\".
std::string DefaultProjectsFolder();

// The load place a chain's last association names in its With, "bank:address" in hexadecimal:
// -1 and -1 when the ":" is missing, first, or one of the last two characters.
struct LoadPlace {
    int32_t Bank = -1;
    int32_t Address = -1;
};
LoadPlace ParseLoadPlace(const std::string& with);

class ApplianceWizard {
public:
    ApplianceWizard(GlobalSettings* settings, Prompter& prompter);
    ~ApplianceWizard();

    // Sets the dialog up for a new appliance (romImagePath empty) or one around a ROM image.
    // False when the image doesn't exist: the "Warning" box was shown and the dialog isn't to
    // be shown. The caller then shows it (Load once, Activate, and the user's events).
    bool NewProject(const std::string& templateRoot, const std::string& romImagePath);
    // The form's loading: fills the body list from the settings' Bodies.
    void Load();
    // The form coming to the front: the first source, and the first body selected when none is.
    void Activate();

    // txtAppliance changed: the working folder follows the name.
    void SetApplianceName(const std::string& name);
    // The folder picker returned a path (empty when cancelled).
    void FolderPicked(const std::string& path);
    // cbMCUBody's selection, from 0; -1 for none.
    void SelectBody(int index) { selectedBody_ = index; }
    // The working folder typed over.
    void SetWorkingFolder(const std::string& folder) { workingDir_ = folder; }

    enum class DoneResult {
        StayInDialog, // a message was shown and the user may try again
        Created,      // the appliance is ready and the dialog hidden
        Unloaded      // the template couldn't be loaded; the dialog is gone, still cancelled
    };
    DoneResult Done();
    // cmdCancel: the dialog hides, cancelled.
    void Cancel() { visible_ = false; }

    // The dialog's state as a window shows it.
    const std::string& ApplianceName() const { return applianceName_; }
    const std::string& WorkingFolder() const { return workingDir_; }
    const std::vector<std::string>& BodyList() const { return bodyList_; }
    int SelectedBody() const { return selectedBody_; }
    const std::string& TitleText() const { return titleText_; }
    const std::string& RomPrompt() const { return romPrompt_; }
    bool RomPromptVisible() const { return romPromptVisible_; }
    const std::string& FirstSource() const { return firstSource_; }
    const std::string& RomImagePath() const { return romImagePath_; }
    bool Visible() const { return visible_; }
    bool Cancelled() const { return cancelled_; }

    // The appliance made by a successful Done; null before. The caller takes it over.
    std::unique_ptr<Appliance> TakeAppliance();
    // What a successful Done made on disk: the working folder, or its highest parent that
    // didn't exist before. The caller's save (SaveNewAppliance) takes it away again when it
    // fails; a Done that fails after making it has taken it away itself.
    const std::string& CreatedFolder() const { return createdFolder_; }

private:
    // The build steps of the first source along the association chain, and the chain end's
    // load place.
    void FollowAssociationChain(Appliance& appliance) const;
    // Steps 8 to 14 of Done, behind the folder's creation: the title and folder, the run target
    // and the chain (or the ROM image), the in-use flags, the body's values, the files.
    void FillNewFolder(Appliance& appliance, const std::string& dir);
    // Copies the template folder's files and subfolders into the working folder.
    void CopyTemplateFiles(const std::string& dir, const std::string& folder);

    GlobalSettings* settings_;
    Prompter& prompter_;
    std::string templateRoot_;
    std::string romImagePath_;
    std::string firstSource_;
    std::string applianceName_;
    std::string workingDir_;
    std::vector<std::string> bodyList_;
    int selectedBody_ = -1;
    std::string titleText_;
    std::string romPrompt_;
    bool romPromptVisible_ = false;
    bool visible_ = false;
    bool cancelled_ = false;
    std::unique_ptr<Appliance> appliance_;
    std::string createdFolder_;
};

// The dialog's inputs for a run without a window.
struct WizardInputs {
    std::string Name;
    std::string WorkingFolder; // empty: the default the dialog proposes
    std::string Body;          // a Model of the settings' Bodies
    std::string TemplateRoot;  // folder holding the body template folders
    std::string RomImagePath;  // empty for the ordinary form
};

// Runs the wizard as a person would fill it: NewProject, Load, Activate, the name, the folder,
// the body, Done. Returns the appliance, or null when the wizard ended without one (the
// messages say why: a wrong ROM path, an unknown body, an existing folder, a template that
// can't be loaded). Errors of the steps (BxError) travel to the caller. createdFolder (when
// given) receives the wizard's CreatedFolder for SaveNewAppliance.
std::unique_ptr<Appliance> CreateAppliance(GlobalSettings& settings, Prompter& prompter,
                                           const WizardInputs& inputs,
                                           std::string* createdFolder = nullptr);

// The New command's save of what the wizard made: Save(true); when it fails, createdFolder
// (the wizard's CreatedFolder) is deleted with everything in it, so that nothing half-made
// stays and a second try isn't refused as "Directory already exists", and the error travels
// on to the caller.
void SaveNewAppliance(Appliance& appliance, const std::string& createdFolder);

} // namespace bx
