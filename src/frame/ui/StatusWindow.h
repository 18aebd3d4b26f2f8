#pragma once
// frmStatus: the small window that tells what a long operation is doing (power-on, opening an
// appliance, opening views). Callers pass progress codes; the texts come from the one table of
// the core. It shows without taking the focus and paints at once, while the operation that
// called it still holds the UI thread.

#include "foundation/HostInterfaces.h"
#include "foundation/ProgressCodes.h"

#include <QWidget>

class QLabel;

namespace bx::ui {

class StatusWindow : public QWidget, public StatusDisplay {
    Q_OBJECT
public:
    explicit StatusWindow(QWidget* frame);

    void State(int code) override;
    void StateArg(const std::string& text) override;
    void GoAway() override;

    QString ShownText() const;

private:
    void Present();

    ProgressState state_;
    QLabel* icon_;
    QLabel* lblStateMsg_;
};

} // namespace bx::ui
