#pragma once
// The source editor's find on one text: the match-case and whole-word options of its find
// dialogs, the whole-word test, and the search itself. Texts are UTF-16, the form the editor's
// text widget holds, so that positions are the widget's character positions.
//
// Without match case, the letters A-Z and a-z compare alike; other characters compare
// exactly. A word character for the whole-word test is a letter, a digit or "_" (as in the
// debugger's line search); a match with a word character right before or behind it isn't
// whole, and the search goes on behind its start.

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace bx {

// The option flags of the editor's find.
inline constexpr int kFindWholeWord = 2;
inline constexpr int kFindMatchCase = 4;

// The flags for the two check boxes of a find dialog.
int FindOptions(bool matchCase, bool wholeWord);

// Whether the characters at [at, at + length) of text stand as a whole word.
bool IsWholeWordAt(std::u16string_view text, std::size_t at, std::size_t length);

// The position of the first match of what that starts at or behind start and ends at or
// before end (a negative end: the end of the text); -1 for none. An empty what matches
// nothing.
int32_t FindInText(std::u16string_view text, std::u16string_view what, int32_t start, int32_t end,
                   int options);

// Every match in [start, end) from left to right, each search going on behind the match
// before, so that matches never overlap: what a Replace All replaces.
std::vector<int32_t> FindAllInText(std::u16string_view text, std::u16string_view what,
                                   int32_t start, int32_t end, int options);

} // namespace bx
