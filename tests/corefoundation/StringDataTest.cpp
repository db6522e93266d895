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

TEST(ToolkitCFStringRefTest, EachValueHoldsOneCountOfItsOwn) {
  toolkit::CFStringRef first = toolkit::StringToCFString("counted");
  const ::CFStringRef string = first.Get();
  EXPECT_EQ(CFGetRetainCount(string), 1);
  {
    const toolkit::CFStringRef copy = first;
    EXPECT_EQ(CFGetRetainCount(string), 2);
    toolkit::CFStringRef moved = std::move(first);
    EXPECT_TRUE(first.IsNull());  // NOLINT: a moved-from value is null
    EXPECT_EQ(CFGetRetainCount(string), 2);
    moved = toolkit::StringToCFString("another");  // gives its count back
    EXPECT_EQ(CFGetRetainCount(string), 1);
  }
  EXPECT_TRUE(toolkit::CFStringRef().IsNull());
}

TEST(ToolkitCFStringRefTest, ConversionsKeepEveryByteOfText) {
  for (const std::string& text :
       {""s, "plain"s, "a\0b"s, "gr\xC3\xBC\xC3\x9F"s, "\xF0\x9F\x98\x80"s}) {
    const String back = toolkit::StringFromCFString(toolkit::StringToCFString(text));
    EXPECT_EQ(back.Bytes(), text);
    EXPECT_EQ(back.Encoding(), toolkit::TextEncoding::UTF8);
  }
  EXPECT_TRUE(toolkit::StringToCFString("\xC3").IsNull());
  EXPECT_TRUE(
      toolkit::StringToCFString(String("caf\xC3\xA9", toolkit::TextEncoding::ASCII)).IsNull());
  EXPECT_EQ(toolkit::StringFromCFString(toolkit::CFStringRef()), "");
}

TEST(CFStringTest, TheEmptyStringMakesAnEmptyWrapper) {
  const auto empty = CFString::New("");
  EXPECT_TRUE(Empty(empty));
  EXPECT_EQ(empty->StringValue(), "");
  const auto mutableEmpty = CFMutableString::New("");
  ASSERT_FALSE(Empty(mutableEmpty));
  EXPECT_EQ(CFStringGetLength(static_cast<::CFStringRef>(mutableEmpty->Reference())), 0);
  // Text that makes no string also leaves the wrapper empty.
  EXPECT_TRUE(Empty(CFString::New(String("\xFF"))));
}

TEST(CFStringTest, ValuesComeOutAsCopiesWithCountsOfTheirOwn) {
  const auto string = CFString::New(
      "gr\xC3\xBC\xC3\x9F"
      "e");
  EXPECT_EQ(string->RefCount(), 1);
  EXPECT_EQ(string->StringValue(),
            "gr\xC3\xBC\xC3\x9F"
            "e");
  EXPECT_EQ(string->VariantValue(), Variant("gr\xC3\xBC\xC3\x9F"
                                            "e"));
  {
    const auto ref = static_cast<toolkit::CFStringRef>(*string);
    EXPECT_EQ(ref.Get(), string->Reference());
    EXPECT_EQ(string->RefCount(), 2);
    // Made from a counted value, a wrapper takes a count of its own.
    const auto again = CFString::New(ref);
    EXPECT_EQ(again->Reference(), string->Reference());
    EXPECT_EQ(string->RefCount(), 3);
  }
  EXPECT_EQ(string->RefCount(), 1);
  EXPECT_TRUE(Empty(CFString::New(toolkit::StringToCFString(""))));
}

TEST(CFMutableStringTest, TextIsBuiltUpAndMapped) {
  const auto string = CFMutableString::New(
      "Stra\xC3\x9F"
      "e ");
  string->Append("\xC3\x84pfel");
  EXPECT_EQ(string->StringValue(),
            "Stra\xC3\x9F"
            "e \xC3\x84pfel");
  string->ToUppercase();
  EXPECT_EQ(string->StringValue(), "STRASSE \xC3\x84PFEL");
  string->ToLowercase();
  EXPECT_EQ(string->StringValue(), "strasse \xC3\xA4pfel");
  string->Append(String("\xFF"));  // makes no string: nothing to append
  string->Append("");
  EXPECT_EQ(string->StringValue(), "strasse \xC3\xA4pfel");
  const auto limited = CFMutableString::New(std::int64_t{3});
  limited->Append("abc");
  EXPECT_EQ(limited->StringValue(), "abc");
  EXPECT_TRUE(IsExactly<CFMutableString>(CFType::NewObject(limited->Reference(), false, 2)));
}

