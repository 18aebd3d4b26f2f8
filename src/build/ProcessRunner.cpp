#include "build/ProcessRunner.h"

#include "foundation/Common.h"
#include "foundation/Diagnoser.h"
#include "foundation/Error.h"
#include "platform/FileSystem.h"
#include "platform/Process.h"
#include "platform/ProgramFolder.h"

#include <algorithm>
#include <cctype>
#include <optional>
#include <thread>

namespace bx {

namespace {

constexpr const char* kErrorSource = "ShellExec";

// Checkpoints of a run in the trace log.
constexpr int32_t kTraceHandles = 1001;
constexpr int32_t kTraceCommand = 1010;
constexpr int32_t kTraceStarted = 1015;
constexpr int32_t kTraceExitCode = 1020;

// The program's folder keeps the temporary files next to the log, as they always were; an
// installation in a folder the user can't write to (a system-wide one) falls back to the
// system's temporary folder. The prefixes stay the same in either place.
std::string TemporaryFolder() {
    std::string folder = platform::ProgramFolder();
    if (platform::IsFolderWritable(folder))
        return folder;
    return platform::TempFolder();
}

} // namespace

std::string WithShellPrefix(const std::string& command, const std::string& comspec) {
    if (LowerCase(comspec).find("command.com") != std::string::npos)
        return "command.com /C " + command;
    return command;
}

void AppendLinesWithCrLf(const std::string& text, std::string& output) {
    // A plain scan: find_first_of asks a search per character, which shows on a tool that
    // prints gigabytes.
    auto nextLineEnd = [&text](std::size_t from) {
        for (std::size_t i = from; i < text.size(); ++i)
            if (text[i] == '\r' || text[i] == '\n')
                return i;
        return std::string::npos;
    };
    output.reserve(output.size() + text.size() + text.size() / 8);
    std::size_t start = 0;
    while (start < text.size()) {
        std::size_t end = nextLineEnd(start);
        if (end == std::string::npos) {
            output.append(text, start, std::string::npos);
            output += "\r\n";
            break;
        }
        output.append(text, start, end - start);
        output += "\r\n";
        // CR LF is one line end; a lone CR or a lone LF is one too.
        start = (text[end] == '\r' && end + 1 < text.size() && text[end + 1] == '\n') ? end + 2
                                                                                      : end + 1;
    }
}

void OutputLines::Add(const std::string& piece) {
    pending_ += piece;
    // A CR at the very end may be the first half of a CR LF: it waits for the next piece.
    const std::size_t usable = pending_.size() - (!pending_.empty() && pending_.back() == '\r');
    const std::size_t lastEnd = pending_.find_last_of("\r\n", usable == 0 ? 0 : usable - 1);
    std::string complete;
    std::size_t cut = 0;
    if (usable > 0 && lastEnd != std::string::npos) {
        cut = lastEnd + 1;
        AppendLinesWithCrLf(pending_.substr(0, cut), complete);
    }
    // A line that never ends is handed on in pieces, so that it can't fill the memory.
    while (pending_.size() - cut > kLongestOutputLine) {
        complete.append(pending_, cut, kLongestOutputLine);
        complete += "\r\n";
        cut += kLongestOutputLine;
    }
    pending_.erase(0, cut);
    if (!complete.empty())
        sink_(complete);
}

void OutputLines::Finish() {
    std::string rest;
    AppendLinesWithCrLf(pending_, rest);
    pending_.clear();
    if (!rest.empty())
        sink_(rest);
}

namespace {

// How long an ended tool's group has between SIGTERM and SIGKILL.
constexpr auto kStopGrace = std::chrono::milliseconds(500);
constexpr auto kPollInterval = std::chrono::milliseconds(20);
// The most read from the output file in one go; the host hears from the run between reads.
constexpr std::size_t kReadPiece = 256 * 1024;

// Ends a child that is still running when the run is left early (an exception from a callback)
// and deletes the temporary files on every way out.
class RunResources {
public:
    RunResources(std::string input, std::string output)
        : inputPath(std::move(input)), outputPath(std::move(output)) {}
    ~RunResources() {
        if (process > 0)
            platform::EndProcessGroup(process, kStopGrace);
        platform::DeleteFile(inputPath);
        platform::DeleteFile(outputPath);
    }
    RunResources(const RunResources&) = delete;
    RunResources& operator=(const RunResources&) = delete;

