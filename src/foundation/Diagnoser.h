#pragma once
// The trace log "vkbx.log" in the program's folder: one line per checkpoint of the debugger's
// long flows, so that after the fact one can tell where a power-on or a refresh stopped.
// The file is opened, appended to and closed on every call, so a crash loses nothing written.
// UI thread only.

#include <cstdint>
#include <string>

namespace bx {

// Module numbers of the trace lines.
namespace trace_module {
inline constexpr int32_t kDebugMonitor = 1001;
inline constexpr int32_t kRegisterEditor = 1002;
inline constexpr int32_t kWatchEditor = 1003;
inline constexpr int32_t kMemoryEditor = 1005;
inline constexpr int32_t kSymbler = 1030;
} // namespace trace_module

class Diagnoser {
public:
    // Replaces the file at logPath with one line: the current date and time.
    explicit Diagnoser(std::string logPath);

    // The process's one Diagnoser, created at first use in the program's folder.
    static Diagnoser& Instance();

    // Appends "M<module> S<point> <text>".
    void Trace(int32_t module, int32_t point, const std::string& text) const;

    const std::string& LogPath() const { return logPath_; }

private:
    std::string logPath_;
};

} // namespace bx
