#pragma once
// Builds real ld65 debug files for the tests: assembles sources with ca65 -g and links them
// with ld65 --dbgfile, in a test's temporary folder. The tests that need it skip, saying so,
// on a machine without cc65.

#include "support/TempFolder.h"

#include <string>
#include <vector>

namespace bx::test {

// True when both ca65 and ld65 can be started.
bool Cc65Available();

// The message a test skips with when Cc65Available() is false.
inline constexpr const char* kNoCc65 =
    "ca65/ld65 (cc65) are not installed: the tests on real debug files need them";

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
