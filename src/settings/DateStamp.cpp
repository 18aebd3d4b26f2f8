#include "settings/DateStamp.h"

#include <cstdio>

namespace bx {

namespace {

bool IsLeapYear(int year) {
    return (year % 4 == 0 && year % 100 != 0) || year % 400 == 0;
}

int DaysInMonth(int year, int month) {
    static constexpr int kDays[] = {31, 28, 31, 30, 31, 30, 31, 31, 30, 31, 30, 31};
    return month == 2 && IsLeapYear(year) ? 29 : kDays[month - 1];
}

// Reads count decimal digits at pos (nothing else, not even a sign or a blank).
bool ReadDigits(const std::string& text, std::size_t pos, std::size_t count, int& value) {
    value = 0;
    for (std::size_t i = pos; i < pos + count; ++i) {
        char c = text[i];
        if (c < '0' || c > '9')
            return false;
        value = value * 10 + (c - '0');
    }
    return true;
}

} // namespace

std::string DateStamp::ToIsoText() const {
    if (!IsSet())
        return std::string();
    char buffer[64];
    std::snprintf(buffer, sizeof buffer, "%04d-%02d-%02dT%02d:%02d:%02d", Year, Month, Day, Hour,
                  Minute, Second);
    return buffer;
}

std::optional<DateStamp> DateStamp::FromIsoText(const std::string& text) {
    // "YYYY-MM-DDTHH:MM:SS": 19 characters, the separators at fixed places.
    if (text.size() != 19 || text[4] != '-' || text[7] != '-' || text[10] != 'T' ||
        text[13] != ':' || text[16] != ':')
        return std::nullopt;
    DateStamp stamp;
    if (!ReadDigits(text, 0, 4, stamp.Year) || !ReadDigits(text, 5, 2, stamp.Month) ||
        !ReadDigits(text, 8, 2, stamp.Day) || !ReadDigits(text, 11, 2, stamp.Hour) ||
        !ReadDigits(text, 14, 2, stamp.Minute) || !ReadDigits(text, 17, 2, stamp.Second))
        return std::nullopt;
    if (stamp.Year < 1 || stamp.Month < 1 || stamp.Month > 12 || stamp.Day < 1 ||
        stamp.Day > DaysInMonth(stamp.Year, stamp.Month) || stamp.Hour > 23 || stamp.Minute > 59 ||
        stamp.Second > 59)
        return std::nullopt;
    return stamp;
}

DateStamp DateStamp::FromLocal(const platform::LocalDateTime& local) {
    DateStamp stamp{local.Year, local.Month, local.Day, local.Hour, local.Minute, local.Second};
    // A leap second counts as the last second of its minute: the file can't hold a 60.
    if (stamp.Second > 59)
        stamp.Second = 59;
    return stamp;
}

} // namespace bx
