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
  EXPECT_EQ(Len("\xF0\x9F\x98\x80\x80"), 2);  // a 5th continuation belongs to no emoji
}

TEST(StringTest, SlicesCountCharacters) {
  const TextCase cases[] = {
      {"Left over every width", Left(kMixed, 4), "a\xC3\xA9\xE2\x82\xAC\xF0\x9F\x98\x80"},
      {"Left of a negative count", Left(kMixed, -1), ""},
      {"Right over the emoji", Right(kMixed, 2), "\xF0\x9F\x98\x80z"},
      {"Right of a negative count", Right(kMixed, kMin), ""},
      {"Right past the start", Right(kMixed, 6), kMixed.Bytes()},
      {"extension after a 2-byte character", Right("\xC3\xA9.app", 4), ".app"},
      {"lead byte doesn't swallow the next one", Right("\xC3z", 1), "z"},
      {"Mid from 0 starts at 1", Mid(kMixed, 0), kMixed.Bytes()},
      {"Mid to the end", Mid(kMixed, 3), "\xE2\x82\xAC\xF0\x9F\x98\x80z"},
      {"Mid with a count", Mid(kMixed, 2, 2), "\xC3\xA9\xE2\x82\xAC"},
      {"truncated emoji is one character", Left("\xF0\x9F", 1), "\xF0\x9F"},
  };
  for (const auto& c : cases)
    EXPECT_EQ(c.got.Bytes(), c.want) << c.why;
}

// Folding the case of ASCII letters, and of nothing else: a bundle's extension in capitals is
// the same extension, an accented capital is not its small letter, and length still counts.
TEST(StringTest, EqualFoldingASCIICaseFoldsOnlyAToZ) {
  const struct {
    String a, b;
    bool equal;
  } cases[] = {
      {".app", ".app", true},
      {".APP", ".app", true},
      {".ApP", ".aPp", true},
      {".app", ".apq", false},
      {".app", ".app ", false},
      {"", "", true},
      {"\xC3\x89", "\xC3\xA9", false},  // É and é
      {"@", "`", false},                // 0x20 apart like a letter's cases, and no letters
      {"[", "{", false},
      {std::string("a\0", 2), "a", false},
  };
  for (const auto& c : cases) {
    EXPECT_EQ(EqualFoldingASCIICase(c.a, c.b), c.equal) << c.a.Bytes() << " " << c.b.Bytes();
    EXPECT_EQ(EqualFoldingASCIICase(c.b, c.a), c.equal) << c.b.Bytes() << " " << c.a.Bytes();
  }
  EXPECT_FALSE(String(".APP") == String(".app")) << "equality itself keeps case";
}

TEST(StringTest, NumbersToTextAndBack) {
  const TextCase cases[] = {
      {"smallest int64", Str(kMin), "-9223372036854775808"},
      {"largest uint64", Str(std::numeric_limits<std::uint64_t>::max()), "18446744073709551615"},
      {"mask: zero has no sign", Str(0, "-#"), "0"},
      {"integral double below 1e15", Str(123456789012345.0), "123456789012345"},
      {"seven significant digits", Str(-3.14159265), "-3.141593"},
      {"hex of a negative", Hex(kMin), "8000000000000000"},
      {"hex bytes, spaced", EncodeHex(String(std::string("\x00\x0F\xFF", 3)), true), "00 0F FF"},
  };
  for (const auto& c : cases)
    EXPECT_EQ(c.got.Bytes(), c.want) << c.why;
  // The leading number only; "1e-400" is too small for a double: 0, not infinity.
  const std::pair<const char*, double> values[] = {
      {" -3.5x", -3.5}, {"abc", 0},  {"&hFF", 255}, {"&o17", 15}, {"&b101", 5},
      {"-.5", -0.5},    {"0x10", 0}, {"nan", 0},    {"- 5", 0},   {"1e-400", 0}};
  for (const auto& [text, want] : values)
    EXPECT_EQ(Val(text), want) << '"' << text << '"';
}

}  // namespace
}  // namespace toolkit
