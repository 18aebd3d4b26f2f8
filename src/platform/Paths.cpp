#include "platform/Paths.h"

#include <algorithm>

namespace bx::platform {

std::string ToNativePath(const std::string& systemPath) {
    std::string native = systemPath;
    std::replace(native.begin(), native.end(), '\\', '/');
    return native;
}

std::string FromNativePath(const std::string& nativePath) {
    std::string system = nativePath;
    std::replace(system.begin(), system.end(), '/', '\\');
    return system;
}

} // namespace bx::platform
