#include <gtest/gtest.h>

#include <functional>
#include <string>

#include "tests/cf/LiveObjectCheck.h"
#include "tests/cf/Support.h"

namespace cf_test {
namespace {

using namespace std::string_literals;

const UInt8* U(const char* text) {
  return reinterpret_cast<const UInt8*>(text);
}

TEST(DataTest, CopiesAreIndependentOfTheirSource) {
  const Owned<CFDataRef> data(NewData("ab\0c"s));
  EXPECT_EQ(CFDataGetLength(data), 4);
  const Owned<CFMutableDataRef> copy(CFDataCreateMutableCopy(nullptr, 0, data));
  CFDataAppendBytes(copy, U("d"), 1);
  const Owned<CFDataRef> frozen(CFDataCreateCopy(nullptr, copy));
  CFDataDeleteBytes(copy, CFRangeMake(0, 1));
  EXPECT_EQ(Bytes(data), "ab\0c"s);
  EXPECT_EQ(Bytes(frozen), "ab\0cd"s);
  EXPECT_EQ(Bytes(copy), "b\0cd"s);
  const Owned<CFDataRef> empty(CFDataCreate(nullptr, nullptr, 0));
  EXPECT_EQ(CFDataGetLength(empty), 0);
  EXPECT_EQ(CFDataGetBytePtr(empty), nullptr);
}

TEST(DataTest, MutationsReplaceRanges) {
  const struct {
    const char* why;
    std::function<void(CFMutableDataRef)> change;
    std::string expected;
  } kRows[] = {
      {"append", [](CFMutableDataRef d) { CFDataAppendBytes(d, U("gh"), 2); }, "abcdefgh"},
      {"delete inside", [](CFMutableDataRef d) { CFDataDeleteBytes(d, CFRangeMake(1, 2)); },
       "adef"},
      {"delete to the end", [](CFMutableDataRef d) { CFDataDeleteBytes(d, CFRangeMake(4, 2)); },
       "abcd"},
      {"replace by more",
       [](CFMutableDataRef d) { CFDataReplaceBytes(d, CFRangeMake(1, 2), U("XYZ"), 3); },
       "aXYZdef"},
      {"replace by nothing",
       [](CFMutableDataRef d) { CFDataReplaceBytes(d, CFRangeMake(0, 6), nullptr, 0); }, ""},
      {"insert its own bytes",
       [](CFMutableDataRef d) { CFDataReplaceBytes(d, CFRangeMake(0, 0), CFDataGetBytePtr(d), 3); },
       "abcabcdef"},
      {"lengthen with zeros", [](CFMutableDataRef d) { CFDataSetLength(d, 8); }, "abcdef\0\0"s},
      {"shorten", [](CFMutableDataRef d) { CFDataSetLength(d, 2); }, "ab"},
  };
  for (const auto& row : kRows) {
    const Owned<CFMutableDataRef> data(CFDataCreateMutable(nullptr, 0));
    CFDataAppendBytes(data, U("abcdef"), 6);
    row.change(data);
    EXPECT_EQ(Bytes(data), row.expected) << row.why;
  }
}

TEST(DataTest, MutationsOutsideTheDataOrItsCapacityAreRefused) {
  ExpectRefusals();
  const struct {
    const char* why;
    std::function<void(CFMutableDataRef)> change;
  } kRows[] = {
      {"delete past the end", [](CFMutableDataRef d) { CFDataDeleteBytes(d, CFRangeMake(5, 2)); }},
      {"delete before the start",
       [](CFMutableDataRef d) { CFDataDeleteBytes(d, CFRangeMake(-1, 1)); }},
      {"a range of negative length",
       [](CFMutableDataRef d) { CFDataDeleteBytes(d, CFRangeMake(2, -1)); }},
      {"replace beyond the end",
       [](CFMutableDataRef d) { CFDataReplaceBytes(d, CFRangeMake(7, 0), U("x"), 1); }},
      {"append from NULL", [](CFMutableDataRef d) { CFDataAppendBytes(d, nullptr, 3); }},
      {"append a negative length", [](CFMutableDataRef d) { CFDataAppendBytes(d, U("x"), -1); }},
      {"grow past the capacity", [](CFMutableDataRef d) { CFDataAppendBytes(d, U("xyz"), 3); }},
      {"lengthen past the capacity", [](CFMutableDataRef d) { CFDataSetLength(d, 9); }},
  };
  for (const auto& row : kRows) {
    const Owned<CFMutableDataRef> data(CFDataCreateMutable(nullptr, 8));
    CFDataAppendBytes(data, U("abcdef"), 6);
    const CallCounter counter;
    row.change(data);
    EXPECT_EQ(counter.Refusals(), 1) << row.why;
    EXPECT_EQ(Bytes(data), "abcdef") << row.why;
  }
  const Owned<CFDataRef> data(NewData("abc"));
  std::string buffer = "...";
  CFDataGetBytes(data, CFRangeMake(1, 3), reinterpret_cast<UInt8*>(buffer.data()));
  EXPECT_EQ(buffer, "...");
  CFDataGetBytes(data, CFRangeMake(1, 2), reinterpret_cast<UInt8*>(buffer.data()));
  EXPECT_EQ(buffer, "bc.");
}

}  // namespace
}  // namespace cf_test
