#pragma once
// The program's folder of this build (the executables with data/ copied beside them), and a
// temporary copy of it for tests that write: new appliances, trace logs, a rewritten BX.gss.

#include "support/TempFolder.h"

#include <cstdlib>
#include <filesystem>
#include <string>

namespace bx::test {

// Whether the shipped templates can be built here: ca65, ld65 and make on the PATH.
inline bool HaveBuildTools() {
    return std::system("command -v ca65 >/dev/null 2>&1 && command -v ld65 >/dev/null 2>&1 && "
                       "command -v make >/dev/null 2>&1") == 0;
}

// The number (from 1) of the first line of source that starts with text; 0 when none does.
inline int LineStartingWith(const std::string& source, const std::string& text) {
    int line = 1;
    for (std::size_t at = 0; at < source.size(); ++line) {
        if (source.compare(at, text.size(), text) == 0)
            return line;
        at = source.find('\n', at);
        if (at == std::string::npos)
            break;
        ++at;
    }
    return 0;
}

inline std::filesystem::path BuiltProgramFolder() {
    return BX_PROGRAM_DIR;
}

// Copies BX.gss, kw_asm.dat, Templates/ and the external builder into a fresh folder.
class ShippedProgramCopy {
public:
    ShippedProgramCopy() {
        namespace fs = std::filesystem;
        const fs::path from = BuiltProgramFolder();
        for (const char* file : {"BX.gss", "kw_asm.dat"})
            fs::copy_file(from / file, folder.Native() / file);
        fs::copy(from / "Templates", folder.Native() / "Templates", fs::copy_options::recursive);
        fs::copy_file(BX_BUILDER, folder.Native() / "tessarine-build");
    }
    TempFolder folder;
};

} // namespace bx::test
