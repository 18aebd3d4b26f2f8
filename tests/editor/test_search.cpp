// The editor's find on a text: case, whole words and the range. The find and replace commands
// over open documents are driven through the real dialogs in the widget test.
#include "editor/SearchSession.h"

#include <gtest/gtest.h>

using namespace bx;

TEST(TextSearch, FindHonoursCaseWholeWordsAndTheRange) {
    const std::u16string text = u"LOOP1: lda loop\n  bne LOOP ; Loop loop_ _loop";
    struct Case {
        const char16_t* what;
        int32_t start;
        int32_t end;
        int options;
        int32_t found;
    };
    const Case cases[] = {
        {u"loop", 0, -1, 0, 0},
        {u"loop", 0, -1, kFindMatchCase, 11},
        {u"LOOP", 0, -1, kFindWholeWord, 11}, // skips "LOOP1", goes on
        {u"LOOP", 0, -1, kFindWholeWord | kFindMatchCase, 22},
        {u"loop", 1, -1, 0, 11},
        {u"loop", 12, 26, 0, 22},
        {u"loop", 12, 26, kFindMatchCase, -1},
        {u"Loop", 23, 32, 0, -1}, // the match would end behind the range
        {u"", 0, -1, 0, -1},
        {u"loop", 99, -1, 0, -1},
        {u"loop", 33, -1, kFindWholeWord, -1}, // "_" belongs to a word
    };
    for (const Case& c : cases)
        EXPECT_EQ(FindInText(text, c.what, c.start, c.end, c.options), c.found)
            << std::string(c.what, c.what + std::char_traits<char16_t>::length(c.what)) << " "
            << c.start;
    EXPECT_EQ(FindAllInText(u"aaaaa", u"aa", 0, -1, 0), (std::vector<int32_t>{0, 2}));
}
