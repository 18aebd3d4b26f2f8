#include "frame/ui/ChildWindow.h"

#include <QCloseEvent>
#include <QLabel>

namespace bx::ui {

ChildWindow::ChildWindow(const QString& name, const QString& caption, QWidget* parent)
    : QMdiSubWindow(parent) {
    setObjectName(name);
    setWindowTitle(caption);
    // The frame keeps its children for the whole run; closing one only hides it.
    setAttribute(Qt::WA_DeleteOnClose, false);
}

void ChildWindow::SetContent(QWidget* content) {
    if (QWidget* old = widget()) {
        setWidget(nullptr);
        old->deleteLater();
    }
    setWidget(content);
}

void ChildWindow::closeEvent(QCloseEvent* event) {
    event->ignore();
    hide();
    emit CloseRequested();
}

QWidget* NotYetNote(const QString& title) {
    auto* note = new QLabel(QString("<p><b>%1</b></p><p>Not part of this build of the studio "
                                    "yet.</p>")
                                .arg(title.toHtmlEscaped()));
    note->setAlignment(Qt::AlignCenter);
    note->setWordWrap(true);
    note->setMargin(16);
    note->setForegroundRole(QPalette::PlaceholderText);
    note->setBackgroundRole(QPalette::Base);
    note->setAutoFillBackground(true);
    return note;
}

} // namespace bx::ui
