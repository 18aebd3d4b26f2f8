// The message pane's logic: posts and clears on the text, the bounded tail it keeps, and the
// click rule that turns a tool's "file(line): text" into a source file and line.
#include "build/MessageMonitor.h"
#include "foundation/Error.h"

#include <gtest/gtest.h>

namespace bx {
namespace {

TEST(MessagePane, PostsAppendCrLfSelectTheFirstOccurrenceAndAClearEmptiesTheText) {
    MessageMonitor pane;
    pane.PostMessage("old");
    pane.ClearMessages();
    EXPECT_EQ(pane.Text(), "");
    pane.PostMessage("Saving all open files.\r\n");
    pane.PostMessage("Build failed.");
    pane.PostMessage("Build failed."); // the earlier one is what the pane shows
    EXPECT_EQ(pane.Text(), "Saving all open files.\r\n\r\nBuild failed.\r\nBuild failed.\r\n");
    EXPECT_EQ(pane.SelectionStart(), 26u);
    EXPECT_EQ(pane.SelectionLength(), 13u);
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

TEST(PaneClick, AnErrorLineGivesItsFileAndLineWhereverTheCaretStandsOnIt) {
    const std::string text = "Building\r\nmain.asm(42): Error: undefined symbol\r\nBuild failed.";
    const std::size_t start = text.find("main.asm");
    for (std::size_t caret : {start, start + 5, text.find("symbol"), text.find("\r\nBuild") + 1})
        EXPECT_EQ(FileLineAt(text, caret), (FileLine{"main.asm", 42})) << caret;
    // What follows the bracket plays no part, a path with blanks stays whole, blanks and a sign
    // around the number are allowed, and the last line counts without its end.
    const std::tuple<const char*, std::size_t, FileLine> rows[] = {
        {"C:\\my dir\\a.asm(7): e", 3, {"C:\\my dir\\a.asm", 7}},
        {"x.asm( 12 ): warning", 0, {"x.asm", 12}},
        {"x.asm(+12): warning", 0, {"x.asm", 12}},
        {"x\r\nb.asm(9): e", 12, {"b.asm", 9}}};
    for (const auto& [line, caret, target] : rows)
        EXPECT_EQ(FileLineAt(line, caret), target) << line;
    // No "):" on the clicked line (also when a later line has one), one at the line's start,
    // an empty pane and a caret past the end do nothing.
    for (const auto& [line, caret] : {std::pair{"plain text\r\nmain.asm(3): e\r\n", 2},
                                      {"ok\r\n): odd\r\n", 5},
                                      {"", 0},
                                      {"a(1): x\r\n", 500}})
        EXPECT_FALSE(FileLineAt(line, caret)) << line;
    // A malformed error line is a conversion error: "a(b(3): x" names the file "a".
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

} // namespace
} // namespace bx
