// Refs and Variants: identity, classes, lifetimes, types, conversions and equality.

#include <gtest/gtest.h>

#include <cstdint>
#include <string>
#include <tuple>
#include <utility>

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

// Texts of every length about the sizes that are held inside the Variant and in a std::string,
// and about the sizes of the moves that copy a short one: each comes back byte for byte, with its
// encoding, through copies, moves and assignments, and equals and hashes as the same text made
// the other way.
TEST(VariantTest, TextsOfEveryLengthSurviveCopiesMovesAndAssignments) {
  for (const std::size_t length : {0, 1, 2, 3, 4, 5, 7, 8, 9, 15, 16, 17, 31, 32, 33, 64, 300}) {
    SCOPED_TRACE(length);
    std::string bytes(length, '\0');
    for (std::size_t i = 0; i < length; ++i)
      bytes[i] = static_cast<char>('a' + i % 26 + (i % 7 == 3 ? 100 : 0));  // some above 0x7F
    const Variant made = Variant::Text(bytes, TextEncoding::UTF8);
    const Variant fromString(String(bytes, TextEncoding::UTF8));
    EXPECT_EQ(made.VarType(), Variant::TypeString);
    EXPECT_EQ(made.StringValue().Bytes(), bytes);
    EXPECT_EQ(made.StringValue().Encoding(), TextEncoding::UTF8);
    EXPECT_TRUE(made == fromString);
    EXPECT_EQ(made.Hash(), fromString.Hash());

    Variant copy(made);
    Variant moved(std::move(copy));
    EXPECT_EQ(moved.StringValue().Bytes(), bytes);
    Variant assigned = 5;
    assigned = moved;
    EXPECT_TRUE(assigned == made);
    assigned = std::move(moved);
    EXPECT_EQ(assigned.StringValue().Bytes(), bytes);
    const Variant& self = assigned;
    assigned = self;
    EXPECT_EQ(assigned.StringValue().Bytes(), bytes);
    EXPECT_EQ(assigned.StringValue().Encoding(), TextEncoding::UTF8);

    // One byte changed anywhere makes another text.
    if (length > 0) {
      std::string other = bytes;
      other[length / 2] = static_cast<char>(other[length / 2] ^ 1);
      EXPECT_FALSE(made == Variant::Text(other, TextEncoding::UTF8));
    }
    // A text of another length is another text, also where one is the start of the other.
    EXPECT_FALSE(made == Variant::Text(bytes + "x"));
  }
}

// An object moved out of a Variant leaves nil behind; the object lives as long as any Variant
// that holds it, however the holders are copied and assigned.
TEST(VariantTest, AnObjectLivesAsLongAsItsLastHolder) {
  int destroyed = 0;
  {
    Variant a(Ref<Counted>::New(&destroyed));
    Variant b(a);
    Variant c(std::move(a));
    EXPECT_TRUE(a.IsNull());
    EXPECT_TRUE(b == c);
    b = "text";
    EXPECT_EQ(destroyed, 0);
    const Variant& itself = c;
    c = itself;  // assigned to itself, it keeps the object
    EXPECT_EQ(c.As<Counted>()->value, 7);
    c = std::move(b);
    EXPECT_EQ(destroyed, 1);
    EXPECT_EQ(c.StringValue().Bytes(), "text");
  }
  EXPECT_EQ(destroyed, 1);
}

}  // namespace
}  // namespace toolkit
