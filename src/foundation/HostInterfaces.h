#pragma once
// The small interfaces through which the core talks to whoever hosts it: the studio's windows,
// the command line, or a test. The core never shows a widget itself; it asks one of these.

#include <functional>
#include <string>

namespace bx {

// Buttons and icons of a message box, with the values the rest of the system passes around.
enum class Buttons { Ok = 0, OkCancel = 1, YesNoCancel = 3, YesNo = 4, RetryCancel = 5 };
enum class Icon { None = 0, Critical = 16, Question = 32, Exclamation = 48, Information = 64 };

// The answer a person gave to a message box.
enum Answer : int { AnswerOk = 1, AnswerCancel = 2, AnswerYes = 6, AnswerNo = 7 };

// Shows a modal message box and returns the button pressed.
class Prompter {
public:
    virtual ~Prompter() = default;
    virtual int ask(const std::string& title, const std::string& text, Buttons buttons,
                    Icon icon) = 0;
};

// The progress display: callers pass a progress code, the display owns the texts.
class StatusDisplay {
public:
    virtual ~StatusDisplay() = default;
    virtual void State(int code) = 0;
    virtual void StateArg(const std::string& text) = 0;
    virtual void GoAway() = 0;
};

// The message pane: the only way to write build and tool output for the user.
class MessageSink {
public:
    virtual ~MessageSink() = default;
    virtual void PostMessage(const std::string& text) = 0;
    virtual void ClearMessages() = 0;
};

// Runs work later on the UI thread. post() may be called from any thread; the work itself
// always runs on the thread that owns the dispatcher.
class Dispatcher {
public:
    virtual ~Dispatcher() = default;
    virtual void post(std::function<void()> fn) = 0;
};

} // namespace bx
