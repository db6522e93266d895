#include <gtest/gtest.h>
#include <plist/plist.h>

#include <string>

#include "tests/cf/LiveObjectCheck.h"
#include "tests/cf/Support.h"

namespace cf_test {
namespace {

constexpr const char* kEveryType = R"(<?xml version="1.0" encoding="UTF-8"?>
<plist version="1.0">
<dict>
  <key>text</key><string>gr&#252;n</string>
  <key>negative</key><integer>-42</integer>
  <key>real</key><real>2.5</real>
  <key>yes</key><true/>
  <key>date</key><date>2001-01-02T00:00:01Z</date>
  <key>data</key><data>AAEC</data>
  <key>list</key><array><string>a</string><dict><key>inner</key><false/></dict></array>
</dict>
</plist>
)";

// The binary form of an XML property list, as libplist writes it.
std::string Binary(const std::string& xml) {
  plist_t root = nullptr;
  plist_from_xml(xml.data(), static_cast<uint32_t>(xml.size()), &root);
  char* bytes = nullptr;
  uint32_t length = 0;
  plist_to_bin(root, &bytes, &length);
  std::string binary(bytes, length);
  plist_to_bin_free(bytes);
  plist_free(root);
  return binary;
}

const void* ValueOf(CFDictionaryRef dictionary, const char* key) {
  return CFDictionaryGetValue(dictionary, Owned<CFStringRef>(NewString(key)));
}

TEST(PropertyListTest, EveryTypeBecomesItsCFObjectInBothForms) {
  const Owned<CFDataRef> xmlData(NewData(kEveryType));
  const Owned<CFDataRef> binaryData(NewData(Binary(kEveryType)));
  CFPropertyListFormat xmlFormat{};
  CFPropertyListFormat binaryFormat{};
  const Owned<CFPropertyListRef> fromXML(
      CFPropertyListCreateWithData(nullptr, xmlData, 0, &xmlFormat, nullptr));
  const Owned<CFPropertyListRef> fromBinary(
      CFPropertyListCreateWithData(nullptr, binaryData, 0, &binaryFormat, nullptr));
  EXPECT_EQ(xmlFormat, kCFPropertyListXMLFormat_v1_0);
  EXPECT_EQ(binaryFormat, kCFPropertyListBinaryFormat_v1_0);
  ASSERT_EQ(CFGetTypeID(fromXML), CFDictionaryGetTypeID());
  EXPECT_TRUE(CFEqual(fromXML, fromBinary));

  const auto dictionary = static_cast<CFDictionaryRef>(fromXML.get());
  EXPECT_EQ(CFDictionaryGetCount(dictionary), 7);
  EXPECT_EQ(Text(static_cast<CFStringRef>(ValueOf(dictionary, "text"))), "gr\xC3\xBCn");
  SInt64 integer = 0;
  CFNumberGetValue(static_cast<CFNumberRef>(ValueOf(dictionary, "negative")), kCFNumberSInt64Type,
                   &integer);
  EXPECT_EQ(integer, -42);
  double real = 0;
  CFNumberGetValue(static_cast<CFNumberRef>(ValueOf(dictionary, "real")), kCFNumberFloat64Type,
                   &real);
  EXPECT_EQ(real, 2.5);
  EXPECT_EQ(ValueOf(dictionary, "yes"), Symbol<CFBooleanRef>("kCFBooleanTrue"));
  EXPECT_EQ(CFDateGetAbsoluteTime(static_cast<CFDateRef>(ValueOf(dictionary, "date"))), 86401.0);
  EXPECT_EQ(Bytes(static_cast<CFDataRef>(ValueOf(dictionary, "data"))), std::string("\0\1\2", 3));
  const auto list = static_cast<CFArrayRef>(ValueOf(dictionary, "list"));
  ASSERT_EQ(CFArrayGetCount(list), 2);
  const auto inner = static_cast<CFDictionaryRef>(CFArrayGetValueAtIndex(list, 1));
  EXPECT_EQ(ValueOf(inner, "inner"), Symbol<CFBooleanRef>("kCFBooleanFalse"));
}

TEST(PropertyListTest, WhatIsNoPropertyListGivesAnErrorAndNoObject) {
  std::string deep = "<plist version=\"1.0\">";
  for (int i = 0; i < 600; ++i)
    deep += "<array>";
  for (int i = 0; i < 600; ++i)
    deep += "</array>";
  deep += "</plist>";
  const struct {
    const char* why;
    std::string bytes;
  } kRows[] = {
      {"empty", ""},
      {"no property list", "just text"},
      {"truncated binary", Binary(kEveryType).substr(0, 40)},
      {"text that is no UTF-8", "<plist version=\"1.0\"><string>\xFF\xFE</string></plist>"},
      {"nested too deep", deep},
      // {"a\0b": 1} in binary form: libplist would assert on the key.
      {"a key with a zero byte",
       std::string("bplist00\xd1\x01\x02\x53\x61\x00\x62\x10\x01\x08\x0b\x0f"
                   "\0\0\0\0\0\0\x01\x01\0\0\0\0\0\0\0\x03\0\0\0\0\0\0\0\0"
                   "\0\0\0\0\0\0\0\x11",
                   52)},
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
