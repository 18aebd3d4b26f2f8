#pragma once
// Assembling small 65C02 programs with ca65 and ld65 at test time, so that a test's target
// program stands in the test as source. The tools are looked up on PATH; a test that needs
// them calls Ca65Available() and skips with a message when they are absent.

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

// True when both ca65 and ld65 can be started.
bool Ca65Available();

// The message a test skips with when the tools are absent.
inline constexpr const char* kCa65Missing =
    "ca65/ld65 (cc65) are not installed: the MCU programs of this test can't be assembled";

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

} // namespace bx::test
