#include "platform/LocalTime.h"

#include <ctime>

namespace bx::platform {

LocalDateTime LocalNow() {
    std::time_t now = std::time(nullptr);
    std::tm fields{};
    // localtime_r, not std::localtime: the latter shares one static buffer between threads.
    ::localtime_r(&now, &fields);
    LocalDateTime result;
    result.Year = fields.tm_year + 1900;
    result.Month = fields.tm_mon + 1;
    result.Day = fields.tm_mday;
    result.Hour = fields.tm_hour;
    result.Minute = fields.tm_min;
    result.Second = fields.tm_sec;
    return result;
}

} // namespace bx::platform
