#include "platform/toolkit/Date.h"

#include <chrono>
#include <cmath>
#include <ctime>

namespace toolkit {

namespace {

// Seconds from 1904-01-01 00:00 to 1970-01-01 00:00: 66 years, 17 of them leap years.
constexpr double kUnixEpochSince1904 = 2082844800.0;

struct Civil {
  int year, month, day, hour, minute, second;
};

// The calendar fields of a count of seconds from 1904-01-01 00:00 (proleptic Gregorian).
Civil CivilFrom1904(double totalSeconds) {
  using namespace std::chrono;
  const auto whole = static_cast<std::int64_t>(std::floor(totalSeconds - kUnixEpochSince1904));
  const sys_seconds t{seconds{whole}};
  const auto days = floor<std::chrono::days>(t);
  const year_month_day ymd{days};
  const hh_mm_ss hms{t - days};
  return {static_cast<int>(ymd.year()),
          static_cast<int>(static_cast<unsigned>(ymd.month())),
          static_cast<int>(static_cast<unsigned>(ymd.day())),
          static_cast<int>(hms.hours().count()),
          static_cast<int>(hms.minutes().count()),
          static_cast<int>(hms.seconds().count())};
}

}  // namespace

Date::Date() {
  using namespace std::chrono;
  const auto now = system_clock::now();
  secondsGMT_ = duration<double>(now.time_since_epoch()).count() + kUnixEpochSince1904;
  const std::time_t t = system_clock::to_time_t(now);
  std::tm local{};
  localtime_r(&t, &local);
  gmtOffset_ = static_cast<double>(local.tm_gmtoff) / 3600.0;
}

Date::Date(double totalSeconds, double gmtOffset)
    : secondsGMT_(totalSeconds - gmtOffset * 3600.0), gmtOffset_(gmtOffset) {}

int Date::Year() const {
  return CivilFrom1904(TotalSeconds()).year;
}
int Date::Month() const {
  return CivilFrom1904(TotalSeconds()).month;
}
int Date::Day() const {
  return CivilFrom1904(TotalSeconds()).day;
}
int Date::Hour() const {
  return CivilFrom1904(TotalSeconds()).hour;
}
int Date::Minute() const {
  return CivilFrom1904(TotalSeconds()).minute;
}
int Date::Second() const {
  return CivilFrom1904(TotalSeconds()).second;
}

}  // namespace toolkit
