#include "cli/StreamPrompter.h"

#include <ostream>

namespace bx::cli {

int StreamPrompter::ask(const std::string& title, const std::string& text, Buttons buttons,
                        Icon /*icon*/) {
    out_ << title << ": " << text << "\n";
    switch (buttons) {
    case Buttons::Ok:
        return AnswerOk;
    case Buttons::OkCancel:
        return answerYes_ ? AnswerOk : AnswerCancel;
    case Buttons::YesNo:
    case Buttons::YesNoCancel:
        return answerYes_ ? AnswerYes : AnswerNo;
    case Buttons::RetryCancel:
        break;
    }
    // Retrying can't help a program that nobody watches.
    return AnswerCancel;
}

} // namespace bx::cli
