#pragma once
// The wall clock in local time, broken into its fields. The conversion to local time needs
// the operating system's time-zone data, so it lives here; formatting is up to the caller.

namespace bx::platform {

struct LocalDateTime {
    int Year = 0;   // e.g. 2026
    int Month = 0;  // 1..12
    int Day = 0;    // 1..31
    int Hour = 0;   // 0..23
    int Minute = 0; // 0..59
    int Second = 0; // 0..60 (a leap second)
};

// The current local date and time. Thread-safe.
LocalDateTime LocalNow();

} // namespace bx::platform
