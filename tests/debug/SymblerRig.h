#pragma once
// Symblers for the tests of the Symbler and of its users (the source views, the break marks,
// the breakpoint list): one on a fake symbol library, and one on the debug file of the banked
// program that ca65/ld65 build. Each traces into a log of its own.

#include "debug/Symbler.h"
#include "foundation/Diagnoser.h"
#include "support/Cc65.h"
#include "support/FakeSymbolLibrary.h"
#include "support/TempFolder.h"
#include "symbols/Ld65SymbolLibrary.h"

#include <memory>

namespace bx::test {

struct FakeSymbler {
    TempFolder logFolder;
    Diagnoser diagnoser{logFolder.Sub("vkbx.log")};
    // The library the Symbler made, set as the Symbler is built.
    FakeSymbolLibrary* fake = nullptr;
    Symbler symbler{[this] {
                        auto library = std::make_unique<FakeSymbolLibrary>();
                        fake = library.get();
                        return library;
                    },
                    diagnoser};
};

// Builds the program: a test skips without the tools first and build.Ok after.
struct Ld65Symbler {
    Ld65Symbler() {
        if (build.Ok)
            symbler.ListFilePath(folder.Sub("rom.sym"));
    }
    TempFolder folder;
    Cc65Build build = BuildBankedProgram(folder);
    Diagnoser diagnoser{folder.Sub("vkbx.log")};
    Symbler symbler{[] { return std::make_unique<symbols::Ld65SymbolLibrary>(); }, diagnoser};
};

} // namespace bx::test
