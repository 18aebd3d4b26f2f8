#include "editor/Smartword.h"

#include <algorithm>

namespace bx {

namespace {

char LowerAscii(char c) {
    return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c;
}

bool IsAsciiAlnum(char16_t c) {
    return (c >= u'A' && c <= u'Z') || (c >= u'a' && c <= u'z') || (c >= u'0' && c <= u'9');
}

bool IsBlank(char c) {
    return c == ' ' || c == '\t';
}

// The fields of one line of a delimited file.
std::vector<std::string> LineFields(std::string_view line) {
    std::vector<std::string> fields;
    std::size_t at = 0;
    while (at <= line.size()) {
        while (at < line.size() && IsBlank(line[at]))
            ++at;
        std::string field;
        if (at < line.size() && line[at] == '"') {
            const std::size_t close = line.find('"', at + 1);
            const std::size_t end = close == std::string_view::npos ? line.size() : close;
            field = std::string(line.substr(at + 1, end - at - 1));
            at = end + 1;
            // Whatever stands between the closing quote and the comma isn't part of the field.
            const std::size_t comma = line.find(',', std::min(at, line.size()));
            at = comma == std::string_view::npos ? line.size() + 1 : comma + 1;
        } else {
            const std::size_t comma = line.find(',', at);
            const std::size_t end = comma == std::string_view::npos ? line.size() : comma;
            field = std::string(line.substr(at, end - at));
            while (!field.empty() && IsBlank(field.back()))
                field.pop_back();
            at = end + 1;
        }
        fields.push_back(std::move(field));
    }
    return fields;
}

} // namespace

bool KeywordList::Add(const std::string& keyword, const std::string& description) {
    const bool taken = std::any_of(entries_.begin(), entries_.end(),
                                   [&](const KeywordEntry& e) { return e.Keyword == keyword; });
    if (taken)
        return false;
    entries_.push_back({keyword, description, keyword + " - " + description});
    return true;
}

int KeywordList::Find(std::string_view word) const {
    if (word.empty())
        return -1;
    for (std::size_t i = 0; i < entries_.size(); ++i) {
        const std::string& text = entries_[i].Text;
        if (text.size() < word.size())
            continue;
        bool same = true;
        for (std::size_t c = 0; c < word.size() && same; ++c)
            same = LowerAscii(text[c]) == LowerAscii(word[c]);
        if (same)
            return static_cast<int>(i);
    }
    return -1;
}

std::vector<std::pair<std::string, std::string>> ReadKeywordRecords(std::string_view content) {
    std::vector<std::pair<std::string, std::string>> records;
    std::size_t start = 0;
    while (start < content.size()) {
        std::size_t end = content.find_first_of("\r\n", start);
        if (end == std::string_view::npos)
            end = content.size();
        const std::string_view line = content.substr(start, end - start);
        start = end + 1;
        if (end < content.size() && content[end] == '\r' && start < content.size() &&
            content[start] == '\n')
            ++start;
        if (line.find_first_not_of(" \t") == std::string_view::npos)
            continue;
        std::vector<std::string> fields = LineFields(line);
        fields.resize(std::max<std::size_t>(fields.size(), 2));
        records.emplace_back(std::move(fields[0]), std::move(fields[1]));
    }
    return records;
}

int LoadKeywords(KeywordList& list, std::string_view content) {
    int added = 0;
    for (const auto& [keyword, description] : ReadKeywordRecords(content))
        if (!keyword.empty() && list.Add(keyword, description))
            ++added;
    return added;
}

bool IsHintWordChar(char16_t c) {
    return IsAsciiAlnum(c) || c == u'_' || c == u'.';
}

bool IsListWordChar(char16_t c) {
    return IsAsciiAlnum(c) || c == u'_';
}

bool HintAllowedAt(std::u16string_view line, int caret) {
    const std::size_t end =
        std::min<std::size_t>(static_cast<std::size_t>(std::max(caret, 0)), line.size());
    return line.substr(0, end).find(u';') == std::u16string_view::npos;
}

int HintWordStart(std::u16string_view line, int caret) {
    int start = std::min(std::max(caret, 0), static_cast<int>(line.size()));
    while (start > 0 && IsHintWordChar(line[static_cast<std::size_t>(start - 1)]))
        --start;
    return start;
}

HintPlace PlaceHint(int x, int y, int lineHeight, int windowHeight, int screenBottom) {
    // Below the word by at least the classic 14 pixels, and never over a taller line.
    const int below = y + std::max(14, lineHeight);
    if (below + windowHeight < screenBottom)
        return {x, below};
    return {x, y - windowHeight};
}

} // namespace bx
