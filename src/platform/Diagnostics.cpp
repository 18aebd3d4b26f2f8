#include "platform/Diagnostics.h"

#include "platform/Archive.h"
#include "platform/LocalTime.h"
#include "platform/Paths.h"

#include <csignal>
#include <cstdio>
#include <cstring>
#include <execinfo.h>
#include <fcntl.h>
#include <unistd.h>

namespace bx::platform {

namespace {

// The log's descriptor stays open so that the crash handler, which may call nothing but
// async-signal-safe functions, can write to it with write().
int logFd = -1;

constexpr int kFatalSignals[] = {SIGSEGV, SIGBUS, SIGILL, SIGFPE, SIGABRT};

void WriteRaw(const char* text) {
    if (logFd < 0)
        return;
    const std::size_t length = std::strlen(text);
    std::size_t written = 0;
    while (written < length) {
        const ssize_t n = ::write(logFd, text + written, length - written);
        if (n <= 0)
            return;
        written += static_cast<std::size_t>(n);
    }
}

const char* SignalName(int signal) {
    switch (signal) {
    case SIGSEGV:
        return "SIGSEGV (segmentation fault)";
    case SIGBUS:
        return "SIGBUS (bus error)";
    case SIGILL:
        return "SIGILL (illegal instruction)";
    case SIGFPE:
        return "SIGFPE (arithmetic error)";
    case SIGABRT:
        return "SIGABRT (abort)";
    default:
        return "a fatal signal";
    }
}

void OnFatalSignal(int signal) {
    WriteRaw("Fatal error: ");
    WriteRaw(SignalName(signal));
    WriteRaw("\nBacktrace:\n");
    void* frames[64];
    const int count = ::backtrace(frames, 64);
    if (logFd >= 0)
        ::backtrace_symbols_fd(frames, count, logFd);
    WriteRaw("End of report.\n");
    // The default action ends the process as the signal would have (a core file included).
    std::signal(signal, SIG_DFL);
    std::raise(signal);
}

std::vector<std::string> Entries(const std::string& specification) {
    std::vector<std::string> entries;
    std::size_t start = 0;
    while (start <= specification.size()) {
        const std::size_t end = specification.find(';', start);
        const std::string entry = specification.substr(start, end - start);
        if (!entry.empty())
            entries.push_back(entry);
        if (end == std::string::npos)
            break;
        start = end + 1;
    }
    return entries;
}

bool EndsWith(const std::string& text, const std::string& tail) {
    return text.size() >= tail.size() &&
           text.compare(text.size() - tail.size(), tail.size(), tail) == 0;
}

} // namespace

std::string DiagnosticSpecification(const std::string& programFolder) {
    return "dump=medium,tag,compress=best;" + programFolder + "\\007.cab;" + programFolder +
           "\\vkbx.log;" + programFolder + "\\bx.log";
}

std::vector<std::string> DiagnosticLogFiles(const std::string& specification) {
    std::vector<std::string> files;
    for (const std::string& entry : Entries(specification))
        if (EndsWith(entry, ".log"))
            files.push_back(entry);
    return files;
}

std::string DiagnosticArchivePath(const std::string& specification) {
    for (const std::string& entry : Entries(specification))
        if (EndsWith(entry, ".cab"))
            return entry.substr(0, entry.size() - 4) + ".zip";
    return {};
}

bool OpenProgramLog(const std::string& path) {
    CloseProgramLog();
    logFd = ::open(ToNativePath(path).c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_APPEND | O_CLOEXEC,
                   0644);
    if (logFd < 0)
        return false;
    const LocalDateTime now = LocalNow();
    char line[80];
    std::snprintf(line, sizeof line, "%04d-%02d-%02d %02d:%02d:%02d\n", now.Year, now.Month,
                  now.Day, now.Hour, now.Minute, now.Second);
    WriteRaw(line);
    return true;
}

void ProgramLogLine(const std::string& text) {
    WriteRaw(text.c_str());
    WriteRaw("\n");
}

void CloseProgramLog() {
    if (logFd < 0)
        return;
    for (int signal : kFatalSignals)
        std::signal(signal, SIG_DFL);
    ::close(logFd);
    logFd = -1;
}

bool InstallCrashHandler() {
    // Its own stack, so that a stack overflow can still be reported.
    static char alternateStack[64 * 1024];
    stack_t stack{};
    stack.ss_sp = alternateStack;
    stack.ss_size = sizeof alternateStack;
    if (::sigaltstack(&stack, nullptr) != 0)
        return false;
    struct sigaction action {};
    action.sa_handler = OnFatalSignal;
    action.sa_flags = SA_ONSTACK | SA_RESETHAND;
    sigemptyset(&action.sa_mask);
    for (int signal : kFatalSignals)
        if (::sigaction(signal, &action, nullptr) != 0)
            return false;
    // backtrace() loads its unwinder at the first call, which isn't safe inside a handler.
    void* warmUp[1];
    ::backtrace(warmUp, 1);
    return true;
}

bool WriteDiagnosticArchive(const std::string& specification, std::string* error) {
    const std::string archive = DiagnosticArchivePath(specification);
    if (archive.empty()) {
        if (error)
            *error = "the diagnostic specification names no archive";
        return false;
    }
    return WriteZipArchive(archive, DiagnosticLogFiles(specification), error);
}

} // namespace bx::platform
