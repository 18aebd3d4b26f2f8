#include "platform/ProgramFolder.h"

#include "platform/Paths.h"

#include <filesystem>
#include <mutex>
#include <system_error>

namespace bx::platform {

namespace {
std::mutex gMutex;
std::string gOverride;

std::string ExecutableFolder() {
    std::error_code ec;
    std::filesystem::path exe = std::filesystem::read_symlink("/proc/self/exe", ec);
    if (ec)
        return FromNativePath(std::filesystem::current_path(ec).string());
    return FromNativePath(exe.parent_path().string());
}
} // namespace

std::string ProgramFolder() {
    std::lock_guard lock(gMutex);
    if (!gOverride.empty())
        return gOverride;
    static const std::string folder = ExecutableFolder();
    return folder;
}

void SetProgramFolder(const std::string& path) {
    std::lock_guard lock(gMutex);
    gOverride = path;
    while (gOverride.size() > 1 && gOverride.back() == '\\')
        gOverride.pop_back();
}

ScopedProgramFolder::ScopedProgramFolder(const std::string& path) {
    {
        std::lock_guard lock(gMutex);
        previous_ = gOverride;
    }
    SetProgramFolder(path);
}

ScopedProgramFolder::~ScopedProgramFolder() {
    SetProgramFolder(previous_);
}

} // namespace bx::platform
