#pragma once
// The command line's message box: the box is written to a stream (standard error) as
// "<title>: <text>" and answered without asking. A box with only OK is answered OK; a question
// is answered No (Cancel where there is no No) unless the user said --yes, which answers Yes
// (or OK).

#include "foundation/HostInterfaces.h"

#include <iosfwd>

namespace bx::cli {

class StreamPrompter : public Prompter {
public:
    StreamPrompter(std::ostream& out, bool answerYes) : out_(out), answerYes_(answerYes) {}
    int ask(const std::string& title, const std::string& text, Buttons buttons, Icon icon) override;

private:
    std::ostream& out_;
    bool answerYes_;
};

} // namespace bx::cli
