#pragma once
// tessarine-build: the external builder that ships with the studio. It takes the command line
// the build driver writes in the external mode and makes the same products as the templates'
// Makefile rules: every leaf source "x.asm" is assembled by ca65 into "x.obj", and the objects
// are linked by ld65 with the body's linker configuration into the ROM image, with the debug
// file "<title>.sym" beside it. Other leaf files (a ready-made image, a table) are passed over,
// as the Makefile has no rule for them: the load map places them at power-on.
//
// The command line, as the driver writes it:
//   tessarine-build -D "FOLDER/" -N "TITLE" -O "TITLE.rom" -T "TOOLS/" [-MB MODEL] -MP HEX
//                   [-MS] [-MR] [-MW] -MPARAM "a.asm" ...
// -MB names the body; its linker configuration is TOOLS/Templates/Sarnova/include/<model>.cfg
// in lower case. -MP, -MS, -MR, -MW and -M describe the part's options and clock: the
// simulator takes those from the appliance at power-on, so they are checked and reported
// here but change nothing in the ROM (a Makefile build knows nothing of them either).

#include <iosfwd>
#include <string>
#include <vector>

namespace bx::builder {

struct BuilderOptions {
    std::string folder;             // -D: the working folder, where the tools run
    std::string title;              // -N: the appliance's title, the debug file's base name
    std::string output;             // -O: the ROM image, relative to the working folder
    std::string tools;              // -T: the program's folder, which holds the templates
    std::string model;              // -MB: the body, e.g. KTR311
    int optionByte = -1;            // -MP: the option byte (hexadecimal on the line)
    bool mainClock = false;         // -MS: the main clock is not the 32.768 kHz one
    bool rcOscillator = false;      // -MR
    bool watchdog = false;          // -MW
    std::string clock;              // -M: the clock's parameter (megahertz)
    std::vector<std::string> files; // the leaf files, in order
};

// Reads the words behind the program's name. Gives "" on success, or what is wrong.
std::string ParseBuilderArgs(const std::vector<std::string>& args, BuilderOptions& options);

// One tool run: the command text as the process runner takes it (double quotes group words).
struct ToolStep {
    std::string command;
    std::string product; // the file it makes, relative to the working folder
};

struct BuildPlan {
    std::vector<ToolStep> steps;         // the assembler runs, then the link
    std::vector<std::string> passedOver; // leaf files that are no source
};

// Gives "" and fills plan, or what is wrong (no source among the files, no linker
// configuration for the body). The kind of a file is everything behind the first dot of its
// name, as the association table looks it up.
std::string PlanBuild(const BuilderOptions& options, BuildPlan& plan);

// The whole program: parse, plan, run each step in the working folder, print each command and
// what the tool wrote. Exit status 0 when every tool succeeded, 1 when one failed (the later
// steps are not run), 2 for a command line it can't use.
int RunBuilder(const std::vector<std::string>& args, std::ostream& out, std::ostream& err);

} // namespace bx::builder
