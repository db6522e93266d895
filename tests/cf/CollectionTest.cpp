#include <gtest/gtest.h>

#include <functional>
#include <string>
#include <vector>

#include "tests/cf/LiveObjectCheck.h"
#include "tests/cf/Support.h"

namespace cf_test {
namespace {

const CFArrayCallBacks* ArrayCallBacks() {
  return static_cast<const CFArrayCallBacks*>(
      SymbolAddress("com.apple.CoreFoundation", "kCFTypeArrayCallBacks"));
}
const CFDictionaryKeyCallBacks* KeyCallBacks() {
  return static_cast<const CFDictionaryKeyCallBacks*>(
      SymbolAddress("com.apple.Carbon", "kCFTypeDictionaryKeyCallBacks"));
}
const CFDictionaryValueCallBacks* ValueCallBacks() {
  return static_cast<const CFDictionaryValueCallBacks*>(
      SymbolAddress("com.apple.Carbon", "kCFTypeDictionaryValueCallBacks"));
}

CFMutableDictionaryRef NewMutableDictionary() {
  return CFDictionaryCreateMutable(nullptr, 0, KeyCallBacks(), ValueCallBacks());
}

TEST(ArrayTest, StoringRetainsAndRemovalReleases) {
  const Owned<CFStringRef> a(NewString("a"));
  const Owned<CFStringRef> b(NewString("b"));
  const void* values[] = {a.get(), b.get(), a.get()};
  {
    const Owned<CFArrayRef> array(CFArrayCreate(nullptr, values, 3, ArrayCallBacks()));
    EXPECT_EQ(CFArrayGetCount(array), 3);
    EXPECT_EQ(CFGetRetainCount(a), 3);
    EXPECT_EQ(CFGetRetainCount(b), 2);
    EXPECT_EQ(CFArrayGetValueAtIndex(array, 1), b.get());  // the object itself, not a copy
    EXPECT_EQ(CFGetRetainCount(b), 2);                     // and not retained by the read
    const Owned<CFMutableArrayRef> copy(CFArrayCreateMutableCopy(nullptr, 0, array));
    EXPECT_EQ(CFGetRetainCount(a), 5);
    CFArrayRemoveValueAtIndex(copy, 0);
    CFArraySetValueAtIndex(copy, 0, a);  // replaces b
    EXPECT_EQ(CFGetRetainCount(a), 5);
    EXPECT_EQ(CFGetRetainCount(b), 2);
    CFArrayRemoveAllValues(copy);
    EXPECT_EQ(CFArrayGetCount(copy), 0);
    EXPECT_EQ(CFGetRetainCount(a), 3);
  }
  EXPECT_EQ(CFGetRetainCount(a), 1);
  EXPECT_EQ(CFGetRetainCount(b), 1);
}

TEST(ArrayTest, EqualArraysHoldEqualValuesInOrder) {
  const Owned<CFStringRef> a(NewString("a"));
  const Owned<CFStringRef> a2(NewString("a"));
  const Owned<CFStringRef> b(NewString("b"));
  const void* ab[] = {a.get(), b.get()};
  const void* a2b[] = {a2.get(), b.get()};
  const void* ba[] = {b.get(), a.get()};
  const Owned<CFArrayRef> x(CFArrayCreate(nullptr, ab, 2, ArrayCallBacks()));
  const Owned<CFArrayRef> y(CFArrayCreate(nullptr, a2b, 2, ArrayCallBacks()));
  const Owned<CFArrayRef> z(CFArrayCreate(nullptr, ba, 2, ArrayCallBacks()));
  const Owned<CFArrayRef> shorter(CFArrayCreate(nullptr, ab, 1, ArrayCallBacks()));
  EXPECT_TRUE(CFEqual(x, y));
  EXPECT_EQ(CFHash(x), CFHash(y));
  EXPECT_FALSE(CFEqual(x, z));
  EXPECT_FALSE(CFEqual(x, shorter));
  const std::string description = TakeText(CFCopyDescription(x));
  EXPECT_NE(description.find("count = 2"), std::string::npos) << description;
  EXPECT_NE(description.find("\"b\""), std::string::npos) << description;
}

TEST(ArrayTest, RefusedCallsChangeNothing) {
  ExpectRefusals();
  const Owned<CFStringRef> a(NewString("a"));
  const void* values[] = {a.get()};
  const Owned<CFArrayRef> frozen(CFArrayCreate(nullptr, values, 1, ArrayCallBacks()));
  const Owned<CFMutableArrayRef> one(CFArrayCreateMutable(nullptr, 1, ArrayCallBacks()));
  CFArrayAppendValue(one, a);
  const Owned<CFMutableArrayRef> unlimited(CFArrayCreateMutable(nullptr, 0, ArrayCallBacks()));
  const struct {
    const char* why;
    std::function<void()> call;
  } kRows[] = {
      {"negative count", [&] { EXPECT_EQ(CFArrayCreate(nullptr, values, -1, nullptr), nullptr); }},
      {"NULL values", [&] { EXPECT_EQ(CFArrayCreate(nullptr, nullptr, 1, nullptr), nullptr); }},
      {"index past the end", [&] { EXPECT_EQ(CFArrayGetValueAtIndex(frozen, 1), nullptr); }},
      {"negative index", [&] { EXPECT_EQ(CFArrayGetValueAtIndex(frozen, -1), nullptr); }},
      {"append to immutable",
       [&] { CFArrayAppendValue(const_cast<CFMutableArrayRef>(frozen.get()), a); }},
      {"append past capacity", [&] { CFArrayAppendValue(one, a); }},
      {"set past the end", [&] { CFArraySetValueAtIndex(one, 2, a); }},
      {"remove past the end", [&] { CFArrayRemoveValueAtIndex(one, 1); }},
      {"copy over capacity",
       [&] { EXPECT_EQ(CFArrayCreateMutableCopy(nullptr, 1, nullptr), nullptr); }},
      {"range outside", [&] { EXPECT_FALSE(CFArrayContainsValue(frozen, CFRangeMake(1, 1), a)); }},
      {"not an array",
       [&] { EXPECT_EQ(CFArrayGetCount(reinterpret_cast<CFArrayRef>(a.get())), 0); }},
      {"NULL stored by retaining callbacks",
       [&] {
         const void* none[] = {nullptr};
         EXPECT_EQ(CFArrayCreate(nullptr, none, 1, ArrayCallBacks()), nullptr);
       }},
      {"NULL appended", [&] { CFArrayAppendValue(unlimited, nullptr); }},
  };
  for (const auto& row : kRows) {
    const CallCounter counter;
    row.call();
    EXPECT_EQ(counter.Refusals(), 1) << row.why;
  }
  EXPECT_EQ(CFArrayGetCount(frozen), 1);
  EXPECT_EQ(CFArrayGetCount(one), 1);
  EXPECT_EQ(CFArrayGetCount(unlimited), 0);
  EXPECT_EQ(CFGetRetainCount(a), 3);
}

TEST(DictionaryTest, KeysAreFoundByValueAndEntriesOwnedByTheDictionary) {
  const Owned<CFStringRef> key(NewString("key"));
  const Owned<CFStringRef> sameKey(NewString("key"));
  const Owned<CFStringRef> value(NewString("value"));
  const Owned<CFStringRef> other(NewString("other"));
  {
    const Owned<CFMutableDictionaryRef> dictionary(NewMutableDictionary());
    CFDictionarySetValue(dictionary, key, value);
    EXPECT_EQ(CFGetRetainCount(key), 2);
    EXPECT_EQ(CFGetRetainCount(value), 2);
    EXPECT_TRUE(CFDictionaryContainsKey(dictionary, sameKey));
    EXPECT_TRUE(CFDictionaryContainsValue(dictionary, value));
    EXPECT_FALSE(CFDictionaryContainsValue(dictionary, other));
    // Setting by an equal key keeps the first key and replaces the value.
    CFDictionarySetValue(dictionary, sameKey, other);
    EXPECT_EQ(CFDictionaryGetCount(dictionary), 1);
    EXPECT_EQ(CFGetRetainCount(sameKey), 1);
    EXPECT_EQ(CFGetRetainCount(value), 1);
    const void* found = nullptr;
    EXPECT_TRUE(CFDictionaryGetValueIfPresent(dictionary, key, &found));
    EXPECT_EQ(found, other.get());
    EXPECT_EQ(CFDictionaryGetValue(dictionary, key), other.get());
    EXPECT_FALSE(CFDictionaryGetValueIfPresent(dictionary, value, &found));
    EXPECT_EQ(CFDictionaryGetValue(dictionary, value), nullptr);
    const Owned<CFDictionaryRef> copy(CFDictionaryCreateCopy(nullptr, dictionary));
    EXPECT_TRUE(CFEqual(copy, dictionary));
    EXPECT_EQ(CFHash(copy), CFHash(dictionary));
    CFDictionaryRemoveValue(dictionary, sameKey);
    EXPECT_EQ(CFDictionaryGetCount(dictionary), 0);
    EXPECT_EQ(CFGetRetainCount(key), 2);  // the copy's
    EXPECT_EQ(CFDictionaryGetValue(copy, key), other.get());
    CFDictionaryRemoveValue(dictionary, sameKey);  // absent: nothing happens
  }
  EXPECT_EQ(CFGetRetainCount(key), 1);
  EXPECT_EQ(CFGetRetainCount(other), 1);
}

TEST(DictionaryTest, RefusedCallsChangeNothing) {
  ExpectRefusals();
  const Owned<CFStringRef> a(NewString("a"));
  const void* keys[] = {a.get()};
  const Owned<CFDictionaryRef> frozen(
      CFDictionaryCreate(nullptr, keys, keys, 1, KeyCallBacks(), ValueCallBacks()));
  const Owned<CFMutableDictionaryRef> one(
      CFDictionaryCreateMutable(nullptr, 1, KeyCallBacks(), ValueCallBacks()));
  const Owned<CFStringRef> b(NewString("b"));
  CFDictionarySetValue(one, a, a);
  const auto mutableFrozen = const_cast<CFMutableDictionaryRef>(frozen.get());
  const struct {
    const char* why;
    std::function<void()> call;
  } kRows[] = {
      {"negative count",
       [&] { EXPECT_EQ(CFDictionaryCreate(nullptr, keys, keys, -1, nullptr, nullptr), nullptr); }},
      {"NULL values",
       [&] {
         EXPECT_EQ(CFDictionaryCreate(nullptr, keys, nullptr, 1, nullptr, nullptr), nullptr);
       }},
      {"negative capacity",
       [&] { EXPECT_EQ(CFDictionaryCreateMutable(nullptr, -1, nullptr, nullptr), nullptr); }},
      {"set in immutable", [&] { CFDictionarySetValue(mutableFrozen, b, b); }},
      {"remove from immutable", [&] { CFDictionaryRemoveValue(mutableFrozen, a); }},
      {"clear immutable", [&] { CFDictionaryRemoveAllValues(mutableFrozen); }},
      {"new key past capacity", [&] { CFDictionarySetValue(one, b, b); }},
      {"NULL dictionary", [&] { EXPECT_FALSE(CFDictionaryContainsKey(nullptr, a)); }},
      {"not a dictionary",
       [&] { EXPECT_EQ(CFDictionaryGetCount(reinterpret_cast<CFDictionaryRef>(a.get())), 0); }},
      {"NULL value stored by retaining callbacks", [&] { CFDictionarySetValue(one, a, nullptr); }},
  };
  for (const auto& row : kRows) {
    const CallCounter counter;
    row.call();
    EXPECT_EQ(counter.Refusals(), 1) << row.why;
  }
  CFDictionarySetValue(one, a, b);  // an existing key fits in a full dictionary
  EXPECT_EQ(CFDictionaryGetValue(one, a), b.get());
  EXPECT_EQ(CFDictionaryGetCount(frozen), 1);
  EXPECT_EQ(CFGetRetainCount(b), 2);
}

}  // namespace
}  // namespace cf_test
