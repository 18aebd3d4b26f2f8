#include "appliance_editor/ui/ApplianceWizardDialog.h"

#include "frame/ui/DialogParts.h"
#include "frame/ui/StudioIcons.h"
#include "platform/FileSystem.h"
#include "platform/Paths.h"
#include "platform/ui/DialogRunner.h"

#include <QComboBox>
#include <QDialogButtonBox>
#include <QFormLayout>
#include <QHBoxLayout>
#include <QLabel>
#include <QLineEdit>
#include <QPushButton>
#include <QToolButton>
#include <QVBoxLayout>

namespace bx::ui {

namespace {

QString Native(const std::string& path) {
    return QString::fromStdString(platform::ToNativePath(path));
}

} // namespace

std::string ProposedApplianceName(const std::string& folder) {
    const std::string base = "MyAppliance";
    std::string name = base;
    for (int i = 2; platform::FolderExists(folder + name) || platform::FileExists(folder + name);
         ++i)
        name = base + std::to_string(i);
    return name;
}

ApplianceWizardDialog::ApplianceWizardDialog(ApplianceWizard& wizard, QWidget* parent)
    : QDialog(parent), wizard_(wizard) {
    setObjectName("wizAppliance");
    setWindowTitle("New Appliance");

    auto* pictLeft = new QLabel(this);
    pictLeft->setObjectName("pictLeft");
    pictLeft->setPixmap(SidePicture(palette(), "New\nAppliance", 121, 273));
    pictLeft->setFixedSize(121, 273);
    pictLeft->setAlignment(Qt::AlignTop);

    lblTitle_ = new QLabel(this);
    lblTitle_->setObjectName("lblTitle");
    QFont titleFont = lblTitle_->font();
    titleFont.setPointSizeF(titleFont.pointSizeF() * 1.3);
    titleFont.setBold(true);
    lblTitle_->setFont(titleFont);

    romPrompt_ = new QLabel(this);
    romPrompt_->setObjectName("lblPrompt1_3");

    txtAppliance_ = new QLineEdit(this);
    txtAppliance_->setObjectName("txtAppliance");
    txtWorkingDir_ = new QLineEdit(this);
    txtWorkingDir_->setObjectName("txtWorkingDir");
    tlbFolder_ = new QToolButton(this);
    tlbFolder_->setObjectName("tlbFolder");
    tlbFolder_->setIcon(StudioIcon("FoldOpen"));
    tlbFolder_->setToolTip("Choose the folder the appliance's folder goes in");
    cbMCUBody_ = new QComboBox(this);
    cbMCUBody_->setObjectName("cbMCUBody");

    auto* folderRow = new QHBoxLayout;
    folderRow->addWidget(txtWorkingDir_, 1);
    folderRow->addWidget(tlbFolder_);

    auto* form = new QFormLayout;
    form->addRow("Appliance &name:", txtAppliance_);
    auto* folderLabel = new QLabel("&Working folder:", this);
    folderLabel->setBuddy(txtWorkingDir_);
    form->addRow(folderLabel, folderRow);
    form->addRow("MCU &body:", cbMCUBody_);

    auto* note = new QLabel("The working folder is created for the appliance and must not exist "
                            "yet. The body's template files and its main source are copied into "
                            "it.",
                            this);
    note->setWordWrap(true);
    note->setForegroundRole(QPalette::PlaceholderText);

    const auto [buttons, done, cancel] = MakeDoneCancel(this);

    auto* right = new QVBoxLayout;
    right->addWidget(lblTitle_);
    right->addWidget(romPrompt_);
    right->addSpacing(8);
    right->addLayout(form);
    right->addWidget(note);
    right->addStretch(1);
    right->addWidget(buttons);

    auto* layout = new QHBoxLayout(this);
    layout->addWidget(pictLeft, 0, Qt::AlignTop);
    layout->addSpacing(8);
    layout->addLayout(right, 1);
    setMinimumWidth(720);

    for (const std::string& body : wizard_.BodyList())
        cbMCUBody_->addItem(QString::fromStdString(body));
    wizard_.Activate();
    ShowWizardState();

    connect(txtAppliance_, &QLineEdit::textEdited, this, [this](const QString& text) {
        wizard_.SetApplianceName(text.toStdString());
        ShowWizardState();
    });
    connect(txtWorkingDir_, &QLineEdit::textEdited, this, [this](const QString& text) {
        wizard_.SetWorkingFolder(platform::FromNativePath(text.toStdString()));
    });
    connect(cbMCUBody_, &QComboBox::currentIndexChanged, this, [this](int index) {
        if (!mirroring_)
            wizard_.SelectBody(index);
    });
    connect(tlbFolder_, &QToolButton::clicked, this, &ApplianceWizardDialog::PickFolder);
    connect(done, &QPushButton::clicked, this, &ApplianceWizardDialog::Done);
    connect(cancel, &QPushButton::clicked, this, [this] {
        wizard_.Cancel();
        reject();
    });
}

void ApplianceWizardDialog::ShowWizardState() {
    mirroring_ = true;
    lblTitle_->setText(QString::fromStdString(wizard_.TitleText()));
    romPrompt_->setText(QString::fromStdString(wizard_.RomPrompt()));
    romPrompt_->setVisible(wizard_.RomPromptVisible());
    if (txtAppliance_->text().toStdString() != wizard_.ApplianceName())
        txtAppliance_->setText(QString::fromStdString(wizard_.ApplianceName()));
    txtWorkingDir_->setText(Native(wizard_.WorkingFolder()));
    cbMCUBody_->setCurrentIndex(wizard_.SelectedBody());
    mirroring_ = false;
}

void ApplianceWizardDialog::PickFolder() {
    const QString picked =
        Dialogs().ExistingFolder(this, "Select directory for saving the appliance:");
    wizard_.FolderPicked(picked.isEmpty() ? std::string()
                                          : platform::FromNativePath(picked.toStdString()));
    ShowWizardState();
}

void ApplianceWizardDialog::Done() {
    wizard_.SelectBody(cbMCUBody_->currentIndex());
    switch (wizard_.Done()) {
    case ApplianceWizard::DoneResult::StayInDialog:
        break;
    case ApplianceWizard::DoneResult::Created:
        accept();
        break;
    case ApplianceWizard::DoneResult::Unloaded:
        reject();
        break;
    }
}

} // namespace bx::ui
