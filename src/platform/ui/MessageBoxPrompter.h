#pragma once
// The studio's message boxes: the Prompter as a QMessageBox with the exact title, text, icon
// and buttons each flow asks for, over the window that is active. Every box shown is also
// written to the program log.

#include "foundation/HostInterfaces.h"

#include <QPointer>
#include <QWidget>

namespace bx::ui {

class MessageBoxPrompter : public Prompter {
public:
    // The boxes stand over parent, or over the active window when it is gone or null.
    explicit MessageBoxPrompter(QWidget* parent = nullptr) : parent_(parent) {}
    int ask(const std::string& title, const std::string& text, Buttons buttons, Icon icon) override;

private:
    QPointer<QWidget> parent_;
};

// The text as a box shows it: CR LF and lone CRs become line breaks.
QString BoxText(const std::string& text);

} // namespace bx::ui
