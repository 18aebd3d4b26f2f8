#pragma once
// The file-system service. Every path argument and result is in the system's backslash form;
// the conversion to the operating system's form happens inside. No function here throws for
// a missing file: results say what happened.

#include "platform/LocalTime.h"

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace bx::platform {

bool FileExists(const std::string& path);
bool FolderExists(const std::string& path);
// Copies a file; returns false when the source can't be read or the target can't be written.
bool CopyFile(const std::string& from, const std::string& to, bool overwrite);
// Deleting never overrides a read-only file (one without its owner's write permission): such
// a file stays, and DeleteFile returns false for it.
bool DeleteFile(const std::string& path);
// Deletes the files matching a pattern whose last component may hold "*" and "?". Folders and
// read-only files are left alone, and a wildcard never matches the leading "." of a hidden
// name (the temporary files of a save among them). Returns the number of files deleted.
int DeleteFiles(const std::string& pattern);
// Last-modified time as a 64-bit count that grows with time (100 ns units), if readable.
std::optional<uint64_t> LastWriteTime(const std::string& path);
std::optional<uint64_t> FileSize(const std::string& path);
// Last-modified time of a file or folder as the local wall-clock time, to the second.
std::optional<LocalDateTime> LastWriteLocalTime(const std::string& path);
// Creates one folder (its parent must exist). False when it exists already or can't be made.
bool CreateFolder(const std::string& path);
// The process's current directory, backslash form, without a final "\".
std::string CurrentDirectory();
// Sets the current directory; false when the folder does not exist.
bool SetCurrentDirectory(const std::string& path);
// The path made absolute against the current directory (no links resolved), backslash form.
std::string AbsolutePath(const std::string& path);
// Puts the current directory back when it goes out of scope, whatever happened meanwhile.
class ScopedCurrentDirectory {
public:
    ScopedCurrentDirectory() : saved_(CurrentDirectory()) {}
    ~ScopedCurrentDirectory() { SetCurrentDirectory(saved_); }
    ScopedCurrentDirectory(const ScopedCurrentDirectory&) = delete;
    ScopedCurrentDirectory& operator=(const ScopedCurrentDirectory&) = delete;

private:
    std::string saved_;
};

// Deletes a folder with everything in it; read-only files inside are deleted too (this is the
// removal of a whole tree, not a file delete). False when something stayed.
bool DeleteFolderTree(const std::string& path);
// Copies a folder with everything in it into a new or existing folder to, overwriting files
// of the same name. False when something couldn't be copied.
bool CopyFolderTree(const std::string& from, const std::string& to);
// The names (not paths) of the subfolders of a folder, sorted.
std::vector<std::string> ListSubfolders(const std::string& path);
// The names (not paths) of the entries of a folder, sorted.
std::vector<std::string> ListFolder(const std::string& path);

// Whole-file reads and writes. ReadFile gives nothing for a missing file or a folder.
std::optional<std::string> ReadFile(const std::string& path);
// Up to length bytes of a file from offset on, fewer at its end and none behind it; nothing
// when the file can't be opened or read. Only the slice is read, however large the file is.
std::optional<std::string> ReadFileSlice(const std::string& path, uint64_t offset,
                                         std::size_t length);

// The one save routine of the program: every file it writes (appliance, settings, Makefile,
// log, recording) goes through here. The content goes into a hidden temporary file beside the
// target, reaches the disk, and is renamed over the target, so a crash leaves either the old
// file or the new one, never half of either. What the person set on the file stays:
//   - a read-only target (no write permission for its owner, or none for this process) is
//     refused, also where the folder would let a rename replace it; whyNot then ends in
//     "is read-only";
//   - a symbolic link is written through: its target gets the content, the link stays;
//   - an existing file keeps its permission bits, and its owner and group where the process
//     may give them (a new file gets the usual mode under the umask).
// Temporary files of earlier saves into the same target whose process is gone (a save killed
// between its write and its rename) are removed. On failure, whyNot (when given) receives the
// reason in words, the system's own where it gave one.
bool WriteFileAtomic(const std::string& path, const std::string& content,
                     std::string* whyNot = nullptr);
// Appends text to a file, creating it when missing (open, write, close).
bool AppendToFile(const std::string& path, const std::string& text);

// The system's temporary folder, backslash form, without a final "\": the folder TMPDIR
// names, or "/tmp" when TMPDIR is unset or names no folder (as the C library's temporary
// files do). Empty only when neither exists.
std::string TempFolder();
// Asks the OS for a high scheduling priority; returns false when refused.
bool SetHighPriority();

} // namespace bx::platform
