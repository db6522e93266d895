#include <gtest/gtest.h>

#include <chrono>
#include <string>

#include "tests/cf/LiveObjectCheck.h"
#include "tests/cf/Support.h"

namespace cf_test {
namespace {

TEST(DateTest, DatesKeepTheirMomentAndCompare) {
  const Owned<CFDateRef> early(CFDateCreate(nullptr, -1.5));
  const Owned<CFDateRef> late(CFDateCreate(nullptr, 1e9));
  EXPECT_EQ(CFDateGetAbsoluteTime(early), -1.5);
  EXPECT_EQ(CFDateGetTimeIntervalSinceDate(late, early), 1e9 + 1.5);
  EXPECT_EQ(CFDateCompare(early, late, nullptr), kCFCompareLessThan);
  EXPECT_EQ(CFDateCompare(late, early, nullptr), kCFCompareGreaterThan);
  EXPECT_EQ(CFDateCompare(late, late, nullptr), kCFCompareEqualTo);
  EXPECT_NE(TakeText(CFCopyDescription(early)).find("2000-12-31 23:59:58 +0000"),
            std::string::npos);
}

TEST(DateTest, CurrentTimeCountsFrom2001) {
  using namespace std::chrono;
  const auto unixNow = [] {
    return duration<double>(system_clock::now().time_since_epoch()).count();
  };
  const double before = unixNow();
  const CFAbsoluteTime now = CFAbsoluteTimeGetCurrent();
  const double after = unixNow();
  const double since1970 = Symbol<CFTimeInterval>("kCFAbsoluteTimeIntervalSince1970");
  EXPECT_EQ(since1970, 978307200.0);
  EXPECT_GE(now + since1970, before);
  EXPECT_LE(now + since1970, after);
}

TEST(ErrorTest, AnErrorKeepsItsOwnCopiesOfDomainAndInformation) {
  const Owned<CFMutableStringRef> domain(CFStringCreateMutable(nullptr, 0));
  CFStringAppendCString(domain, "com.example", kCFStringEncodingUTF8);
  const Owned<CFErrorRef> error(CFErrorCreate(nullptr, domain, -42, nullptr));
  CFStringAppendCString(domain, ".changed", kCFStringEncodingUTF8);
  EXPECT_EQ(Text(CFErrorGetDomain(error)), "com.example");
  EXPECT_EQ(CFErrorGetCode(error), -42);
  EXPECT_EQ(TakeText(CFErrorCopyDescription(error)),
            "The operation couldn\u2019t be completed. (com.example error -42.)");
  EXPECT_EQ(CFDictionaryGetCount(Owned<CFDictionaryRef>(CFErrorCopyUserInfo(error))), 0);

  // The text under the localized description key, where there is one, is the description.
  const Owned<CFMutableDictionaryRef> info(CFDictionaryCreateMutable(
      nullptr, 0,
      static_cast<const CFDictionaryKeyCallBacks*>(
          SymbolAddress("com.apple.Carbon", "kCFTypeDictionaryKeyCallBacks")),
      static_cast<const CFDictionaryValueCallBacks*>(
          SymbolAddress("com.apple.Carbon", "kCFTypeDictionaryValueCallBacks"))));
  const Owned<CFStringRef> text(NewString("It went wrong."));
  CFDictionarySetValue(info, Symbol<CFStringRef>("kCFErrorLocalizedDescriptionKey"), text);
  const Owned<CFErrorRef> described(CFErrorCreate(nullptr, domain, 1, info));
  CFDictionaryRemoveAllValues(info);
  EXPECT_EQ(TakeText(CFErrorCopyDescription(described)), "It went wrong.");
  EXPECT_EQ(CFDictionaryGetCount(Owned<CFDictionaryRef>(CFErrorCopyUserInfo(described))), 1);
  EXPECT_FALSE(CFEqual(described, Owned<CFErrorRef>(CFErrorCreate(nullptr, domain, 1, nullptr))));
}

}  // namespace
}  // namespace cf_test
