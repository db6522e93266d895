
#include "corefoundation/CFNumber.h"
#include "tests/corefoundation/Support.h"

namespace corefoundation_test {
namespace {

using namespace CoreFoundation;

// Toolkit value to platform number: the kind follows the Variant's type; any other type is
// refused before a number is made.
TEST(CFNumberTest, AVariantBecomesANumberOfItsKind) {
  const struct {
    Variant value;
    CFNumberType type;
  } kRows[] = {
      {2.5, kCFNumberFloat64Type},
      {0.5f, kCFNumberFloat32Type},
      {std::int32_t{-7}, kCFNumberSInt32Type},
      {std::int64_t{1} << 40, kCFNumberSInt64Type},
  };
  for (const auto& row : kRows) {
    const auto number = CFNumber::New(row.value);
    EXPECT_EQ(number->Type(), row.type);
    EXPECT_EQ(number->DoubleValue(), row.value.DoubleValue()) << row.type;
  }
  const CallCounter counter;
  for (const Variant& value : {Variant(), Variant(true), Variant("12")})
    EXPECT_THROW(CFNumber::New(value), toolkit::TypeMismatchException) << value.VarType();
  EXPECT_EQ(counter.Calls(), 0);
}

// Platform number to toolkit value: narrow integers come back as 32 bits, floats as doubles,
// and a value its kind's read can't hold whole as nil.
TEST(CFNumberTest, ValueReadsEachKindAsItsTableSaysAndNilWhenLossy) {
  const std::int64_t wide = (std::int64_t{1} << 40) + 3;
  const struct {
    CFNumberType type;
    std::int64_t integer;
    Variant expected;
  } kRows[] = {
      {kCFNumberSInt8Type, -8, std::int32_t{-8}}, {kCFNumberSInt64Type, wide, wide},
      {kCFNumberLongLongType, -wide, -wide},      {kCFNumberCFIndexType, -9, std::int32_t{-9}},
      {kCFNumberCFIndexType, -wide, Variant()},  // read as 32 bits: too wide
  };
  for (const auto& row : kRows) {
    const auto number = CFNumber::New(CFNumberCreate(nullptr, row.type, &row.integer), true);
    EXPECT_EQ(number->Value().VarType(), row.expected.VarType()) << "type " << row.type;
    EXPECT_EQ(number->Value(), row.expected) << "type " << row.type;
  }
  const float f = 0.1f;
  EXPECT_EQ(CFNumber::New(CFNumberCreate(nullptr, kCFNumberFloatType, &f), true)->Value(),
            Variant(static_cast<double>(f)));
}

}  // namespace
}  // namespace corefoundation_test
