#include <gtest/gtest.h>

#include <string>

#include "tests/cf/LiveObjectCheck.h"
#include "tests/cf/Support.h"

namespace cf_test {
namespace {

using namespace std::string_literals;

TEST(StringTest, UTF8RoundTripsAndLengthsCountUTF16Units) {
  const struct {
    std::string utf8;
    CFIndex units;
  } kRows[] = {
      {"", 0},
      {"plain", 5},
      {"gr\xC3\xBC\xC3\x9F"
       "e",
       5},                              // two-byte characters
      {"\xE6\x97\xA5\xE6\x9C\xAC", 2},  // three-byte characters
      {"\xF0\x9F\x98\x80", 2},          // outside the BMP: a surrogate pair
      {"a\0b"s, 3},                     // a zero byte is a character
  };
  for (const auto& row : kRows) {
    const Owned<CFStringRef> string(NewString(row.utf8));
    ASSERT_NE(string.get(), nullptr) << row.utf8;
    EXPECT_EQ(CFStringGetLength(string), row.units) << row.utf8;
    EXPECT_EQ(Text(string), row.utf8);
  }
}

TEST(StringTest, BytesThatAreNoTextInTheirEncodingGiveNull) {
  const struct {
    std::string bytes;
    CFStringEncoding encoding;
  } kRows[] = {
      {"\xC3", kCFStringEncodingUTF8},          // cut sequence
      {"\xC0\xAF", kCFStringEncodingUTF8},      // overlong form of "/"
      {"\xED\xA0\x80", kCFStringEncodingUTF8},  // an encoded surrogate
      {"\xFF", kCFStringEncodingUTF8},          // never a UTF-8 byte
      {"caf\xC3\xA9", kCFStringEncodingASCII},  // above 0x7F
      {"abc", 0x0100},                          // UTF-16, not converted here
  };
  for (const auto& row : kRows) {
    EXPECT_EQ(CFStringCreateWithBytes(nullptr, reinterpret_cast<const UInt8*>(row.bytes.data()),
                                      static_cast<CFIndex>(row.bytes.size()), row.encoding, false),
              nullptr);
  }
  // Latin-1 gives every byte a character.
  EXPECT_EQ(TakeText(CFStringCreateWithCString(nullptr, "caf\xE9", kCFStringEncodingISOLatin1)),
            "caf\xC3\xA9");
  // A byte order mark goes only from an external representation.
  const UInt8 marked[] = {0xEF, 0xBB, 0xBF, 'x'};
  EXPECT_EQ(TakeText(CFStringCreateWithBytes(nullptr, marked, 4, kCFStringEncodingUTF8, true)),
            "x");
  EXPECT_EQ(TakeText(CFStringCreateWithBytes(nullptr, marked, 4, kCFStringEncodingUTF8, false)),
            "\xEF\xBB\xBFx");
}

TEST(StringTest, GetBytesStopsBeforeWhatDoesNotFitOrConvert) {
  const Owned<CFStringRef> string(NewString("a\xC3\xA9z\xF0\x9F\x98\x80"));  // a é z 😀
  const struct {
    const char* why;
    CFRange range;
    CFStringEncoding encoding;
    UInt8 lossByte;
    CFIndex maxBufLen;
    CFIndex units;
    std::string bytes;
  } kRows[] = {
      {"all of it", {0, 5}, kCFStringEncodingUTF8, 0, 16, 5, "a\xC3\xA9z\xF0\x9F\x98\x80"},
      {"é does not fit in two bytes", {0, 5}, kCFStringEncodingUTF8, 0, 2, 1, "a"},
      {"nor 😀 in three", {3, 2}, kCFStringEncodingUTF8, 0, 3, 0, ""},
      {"é has no ASCII form", {0, 5}, kCFStringEncodingASCII, 0, 16, 1, "a"},
      {"a loss byte stands in", {0, 5}, kCFStringEncodingASCII, '?', 16, 5, "a?z?"},
      {"half a surrogate pair has no form", {3, 1}, kCFStringEncodingUTF8, 0, 16, 0, ""},
      {"the other half, with a loss byte", {4, 1}, kCFStringEncodingUTF8, '?', 16, 1, "?"},
  };
  for (const auto& row : kRows) {
    std::string buffer(16, '\0');
    CFIndex used = -1;
    EXPECT_EQ(CFStringGetBytes(string, row.range, row.encoding, row.lossByte, false,
                               reinterpret_cast<UInt8*>(buffer.data()), row.maxBufLen, &used),
              row.units)
        << row.why;
    EXPECT_EQ(buffer.substr(0, static_cast<std::size_t>(used)), row.bytes) << row.why;
  }
}

TEST(StringTest, MutableStringsGrowUpToTheirMaximumLength) {
  const Owned<CFMutableStringRef> string(CFStringCreateMutable(nullptr, 6));
  CFStringAppendCString(string, "abc", kCFStringEncodingUTF8);
  CFStringAppend(string, string);  // appending itself doubles it
  EXPECT_EQ(Text(string), "abcabc");
  {
    ExpectRefusals();
    const CallCounter counter;
    CFStringAppendCString(string, "d", kCFStringEncodingUTF8);
    EXPECT_EQ(counter.Refusals(), 1);
    EXPECT_EQ(Text(string), "abcabc");
  }
  const Owned<CFMutableStringRef> copy(CFStringCreateMutableCopy(nullptr, 0, string));
  CFStringAppendCString(copy, "\xE2\x82\xAC", kCFStringEncodingUTF8);
  EXPECT_EQ(Text(copy), "abcabc\xE2\x82\xAC");
  EXPECT_EQ(Text(string), "abcabc");
  const Owned<CFStringRef> frozen(CFStringCreateCopy(nullptr, copy));
  CFStringAppendCString(copy, "!", kCFStringEncodingUTF8);
  EXPECT_EQ(Text(frozen), "abcabc\xE2\x82\xAC");
}

TEST(StringTest, CaseFollowsTheLocalesRules) {
  const struct {
    const char* text;
    const char* locale;  // nullptr: no locale; "": the system locale
    bool upper;
    const char* expected;
  } kRows[] = {
      {"\xC3\x84Ou", nullptr, false, "\xC3\xA4ou"},  // ÄOu -> äou
      {"stra\xC3\x9F"
       "e",
       "", true, "STRASSE"},  // ß -> SS
      {"I", "", false, "i"},
      {"I", "tr", false, "\xC4\xB1"},                                            // dotless ı
      {"i", "tr", true, "\xC4\xB0"},                                             // dotted İ
      {"\xCE\xA3\xCE\x91\xCE\xA3", nullptr, false, "\xCF\x83\xCE\xB1\xCF\x82"},  // ΣΑΣ -> σας
  };
  for (const auto& row : kRows) {
    const Owned<CFMutableStringRef> string(CFStringCreateMutable(nullptr, 0));
    CFStringAppendCString(string, row.text, kCFStringEncodingUTF8);
    CFLocaleRef locale = nullptr;
    if (row.locale != nullptr && *row.locale != '\0') {
      locale = CFLocaleCreate(nullptr, Owned<CFStringRef>(NewString(row.locale)));
    } else if (row.locale != nullptr) {
      locale = CFLocaleGetSystem();
    }
    (row.upper ? CFStringUppercase : CFStringLowercase)(string, locale);
    EXPECT_EQ(Text(string), row.expected)
        << row.text << " in '" << (row.locale ? row.locale : "") << "'";
    if (locale != nullptr && locale != CFLocaleGetSystem()) CFRelease(locale);
  }
  EXPECT_EQ(Text(CFLocaleGetIdentifier(CFLocaleGetSystem())), "");
}

}  // namespace
}  // namespace cf_test
