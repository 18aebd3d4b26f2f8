#pragma once
// SourceLineModel: everything of a debug source view except the painting. The view shows one
// source file while the machine is powered on, read-only: each line behind a 15-column prefix
// with the address and first bytes of the code the line produced, a strip on the left for the
// breakpoint marks, and a bar on the line of the program counter. The widget paints what this
// model holds and hands it the mouse, the keys and its size.
//
// The prefix, columns 1 to 15:
//   1-4    Hex4(address), the address the symbols give the line
//   5-13   up to three bytes, each " " + Hex2(byte); three blanks for each byte past the end of
//          the line's code; " ??" for each byte the image file didn't give
//   14-15  ".." when the line's code is longer than three bytes, two blanks otherwise
// A line without code, or whose code lies in the bank window or outside 0..65535, gets 15
// blanks: the ROM image holds banked code at an offset the address alone doesn't tell, so
// banked lines show neither address nor bytes. The bytes come from the image file on disk,
// read once per file and kept until Clear, so that a file of thousands of lines costs one read.
//
// The top line is the value of the view's vertical scroll bar; this model keeps that bar's
// value, range, large change and visibility (ScrollBar()), and the widget mirrors them.
//
// Lengths (row height, control height, strip width, mouse positions) are in twips, the unit
// the view's layout constants are given in (a 200-twip margin in the strip width); the widget
// converts from pixels.
//
// The breakpoint marks and the line toggle are SourceBreakMarks (src/debug/); this model owns
// one and hands it out (Marks()) so that the debugger's commands over all views reach it.
//
// UI thread only.

