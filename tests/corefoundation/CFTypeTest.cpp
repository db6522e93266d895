#include <array>
#include <cinttypes>
#include <cstdio>
#include <functional>
#include <limits>
#include <string>

#include "corefoundation/CFArray.h"
#include "corefoundation/CFBoolean.h"
#include "corefoundation/CFBundle.h"
#include "corefoundation/CFDate.h"
#include "corefoundation/CFMutableArray.h"
#include "corefoundation/CFMutableData.h"
#include "corefoundation/CFMutableDictionary.h"
#include "corefoundation/CFMutableString.h"
#include "corefoundation/CFNull.h"
#include "corefoundation/CFNumber.h"
#include "corefoundation/CFURL.h"
#include "tests/corefoundation/Support.h"

namespace corefoundation_test {
namespace {

using namespace CoreFoundation;

// The factory picks the class by the type id and by mutability: arrays are mutable for any
// mutability but 0; data, dictionaries and strings for 2 only. Handed over or borrowed, the
// count it keeps is the wrapper's.
TEST(CFTypeTest, NewObjectMakesTheClassOfItsTable) {
  using Made = std::array<const std::type_info*, 3>;  // for mutability 0, 1 and 2
  const auto same = [](const std::type_info& type) { return Made{&type, &type, &type}; };
  const CFTypeRef carbon =
      CFBundleGetBundleWithIdentifier(Owned<CFStringRef>(NewString("com.apple.Carbon")));
  const struct {
    std::function<CFTypeRef()> make;
    Made made;
  } kRows[] = {
      {[] { return NewString("s"); },
       {&typeid(CFString), &typeid(CFString), &typeid(CFMutableString)}},
      {[] { return NewData("d"); }, {&typeid(CFData), &typeid(CFData), &typeid(CFMutableData)}},
      {[] { return CFArrayCreate(nullptr, nullptr, 0, nullptr); },
       {&typeid(CFArray), &typeid(CFMutableArray), &typeid(CFMutableArray)}},
      {[] { return CFDictionaryCreate(nullptr, nullptr, nullptr, 0, nullptr, nullptr); },
       {&typeid(CFDictionary), &typeid(CFDictionary), &typeid(CFMutableDictionary)}},
      {[] { return CFNumberCreate(nullptr, kCFNumberSInt8Type, "\7"); }, same(typeid(CFNumber))},
      {[] { return CFDateCreate(nullptr, 0); }, same(typeid(CFDate))},
      {[] { return CFURLCreateWithString(nullptr, Owned<CFStringRef>(NewString("h:")), nullptr); },
       same(typeid(CFURL))},
      {[&] { return carbon; }, same(typeid(CFBundle))},
      {[] { return Symbol<CFNullRef>("kCFNull"); }, same(typeid(CFNull))},
      {NewError, same(typeid(CFType))},  // in no row of the table: a plain wrapper
      {CFLocaleGetSystem, same(typeid(CFType))},
  };
  for (const auto& row : kRows) {
    for (const std::int64_t mutability : {0, 1, 2}) {
      const Owned<CFTypeRef> ref(row.make());
      const std::type_info& expected = *row.made[static_cast<std::size_t>(mutability)];
      const CFIndex count = CFGetRetainCount(ref);
      const Ref<CFType> borrowed = CFType::NewObject(ref, false, mutability);
      CFRetain(ref);  // a count to hand over
      const Ref<CFType> owning = CFType::NewObject(ref, true, mutability);
      EXPECT_TRUE(typeid(*borrowed) == expected && typeid(*owning) == expected)
          << expected.name() << " " << mutability;
      EXPECT_EQ(borrowed->Reference(), ref.get());
      const bool constant = count == std::numeric_limits<CFIndex>::max();
      EXPECT_EQ(CFGetRetainCount(ref) - count, constant ? 0 : 2) << expected.name();
    }
  }
  // The booleans come back as the two shared wrappers, whoever pays for the count; null makes
  // an empty plain wrapper, not nil.
  const CFTypeRef yes = Symbol<CFBooleanRef>("kCFBooleanTrue");
  EXPECT_TRUE(CFType::NewObject(yes, false, 0) == CFBoolean::GetTrue());
  EXPECT_TRUE(CFType::NewObject(yes, true, 2) == CFBoolean::GetTrue());
  EXPECT_TRUE(CFType::NewObject(Symbol<CFBooleanRef>("kCFBooleanFalse"), false, 1) ==
              CFBoolean::GetFalse());
  EXPECT_TRUE(IsExactly<CFType>(CFType::NewObject(nullptr, false, 0)));
}

// The message: the reference in hexadecimal behind "&h", both ids in decimal.
TEST(CFTypeTest, AReferenceOfTheWrongTypeIsRefusedWithBothIds) {
  const Owned<CFStringRef> string(NewString("not data"));
  char hex[32];
  std::snprintf(hex, sizeof hex, "%" PRIXPTR, reinterpret_cast<std::uintptr_t>(string.get()));
  const auto expectMismatch = [&](const std::function<void()>& make, CFTypeID expected) {
    try {
      make();
      ADD_FAILURE() << "no exception";
    } catch (const toolkit::TypeMismatchException& e) {
      EXPECT_EQ(e.Message(), std::string("CFTypeRef &h") + hex + " has CFTypeID " +
                                 std::to_string(CFStringGetTypeID()) + "; CFTypeID " +
                                 std::to_string(expected) + " was expected.");
    }
  };
  expectMismatch([&] { CFData::New(string.get(), false); }, CFDataGetTypeID());
  expectMismatch([&] { CFMutableDictionary::New(string.get(), true); }, CFDictionaryGetTypeID());
  // A plain CFType expects id 0 and so refuses every reference.
  expectMismatch([&] { CFType::New(string.get(), false); }, 0);
  // Neither way took or gave back a count.
  EXPECT_EQ(CFGetRetainCount(string), 1);
  // Mutable and immutable share an id, so the test can't tell them apart.
  EXPECT_FALSE(Empty(CFMutableString::New(string.get(), false)));
}

// A row of the table below: a wrapper that holds nothing, and its class's own reads of it.
struct EmptyRow {
  Ref<CFType> wrapper;
  std::function<bool()> answersEmpty;
};

template <class T>
EmptyRow Row(const Ref<T>& wrapper, const std::function<bool(T&)>& reads) {
  return {wrapper, [wrapper, reads] { return reads(*wrapper); }};
}

// A wrapper that holds nothing answers 0, false, "" or nil, and changes nothing, without
// calling the platform.
TEST(CFTypeTest, EmptyWrappersAnswerWithoutThePlatform) {
  const Ref<CFType> key = CFString::New("key");
  const EmptyRow kRows[] = {
      Row<CFType>(CFType::New(), [](CFType&) { return true; }),
      Row<CFString>(CFString::New(""), [](CFString& s) { return s.StringValue() == ""; }),
      Row<CFData>(CFData::New(Ref<MemoryBlock>()), [](CFData& d) { return d.Data()->Size() == 0; }),
      Row<CFNumber>(CFNumber::New(nullptr, false),
                    [](CFNumber& n) { return n.Value().IsNull() && n.Int64Value() == 0; }),
      Row<CFBoolean>(CFBoolean::New(nullptr, false), [](CFBoolean& b) { return !bool(b); }),
      Row<CFArray>(CFArray::New(nullptr, false),
                   [](CFArray& a) { return a.Count() == 0 && a.Value(0) == nullptr; }),
      Row<CFMutableDictionary>(CFMutableDictionary::New(Ref<CFDictionary>()),
                               [&](CFMutableDictionary& d) {
                                 d.Value(key, key);
                                 return !d.HasKey(key) && d.Value(key).IsNil() && d.Count() == 0;
                               }),
      Row<CFBundle>(CFBundle::New(nullptr, false),
                    [](CFBundle& b) { return b.DataPointerNotRetained("kCFNull") == nullptr; }),
  };
  const std::size_t logged = DebugLogLines().size();
  const CallCounter counter;
  for (const auto& row : kRows) {
    const Ref<CFType>& w = row.wrapper;
    const std::string name = typeid(*w).name();
    EXPECT_TRUE(Empty(w) && w->Hash() == 0 && w->TypeID() == 0 && w->RefCount() == 0) << name;
    EXPECT_TRUE(w->Equals(nullptr) && w->Equals(kRows[0].wrapper)) << name;
    EXPECT_EQ(w->Description(), "") << name;
    w->Retain();
    w->Release();
    EXPECT_TRUE(row.answersEmpty()) << name;
  }
  EXPECT_EQ(counter.Calls(), 0);
  EXPECT_EQ(DebugLogLines().size(), logged);
}

// Compare tells wrappers apart by reference, Equals by value; Retain and Release move the
// platform's count only.
TEST(CFTypeTest, CompareIsIdentityAndEqualsIsValue) {
  const Owned<CFStringRef> ref(NewString("same"));
  const auto a = CFString::New(ref.get(), false);
  const auto c = CFString::New("same");
  EXPECT_EQ(a->Operator_Compare(CFString::New(ref.get(), false)), 0);
  EXPECT_NE(a->Operator_Compare(c), 0);
  EXPECT_EQ(a->Operator_Compare(nullptr), 1);
  EXPECT_TRUE(a->Equals(c) && a->Hash() == c->Hash());
  EXPECT_FALSE(a->Equals(CFString::New("other")) || a->Equals(nullptr) || a->Equals(CFType::New()));
  a->Retain();
  CFType::Release(ref.get());
  EXPECT_EQ(CFType::RefCount(ref.get()), 2);
  EXPECT_EQ(a->Description().Bytes(), cf_test::TakeText(CFCopyDescription(ref.get())));
}

}  // namespace
}  // namespace corefoundation_test
