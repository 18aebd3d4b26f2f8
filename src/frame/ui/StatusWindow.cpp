#include "frame/ui/StatusWindow.h"

#include <QApplication>
#include <QHBoxLayout>
#include <QLabel>
#include <QScreen>

namespace bx::ui {

StatusWindow::StatusWindow(QWidget* frame)
    : QWidget(frame, Qt::Tool | Qt::FramelessWindowHint | Qt::WindowDoesNotAcceptFocus),
      icon_(new QLabel(this)), lblStateMsg_(new QLabel(this)) {
    setObjectName("frmStatus");
    setAttribute(Qt::WA_ShowWithoutActivating);
    setAutoFillBackground(true);
    lblStateMsg_->setObjectName("lblStateMsg");
    lblStateMsg_->setMinimumWidth(280);
    lblStateMsg_->setWordWrap(true);
    auto* layout = new QHBoxLayout(this);
    layout->setContentsMargins(16, 12, 16, 12);
    layout->setSpacing(12);
    layout->addWidget(icon_, 0, Qt::AlignTop);
    layout->addWidget(lblStateMsg_, 1);
    setStyleSheet("#frmStatus { border: 1px solid palette(mid); }");
}

void StatusWindow::State(int code) {
    if (!state_.State(code))
        return;
    if (!state_.Visible()) {
        hide();
        return;
    }
    Present();
}

void StatusWindow::StateArg(const std::string& text) {
    state_.StateArg(text);
    lblStateMsg_->setText(QString::fromStdString(state_.ShownText()));
    if (isVisible())
        QApplication::processEvents(QEventLoop::ExcludeUserInputEvents);
}

void StatusWindow::GoAway() {
    state_.GoAway();
    hide();
}

QString StatusWindow::ShownText() const {
    return lblStateMsg_->text();
}

void StatusWindow::Present() {
    // The image is always the frame's icon: no progress code has one of its own.
    if (QWidget* frame = parentWidget())
        icon_->setPixmap(frame->windowIcon().pixmap(32, 32));
    lblStateMsg_->setText(QString::fromStdString(state_.ShownText()));
    adjustSize();
    if (QWidget* frame = parentWidget()) {
        const QPoint centre = frame->mapToGlobal(frame->rect().center());
        move(centre - rect().center());
    }
    show();
    // The operation that called holds the UI thread: let the window paint now. A person's
    // clicks and keys wait, as re-entering a command in the middle of another isn't safe.
    QApplication::processEvents(QEventLoop::ExcludeUserInputEvents);
}

} // namespace bx::ui
