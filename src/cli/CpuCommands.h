#pragma once
// The command line's CPU sub-commands: cpu-run (a flat test program to its trap) and cpu-test
// (single-step CPU tests in the public JSON format).

#include <iosfwd>
#include <string>
#include <vector>

namespace bx::cli {

bool IsCpuCommand(const std::string& name);
// args[0] is the command name. Returns the exit status: 0 pass, 1 fail, 2 usage error.
int RunCpuCommand(const std::vector<std::string>& args, std::ostream& out, std::ostream& err);
void PrintCpuCommandsUsage(std::ostream& out);

} // namespace bx::cli
