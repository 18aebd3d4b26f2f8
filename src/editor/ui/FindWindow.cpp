#include "editor/ui/FindWindow.h"

#include "platform/ui/DialogRunner.h"

#include <QCheckBox>
#include <QDialogButtonBox>
#include <QFormLayout>
#include <QLineEdit>
#include <QPushButton>
#include <QVBoxLayout>

namespace bx::ui {

FindWindow::FindWindow(QWidget* parent)
    : QDialog(parent), txtFindTarget_(new QLineEdit), chkMatchCase_(new QCheckBox("Match &case")),
      chkWholeWord_(new QCheckBox("Match &whole word only")) {
    setObjectName("wizFind");
    setWindowTitle("Find");
    txtFindTarget_->setObjectName("txtFindTarget");
    txtFindTarget_->setMinimumWidth(260);
    chkMatchCase_->setObjectName("chkMatchCase");
    chkWholeWord_->setObjectName("chkWholeWord");

    auto* fields = new QFormLayout;
    fields->addRow("Fi&nd what:", txtFindTarget_);
    auto* options = new QVBoxLayout;
    options->addWidget(chkMatchCase_);
    options->addWidget(chkWholeWord_);
    fields->addRow(QString(), options);

    auto* buttons = new QDialogButtonBox;
    cmdFind_ = buttons->addButton("&Find", QDialogButtonBox::AcceptRole);
    cmdFind_->setObjectName("cmdFind");
    cmdFind_->setDefault(true);
    QPushButton* cancel = buttons->addButton("Cancel", QDialogButtonBox::RejectRole);
    cancel->setObjectName("cmdCancel");
    connect(cmdFind_, &QPushButton::clicked, this, [this] {
        cancelled_ = false;
        accept();
    });
    connect(cancel, &QPushButton::clicked, this, &QDialog::reject);

    auto* layout = new QVBoxLayout(this);
    layout->addLayout(fields);
    layout->addWidget(buttons);
    setSizeGripEnabled(false);
}

bool FindWindow::ShowModal() {
    cancelled_ = true;
    txtFindTarget_->selectAll();
    txtFindTarget_->setFocus();
    Dialogs().Exec(*this);
    return !cancelled_;
}

std::string FindWindow::FindTarget() const {
    return txtFindTarget_->text().toStdString();
}

bool FindWindow::MatchCase() const {
    return chkMatchCase_->isChecked();
}

bool FindWindow::WholeWord() const {
    return chkWholeWord_->isChecked();
}

void FindWindow::Propose(const QString& text) {
    if (!text.isEmpty())
        txtFindTarget_->setText(text);
}

} // namespace bx::ui
