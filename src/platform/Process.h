#pragma once
// Starting a child process with its standard streams redirected to files, and the small file
// and environment services that go with it. The build's process runner (build/ProcessRunner)
// holds the contract of a tool run; this is the part of it that talks to the operating system.
//
// Command texts come in the system's backslash form and are split here the way a person reads
// them: blanks and tabs separate words, double quotes group (and are dropped), there is no
// escape character, and every "\" becomes the operating system's separator. So
//     "C:\my tools\asm" -o "a b.obj" x.asm
// starts the program "C:/my tools/asm" with the three arguments "-o", "a b.obj" and "x.asm".

#include <chrono>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace bx::platform {

// The words of a command text, converted to the operating system's path form. Empty quotes
// give an empty word; an unclosed quote runs to the end of the text.
std::vector<std::string> SplitCommandLine(const std::string& command);

// Makes a new, empty file named prefix + six unique characters + ".tmp" in folder (backslash
// form) and returns its path in the same form; empty when it can't be made.
std::string MakeTempFile(const std::string& folder, const std::string& prefix);

// Whether the process may create files in the folder.
bool IsFolderWritable(const std::string& folder);

// The value of an environment variable; nothing when it isn't set.
std::optional<std::string> GetEnvironment(const std::string& name);

// A file opened for reading and writing, created empty (or emptied), not handed on to child
// processes except through the redirections below. -1 when it can't be opened.
int OpenTruncated(const std::string& path);
// A second descriptor of the same open file (sharing its position), or -1.
int DuplicateDescriptor(int descriptor);
void CloseDescriptor(int descriptor);

// The outcome of starting a child: started, or the operating system's error number.
struct StartResult {
    bool started = false;
    int error = 0;   // errno value when not started
    int process = 0; // process id when started
};

// Starts words[0] with the rest of words as arguments, in workingFolder (backslash form; empty
// keeps the current directory), with the three descriptors as its standard input, output and
// error, and the environment of this process. A program name without a "/" is looked up in
// PATH; one with a "/" that isn't absolute is taken relative to workingFolder, where the child
// starts. No shell is involved. The child leads a process group of its own, which everything
// it starts joins: EndProcessGroup ends them all, and a Ctrl+C at the terminal reaches this
// process alone, which decides what becomes of the tool.
StartResult StartProcess(const std::vector<std::string>& words, const std::string& workingFolder,
                         int standardInput, int standardOutput, int standardError);

// Starts a command text (split as SplitCommandLine does) in workingFolder and lets it run on
// its own, the way a person starts a program with a window of its own: nobody waits for it,
// and it shares this process's standard streams. The outcome of the start.
StartResult StartDetached(const std::string& command, const std::string& workingFolder);

// Waits without a time limit for the child to end and gives its exit status: the value it
// passed to exit(), or 128 + the signal's number when a signal ended it (the shell's rule).
int32_t WaitForProcess(int process);
// The exit status when the child has ended (it is then reaped), nothing while it runs.
std::optional<int32_t> PollProcess(int process);
// Ends the child's whole process group: SIGTERM to every member, up to grace for the child to
// end, then SIGKILL to whatever of the group is left. Reaps the child and gives its status.
int32_t EndProcessGroup(int process, std::chrono::milliseconds grace);

// A file another process is still writing (a tool's output), read from where the last read
// ended, through a description of its own so that the writer's position isn't disturbed.
class GrowingFileReader {
public:
    explicit GrowingFileReader(const std::string& path);
    ~GrowingFileReader();
    GrowingFileReader(const GrowingFileReader&) = delete;
    GrowingFileReader& operator=(const GrowingFileReader&) = delete;

    // Appends up to max bytes written since the last read to into; the number appended, 0
    // when nothing new is there yet (or the file couldn't be opened).
    std::size_t ReadMore(std::string& into, std::size_t max);
    // Gives the disk space of what was read back to the file system where it can, in blocks of
    // 64 MB (the file keeps its size, the part read holds nothing), so a tool that writes
    // without end fills no disk while it is read.
    void ReleaseRead();

private:
    int fd_ = -1;
    uint64_t offset_ = 0;
    uint64_t released_ = 0;
};

// While an InterruptWatch lives, SIGINT and SIGTERM don't end the process: the first one is
// noted, and the long operations that ask Signal() (a build, a run of the target) end as the
// person asked, clean up and return. The previous handling comes back when the watch ends.
// The outermost watch starts with no note; one inside it (a command the demo runs) shares it.
// Made and ended on one thread.
class InterruptWatch {
public:
    InterruptWatch();
    ~InterruptWatch();
    InterruptWatch(const InterruptWatch&) = delete;
    InterruptWatch& operator=(const InterruptWatch&) = delete;

    // The number of the signal that arrived, 0 while none did. Any thread.
    static int Signal();
    // Notes a signal as the handler would (for tests and for hosts with other stop sources).
    static void Raise(int signal);
    // Forgets a noted signal.
    static void Clear();

private:
    struct Saved;
    std::unique_ptr<Saved> saved_;
};

// The text of an operating system error number.
std::string ErrorText(int error);

} // namespace bx::platform
