#include <string>

#include "corefoundation/CFData.h"
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

TEST(CFDataTest, BytesAreCopiedInAndOut) {
  auto block = Ref<MemoryBlock>::New(3);
  block->SetByte(1, 0xFF);
  const auto data = CFData::New(block);
  block->SetByte(0, 0x55);  // the wrapper holds a copy
  const Ref<MemoryBlock> first = data->Data();
  EXPECT_FALSE(first == data->Data());
  EXPECT_EQ(first->StringValue().Bytes(), "\x00\xFF\x00"s);
  EXPECT_EQ(CFData::New(Ref<MemoryBlock>::New(0))->Data()->Size(), 0);
}

}  // namespace
}  // namespace corefoundation_test
