#include "support/TraceLog.h"

#include "platform/FileSystem.h"

#include <sstream>

namespace bx::test {

std::vector<TraceEntry> ReadTraceLog(const std::string& path) {
    std::vector<TraceEntry> entries;
    std::istringstream lines(platform::ReadFile(path).value_or(""));
    for (std::string line; std::getline(lines, line);) {
        // "M1001 S406 Connected OK? True": the module, the point, one blank, then the text.
        const std::size_t point = line.find(" S");
        if (line.size() < 2 || line[0] != 'M' || point == std::string::npos)
            continue;
        const std::size_t text = line.find(' ', point + 2);
        entries.push_back({std::stoi(line.substr(1, point - 1)),
                           std::stoi(line.substr(point + 2, text - point - 2)),
                           text == std::string::npos ? std::string() : line.substr(text + 1)});
    }
    return entries;
}

std::vector<int32_t> TracePoints(const std::vector<TraceEntry>& entries, int32_t module) {
    std::vector<int32_t> points;
    for (const TraceEntry& entry : entries)
        if (entry.Module == module)
            points.push_back(entry.Point);
    return points;
}

std::vector<std::string> TraceTexts(const std::vector<TraceEntry>& entries, int32_t module,
                                    int32_t point) {
    std::vector<std::string> texts;
    for (const TraceEntry& entry : entries)
        if (entry.Module == module && entry.Point == point)
            texts.push_back(entry.Text);
    return texts;
}

} // namespace bx::test
