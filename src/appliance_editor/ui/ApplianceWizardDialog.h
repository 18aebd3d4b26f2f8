#pragma once
// wizAppliance: the dialog that creates a new appliance on disk from a name, a working folder
// and an MCU body, or around an existing ROM image. The window mirrors the core's
// ApplianceWizard, which holds the state and the rules; every message goes through its
// prompter.

#include "appliance_editor/ApplianceWizard.h"

#include <QDialog>

class QComboBox;
class QLabel;
class QLineEdit;
class QToolButton;

namespace bx::ui {

class ApplianceWizardDialog : public QDialog {
    Q_OBJECT
public:
    // wizard must have had NewProject and Load; the dialog activates it.
    explicit ApplianceWizardDialog(ApplianceWizard& wizard, QWidget* parent = nullptr);

    // cmdDone and the folder button, as a click runs them.
    void Done();
    void PickFolder();

private:
    void ShowWizardState();

    ApplianceWizard& wizard_;
    QLabel* lblTitle_;
    QLabel* romPrompt_;
    QLineEdit* txtAppliance_;
    QLineEdit* txtWorkingDir_;
    QComboBox* cbMCUBody_;
    QToolButton* tlbFolder_;
    bool mirroring_ = false;
};

// A name for a new appliance whose folder doesn't exist yet below folder: "MyAppliance", or
// "MyAppliance2", "MyAppliance3" and so on.
std::string ProposedApplianceName(const std::string& folder);

} // namespace bx::ui
