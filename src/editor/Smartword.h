#pragma once
// Smartword without its window: the keyword list the hint window shows, the reader of the
// keyword file "kw_asm.dat", and the rules that decide when a hint is looked up and for which
// word. The window (popSmartword) only shows what these decide.
//
// The keyword file holds records of two fields, keyword and description. A field may stand in
// double quotes (a quoted field may hold commas); a comma or the end of a line ends a field.
// Blank lines are passed over.
//
// Two word rules, on purpose not the same: while the editor decides where the word under the
// caret begins, "." counts as a word character (so ".BYTE" is looked up with its dot); once
// the list shows and follows the typing itself, only letters, digits and "_" extend the word,
// and a "." hides the list.

#include <cstdint>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace bx {

struct KeywordEntry {
    std::string Keyword;
    std::string Description;
    // What the list shows and the look-up matches: keyword + " - " + description.
    std::string Text;
};

class KeywordList {
public:
    void Clear() { entries_.clear(); }
    // Appends an entry; false, and nothing added, when the keyword stands in the list already.
    bool Add(const std::string& keyword, const std::string& description);
    // The first entry whose text begins with word, letters compared without regard to case;
    // -1 for none (and for an empty word).
    int Find(std::string_view word) const;
    const std::vector<KeywordEntry>& Entries() const { return entries_; }

private:
    std::vector<KeywordEntry> entries_;
};

// The records of a keyword file's content, in order. A line with one field gives a keyword
// with an empty description; fields past the second are ignored.
std::vector<std::pair<std::string, std::string>> ReadKeywordRecords(std::string_view content);

// Fills list from a keyword file's content; later records repeating a keyword are passed
// over. Returns the number of entries added.
int LoadKeywords(KeywordList& list, std::string_view content);

// A word character while the editor decides where the word begins: A-Z, a-z, 0-9, "_", ".".
bool IsHintWordChar(char16_t c);
// A word character once the list follows the typing: A-Z, a-z, 0-9, "_".
bool IsListWordChar(char16_t c);

// Whether a hint may be looked up with the caret at column caret of line: not when a ";"
// stands left of the caret, as the rest of the line is a comment then.
bool HintAllowedAt(std::u16string_view line, int caret);
// Where the word that ends at column caret of line begins: the walk back over hint word
// characters.
int HintWordStart(std::u16string_view line, int caret);

// Where the hint window goes, in screen pixels, for a word whose first character stands at
// (x, y) with a line height of lineHeight: below the line, or above it when the window
// wouldn't end above screenBottom.
struct HintPlace {
    int Left = 0;
    int Top = 0;
};
HintPlace PlaceHint(int x, int y, int lineHeight, int windowHeight, int screenBottom);

} // namespace bx
