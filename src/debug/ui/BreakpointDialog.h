#pragma once
// wizBreakpoint, "Breakpoints": the execute breakpoints the appliance keeps, with the source
// file and line of each (BreakpointList). "Go To" (or a double click) shows a breakpoint's line
// in the debugger, "Delete" toggles it off there, "Delete All" clears every breakpoint, and
// the list is filled anew after each change. A breakpoint whose address has no source line
// can be neither shown nor deleted from here.

#include "inspectors/BreakpointList.h"

#include <QDialog>
#include <functional>
#include <optional>
#include <string>

class QPushButton;
class QTreeWidget;

namespace bx {
class Appliance;
class Symbler;
} // namespace bx

namespace bx::ui {

// What the list asks of the debugger behind it.
struct BreakpointListHost {
    // Shows the line of a source file (its path) in the debugger's views.
    std::function<bool(const std::string& path, int line)> ShowFileLine;
    // Toggles the breakpoint of an address (a bank and a 16-bit address or one with the bank
    // folded in) off, as a click in the view's strip would.
    std::function<void(int bank, int address)> ToggleBreak;
    std::function<void()> ClearAllBreaks;
};

class BreakpointDialog : public QDialog {
    Q_OBJECT
public:
    BreakpointDialog(Appliance* appliance, Symbler* symbols, BreakpointListHost host,
                     QWidget* parent);

    QTreeWidget* List() const { return lvwBreaks_; }
    // Fills the list from the appliance's breakpoints as they stand.
    void Fill();

private:
    void GotoSelected();
    void DeleteSelected();
    // The source line of the selected breakpoint; nothing without one, or when its address
    // has no line.
    std::optional<BreakpointLine> SelectedLine() const;

    Appliance* appliance_;
    Symbler* symbols_;
    BreakpointListHost host_;
    QTreeWidget* lvwBreaks_;
    QPushButton* cmdGoto_;
    QPushButton* cmdDelete_;
    QPushButton* cmdDeleteAll_;
    bool empty_ = true;
};

// Runs the dialog modally over parent.
void ShowBreakpointEditor(QWidget* parent, Appliance* appliance, Symbler* symbols,
                          BreakpointListHost host);

} // namespace bx::ui
