// Smartword's keyword file, list and word rules.
#include "editor/Smartword.h"

#include <gtest/gtest.h>

using namespace bx;

TEST(KeywordFile, RecordsFollowTheDelimitedFieldRule) {
    const std::string content = "\"LDA\",\"Load accumulator, from memory\"\r\n"
                                "\r\n"
                                "  STA ,  Store accumulator  \n"
                                "\"WAI\" junk, \"Wait for interrupt\"\n"
                                "BRK\n"
                                "\"NOP\",\"Nothing\",\"extra\"\r"
                                "\"TAX";
    const std::vector<std::pair<std::string, std::string>> expected = {
        {"LDA", "Load accumulator, from memory"},
        {"STA", "Store accumulator"},
        {"WAI", "Wait for interrupt"},
        {"BRK", ""},
        {"NOP", "Nothing"},
        {"TAX", ""}};
    EXPECT_EQ(ReadKeywordRecords(content), expected);
}

TEST(KeywordList, LooksUpTheFirstEntryBeginningWithTheWordAndRefusesRepeats) {
    KeywordList list;
    EXPECT_EQ(LoadKeywords(list, "\"LDA\",\"Load A\"\n\"LDX\",\"Load X\"\n\".byte\",\"Bytes\"\n"
                                 "\"LDA\",\"again\"\n\"BBR0\",\"Branch\"\n"),
              4);
    EXPECT_EQ(list.Entries()[0].Text, "LDA - Load A");
    struct Case {
        const char* word;
        int found;
    };
    const Case cases[] = {{"LD", 0},   {"ldx", 1}, {".BYTE", 2}, {"BYTE", -1},
                          {"LDQ", -1}, {"", -1},   {"BBR0", 3},  {"LDA - L", 0}};
    for (const Case& c : cases)
        EXPECT_EQ(list.Find(c.word), c.found) << c.word;
}

TEST(SmartwordRules, TheWordBeginsAfterTheWalkBackAndNeverInAComment) {
    struct Case {
        const char16_t* line;
        int caret;
        bool allowed;
        int start;
    };
    const Case cases[] = {
        {u"  LD", 4, true, 2},      {u"loop: .BY", 9, true, 6}, // the dot belongs to the word here
        {u"lda foo_1", 9, true, 4}, {u"LD", 0, true, 0},
        {u"; LD", 4, false, 2},     // after ";": a comment
        {u"LD ; note", 2, true, 0}, // in front of ";": only the left side counts
        {u"x;y", 1, true, 0},       {u"\tsta $10,x", 8, true, 6},
        {u"lda ;", 5, false, 5}, // right behind the ";"
    };
    for (const Case& c : cases) {
        EXPECT_EQ(HintAllowedAt(c.line, c.caret), c.allowed) << c.caret;
        EXPECT_EQ(HintWordStart(c.line, c.caret), c.start) << c.caret;
    }
    EXPECT_TRUE(IsHintWordChar(u'.'));
    EXPECT_FALSE(IsListWordChar(u'.'));
    EXPECT_TRUE(IsListWordChar(u'_'));
    EXPECT_FALSE(IsHintWordChar(u'#'));
}

TEST(SmartwordRules, TheWindowOpensAboveTheLineNearTheScreensBottom) {
    EXPECT_EQ(PlaceHint(100, 200, 16, 150, 1000).Top, 216);
    EXPECT_EQ(PlaceHint(100, 200, 10, 150, 1000).Top, 214);
    const HintPlace low = PlaceHint(100, 900, 16, 150, 1000);
    EXPECT_EQ(low.Top, 750);
    EXPECT_EQ(low.Left, 100);
}
