#pragma once
// Test doubles of the host interfaces: a prompter that records every message box and answers
// from a queue, and recorders of progress codes and message-pane lines.

#include "foundation/HostInterfaces.h"

#include <deque>
#include <string>
#include <vector>

namespace bx::test {

struct RecordedBox {
    std::string title;
    std::string text;
    Buttons buttons;
    Icon icon;
    int answer;
};

// Answers boxes from a queue of scripted answers. A box with no answer left gets OK for an
// Ok box and Cancel otherwise, and is flagged so that a test can fail on unexpected boxes.
class ScriptedPrompter : public Prompter {
public:
    ScriptedPrompter& Answer(int answer) {
        answers_.push_back(answer);
        return *this;
    }
    int ask(const std::string& title, const std::string& text, Buttons buttons, Icon icon) override;

    const std::vector<RecordedBox>& Boxes() const { return boxes_; }
    int UnscriptedBoxes() const { return unscripted_; }

private:
    std::deque<int> answers_;
    std::vector<RecordedBox> boxes_;
    int unscripted_ = 0;
};

// Records every call as a line: "State 406", "StateArg Keypad", "GoAway".
class RecordingStatusDisplay : public StatusDisplay {
public:
    void State(int code) override { calls.push_back("State " + std::to_string(code)); }
    void StateArg(const std::string& text) override { calls.push_back("StateArg " + text); }
    void GoAway() override { calls.push_back("GoAway"); }
    std::vector<std::string> calls;
};

class RecordingMessageSink : public MessageSink {
public:
    void PostMessage(const std::string& text) override { lines.push_back(text); }
    void ClearMessages() override {
        lines.clear();
        ++clears;
    }
    // The pane's text: every post followed by the CR LF the pane puts behind it. A build's
    // output arrives in as many posts as the tool's writes happened to be read in, so tests
    // of output compare this text, not the posts.
    std::string Text() const {
        std::string text;
        for (const std::string& line : lines)
            text += line + "\r\n";
        return text;
    }
    std::vector<std::string> lines;
    int clears = 0;
};

} // namespace bx::test