#include "debug/SourceBreakMarks.h"

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace bx {

class Appliance;
class Emulator;
class Prompter;
class Symbler;

// The find dialog shared with the source editor, as the view needs it: shown modally by
// FindNew, and read again (its check boxes) by FindNext, so the host keeps the object alive.
class FindDialog {
public:
    virtual ~FindDialog() = default;
    // Shows the dialog modally; false when it was cancelled.
    virtual bool ShowModal() = 0;
    virtual std::string FindTarget() const = 0;
    virtual bool MatchCase() const = 0;
    virtual bool WholeWord() const = 0;
};

// The mouse pointer the strip asks for.
enum class StripPointer { Arrow, Cross };

class SourceLineModel {
public:
    // The key codes the view handles.
    static constexpr int32_t kKeyPageUp = 33;
    static constexpr int32_t kKeyPageDown = 34;
    static constexpr int32_t kKeyUp = 38;
    static constexpr int32_t kKeyDown = 40;
    static constexpr int32_t kPrefixWidth = 15;

    struct ScrollState {
        int32_t Value = 0;
        int32_t Min = 0;
        int32_t Max = 0;
        int32_t LargeChange = 1;
        bool Visible = false;
    };

    SourceLineModel();
    SourceLineModel(const SourceLineModel&) = delete;
    SourceLineModel& operator=(const SourceLineModel&) = delete;

    // ---- Set by the host ------------------------------------------------------------------

    void SetEmulator(std::shared_ptr<Emulator> emulator);
    void SetAppliance(Appliance* appliance);
    void SetSymbols(Symbler* symbols);
    // The symbol library's number of the file; set before lines are added.
    void SetFileId(int32_t fileId);
    int32_t FileId() const { return marks_.FileId; }

    // The font's metrics, taken when the control starts: the width and height of one blank.
    // The strip is 15 blanks plus 200 twips wide, rounded.
    void SetTextMetrics(double blankWidth, double rowHeight);
    int32_t StripWidth() const { return stripWidth_; }
    double RowHeight() const { return rowHeight_; }
    // The control's new height: the large change becomes the rows that fit less 2 (at least
    // 1), and the selected line is brought into view.
    void Resize(double controlHeight);

    // Message boxes (the find's "not found") go here; the find dialog is the host's.
    Prompter* Prompts = nullptr;
    FindDialog* Finder = nullptr;

    // Events. Repaint: the view must paint again. QueryBusy: is the target running now (no
    // handler: it isn't). TipChanged: the strip's tip text changed; the host sets it as the
    // control's tool tip.
    std::function<void()> Repaint;
    std::function<bool()> QueryBusy;
    std::function<void(const std::string&)> TipChanged;

    // ---- Lines ----------------------------------------------------------------------------

    // Adds the next line: the prefix of its code, then text. Throws BxError when the image
    // file is needed and can't be read (the host's error path drops the view).
    void AddLine(const std::string& text);
    // No lines, the scroll bar hidden, no marks; the image file is read afresh next time.
    void Clear();
    // The number of lines added.
    int32_t LineCount() const { return static_cast<int32_t>(lines_.size()); }
    // The display text of line n (from 1): prefix and source text. Line LineCount() + 1 is the
    // empty line the view always keeps past the last; any other number gives "".
    std::string Line(int32_t n) const;

    // ---- Position -------------------------------------------------------------------------

    const ScrollState& ScrollBar() const { return scroll_; }
    // The top line: the scroll bar's value. Setting it (the user drags the bar) keeps it in
    // the scroll range and repaints.
    int32_t TopLine() const { return scroll_.Value; }
    void SetTopLine(int32_t line) { SetValue(line); }
    // Scrolls so that line (above 0) is in view: a line already shown stays where it is,
    // otherwise it comes to the middle, as far as the scroll range allows.
    void EnsureVisible(int32_t line);
    // EnsureVisible and a repaint; doesn't mark the line.
    void VisibleLine(int32_t line);
    // The line of the program counter (0 for none): marks it and brings it into view.
    void SetSelectedLine(int32_t line);
    int32_t SelectedLine() const { return marks_.SelectedLine; }
    void SetCtrlVisible(bool visible) { visible_ = visible; }
    bool CtrlVisible() const { return visible_; }

    // The keys (Up, Down, Page Up, Page Down) move the top line; true when the key was one of
    // them, which the view then swallows.
    bool KeyDown(int32_t code, bool shift);
    // One row: -1 up, any other value down, within the scroll range.
    void ScrollBarMove(int32_t direction);

    // ---- Breakpoint marks -----------------------------------------------------------------

    SourceBreakMarks& Marks() { return marks_; }
    const SourceBreakMarks& Marks() const { return marks_; }
    ToggleOutcome ToggleBreak(int32_t line) { return marks_.ToggleBreak(line); }
    void ClearAllBreakMarks() { marks_.ClearAllBreakMarks(); }
    void InitBreakpoints() { marks_.InitBreakpoints(); }
    bool IsMarked(int32_t line) const { return marks_.IsMarked(line); }

    // ---- The strip ------------------------------------------------------------------------

    // The line a mouse at y lies on.
    int32_t LineAtY(double y) const;
    // A left click: inside the strip (x up to its width) toggles the breakpoint of the line
    // under the mouse; nothing (nullopt) elsewhere.
    std::optional<ToggleOutcome> StripClick(double x, double y);
    // The mouse moved. Inside the strip, on a line whose bytes are cut off (".." in column
    // 14), the tip shows up to 16 of them, read from the target's memory; outside it the tip
    // text is dropped without an event.
    StripPointer StripHover(double x, double y);
    const std::string& TipText() const { return tipText_; }
    int32_t HoveredLine() const { return hoveredLine_; }

    // ---- Find -----------------------------------------------------------------------------

    // Asks the find dialog for a text and searches it from the top line.
    void FindNew();
    // Searches the stored text again from the line below the top one; without one, FindNew.
    void FindNext();
    // Searches the lines' source text (the prefix skipped) from start to the end, then, when
    // nothing was found, from line 1 up to start - 1. A hit becomes the top line and is the
    // result; with none a box says so, the view stays, and the result is 0.
    int32_t FindLine(const std::string& text, int32_t start);
    // The find's settings; FindNew and FindNext take them from the dialog.
    bool IgnoreCase = false;
    bool WholeWord = false;
    const std::string& FindText() const { return findText_; }

private:
    // The address of the next line with code within the 29 lines behind line, or nullopt.
    std::optional<int32_t> NextLineAddress(int32_t line) const;
    std::string Prefix(int32_t line);
    const std::string& ImageBytes();
    bool LineMatches(int32_t line, const std::string& text) const;
    int32_t RowsThatFit() const;
    void SetRange(int32_t min, int32_t max);
    void SetValue(int32_t value);

    SourceBreakMarks marks_;
    std::vector<std::string> lines_;
    ScrollState scroll_;
    bool visible_ = false;
    double rowHeight_ = 0;
    double controlHeight_ = 0;
    int32_t stripWidth_ = 0;
    int32_t hoveredLine_ = 0;
    std::string tipText_;
    std::string findText_;
    std::optional<std::string> image_;
};

} // namespace bx
