#include <gtest/gtest.h>

#include <string>

#include "tests/cf/LiveObjectCheck.h"
#include "tests/cf/Support.h"

namespace cf_test {
namespace {

// {"a\0b": 1} in binary form: libplist would assert on the key.
const std::string kZeroKey(
    "bplist00\xd1\x01\x02\x53\x61\x00\x62\x10\x01\x08\x0b\x0f\0\0\0\0\0\0\x01\x01\0\0\0\0\0\0"
    "\0\x03\0\0\0\0\0\0\0\0\0\0\0\0\0\0\0\x11",
    52);

TEST(PropertyListTest, WhatIsNoPropertyListGivesAnErrorAndNoObject) {
  std::string deep = "<array></array>";
  for (int i = 0; i < 600; ++i)
    deep.insert(0, "<array>").append("</array>");
  const struct {
    const char* why;
    std::string bytes;
  } kRows[] = {
      {"empty", ""},
      {"no property list", "just text"},
      {"truncated binary", kZeroKey.substr(0, 40)},
      {"text that is no UTF-8", "<plist version=\"1.0\"><string>\xFF\xFE</string></plist>"},
      {"nested too deep", "<plist version=\"1.0\">" + deep + "</plist>"},
      {"a key with a zero byte", kZeroKey},
  };
  for (const auto& row : kRows) {
    const Owned<CFDataRef> data(NewData(row.bytes));
    CFErrorRef error = nullptr;
    EXPECT_EQ(CFPropertyListCreateWithData(nullptr, data, 0, nullptr, &error), nullptr) << row.why;
    ASSERT_NE(error, nullptr) << row.why;
    const Owned<CFErrorRef> owned(error);
    EXPECT_EQ(CFErrorGetCode(error), kCFPropertyListReadCorruptError) << row.why;
    EXPECT_EQ(Text(CFErrorGetDomain(error)), "NSCocoaErrorDomain") << row.why;
  }
}

}  // namespace
}  // namespace cf_test
