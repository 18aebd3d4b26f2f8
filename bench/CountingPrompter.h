#pragma once
// The message boxes of a studio benchmark: none is expected, so each is printed, counted and
// answered No (a rebuild offered, a question of power-on).

#include "foundation/HostInterfaces.h"

#include <iostream>
#include <string>

namespace {

class CountingPrompter : public bx::Prompter {
public:
    int ask(const std::string& title, const std::string& text, bx::Buttons, bx::Icon) override {
        std::cerr << "box: " << title << ": " << text << "\n";
        ++boxes;
        return bx::AnswerNo;
    }
    int boxes = 0;
};

} // namespace