TEST(CFDataTest, BytesAreCopiedInAndOut) {
  auto block = Ref<MemoryBlock>::New(3);
  block->SetByte(0, 0x00);
  block->SetByte(1, 0xFF);
  block->SetByte(2, 0x10);
  const auto data = CFData::New(block);
  block->SetByte(0, 0x55);  // the wrapper holds a copy
  const Ref<MemoryBlock> first = data->Data();
  const Ref<MemoryBlock> second = data->Data();
  EXPECT_FALSE(first == second);
  EXPECT_EQ(first->StringValue().Bytes(), "\x00\xFF\x10"s);
  EXPECT_EQ(second->StringValue(), first->StringValue());
  const auto variant = data->VariantValue().As<MemoryBlock>();
  ASSERT_FALSE(variant.IsNil());
  EXPECT_EQ(variant->StringValue().Bytes(), "\x00\xFF\x10"s);
  // A nil block leaves the wrapper empty, a block of size 0 makes an empty object.
  EXPECT_TRUE(Empty(CFData::New(Ref<MemoryBlock>())));
  const auto none = CFData::New(Ref<MemoryBlock>::New(0));
  EXPECT_FALSE(Empty(none));
  EXPECT_EQ(none->Data()->Size(), 0);
}

TEST(CFMutableDataTest, ChangesReplaceByteRanges) {
  const std::string bytes = "XYZ";
  const struct {
    const char* why;
    void (*change)(CFMutableData&, const std::string&);
    std::string expected;
  } kRows[] = {
      {"append bytes", [](CFMutableData& d, const std::string& b) { d.Append(b.data(), 2); },
       "abcdefXY"},
      {"append a String, no terminator",
       [](CFMutableData& d, const std::string&) { d.Append("gh"); }, "abcdefgh"},
      {"append the empty String", [](CFMutableData& d, const std::string&) { d.Append(""); },
       "abcdef"},
      {"append from null", [](CFMutableData& d, const std::string&) { d.Append(nullptr, 3); },
       "abcdef"},
      {"delete", [](CFMutableData& d, const std::string&) { d.Delete(1, 3); }, "aef"},
      {"replace", [](CFMutableData& d, const std::string& b) { d.Replace(2, 1, b.data(), 3); },
       "abXYZdef"},
      {"replace with null deletes",
       [](CFMutableData& d, const std::string&) { d.Replace(0, 2, nullptr, 5); }, "cdef"},
      {"offsets are cut to 32 bits",
       [](CFMutableData& d, const std::string&) { d.Delete((std::int64_t{1} << 32) + 4, 2); },
       "abcd"},
  };
  for (const auto& row : kRows) {
    const auto data = CFMutableData::New();
    data->Append("abcdef");
    row.change(*data, bytes);
    EXPECT_EQ(data->Data()->StringValue().Bytes(), row.expected) << row.why;
  }
}

TEST(CFMutableDataTest, CopiesAreMutableAndIndependent) {
  const auto source = CFData::New(Ref<MemoryBlock>::New(2));
  const auto copy = CFMutableData::New(source);
  copy->Append("!");
  EXPECT_EQ(copy->Data()->Size(), 3);
  EXPECT_EQ(source->Data()->Size(), 2);
  for (const Ref<CFData>& none : {Ref<CFData>(), CFData::New(Ref<MemoryBlock>())}) {
    const auto fresh = CFMutableData::New(none);
    ASSERT_FALSE(Empty(fresh));
    fresh->Append("x");
    EXPECT_EQ(fresh->Data()->StringValue(), "x");
  }
  EXPECT_TRUE(IsExactly<CFMutableData>(CFType::NewObject(copy->Reference(), false, 2)));
}

TEST(CFMutableDataTest, FromABlockItHoldsAnImmutableCopy) {
  cf_test::ExpectRefusals();
  const auto data = CFMutableData::New(Ref<MemoryBlock>::New(1));
  const CallCounter counter;
  data->Append("more");
  EXPECT_EQ(counter.Refusals(), 1);
  EXPECT_EQ(data->Data()->Size(), 1);
}

}  // namespace
}  // namespace corefoundation_test
