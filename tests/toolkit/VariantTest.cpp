#include <gtest/gtest.h>

#include <cstdint>

#include "platform/toolkit/Dictionary.h"
#include "platform/toolkit/MemoryBlock.h"
#include "platform/toolkit/Variant.h"

namespace toolkit {
namespace {

TEST(VariantTest, VarTypeCodes) {
  const Ref<MemoryBlock> nil, block = Ref<MemoryBlock>::New(1);  // a nil Ref is a nil Variant
  const struct {
    Variant value;
    int type;
  } cases[] = {{Variant(), 0},       {nil, 0},   {std::int32_t{1}, 2},
               {std::int64_t{1}, 3}, {1.0f, 4},  {1.0, 5},
               {"text", 8},          {block, 9}, {true, 11}};
  for (const auto& c : cases)
    EXPECT_EQ(c.value.VarType(), c.type);
}

TEST(VariantTest, IsNumeric) {
  const struct {
    Variant value;
    bool numeric;
    const char* why;
  } cases[] = {
      {std::int64_t{1} << 40, true, "Int64"},
      {2.5f, true, "Single"},
      {" -3.5 ", true, "blanks around a signed fraction"},
      {"\t.5", true, "tab before a bare fraction"},
      {"1e-400", true, "a number too small for a double is still a number"},
      {"attr 17", false, "word before the number"},
      {"raw 2", false, "word before the number"},
      {"17x", false, "trailing garbage"},
      {"", false, "empty text"},
      {".", false, "point alone"},
      {"&hFF", false, "hexadecimal is not decimal"},
      {"inf", false, "infinity is not a decimal number"},
      {Variant(), false, "nil"},
      {Ref<MemoryBlock>::New(2), false, "object"},
  };
  for (const auto& c : cases)
    EXPECT_EQ(IsNumeric(c.value), c.numeric) << c.why;
}

TEST(VariantTest, Conversions) {
  const std::uint8_t bytes[] = {'a', 0, 'b', 0};
  EXPECT_EQ(Variant(Ref<MemoryBlock>::New(bytes, 4)).StringValue().Bytes(),
            std::string("a\0b\0", 4));
  const Variant other(Ref<Dictionary>::New());
  EXPECT_THROW(other.StringValue(), TypeMismatchException);
  EXPECT_THROW(other.DoubleValue(), TypeMismatchException);
  EXPECT_THROW(other.Int32Value(), TypeMismatchException);
  EXPECT_TRUE(other.As<MemoryBlock>().IsNil());
  EXPECT_FALSE(other.As<Dictionary>().IsNil());
  EXPECT_EQ(Variant().Int64Value(), 0);
  EXPECT_EQ(Variant().StringValue().Bytes(), "");
  EXPECT_TRUE(Variant(17).ObjectValue().IsNil());
  EXPECT_TRUE(Variant("tRuE").BooleanValue());
  EXPECT_EQ(Variant(" 42abc").Int64Value(), 42);
  EXPECT_EQ(Variant(2.5f).StringValue().Bytes(), "2.5");
}

TEST(VariantTest, Equality) {
  const auto block = Ref<MemoryBlock>::New(2);
  const std::int64_t big = (std::int64_t{1} << 53) + 1;  // no double holds it
  const std::int64_t nearMax = INT64_MAX - 1023;         // a double holds it exactly
  const struct {
    Variant a;
    Variant b;
    bool equal;
    const char* why;
  } cases[] = {
      {std::int32_t{1}, std::int64_t{1}, true, "Int32 and Int64"},
      {std::int64_t{1}, 1.0, true, "Int64 and Double"},
      {std::int32_t{1}, 1.0f, true, "Int32 and Single"},
      {0.5f, 0.5, true, "Single and Double"},
      {-0.0, std::int32_t{0}, true, "negative zero"},
      {nearMax, static_cast<double>(nearMax), true, "large integral double"},
      {big, static_cast<double>(big), false, "the double is rounded, the integer exact"},
      {std::int32_t{1}, 1.5, false, "different values"},
      {"1", std::int32_t{1}, false, "a String is not a number"},
      {"abc", DefineEncoding("abc", Encodings::UTF8), true, "Strings by bytes"},
      {block, block, true, "the same object"},
      {block, Ref<MemoryBlock>::New(2), false, "same bytes, another object"},
  };
  for (const auto& c : cases) {
    EXPECT_EQ(c.a == c.b, c.equal) << c.why;
    EXPECT_EQ(c.b == c.a, c.equal) << c.why << " (reversed)";
    EXPECT_TRUE(!c.equal || c.a.Hash() == c.b.Hash()) << c.why << ": equal but hashed apart";
  }
}

}  // namespace
}  // namespace toolkit
