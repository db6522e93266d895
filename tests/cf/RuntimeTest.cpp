#include <gtest/gtest.h>

#include <functional>
#include <limits>
#include <set>
#include <string>

#include "tests/cf/LiveObjectCheck.h"
#include "tests/cf/Support.h"

namespace cf_test {
namespace {

TEST(RuntimeTest, EachTypeHasItsOwnIdAndName) {
  const struct {
    CFTypeID (*getTypeID)();
    const char* name;
  } kTypes[] = {
      {CFArrayGetTypeID, "CFArray"},   {CFBooleanGetTypeID, "CFBoolean"},
      {CFBundleGetTypeID, "CFBundle"}, {CFDataGetTypeID, "CFData"},
      {CFDateGetTypeID, "CFDate"},     {CFDictionaryGetTypeID, "CFDictionary"},
      {CFErrorGetTypeID, "CFError"},   {CFNullGetTypeID, "CFNull"},
      {CFNumberGetTypeID, "CFNumber"}, {CFStringGetTypeID, "CFString"},
      {CFURLGetTypeID, "CFURL"},       {CFLocaleGetTypeID, "CFLocale"},
  };
  std::set<CFTypeID> seen;
  for (const auto& type : kTypes) {
    const CFTypeID id = type.getTypeID();
    EXPECT_NE(id, 0u) << type.name;
    EXPECT_TRUE(seen.insert(id).second) << type.name << " shares its id";
    EXPECT_EQ(TakeText(CFCopyTypeIDDescription(id)), type.name);
  }
  // No type has id 0, and an id beyond the types names none.
  EXPECT_EQ(CFCopyTypeIDDescription(0), nullptr);
  EXPECT_EQ(CFCopyTypeIDDescription(*seen.rbegin() + 1), nullptr);
}

TEST(RuntimeTest, ConstantsAreNeverFreedAndTheirCountNeverMoves) {
  const CFTypeRef constants[] = {
      Symbol<CFBooleanRef>("kCFBooleanTrue"), Symbol<CFNumberRef>("kCFNumberNaN"),
      Symbol<CFNullRef>("kCFNull"), CFLocaleGetSystem(),
      CFBundleGetBundleWithIdentifier(Owned<CFStringRef>(NewString("com.apple.Carbon")))};
  const std::int64_t live = cf::LiveObjects();
  for (CFTypeRef constant : constants) {
    ASSERT_NE(constant, nullptr);
    const CFIndex count = CFGetRetainCount(constant);
    EXPECT_EQ(count, std::numeric_limits<CFIndex>::max());
    for (int i = 0; i < 3; ++i)
      CFRelease(constant);
    CFRetain(constant);
    EXPECT_EQ(CFGetRetainCount(constant), count);
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
  CFDataRef freed = NewData("gone");
  CFRelease(freed);
  const struct {
    const char* why;
    std::function<bool()> call;  // true when the answer is the refusal's
  } kRows[] = {
      {"retain NULL", [] { return CFRetain(nullptr) == nullptr; }},
      {"type of a freed object", [&] { return CFGetTypeID(freed) == 0; }},
      {"release a freed object", [&] { return CFRelease(freed), true; }},
      {"equal with NULL", [&] { return !CFEqual(string, nullptr); }},
      {"data as a string",
       [&] { return CFStringGetLength(reinterpret_cast<CFStringRef>(data.get())) == 0; }},
      {"append to an immutable string",
       [&] {
         CFStringAppend(const_cast<CFMutableStringRef>(string.get()), string);
         return Text(string) == "abc";
       }},
      {"append to an immutable data object",
       [&] {
         CFDataAppendBytes(const_cast<CFMutableDataRef>(data.get()),
                           reinterpret_cast<const UInt8*>("x"), 1);
         return Bytes(data) == "abc";
       }},
      {"number of no kind",
       [] { return CFNumberCreate(nullptr, CFNumberType{17}, "") == nullptr; }},
      {"bundle with a NULL identifier",
       [] { return CFBundleGetBundleWithIdentifier(nullptr) == nullptr; }},
  };
  for (const auto& row : kRows) {
    const CallCounter counter;
    EXPECT_TRUE(row.call()) << row.why;
    EXPECT_EQ(counter.Refusals(), 1) << row.why;
  }
}

TEST(RuntimeTest, EqualityIsByValueWithinATypeAndHashesAgree) {
  const double one = 1.0;
  const SInt8 oneByte = 1;
  const SInt64 big = (SInt64{1} << 53) + 1;
  const double bigAsDouble = 9007199254740992.0;  // 2^53, the nearest double to `big`
  const struct {
    const char* why;
    CFTypeRef a;
    CFTypeRef b;
    bool equal;
  } kRows[] = {
      {"strings of one text", NewString("grüße"), NewString("grüße"), true},
      {"strings differing in case", NewString("a"), NewString("A"), false},
      {"data of the same bytes", NewData("\x01\x02"), NewData("\x01\x02"), true},
      {"a string and data of its bytes", NewString("ab"), NewData("ab"), false},
      {"1 as a byte and as a double", CFNumberCreate(nullptr, kCFNumberSInt8Type, &oneByte),
       CFNumberCreate(nullptr, kCFNumberFloat64Type, &one), true},
      {"2^53 + 1 and the double next to it", CFNumberCreate(nullptr, kCFNumberSInt64Type, &big),
       CFNumberCreate(nullptr, kCFNumberFloat64Type, &bigAsDouble), false},
      {"dates of one moment", CFDateCreate(nullptr, 5.25), CFDateCreate(nullptr, 5.25), true},
      {"errors of one domain and code",
       CFErrorCreate(nullptr, Owned<CFStringRef>(NewString("d")), 7, nullptr),
       CFErrorCreate(nullptr, Owned<CFStringRef>(NewString("d")), 7, nullptr), true},
      {"errors of two codes",
       CFErrorCreate(nullptr, Owned<CFStringRef>(NewString("d")), 7, nullptr),
       CFErrorCreate(nullptr, Owned<CFStringRef>(NewString("d")), 8, nullptr), false},
  };
  for (const auto& row : kRows) {
    const Owned<CFTypeRef> a(row.a);
    const Owned<CFTypeRef> b(row.b);
    EXPECT_EQ(CFEqual(a, b), row.equal) << row.why;
    EXPECT_EQ(CFEqual(b, a), row.equal) << row.why;
    EXPECT_TRUE(CFEqual(a, a)) << row.why;
    if (row.equal) {
      EXPECT_EQ(CFHash(a), CFHash(b)) << row.why;
    }
  }
  EXPECT_FALSE(
      CFEqual(Symbol<CFBooleanRef>("kCFBooleanTrue"), Symbol<CFBooleanRef>("kCFBooleanFalse")));
}

// A description names the type, the object's address and its value.
TEST(RuntimeTest, DescriptionsNameTypeAddressAndValue) {
  const SInt32 answer = -42;
  const struct {
    CFTypeRef object;
    bool owned;
    const char* type;
    const char* value;
  } kRows[] = {
      {NewString("héllo"), true, "CFString", "contents = \"héllo\""},
      {NewData("\x01\xAB"), true, "CFData", "bytes = 0x01ab"},
      {CFNumberCreate(nullptr, kCFNumberSInt32Type, &answer), true, "CFNumber",
       "value = -42, type = kCFNumberSInt32Type"},
      {Symbol<CFNumberRef>("kCFNumberNegativeInfinity"), false, "CFNumber", "-infinity"},
      {Symbol<CFBooleanRef>("kCFBooleanTrue"), false, "CFBoolean", "value = true"},
      {CFDateCreate(nullptr, 86400.0 * 366 + 3661), true, "CFDate", "2002-01-02 01:01:01 +0000"},
      {CFErrorCreate(nullptr, Owned<CFStringRef>(NewString("dom")), 3, nullptr), true, "CFError",
       "domain = dom, code = 3"},
      {Symbol<CFNullRef>("kCFNull"), false, "CFNull", ""},
      {CFBundleGetBundleWithIdentifier(Owned<CFStringRef>(NewString("com.apple.Carbon"))), false,
       "CFBundle", "com.apple.Carbon"},
  };
  for (const auto& row : kRows) {
    const std::string description = TakeText(CFCopyDescription(row.object));
    char address[32];
    std::snprintf(address, sizeof address, "%p", row.object);
    EXPECT_EQ(description.rfind(std::string("<") + row.type + " " + address + ">", 0), 0u)
        << description;
    EXPECT_NE(description.find(row.value), std::string::npos) << description;
    if (row.owned) CFRelease(row.object);
  }
}

TEST(RuntimeTest, ShowWritesAStringsTextOrADescription) {
  const Owned<CFStringRef> string(NewString("plain text"));
  const Owned<CFDataRef> data(NewData("\x7f"));
  testing::internal::CaptureStderr();
  CFShow(string);
  CFShow(data);
  CFShow(nullptr);
  const std::string shown = testing::internal::GetCapturedStderr();
  EXPECT_EQ(shown, "plain text\n" + TakeText(CFCopyDescription(data)) + "\n(null)\n");
}

}  // namespace
}  // namespace cf_test
