#include <functional>
#include <string>

#include "corefoundation/CFData.h"
#include "corefoundation/CFMutableData.h"
#include "corefoundation/CFMutableString.h"
#include "corefoundation/CFString.h"
#include "platform/toolkit/cf/CFStringRef.h"
#include "tests/corefoundation/Support.h"

namespace corefoundation_test {
namespace {

using namespace CoreFoundation;
using namespace std::string_literals;

// The toolkit's counted string value: each holds a count of its own, and every byte of text
// comes back.
TEST(ToolkitCFStringRefTest, EachValueHoldsOneCountOfItsOwnAndKeepsEveryByte) {
  toolkit::CFStringRef first = toolkit::StringToCFString("counted");
  toolkit::CFStringRef moved = std::move(first);
  EXPECT_TRUE(first.IsNull());  // NOLINT: a moved-from value is null
  EXPECT_EQ(CFGetRetainCount(toolkit::CFStringRef(moved).Get()), 2);
  // The last: U+10FFFF, the highest surrogate pair of UTF-16.
  for (const std::string& text :
       {""s, "a\0b"s, "gr\xC3\xBC\xC3\x9F"s, "\xF0\x9F\x98\x80"s, "\xF4\x8F\xBF\xBF"s}) {
    const String back = toolkit::StringFromCFString(toolkit::StringToCFString(text));
    EXPECT_EQ(back.Bytes(), text);
    EXPECT_EQ(back.Encoding(), toolkit::TextEncoding::UTF8);
  }
  // Bytes that are no text in their encoding make no string.
  for (const String& bad : {String("\xC3"), String("\xED\xA0\x80"), String("\xC0\xAF"),
                            String("caf\xC3\xA9", toolkit::TextEncoding::ASCII)})
    EXPECT_TRUE(toolkit::StringToCFString(bad).IsNull()) << bad.Bytes();
  EXPECT_EQ(toolkit::StringFromCFString(toolkit::CFStringRef()), "");
}

TEST(CFStringTest, ValuesComeOutAsCopiesWithCountsOfTheirOwn) {
  const auto string = CFString::New("gr\xC3\xBC\xC3\x9F");
  EXPECT_EQ(string->VariantValue(), Variant("gr\xC3\xBC\xC3\x9F"));
  {
    const auto ref = static_cast<toolkit::CFStringRef>(*string);
    EXPECT_EQ(ref.Get(), string->Reference());
    // Made from a counted value, a wrapper takes a count of its own.
    EXPECT_EQ(CFString::New(ref)->RefCount(), 3);
  }
  EXPECT_EQ(string->RefCount(), 1);
  // No text, or text that makes no string, leaves the wrapper empty; a mutable one holds a
  // string all the same.
  EXPECT_TRUE(Empty(CFString::New(toolkit::StringToCFString(""))));
  EXPECT_TRUE(Empty(CFString::New(String("\xFF"))));
  EXPECT_EQ(CFStringGetLength(static_cast<::CFStringRef>(CFMutableString::New("")->Reference())),
            0);
}

TEST(CFMutableStringTest, TextIsBuiltUpAndMapped) {
  const auto string = CFMutableString::New(
      "Stra\xC3\x9F"
      "e ");
  string->Append("\xC3\x84pfel");
  string->Append(String("\xFF"));  // makes no string: nothing to append
  string->ToUppercase();
  EXPECT_EQ(string->StringValue(), "STRASSE \xC3\x84PFEL");
  string->ToLowercase();
  EXPECT_EQ(string->StringValue(), "strasse \xC3\xA4pfel");
}

TEST(CFDataTest, BytesAreCopiedInAndOut) {
  auto block = Ref<MemoryBlock>::New(3);
  block->SetByte(1, 0xFF);
  const auto data = CFData::New(block);
  block->SetByte(0, 0x55);  // the wrapper holds a copy
  const Ref<MemoryBlock> first = data->Data();
  EXPECT_FALSE(first == data->Data());
  EXPECT_EQ(first->StringValue().Bytes(), "\x00\xFF\x00"s);
  EXPECT_EQ(data->VariantValue().As<MemoryBlock>()->StringValue(), first->StringValue());
  EXPECT_EQ(CFData::New(Ref<MemoryBlock>::New(0))->Data()->Size(), 0);
}

TEST(CFMutableDataTest, ChangesReplaceByteRanges) {
  const char* xyz = "XYZ";
  using Data = CFMutableData;
  const struct {
    const char* why;
    std::function<void(Data&)> change;
    std::string expected;
  } kRows[] = {
      {"append bytes", [&](Data& d) { d.Append(xyz, 2); }, "abcdefXY"},
      {"append a String, no terminator", [](Data& d) { d.Append("gh"); }, "abcdefgh"},
      {"append the empty String", [](Data& d) { d.Append(""); }, "abcdef"},
      {"append from null", [](Data& d) { d.Append(nullptr, 3); }, "abcdef"},
      {"delete", [](Data& d) { d.Delete(1, 3); }, "aef"},
      {"replace", [&](Data& d) { d.Replace(2, 1, xyz, 3); }, "abXYZdef"},
      {"replace with null deletes", [](Data& d) { d.Replace(0, 2, nullptr, 5); }, "cdef"},
      {"offsets are cut to 32 bits", [](Data& d) { d.Delete((std::int64_t{1} << 32) + 4, 2); },
       "abcd"},
  };
  for (const auto& row : kRows) {
    const auto data = CFMutableData::New();
    data->Append("abcdef");
    row.change(*data);
    EXPECT_EQ(data->Data()->StringValue().Bytes(), row.expected) << row.why;
  }
}

// A copy is mutable and stands apart; from a block, the wrapper holds an immutable object.
TEST(CFMutableDataTest, CopiesAreMutableAndIndependent) {
  const auto source = CFData::New(Ref<MemoryBlock>::New(2));
  const auto copy = CFMutableData::New(source);
  copy->Append("!");
  EXPECT_EQ(copy->Data()->Size() + source->Data()->Size(), 5);
  for (const Ref<CFData>& none : {Ref<CFData>(), CFData::New(Ref<MemoryBlock>())}) {
    const auto fresh = CFMutableData::New(none);
    fresh->Append("x");
    EXPECT_EQ(fresh->Data()->StringValue(), "x");
  }
  cf_test::ExpectRefusals();
  const auto frozen = CFMutableData::New(Ref<MemoryBlock>::New(1));
  const CallCounter counter;
  frozen->Append("more");
  EXPECT_EQ(counter.Refusals(), 1);
  EXPECT_EQ(frozen->Data()->Size(), 1);
}

}  // namespace
}  // namespace corefoundation_test
