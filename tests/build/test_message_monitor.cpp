// The message pane's logic: posts and clears on the text, and the click rule that turns a
// tool's "file(line): text" into a source file and line.
#include "build/MessageMonitor.h"
#include "foundation/Error.h"

#include <gtest/gtest.h>

namespace bx {
namespace {

TEST(MessagePane, PostAppendsTheTextAndCrLf) {
    MessageMonitor pane;
    pane.PostMessage("Saving all open files.\r\n");
    pane.PostMessage("Build completed.");
    EXPECT_EQ(pane.Text(), "Saving all open files.\r\n\r\nBuild completed.\r\n");
}

TEST(MessagePane, ClearingLeavesAnEmptyTextAndTheNextPostIsTheOnlyContent) {
    MessageMonitor pane;
    pane.PostMessage("old");
    pane.ClearMessages();
    EXPECT_EQ(pane.Text(), "");
    pane.PostMessage("new");
    EXPECT_EQ(pane.Text(), "new\r\n");
}

TEST(MessagePane, PostSelectsTheFirstOccurrenceOfItsText) {
    MessageMonitor pane;
    pane.PostMessage("first");
    pane.PostMessage("Build failed.");
    EXPECT_EQ(pane.SelectionStart(), 7u);
    EXPECT_EQ(pane.SelectionLength(), 13u);
    // The same text again: the earlier one is what the pane shows.
    pane.PostMessage("Build failed.");
    EXPECT_EQ(pane.SelectionStart(), 7u);
}

TEST(MessagePane, KeepsABoundedTailOfWholeLinesAndSaysSo) {
    MessageMonitor pane;
    const std::string line(999, 'x'); // 1,001 bytes with the CR LF
    const std::size_t posts = MessageMonitor::kKeptText / 1001 + 100;
    for (std::size_t i = 0; i < posts; ++i)
        pane.PostMessage(i + 1 == posts ? "main.asm(7): last" : line);
    const std::string note = std::string(MessageMonitor::kDroppedNote) + "\r\n";
    ASSERT_EQ(pane.Text().rfind(note, 0), 0u);
    EXPECT_LE(pane.Text().size(), MessageMonitor::kKeptText + note.size());
    EXPECT_EQ(pane.Text().substr(note.size(), line.size() + 2), line + "\r\n"); // whole lines
    EXPECT_EQ(pane.Text().find(note, 1), std::string::npos) << "the note stands once";
    EXPECT_EQ(pane.SourceAt(pane.Text().size() - 3), (FileLine{"main.asm", 7}));
}

TEST(PaneClick, ErrorLineGivesItsFileAndLineWhereverTheCaretStandsOnIt) {
    const std::string text =
        "Building\r\nmain.asm(42): Error: undefined symbol\r\nBuild failed.\r\n";
    const std::size_t lineStart = text.find("main.asm");
    for (std::size_t caret : {lineStart, lineStart + 5, text.find("symbol"),
                              text.find("\r\nBuild failed") + 1 /* the LF of its end */}) {
        auto target = FileLineAt(text, caret);
        ASSERT_TRUE(target) << "caret " << caret;
        EXPECT_EQ(*target, (FileLine{"main.asm", 42}));
    }
}

TEST(PaneClick, TextBehindTheBracketPlaysNoPartAndPathsWithBlanksStayWhole) {
    auto target = FileLineAt("C:\\my dir\\a.asm(7): e", 3);
    ASSERT_TRUE(target);
    EXPECT_EQ(*target, (FileLine{"C:\\my dir\\a.asm", 7}));
    auto blanks = FileLineAt("x.asm( 12 ): warning", 0);
    ASSERT_TRUE(blanks);
    EXPECT_EQ(blanks->Line, 12);
}

TEST(PaneClick, LinesWithoutAMatchOnThemDoNothing) {
    // No "):" on the clicked line, also when a later line has one.
    EXPECT_FALSE(FileLineAt("plain text\r\nmain.asm(3): e\r\n", 2));
    // A line that begins with "):".
    EXPECT_FALSE(FileLineAt("ok\r\n): odd\r\n", 5));
    // No "):" anywhere, an empty pane, and a caret past the end.
    EXPECT_FALSE(FileLineAt("Build completed.\r\n", 4));
    EXPECT_FALSE(FileLineAt("", 0));
    EXPECT_FALSE(FileLineAt("a(1): x\r\n", 500));
}

TEST(PaneClick, CaretOnTheLastLineOfAPaneWithoutItsEndStillCounts) {
    auto target = FileLineAt("x\r\nb.asm(9): e", 12);
    ASSERT_TRUE(target);
    EXPECT_EQ(*target, (FileLine{"b.asm", 9}));
}

TEST(PaneClick, MalformedErrorLinesRaiseAConversionError) {
    // "a(b(3): x": the file is "a" and "b(3" isn't a number.
    for (const char* line :
         {"a(b(3): x", "no bracket): x", "f(): x", "f(12a): x", "f(-): x", "f(99999999999): x"}) {
        try {
            FileLineAt(line, 0);
            ADD_FAILURE() << "no error for " << line;
        } catch (const BxError& error) {
            EXPECT_EQ(error.Number, 13) << line;
        }
    }
}

TEST(PaneClick, MonitorAppliesTheRuleToItsOwnText) {
    MessageMonitor pane;
    pane.PostMessage("main.asm(5): Error: Unexpected trailing garbage characters\r\n");
    pane.PostMessage("Build failed.");
    EXPECT_EQ(pane.SourceAt(1), (FileLine{"main.asm", 5}));
    EXPECT_FALSE(pane.SourceAt(pane.Text().find("Build failed.")));
}

} // namespace
} // namespace bx
