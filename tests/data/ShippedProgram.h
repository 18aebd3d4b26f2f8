#pragma once
// The program's folder of this build (the executables with data/ copied beside them), and a
// temporary copy of it for tests that write: new appliances, trace logs, a rewritten BX.gss.

#include "support/TempFolder.h"

#include <filesystem>
#include <string>

namespace bx::test {

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
