#pragma once
// The command line program's dispatcher of sub-commands. Output goes to the given streams so
// that tests can run the commands in-process.

#include <iosfwd>
#include <string>
#include <vector>

namespace bx::cli {

int Run(const std::vector<std::string>& args, std::ostream& out, std::ostream& err);
int Main(int argc, char** argv);

} // namespace bx::cli
