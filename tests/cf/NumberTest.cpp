#include <gtest/gtest.h>

#include <cmath>
#include <cstring>
#include <limits>

#include "tests/cf/LiveObjectCheck.h"
#include "tests/cf/Support.h"

namespace cf_test {
namespace {

CFNumberRef Integer(CFNumberType type, std::int64_t value) {
  // Little-endian: the first bytes of the 64-bit value are the narrower value.
  return CFNumberCreate(nullptr, type, &value);
}

CFNumberRef Real(CFNumberType type, double value) {
  const auto f = static_cast<float>(value);
  return type == kCFNumberFloat32Type ? CFNumberCreate(nullptr, type, &f)
                                      : CFNumberCreate(nullptr, type, &value);
}

// Reading a number as another kind says whether the value came through whole; the nearest
// value of the kind is stored either way. The wrappers read only as the four kinds of their
// tables, and never a double as a float.
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
      {"too wide an integer keeps its low bits", Integer(kCFNumberSInt64Type, 300),
       kCFNumberSInt8Type, false, 44},
      {"a fraction", Real(kCFNumberFloat64Type, -3.5), kCFNumberSInt32Type, false, -3},
      {"too large a double saturates", Real(kCFNumberFloat64Type, 1e20), kCFNumberSInt32Type, false,
       2147483647},
      {"NaN is no integer", Real(kCFNumberFloat64Type, std::nan("")), kCFNumberSInt16Type, false,
       0},
      {"2^53 has a double", Integer(kCFNumberSInt64Type, kTwo53), kCFNumberFloat64Type, true,
       9007199254740992.0},
      {"2^53 + 1 has none", Integer(kCFNumberSInt64Type, kTwo53 + 1), kCFNumberFloat64Type, false,
       9007199254740992.0},
      {"0.1 has no float", Real(kCFNumberFloat64Type, 0.1), kCFNumberFloat32Type, false,
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

}  // namespace
}  // namespace cf_test
