#include "editor/TextSearch.h"

#include <algorithm>

namespace bx {

namespace {

char16_t FoldCase(char16_t c) {
    return c >= u'A' && c <= u'Z' ? static_cast<char16_t>(c - u'A' + u'a') : c;
}

bool IsWordChar(char16_t c) {
    return (c >= u'A' && c <= u'Z') || (c >= u'a' && c <= u'z') || (c >= u'0' && c <= u'9') ||
           c == u'_';
}

} // namespace

int FindOptions(bool matchCase, bool wholeWord) {
    return (matchCase ? kFindMatchCase : 0) + (wholeWord ? kFindWholeWord : 0);
}

bool IsWholeWordAt(std::u16string_view text, std::size_t at, std::size_t length) {
    if (at > 0 && at <= text.size() && IsWordChar(text[at - 1]))
        return false;
    const std::size_t behind = at + length;
    return behind >= text.size() || !IsWordChar(text[behind]);
}

int32_t FindInText(std::u16string_view text, std::u16string_view what, int32_t start, int32_t end,
                   int options) {
    const std::size_t size = text.size();
    const std::size_t limit =
        end < 0 ? size : std::min<std::size_t>(static_cast<std::size_t>(end), size);
    const std::size_t length = what.size();
    if (length == 0 || start < 0 || limit < length)
        return -1;
    const bool matchCase = (options & kFindMatchCase) != 0;
    const bool wholeWord = (options & kFindWholeWord) != 0;
    const char16_t first = matchCase ? what[0] : FoldCase(what[0]);
    for (std::size_t at = static_cast<std::size_t>(start); at + length <= limit; ++at) {
        const char16_t c = matchCase ? text[at] : FoldCase(text[at]);
        if (c != first)
            continue;
        bool same = true;
        for (std::size_t i = 1; i < length && same; ++i)
            same =
                matchCase ? text[at + i] == what[i] : FoldCase(text[at + i]) == FoldCase(what[i]);
        if (same && (!wholeWord || IsWholeWordAt(text, at, length)))
            return static_cast<int32_t>(at);
    }
    return -1;
}

std::vector<int32_t> FindAllInText(std::u16string_view text, std::u16string_view what,
                                   int32_t start, int32_t end, int options) {
    std::vector<int32_t> found;
    int32_t from = start;
    for (;;) {
        const int32_t at = FindInText(text, what, from, end, options);
        if (at < 0)
            break;
        found.push_back(at);
        from = at + static_cast<int32_t>(what.size());
    }
    return found;
}

} // namespace bx
