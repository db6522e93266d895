#include <gtest/gtest.h>

#include <chrono>
#include <cstdlib>
#include <ctime>
#include <string>
#include <tuple>

#include "platform/toolkit/Date.h"

namespace toolkit {
namespace {

constexpr double k2001 = 3061152000;  // 2001-01-01 00:00:00 GMT, in seconds from 1904

TEST(DateTest, WallClockOfKnownMoments) {
  const struct {
    double totalSeconds;
    int year, month, day, hour, minute, second;
  } cases[] = {
      {0, 1904, 1, 1, 0, 0, 0},  // the epoch
      {-1, 1903, 12, 31, 23, 59, 59},
      {3034672496, 2000, 2, 29, 12, 34, 56},
      {k2001 - 0.5, 2000, 12, 31, 23, 59, 59},  // part of a second is no second
      {6190387200, 2100, 3, 1, 0, 0, 0},        // 2100 is no leap year
  };
  for (const auto& c : cases) {
    const Date d(c.totalSeconds, 0);
    EXPECT_EQ(std::make_tuple(d.Year(), d.Month(), d.Day(), d.Hour(), d.Minute(), d.Second()),
              std::make_tuple(c.year, c.month, c.day, c.hour, c.minute, c.second))
        << c.totalSeconds;
  }
}

TEST(DateTest, ChangingTheOffsetKeepsTheMomentAndSettingSecondsKeepsTheZone) {
  Date d(k2001, 0);
  d.GMTOffset(5.5);
  EXPECT_EQ(d.TotalSeconds(), k2001 + 5.5 * 3600);
  EXPECT_EQ(d.Hour() * 100 + d.Minute(), 530);
  d.TotalSeconds(k2001);  // 00:00 on this wall clock: moves the moment
  d.GMTOffset(0);
  EXPECT_EQ(d.TotalSeconds(), k2001 - 5.5 * 3600);
}

TEST(DateTest, NowIsInTheLocalZone) {
  const char* old = std::getenv("TZ");
  const std::string saved = old ? old : "";
  setenv("TZ", "QMT-5:30", 1);  // 5 h 30 min east of GMT
  tzset();
  // Read from the clock that Date reads: time() follows a coarser one, which can still show
  // the second before while the fine clock has begun the next.
  const auto clock = [] {
    return std::chrono::duration<double>(std::chrono::system_clock::now().time_since_epoch())
        .count();
  };
  const double before = clock();
  const Date now;
  const double after = clock();
  old ? setenv("TZ", saved.c_str(), 1) : unsetenv("TZ");
  tzset();
  EXPECT_EQ(now.GMTOffset(), 5.5);
  const double unixSeconds = now.TotalSeconds() - 5.5 * 3600 - 2082844800;  // 1904 to 1970
  // A millisecond either way for the rounding of seconds since 1904 in a double.
  EXPECT_GE(unixSeconds, before - 0.001);
  EXPECT_LE(unixSeconds, after + 0.001);
}

}  // namespace
}  // namespace toolkit
