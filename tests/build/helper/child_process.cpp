// A small program the process runner's tests start. Each argument is one step, done in order:
//   --out=TEXT   writes TEXT and a line end to standard output
//   --err=TEXT   writes TEXT and a line end to standard error
//   --raw=TEXT   writes TEXT to standard output with no line end
//   --cwd        writes the current directory and a line end to standard output
//   --stdin      writes "stdin:" and the number of bytes standard input holds
//   --args       writes every remaining argument as "[argument]", one per line
//   --exit=N     ends at once with status N
//   --sleep=MS   sleeps MS milliseconds
//   --pid        writes "pid:" and its process id and a line end
//   --spawn      starts a copy of itself that writes "pid:" and its id and sleeps a minute:
//                a grandchild in the same process group
// Every write goes straight to the descriptor, so the order of the two streams in a shared
// file is the order of the steps.
#include <cstdlib>
#include <cstring>
#include <string>
#include <sys/wait.h>
#include <unistd.h>

namespace {
void Write(int fd, const std::string& text) {
    const char* data = text.data();
    std::size_t left = text.size();
    while (left > 0) {
        ssize_t written = ::write(fd, data, left);
        if (written <= 0)
            std::_Exit(99);
        data += written;
        left -= static_cast<std::size_t>(written);
    }
}

bool Starts(const char* arg, const char* prefix, std::string& rest) {
    std::size_t n = std::strlen(prefix);
    if (std::strncmp(arg, prefix, n) != 0)
        return false;
    rest = arg + n;
    return true;
}
} // namespace

int main(int argc, char** argv) {
    for (int i = 1; i < argc; ++i) {
        std::string rest;
        if (Starts(argv[i], "--out=", rest)) {
            Write(1, rest + "\n");
        } else if (Starts(argv[i], "--err=", rest)) {
            Write(2, rest + "\n");
        } else if (Starts(argv[i], "--raw=", rest)) {
            Write(1, rest);
        } else if (std::strcmp(argv[i], "--cwd") == 0) {
            char buffer[4096];
            Write(1, std::string(::getcwd(buffer, sizeof buffer) ? buffer : "?") + "\n");
        } else if (std::strcmp(argv[i], "--stdin") == 0) {
            char buffer[256];
            std::size_t total = 0;
            ssize_t n;
            while ((n = ::read(0, buffer, sizeof buffer)) > 0)
                total += static_cast<std::size_t>(n);
            Write(1, "stdin:" + std::to_string(total) + "\n");
        } else if (std::strcmp(argv[i], "--args") == 0) {
            for (++i; i < argc; ++i)
                Write(1, std::string("[") + argv[i] + "]\n");
        } else if (Starts(argv[i], "--exit=", rest)) {
            return std::atoi(rest.c_str());
        } else if (Starts(argv[i], "--sleep=", rest)) {
            ::usleep(static_cast<useconds_t>(std::atoi(rest.c_str())) * 1000u);
        } else if (std::strcmp(argv[i], "--pid") == 0) {
            Write(1, "pid:" + std::to_string(::getpid()) + "\n");
        } else if (std::strcmp(argv[i], "--spawn") == 0) {
            if (::fork() == 0) {
                Write(1, "pid:" + std::to_string(::getpid()) + "\n");
                ::sleep(60);
                std::_Exit(0);
            }
        }
    }
    return 0;
}
