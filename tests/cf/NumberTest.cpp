#include <gtest/gtest.h>

#include <cfloat>
#include <cmath>
#include <cstring>
#include <limits>

#include "tests/cf/LiveObjectCheck.h"
#include "tests/cf/Support.h"

namespace cf_test {
namespace {

// Reading a number as another kind says whether the value came through whole; the nearest
// value of the kind is stored either way. The wrappers read only as the four kinds of their
// tables, and never a double as a float.
TEST(NumberTest, ReadingAsAnotherKindRefusesLoss) {
  const std::int64_t kTwo53 = std::int64_t{1} << 53;
  const double inf = std::numeric_limits<double>::infinity();
  const auto i64 = [](std::int64_t v) { return CFNumberCreate(nullptr, kCFNumberSInt64Type, &v); };
  const auto f64 = [](double v) { return CFNumberCreate(nullptr, kCFNumberFloat64Type, &v); };
  const struct {
    const char* why;
    CFNumberRef number;
    CFNumberType to;
    bool whole;
    double stored;
  } kRows[] = {
      {"too wide keeps its low bits", i64(300), kCFNumberSInt8Type, false, 44},
      {"a fraction", f64(-3.5), kCFNumberSInt32Type, false, -3},
      {"too large saturates", f64(1e20), kCFNumberSInt32Type, false, 2147483647},
      {"NaN is no integer", f64(std::nan("")), kCFNumberSInt16Type, false, 0},
      {"2^53 has a double", i64(kTwo53), kCFNumberFloat64Type, true, 0x1p53},
      {"2^53 + 1 has none", i64(kTwo53 + 1), kCFNumberFloat64Type, false, 0x1p53},
      {"0.1 has no float", f64(0.1), kCFNumberFloat32Type, false, static_cast<float>(0.1)},
      {"too large for a float", f64(1e300), kCFNumberFloat32Type, false, FLT_MAX},
      {"an infinity is a float", f64(-inf), kCFNumberFloat32Type, true, -inf},
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
