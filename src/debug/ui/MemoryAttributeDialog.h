#pragma once
// wizMemoryAttribute, "Configure Memory Breakpoints": read and write breakpoints on a range of
// the target's memory, set straight in the Emulator (they are not kept in the appliance). The
// start is "bank:address" in hexadecimal, the end an address in the same bank; the option
// sets the chosen kinds on the range and clears the others (MemoryBreakPlan). A start or end
// that doesn't read gets its message, and the focus goes back to it with its text selected.
// The dialog keeps what was typed and chosen for its next use, as the one form of the session.

#include <QDialog>
#include <memory>

class QButtonGroup;
class QLineEdit;

namespace bx {
class Emulator;
class Prompter;
} // namespace bx

namespace bx::ui {

class MemoryAttributeDialog : public QDialog {
    Q_OBJECT
public:
    MemoryAttributeDialog(Prompter& prompter, Emulator& emulator, QWidget* parent);
    ~MemoryAttributeDialog() override;

private:
    void Done();

    Prompter& prompter_;
    Emulator& emulator_;
    QLineEdit* txtStart_;
    QLineEdit* txtEnd_;
    QButtonGroup* optAttribute_;
};

// Runs the dialog modally over parent (the memory inspector or the frame); nothing without an
// Emulator.
void ShowMemoryAttributeDialog(QWidget* parent, Prompter& prompter,
                               const std::shared_ptr<Emulator>& emulator);

} // namespace bx::ui
