#include "frame/ProductInfo.h"

#include "BuildInfo.h"

namespace bx {

std::string FrameCaption() {
    return "Sarnova Tessarine(TM) Real-Time Simulation Studio (Build #" +
           std::to_string(kBuildNumber) + ")";
}

std::string VersionLine() {
    return std::string("tessarine-cli ") + kProductVersion + " (build " +
           std::to_string(kBuildNumber) + ")";
}

std::string SelfDescription() {
    return "Tessarine Studio designs and debugs appliances built round the KTR family of\n"
           "65C02 microcontrollers with banked memory. An appliance holds the MCU body, its\n"
           "clock and options, the peripherals wired to its ports, the assembly sources and\n"
           "their build rules, the load map, watches and breakpoints.\n"
           "\n"
           "tessarine      the studio: editor, build, simulator, inspectors and device panel\n"
           "tessarine-cli  the same engine without a window, for scripts and terminals\n";
}

} // namespace bx
