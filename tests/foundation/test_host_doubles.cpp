// The scripted prompter is what every later flow test asserts its message boxes with, so its
// own behaviour is pinned down here.
#include "support/TestDoubles.h"

#include <gtest/gtest.h>

namespace bx {
namespace {

TEST(ScriptedPrompter, AnswersInOrderAndRecordsEveryBox) {
    test::ScriptedPrompter prompter;
    prompter.Answer(AnswerYes).Answer(AnswerNo);
    Prompter& asked = prompter;
    EXPECT_EQ(asked.ask("Power On", "Rebuild?", Buttons::YesNo, Icon::Question), AnswerYes);
    EXPECT_EQ(asked.ask("Power On", "Load?", Buttons::YesNo, Icon::Question), AnswerNo);
    ASSERT_EQ(prompter.Boxes().size(), 2u);
    EXPECT_EQ(prompter.Boxes()[1].text, "Load?");
    EXPECT_EQ(prompter.Boxes()[1].icon, Icon::Question);
    EXPECT_EQ(prompter.UnscriptedBoxes(), 0);
}

TEST(ScriptedPrompter, UnscriptedBoxesAreCountedAndAnsweredSafely) {
    test::ScriptedPrompter prompter;
    EXPECT_EQ(prompter.ask("Error", "Missing", Buttons::Ok, Icon::Exclamation), AnswerOk);
    EXPECT_EQ(prompter.ask("Save", "Save?", Buttons::YesNoCancel, Icon::Question), AnswerCancel);
    EXPECT_EQ(prompter.UnscriptedBoxes(), 2);
}

TEST(RecordingDoubles, KeepCallsInOrder) {
    test::RecordingStatusDisplay status;
    status.State(406);
    status.StateArg("Keypad");
    status.GoAway();
    EXPECT_EQ(status.calls, (std::vector<std::string>{"State 406", "StateArg Keypad", "GoAway"}));
    test::RecordingMessageSink sink;
    sink.PostMessage("a");
    sink.ClearMessages();
    sink.PostMessage("b");
    EXPECT_EQ(sink.lines, (std::vector<std::string>{"b"}));
    EXPECT_EQ(sink.clears, 1);
}

} // namespace
} // namespace bx
