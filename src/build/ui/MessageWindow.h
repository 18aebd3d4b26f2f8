#pragma once
// frmMessage, the studio's output pane: one read-only text that collects every message, a click
// on a build tool's error line ("file(line): text") opening that file at that line, and the
// Message/Trace/Help strip above it as a fixed decoration. It hears the appliance's build
// output through its BuildMessage event. The text and the rules live in MessageMonitor; the
// widget shows them.

#include "build/MessageMonitor.h"

#include <QWidget>

class QPlainTextEdit;
class QTabBar;
class QToolButton;

namespace bx {
class Appliance;
}

namespace bx::ui {

class MessageWindow : public QWidget, public MessageSink {
    Q_OBJECT
public:
    explicit MessageWindow(QWidget* parent = nullptr);
    ~MessageWindow() override;

    // Subscribes to the appliance's build output (null: none).
    void SetAppliance(Appliance* appliance);

    void PostMessage(const std::string& text) override;
    void ClearMessages() override;

    const MessageMonitor& Monitor() const { return monitor_; }
    QPlainTextEdit* TextControl() const { return rtbMessage_; }
    // While a build runs the pane offers its Stop button.
    void SetBuilding(bool building);
    QToolButton* StopButton() const { return cmdStopBuild_; }

signals:
    // A click on a tool's error line.
    void GotoFileLine(const QString& file, int line);
    // The person asked for the running build to stop.
    void StopBuildRequested();

protected:
    bool eventFilter(QObject* watched, QEvent* event) override;

private:
    void ClickedAt(int blockNumber);

    MessageMonitor monitor_;
    Appliance* appliance_ = nullptr;
    std::size_t buildConnection_ = 0;
    QTabBar* tbsSelector_;
    QPlainTextEdit* rtbMessage_;
    QToolButton* cmdStopBuild_;
};

} // namespace bx::ui
