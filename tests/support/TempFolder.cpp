#include "support/TempFolder.h"

#include "platform/Paths.h"

#include <atomic>
#include <cstdlib>
#include <fstream>
#include <unistd.h>

namespace bx::test {

namespace {
std::filesystem::path BaseFolder() {
    if (const char* base = std::getenv("BX_TEST_TMP"); base && *base)
        return base;
    return std::filesystem::temp_directory_path() / "bx-tests";
}
} // namespace

TempFolder::TempFolder() {
    static std::atomic<int> counter{0};
    std::filesystem::path base = BaseFolder();
    std::filesystem::create_directories(base);
    for (;;) {
        native_ = base / ("t" + std::to_string(::getpid()) + "-" + std::to_string(counter++));
        if (std::filesystem::create_directory(native_))
            break;
    }
}

TempFolder::~TempFolder() {
    std::error_code ec;
    std::filesystem::permissions(native_, std::filesystem::perms::owner_all,
                                 std::filesystem::perm_options::add, ec);
    std::filesystem::remove_all(native_, ec);
}

std::string TempFolder::WriteFile(const std::string& relative, const std::string& content) const {
    std::filesystem::path file = native_ / platform::ToNativePath(relative);
    std::filesystem::create_directories(file.parent_path());
    std::ofstream out(file, std::ios::binary);
    out << content;
    return Sub(relative);
}

} // namespace bx::test
