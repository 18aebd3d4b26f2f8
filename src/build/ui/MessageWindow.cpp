#include "build/ui/MessageWindow.h"

#include "appliance/Appliance.h"
#include "foundation/Error.h"
#include "frame/ui/StudioIcons.h"

#include <QFontDatabase>
#include <QHBoxLayout>
#include <QMouseEvent>
#include <QPlainTextEdit>
#include <QScrollBar>
#include <QTabBar>
#include <QTextBlock>
#include <QToolButton>
#include <QVBoxLayout>

namespace bx::ui {

namespace {

// The pane's text as the control shows it: CR LF and lone CRs are line breaks.
QString Shown(const std::string& text) {
    QString shown = QString::fromStdString(text);
    shown.replace("\r\n", "\n");
    shown.replace('\r', '\n');
    return shown;
}

} // namespace

MessageWindow::MessageWindow(QWidget* parent)
    : QWidget(parent), tbsSelector_(new QTabBar(this)), rtbMessage_(new QPlainTextEdit(this)),
      cmdStopBuild_(new QToolButton(this)) {
    setObjectName("edtMessage");
    tbsSelector_->setObjectName("tbsSelector");
    for (const char* tab : {"Message", "Trace", "Help"})
        tbsSelector_->addTab(tab);
    tbsSelector_->setDrawBase(false);
    tbsSelector_->setShape(QTabBar::RoundedSouth);

    rtbMessage_->setObjectName("rtbMessage");
    rtbMessage_->setReadOnly(true);
    rtbMessage_->setLineWrapMode(QPlainTextEdit::NoWrap);
    rtbMessage_->setTextInteractionFlags(Qt::TextSelectableByMouse | Qt::TextSelectableByKeyboard);
    rtbMessage_->setFont(QFontDatabase::systemFont(QFontDatabase::FixedFont));
    rtbMessage_->viewport()->installEventFilter(this);

    cmdStopBuild_->setObjectName("cmdStopBuild");
    cmdStopBuild_->setText("Stop Build");
    cmdStopBuild_->setToolTip("Stop the running build (Esc)");
    cmdStopBuild_->setIcon(StudioIcon("Break"));
    cmdStopBuild_->setToolButtonStyle(Qt::ToolButtonTextBesideIcon);
    cmdStopBuild_->setShortcut(QKeySequence(Qt::Key_Escape));
    cmdStopBuild_->hide();
    connect(cmdStopBuild_, &QToolButton::clicked, this, &MessageWindow::StopBuildRequested);

    auto* bottom = new QHBoxLayout;
    bottom->setContentsMargins(0, 0, 4, 0);
    bottom->addWidget(tbsSelector_);
    bottom->addStretch(1);
    bottom->addWidget(cmdStopBuild_);
    auto* layout = new QVBoxLayout(this);
    layout->setContentsMargins(0, 0, 0, 0);
    layout->setSpacing(0);
    layout->addWidget(rtbMessage_, 1);
    layout->addLayout(bottom);
}

void MessageWindow::SetBuilding(bool building) {
    cmdStopBuild_->setVisible(building);
}

MessageWindow::~MessageWindow() {
    SetAppliance(nullptr);
}

void MessageWindow::SetAppliance(Appliance* appliance) {
    if (appliance_)
        appliance_->BuildMessage.Disconnect(buildConnection_);
    appliance_ = appliance;
    if (appliance_)
        buildConnection_ = appliance_->BuildMessage.Connect(
            [this](const std::string& text) { PostMessage(text); });
}

void MessageWindow::PostMessage(const std::string& text) {
    const std::size_t before = monitor_.Text().size();
    monitor_.PostMessage(text);
    const std::string& all = monitor_.Text();
    // The monitor sets its whole text anew; the control only takes what was added, so that a
    // long build's output doesn't cost the square of its length. What a person sees is the
    // same: the new text at the end, and the first occurrence of the posted text selected.
    // Once the monitor drops old lines (it keeps a bounded tail) the control takes it whole.
    if (all.size() == before + text.size() + 2) {
        QTextCursor end(rtbMessage_->document());
        end.movePosition(QTextCursor::End);
        end.insertText(Shown(all.substr(before)));
    } else {
        rtbMessage_->setPlainText(Shown(all));
    }

    const QString head = Shown(all.substr(0, monitor_.SelectionStart()));
    const QString selected =
        Shown(all.substr(monitor_.SelectionStart(), monitor_.SelectionLength()));
    QTextCursor selection(rtbMessage_->document());
    selection.setPosition(static_cast<int>(head.size()));
    selection.setPosition(static_cast<int>(head.size() + selected.size()), QTextCursor::KeepAnchor);
    rtbMessage_->setTextCursor(selection);
    rtbMessage_->ensureCursorVisible();
}

void MessageWindow::ClearMessages() {
    monitor_.ClearMessages();
    rtbMessage_->clear();
}

bool MessageWindow::eventFilter(QObject* watched, QEvent* event) {
    if (watched == rtbMessage_->viewport() && event->type() == QEvent::MouseButtonRelease) {
        const auto* mouse = static_cast<QMouseEvent*>(event);
        if (mouse->button() == Qt::LeftButton) {
            // The control has put its caret where the click was by now; the rule reads it.
            const int block =
                rtbMessage_->cursorForPosition(mouse->position().toPoint()).blockNumber();
            ClickedAt(block);
        }
    }
    return QWidget::eventFilter(watched, event);
}

void MessageWindow::ClickedAt(int blockNumber) {
    const QTextBlock block = rtbMessage_->document()->findBlockByNumber(blockNumber);
    if (!block.isValid())
        return;
    try {
        // The rule looks at the caret's line alone, so the line itself is all it needs.
        const auto target = FileLineAt(block.text().toStdString() + "\r\n", 0);
        if (target)
            emit GotoFileLine(QString::fromStdString(target->File), target->Line);
    } catch (const BxError&) {
        // A line with "):" whose line number isn't one: not a tool's error line after all.
    }
}

} // namespace bx::ui
