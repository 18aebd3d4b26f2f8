#pragma once
// The command line's symbols sub-command: loads an ld65 debug file with the studio's symbol
// library and answers its questions, one JSON object per line.

#include <iosfwd>
#include <string>
#include <vector>

namespace bx::cli {

// args are the arguments behind "symbols". Returns the exit status: 0 done, 1 the file can't
// be read as a debug file, 2 a usage error.
int RunSymbols(const std::vector<std::string>& args, std::ostream& out, std::ostream& err);
void PrintSymbolsUsage(std::ostream& out);

} // namespace bx::cli
