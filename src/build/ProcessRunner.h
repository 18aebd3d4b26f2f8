#pragma once
// The process runner: runs one external command to its end and gives back its exit status and
// everything it wrote. The child writes into a temporary file that the runner reads after the
// child has ended; no pipe, no thread. The caller blocks until the tool ends, and a tool that
// never ends blocks it for good. UI thread only.
//
// What a run leaves behind: nothing. Standard input is an empty temporary file named "vki...",
// standard output and standard error share one temporary file named "vko...", so both streams
// land in one text in the order written. Both files lie in the program's folder when it is
// writable, otherwise in the system's temporary folder, and both are deleted before the call
// returns, also when the program could not be started.

#include <cstdint>
#include <string>

namespace bx {

class Diagnoser;

// Module number of the runner's trace lines.
inline constexpr int32_t kShellExecTraceModule = 1010;

// The command as it is started: with "command.com /C " in front when the lower-cased COMSPEC
// names that old shell, unchanged otherwise (an unset COMSPEC included). Linux has no COMSPEC
// of its own, so in practice the command runs as it stands; the rule stays for a user who sets
// the variable to reach such a shell through a wrapper named "command.com" on the PATH.
std::string WithShellPrefix(const std::string& command, const std::string& comspec);

// Runs command (backslash form allowed: it is converted to the system's paths and split as
// platform::SplitCommandLine says) in workingFolder and returns its exit status. output
// receives every line the child wrote, each followed by CR LF ("" when it wrote nothing).
// command is changed in place when the COMSPEC rule puts a prefix in front. showWindow has no
// meaning on Linux, where a tool has no window of its own; callers pass false.
// Throws BxError (source "ShellExec", number = the system's error number) when the program
// can't be started; output is then left as it was.
int32_t ShellExecute(std::string& command, const std::string& workingFolder, std::string& output,
                     bool showWindow, const Diagnoser& diagnoser);

// Appends every line of text to output, each followed by CR LF. A line ends at LF, CR LF or a
// lone CR; a last line without an end counts as a line. The empty text adds nothing.
void AppendLinesWithCrLf(const std::string& text, std::string& output);

} // namespace bx
