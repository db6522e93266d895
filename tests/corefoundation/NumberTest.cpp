#include <cmath>
#include <cstring>
#include <limits>

#include "corefoundation/CFNumber.h"
#include "platform/toolkit/Dictionary.h"
#include "tests/corefoundation/Support.h"

namespace corefoundation_test {
namespace {

using namespace CoreFoundation;

// Toolkit value to platform number: the kind follows the Variant's type, and any other type is
// refused before a number is made.
TEST(CFNumberTest, AVariantBecomesANumberOfItsKind) {
  const struct {
    Variant value;
    CFNumberType type;
    Variant back;
  } kRows[] = {
      {2.5, kCFNumberFloat64Type, 2.5},
      {0.1f, kCFNumberFloat32Type, static_cast<double>(0.1f)},  // comes back a Double
      {std::int32_t{-7}, kCFNumberSInt32Type, std::int32_t{-7}},
      {std::int64_t{1} << 40, kCFNumberSInt64Type, std::int64_t{1} << 40},
  };
  for (const auto& row : kRows) {
    const auto number = CFNumber::New(row.value);
    EXPECT_EQ(number->Type(), row.type);
    EXPECT_EQ(number->IsFloat(), row.back.VarType() == 5) << row.type;
    EXPECT_EQ(number->VariantValue().VarType(), row.back.VarType()) << row.type;
    EXPECT_EQ(number->VariantValue(), row.back) << row.type;
  }
  const CallCounter counter;
  for (const Variant& value :
       {Variant(), Variant(true), Variant("12"), Variant(Ref<toolkit::Dictionary>::New())}) {
    try {
      CFNumber::New(value);
      ADD_FAILURE() << "no exception for VarType " << value.VarType();
    } catch (const toolkit::TypeMismatchException& e) {
      EXPECT_EQ(e.Message(), "");
    }
  }
  EXPECT_EQ(counter.Calls(), 0);
}

// Platform number to toolkit value, for every kind a number can hold.
TEST(CFNumberTest, ValueReadsEachKindAsItsTableSays) {
  const std::int64_t wide = (std::int64_t{1} << 40) + 3;
  const struct {
    CFNumberType type;
    double value;  // handed over in the kind's own width
    Variant expected;
  } kRows[] = {
      {kCFNumberSInt8Type, -8, std::int32_t{-8}},
      {kCFNumberSInt16Type, 300, std::int32_t{300}},
      {kCFNumberSInt32Type, -70000, std::int32_t{-70000}},
      {kCFNumberSInt64Type, 1e12, std::int64_t{1000000000000}},
      {kCFNumberFloat32Type, 0.1, static_cast<double>(0.1f)},
      {kCFNumberFloat64Type, 0.1, 0.1},
      {kCFNumberCharType, 65, std::int32_t{65}},
      {kCFNumberShortType, -2, std::int32_t{-2}},
      {kCFNumberIntType, 123456, std::int32_t{123456}},
      {kCFNumberLongType, 5, std::int32_t{5}},
      {kCFNumberLongLongType, -1e12, std::int64_t{-1000000000000}},
      {kCFNumberFloatType, 1.5, 1.5},
      {kCFNumberDoubleType, -2.25, -2.25},
      {kCFNumberCFIndexType, -9, std::int32_t{-9}},
      {kCFNumberNSIntegerType, 10, std::int32_t{10}},
      {kCFNumberCGFloatType, 3.75, 3.75},
      // A kind read as 32 bits gives nil beyond 32 bits; Int64Value still reads it.
      {kCFNumberCFIndexType, -static_cast<double>(wide), Variant()},
  };
  for (const auto& row : kRows) {
    unsigned char block[8] = {};
    const auto f = static_cast<float>(row.value);
    const auto i = static_cast<std::int64_t>(row.value);
    if (row.type == kCFNumberFloat32Type || row.type == kCFNumberFloatType) {
      std::memcpy(block, &f, sizeof f);
    } else if (row.expected.VarType() == 5) {
      std::memcpy(block, &row.value, sizeof row.value);
    } else {
      std::memcpy(block, &i, sizeof i);  // little-endian: the narrow value comes first
    }
    const auto number = CFNumber::New(CFNumberCreate(nullptr, row.type, block), true);
    EXPECT_EQ(number->Value().VarType(), row.expected.VarType()) << "type " << row.type;
    EXPECT_EQ(number->Value(), row.expected) << "type " << row.type;
    EXPECT_TRUE(!row.expected.IsNull() || number->Int64Value() == i) << "type " << row.type;
  }
}

// The plain accessors don't tell loss: a fraction is cut, a wide integer keeps its low bits.
TEST(CFNumberTest, PlainAccessorsReadWithoutTellingLoss) {
  EXPECT_EQ(CFNumber::New(std::int32_t{-5})->IntegerValue(), -5);  // sign-extended
  EXPECT_EQ(CFNumber::New(-2.75)->Int64Value(), -2);
  const auto wide = CFNumber::New((std::int64_t{1} << 33) + 1);
  EXPECT_EQ(wide->IntegerValue(), 1);
  EXPECT_EQ(wide->DoubleValue(), 8589934593.0);
}

TEST(CFNumberTest, SpecialValuesAreFetchedOnceAndKept) {
  const Ref<CFNumber> nan = CFNumber::NaN();
  EXPECT_TRUE(std::isnan(nan->DoubleValue()));
  EXPECT_TRUE(CFNumber::NaN() == nan);
  EXPECT_EQ(CFNumber::NegativeInfinity()->DoubleValue(), -std::numeric_limits<double>::infinity());
  EXPECT_EQ(CFNumber::PositiveInfinity()->DoubleValue(), std::numeric_limits<double>::infinity());
  // A symbol that isn't there gives nil; each call asks again.
  EXPECT_TRUE(CFNumber::SpecialValue("kCFNumberZero").IsNil());
  const auto again = CFNumber::SpecialValue("kCFNumberPositiveInfinity");
  EXPECT_FALSE(again == CFNumber::PositiveInfinity());
  EXPECT_TRUE(again->Equals(CFNumber::PositiveInfinity()));
}

}  // namespace
}  // namespace corefoundation_test