    const std::string inputPath, outputPath;
    int process = 0; // the running child, 0 once it has ended and was reaped
};

} // namespace

RunResult ShellExecute(std::string& command, const std::string& workingFolder,
                       const RunControl& control, const Diagnoser& diagnoser) {
    const std::string folder = TemporaryFolder();
    // A temporary file that can't be made isn't checked here: the open below then fails, and
    // so does the start, which reports it.
    RunResources run(platform::MakeTempFile(folder, "vki"), platform::MakeTempFile(folder, "vko"));
    const int input = platform::OpenTruncated(run.inputPath);
    const int out = platform::OpenTruncated(run.outputPath);
    const int err = platform::DuplicateDescriptor(out);
    diagnoser.Trace(kShellExecTraceModule, kTraceHandles,
                    "In, Out and Err handles are " + Hex8(input) + ", " + Hex8(out) + ", and " +
                        Hex8(err));

    diagnoser.Trace(kShellExecTraceModule, kTraceCommand, command);
    command = WithShellPrefix(command, platform::GetEnvironment("COMSPEC").value_or(""));

    const platform::StartResult start =
        platform::StartProcess(platform::SplitCommandLine(command), workingFolder, input, out, err);
    diagnoser.Trace(kShellExecTraceModule, kTraceStarted,
                    std::string("CreateProcess returns ") + (start.started ? "1" : "0"));

    // The child holds the only open descriptors of the files from here on.
    platform::CloseDescriptor(input);
    platform::CloseDescriptor(out);
    platform::CloseDescriptor(err);

    // Nothing ran, so nothing was written: the files go too (RunResources), instead of piling
    // up in the program's folder with every tool that can't be found.
    if (!start.started)
        throw BxError(start.error, kErrorSource, platform::ErrorText(start.error));
    run.process = start.process;

    RunResult result;
    platform::GrowingFileReader reader(run.outputPath);
    OutputLines lines([&control](const std::string& text) {
        if (control.onOutput)
            control.onOutput(text);
    });
    std::string piece;
    auto readAll = [&](bool toTheEnd) {
        std::size_t total = 0;
        for (;;) {
            piece.clear();
            const std::size_t got = reader.ReadMore(piece, kReadPiece);
            if (got == 0)
                break;
            total += got;
            lines.Add(piece);
            reader.ReleaseRead();
            if (!toTheEnd)
                break;
        }
        return total;
    };
    const auto started = std::chrono::steady_clock::now();
    for (;;) {
        if (std::optional<int32_t> status = platform::PollProcess(run.process)) {
            run.process = 0;
            result.ExitCode = *status;
            break;
        }
        const bool stop = control.stopRequested && control.stopRequested();
        const bool late = control.timeLimit.count() > 0 &&
                          std::chrono::steady_clock::now() - started >= control.timeLimit;
        if (stop || late) {
            result.End = stop ? RunEnd::Stopped : RunEnd::TimedOut;
            result.ExitCode = platform::EndProcessGroup(run.process, kStopGrace);
            run.process = 0;
            break;
        }
        const std::size_t got = readAll(false);
        if (control.whileWaiting)
            control.whileWaiting();
        if (got == 0)
            std::this_thread::sleep_for(kPollInterval);
    }
    // What the tool wrote before it ended, to the last byte.
    readAll(true);
    lines.Finish();
    diagnoser.Trace(kShellExecTraceModule, kTraceExitCode,
                    "Process exit code: " + std::to_string(result.ExitCode));
    return result;
}

int32_t ShellExecute(std::string& command, const std::string& workingFolder, std::string& output,
                     bool /*showWindow*/, const Diagnoser& diagnoser) {
    std::string collected;
    RunControl control;
    control.onOutput = [&collected](const std::string& lines) { collected += lines; };
    const RunResult result = ShellExecute(command, workingFolder, control, diagnoser);
    output = std::move(collected);
    return result.ExitCode;
}

} // namespace bx
