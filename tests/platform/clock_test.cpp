#include "platform/clock.h"

#include <ctime>
#include <gtest/gtest.h>

namespace sbx::platform {
namespace {

TEST(ToLocalTime, RefusesTimesBelowZero) {
  EXPECT_FALSE(ToLocalTime(-1));
  EXPECT_FALSE(ToLocalTime(INT32_MIN));
  EXPECT_FALSE(ToLocalTime(INT64_MIN));
}

TEST(ToLocalTime, RefusesTimesBeyondTheCalendar) {
  EXPECT_FALSE(ToLocalTime(INT64_MAX));
}

// The same moments, put together again by the C library.
TEST(ToLocalTime, IsTheHostsLocalTime) {
  for (const std::int64_t seconds : {std::int64_t{86400}, std::int64_t{951782400}, std::int64_t{1234567890},
                                     std::int64_t{1709164800}, std::int64_t{INT32_MAX}}) {
    const auto local = ToLocalTime(seconds);
    ASSERT_TRUE(local) << seconds;
    std::tm parts = {};
    parts.tm_year = local->year - 1900;
    parts.tm_mon = local->month - 1;
    parts.tm_mday = local->day;
    parts.tm_hour = local->hour;
    parts.tm_min = local->minute;
    parts.tm_sec = local->second;
    parts.tm_isdst = -1;
    EXPECT_EQ(std::mktime(&parts), seconds);
  }
}

}  // namespace
}  // namespace sbx::platform
