#pragma once
// The program's folder of this build (the executables with data/ copied beside them), a
// temporary copy of it for tests that write, and appliances made there from the shipped
// templates with "tessarine-cli new" and built with the real tools.

#include "platform/FileSystem.h"
#include "platform/ProgramFolder.h"
#include "support/Cc65.h"
#include "support/CliRunner.h"
#include "support/TempFolder.h"

#include <cstdlib>
#include <filesystem>
#include <gtest/gtest.h>
#include <string>
#include <vector>

namespace bx::test {

// A copy of BX.gss, kw_asm.dat, Templates/ and the external builder in a fresh folder, made
// the program's folder for the test's life, and a work folder for appliances.
class ShippedAppliances {
public:
    ShippedAppliances() {
        namespace fs = std::filesystem;
        const fs::path from = BX_PROGRAM_DIR;
        for (const char* file : {"BX.gss", "kw_asm.dat"})
            fs::copy_file(from / file, program.Native() / file);
        fs::copy(from / "Templates", program.Native() / "Templates", fs::copy_options::recursive);
        fs::copy_file(BX_BUILDER, program.Native() / "tessarine-build");
    }

    // "new --body body --name name" into the work folder; the appliance file's path.
    std::string New(const std::string& body, const std::string& name = "app",
                    std::vector<std::string> more = {}) {
        std::vector<std::string> args{"new", "--body", body, "--name", name, "--dir", Dir(name)};
        args.insert(args.end(), more.begin(), more.end());
        const CliResult made = RunCli(args);
        EXPECT_EQ(made.status, 0) << made.err;
        return Apl(name);
    }
    CliResult Build(const std::string& name = "app", bool external = false) {
        std::vector<std::string> args{"build", Apl(name)};
        if (external)
            args.push_back("--external");
        return RunCli(args);
    }
    std::string Dir(const std::string& name) const { return (work.Native() / name).string(); }
    std::string Apl(const std::string& name) const { return Dir(name) + "/" + name + ".apl"; }
    // A file of an appliance's folder, in the system's backslash form.
    std::string Sub(const std::string& name, const std::string& file) const {
        return work.Sub(name + "\\" + file);
    }
    // The number (from 1) of the first line of the appliance's main.asm that starts with text.
    int LineOf(const std::string& text, const std::string& name = "app") const {
        const std::string source = work.ReadFile(name + "\\main.asm");
        std::size_t at = 0;
        for (int line = 1; at != std::string::npos; ++line, at = source.find('\n', at)) {
            at += line > 1 ? 1 : 0;
            if (source.compare(at, text.size(), text) == 0)
                return line;
        }
        ADD_FAILURE() << "main.asm has no line starting with " << text;
        return 0;
    }

    TempFolder program;
    platform::ScopedProgramFolder useProgram{program.Path()};
    TempFolder work;
};

} // namespace bx::test
