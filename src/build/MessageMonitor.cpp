#include "build/MessageMonitor.h"

#include "foundation/Error.h"

#include <limits>

namespace bx {

namespace {

constexpr int32_t kTypeMismatch = 13;

bool IsLineEnd(char c) {
    return c == '\r' || c == '\n';
}

[[noreturn]] void TypeMismatch() {
    throw BxError(kTypeMismatch, "MessageMonitor", "Type mismatch");
}

// A decimal line number as the pane's conversion reads it: blanks around it allowed, an
// optional sign, digits, within 32 bits. Anything else is a conversion error.
int32_t ToLineNumber(const std::string& text) {
    std::size_t begin = text.find_first_not_of(' ');
    std::size_t end = text.find_last_not_of(' ');
    if (begin == std::string::npos)
        TypeMismatch();
    const std::string number = text.substr(begin, end - begin + 1);
    std::size_t i = (number[0] == '+' || number[0] == '-') ? 1 : 0;
    if (i == number.size())
        TypeMismatch();
    int64_t value = 0;
    for (; i < number.size(); ++i) {
        if (number[i] < '0' || number[i] > '9')
            TypeMismatch();
        value = value * 10 + (number[i] - '0');
        if (value > static_cast<int64_t>(std::numeric_limits<int32_t>::max()) + 1)
            TypeMismatch();
    }
    if (number[0] == '-')
        value = -value;
    if (value > std::numeric_limits<int32_t>::max())
        TypeMismatch();
    return static_cast<int32_t>(value);
}

} // namespace

std::optional<FileLine> FileLineAt(const std::string& text, std::size_t caret) {
    std::size_t s = caret > text.size() ? text.size() : caret;
    // On the LF of a CR LF pair the caret still stands on the line the pair ends.
    if (s > 0 && s < text.size() && text[s] == '\n' && text[s - 1] == '\r')
        --s;
    std::size_t start = s;
    while (start > 0 && !IsLineEnd(text[start - 1]))
        --start;

    // The first "):" from the line's beginning on, wherever it is; a match on the line's first
    // character doesn't count, and neither does one on a later line.
    const std::size_t p = text.find("):", start);
    if (p == std::string::npos || p == start)
        return std::nullopt;
    for (std::size_t i = start; i < p; ++i)
        if (IsLineEnd(text[i]))
            return std::nullopt;

    const std::string head = text.substr(start, p - start);
    const std::size_t q = head.find('(');
    if (q == std::string::npos)
        TypeMismatch();
    return FileLine{head.substr(0, q), ToLineNumber(head.substr(q + 1))};
}

void MessageMonitor::ClearMessages() {
    text_.clear();
    droppedNoteLength_ = 0;
    selectionStart_ = 0;
    selectionLength_ = 0;
}

void MessageMonitor::PostMessage(const std::string& text) {
    text_ += text;
    text_ += "\r\n";
    if (text_.size() > kKeptText + droppedNoteLength_) {
        // Whole lines go from the front, behind the note that says so.
        std::size_t cut = text_.size() - kKeptText;
        const std::size_t lineEnd = text_.find('\n', cut);
        cut = lineEnd == std::string::npos ? text_.size() : lineEnd + 1;
        const std::string note = std::string(kDroppedNote) + "\r\n";
        text_ = note + text_.substr(cut);
        droppedNoteLength_ = note.size();
    }
    // Setting the whole text puts the insertion point at the beginning, so the search finds
    // the first occurrence: a text posted twice shows the earlier one.
    selectionStart_ = text_.find(text);
    selectionLength_ = text.size();
    if (selectionStart_ == std::string::npos) {
        selectionStart_ = text_.size();
        selectionLength_ = 0;
    }
}

} // namespace bx
