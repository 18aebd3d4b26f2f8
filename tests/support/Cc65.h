#pragma once
// The real tools at test time: small 65C02 programs assembled with ca65 and ld65, so that a
// test's target program stands in the test as source, and ld65 debug files of a banked program.
// The tools are looked up on PATH; a test that needs them skips, saying so, when ca65, ld65 or
// make is absent (SKIP_WITHOUT_BUILD_TOOLS).

#include "support/TempFolder.h"

#include <cstdint>
#include <map>
#include <string>
#include <vector>

namespace bx::test {

// Runs a shell command; returns its exit status and fills output with what it wrote to
// standard output and standard error.
int RunCommand(const std::string& command, std::string& output);
// The text in single quotes, for a POSIX shell.
std::string ShellQuoted(const std::string& text);

// True when ca65, ld65 and make can all be started.
bool BuildToolsPresent();

// The message a test skips with when the tools are absent.
inline constexpr const char* kNoBuildTools =
    "ca65, ld65 or make is not installed: this test needs the real tools";

struct Assembled {
    bool Ok = false;
    std::string Log;            // the tools' output when something failed
    std::vector<uint8_t> Image; // the linked output file
    // Every label of the program (ld65's label file), without the leading ".".
    std::map<std::string, uint32_t> Labels;
};

// Writes source as "prog.s" into folder, assembles it with ca65 (the folder of ktr.inc on the
// include path) and links it with the given ld65 configuration file.
Assembled Assemble(const TempFolder& folder, const std::string& source,
                   const std::string& configPath, const std::string& includeFolder);

// The ld65 configuration of the studio's ROM layout (bank mode 0): the 32 KB unbanked area
// $8000-$FFFF at file offset 0, then banks 0 to 3, each linked at the window $4000-$7FFF and
// placed at file offset (b + 2) * $4000 of the same image. Segments: ZEROPAGE, BSS (RAM),
// CODE, RODATA, VECTORS (unbanked ROM), BANK0 to BANK3.
extern const char* const kBankedRomConfig;

struct Cc65Build {
    bool Ok = false;
    // The commands that ran and everything they printed, for a failing test's message.
    std::string Log;
};

// In folder: writes config as "rom.cfg", assembles each source (a path relative to folder,
// "src/b1.asm", recorded by ca65 exactly so) into its own object, and links them in the given
// order into output with the debug file dbgFile (both relative to folder).
Cc65Build AssembleAndLink(const TempFolder& folder, const std::vector<std::string>& sources,
                          const std::string& config, const std::string& output,
                          const std::string& dbgFile);

// A small program in the studio's layout, written into folder by WriteBankedProgram, with the
// addresses the tests expect. Files as ld65 numbers them:
//   0 "main.asm"        unbanked code at $8000, a macro call, zero page and BSS data, a table
//                       in RODATA, the vectors
//   1 "inc/macros.inc"  included by main.asm: the equate PORTVAL and the macro add2
//   2 "src/b1.asm"      bank 1: bank1fn at 01:4002, line 9 at 01:4006, line 10 at 01:4008
//   3 "src/b2.asm"      bank 2: bank2fn at 02:4000
// The line numbers of each file are written next to its lines in the .cpp.
std::vector<std::string> WriteBankedProgram(const TempFolder& folder);

// WriteBankedProgram, then AssembleAndLink into "rom.bin" and "rom.sym".
Cc65Build BuildBankedProgram(const TempFolder& folder);

} // namespace bx::test

#define SKIP_WITHOUT_BUILD_TOOLS()                                                                 \
    if (!::bx::test::BuildToolsPresent())                                                          \
    GTEST_SKIP() << ::bx::test::kNoBuildTools
