#include "platform/FileSystem.h"

#include "platform/Paths.h"

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <chrono>
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

bool WriteFileAtomic(const std::string& path, const std::string& content) {
    static std::atomic<unsigned> counter{0};
    fs::path target = Native(path);
    fs::path temp =
        ParentOf(target) / ("." + target.filename().string() + ".tmp" + std::to_string(::getpid()) +
                            "-" + std::to_string(counter++));
    int fd = ::open(temp.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0644);
    if (fd < 0)
        return false;
    const char* data = content.data();
    std::size_t left = content.size();
    bool ok = true;
    while (left > 0) {
        ssize_t written = ::write(fd, data, left);
        if (written < 0) {
            if (errno == EINTR)
                continue;
            ok = false;
            break;
        }
        data += written;
        left -= static_cast<std::size_t>(written);
    }
    // The data reaches the disk before the rename makes it the file.
    ok = ok && ::fsync(fd) == 0;
    ok = (::close(fd) == 0) && ok;
    if (ok)
        ok = ::rename(temp.c_str(), target.c_str()) == 0;
    if (!ok)
        ::unlink(temp.c_str());
    return ok;
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
    std::string folder = FromNativePath(fs::temp_directory_path(ec).string());
    while (folder.size() > 1 && folder.back() == '\\')
        folder.pop_back();
    return folder;
}

bool SetHighPriority() {
    // The nearest Linux counterpart of a high priority class is a negative nice value, which
    // needs privilege; callers treat a refusal as harmless.
    errno = 0;
    return ::setpriority(PRIO_PROCESS, 0, -5) == 0;
}

} // namespace bx::platform
