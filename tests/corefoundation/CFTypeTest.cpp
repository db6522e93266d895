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
#include "corefoundation/CFError.h"
#include "corefoundation/CFMutableArray.h"
#include "corefoundation/CFMutableData.h"
#include "corefoundation/CFMutableDictionary.h"
#include "corefoundation/CFMutableString.h"
#include "corefoundation/CFNull.h"
#include "corefoundation/CFNumber.h"
#include "corefoundation/CFURL.h"
#include "platform/toolkit/FolderItem.h"
#include "tests/corefoundation/Support.h"

namespace corefoundation_test {
namespace {

using namespace CoreFoundation;

CFTypeRef NewNumber() {
  const SInt32 value = 7;
  return CFNumberCreate(nullptr, kCFNumberSInt32Type, &value);
}

CFTypeRef NewURL() {
  return CFURLCreateWithString(nullptr, Owned<CFStringRef>(NewString("http://h/")), nullptr);
}

// Classes that take a reference of count 1, with what makes one.
TEST(CFTypeTest, AWrapperOwnsExactlyOneCountForItsLife) {
  const struct {
    const char* name;
    std::function<CFTypeRef()> make;
    std::function<Ref<CFType>(Ptr, bool)> wrap;
  } kRows[] = {
      {"CFString", [] { return NewString("s"); },
       [](Ptr r, bool o) { return CFString::New(r, o); }},
      {"CFMutableData", [] { return CFDataCreateMutable(nullptr, 0); },
       [](Ptr r, bool o) { return CFMutableData::New(r, o); }},
      {"CFNumber", NewNumber, [](Ptr r, bool o) { return CFNumber::New(r, o); }},
      {"CFError", NewError, [](Ptr r, bool o) { return CFError::New(r, o); }},
      {"CFURL", NewURL, [](Ptr r, bool o) { return CFURL::New(r, o); }},
  };
  for (const auto& row : kRows) {
    const std::int64_t live = cf::LiveObjects();
    // Borrowed: the wrapper takes a count of its own and gives it back.
    CFTypeRef ref = row.make();
    {
      const Ref<CFType> wrapper = row.wrap(ref, false);
      EXPECT_EQ(wrapper->RefCount(), 2) << row.name;
      EXPECT_EQ(wrapper->Reference(), ref) << row.name;
    }
    EXPECT_EQ(CFGetRetainCount(ref), 1) << row.name;
    // Handed over: the wrapper takes the count it was given and the object goes with it.
    EXPECT_EQ(row.wrap(ref, true)->debugRefCount(), 1) << row.name;
    EXPECT_EQ(cf::LiveObjects(), live) << row.name;
  }
}

TEST(CFTypeTest, RetainAndReleaseChangeOnlyThePlatformsCount) {
  const Owned<CFStringRef> ref(NewString("x"));
  const auto wrapper = CFString::New(ref.get(), false);
  wrapper->Retain();
  CFType::Retain(ref.get());
  EXPECT_EQ(CFType::RefCount(ref.get()), 4);
  wrapper->Release();
  CFType::Release(ref.get());
  EXPECT_EQ(wrapper->RefCount(), 2);
  EXPECT_EQ(wrapper->Reference(), ref.get());
  const CallCounter counter;
  CFType::Retain(nullptr);
  CFType::Release(nullptr);
  EXPECT_EQ(CFType::RefCount(nullptr) + counter.Calls(), 0);
}

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
      {NewNumber, same(typeid(CFNumber))},
      {[] { return CFDateCreate(nullptr, 0); }, same(typeid(CFDate))},
      {NewURL, same(typeid(CFURL))},
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

TEST(CFTypeTest, FromHandleAndThePlugInObjectLendTheirReference) {
  const Owned<CFStringRef> ref(NewString("handle"));
  const auto handle = static_cast<std::int64_t>(reinterpret_cast<std::intptr_t>(ref.get()));
  EXPECT_TRUE(IsExactly<CFString>(CFType::FromHandle(handle)));
  auto plugIn = Ref<CFObjectMBS>::New(CFRetain(ref));
  EXPECT_EQ(plugIn->Handle(), handle);
  // No type test: a data wrapper takes the string as it is.
  const Ref<CFData> converted = CFData::New(plugIn);
  EXPECT_EQ(converted->TypeID(), CFString::ClassID());
  plugIn = nullptr;
  EXPECT_EQ(CFGetRetainCount(ref), 2);
  EXPECT_THROW(CFType::New(Ref<CFObjectMBS>()), toolkit::NilObjectException);
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
  expectMismatch([&] { CFNumber::New(string.get(), true); }, CFNumberGetTypeID());
  expectMismatch([&] { CFMutableArray::New(string.get(), false); }, CFArrayGetTypeID());
  // A plain CFType expects id 0 and so refuses every reference.
  expectMismatch([&] { CFType::New(string.get(), false); }, 0);
  // Neither way took or gave back a count.
  EXPECT_EQ(CFGetRetainCount(string), 1);
  // Mutable and immutable share an id, so the test can't tell them apart.
  EXPECT_FALSE(Empty(CFMutableString::New(string.get(), false)));
}

// A wrapper that holds nothing answers 0, false, "" or nil, and changes nothing, without
// calling the platform.
TEST(CFTypeTest, EmptyWrappersAnswerWithoutThePlatform) {
  using CFArrayExtension::CFValue;
  const Ref<CFType> key = CFString::New("key");
  const std::uint8_t byte = 1;
  const struct {
    Ref<CFType> wrapper;
    std::function<bool(const Ref<CFType>&)> answersEmpty;
  } kRows[] = {
      {CFType::New(), [](const Ref<CFType>&) { return true; }},
      {CFString::New(""),
       [](const Ref<CFType>& w) {
         const auto s = w.As<CFString>();
         return s->StringValue() == "" && static_cast<toolkit::CFStringRef>(*s).IsNull();
       }},
      {CFMutableString::New(nullptr, false),
       [](const Ref<CFType>& w) {
         w.As<CFMutableString>()->Append("text");
         w.As<CFMutableString>()->ToUppercase();
         return true;
       }},
      {CFData::New(Ref<MemoryBlock>()),
       [](const Ref<CFType>& w) { return w.As<CFData>()->Data()->Size() == 0; }},
      {CFMutableData::New(nullptr, false),
       [&](const Ref<CFType>& w) {
         const auto data = w.As<CFMutableData>();
         data->Append(&byte, 1);
         data->Append("text");
         data->Delete(0, 1);
         data->Replace(0, 1, &byte, 1);
         data->Replace(0, 1, nullptr, 0);
         return data->Data()->Size() == 0;
       }},
      {CFNumber::New(nullptr, false),
       [](const Ref<CFType>& w) {
         const auto n = w.As<CFNumber>();
         return n->Value().IsNull() && n->DoubleValue() == 0 && n->Int64Value() == 0 &&
                n->IntegerValue() == 0 && !n->IsFloat() && n->Type() == 0;
       }},
      {CFBoolean::New(nullptr, false),
       [](const Ref<CFType>& w) { return !static_cast<bool>(*w.As<CFBoolean>()); }},
      {CFDate::New(nullptr, false),
       [](const Ref<CFType>& w) { return w.As<CFDate>()->AbsoluteTime() == 0; }},
      {CFError::New(nullptr, false),
       [](const Ref<CFType>& w) {
         return w.As<CFError>()->Code() == 0 && w.As<CFError>()->Domain() == "";
       }},
      {CFArray::New(nullptr, false),
       [](const Ref<CFType>& w) {
         const auto a = w.As<CFArray>();
         return a->Count() == 0 && a->Value(0) == nullptr && IsExactly<CFType>(CFValue(a, 0)) &&
                Empty(CFValue(a, 0)) && IsExactly<CFArray>(a->Clone()) && Empty(a->Clone());
       }},
      {CFMutableDictionary::New(Ref<CFDictionary>()),
       [&](const Ref<CFType>& w) {
         const auto d = w.As<CFMutableDictionary>();
         d->Value(key, key);
         d->Remove(key);
         d->Clear();
         return !d->HasKey(key) && !d->HasValue(key) && d->Value(key).IsNil() &&
                d->Lookup(key, key) == key && d->Keys().empty() && d->Count() == 0;
       }},
      {CFBundle::New(nullptr, false),
       [](const Ref<CFType>& w) {
         const auto b = w.As<CFBundle>();
         return b->Identifier() == "" && b->URL().IsNil() && b->ExecutableFile().IsNil() &&
                b->InfoDictionary().IsNil() && b->InfoDictionaryValue("Key").IsNil() &&
                !b->Load() && b->FunctionPointerForName("QuellmarkPluginTwice") == nullptr &&
                b->DataPointerNotRetained("kCFNull") == nullptr &&
                b->StringPointerRetained("kCFErrorDomainPOSIX").IsNull();
       }},
      {CFURL::New(Ref<toolkit::FolderItem>()),
       [](const Ref<CFType>& w) {
         const auto u = w.As<CFURL>();
         return u->Scheme() + u->HostName() + u->QueryString("") + u->StringValue() +
                        u->RelativeURL() + u->Path(true) ==
                    "" &&
                u->Port() == -1 && !u->IsDecomposable() && IsExactly<CFURL>(u->AbsoluteURL()) &&
                Empty(u->AbsoluteURL()) && u->BaseURL().IsNil() && u->Item(true, true).IsNil();
       }},
  };
  const std::size_t logged = DebugLogLines().size();
  const CallCounter counter;
  for (const auto& row : kRows) {
    const Ref<CFType>& w = row.wrapper;
    const std::string name = typeid(*w).name();
    EXPECT_TRUE(Empty(w) && w->Hash() == 0 && w->TypeID() == 0 && w->RefCount() == 0) << name;
    EXPECT_TRUE(w->Equals(nullptr) && w->Equals(kRows[0].wrapper)) << name;
    EXPECT_EQ(w->Description(), "") << name;
    w->Show();
    w->Retain();
    w->Release();
    EXPECT_TRUE(row.answersEmpty(w)) << name;
  }
  EXPECT_EQ(CFType::TypeDescription(0), "");
  EXPECT_EQ(counter.Calls(), 0);
  EXPECT_EQ(DebugLogLines().size(), logged);
}

TEST(CFTypeTest, CompareIsIdentityAndEqualsIsValue) {
  const Owned<CFStringRef> ref(NewString("same"));
  const auto a = CFString::New(ref.get(), false);
  const auto b = CFString::New(ref.get(), false);
  const auto c = CFString::New("same");
  EXPECT_FALSE(a == b);  // two wrappers, one reference
  EXPECT_EQ(a->Operator_Compare(b), 0);
  EXPECT_NE(a->Operator_Compare(c), 0);
  EXPECT_EQ(a->Operator_Compare(c), -c->Operator_Compare(a));
  EXPECT_EQ(a->Operator_Compare(nullptr), 1);
  EXPECT_TRUE(a->Equals(c) && a->Hash() == c->Hash());
  EXPECT_FALSE(a->Equals(CFString::New("other")) || a->Equals(nullptr) || a->Equals(CFType::New()));
  EXPECT_EQ(static_cast<Ptr>(*a), ref.get());
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wdeprecated-declarations"
  EXPECT_TRUE(!a->IsNULL() && CFType::New()->IsNULL());
#pragma GCC diagnostic pop
  EXPECT_EQ(a->Description().Bytes(), cf_test::TakeText(CFCopyDescription(ref.get())));
  EXPECT_EQ(CFType::TypeDescription(CFBundle::ClassID()), "CFBundle");
  testing::internal::CaptureStderr();
  a->Show();
  EXPECT_EQ(testing::internal::GetCapturedStderr(), "same\n");
}

TEST(CFTypeTest, CFStringRetainTakesACountOfItsOwn) {
  const Owned<CFStringRef> ref(NewString("lent"));
  EXPECT_EQ(CFStringRetain(ref.get()).Get(), ref.get());
  EXPECT_EQ(CFGetRetainCount(ref), 1);  // and gave it back
  {
    const toolkit::CFStringRef retained = CFStringRetain(ref.get());
    EXPECT_EQ(CFGetRetainCount(ref), 2);
  }
  const CallCounter counter;
  EXPECT_TRUE(CFStringRetain(nullptr).IsNull());
  EXPECT_EQ(counter.Calls(), 0);
}

}  // namespace
}  // namespace corefoundation_test
