#pragma once
// Execute breakpoints on source lines, without the widgets: the marks of one debug source view
// and the toggle at a line (SourceBreakMarks, the logic behind a DebugView's strip), and the
// debugger's commands over all its views (ToggleBreakInViews, ClearAllBreaks).
//
// A breakpoint lives in two places that a toggle keeps in step: the Emulator, where it takes
// effect (SetBreak/ClearBreak of kind execute on one byte), and the appliance's Breakpoints,
// where it survives a power cycle and the file, as the record (0, address, 1, 1). The record's
// Bank is 0 and the bank stays in the high bits of the address: power-on sets bank * 65536 +
// Start, which gives the same address for both forms.
//
// UI thread only.

#include "foundation/KeyedCollection.h"

#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <vector>

namespace bx {

class Appliance;
class Emulator;
class Symbler;

// What a toggle did, so that the caller (and a test) can tell the quiet cases apart.
enum class ToggleOutcome {
    Set,      // the line had no breakpoint and has one now
    Cleared,  // the line had one and has none now
    Busy,     // the target runs under ICE, where breakpoints can't change during a run
    NoCode,   // the line produced no code, so it takes no breakpoint
    NoLine,   // a negative line with no selected line, or no such view
    NotReady, // the view has no Symbler, Emulator or Appliance yet
};

class SourceBreakMarks {
public:
    // The key of line n in the marks: "L" followed by n in decimal ("L17").
    static std::string MarkKey(int32_t line);

    // ---- Set by the host ------------------------------------------------------------------

    std::shared_ptr<Emulator> TargetEmulator;
    Appliance* TargetAppliance = nullptr;
    Symbler* Symbols = nullptr;
    // The symbol library's number of the file this view shows.
    int32_t FileId = 0;
    // The line of the program counter; 0 for none.
    int32_t SelectedLine = 0;
    // The view's QueryBusy event: whether the target is running at the moment. Without a
    // handler the target counts as not running.
    std::function<bool()> QueryBusy;
    // Called whenever the marks change and the strip must be painted again.
    std::function<void()> Repaint;

    // ---- Operations -----------------------------------------------------------------------

    // A line of 0 or more toggles that line; a negative one the selected line, if one is
    // selected.
    ToggleOutcome ToggleBreak(int32_t line);

    // The toggle at line n: refused while the target runs under ICE and on a line without
    // code; otherwise clears the breakpoint of a marked line or sets one on an unmarked line,
    // in the Emulator and in the appliance's Breakpoints alike, then repaints.
    ToggleOutcome ToggleLineBreak(int32_t line);

    // Empties the marks and repaints; the Emulator and the appliance are not touched.
    void ClearAllBreakMarks();

    // Rebuilds the marks from the appliance's Breakpoints: each record with the execute kind
    // whose address the Symbler places in this view's file marks that line. Needs both the
    // Symbler and the Emulator; without them the marks stay empty.
    void InitBreakpoints();

    bool IsMarked(int32_t line) const;
    // The marked lines in the order they were marked.
    std::vector<int32_t> MarkedLines() const;

private:
    KeyedCollection<int32_t> marks_;
};

// DebugMonitor.ToggleBreak(View, Line) over the views of its tab strip (views[i] is the view of
// index i, nullptr for none): with a negative value in either argument the current view's
// selected line, when a view is current (currentView >= 0); otherwise, for a view above 0,
// line in that view.
ToggleOutcome ToggleBreakInViews(const std::vector<SourceBreakMarks*>& views, int32_t currentView,
                                 int32_t view, int32_t line);

// DebugMonitor.ClearAllBreaks: removes every breakpoint from the Emulator, memory breakpoints
// included (ClearBreak(0, 7, -1)), empties the appliance's Breakpoints, and, when a view is
// current, clears the marks of every view.
void ClearAllBreaks(Emulator& emulator, Appliance& appliance,
                    const std::vector<SourceBreakMarks*>& views, bool viewIsCurrent);

} // namespace bx
