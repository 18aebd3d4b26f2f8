#include "frame/ui/ChildWindow.h"

#include <QCloseEvent>

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

} // namespace bx::ui
