#include <gtest/gtest.h>
#include <plist/plist.h>

#include <string>

#include "tests/cf/LiveObjectCheck.h"
#include "tests/cf/Support.h"

namespace cf_test {
namespace {

// Every type a property list holds; what each becomes is read through a bundle's information
// dictionary in the wrappers' tests.
constexpr const char* kEveryType =
    "<plist version=\"1.0\"><dict><key>text</key><string>gr&#252;n</string><key>n</key>"
    "<integer>-42</integer><key>r</key><real>2.5</real><key>yes</key><true/><key>date</key>"
    "<date>2001-01-02T00:00:01Z</date><key>data</key><data>AAEC</data><key>list</key>"
    "<array><string>a</string><dict><key>in</key><false/></dict></array></dict></plist>";

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

TEST(PropertyListTest, BothFormsGiveTheSameList) {
  CFPropertyListFormat formats[2] = {};
  const Owned<CFPropertyListRef> fromXML(CFPropertyListCreateWithData(
      nullptr, Owned<CFDataRef>(NewData(kEveryType)), 0, &formats[0], nullptr));
  const Owned<CFPropertyListRef> fromBinary(CFPropertyListCreateWithData(
      nullptr, Owned<CFDataRef>(NewData(Binary(kEveryType))), 0, &formats[1], nullptr));
  EXPECT_EQ(formats[0], kCFPropertyListXMLFormat_v1_0);
  EXPECT_EQ(formats[1], kCFPropertyListBinaryFormat_v1_0);
  ASSERT_EQ(CFGetTypeID(fromXML), CFDictionaryGetTypeID());
  EXPECT_EQ(CFDictionaryGetCount(static_cast<CFDictionaryRef>(fromXML.get())), 7);
  EXPECT_TRUE(CFEqual(fromXML, fromBinary));
}

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
      {"truncated binary", Binary(kEveryType).substr(0, 40)},
      {"text that is no UTF-8", "<plist version=\"1.0\"><string>\xFF\xFE</string></plist>"},
      {"nested too deep", "<plist version=\"1.0\">" + deep + "</plist>"},
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
