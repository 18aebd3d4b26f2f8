#include "platform/LocalTime.h"

#include <ctime>
#include <gtest/gtest.h>

namespace bx::platform {
namespace {

bool SameAs(const LocalDateTime& t, std::time_t when) {
    std::tm f{};
    ::localtime_r(&when, &f);
    return t.Year == f.tm_year + 1900 && t.Month == f.tm_mon + 1 && t.Day == f.tm_mday &&
           t.Hour == f.tm_hour && t.Minute == f.tm_min && t.Second == f.tm_sec;
}

TEST(LocalTime, NowIsTheCurrentLocalTimeWithMonthsAndDaysFromOne) {
    std::time_t before = std::time(nullptr);
    LocalDateTime now = LocalNow();
    std::time_t after = std::time(nullptr);
    // The clock may tick between the readings; the fields match one of the two seconds.
    EXPECT_TRUE(SameAs(now, before) || SameAs(now, after))
        << now.Year << "-" << now.Month << "-" << now.Day << " " << now.Hour << ":" << now.Minute
        << ":" << now.Second;
    EXPECT_GE(now.Month, 1);
    EXPECT_LE(now.Month, 12);
    EXPECT_GE(now.Day, 1);
    EXPECT_LE(now.Day, 31);
}

} // namespace
} // namespace bx::platform
