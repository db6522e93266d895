#include "platform/cf/CFDate.h"

#include <chrono>
#include <cmath>
#include <cstdio>
#include <string>

#include "platform/cf/Runtime.h"

struct OpaqueCFDate : cf::Object {
  static constexpr CFTypeID kTypeID = cf::kDateTypeID;

  explicit OpaqueCFDate(CFAbsoluteTime t) : Object(kTypeID), at(t) {}

  const CFAbsoluteTime at;
};

namespace cf {

namespace {

// Seconds from 1970-01-01 to 2001-01-01, both GMT.
constexpr double kAbsoluteTimeIntervalSince1970 = 978307200.0;

bool DateEqual(const Object& a, const Object& b) {
  return static_cast<const OpaqueCFDate&>(a).at == static_cast<const OpaqueCFDate&>(b).at;
}

CFHashCode DateHash(const Object& object) {
  const double at = static_cast<const OpaqueCFDate&>(object).at;
  const double whole = std::trunc(at);
  // Whole seconds hash as integers, so that 0.0 and -0.0 agree as CFEqual has them agree.
  if (whole == at && std::fabs(at) < 9.0e18) {
    return static_cast<CFHashCode>(static_cast<long long>(at));
  }
  return HashBytes(&at, sizeof at);
}

std::string DateContents(const Object& object) {
  const double at = static_cast<const OpaqueCFDate&>(object).at;
  char buffer[64];
  // Within ten thousand years of 2001 the moment shows as a calendar date in GMT.
  if (std::isfinite(at) && std::fabs(at) < 3.0e11) {
    using namespace std::chrono;
    const auto unixSeconds =
        static_cast<long long>(std::floor(at + kAbsoluteTimeIntervalSince1970));
    const sys_seconds t{seconds{unixSeconds}};
    const auto day = floor<days>(t);
    const year_month_day ymd{day};
    const hh_mm_ss hms{t - day};
    std::snprintf(buffer, sizeof buffer, "time = %04d-%02u-%02u %02lld:%02lld:%02lld +0000",
                  static_cast<int>(ymd.year()), static_cast<unsigned>(ymd.month()),
                  static_cast<unsigned>(ymd.day()), static_cast<long long>(hms.hours().count()),
                  static_cast<long long>(hms.minutes().count()),
                  static_cast<long long>(hms.seconds().count()));
  } else {
    std::snprintf(buffer, sizeof buffer, "time = %g", at);
  }
  return buffer;
}

}  // namespace

extern const ClassRecord kDateClass = {"CFDate", Finalize<OpaqueCFDate>, DateEqual, DateHash,
                                       DateContents};

}  // namespace cf

using cf::Cast;
using cf::CountCall;

extern "C" {

CFAbsoluteTime CFAbsoluteTimeGetCurrent(void) {
  CountCall();
  using namespace std::chrono;
  return duration<double>(system_clock::now().time_since_epoch()).count() -
         cf::kAbsoluteTimeIntervalSince1970;
}

CFTypeID CFDateGetTypeID(void) {
  CountCall();
  return cf::kDateTypeID;
}

CFDateRef CFDateCreate(CFAllocatorRef, CFAbsoluteTime at) {
  CountCall();
  return cf::Publish(new OpaqueCFDate(at));
}

CFAbsoluteTime CFDateGetAbsoluteTime(CFDateRef theDate) {
  CountCall();
  const auto* date = Cast<OpaqueCFDate>(theDate, "CFDateGetAbsoluteTime");
  return date != nullptr ? date->at : 0.0;
}

}  // extern "C"
