#pragma once
// One child window of the frame's MDI area (frmAppliance, frmSource, frmMessage, ...): its name
// is the one the appliance's desktop layouts use, its caption the one a person sees. Closing it
// hides it; the next desktop switch that names it shows it again. A window whose contents
// aren't part of the studio yet shows a short note saying so.

#include <QMdiSubWindow>

namespace bx::ui {

class ChildWindow : public QMdiSubWindow {
    Q_OBJECT
public:
    ChildWindow(const QString& name, const QString& caption, QWidget* parent = nullptr);

    // The widget the window hosts; the window takes ownership.
    void SetContent(QWidget* content);
    QWidget* Content() const { return widget(); }

signals:
    // The person asked the window to close (it hides).
    void CloseRequested();

protected:
    void closeEvent(QCloseEvent* event) override;
};

} // namespace bx::ui
