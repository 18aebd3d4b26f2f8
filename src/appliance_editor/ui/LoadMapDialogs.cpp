#include "appliance_editor/ui/LoadMapDialogs.h"

#include "appliance/Appliance.h"
#include "foundation/Common.h"
#include "foundation/HostInterfaces.h"
#include "frame/ui/DialogParts.h"
#include "platform/Paths.h"

#include <QDialogButtonBox>
#include <QFormLayout>
#include <QLabel>
#include <QLineEdit>
#include <QPushButton>
#include <QVBoxLayout>
#include <functional>

namespace bx::ui {

namespace {

QLineEdit* Field(QWidget* parent, const char* name, const std::string& text, const QString& tip) {
    auto* edit = new QLineEdit(QString::fromStdString(text), parent);
    edit->setObjectName(name);
    edit->setToolTip(tip);
    edit->setMinimumWidth(160);
    return edit;
}

// The form, a note under it and the Done and Cancel buttons.
void LayOut(QDialog* dialog, QFormLayout* form, const QString& note,
            const std::function<void()>& done) {
    auto* layout = new QVBoxLayout(dialog);
    layout->addLayout(form);
    auto* hint = new QLabel(note, dialog);
    hint->setForegroundRole(QPalette::PlaceholderText);
    hint->setWordWrap(true);
    layout->addWidget(hint);
    const auto [buttons, ok, cancel] = MakeDoneCancel(dialog);
    layout->addWidget(buttons);
    QObject::connect(ok, &QPushButton::clicked, dialog, done);
    QObject::connect(cancel, &QPushButton::clicked, dialog, &QDialog::reject);
    dialog->setFixedSize(dialog->sizeHint());
}

std::string Text(const QLineEdit* edit) {
    return edit->text().toStdString();
}

} // namespace

SegmentDialog::SegmentDialog(Appliance& appliance, Prompter& prompter, const std::string& editing,
                             QWidget* parent)
    : QDialog(parent), appliance_(appliance), prompter_(prompter), editing_(editing) {
    setObjectName("wizSegment");
    setWindowTitle(editing.empty() ? "Define Segment Mapping" : "Configure Segment Settings");
    std::shared_ptr<ObjMap> map = editing.empty() ? nullptr : appliance.ObjMaps().Item(editing);
    txtSegment_ = Field(this, "txtSegment", map ? map->Segment : "", "The linker's segment name");
    txtStart_ =
        Field(this, "txtStart", map ? "$" + Hex4(map->Start) : "", "The segment's first address");
    txtSize_ = Field(this, "txtSize", map ? "$" + Hex4(map->Size) : "", "The segment's bytes");
    auto* form = new QFormLayout;
    form->addRow("&Segment:", txtSegment_);
    form->addRow("S&tart address:", txtStart_);
    form->addRow("Si&ze:", txtSize_);
    LayOut(this, form, "Numbers are decimal, or hexadecimal after \"$\".", [this] { Done(); });
}

SegmentFields SegmentDialog::Fields() const {
    return {Text(txtSegment_), Text(txtStart_), Text(txtSize_)};
}

void SegmentDialog::Done() {
    const std::string problem = CheckSegment(appliance_, Fields(), editing_);
    if (!problem.empty()) {
        prompter_.ask(kSegmentTitle, problem, Buttons::Ok, Icon::Exclamation);
        return;
    }
    accept();
}

LoadSettingsDialog::LoadSettingsDialog(Appliance& appliance, Prompter& prompter,
                                       const LoadRowPlace& place, QWidget* parent)
    : QDialog(parent), appliance_(appliance), prompter_(prompter), place_(place) {
    setObjectName("wizLoadSettings");
    setWindowTitle("Load Settings");
    const bool placed = place.Bank >= 0 && place.Address >= 0;
    txtBank_ = Field(this, "txtBank", placed ? std::to_string(place.Bank) : "",
                     "The ROM bank the image goes to");
    txtAddress_ = Field(this, "txtAddress", placed ? "$" + Hex4(place.Address) : "",
                        "The address of its first byte");
    txtOffset_ =
        Field(this, "txtOffset", std::to_string(place.Offset), "The bytes of the file to skip");
    auto* form = new QFormLayout;
    auto* file = new QLabel(QString::fromStdString(platform::ToNativePath(place.File)), this);
    file->setObjectName("lblFile");
    form->addRow("Image:", file);
    form->addRow("&Bank:", txtBank_);
    form->addRow("&Address:", txtAddress_);
    form->addRow("&Offset:", txtOffset_);
    LayOut(this, form, "Numbers are decimal, or hexadecimal after \"$\".", [this] { Done(); });
}

LoadFields LoadSettingsDialog::Fields() const {
    return {Text(txtBank_), Text(txtAddress_), Text(txtOffset_)};
}

void LoadSettingsDialog::Done() {
    const std::string problem = CheckLoadSettings(appliance_, place_, Fields());
    if (!problem.empty()) {
        prompter_.ask(kLoadSettingsTitle, problem, Buttons::Ok, Icon::Exclamation);
        return;
    }
    accept();
}

} // namespace bx::ui
