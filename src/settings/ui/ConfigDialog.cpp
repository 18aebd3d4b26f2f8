#include "settings/ui/ConfigDialog.h"

#include "appliance/Appliance.h"
#include "frame/ui/DialogParts.h"
#include "settings/GlobalSettings.h"

#include <QCheckBox>
#include <QDialogButtonBox>
#include <QGridLayout>
#include <QGroupBox>
#include <QHBoxLayout>
#include <QLabel>
#include <QLineEdit>
#include <QPushButton>
#include <QResizeEvent>
#include <QSlider>
#include <QVBoxLayout>

namespace bx::ui {

ConfigDialog::ConfigDialog(GlobalSettings& settings, Appliance* appliance, QWidget* parent)
    : QDialog(parent), settings_(settings), appliance_(appliance) {
    setObjectName("wizConfig");
    setWindowTitle("Configuration");

    auto* tools = new QGroupBox("External tools", this);
    auto* grid = new QGridLayout(tools);
    grid->setColumnStretch(1, 1);
    txtExtEditor_ = AddTool(grid, 0, "&Editor:", "txtExtEditor", chkExtEditor_, "chkExtEditor");
    txtExtBuilder_ =
        AddTool(grid, 1, "&Builder:", "txtExtBuilder", chkExtBuilder_, "chkExtBuilder");
    txtExtIce_ = AddTool(grid, 2, "&ICE driver:", "txtExtIce", chkExtIce_, "chkExtIce");
    auto* hint = new QLabel("\"%i\" in the editor's command stands for the file to edit; "
                            "\"%AppPath%\" for the studio's folder.",
                            tools);
    hint->setWordWrap(true);
    hint->setForegroundRole(QPalette::PlaceholderText);
    grid->addWidget(hint, 3, 1, 1, 2);

    auto* rate = new QGroupBox("Simulation rate", this);
    auto* rateLayout = new QVBoxLayout(rate);
    sldRate_ = new QSlider(Qt::Horizontal, rate);
    sldRate_->setObjectName("sldRate");
    sldRate_->setRange(0, 4);
    sldRate_->setPageStep(1);
    sldRate_->setTickPosition(QSlider::TicksBelow);
    sldRate_->setTickInterval(1);
    lblSimRates_ = new QLabel(rate);
    lblSimRates_->setObjectName("lblSimRates");
    lblSimRates_->setAlignment(Qt::AlignCenter);
    rateLayout->addWidget(sldRate_);
    rateLayout->addWidget(lblSimRates_);
    if (!appliance_) {
        auto* note = new QLabel("The rate belongs to an appliance: open one to set it.", rate);
        note->setForegroundRole(QPalette::PlaceholderText);
        rateLayout->addWidget(note);
        sldRate_->setEnabled(false);
    }
    // The label follows the slider at once; nothing is stored before Done.
    connect(sldRate_, &QSlider::valueChanged, this, [this](int position) {
        lblSimRates_->setText(RateSteps()[static_cast<std::size_t>(position)].Text);
    });

    const auto [buttons, done, cancel] = MakeDoneCancel(this);
    connect(done, &QPushButton::clicked, this, &ConfigDialog::Done);
    connect(cancel, &QPushButton::clicked, this, &QDialog::reject);

    auto* pictLeft = new QLabel(this);
    pictLeft->setObjectName("pictLeft");
    pictLeft->setFixedWidth(121);
    pictLeft->setScaledContents(false);

    auto* right = new QVBoxLayout;
    right->addWidget(tools);
    right->addWidget(rate);
    right->addStretch(1);
    right->addWidget(buttons);
    auto* layout = new QHBoxLayout(this);
    layout->addWidget(pictLeft);
    layout->addSpacing(8);
    layout->addLayout(right, 1);
    setMinimumWidth(660);

    const ExternalTools current = ToolsOf(settings_);
    txtExtEditor_->setText(QString::fromStdString(current.Editor));
    txtExtBuilder_->setText(QString::fromStdString(current.Builder));
    txtExtIce_->setText(QString::fromStdString(current.IceDriver));
    chkExtEditor_->setChecked(current.EditorInUse);
    chkExtBuilder_->setChecked(current.BuilderInUse);
    chkExtIce_->setChecked(current.IceInUse);
    const int position = appliance_
                             ? RatePosition(appliance_->RateMultiplier, appliance_->RateDivider)
                             : RatePosition(1, 1);
    sldRate_->setValue(position);
    lblSimRates_->setText(RateSteps()[static_cast<std::size_t>(position)].Text);
}

QLineEdit* ConfigDialog::AddTool(QGridLayout* grid, int row, const QString& label,
                                 const QString& name, QCheckBox*& inUse, const QString& boxName) {
    auto* edit = new QLineEdit(grid->parentWidget());
    edit->setObjectName(name);
    auto* caption = new QLabel(label, grid->parentWidget());
    caption->setBuddy(edit);
    inUse = new QCheckBox("In use", grid->parentWidget());
    inUse->setObjectName(boxName);
    grid->addWidget(caption, row, 0);
    grid->addWidget(edit, row, 1);
    grid->addWidget(inUse, row, 2);
    return edit;
}

void ConfigDialog::resizeEvent(QResizeEvent* event) {
    QDialog::resizeEvent(event);
    // pictLeft runs the dialog's whole height.
    if (auto* pictLeft = findChild<QLabel*>("pictLeft"))
        pictLeft->setPixmap(
            SidePicture(palette(), "Configuration", 121, std::max(1, event->size().height() - 22)));
}

void ConfigDialog::FocusOn(Focus focus) {
    QLineEdit* edit = focus == Focus::Editor    ? txtExtEditor_
                      : focus == Focus::Builder ? txtExtBuilder_
                                                : txtExtIce_;
    edit->setFocus();
    edit->selectAll();
}

void ConfigDialog::Done() {
    const ExternalTools tools{
        txtExtEditor_->text().toStdString(), txtExtBuilder_->text().toStdString(),
        txtExtIce_->text().toStdString(),    chkExtEditor_->isChecked(),
        chkExtBuilder_->isChecked(),         chkExtIce_->isChecked()};
    ApplyConfiguration(settings_, appliance_, tools, sldRate_->value());
    accept();
}

} // namespace bx::ui
