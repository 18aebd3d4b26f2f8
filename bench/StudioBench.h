#pragma once
// What the studio's benchmarks that power a target on in the frame share: a prompter that counts
// the boxes instead of showing them (a measured flow shows none), and the program's folder of
// this build.

#include "foundation/HostInterfaces.h"
#include "platform/Paths.h"

#include <iostream>
#include <string>

namespace {

// Prints each box, answers No and counts them.
class CountingPrompter : public bx::Prompter {
public:
    int ask(const std::string& title, const std::string& text, bx::Buttons, bx::Icon) override {
        std::cerr << "box: " << title << ": " << text << "\n";
        ++boxes;
        return bx::AnswerNo;
    }
    int boxes = 0;
};

std::string ProgramFolder() {
    return bx::platform::FromNativePath(BX_PROGRAM_DIR);
}

} // namespace
