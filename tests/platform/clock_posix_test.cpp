#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <gtest/gtest.h>
#include <optional>
#include <string>

#include "platform/clock.h"

namespace sbx::platform {
namespace {

// Sets the host's zone for one test.
class Zone {
 public:
  explicit Zone(const char* zone) {
    if (const char* const before = std::getenv("TZ")) before_ = before;
    setenv("TZ", zone, 1);
  }
  ~Zone() {
    before_ ? setenv("TZ", before_->c_str(), 1) : unsetenv("TZ");
    tzset();
  }
  Zone(const Zone&) = delete;
  Zone& operator=(const Zone&) = delete;

 private:
  std::optional<std::string> before_;
};

std::string Text(std::int64_t seconds) {
  const auto local = ToLocalTime(seconds);
  if (!local) return "none";
  char text[80];
  std::snprintf(text, sizeof text, "%d-%02d-%02d %02d:%02d:%02d", local->year, local->month, local->day,
                local->hour, local->minute, local->second);
  return text;
}

struct Row {
  const char* zone;
  std::int64_t seconds;
  const char* expected;
  const char* why;
};

TEST(ToLocalTime, FollowsTheZoneOfTheEnvironment) {
  const Row rows[] = {
      {"UTC0", 0, "1970-01-01 00:00:00", "the start"},
      {"UTC0", 951782400, "2000-02-29 00:00:00", "a leap day"},
      {"UTC0", 2147483647, "2038-01-19 03:14:07", "the last of 32 bits"},
      {"UTC0", 2147483648, "2038-01-19 03:14:08", "the next"},
      {"CET-1CEST,M3.5.0,M10.5.0/3", 1700000000, "2023-11-14 23:13:20", "winter"},
      {"CET-1CEST,M3.5.0,M10.5.0/3", 1690000000, "2023-07-22 06:26:40", "summer"},
      {"EST5EDT,M3.2.0,M11.1.0", 0, "1969-12-31 19:00:00", "before the start, west of it"},
      {"<+0545>-5:45", 1700000000, "2023-11-15 03:58:20", "no whole hours"},
      {"UTC0", 67767976233532799, "2147483647-12-31 23:59:59", "the last year that fits"},
      {"UTC0", 67767976233532800, "none", "the next, which the C library still knows"},
  };
  for (const Row& row : rows) {
    const Zone zone(row.zone);
    EXPECT_EQ(Text(row.seconds), row.expected) << row.why;
  }
}

}  // namespace
}  // namespace sbx::platform
