// Every flow test asserts its message boxes through the scripted prompter, so the two things
// they rely on are pinned down here: answers come in the scripted order, and a box nobody
// scripted is counted and answered safely.
#include "support/TestDoubles.h"

#include <gtest/gtest.h>

namespace bx {
namespace {

TEST(ScriptedPrompter, AnswersInOrderRecordsEveryBoxAndCountsUnscriptedOnes) {
    test::ScriptedPrompter prompter;
    prompter.Answer(AnswerYes).Answer(AnswerNo);
    Prompter& asked = prompter;
    EXPECT_EQ(asked.ask("Power On", "Rebuild?", Buttons::YesNo, Icon::Question), AnswerYes);
    EXPECT_EQ(asked.ask("Power On", "Load?", Buttons::YesNo, Icon::Question), AnswerNo);
    EXPECT_EQ(prompter.UnscriptedBoxes(), 0);
    EXPECT_EQ(asked.ask("Error", "Missing", Buttons::Ok, Icon::Exclamation), AnswerOk);
    EXPECT_EQ(asked.ask("Save", "Save?", Buttons::YesNoCancel, Icon::Question), AnswerCancel);
    EXPECT_EQ(prompter.UnscriptedBoxes(), 2);
    ASSERT_EQ(prompter.Boxes().size(), 4u);
    EXPECT_EQ(prompter.Boxes()[1].text, "Load?");
    EXPECT_EQ(prompter.Boxes()[2].icon, Icon::Exclamation);
}

} // namespace
} // namespace bx
