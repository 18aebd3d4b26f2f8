#include "platform/Process.h"

#include "platform/Paths.h"

#include <cerrno>
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

    pid_t pid = 0;
    // posix_spawnp searches PATH only for a name without "/", like a shell; glibc reports a
    // failed chdir or exec in the child as the call's result.
    int error = ::posix_spawnp(&pid, argv[0], &actions, nullptr, argv.data(), environ);
    posix_spawn_file_actions_destroy(&actions);
    if (error != 0) {
        result.error = error;
        return result;
    }
    result.started = true;
    result.process = pid;
    return result;
}

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
    if (WIFEXITED(status))
        return WEXITSTATUS(status);
    if (WIFSIGNALED(status))
        return 128 + WTERMSIG(status);
    return -1;
}

std::string ErrorText(int error) {
    char buffer[256] = {};
    // The GNU strerror_r may return a static text instead of filling the buffer.
    const char* text = ::strerror_r(error, buffer, sizeof buffer);
    return text ? std::string(text) : std::string(buffer);
}

} // namespace bx::platform
