#pragma once
// What the operating system says about itself, for the first line of the trace log.

#include <string>

namespace bx::platform {

struct SystemInfo {
    std::string Version;  // the kernel's release, "6.1.0-18-amd64"
    std::string Build;    // the kernel's build text, "#1 SMP PREEMPT_DYNAMIC Debian 6.1.76-1"
    std::string Platform; // the system and the machine, "Linux x86_64"
};

SystemInfo GetSystemInfo();

} // namespace bx::platform
