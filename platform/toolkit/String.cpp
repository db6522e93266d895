#include "platform/toolkit/String.h"

#include <algorithm>
#include <cctype>
#include <charconv>
#include <clocale>
#include <cmath>
#include <cstdio>
#include <cstdlib>

namespace toolkit {

namespace {

bool IsContinuation(unsigned char c) {
  return (c & 0xC0) == 0x80;
}

// The length in bytes of the character that starts at `i`: the lead byte and the
// continuation bytes that its form announces and that are really there.
std::size_t CharLength(std::string_view s, std::size_t i) {
  const auto c = static_cast<unsigned char>(s[i]);
  std::size_t want = 1;
  if (c >= 0xF0 && c <= 0xF7) {
    want = 4;
  } else if (c >= 0xE0) {
    want = 3;
  } else if (c >= 0xC0) {
    want = 2;
  }
  if (c >= 0xF8) want = 1;
  std::size_t n = 1;
  while (n < want && i + n < s.size() && IsContinuation(static_cast<unsigned char>(s[i + n]))) {
    ++n;
  }
  return n;
}

// The byte offset of character `index` (from 0), or the size when the text is shorter.
std::size_t ByteOffsetOfChar(std::string_view s, std::int64_t index) {
  std::size_t i = 0;
  for (std::int64_t k = 0; k < index && i < s.size(); ++k)
    i += CharLength(s, i);
  return i;
}

String Slice(const String& text, std::size_t from, std::size_t to) {
  return String(text.Bytes().substr(from, to - from), text.Encoding());
}

}  // namespace

String DefineEncoding(const String& text, TextEncoding encoding) {
  return String(text.Bytes(), encoding);
}

std::int64_t Len(const String& text) {
  const std::string_view s = text.View();
  std::int64_t n = 0;
  for (std::size_t i = 0; i < s.size(); i += CharLength(s, i))
    ++n;
  return n;
}

String Left(const String& text, std::int64_t count) {
  if (count <= 0) return String(std::string(), text.Encoding());
  return Slice(text, 0, ByteOffsetOfChar(text.View(), count));
}

String Right(const String& text, std::int64_t count) {
  if (count <= 0) return String(std::string(), text.Encoding());
  const std::int64_t length = Len(text);
  if (count >= length) return text;
  return Slice(text, ByteOffsetOfChar(text.View(), length - count), text.LenB());
}

bool EqualFoldingASCIICase(const String& a, const String& b) {
  const auto lower = [](char c) {
    return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c;
  };
  return std::equal(a.View().begin(), a.View().end(), b.View().begin(), b.View().end(),
                    [&](char x, char y) { return lower(x) == lower(y); });
}

String Mid(const String& text, std::int64_t start) {
  if (start < 1) start = 1;
  return Slice(text, ByteOffsetOfChar(text.View(), start - 1), text.LenB());
}

String Mid(const String& text, std::int64_t start, std::int64_t count) {
  if (start < 1) start = 1;
  if (count <= 0) return String(std::string(), text.Encoding());
  const std::size_t from = ByteOffsetOfChar(text.View(), start - 1);
  const std::size_t to = from + ByteOffsetOfChar(text.View().substr(from), count);
  return Slice(text, from, to);
}

String Str(std::int64_t value) {
  return String(std::to_string(value));
}

String Str(std::int64_t value, std::string_view mask) {
  if (mask == "-#") {
    // The common mask, which is plain decimal: the receipt decoder forms two keys with it for
    // every attribute.
    char buffer[24];
    const auto result = std::to_chars(buffer, buffer + sizeof buffer, value);
    return String(std::string_view(buffer, static_cast<std::size_t>(result.ptr - buffer)));
  }
  const bool negative = value < 0;
  // The magnitude as unsigned, so that INT64_MIN has one too.
  const std::uint64_t magnitude = negative ? std::uint64_t{0} - static_cast<std::uint64_t>(value)
                                           : static_cast<std::uint64_t>(value);
  std::string digits = std::to_string(magnitude);
  std::size_t zeros = 0;
  for (char c : mask)
    zeros += c == '0' ? 1 : 0;
  if (digits.size() < zeros) digits.insert(0, zeros - digits.size(), '0');

  std::string out;
  bool digitsPlaced = false;
  for (char c : mask) {
    if (c == '-') {
      if (negative) out += '-';
    } else if (c == '#' || c == '0') {
      if (!digitsPlaced) out += digits;
      digitsPlaced = true;
    } else {
      out += c;
    }
  }
  return String(out);
}

String Str(double value) {
  if (std::isnan(value)) return "NAN";
  if (std::isinf(value)) return value < 0 ? "-INF" : "INF";
  if (value == std::trunc(value) && std::fabs(value) < 1e15) {
    return Str(static_cast<std::int64_t>(value));
  }
  char buffer[64];
  std::snprintf(buffer, sizeof buffer, "%.7g", value);
  return String(std::string(buffer));
}

double Val(const String& text) {
  std::string_view s = text.View();
  std::size_t i = 0;
  while (i < s.size() && (s[i] == ' ' || s[i] == '\t'))
    ++i;
  s.remove_prefix(i);

  if (s.size() >= 2 && s[0] == '&') {
    int base = 0;
    switch (s[1]) {
      case 'h':
      case 'H':
        base = 16;
        break;
      case 'o':
      case 'O':
        base = 8;
        break;
      case 'b':
      case 'B':
        base = 2;
        break;
      default:
        return 0;
    }
    std::uint64_t v = 0;
    const auto* first = s.data() + 2;
    const auto result = std::from_chars(first, s.data() + s.size(), v, base);
    if (result.ptr == first) return 0;
    // Hexadecimal text is the 64-bit two's complement, as Hex writes it.
    return static_cast<double>(static_cast<std::int64_t>(v));
  }

  // from_chars reads no "+" and no "inf" or "nan": only a sign and digits are numbers here.
  bool negative = false;
  if (!s.empty() && (s[0] == '+' || s[0] == '-')) {
    negative = s[0] == '-';
    s.remove_prefix(1);
  }
  if (s.empty() || !(std::isdigit(static_cast<unsigned char>(s[0])) || s[0] == '.')) return 0;
  double v = 0;
  const auto result = std::from_chars(s.data(), s.data() + s.size(), v, std::chars_format::general);
  if (result.ec == std::errc::result_out_of_range) {
    // Too large or too small for a double; strtod in the C locale gives infinity or 0.
    static const locale_t cLocale = newlocale(LC_ALL_MASK, "C", locale_t{});
    v = strtod_l(std::string(s.data(), result.ptr).c_str(), nullptr, cLocale);
  } else if (result.ec != std::errc()) {
    return 0;
  }
  return negative ? -v : v;
}

String Hex(std::int64_t value) {
  char buffer[17];
  std::snprintf(buffer, sizeof buffer, "%llX",
                static_cast<unsigned long long>(static_cast<std::uint64_t>(value)));
  return String(std::string(buffer));
}

String EncodeHex(const String& text, bool insertSpaces) {
  static constexpr char kDigits[] = "0123456789ABCDEF";
  const std::string& bytes = text.Bytes();
  std::string out;
  out.reserve(bytes.size() * (insertSpaces ? 3 : 2));
  for (std::size_t i = 0; i < bytes.size(); ++i) {
    if (insertSpaces && i > 0) out += ' ';
    const auto b = static_cast<unsigned char>(bytes[i]);
    out += kDigits[b >> 4];
    out += kDigits[b & 0x0F];
  }
  return String(out);
}

}  // namespace toolkit
