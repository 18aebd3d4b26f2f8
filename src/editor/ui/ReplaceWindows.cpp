#include "editor/ui/ReplaceWindows.h"

#include "platform/ui/DialogRunner.h"

#include <QCheckBox>
#include <QComboBox>
#include <QDialogButtonBox>
#include <QFormLayout>
#include <QGroupBox>
#include <QGuiApplication>
#include <QLabel>
#include <QLineEdit>
#include <QPushButton>
#include <QRadioButton>
#include <QScreen>
#include <QVBoxLayout>
#include <algorithm>

namespace bx::ui {

namespace {

// How many texts each combo box remembers.
constexpr int kHistory = 10;

QComboBox* HistoryBox(const char* name) {
    auto* box = new QComboBox;
    box->setObjectName(name);
    box->setEditable(true);
    box->setInsertPolicy(QComboBox::NoInsert);
    box->setMinimumWidth(260);
    box->setSizeAdjustPolicy(QComboBox::AdjustToMinimumContentsLengthWithIcon);
    return box;
}

// The text used goes to the top of the box's list, once.
void Remember(QComboBox* box) {
    const QString text = box->currentText();
    if (text.isEmpty())
        return;
    const int found = box->findText(text, Qt::MatchExactly | Qt::MatchCaseSensitive);
    if (found >= 0)
        box->removeItem(found);
    box->insertItem(0, text);
    while (box->count() > kHistory)
        box->removeItem(box->count() - 1);
    box->setCurrentIndex(0);
}

QPushButton* AddButton(QDialogButtonBox* buttons, const QString& caption, const char* name,
                       QDialogButtonBox::ButtonRole role) {
    QPushButton* button = buttons->addButton(caption, role);
    button->setObjectName(name);
    return button;
}

} // namespace

ReplaceWindow::ReplaceWindow(QWidget* parent)
    : QDialog(parent), cbFindWhat_(HistoryBox("cbFindWhat")),
      cbReplaceWith_(HistoryBox("cbReplaceWith")), ckMatchCase_(new QCheckBox("Match &case")),
      ckMatchAll_(new QCheckBox("Match &whole word only")),
      opCurrentFile_(new QRadioButton("C&urrent file")),
      opSelected_(new QRadioButton("From the s&election on")),
      opAllOpenFile_(new QRadioButton("All &open files")) {
    setObjectName("wizReplace");
    setWindowTitle("Replace");
    ckMatchCase_->setObjectName("ckMatchCase");
    ckMatchAll_->setObjectName("ckMatchAll");
    opCurrentFile_->setObjectName("opCurrentFile");
    opSelected_->setObjectName("opSelected");
    opAllOpenFile_->setObjectName("opAllOpenFile");
    opCurrentFile_->setChecked(true);

    auto* fields = new QFormLayout;
    fields->addRow("Fi&nd what:", cbFindWhat_);
    fields->addRow("Re&place with:", cbReplaceWith_);

    auto* options = new QGroupBox("Options");
    auto* optionLayout = new QVBoxLayout(options);
    optionLayout->addWidget(ckMatchCase_);
    optionLayout->addWidget(ckMatchAll_);
    optionLayout->addStretch();
    auto* scope = new QGroupBox("Scope");
    auto* scopeLayout = new QVBoxLayout(scope);
    scopeLayout->addWidget(opCurrentFile_);
    scopeLayout->addWidget(opSelected_);
    scopeLayout->addWidget(opAllOpenFile_);
    auto* boxes = new QHBoxLayout;
    boxes->addWidget(options);
    boxes->addWidget(scope);

    auto* buttons = new QDialogButtonBox;
    QPushButton* start = AddButton(buttons, "&Start", "cmdStart", QDialogButtonBox::AcceptRole);
    start->setToolTip("Go from match to match, asking at each one");
    start->setDefault(true);
    QPushButton* all =
        AddButton(buttons, "Replace &All", "cmdReplaceAll", QDialogButtonBox::AcceptRole);
    QPushButton* cancel = AddButton(buttons, "Cancel", "cmdCancel", QDialogButtonBox::RejectRole);
    connect(start, &QPushButton::clicked, this, [this] { Finish(kStart); });
    connect(all, &QPushButton::clicked, this, [this] { Finish(kReplaceAll); });
    connect(cancel, &QPushButton::clicked, this, &QDialog::reject);

    auto* layout = new QVBoxLayout(this);
    layout->addLayout(fields);
    layout->addLayout(boxes);
    layout->addWidget(buttons);
}

void ReplaceWindow::Propose(const QString& text) {
    if (!text.isEmpty())
        cbFindWhat_->setEditText(text);
}

void ReplaceWindow::Finish(int action) {
    action_ = action;
    Remember(cbFindWhat_);
    Remember(cbReplaceWith_);
    accept();
}

void ReplaceWindow::ShowModal() {
    action_ = kCancel;
    cbFindWhat_->lineEdit()->selectAll();
    cbFindWhat_->setFocus();
    Dialogs().Exec(*this);
}

std::string ReplaceWindow::FindWhat() const {
    return cbFindWhat_->currentText().toStdString();
}

std::string ReplaceWindow::ReplaceWith() const {
    return cbReplaceWith_->currentText().toStdString();
}

bool ReplaceWindow::MatchCase() const {
    return ckMatchCase_->isChecked();
}

bool ReplaceWindow::WholeWord() const {
    return ckMatchAll_->isChecked();
}

int ReplaceWindow::Scope() const {
    if (opSelected_->isChecked())
        return kSelected;
    if (opAllOpenFile_->isChecked())
        return kAllOpenFiles;
    return kCurrentFile;
}

ReplaceNextWindow::ReplaceNextWindow(QWidget* parent) : QDialog(parent), lblQuestion_(new QLabel) {
    setObjectName("wizReplaceNext");
    setWindowTitle("Replace");
    lblQuestion_->setObjectName("lblQuestion");
    lblQuestion_->setTextFormat(Qt::PlainText);
    lblQuestion_->setWordWrap(true);

    auto* buttons = new QDialogButtonBox;
    QPushButton* replace =
        AddButton(buttons, "&Replace", "cmdReplace", QDialogButtonBox::AcceptRole);
    replace->setDefault(true);
    QPushButton* all =
        AddButton(buttons, "Replace &All", "cmdReplaceAll", QDialogButtonBox::AcceptRole);
    QPushButton* next =
        AddButton(buttons, "&Find Next", "cmdFindNext", QDialogButtonBox::AcceptRole);
    QPushButton* cancel = AddButton(buttons, "Cancel", "cmdCancel", QDialogButtonBox::RejectRole);
    for (auto [button, action] :
         {std::pair{replace, int(kReplace)}, std::pair{all, int(kReplaceAll)},
          std::pair{next, int(kFindNext)}})
        connect(button, &QPushButton::clicked, this, [this, action = action] {
            action_ = action;
            accept();
        });
    connect(cancel, &QPushButton::clicked, this, &QDialog::reject);

    auto* layout = new QVBoxLayout(this);
    layout->addWidget(lblQuestion_);
    layout->addWidget(buttons);
}

void ReplaceNextWindow::Describe(const QString& found, const QString& replacement,
                                 const QRect& matchOnScreen) {
    lblQuestion_->setText(
        QString("Replace \u201C%1\u201D with \u201C%2\u201D here?").arg(found, replacement));
    match_ = matchOnScreen;
}

int ReplaceNextWindow::ShowModal() {
    action_ = 0;
    adjustSize();
    // Below the match, or above it where the screen ends, so that the match stays in sight.
    if (match_.isValid()) {
        const QScreen* screen = QGuiApplication::screenAt(match_.center());
        const QRect area = screen ? screen->availableGeometry() : QRect(0, 0, 4096, 4096);
        QPoint place(match_.left(), match_.bottom() + 24);
        if (place.y() + frameGeometry().height() > area.bottom())
            place.setY(match_.top() - frameGeometry().height() - 24);
        place.setX(
            std::max(area.left(), std::min(place.x(), area.right() - frameGeometry().width())));
        move(place);
    }
    Dialogs().Exec(*this);
    return action_;
}

} // namespace bx::ui
