#include <gtest/gtest.h>

#include <cmath>
#include <string>

#include "tests/cf/LiveObjectCheck.h"
#include "tests/cf/Support.h"

namespace cf_test {
namespace {

CFBundleRef BundleWithID(const char* id) {
  return CFBundleGetBundleWithIdentifier(Owned<CFStringRef>(NewString(id)));
}

TEST(BundleTest, TheFrameworkBundlesAreFoundByIdentifier) {
  for (const char* id : {"com.apple.CoreFoundation", "com.apple.Carbon"}) {
    const CFBundleRef bundle = BundleWithID(id);
    ASSERT_NE(bundle, nullptr) << id;
    EXPECT_EQ(CFGetTypeID(bundle), CFBundleGetTypeID());
    EXPECT_EQ(BundleWithID(id), bundle) << id;  // one bundle, not one per lookup
    EXPECT_EQ(Text(CFBundleGetIdentifier(bundle)), id);
  }
  EXPECT_NE(BundleWithID("com.apple.Carbon"), BundleWithID("com.apple.CoreFoundation"));
  for (const char* unknown : {"com.apple.carbon", "com.apple.Carbon ", "", "com.example"})
    EXPECT_EQ(BundleWithID(unknown), nullptr) << "'" << unknown << "'";
}

TEST(BundleTest, BothBundlesAnswerTheConstantsByName) {
  for (const char* id : {"com.apple.CoreFoundation", "com.apple.Carbon"}) {
    const auto read = [id](const char* name, auto value) {
      const void* address = SymbolAddress(id, name);
      EXPECT_NE(address, nullptr) << id << " " << name;
      if (address != nullptr) std::memcpy(&value, address, sizeof value);
      return value;
    };
    const auto yes = read("kCFBooleanTrue", CFBooleanRef{});
    const auto no = read("kCFBooleanFalse", CFBooleanRef{});
    EXPECT_TRUE(CFBooleanGetValue(yes));
    EXPECT_FALSE(CFBooleanGetValue(no));
    EXPECT_EQ(CFGetTypeID(no), CFBooleanGetTypeID());
    double value = 0;
    CFNumberGetValue(read("kCFNumberNaN", CFNumberRef{}), kCFNumberFloat64Type, &value);
    EXPECT_TRUE(std::isnan(value));
    CFNumberGetValue(read("kCFNumberNegativeInfinity", CFNumberRef{}), kCFNumberFloat64Type,
                     &value);
    EXPECT_EQ(value, -INFINITY);
    CFNumberGetValue(read("kCFNumberPositiveInfinity", CFNumberRef{}), kCFNumberFloat64Type,
                     &value);
    EXPECT_EQ(value, INFINITY);
    EXPECT_EQ(CFGetTypeID(read("kCFNull", CFNullRef{})), CFNullGetTypeID());
    EXPECT_EQ(read("kCFAbsoluteTimeIntervalSince1904", CFTimeInterval{}), 3061152000.0);
    EXPECT_EQ(Text(read("kCFErrorDomainPOSIX", CFStringRef{})), "NSPOSIXErrorDomain");
  }
  EXPECT_EQ(SymbolAddress("com.apple.Carbon", "kCFNull"),
            SymbolAddress("com.apple.CoreFoundation", "kCFNull"));
}

// The callback structures retain on store, release on removal and compare and hash by value.
TEST(BundleTest, CallbackStructuresCountAndCompareAsCollectionsNeed) {
  const auto* array = static_cast<const CFArrayCallBacks*>(
      SymbolAddress("com.apple.CoreFoundation", "kCFTypeArrayCallBacks"));
  const auto* keys = static_cast<const CFDictionaryKeyCallBacks*>(
      SymbolAddress("com.apple.Carbon", "kCFTypeDictionaryKeyCallBacks"));
  const auto* values = static_cast<const CFDictionaryValueCallBacks*>(
      SymbolAddress("com.apple.Carbon", "kCFTypeDictionaryValueCallBacks"));
  ASSERT_TRUE(array != nullptr && keys != nullptr && values != nullptr);
  const Owned<CFStringRef> a(NewString("key"));
  const Owned<CFStringRef> b(NewString("key"));
  const auto retains = {array->retain, keys->retain, values->retain};
  const auto releases = {array->release, keys->release, values->release};
  for (auto retain : retains) {
    EXPECT_EQ(retain(nullptr, a), a.get());
    EXPECT_EQ(CFGetRetainCount(a), 2);
    CFRelease(a);
  }
  for (auto release : releases) {
    CFRetain(a);
    release(nullptr, a);
    EXPECT_EQ(CFGetRetainCount(a), 1);
  }
  for (auto equal : {array->equal, keys->equal, values->equal})
    EXPECT_TRUE(equal(a, b));
  EXPECT_EQ(keys->hash(a), keys->hash(b));
  EXPECT_EQ(TakeText(array->copyDescription(a)), TakeText(CFCopyDescription(a)));
}

}  // namespace
}  // namespace cf_test
