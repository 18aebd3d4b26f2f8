#pragma once
// The process runner: runs one external command to its end and gives back its exit status and
// everything it wrote. The child writes into a temporary file, no pipe and no thread; the
// runner reads that file while the child runs, so its output reaches the caller line by line
// as it comes and never has to sit whole in memory. UI thread only.
//
// The seam for a host that must stay alive while a tool runs (the studio's Stop, the command
// line's time limit and signals): RunControl. While the tool runs, the runner calls
// whileWaiting about every 20 ms on the caller's thread (the studio lets its pending events run
// there, so the window repaints and a Stop button is seen) and asks stopRequested just as
// often; true, or the time limit passing, ends the tool's whole process group (everything the
// tool started, a make's shells and compilers among them): SIGTERM, then SIGKILL a moment
// later for whatever is left. The run then returns as usual, saying how it ended.
//
// What a run leaves behind: nothing. Standard input is an empty temporary file named "vki...",
// standard output and standard error share one temporary file named "vko...", so both streams
// land in one text in the order written. Both files lie in the program's folder when it is
// writable, otherwise in the system's temporary folder, and both are deleted before the call
// returns: after a normal end, a stop, a time limit, a program that could not be started, and
// an exception from one of the caller's callbacks alike.

#include <chrono>
#include <cstdint>
#include <functional>
#include <string>

namespace bx {

class Diagnoser;

// Module number of the runner's trace lines.
inline constexpr int32_t kShellExecTraceModule = 1010;

// How the caller watches and ends a run. Every member may stay empty.
struct RunControl {
    // The tool's output as it arrives: one or more complete lines, each followed by CR LF. A
    // line longer than kLongestOutputLine arrives in pieces of that length.
    std::function<void(const std::string& lines)> onOutput;
    // Called about every 20 ms while the tool runs, on the caller's thread.
    std::function<void()> whileWaiting;
    // Asked as often; true ends the tool.
    std::function<bool()> stopRequested;
    // The longest the tool may run; zero for no limit.
    std::chrono::milliseconds timeLimit{0};
};

inline constexpr std::size_t kLongestOutputLine = 64 * 1024;

// How a run ended: the tool ended by itself, the caller stopped it, or its time ran out.
enum class RunEnd { Exited, Stopped, TimedOut };

struct RunResult {
    int32_t ExitCode = 0; // also when stopped: the status the ended tool gave (128 + signal)
    RunEnd End = RunEnd::Exited;
};

// The command as it is started: with "command.com /C " in front when the lower-cased COMSPEC
// names that old shell, unchanged otherwise (an unset COMSPEC included). Linux has no COMSPEC
// of its own, so in practice the command runs as it stands; the rule stays for a user who sets
// the variable to reach such a shell through a wrapper named "command.com" on the PATH.
std::string WithShellPrefix(const std::string& command, const std::string& comspec);

// Runs command (backslash form allowed: it is converted to the system's paths and split as
// platform::SplitCommandLine says) in workingFolder, under control, and says how it ended.
// command is changed in place when the COMSPEC rule puts a prefix in front. Throws BxError
// (source "ShellExec", number = the system's error number) when the program can't be started;
// nothing reached onOutput then.
RunResult ShellExecute(std::string& command, const std::string& workingFolder,
                       const RunControl& control, const Diagnoser& diagnoser);

// The same run to its end, with every line the child wrote in output, each followed by CR LF
// ("" when it wrote nothing): the whole output in memory, for callers that want it so. output
// is left as it was when the program can't be started. showWindow has no meaning on Linux,
// where a tool has no window of its own; callers pass false.
int32_t ShellExecute(std::string& command, const std::string& workingFolder, std::string& output,
                     bool showWindow, const Diagnoser& diagnoser);

// Appends every line of text to output, each followed by CR LF. A line ends at LF, CR LF or a
// lone CR; a last line without an end counts as a line. The empty text adds nothing.
void AppendLinesWithCrLf(const std::string& text, std::string& output);

// Cuts a stream of output into complete lines as it comes in pieces: a CR LF split between two
// pieces is one line end, and a line without an end waits for the next piece up to
// kLongestOutputLine. Each Add and the Finish hand what is complete to the sink, in the form
// AppendLinesWithCrLf gives.
class OutputLines {
public:
    explicit OutputLines(std::function<void(const std::string&)> sink) : sink_(std::move(sink)) {}
    void Add(const std::string& piece);
    // The rest, as the last line.
    void Finish();

private:
    std::function<void(const std::string&)> sink_;
    std::string pending_;
};

} // namespace bx
