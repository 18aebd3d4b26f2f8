#pragma once
// Conversion between the system's path texts (backslash form, as every rule of the studio is
// written) and the operating system's paths. This is the one place where the two meet: all
// other code keeps the backslash form, and the platform layer converts when it touches the OS.

#include <string>

namespace bx::platform {

// "\" becomes the operating system's separator ("/" on Linux). Nothing else changes.
std::string ToNativePath(const std::string& systemPath);
// The reverse: the operating system's separator becomes "\".
std::string FromNativePath(const std::string& nativePath);

} // namespace bx::platform
