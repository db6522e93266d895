#include <gtest/gtest.h>

#include <functional>
#include <limits>
#include <set>
#include <string>
#include <type_traits>
#include <vector>

#include "tests/cf/LiveObjectCheck.h"
#include "tests/cf/Support.h"

namespace cf_test {
namespace {

const auto* ArrayCallBacks() {
  return static_cast<const CFArrayCallBacks*>(
      SymbolAddress("com.apple.CoreFoundation", "kCFTypeArrayCallBacks"));
}

CFArrayRef NewArray(std::vector<CFTypeRef> values) {
  return CFArrayCreate(nullptr, values.data(), static_cast<CFIndex>(values.size()),
                       ArrayCallBacks());
}

// A new dictionary of the keys, each mapped to its value or, with no values, to itself.
CFDictionaryRef NewDictionary(std::vector<CFTypeRef> keys, std::vector<CFTypeRef> values = {}) {
  if (values.empty()) values = keys;
  return CFDictionaryCreate(nullptr, keys.data(), values.data(), static_cast<CFIndex>(keys.size()),
                            static_cast<const CFDictionaryKeyCallBacks*>(
                                SymbolAddress("com.apple.Carbon", "kCFTypeDictionaryKeyCallBacks")),
                            static_cast<const CFDictionaryValueCallBacks*>(SymbolAddress(
                                "com.apple.Carbon", "kCFTypeDictionaryValueCallBacks")));
}

CFTypeRef Carbon() {
  return CFBundleGetBundleWithIdentifier(Owned<CFStringRef>(NewString("com.apple.Carbon")));
}

CFURLRef NewURL(const char* text) {
  return CFURLCreateWithString(nullptr, Owned<CFStringRef>(NewString(text)), nullptr);
}

// Each type's class record gives its name and describes its objects by type and value; no
// two types share an id.
TEST(RuntimeTest, EachTypeHasItsOwnIdNameAndDescription) {
  const SInt32 answer = -42;
  const struct {
    CFTypeRef object;
    bool owned;
    const char* type;
    const char* value;
  } kRows[] = {
      {NewString("héllo"), true, "CFString", "contents = \"héllo\""},
      {NewData("\x01\xAB"), true, "CFData", "bytes = 0x01ab"},
      {CFNumberCreate(nullptr, kCFNumberSInt32Type, &answer), true, "CFNumber", "value = -42"},
      {Symbol<CFBooleanRef>("kCFBooleanTrue"), false, "CFBoolean", "value = true"},
      {CFDateCreate(nullptr, 86400.0 * 366 + 3661), true, "CFDate", "2002-01-02 01:01:01 +0000"},
      {NewArray({}), true, "CFArray", "count = 0"},
      {NewDictionary({}), true, "CFDictionary", "count = 0"},
      {Symbol<CFNullRef>("kCFNull"), false, "CFNull", ""},
      {Carbon(), false, "CFBundle", "identifier = com.apple.Carbon"},
      {NewURL("http://h/"), true, "CFURL", "string = http://h/"},
      {CFLocaleGetSystem(), false, "CFLocale", "identifier = ''"},
  };
  std::set<CFTypeID> ids;
  for (const auto& row : kRows) {
    const CFTypeID id = CFGetTypeID(row.object);
    EXPECT_EQ(TakeText(CFCopyTypeIDDescription(id)), row.type);
    EXPECT_TRUE(id != 0 && ids.insert(id).second) << row.type << ": an id of its own";
    const std::string description = TakeText(CFCopyDescription(row.object));
    EXPECT_EQ(description.rfind(std::string("<") + row.type + " ", 0), 0u) << description;
    EXPECT_NE(description.find(row.value), std::string::npos) << description;
    if (row.owned) CFRelease(row.object);
  }
  EXPECT_EQ(CFCopyTypeIDDescription(0), nullptr);
  EXPECT_EQ(CFCopyTypeIDDescription(*ids.rbegin() + 1), nullptr);
}

TEST(RuntimeTest, ConstantsAreNeverFreedAndTheirCountNeverMoves) {
  const CFTypeRef constants[] = {Symbol<CFBooleanRef>("kCFBooleanTrue"),
                                 Symbol<CFNumberRef>("kCFNumberNaN"), Symbol<CFNullRef>("kCFNull"),
                                 CFLocaleGetSystem(), Carbon()};
  const std::int64_t live = cf::LiveObjects();
  for (CFTypeRef constant : constants) {
    ASSERT_NE(constant, nullptr);
    EXPECT_EQ(CFGetRetainCount(constant), std::numeric_limits<CFIndex>::max());
    for (int i = 0; i < 3; ++i)
      CFRelease(constant);
    CFRetain(constant);
    EXPECT_EQ(CFGetRetainCount(constant), std::numeric_limits<CFIndex>::max());
    EXPECT_NE(CFGetTypeID(constant), 0u);  // still alive after more releases than retains
  }
  EXPECT_EQ(cf::LiveObjects(), live);
}

// Every call that the platform would not survive is refused: nothing changes, one refusal is
// counted, and the answer is 0, false or NULL.
TEST(RuntimeTest, ArgumentsThePlatformDoesNotAcceptAreRefused) {
  ExpectRefusals();
  const Owned<CFStringRef> string(NewString("abc"));
  const Owned<CFDataRef> data(NewData("abc"));
  const Owned<CFDictionaryRef> dict(NewDictionary({string}));
  const Owned<CFMutableStringRef> text(CFStringCreateMutable(nullptr, 3));
  CFStringAppend(text, string);
  const Owned<CFMutableArrayRef> full(CFArrayCreateMutable(nullptr, 1, ArrayCallBacks()));
  CFArrayAppendValue(full, string);
  const Owned<CFMutableDataRef> bytes(CFDataCreateMutable(nullptr, 4));
  CFDataAppendBytes(bytes, reinterpret_cast<const UInt8*>("abc"), 3);
  const Owned<CFURLRef> url(NewURL("http://h/"));
  CFDataRef freed = NewData("gone");
  CFRelease(freed);
  const auto x = reinterpret_cast<const UInt8*>("xy");
  UInt8 buffer[8] = {};
  const auto mut = [](auto ref) {
    return const_cast<std::remove_const_t<std::remove_pointer_t<decltype(ref)>>*>(ref);
  };
  const auto none = [](auto call) { return [call] { return call(), true; }; };
  const struct {
    const char* why;
    std::function<bool()> call;  // true when the answer is the refusal's
  } kRows[] = {
      {"retain NULL", [] { return CFRetain(nullptr) == nullptr; }},
      {"type of a freed object", [&] { return CFGetTypeID(freed) == 0; }},
      {"release a freed object", none([&] { CFRelease(freed); })},
      {"equal with NULL", [&] { return !CFEqual(string, nullptr); }},
      {"data as a string", [&] { return CFStringGetLength(CFStringRef(data.get())) == 0; }},
      {"append to an immutable string", none([&] { CFStringAppend(mut(string.get()), string); })},
      {"append past a string's maximum length", none([&] { CFStringAppend(text, string); })},
      {"number of no kind", [] { return !CFNumberCreate(nullptr, CFNumberType{17}, ""); }},
      {"array index past the end", [&] { return !CFArrayGetValueAtIndex(full, 1); }},
      {"append to a full array", none([&] { CFArrayAppendValue(full, string); })},
      {"set past the end of an array", none([&] { CFArraySetValueAtIndex(full, 2, string); })},
      {"NULL kept by retaining callbacks", none([&] { CFArraySetValueAtIndex(full, 0, nullptr); })},
      {"set in an immutable dictionary",
       none([&] { CFDictionarySetValue(mut(dict.get()), data, data); })},
      {"append to immutable data", none([&] { CFDataAppendBytes(mut(data.get()), x, 1); })},
      {"grow data past its capacity", none([&] { CFDataAppendBytes(bytes, x, 2); })},
      {"append from NULL", none([&] { CFDataAppendBytes(bytes, nullptr, 1); })},
      {"delete past the end", none([&] { CFDataDeleteBytes(bytes, CFRangeMake(2, 2)); })},
      {"negative length", none([&] { CFDataReplaceBytes(bytes, CFRangeMake(1, -1), x, 1); })},
      {"read past the end", none([&] { CFDataGetBytes(data, CFRangeMake(1, 3), buffer); })},
      {"URL of NULL", [] { return !CFURLCreateWithString(nullptr, nullptr, nullptr); }},
      {"path into no buffer",
       [&] { return !CFURLGetFileSystemRepresentation(url, 1, nullptr, 8); }},
  };
  for (const auto& row : kRows) {
    const CallCounter counter;
    EXPECT_TRUE(row.call()) << row.why;
    EXPECT_EQ(counter.Refusals(), 1) << row.why;
  }
  EXPECT_EQ(Text(string) + Text(text), "abcabc");
  EXPECT_EQ(CFDataGetLength(data) + CFDataGetLength(bytes), 6);
  EXPECT_EQ(CFArrayGetCount(full) + CFDictionaryGetCount(dict) + buffer[0], 2);
}

TEST(RuntimeTest, EqualityIsByValueWithinATypeAndHashesAgree) {
  const double one = 1.0;
  const SInt8 oneByte = 1;
  const SInt64 big = (SInt64{1} << 53) + 1;
  const double bigAsDouble = 9007199254740992.0;  // 2^53, the nearest double to `big`
  const Owned<CFStringRef> a(NewString("a"));
  const Owned<CFStringRef> a2(NewString("a"));
  const Owned<CFStringRef> b(NewString("b"));
  const void* twoKeys[] = {a.get(), a2.get()};
  const void* twoValues[] = {b.get(), b.get()};
  const struct {
    const char* why;
    CFTypeRef x;
    CFTypeRef y;
    bool equal;
  } kRows[] = {
      {"strings of one text", NewString("grüße"), NewString("grüße"), true},
      {"data of the same bytes", NewData("\x01\x02"), NewData("\x01\x02"), true},
      {"a string and data of its bytes", NewString("ab"), NewData("ab"), false},
      {"1 as a byte and as a double", CFNumberCreate(nullptr, kCFNumberSInt8Type, &oneByte),
       CFNumberCreate(nullptr, kCFNumberFloat64Type, &one), true},
      {"2^53 + 1 and the double next to it", CFNumberCreate(nullptr, kCFNumberSInt64Type, &big),
       CFNumberCreate(nullptr, kCFNumberFloat64Type, &bigAsDouble), false},
      {"arrays of equal values", NewArray({a, b}), NewArray({a2, b}), true},
      {"an array and its start", NewArray({a, b}), NewArray({a}), false},
      {"dictionaries of equal entries", NewDictionary({a, b}), NewDictionary({b, a2}), true},
      {"a dictionary and a part of it", NewDictionary({a, b}), NewDictionary({a}), false},
      // Keys by identity: two keys "a", each found in the other by value, and one value.
      {"dictionaries of two sizes, every entry found",
       CFDictionaryCreate(nullptr, twoKeys, twoValues, 2, nullptr, nullptr),
       NewDictionary({a}, {b}), false},
  };
  for (const auto& row : kRows) {
    const Owned<CFTypeRef> x(row.x);
    const Owned<CFTypeRef> y(row.y);
    EXPECT_EQ(CFEqual(x, y), row.equal) << row.why;
    EXPECT_EQ(CFEqual(y, x), row.equal) << row.why;
    EXPECT_TRUE(CFEqual(x, x)) << row.why;
    EXPECT_TRUE(!row.equal || CFHash(x) == CFHash(y)) << row.why;
  }
}

}  // namespace
}  // namespace cf_test
