#pragma once
// The message boxes of a benchmark: a measured flow shows none, so each is printed, counted and
// answered No (a rebuild offered, a question of power-on); the last one is kept for the error.

#include "foundation/HostInterfaces.h"

#include <iostream>
#include <string>

namespace {

class CountingPrompter : public bx::Prompter {
public:
    int ask(const std::string& title, const std::string& text, bx::Buttons, bx::Icon) override {
        std::cerr << "box: " << title << ": " << text << "\n";
        ++boxes;
        last = title + ": " + text;
        return bx::AnswerNo;
    }
    int boxes = 0;
    std::string last;
};

} // namespace
