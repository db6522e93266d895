#include <gtest/gtest.h>

#include <cmath>
#include <cstring>
#include <limits>

#include "tests/cf/LiveObjectCheck.h"
#include "tests/cf/Support.h"

namespace cf_test {
namespace {

bool IsFloatKind(CFNumberType type) {
  return type == kCFNumberFloat32Type || type == kCFNumberFloat64Type ||
         type == kCFNumberFloatType || type == kCFNumberDoubleType || type == kCFNumberCGFloatType;
}

// A number of kind `type` holding `value`, handed over in that kind's own width.
CFNumberRef Integer(CFNumberType type, std::int64_t value) {
  // Little-endian: the first bytes of the 64-bit value are the narrower value.
  return CFNumberCreate(nullptr, type, &value);
}

CFNumberRef Real(CFNumberType type, double value) {
  if (type == kCFNumberFloat32Type || type == kCFNumberFloatType) {
    const auto f = static_cast<float>(value);
    return CFNumberCreate(nullptr, type, &f);
  }
  return CFNumberCreate(nullptr, type, &value);
}

CFNumberRef Make(CFNumberType type, double value) {
  return IsFloatKind(type) ? Real(type, value) : Integer(type, static_cast<std::int64_t>(value));
}

TEST(NumberTest, EveryKindKeepsItsTypeSizeAndValue) {
  const struct {
    CFNumberType type;
    CFIndex bytes;
    double value;
  } kRows[] = {
      {kCFNumberSInt8Type, 1, -128},
      {kCFNumberSInt16Type, 2, -32768},
      {kCFNumberSInt32Type, 4, 2147483647},
      {kCFNumberSInt64Type, 8, -1e15},
      {kCFNumberFloat32Type, 4, 0.25},
      {kCFNumberFloat64Type, 8, 0.1},
      {kCFNumberCharType, 1, 127},
      {kCFNumberShortType, 2, 1000},
      {kCFNumberIntType, 4, -7},
      {kCFNumberLongType, 8, 1e12},
      {kCFNumberLongLongType, 8, -1e12},
      {kCFNumberFloatType, 4, -1.5},
      {kCFNumberDoubleType, 8, 1e-300},
      {kCFNumberCFIndexType, 8, 4e9},
      {kCFNumberNSIntegerType, 8, -4e9},
      {kCFNumberCGFloatType, 8, 2.5},
  };
  for (const auto& row : kRows) {
    const Owned<CFNumberRef> number(Make(row.type, row.value));
    ASSERT_NE(number.get(), nullptr) << row.type;
    EXPECT_EQ(CFNumberGetType(number), row.type);
    EXPECT_EQ(CFNumberGetByteSize(number), row.bytes) << row.type;
    EXPECT_EQ(CFNumberIsFloatType(number), IsFloatKind(row.type)) << row.type;
    double back = 0;
    EXPECT_TRUE(CFNumberGetValue(number, kCFNumberFloat64Type, &back)) << row.type;
    EXPECT_EQ(back, row.value) << row.type;
  }
}

// Reading a number as another kind says whether the value came through whole; the nearest
// value of the kind is stored either way.
TEST(NumberTest, ReadingAsAnotherKindRefusesLoss) {
  const std::int64_t kTwo53 = std::int64_t{1} << 53;
  const double inf = std::numeric_limits<double>::infinity();
  const struct {
    const char* why;
    CFNumberRef number;
    CFNumberType to;
    bool whole;
    double stored;
  } kRows[] = {
      {"widening an integer", Integer(kCFNumberSInt8Type, -5), kCFNumberSInt64Type, true, -5},
      {"an integer that fits", Integer(kCFNumberSInt64Type, 100), kCFNumberSInt8Type, true, 100},
      {"too wide an integer keeps its low bits", Integer(kCFNumberSInt64Type, 300),
       kCFNumberSInt8Type, false, 44},
      {"a long beyond 32 bits", Integer(kCFNumberLongType, (std::int64_t{1} << 32) + 7),
       kCFNumberSInt32Type, false, 7},
      {"a whole double", Real(kCFNumberFloat64Type, 3), kCFNumberSInt32Type, true, 3},
      {"a fraction", Real(kCFNumberFloat64Type, -3.5), kCFNumberSInt32Type, false, -3},
      {"too large a double saturates", Real(kCFNumberFloat64Type, 1e20), kCFNumberSInt32Type, false,
       2147483647},
      {"NaN is no integer", Real(kCFNumberFloat64Type, std::nan("")), kCFNumberSInt16Type, false,
       0},
      {"2^53 has a double", Integer(kCFNumberSInt64Type, kTwo53), kCFNumberFloat64Type, true,
       9007199254740992.0},
      {"2^53 + 1 has none", Integer(kCFNumberSInt64Type, kTwo53 + 1), kCFNumberFloat64Type, false,
       9007199254740992.0},
      {"0.5 as a float", Real(kCFNumberFloat64Type, 0.5), kCFNumberFloat32Type, true, 0.5},
      {"0.1 has no float", Real(kCFNumberFloat64Type, 0.1), kCFNumberFloat32Type, false,
       static_cast<float>(0.1)},
      {"a float widens whole", Real(kCFNumberFloat32Type, 0.1), kCFNumberFloat64Type, true,
       static_cast<float>(0.1)},
      {"too large for a float", Real(kCFNumberFloat64Type, 1e300), kCFNumberFloat32Type, false,
       std::numeric_limits<float>::max()},
      {"an infinity is a float", Real(kCFNumberFloat64Type, -inf), kCFNumberFloat32Type, true,
       -inf},
  };
  for (const auto& row : kRows) {
    const Owned<CFNumberRef> number(row.number);
    unsigned char block[8] = {};
    EXPECT_EQ(CFNumberGetValue(number, row.to, block), row.whole) << row.why;
    double stored = 0;
    if (row.to == kCFNumberFloat32Type) {
      float f = 0;
      std::memcpy(&f, block, 4);
      stored = f;
    } else if (row.to == kCFNumberFloat64Type) {
      std::memcpy(&stored, block, 8);
    } else {
      const Owned<CFNumberRef> read(CFNumberCreate(nullptr, row.to, block));
      CFNumberGetValue(read, kCFNumberFloat64Type, &stored);
    }
    EXPECT_EQ(stored, row.stored) << row.why;
  }
}

TEST(NumberTest, ComparisonIsExactAcrossKinds) {
  const Owned<CFNumberRef> two(Integer(kCFNumberSInt32Type, 2));
  const Owned<CFNumberRef> twoAndAHalf(Real(kCFNumberFloat64Type, 2.5));
  const Owned<CFNumberRef> above(Integer(kCFNumberSInt64Type, (std::int64_t{1} << 53) + 1));
  const Owned<CFNumberRef> below(Real(kCFNumberDoubleType, 9007199254740992.0));
  const CFNumberRef nan = Symbol<CFNumberRef>("kCFNumberNaN");
  EXPECT_EQ(CFNumberCompare(two, twoAndAHalf, nullptr), kCFCompareLessThan);
  EXPECT_EQ(CFNumberCompare(twoAndAHalf, two, nullptr), kCFCompareGreaterThan);
  EXPECT_EQ(CFNumberCompare(above, below, nullptr), kCFCompareGreaterThan);
  EXPECT_EQ(CFNumberCompare(below, above, nullptr), kCFCompareLessThan);
  EXPECT_EQ(CFNumberCompare(nan, two, nullptr), kCFCompareLessThan);
  EXPECT_EQ(CFNumberCompare(nan, nan, nullptr), kCFCompareEqualTo);
}

}  // namespace
}  // namespace cf_test
