#pragma once
// Reads back the trace log a Diagnoser wrote ("M<module> S<point> <text>" after a first line
// with the date), so that a test can check which checkpoints a flow passed, in order.

#include <cstdint>
#include <string>
#include <vector>

namespace bx::test {

struct TraceEntry {
    int32_t Module = 0;
    int32_t Point = 0;
    std::string Text;
};

// Every trace line of the file at path (backslash form); the date line is left out.
std::vector<TraceEntry> ReadTraceLog(const std::string& path);
// The points of one module's lines, in order.
std::vector<int32_t> TracePoints(const std::vector<TraceEntry>& entries, int32_t module);
// The texts of one module's lines at one point, in order.
std::vector<std::string> TraceTexts(const std::vector<TraceEntry>& entries, int32_t module,
                                    int32_t point);

} // namespace bx::test
