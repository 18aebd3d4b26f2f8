#pragma once
// The date-and-time stamps that BX.gss keeps for the template and plug-in archives.
//
// A stamp is a local wall-clock date and time to the whole second, held as its fields. It is
// never converted to an instant: the file holds local time, the archives' stamps are compared
// with it in local time, and keeping the fields means a stamp that was read is written back
// character for character, whatever the time zone or daylight-saving rules say about it.
//
// The all-zero stamp (the default) means "never set": a file without a Cabfile element leaves
// both stamps at zero, and zero is earlier than every real stamp, so the next start-up unpacks
// both archives.
//
// Text form, read and written alike: ISO 8601 local time without zone, "2026-11-21T10:37:51".
// The zero stamp is written as the empty text, which the reader takes as "leave the stamp as it
// is", so a zero stamp survives a save and a load.

#include "platform/LocalTime.h"

#include <compare>
#include <optional>
#include <string>

namespace bx {

struct DateStamp {
    int Year = 0;   // 1..9999 when set
    int Month = 0;  // 1..12
    int Day = 0;    // 1..31, valid for the month
    int Hour = 0;   // 0..23
    int Minute = 0; // 0..59
    int Second = 0; // 0..59

    // False for the zero stamp, the one that was never set.
    bool IsSet() const { return *this != DateStamp{}; }

    // Field-by-field order is time order, and the zero stamp is earlier than any set one.
    auto operator<=>(const DateStamp&) const = default;

    // "YYYY-MM-DDTHH:MM:SS"; the empty text for the zero stamp.
    std::string ToIsoText() const;
    // Reads exactly the form ToIsoText writes. Anything else (another layout, a day that the
    // month doesn't have, a leap second, blanks) gives nothing.
    static std::optional<DateStamp> FromIsoText(const std::string& text);
    // A local time from the platform's clock or a file's stamp, cut to the second.
    static DateStamp FromLocal(const platform::LocalDateTime& local);
};

} // namespace bx
