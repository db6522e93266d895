// Refs and Variants: identity, classes, lifetimes, types, conversions and equality.

#include <gtest/gtest.h>

#include <cstdint>
#include <tuple>

#include "platform/toolkit/Dictionary.h"
#include "platform/toolkit/MemoryBlock.h"
#include "platform/toolkit/Variant.h"

namespace toolkit {
namespace {

class Counted : public Object {
 public:
  explicit Counted(int* destroyed) : destroyed_(destroyed) {}
  ~Counted() override { ++*destroyed_; }
  int value = 7;

 private:
  int* destroyed_;
};

TEST(RefTest, NilRaisesEqualityIsIdentityAndTheLastRefDestroysOnce) {
  int destroyed = 0;
  const Ref<Counted> nil;
  EXPECT_THROW(static_cast<void>(nil->value), NilObjectException);
  EXPECT_THROW(static_cast<void>(*nil), NilObjectException);
  {
    auto a = Ref<Counted>::New(&destroyed);
    const Ref<Object> upcast = a;
    EXPECT_TRUE(a == upcast);
    EXPECT_FALSE(a == Ref<Counted>::New(&destroyed));
    EXPECT_FALSE(a == nullptr);
    EXPECT_TRUE(nil == Ref<MemoryBlock>());
    a = nullptr;
    EXPECT_EQ(destroyed, 1);  // the other Counted only
  }
  EXPECT_EQ(destroyed, 2);
}

TEST(VariantTest, VarTypeCodes) {
  const Ref<MemoryBlock> nil, block = Ref<MemoryBlock>::New(1);  // a nil Ref is a nil Variant
  // Each value made in its place: g++ 12 under the sanitizers misreads a moved Variant.
  const Variant values[] = {Variant(), nil, std::int32_t{1}, std::int64_t{1}, 1.0f, 1.0, "text",
                            block,     true};
  const int types[] = {0, 0, 2, 3, 4, 5, 8, 9, 11};
  for (std::size_t i = 0; i < std::size(types); ++i)
    EXPECT_EQ(values[i].VarType(), types[i]) << i;
}

TEST(VariantTest, IsNumeric) {
  const std::tuple<Variant, bool, const char*> cases[] = {
      // clang-format off
      {std::int64_t{1} << 40, true, "Int64"},
      {" -3.5 ", true, "blanks around a signed fraction"},
      {"\t.5", true, "tab before a bare fraction"},
      {"1e-400", true, "a number too small for a double is still a number"},
      {"attr 17", false, "word before the number"},
      {"17x", false, "trailing garbage"},
      {".", false, "point alone"},
      {"&hFF", false, "hexadecimal is not decimal"},
      {"inf", false, "infinity is not a decimal number"},
      {Ref<MemoryBlock>::New(2), false, "object"},
      // clang-format on
  };
  for (const auto& [value, numeric, why] : cases)
    EXPECT_EQ(IsNumeric(value), numeric) << why;
}

TEST(VariantTest, ConversionsAndAs) {
  const std::uint8_t bytes[] = {'a', 0, 'b', 0};
  EXPECT_EQ(Variant(Ref<MemoryBlock>::New(bytes, 4)).StringValue().Bytes(),
            std::string("a\0b\0", 4));
  const Variant other(Ref<Dictionary>::New());
  EXPECT_THROW(other.StringValue(), TypeMismatchException);
  EXPECT_THROW(other.DoubleValue(), TypeMismatchException);
  EXPECT_TRUE(other.As<MemoryBlock>().IsNil());
  EXPECT_FALSE(other.As<Dictionary>().IsNil());
  EXPECT_TRUE(Ref<Object>().As<MemoryBlock>().IsNil());
  EXPECT_EQ(Variant().Int64Value(), 0);
  EXPECT_TRUE(Variant("tRuE").BooleanValue());
  EXPECT_EQ(Variant(" 42abc").Int64Value(), 42);
  EXPECT_EQ(Variant(2.5f).StringValue().Bytes(), "2.5");
}

TEST(VariantTest, Equality) {
  const auto block = Ref<MemoryBlock>::New(2);
  const std::int64_t big = (std::int64_t{1} << 53) + 1;  // no double holds it
  const std::int64_t nearMax = INT64_MAX - 1023;         // a double holds it exactly
  const std::tuple<Variant, Variant, bool, const char*> cases[] = {
      // clang-format off
      {std::int32_t{1}, std::int64_t{1}, true, "Int32 and Int64"},
      {std::int64_t{1}, 1.0, true, "Int64 and Double"},
      {std::int32_t{1}, 1.5, false, "an integer and a fraction"},
      {0.5f, 0.5, true, "Single and Double"},
      {-0.0, std::int32_t{0}, true, "negative zero"},
      {nearMax, static_cast<double>(nearMax), true, "large integral double"},
      {big, static_cast<double>(big), false, "the double is rounded, the integer exact"},
      {"1", std::int32_t{1}, false, "a String is not a number"},
      {"abc", DefineEncoding("abc", Encodings::UTF8), true, "Strings by bytes"},
      {block, Ref<MemoryBlock>::New(2), false, "same bytes, another object"},
      // clang-format on
  };
  for (const auto& [a, b, equal, why] : cases) {
    EXPECT_EQ(a == b, equal) << why;
    EXPECT_EQ(b == a, equal) << why << " (reversed)";
    EXPECT_TRUE(!equal || a.Hash() == b.Hash()) << why << ": equal but hashed apart";
  }
}

}  // namespace
}  // namespace toolkit
