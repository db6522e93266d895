#include <gtest/gtest.h>

#include <cstdint>
#include <limits>
#include <string>

#include "platform/toolkit/String.h"

namespace toolkit {
namespace {

constexpr auto kMin = std::numeric_limits<std::int64_t>::min();
constexpr auto kMax = std::numeric_limits<std::int64_t>::max();
// "a", "é" (2 bytes), "€" (3 bytes), a 4-byte emoji, "z": 5 characters in 11 bytes.
const String kMixed("a\xC3\xA9\xE2\x82\xAC\xF0\x9F\x98\x80z");

struct TextCase {
  const char* why;
  String got;
  std::string want;
};

TEST(StringTest, LenCountsCharactersAndEveryStrayByteOnce) {
  EXPECT_EQ(Len(kMixed), 5);
  EXPECT_EQ(Len("\xC3z"), 2);                 // lead byte without its continuation
  EXPECT_EQ(Len("\xE2\x82"), 1);              // sequence cut off at the end
  EXPECT_EQ(Len("\x80\xFF"), 2);              // bytes that can't start a character
  EXPECT_EQ(Len("\xF0\x9F\x98\x80\x80"), 2);  // a 5th continuation belongs to no emoji
}

TEST(StringTest, SlicesCountCharacters) {
  const TextCase cases[] = {
      {"Left over every width", Left(kMixed, 4), "a\xC3\xA9\xE2\x82\xAC\xF0\x9F\x98\x80"},
      {"Left of 0", Left(kMixed, 0), ""},
      {"Left of a negative count", Left(kMixed, -1), ""},
      {"Left past the end", Left(kMixed, kMax), kMixed.Bytes()},
      {"Right over the emoji", Right(kMixed, 2), "\xF0\x9F\x98\x80z"},
      {"Right of a negative count", Right(kMixed, kMin), ""},
      {"Right past the start", Right(kMixed, 6), kMixed.Bytes()},
      {"bundle extension", Right("Mail.app", 4), ".app"},
      {"name shorter than the extension", Right("app", 4), "app"},
      {"empty name", Right("", 4), ""},
      {"extension after a 2-byte character", Right("\xC3\xA9.app", 4), ".app"},
      {"lead byte doesn't swallow the next one", Right("\xC3z", 1), "z"},
      {"Mid from 0 starts at 1", Mid(kMixed, 0), kMixed.Bytes()},
      {"Mid to the end", Mid(kMixed, 3), "\xE2\x82\xAC\xF0\x9F\x98\x80z"},
      {"Mid far after the end", Mid(kMixed, kMax), ""},
      {"Mid with a count", Mid(kMixed, 2, 2), "\xC3\xA9\xE2\x82\xAC"},
      {"Mid count past the end", Mid(kMixed, 4, kMax), "\xF0\x9F\x98\x80z"},
      {"Mid count of 0", Mid(kMixed, 2, 0), ""},
      {"Mid start past the end", Mid(kMixed, 9, 1), ""},
      {"truncated emoji is one character", Left("\xF0\x9F", 1), "\xF0\x9F"},
  };
  for (const auto& c : cases)
    EXPECT_EQ(c.got.Bytes(), c.want) << c.why;
}

TEST(StringTest, StrFormsNumbers) {
  const TextCase cases[] = {
      {"smallest int64", Str(kMin), "-9223372036854775808"},
      {"largest uint64", Str(std::numeric_limits<std::uint64_t>::max()), "18446744073709551615"},
      {"mask: zero has no sign", Str(0, "-#"), "0"},
      {"mask: positive has no sign", Str(17, "-#"), "17"},
      {"mask: negative", Str(-17, "-#"), "-17"},
      {"mask: smallest int64", Str(kMin, "-#"), "-9223372036854775808"},
      {"mask: largest int64", Str(kMax, "-#"), "9223372036854775807"},
      {"mask without '-' drops the sign", Str(-17, "#"), "17"},
      {"mask: zero padding and literals", Str(-5, "(-000)"), "(-005)"},
      {"integral double", Str(-3.0), "-3"},
      {"integral double below 1e15", Str(123456789012345.0), "123456789012345"},
      {"fraction", Str(-2.5), "-2.5"},
      {"seven significant digits", Str(3.14159265), "3.141593"},
      {"large double", Str(1e20), "1e+20"},
  };
  for (const auto& c : cases)
    EXPECT_EQ(c.got.Bytes(), c.want) << c.why;
}

TEST(StringTest, ValReadsTheLeadingNumber) {
  // "1e-400" is too small for a double: 0, not infinity.
  constexpr double kInf = std::numeric_limits<double>::infinity();
  const struct {
    const char* text;
    double want;
  } cases[] = {{"17", 17},    {" -3.5x", -3.5}, {"abc", 0},   {"&hFF", 255}, {"", 0},
               {"1e3", 1000}, {"+", 0},         {".", 0},     {"+4", 4},     {"-.5", -0.5},
               {"\t 2", 2},   {"&o17", 15},     {"&b101", 5}, {"&h", 0},     {"0x10", 0},
               {"inf", 0},    {"nan", 0},       {"- 5", 0},   {"1e-400", 0}, {"1e400", kInf}};
  for (const auto& c : cases)
    EXPECT_EQ(Val(c.text), c.want) << '"' << c.text << '"';
}

TEST(StringTest, Hex) {
  EXPECT_EQ(Hex(-1).Bytes(), "FFFFFFFFFFFFFFFF");
  EXPECT_EQ(Hex(kMin).Bytes(), "8000000000000000");
  EXPECT_EQ(Hex(0xABC).Bytes(), "ABC");
  const String bytes(std::string("\x00\x0F\x10\xFF", 4));
  EXPECT_EQ(EncodeHex(bytes).Bytes(), "000F10FF");
  EXPECT_EQ(EncodeHex(bytes, true).Bytes(), "00 0F 10 FF");
  EXPECT_EQ(EncodeHex("\x0A", true).Bytes(), "0A");
}

TEST(StringTest, DefineEncodingDeclaresWithoutChangingBytes) {
  const String raw(std::string("\xFF\xC3 x", 4));
  const String declared = DefineEncoding(raw, Encodings::UTF8);
  EXPECT_EQ(declared.Bytes(), raw.Bytes());
  EXPECT_EQ(declared.Encoding(), TextEncoding::UTF8);
  EXPECT_EQ(raw.Encoding(), TextEncoding::None);
  EXPECT_TRUE(declared == raw);  // equality compares bytes only
  EXPECT_FALSE(String("a") == String("A"));
}

}  // namespace
}  // namespace toolkit
