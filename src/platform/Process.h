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

#include <cstdint>
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
// starts. No shell is involved.
StartResult StartProcess(const std::vector<std::string>& words, const std::string& workingFolder,
                         int standardInput, int standardOutput, int standardError);

// Starts a command text (split as SplitCommandLine does) in workingFolder and lets it run on
// its own, the way a person starts a program with a window of its own: nobody waits for it,
// and it shares this process's standard streams. The outcome of the start.
StartResult StartDetached(const std::string& command, const std::string& workingFolder);

// Waits without a time limit for the child to end and gives its exit status: the value it
// passed to exit(), or 128 + the signal's number when a signal ended it (the shell's rule).
int32_t WaitForProcess(int process);

// The text of an operating system error number.
std::string ErrorText(int error);

} // namespace bx::platform
