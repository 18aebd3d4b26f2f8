#include "support/TestDoubles.h"

namespace bx::test {

int ScriptedPrompter::ask(const std::string& title, const std::string& text, Buttons buttons,
                          Icon icon) {
    int answer;
    if (!answers_.empty()) {
        answer = answers_.front();
        answers_.pop_front();
    } else {
        ++unscripted_;
        answer = buttons == Buttons::Ok ? AnswerOk : AnswerCancel;
    }
    boxes_.push_back({title, text, buttons, icon, answer});
    return answer;
}

} // namespace bx::test
