#include "platform/SystemInfo.h"

#include <sys/utsname.h>

namespace bx::platform {

SystemInfo GetSystemInfo() {
    utsname names{};
    if (uname(&names) != 0)
        return {};
    return {names.release, names.version, std::string(names.sysname) + " " + names.machine};
}

} // namespace bx::platform
