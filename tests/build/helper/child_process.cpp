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
#include <string>
#include <unistd.h>

namespace {
void Write(int fd, const std::string& text) {
    for (std::size_t done = 0; done < text.size();) {
        const ssize_t written = ::write(fd, text.data() + done, text.size() - done);
        if (written <= 0)
            std::_Exit(99);
        done += static_cast<std::size_t>(written);
    }
}
} // namespace

int main(int argc, char** argv) {
    for (int i = 1; i < argc; ++i) {
        const std::string arg = argv[i];
        const std::string step = arg.substr(0, arg.find('=') + 1);
        const std::string value = arg.substr(step.size());
        if (step == "--out=" || step == "--err=") {
            Write(step == "--out=" ? 1 : 2, value + "\n");
        } else if (step == "--raw=") {
            Write(1, value);
        } else if (step == "--exit=") {
            return std::atoi(value.c_str());
        } else if (step == "--sleep=") {
            ::usleep(static_cast<useconds_t>(std::atoi(value.c_str())) * 1000u);
        } else if (arg == "--cwd") {
            char buffer[4096];
            Write(1, std::string(::getcwd(buffer, sizeof buffer) ? buffer : "?") + "\n");
        } else if (arg == "--stdin") {
            char buffer[256];
            std::size_t total = 0;
            for (ssize_t n; (n = ::read(0, buffer, sizeof buffer)) > 0;)
                total += static_cast<std::size_t>(n);
            Write(1, "stdin:" + std::to_string(total) + "\n");
        } else if (arg == "--args") {
            while (++i < argc)
                Write(1, std::string("[") + argv[i] + "]\n");
        } else if (arg == "--pid" || (arg == "--spawn" && ::fork() == 0)) {
            Write(1, "pid:" + std::to_string(::getpid()) + "\n");
            if (arg == "--spawn") {
                ::sleep(60);
                std::_Exit(0);
            }
        }
    }
    return 0;
}
