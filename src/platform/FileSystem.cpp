#include "platform/FileSystem.h"

#include "platform/Paths.h"
#include "platform/Process.h"

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <chrono>
#include <csignal>
#include <cstdlib>
#include <ctime>
#include <fcntl.h>
#include <filesystem>
#include <fnmatch.h>
#include <fstream>
#include <sstream>
#include <sys/resource.h>
#include <sys/stat.h>
#include <unistd.h>

namespace bx::platform {

namespace fs = std::filesystem;

namespace {
fs::path Native(const std::string& path) {
    return fs::path(ToNativePath(path));
}

// The parent folder of a native path; "." for a bare file name.
fs::path ParentOf(const fs::path& path) {
    fs::path parent = path.parent_path();
    return parent.empty() ? fs::path(".") : parent;
}

// A file without its owner's write permission counts as read-only, the counterpart of the
// read-only attribute. Deleting never overrides it: unlink would remove such a file (the
// folder's permission is what counts), so the check is made here, for the superuser too.
bool IsReadOnly(const fs::path& path) {
    struct stat info {};
    return ::stat(path.c_str(), &info) == 0 && (info.st_mode & S_IWUSR) == 0;
}
} // namespace

bool FileExists(const std::string& path) {
    std::error_code ec;
    return !path.empty() && fs::is_regular_file(Native(path), ec);
}

bool FolderExists(const std::string& path) {
    std::error_code ec;
    return !path.empty() && fs::is_directory(Native(path), ec);
}

bool CopyFile(const std::string& from, const std::string& to, bool overwrite) {
    std::error_code ec;
    auto options = overwrite ? fs::copy_options::overwrite_existing : fs::copy_options::none;
    return fs::copy_file(Native(from), Native(to), options, ec) && !ec;
}

bool DeleteFile(const std::string& path) {
    std::error_code ec;
    fs::path native = Native(path);
    return fs::is_regular_file(native, ec) && !IsReadOnly(native) && fs::remove(native, ec);
}

int DeleteFiles(const std::string& pattern) {
    fs::path native = Native(pattern);
    std::string namePattern = native.filename().string();
    std::error_code ec;
    int deleted = 0;
    for (const auto& entry : fs::directory_iterator(ParentOf(native), ec)) {
        if (!entry.is_regular_file(ec))
            continue;
        std::string name = entry.path().filename().string();
        if (::fnmatch(namePattern.c_str(), name.c_str(), FNM_PERIOD) == 0 &&
            !IsReadOnly(entry.path()) && fs::remove(entry.path(), ec))
            ++deleted;
    }
    return deleted;
}

std::optional<uint64_t> LastWriteTime(const std::string& path) {
    struct stat info {};
    if (path.empty() || ::stat(ToNativePath(path).c_str(), &info) != 0 || !S_ISREG(info.st_mode))
        return std::nullopt;
    // 100-nanosecond units since the Unix epoch: a 64-bit count that grows with time.
    return static_cast<uint64_t>(info.st_mtim.tv_sec) * 10000000ull +
           static_cast<uint64_t>(info.st_mtim.tv_nsec) / 100ull;
}

std::optional<uint64_t> FileSize(const std::string& path) {
    std::error_code ec;
    fs::path native = Native(path);
    if (path.empty() || !fs::is_regular_file(native, ec))
        return std::nullopt;
    auto size = fs::file_size(native, ec);
    if (ec)
        return std::nullopt;
    return static_cast<uint64_t>(size);
}

std::optional<LocalDateTime> LastWriteLocalTime(const std::string& path) {
    struct stat info {};
    if (path.empty() || ::stat(ToNativePath(path).c_str(), &info) != 0)
        return std::nullopt;
    std::tm fields{};
    if (!::localtime_r(&info.st_mtim.tv_sec, &fields))
        return std::nullopt;
    LocalDateTime local;
    local.Year = fields.tm_year + 1900;
    local.Month = fields.tm_mon + 1;
    local.Day = fields.tm_mday;
    local.Hour = fields.tm_hour;
    local.Minute = fields.tm_min;
    local.Second = fields.tm_sec;
    return local;
}

bool CreateFolder(const std::string& path) {
    std::error_code ec;
    return !path.empty() && fs::create_directory(Native(path), ec) && !ec;
}

std::string CurrentDirectory() {
    std::error_code ec;
    return FromNativePath(fs::current_path(ec).string());
}

bool SetCurrentDirectory(const std::string& path) {
    std::error_code ec;
    if (path.empty())
        return false;
    fs::current_path(Native(path), ec);
    return !ec;
}

std::string AbsolutePath(const std::string& path) {
    std::error_code ec;
    fs::path absolute = fs::absolute(Native(path), ec);
    return ec ? path : FromNativePath(absolute.lexically_normal().string());
}

bool DeleteFolderTree(const std::string& path) {
    std::error_code ec;
    fs::path native = Native(path);
    if (path.empty() || !fs::is_directory(native, ec))
        return false;
    fs::remove_all(native, ec);
    return !ec;
}

bool CopyFolderTree(const std::string& from, const std::string& to) {
    std::error_code ec;
    fs::copy(Native(from), Native(to),
             fs::copy_options::recursive | fs::copy_options::overwrite_existing, ec);
    return !ec;
}

std::vector<std::string> ListSubfolders(const std::string& path) {
    std::vector<std::string> names;
    std::error_code ec;
    for (const auto& entry : fs::directory_iterator(Native(path), ec))
        if (entry.is_directory(ec))
            names.push_back(entry.path().filename().string());
    std::sort(names.begin(), names.end());
    return names;
}

std::vector<std::string> ListFolder(const std::string& path) {
    std::vector<std::string> names;
    std::error_code ec;
    for (const auto& entry : fs::directory_iterator(Native(path), ec))
        names.push_back(entry.path().filename().string());
    std::sort(names.begin(), names.end());
    return names;
}

std::optional<std::string> ReadFile(const std::string& path) {
    // A folder opens as a stream on Linux and reads as empty; it is not a file.
    std::error_code ec;
    if (!fs::is_regular_file(Native(path), ec))
        return std::nullopt;
    std::ifstream in(Native(path), std::ios::binary);
    if (!in)
        return std::nullopt;
    std::ostringstream content;
    content << in.rdbuf();
    if (in.bad())
        return std::nullopt;
    return content.str();
}

std::optional<std::string> ReadFileSlice(const std::string& path, uint64_t offset,
                                         std::size_t length) {
    std::error_code ec;
    if (path.empty() || !fs::is_regular_file(Native(path), ec))
        return std::nullopt;
    const int fd = ::open(ToNativePath(path).c_str(), O_RDONLY | O_CLOEXEC);
    if (fd < 0)
        return std::nullopt;
    std::string slice(length, '\0');
    std::size_t got = 0;
    while (got < length) {
        const ssize_t n =
            ::pread(fd, slice.data() + got, length - got, static_cast<off_t>(offset + got));
        if (n < 0 && errno == EINTR)
            continue;
        if (n < 0) {
            ::close(fd);
            return std::nullopt;
        }
        if (n == 0)
            break; // the file's end
        got += static_cast<std::size_t>(n);
    }
    ::close(fd);
    slice.resize(got);
    return slice;
}

namespace {

// The file a path finally names: symbolic links are followed, a chain of them too, and one
// whose target doesn't exist yet, so that a save replaces the target and the link stays.
fs::path FinalTarget(fs::path path) {
    std::error_code ec;
    for (int hops = 0; hops < 40 && fs::is_symlink(fs::symlink_status(path, ec)); ++hops) {
        const fs::path next = fs::read_symlink(path, ec);
        if (ec)
            break;
        path = next.is_absolute() ? next : ParentOf(path) / next;
    }
    return path;
}

// The temporary files of one target: "." + its name + ".tmp" + process id + "-" + a count.
// The name is cut short so that the temporary name stays within the file system's limit even
// when the target's own name nearly reaches it.
std::string TemporaryPrefix(const fs::path& target) {
    return "." + target.filename().string().substr(0, 200) + ".tmp";
}

// Removes the temporary files a save of this target left when its process died between the
// write and the rename. A file of a process that still runs may be a save in progress; one
// of this process is never stale (its saves finish or clean up before they return).
void RemoveStaleTemporaries(const fs::path& target) {
    const std::string prefix = TemporaryPrefix(target);
    std::error_code ec;
    for (const auto& entry : fs::directory_iterator(ParentOf(target), ec)) {
        const std::string name = entry.path().filename().string();
        if (name.compare(0, prefix.size(), prefix) != 0)
            continue;
        const std::string rest = name.substr(prefix.size());
        const std::size_t dash = rest.find('-');
        if (dash == 0 || dash == std::string::npos || rest.find_first_not_of("0123456789") != dash)
            continue;
        const long pid = std::strtol(rest.substr(0, dash).c_str(), nullptr, 10);
        if (pid <= 0 || pid == ::getpid())
            continue;
        if (::kill(static_cast<pid_t>(pid), 0) != 0 && errno == ESRCH)
            fs::remove(entry.path(), ec);
    }
}

bool Fail(std::string* whyNot, const std::string& reason) {
    if (whyNot)
        *whyNot = reason;
    return false;
}

} // namespace

bool WriteFileAtomic(const std::string& path, const std::string& content, std::string* whyNot) {
    static std::atomic<unsigned> counter{0};
    const fs::path target = FinalTarget(Native(path));

    struct stat existing {};
    const bool exists = ::stat(target.c_str(), &existing) == 0;
    if (exists && S_ISDIR(existing.st_mode))
        return Fail(whyNot, ErrorText(EISDIR));
    // The rename would replace a file its owner made read-only, or one of another user, as
    // long as the folder is writable: the file's own permission is asked first. The owner's
    // write bit counts for the superuser too, as it does for deleting.
    if (exists && ((existing.st_mode & S_IWUSR) == 0 || ::access(target.c_str(), W_OK) != 0))
        return Fail(whyNot, "the file is read-only");

    RemoveStaleTemporaries(target);
    const fs::path temp = ParentOf(target) / (TemporaryPrefix(target) + std::to_string(::getpid()) +
                                              "-" + std::to_string(counter++));
    const int fd = ::open(temp.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0666);
    if (fd < 0)
        return Fail(whyNot, ErrorText(errno));
    int error = 0;
    if (exists) {
        // Owner and group first, where the process may give them (changing the owner may
        // clear the set-id bits), then the permission bits exactly, whatever the umask says.
        if (::fchown(fd, existing.st_uid, existing.st_gid) != 0)
            (void)::fchown(fd, static_cast<uid_t>(-1), existing.st_gid);
        if (::fchmod(fd, existing.st_mode & 07777) != 0)
            error = errno;
    }
    const char* data = content.data();
    std::size_t left = content.size();
    while (error == 0 && left > 0) {
        const ssize_t written = ::write(fd, data, left);
        if (written < 0) {
            if (errno != EINTR)
                error = errno;
            continue;
        }
        data += written;
        left -= static_cast<std::size_t>(written);
    }
    // The data reaches the disk before the rename makes it the file.
    if (error == 0 && ::fsync(fd) != 0)
        error = errno;
    if (::close(fd) != 0 && error == 0)
        error = errno;
    if (error == 0 && ::rename(temp.c_str(), target.c_str()) != 0)
        error = errno;
    if (error != 0) {
        ::unlink(temp.c_str());
        return Fail(whyNot, ErrorText(error));
    }
    return true;
}

bool AppendToFile(const std::string& path, const std::string& text) {
    std::ofstream out(Native(path), std::ios::binary | std::ios::app);
    if (!out)
        return false;
    out << text;
    out.close();
    return !out.fail();
}

std::string TempFolder() {
    std::error_code ec;
    fs::path folder;
    if (const char* tmpdir = std::getenv("TMPDIR"); tmpdir && *tmpdir)
        folder = tmpdir;
    if (folder.empty() || !fs::is_directory(folder, ec))
        folder = "/tmp";
    if (!fs::is_directory(folder, ec))
        return {};
    std::string text = FromNativePath(folder.string());
    while (text.size() > 1 && text.back() == '\\')
        text.pop_back();
    return text;
}

bool SetHighPriority() {
    // The nearest Linux counterpart of a high priority class is a negative nice value, which
    // needs privilege; callers treat a refusal as harmless.
    errno = 0;
    return ::setpriority(PRIO_PROCESS, 0, -5) == 0;
}

} // namespace bx::platform
