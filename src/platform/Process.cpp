#include "platform/Process.h"

#include "platform/Paths.h"

#include <atomic>
#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <spawn.h>
#include <sys/wait.h>
#include <thread>
#include <unistd.h>

extern char** environ;

namespace bx::platform {

std::vector<std::string> SplitCommandLine(const std::string& command) {
    const std::string native = ToNativePath(command);
    std::vector<std::string> words;
    std::string word;
    bool inWord = false;   // a word has begun (a quote alone begins one, possibly empty)
    bool inQuotes = false; // between an opening and a closing double quote
    for (char c : native) {
        if (c == '"') {
            inQuotes = !inQuotes;
            inWord = true;
        } else if (!inQuotes && (c == ' ' || c == '\t')) {
            if (inWord)
                words.push_back(word);
            word.clear();
            inWord = false;
        } else {
            word += c;
            inWord = true;
        }
    }
    if (inWord)
        words.push_back(word);
    return words;
}

std::string MakeTempFile(const std::string& folder, const std::string& prefix) {
    std::string native = ToNativePath(folder);
    if (!native.empty() && native.back() != '/')
        native += '/';
    native += prefix + "XXXXXX.tmp";
    std::vector<char> buffer(native.begin(), native.end());
    buffer.push_back('\0');
    int fd = ::mkostemps(buffer.data(), 4, O_CLOEXEC);
    if (fd < 0)
        return {};
    ::close(fd);
    return FromNativePath(buffer.data());
}

bool IsFolderWritable(const std::string& folder) {
    return !folder.empty() && ::access(ToNativePath(folder).c_str(), W_OK | X_OK) == 0;
}

std::optional<std::string> GetEnvironment(const std::string& name) {
    const char* value = std::getenv(name.c_str());
    if (!value)
        return std::nullopt;
    return std::string(value);
}

int OpenTruncated(const std::string& path) {
    // Close-on-exec: the child gets the file only as a redirected standard stream, never as a
    // stray descriptor that would keep it open after the parent let go of it.
    return ::open(ToNativePath(path).c_str(), O_RDWR | O_CREAT | O_TRUNC | O_CLOEXEC, 0600);
}

int DuplicateDescriptor(int descriptor) {
    return descriptor < 0 ? -1 : ::fcntl(descriptor, F_DUPFD_CLOEXEC, 0);
}

void CloseDescriptor(int descriptor) {
    if (descriptor >= 0)
        ::close(descriptor);
}

StartResult StartProcess(const std::vector<std::string>& words, const std::string& workingFolder,
                         int standardInput, int standardOutput, int standardError) {
    StartResult result;
    if (words.empty() || words[0].empty()) {
        result.error = ENOENT;
        return result;
    }
    std::vector<char*> argv;
    argv.reserve(words.size() + 1);
    for (const std::string& word : words)
        argv.push_back(const_cast<char*>(word.c_str()));
    argv.push_back(nullptr);

    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    // dup2 clears close-on-exec on the target, so the three streams reach the child while the
    // parent's own descriptors of the files don't.
    posix_spawn_file_actions_adddup2(&actions, standardInput, STDIN_FILENO);
    posix_spawn_file_actions_adddup2(&actions, standardOutput, STDOUT_FILENO);
    posix_spawn_file_actions_adddup2(&actions, standardError, STDERR_FILENO);
    const std::string folder = ToNativePath(workingFolder);
    if (!folder.empty())
        posix_spawn_file_actions_addchdir_np(&actions, folder.c_str());

    // A process group of its own (the child's id), with no signal blocked and the default
    // handling of the two signals this process may watch for.
    posix_spawnattr_t attributes;
    posix_spawnattr_init(&attributes);
    posix_spawnattr_setpgroup(&attributes, 0);
    sigset_t none, defaults;
    sigemptyset(&none);
    sigemptyset(&defaults);
    sigaddset(&defaults, SIGINT);
    sigaddset(&defaults, SIGTERM);
    posix_spawnattr_setsigmask(&attributes, &none);
    posix_spawnattr_setsigdefault(&attributes, &defaults);
    posix_spawnattr_setflags(&attributes, POSIX_SPAWN_SETPGROUP | POSIX_SPAWN_SETSIGMASK |
                                              POSIX_SPAWN_SETSIGDEF);

    pid_t pid = 0;
    // posix_spawnp searches PATH only for a name without "/", like a shell; glibc reports a
    // failed chdir or exec in the child as the call's result.
    int error = ::posix_spawnp(&pid, argv[0], &actions, &attributes, argv.data(), environ);
    posix_spawnattr_destroy(&attributes);
    posix_spawn_file_actions_destroy(&actions);
    if (error != 0) {
        result.error = error;
        return result;
    }
    result.started = true;
    result.process = pid;
    return result;
}

namespace {
int32_t StatusValue(int status) {
    if (WIFEXITED(status))
        return WEXITSTATUS(status);
    if (WIFSIGNALED(status))
        return 128 + WTERMSIG(status);
    return -1;
}
} // namespace

StartResult StartDetached(const std::string& command, const std::string& workingFolder) {
    const StartResult result = StartProcess(SplitCommandLine(command), workingFolder, STDIN_FILENO,
                                            STDOUT_FILENO, STDERR_FILENO);
    // Someone must collect the program's end, or it would stay behind as a zombie.
    if (result.started)
        std::thread([process = result.process] { WaitForProcess(process); }).detach();
    return result;
}

int32_t WaitForProcess(int process) {
    int status = 0;
    while (::waitpid(process, &status, 0) < 0) {
        if (errno != EINTR)
            return -1;
    }
    return StatusValue(status);
}

std::optional<int32_t> PollProcess(int process) {
    int status = 0;
    for (;;) {
        const pid_t ended = ::waitpid(process, &status, WNOHANG);
        if (ended == process)
            return StatusValue(status);
        if (ended == 0)
            return std::nullopt;
        if (errno != EINTR)
            return -1; // not our child (any more): nothing to wait for
    }
}

int32_t EndProcessGroup(int process, std::chrono::milliseconds grace) {
    ::kill(-process, SIGTERM);
    // Wait for the child to end without reaping it: while it stays a zombie its id, which is
    // the group's, can't be given to another process, so the SIGKILL below reaches only what
    // is left of the tool's own group.
    const auto deadline = std::chrono::steady_clock::now() + grace;
    for (;;) {
        siginfo_t info{};
        const int polled =
            ::waitid(P_PID, static_cast<id_t>(process), &info, WEXITED | WNOHANG | WNOWAIT);
        if (polled != 0 && errno != EINTR)
            break;
        if (polled == 0 && info.si_pid == process)
            break;
        if (std::chrono::steady_clock::now() >= deadline)
            break;
        std::this_thread::sleep_for(std::chrono::milliseconds(5));
    }
    ::kill(-process, SIGKILL);
    return WaitForProcess(process);
}

GrowingFileReader::GrowingFileReader(const std::string& path)
    : fd_(::open(ToNativePath(path).c_str(), O_RDWR | O_CLOEXEC)) {}

GrowingFileReader::~GrowingFileReader() {
    if (fd_ >= 0)
        ::close(fd_);
}

std::size_t GrowingFileReader::ReadMore(std::string& into, std::size_t max) {
    if (fd_ < 0 || max == 0)
        return 0;
    const std::size_t before = into.size();
    into.resize(before + max);
    ssize_t n;
    do {
        n = ::pread(fd_, into.data() + before, max, static_cast<off_t>(offset_));
    } while (n < 0 && errno == EINTR);
    const std::size_t got = n > 0 ? static_cast<std::size_t>(n) : 0;
    into.resize(before + got);
    offset_ += got;
    return got;
}

void GrowingFileReader::ReleaseRead() {
    // In large whole blocks, from the last release on: each punch costs the writer a moment,
    // and a tool's ordinary output never reaches one. A file system that can't punch holes
    // keeps the space until the file is deleted, as before.
    constexpr uint64_t kBlock = uint64_t{64} << 20;
    const uint64_t upTo = offset_ / kBlock * kBlock;
    if (fd_ < 0 || upTo <= released_)
        return;
    ::fallocate(fd_, FALLOC_FL_PUNCH_HOLE | FALLOC_FL_KEEP_SIZE, static_cast<off_t>(released_),
                static_cast<off_t>(upTo - released_));
    released_ = upTo;
}

namespace {
std::atomic<int> noted{0};
int watchDepth = 0;
// A handler may only touch a lock-free atomic; the first signal wins.
extern "C" void NoteSignal(int signal) {
    int expected = 0;
    noted.compare_exchange_strong(expected, signal);
}
} // namespace

struct InterruptWatch::Saved {
    struct sigaction interrupt {};
    struct sigaction terminate {};
};

InterruptWatch::InterruptWatch() : saved_(std::make_unique<Saved>()) {
    if (watchDepth++ == 0)
        noted.store(0);
    struct sigaction action {};
    action.sa_handler = NoteSignal;
    sigemptyset(&action.sa_mask);
    action.sa_flags = SA_RESTART;
    ::sigaction(SIGINT, &action, &saved_->interrupt);
    ::sigaction(SIGTERM, &action, &saved_->terminate);
}

InterruptWatch::~InterruptWatch() {
    ::sigaction(SIGINT, &saved_->interrupt, nullptr);
    ::sigaction(SIGTERM, &saved_->terminate, nullptr);
    --watchDepth;
}

int InterruptWatch::Signal() {
    return noted.load();
}

void InterruptWatch::Raise(int signal) {
    NoteSignal(signal);
}

void InterruptWatch::Clear() {
    noted.store(0);
}

std::string ErrorText(int error) {
    char buffer[256] = {};
    // The GNU strerror_r may return a static text instead of filling the buffer.
    const char* text = ::strerror_r(error, buffer, sizeof buffer);
    return text ? std::string(text) : std::string(buffer);
}

} // namespace bx::platform
