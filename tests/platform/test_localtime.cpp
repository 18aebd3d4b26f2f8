#include "platform/LocalTime.h"

#include <array>
#include <ctime>
#include <gtest/gtest.h>

namespace bx::platform {
namespace {

TEST(LocalTime, NowIsTheCurrentLocalTimeWithMonthsAndDaysFromOne) {
    auto fields = [](std::time_t when) {
        std::tm f{};
        ::localtime_r(&when, &f);
        return std::array{f.tm_year + 1900, f.tm_mon + 1, f.tm_mday, f.tm_hour, f.tm_min, f.tm_sec};
    };
    const std::time_t before = std::time(nullptr);
    const LocalDateTime now = LocalNow();
    const std::time_t after = std::time(nullptr);
    const std::array read{now.Year, now.Month, now.Day, now.Hour, now.Minute, now.Second};
    // The clock may tick between the readings; the fields match one of the two seconds.
    EXPECT_TRUE(read == fields(before) || read == fields(after)) << testing::PrintToString(read);
}

} // namespace
} // namespace bx::platform
