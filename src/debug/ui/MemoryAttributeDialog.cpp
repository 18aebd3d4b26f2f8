#include "debug/ui/MemoryAttributeDialog.h"

#include "debug/MemoryBreakRange.h"
#include "foundation/Error.h"
#include "foundation/HostInterfaces.h"
#include "frame/ui/DialogParts.h"
#include "platform/ui/DialogRunner.h"

#include <QButtonGroup>
#include <QDialogButtonBox>
#include <QFormLayout>
#include <QGroupBox>
#include <QLineEdit>
#include <QPushButton>
#include <QRadioButton>
#include <QVBoxLayout>

namespace bx::ui {

namespace {

// What the dialog held when it closed last, for its next use.
struct Entries {
    QString Start = "00:0000";
    QString End = "0000";
    int Option = memory_break_option::kWrite;
};

Entries& Remembered() {
    static Entries entries;
    return entries;
}

} // namespace

MemoryAttributeDialog::MemoryAttributeDialog(Prompter& prompter, Emulator& emulator,
                                             QWidget* parent)
    : QDialog(parent), prompter_(prompter), emulator_(emulator), txtStart_(new QLineEdit(this)),
      txtEnd_(new QLineEdit(this)), optAttribute_(new QButtonGroup(this)) {
    setObjectName("wizMemoryAttribute");
    setWindowTitle("Configure Memory Breakpoints");
    txtStart_->setObjectName("txtStart");
    txtEnd_->setObjectName("txtEnd");
    txtStart_->setPlaceholderText("bank:address, e.g. 00:0200");
    txtEnd_->setPlaceholderText("address, e.g. 02FF");
    txtStart_->setText(Remembered().Start);
    txtEnd_->setText(Remembered().End);

    auto* range = new QFormLayout;
    range->addRow("&Start (bank:address, hex):", txtStart_);
    range->addRow("&End (address, hex):", txtEnd_);

    auto* kinds = new QGroupBox("Break on", this);
    auto* kindsLayout = new QVBoxLayout(kinds);
    const char* captions[] = {"&None (clear read and write)", "&Read", "&Write", "Read &and write"};
    for (int option = 0; option < 4; ++option) {
        auto* button = new QRadioButton(captions[option], kinds);
        button->setObjectName(QString("optAttribute%1").arg(option));
        optAttribute_->addButton(button, option);
        kindsLayout->addWidget(button);
    }
    optAttribute_->button(Remembered().Option)->setChecked(true);

    const DoneCancel buttons = MakeDoneCancel(this);
    connect(buttons.Done, &QPushButton::clicked, this, &MemoryAttributeDialog::Done);
    connect(buttons.Cancel, &QPushButton::clicked, this, &QDialog::reject);

    auto* layout = new QVBoxLayout(this);
    layout->addLayout(range);
    layout->addWidget(kinds);
    layout->addWidget(buttons.Box);
    txtStart_->selectAll();
    txtStart_->setFocus();
}

MemoryAttributeDialog::~MemoryAttributeDialog() {
    Remembered() = {txtStart_->text(), txtEnd_->text(), optAttribute_->checkedId()};
}

void MemoryAttributeDialog::Done() {
    MemoryBreakPlan plan;
    try {
        plan = PlanMemoryBreak(emulator_, txtStart_->text().trimmed().toStdString(),
                               txtEnd_->text().trimmed().toStdString(), optAttribute_->checkedId());
    } catch (const BxError& error) {
        // A target that can't say how many banks it has: nothing is set.
        prompter_.ask(windowTitle().toStdString(), error.Description, Buttons::Ok,
                      Icon::Exclamation);
        return;
    }
    if (!plan.Accepted()) {
        prompter_.ask(plan.Title, plan.Message, Buttons::Ok, Icon::Exclamation);
        QLineEdit* field = plan.Invalid == MemoryBreakPlan::Field::Start ? txtStart_ : txtEnd_;
        field->setFocus();
        field->selectAll();
        return;
    }
    ApplyMemoryBreakPlan(emulator_, plan);
    accept();
}

void ShowMemoryAttributeDialog(QWidget* parent, Prompter& prompter,
                               const std::shared_ptr<Emulator>& emulator) {
    if (!emulator)
        return;
    MemoryAttributeDialog dialog(prompter, *emulator, parent);
    Dialogs().Exec(dialog);
}

} // namespace bx::ui
