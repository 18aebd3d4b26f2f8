#include "build/ProcessRunner.h"

#include "foundation/Common.h"
#include "foundation/Diagnoser.h"
#include "foundation/Error.h"
#include "platform/FileSystem.h"
#include "platform/Process.h"
#include "platform/ProgramFolder.h"

#include <algorithm>
#include <cctype>

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
    std::size_t start = 0;
    while (start < text.size()) {
        std::size_t end = text.find_first_of("\r\n", start);
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

int32_t ShellExecute(std::string& command, const std::string& workingFolder, std::string& output,
                     bool /*showWindow*/, const Diagnoser& diagnoser) {
    const std::string folder = TemporaryFolder();
    // A temporary file that can't be made isn't checked here: the open below then fails, and
    // so does the start, which reports it.
    const std::string inputPath = platform::MakeTempFile(folder, "vki");
    const std::string outputPath = platform::MakeTempFile(folder, "vko");
    const int input = platform::OpenTruncated(inputPath);
    const int out = platform::OpenTruncated(outputPath);
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

    if (!start.started) {
        // Nothing ran, so nothing was written: the files go too, instead of piling up in the
        // program's folder with every tool that can't be found.
        platform::DeleteFile(inputPath);
        platform::DeleteFile(outputPath);
        throw BxError(start.error, kErrorSource, platform::ErrorText(start.error));
    }

    const int32_t exitCode = platform::WaitForProcess(start.process);
    diagnoser.Trace(kShellExecTraceModule, kTraceExitCode,
                    "Process exit code: " + std::to_string(exitCode));

    output.clear();
    if (auto written = platform::ReadFile(outputPath))
        AppendLinesWithCrLf(*written, output);

    platform::DeleteFile(inputPath);
    platform::DeleteFile(outputPath);
    return exitCode;
}

} // namespace bx
