#pragma once
// The message pane's logic without the widget: the whole text of the pane, what a post does to
// it, and the rule that turns a click on a tool's error line ("file(line): text") into a
// source file and line. The widget (build/ui) shows Text() and selects Selection(); it reads
// the caret on a click and asks SourceAt. UI thread only.

#include "foundation/HostInterfaces.h"

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>

namespace bx {

struct FileLine {
    std::string File;
    int32_t Line = 0;
    bool operator==(const FileLine&) const = default;
};

// The click rule on a text whose lines end in CR LF (a lone CR or LF ends a line as well).
// caret is the character index of the insertion point, counting from 0; an index past the end
// stands at the end. Nothing when the caret's line holds no "):" or begins with it. A line
// with "):" but no "(" ahead of it, or with something other than a decimal number between the
// "(" and the "):", raises BxError 13 ("Type mismatch"): tool output of that shape isn't
// expected, and the error is the caller's to show.
std::optional<FileLine> FileLineAt(const std::string& text, std::size_t caret);

class MessageMonitor : public MessageSink {
public:
    // The pane keeps the last kKeptText bytes of what was posted, whole lines: a build tool
    // that prints without end can't fill the memory. When older lines had to go, the text
    // begins with kDroppedNote and a CR LF.
    static constexpr std::size_t kKeptText = 4 * 1024 * 1024;
    static constexpr const char* kDroppedNote =
        "(Earlier messages are not shown: the pane keeps the last 4 MB of text.)";

    // The text becomes empty.
    void ClearMessages() override;
    // Appends text and CR LF, then selects the first occurrence of text in the whole pane, so
    // that the pane scrolls to it. Any earlier selection is lost. A text no longer in the pane
    // as a whole (longer than what it keeps) selects nothing at the end.
    void PostMessage(const std::string& text) override;

    const std::string& Text() const { return text_; }
    // The selection after the last post: its start (from 0) and length.
    std::size_t SelectionStart() const { return selectionStart_; }
    std::size_t SelectionLength() const { return selectionLength_; }

    // The click rule on the pane's text.
    std::optional<FileLine> SourceAt(std::size_t caret) const { return FileLineAt(text_, caret); }

private:
    std::string text_;
    std::size_t droppedNoteLength_ = 0; // the note's share of text_, once lines were dropped
    std::size_t selectionStart_ = 0;
    std::size_t selectionLength_ = 0;
};

} // namespace bx
