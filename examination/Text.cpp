#include "examination/Text.h"

#include <array>
#include <cstdio>
#include <cstring>

namespace Examination::text {

namespace {

constexpr char kHexDigits[] = "0123456789ABCDEF";
constexpr char kBase64Digits[] = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";

int HexValue(char c) {
  if (c >= '0' && c <= '9') return c - '0';
  if (c >= 'a' && c <= 'f') return c - 'a' + 10;
  if (c >= 'A' && c <= 'F') return c - 'A' + 10;
  return -1;
}

int Base64Value(char c) {
  if (c >= 'A' && c <= 'Z') return c - 'A';
  if (c >= 'a' && c <= 'z') return c - 'a' + 26;
  if (c >= '0' && c <= '9') return c - '0' + 52;
  if (c == '+') return 62;
  if (c == '/') return 63;
  return -1;
}

// Days since 1970-01-01 of a date of the proleptic Gregorian calendar.
std::int64_t DaysFromCivil(std::int64_t y, unsigned m, unsigned d) {
  y -= m <= 2;
  const std::int64_t era = (y >= 0 ? y : y - 399) / 400;
  const auto yoe = static_cast<unsigned>(y - era * 400);
  const unsigned doy = (153 * (m > 2 ? m - 3 : m + 9) + 2) / 5 + d - 1;
  const unsigned doe = yoe * 365 + yoe / 4 - yoe / 100 + doy;
  return era * 146097 + static_cast<std::int64_t>(doe) - 719468;
}

struct Civil {
  std::int64_t year;
  unsigned month;
  unsigned day;
};

Civil CivilFromDays(std::int64_t z) {
  z += 719468;
  const std::int64_t era = (z >= 0 ? z : z - 146096) / 146097;
  const auto doe = static_cast<unsigned>(z - era * 146097);
  const unsigned yoe = (doe - doe / 1460 + doe / 36524 - doe / 146096) / 365;
  const unsigned doy = doe - (365 * yoe + yoe / 4 - yoe / 100);
  const unsigned mp = (5 * doy + 2) / 153;
  const unsigned d = doy - (153 * mp + 2) / 5 + 1;
  const unsigned m = mp < 10 ? mp + 3 : mp - 9;
  return {static_cast<std::int64_t>(yoe) + era * 400 + (m <= 2), m, d};
}

unsigned DaysInMonth(std::int64_t year, unsigned month) {
  static constexpr std::array<unsigned, 12> kDays = {31, 28, 31, 30, 31, 30,
                                                     31, 31, 30, 31, 30, 31};
  const bool leap = (year % 4 == 0 && year % 100 != 0) || year % 400 == 0;
  return month == 2 && leap ? 29 : kDays[month - 1];
}

// Reads exactly `count` decimal digits at `at`.
bool Digits(std::string_view s, std::size_t& at, std::size_t count, unsigned& value) {
  if (s.size() - at < count) return false;
  value = 0;
  for (std::size_t i = 0; i < count; ++i) {
    const char c = s[at + i];
    if (c < '0' || c > '9') return false;
    value = value * 10 + static_cast<unsigned>(c - '0');
  }
  at += count;
  return true;
}

bool Char(std::string_view s, std::size_t& at, std::string_view oneOf) {
  if (at >= s.size()) return false;
  for (const char c : oneOf)
    if (s[at] == c) return ++at, true;
  return false;
}

}  // namespace

// `seconds` since 1970 and `fraction` milliseconds more, in UTC, with the milliseconds when
// `withFraction`.
std::string FormatUtcParts(std::int64_t seconds, unsigned fraction, bool withFraction) {
  const std::int64_t days = seconds >= 0 ? seconds / 86400 : -((-(seconds + 1)) / 86400) - 1;
  const auto daySeconds = static_cast<unsigned>(seconds - days * 86400);
  const Civil c = CivilFromDays(days);
  char buffer[48];
  if (withFraction) {
    std::snprintf(buffer, sizeof buffer, "%04lld-%02u-%02uT%02u:%02u:%02u.%03uZ",
                  static_cast<long long>(c.year), c.month, c.day, daySeconds / 3600,
                  daySeconds / 60 % 60, daySeconds % 60, fraction);
  } else {
    std::snprintf(buffer, sizeof buffer, "%04lld-%02u-%02uT%02u:%02u:%02uZ",
                  static_cast<long long>(c.year), c.month, c.day, daySeconds / 3600,
                  daySeconds / 60 % 60, daySeconds % 60);
  }
  return buffer;
}

std::string Hex(std::span<const std::uint8_t> bytes, char separator) {
  std::string out;
  out.reserve(bytes.size() * (separator != 0 ? 3 : 2));
  for (const std::uint8_t b : bytes) {
    if (separator != 0 && !out.empty()) out += separator;
    out += kHexDigits[b >> 4];
    out += kHexDigits[b & 0x0F];
  }
  return out;
}

std::optional<Bytes> FromHex(std::string_view digits) {
  if (digits.size() % 2 != 0) return std::nullopt;
  Bytes out(digits.size() / 2);
  for (std::size_t i = 0; i < out.size(); ++i) {
    const int hi = HexValue(digits[2 * i]);
    const int lo = HexValue(digits[2 * i + 1]);
    if (hi < 0 || lo < 0) return std::nullopt;
    out[i] = static_cast<std::uint8_t>(hi << 4 | lo);
  }
  return out;
}

std::string Base64(std::span<const std::uint8_t> bytes) {
  std::string out;
  out.reserve((bytes.size() + 2) / 3 * 4);
  std::size_t i = 0;
  for (; i + 3 <= bytes.size(); i += 3) {
    const std::uint32_t v = bytes[i] << 16 | bytes[i + 1] << 8 | bytes[i + 2];
    for (int shift = 18; shift >= 0; shift -= 6)
      out += kBase64Digits[v >> shift & 0x3F];
  }
  if (const std::size_t left = bytes.size() - i; left > 0) {
    const std::uint32_t v = bytes[i] << 16 | (left == 2 ? bytes[i + 1] << 8 : 0);
    out += kBase64Digits[v >> 18 & 0x3F];
    out += kBase64Digits[v >> 12 & 0x3F];
    out += left == 2 ? kBase64Digits[v >> 6 & 0x3F] : '=';
    out += '=';
  }
  return out;
}

std::optional<Bytes> FromBase64(std::string_view text) {
  if (text.empty() || text.size() % 4 != 0) return std::nullopt;
  std::size_t padding = 0;
  while (padding < 2 && text[text.size() - 1 - padding] == '=')
    ++padding;
  Bytes out;
  out.reserve(text.size() / 4 * 3);
  std::uint32_t v = 0;
  for (std::size_t i = 0; i < text.size() - padding; ++i) {
    const int d = Base64Value(text[i]);
    if (d < 0) return std::nullopt;
    v = v << 6 | static_cast<std::uint32_t>(d);
    if (i % 4 == 3) {
      out.insert(out.end(), {static_cast<std::uint8_t>(v >> 16), static_cast<std::uint8_t>(v >> 8),
                             static_cast<std::uint8_t>(v)});
      v = 0;
    }
  }
  // The bits that the padding leaves over must be zero, so that each text has one meaning.
  if (padding == 2) {
    if ((v & 0x0F) != 0) return std::nullopt;
    out.push_back(static_cast<std::uint8_t>(v >> 4));
  } else if (padding == 1) {
    if ((v & 0x03) != 0) return std::nullopt;
    out.insert(out.end(), {static_cast<std::uint8_t>(v >> 10), static_cast<std::uint8_t>(v >> 2)});
  }
  return out;
}

bool IsUtf8(std::string_view bytes) {
  std::size_t i = 0;
  const std::size_t n = bytes.size();
  while (i < n) {
    // Runs of ASCII, what receipts mostly hold, eight bytes at a time.
    for (std::uint64_t eight = 0; n - i >= 8; i += 8) {
      std::memcpy(&eight, bytes.data() + i, 8);
      if ((eight & 0x8080808080808080) != 0) break;
    }
    if (i == n) break;
    const auto c = static_cast<std::uint8_t>(bytes[i]);
    if (c < 0x80) {
      ++i;
      continue;
    }
    std::size_t extra = 0;
    std::uint8_t low = 0x80;
    std::uint8_t high = 0xBF;  // the bounds of the byte after the first
    if (c >= 0xC2 && c <= 0xDF) {
      extra = 1;
    } else if (c >= 0xE0 && c <= 0xEF) {
      extra = 2;
      if (c == 0xE0) low = 0xA0;   // overlong
      if (c == 0xED) high = 0x9F;  // surrogates
    } else if (c >= 0xF0 && c <= 0xF4) {
      extra = 3;
      if (c == 0xF0) low = 0x90;   // overlong
      if (c == 0xF4) high = 0x8F;  // above U+10FFFF
    } else {
      return false;
    }
    if (n - i <= extra) return false;
    const auto second = static_cast<std::uint8_t>(bytes[i + 1]);
    if (second < low || second > high) return false;
    for (std::size_t k = 2; k <= extra; ++k)
      if ((static_cast<std::uint8_t>(bytes[i + k]) & 0xC0) != 0x80) return false;
    i += extra + 1;
  }
  return true;
}

std::string Quote(std::string_view bytes) {
  std::string out = "\"";
  for (const char ch : bytes) {
    const auto c = static_cast<std::uint8_t>(ch);
    if (c >= 0x20 && c < 0x7F && c != '\\' && c != '"') {
      out += ch;
    } else {
      out += "\\x";
      out += kHexDigits[c >> 4];
      out += kHexDigits[c & 0x0F];
    }
  }
  return out += '"';
}

Date ParseDate(std::string_view written) {
  Date date;
  date.written = written;
  if (written.empty()) return date;
  const auto fail = [&date](std::string why) {
    date.problem = "not an RFC 3339 date and time: " + std::move(why);
    return date;
  };

  std::size_t at = 0;
  unsigned year = 0, month = 0, day = 0, hour = 0, minute = 0, second = 0;
  if (!Digits(written, at, 4, year) || !Char(written, at, "-") || !Digits(written, at, 2, month) ||
      !Char(written, at, "-") || !Digits(written, at, 2, day) || !Char(written, at, "Tt ") ||
      !Digits(written, at, 2, hour) || !Char(written, at, ":") || !Digits(written, at, 2, minute) ||
      !Char(written, at, ":") || !Digits(written, at, 2, second))
    return fail("expected YYYY-MM-DDTHH:MM:SS");
  if (month < 1 || month > 12 || day < 1 || day > DaysInMonth(year, month))
    return fail("no such day");
  if (hour > 23 || minute > 59 || second > 60) return fail("no such time of day");

  unsigned millis = 0;
  bool fraction = false;
  if (Char(written, at, ".")) {
    fraction = true;
    std::size_t digits = 0;
    for (; at < written.size() && written[at] >= '0' && written[at] <= '9'; ++at, ++digits)
      if (digits < 3) millis = millis * 10 + static_cast<unsigned>(written[at] - '0');
    if (digits == 0) return fail("no digits after the decimal point");
    for (; digits < 3; ++digits)
      millis *= 10;
  }

  std::int64_t offsetMinutes = 0;
  if (!Char(written, at, "Zz")) {
    if (at >= written.size() || (written[at] != '+' && written[at] != '-'))
      return fail("expected Z or an offset +hh:mm");
    const int sign = written[at++] == '-' ? -1 : 1;
    unsigned offsetHours = 0, offsetMins = 0;
    if (!Digits(written, at, 2, offsetHours)) return fail("expected the offset's hours");
    Char(written, at, ":");
    if (!Digits(written, at, 2, offsetMins)) return fail("expected the offset's minutes");
    if (offsetHours > 23 || offsetMins > 59) return fail("no such offset");
    offsetMinutes = sign * static_cast<std::int64_t>(offsetHours * 60 + offsetMins);
  }
  if (at != written.size()) return fail("text after the date");

  const std::int64_t seconds = DaysFromCivil(year, month, day) * 86400 + hour * 3600 + minute * 60 +
                               second - offsetMinutes * 60;
  date.unixMillis = seconds * 1000 + millis;
  date.fraction = fraction;
  return date;
}

std::string FormatUtc(std::int64_t unixSeconds) {
  return FormatUtcParts(unixSeconds, 0, false);
}

}  // namespace Examination::text

namespace Examination {

std::string Date::Utc() const {
  if (!unixMillis) return {};
  // Floor division, so that an instant before 1970 keeps its milliseconds positive.
  const std::int64_t ms = *unixMillis;
  const std::int64_t seconds = ms >= 0 ? ms / 1000 : -((-ms + 999) / 1000);
  return text::FormatUtcParts(seconds, static_cast<unsigned>(ms - seconds * 1000), fraction);
}

}  // namespace Examination
