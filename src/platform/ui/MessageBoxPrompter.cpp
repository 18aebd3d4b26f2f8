#include "platform/ui/MessageBoxPrompter.h"

#include "platform/Diagnostics.h"

#include <QApplication>
#include <QMessageBox>

namespace bx::ui {

QString BoxText(const std::string& text) {
    QString shown = QString::fromStdString(text);
    shown.replace("\r\n", "\n");
    shown.replace('\r', '\n');
    return shown;
}

int MessageBoxPrompter::ask(const std::string& title, const std::string& text, Buttons buttons,
                            Icon icon) {
    platform::ProgramLogLine("Box \"" + title + "\": " + text);
    QWidget* parent = parent_ ? parent_.data() : QApplication::activeWindow();
    QMessageBox box(parent);
    box.setWindowTitle(QString::fromStdString(title));
    box.setText(BoxText(text));
    box.setTextFormat(Qt::PlainText);
    switch (icon) {
    case Icon::Critical:
        box.setIcon(QMessageBox::Critical);
        break;
    case Icon::Question:
        box.setIcon(QMessageBox::Question);
        break;
    case Icon::Exclamation:
        box.setIcon(QMessageBox::Warning);
        break;
    case Icon::Information:
        box.setIcon(QMessageBox::Information);
        break;
    case Icon::None:
        box.setIcon(QMessageBox::NoIcon);
        break;
    }
    switch (buttons) {
    case Buttons::Ok:
        box.setStandardButtons(QMessageBox::Ok);
        break;
    case Buttons::OkCancel:
        box.setStandardButtons(QMessageBox::Ok | QMessageBox::Cancel);
        break;
    case Buttons::YesNoCancel:
        box.setStandardButtons(QMessageBox::Yes | QMessageBox::No | QMessageBox::Cancel);
        break;
    case Buttons::YesNo:
        box.setStandardButtons(QMessageBox::Yes | QMessageBox::No);
        break;
    case Buttons::RetryCancel:
        box.setStandardButtons(QMessageBox::Retry | QMessageBox::Cancel);
        break;
    }
    switch (box.exec()) {
    case QMessageBox::Yes:
        return AnswerYes;
    case QMessageBox::No:
        return AnswerNo;
    case QMessageBox::Cancel:
        return AnswerCancel;
    case QMessageBox::Retry:
        return 4;
    case QMessageBox::Ok:
        return AnswerOk;
    default:
        // A box closed by its window button counts as its escape button.
        if (box.standardButtons() & QMessageBox::Cancel)
            return AnswerCancel;
        return buttons == Buttons::YesNo ? AnswerNo : AnswerOk;
    }
}

} // namespace bx::ui
