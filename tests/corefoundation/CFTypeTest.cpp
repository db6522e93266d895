#include <cinttypes>
#include <cstdio>
#include <functional>
#include <string>

#include "corefoundation/CFBoolean.h"
#include "corefoundation/CFBundle.h"
#include "corefoundation/CFData.h"
#include "corefoundation/CFDate.h"
#include "corefoundation/CFError.h"
#include "corefoundation/CFMutableData.h"
#include "corefoundation/CFMutableString.h"
#include "corefoundation/CFNull.h"
#include "corefoundation/CFNumber.h"
#include "corefoundation/CFString.h"
#include "tests/corefoundation/Support.h"

namespace corefoundation_test {
namespace {

using namespace CoreFoundation;

CFTypeRef NewNumber() {
  const SInt32 value = 7;
  return CFNumberCreate(nullptr, kCFNumberSInt32Type, &value);
}

// Every class that takes a reference of count 1, with what makes one.
struct WrapperRow {
  const char* name;
  std::function<CFTypeRef()> make;
  std::function<Ref<CFType>(Ptr, bool)> wrap;
};

const WrapperRow kWrappers[] = {
    {"CFString", [] { return NewString("s"); }, [](Ptr r, bool o) { return CFString::New(r, o); }},
    {"CFMutableString", [] { return CFStringCreateMutable(nullptr, 0); },
     [](Ptr r, bool o) { return CFMutableString::New(r, o); }},
    {"CFData", [] { return NewData("d"); }, [](Ptr r, bool o) { return CFData::New(r, o); }},
    {"CFMutableData", [] { return CFDataCreateMutable(nullptr, 0); },
     [](Ptr r, bool o) { return CFMutableData::New(r, o); }},
    {"CFNumber", NewNumber, [](Ptr r, bool o) { return CFNumber::New(r, o); }},
    {"CFDate", [] { return CFDateCreate(nullptr, 1.0); },
     [](Ptr r, bool o) { return CFDate::New(r, o); }},
    {"CFError",
     [] { return CFErrorCreate(nullptr, Owned<CFStringRef>(NewString("d")), 1, nullptr); },
     [](Ptr r, bool o) { return CFError::New(r, o); }},
    {"NewObject", [] { return NewString("n"); },
     [](Ptr r, bool o) { return CFType::NewObject(r, o, 0); }},
};

TEST(CFTypeTest, AWrapperOwnsExactlyOneCountForItsLife) {
  for (const WrapperRow& row : kWrappers) {
    const std::int64_t live = cf::LiveObjects();
    // Borrowed: the wrapper takes a count of its own and gives it back.
    CFTypeRef ref = row.make();
    {
      const Ref<CFType> wrapper = row.wrap(ref, false);
      EXPECT_EQ(CFGetRetainCount(ref), 2) << row.name;
      EXPECT_EQ(wrapper->RefCount(), 2) << row.name;
      EXPECT_EQ(wrapper->Reference(), ref) << row.name;
    }
    EXPECT_EQ(CFGetRetainCount(ref), 1) << row.name;
    // Handed over: the wrapper takes the count it was given and the object goes with it.
    {
      const Ref<CFType> wrapper = row.wrap(ref, true);
      EXPECT_EQ(CFGetRetainCount(ref), 1) << row.name;
      EXPECT_EQ(wrapper->debugRefCount(), 1) << row.name;
    }
    EXPECT_EQ(cf::LiveObjects(), live) << row.name;
  }
}

TEST(CFTypeTest, RetainAndReleaseChangeOnlyThePlatformsCount) {
  const Owned<CFStringRef> ref(NewString("x"));
  const auto wrapper = CFString::New(ref.get(), false);
  wrapper->Retain();
  EXPECT_EQ(CFGetRetainCount(ref), 3);
  wrapper->Release();
  EXPECT_EQ(wrapper->Reference(), ref.get());
  EXPECT_EQ(CFType::RefCount(ref.get()), 2);
  CFType::Retain(ref.get());
  CFType::Release(ref.get());
  EXPECT_EQ(CFGetRetainCount(ref), 2);
  const CallCounter counter;
  CFType::Retain(nullptr);
  CFType::Release(nullptr);
  EXPECT_EQ(CFType::RefCount(nullptr), 0);
  EXPECT_EQ(counter.Calls(), 0);
}

// The factory picks the class by the type id and, for data and strings, by mutability 2.
TEST(CFTypeTest, NewObjectMakesTheClassOfEachRowForEachMutability) {
  const struct {
    const char* name;
    std::function<CFTypeRef()> make;
    std::function<bool(const Ref<CFType>&, std::int64_t mutability)> isExpected;
  } kRows[] = {
      {"string", [] { return NewString("s"); },
       [](const Ref<CFType>& w, std::int64_t m) {
         return m == 2 ? IsExactly<CFMutableString>(w) : IsExactly<CFString>(w);
       }},
      {"data", [] { return NewData("d"); },
       [](const Ref<CFType>& w, std::int64_t m) {
         return m == 2 ? IsExactly<CFMutableData>(w) : IsExactly<CFData>(w);
       }},
      {"number", NewNumber,
       [](const Ref<CFType>& w, std::int64_t) { return IsExactly<CFNumber>(w); }},
      {"date", [] { return CFDateCreate(nullptr, 0); },
       [](const Ref<CFType>& w, std::int64_t) { return IsExactly<CFDate>(w); }},
      {"error",
       [] { return CFErrorCreate(nullptr, Owned<CFStringRef>(NewString("d")), 1, nullptr); },
       [](const Ref<CFType>& w, std::int64_t) { return IsExactly<CFType>(w); }},
      {"locale", [] { return CFLocaleCreate(nullptr, Owned<CFStringRef>(NewString("de"))); },
       [](const Ref<CFType>& w, std::int64_t) { return IsExactly<CFType>(w); }},
  };
  for (const auto& row : kRows) {
    for (std::int64_t mutability : {0, 1, 2}) {
      const Owned<CFTypeRef> ref(row.make());
      const Ref<CFType> borrowed = CFType::NewObject(ref, false, mutability);
      EXPECT_TRUE(row.isExpected(borrowed, mutability)) << row.name << " " << mutability;
      EXPECT_EQ(CFGetRetainCount(ref), 2) << row.name;
      EXPECT_EQ(borrowed->Reference(), ref.get());
      CFRetain(ref);  // a count to hand over
      const Ref<CFType> owning = CFType::NewObject(ref, true, mutability);
      EXPECT_TRUE(row.isExpected(owning, mutability)) << row.name << " " << mutability;
      EXPECT_EQ(CFGetRetainCount(ref), 3) << row.name;
    }
  }
}

TEST(CFTypeTest, NewObjectWrapsConstantsAndNull) {
  const CFTypeRef null = Symbol<CFNullRef>("kCFNull");
  const CFTypeRef carbon =
      CFBundleGetBundleWithIdentifier(Owned<CFStringRef>(NewString("com.apple.Carbon")));
  EXPECT_TRUE(IsExactly<CFNull>(CFType::NewObject(null, false, 2)));
  EXPECT_TRUE(IsExactly<CFBundle>(CFType::NewObject(carbon, false, 2)));
  // The booleans come back as the two shared wrappers, whoever pays for the count.
  const CFTypeRef yes = Symbol<CFBooleanRef>("kCFBooleanTrue");
  const CFTypeRef no = Symbol<CFBooleanRef>("kCFBooleanFalse");
  EXPECT_TRUE(CFType::NewObject(yes, false, 0) == CFBoolean::GetTrue());
  EXPECT_TRUE(CFType::NewObject(yes, true, 2) == CFBoolean::GetTrue());
  EXPECT_TRUE(CFType::NewObject(no, false, 1) == CFBoolean::GetFalse());
  // Null makes an empty plain wrapper, not nil.
  const Ref<CFType> empty = CFType::NewObject(nullptr, false, 0);
  ASSERT_FALSE(empty.IsNil());
  EXPECT_TRUE(IsExactly<CFType>(empty));
  EXPECT_TRUE(Empty(empty));
  EXPECT_EQ(empty->TypeID(), 0u);
  EXPECT_EQ(empty->Hash(), 0u);
}

TEST(CFTypeTest, FromHandleAndThePlugInObjectLendTheirReference) {
  const Owned<CFStringRef> ref(NewString("handle"));
  const auto handle = static_cast<std::int64_t>(reinterpret_cast<std::intptr_t>(ref.get()));
  const Ref<CFType> fromHandle = CFType::FromHandle(handle);
  EXPECT_TRUE(IsExactly<CFString>(fromHandle));
  EXPECT_EQ(CFGetRetainCount(ref), 2);

  auto plugIn = Ref<CFObjectMBS>::New(CFRetain(ref));
  EXPECT_EQ(plugIn->Handle(), handle);
  // No type test: a data wrapper takes the string as it is.
  const Ref<CFData> converted = CFData::New(plugIn);
  EXPECT_EQ(converted->TypeID(), CFString::ClassID());
  EXPECT_EQ(CFGetRetainCount(ref), 4);
  plugIn = nullptr;
  EXPECT_EQ(CFGetRetainCount(ref), 3);
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
  expectMismatch([&] { CFMutableData::New(string.get(), false); }, CFDataGetTypeID());
  // A plain CFType expects id 0 and so refuses every reference.
  expectMismatch([&] { CFType::New(string.get(), false); }, 0);
  // Neither way took or gave back a count.
  EXPECT_EQ(CFGetRetainCount(string), 1);
  // Mutable and immutable share an id, so the test can't tell them apart.
  EXPECT_FALSE(Empty(CFMutableString::New(string.get(), false)));
  EXPECT_TRUE(Empty(CFType::New(nullptr, false)));
}

// Read operations on an empty wrapper answer without calling the platform.
TEST(CFTypeTest, EmptyWrappersAnswerWithoutThePlatform) {
  const Ref<CFType> plain = CFType::New();
  const Ref<CFString> string = CFString::New("");
  const Ref<CFData> data = CFData::New(Ref<MemoryBlock>());
  const Ref<CFMutableData> mutableData = CFMutableData::New(nullptr, false);
  const Ref<CFMutableString> mutableString = CFMutableString::New(nullptr, false);
  const Ref<CFNumber> number = CFNumber::New(nullptr, false);
  const Ref<CFBoolean> boolean = CFBoolean::New(nullptr, false);
  const Ref<CFDate> date = CFDate::New(nullptr, false);
  const Ref<CFError> error = CFError::New(nullptr, false);
  const Ref<CFBundle> bundle = CFBundle::New(nullptr, false);
  const std::uint8_t byte = 1;

  const CallCounter counter;
  for (const Ref<CFType>& w : std::initializer_list<Ref<CFType>>{
           plain, string, data, mutableData, mutableString, number, boolean, date, error, bundle}) {
    EXPECT_TRUE(Empty(w));
    EXPECT_EQ(w->Reference(), nullptr);
    EXPECT_EQ(w->Hash(), 0u);
    EXPECT_EQ(w->TypeID(), 0u);
    EXPECT_EQ(w->RefCount(), 0);
    EXPECT_TRUE(w->Equals(nullptr));
    EXPECT_TRUE(w->Equals(plain));
    EXPECT_EQ(w->Description(), "");
    w->Show();
    w->Retain();
    w->Release();
  }
  EXPECT_EQ(string->StringValue(), "");
  EXPECT_TRUE(static_cast<toolkit::CFStringRef>(*string).IsNull());
  EXPECT_EQ(data->Data()->Size(), 0);
  mutableData->Append(&byte, 1);
  mutableData->Append("text");
  mutableData->Delete(0, 1);
  mutableData->Replace(0, 1, &byte, 1);
  mutableString->Append("text");
  mutableString->ToUppercase();
  EXPECT_TRUE(number->Value().IsNull());
  EXPECT_EQ(number->DoubleValue(), 0);
  EXPECT_EQ(number->Int64Value(), 0);
  EXPECT_EQ(number->IntegerValue(), 0);
  EXPECT_FALSE(number->IsFloat());
  EXPECT_EQ(number->Type(), 0);
  EXPECT_FALSE(static_cast<bool>(*boolean));
  EXPECT_EQ(date->AbsoluteTime(), 0);
  EXPECT_EQ(error->Code(), 0);
  EXPECT_EQ(error->Domain(), "");
  EXPECT_EQ(bundle->DataPointerNotRetained("kCFNull"), nullptr);
  EXPECT_TRUE(bundle->StringPointerRetained("kCFErrorDomainPOSIX").IsNull());
  EXPECT_EQ(counter.Calls(), 0);
  EXPECT_EQ(CFType::TypeDescription(0), "");
  EXPECT_EQ(counter.Calls(), 0);
}

TEST(CFTypeTest, CompareIsIdentityAndEqualsIsValue) {
  const Owned<CFStringRef> ref(NewString("same"));
  const auto a = CFString::New(ref.get(), false);
  const auto b = CFString::New(ref.get(), false);
  const auto c = CFString::New("same");
  const auto d = CFString::New("other");
  EXPECT_FALSE(a == b);  // two wrappers, one reference
  EXPECT_EQ(a->Operator_Compare(b), 0);
  EXPECT_NE(a->Operator_Compare(c), 0);
  EXPECT_EQ(a->Operator_Compare(c), -c->Operator_Compare(a));
  EXPECT_EQ(a->Operator_Compare(nullptr), 1);
  EXPECT_TRUE(a->Equals(c));
  EXPECT_EQ(a->Hash(), c->Hash());
  EXPECT_FALSE(a->Equals(d));
  EXPECT_FALSE(a->Equals(nullptr));
  EXPECT_FALSE(a->Equals(CFType::New()));
  EXPECT_EQ(static_cast<Ptr>(*a), ref.get());
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wdeprecated-declarations"
  EXPECT_FALSE(a->IsNULL());
  EXPECT_TRUE(CFType::New()->IsNULL());
#pragma GCC diagnostic pop
}

TEST(CFTypeTest, DescriptionsAndTypeNamesComeFromThePlatform) {
  const auto string = CFString::New("shown");
  const std::string description = string->Description().Bytes();
  EXPECT_EQ(description, cf_test::TakeText(CFCopyDescription(string->Reference())));
  EXPECT_NE(description.find("CFString"), std::string::npos);
  EXPECT_NE(description.find("shown"), std::string::npos);
  EXPECT_EQ(CFType::TypeDescription(CFString::ClassID()), "CFString");
  EXPECT_EQ(CFType::TypeDescription(CFBundle::ClassID()), "CFBundle");
  EXPECT_EQ(CFType::TypeDescription(0xFFFFFFFFu), "");
  testing::internal::CaptureStderr();
  string->Show();
  EXPECT_EQ(testing::internal::GetCapturedStderr(), "shown\n");
}

TEST(CFTypeTest, CFStringRetainTakesACountOfItsOwn) {
  const Owned<CFStringRef> ref(NewString("lent"));
  {
    const toolkit::CFStringRef retained = CFStringRetain(ref.get());
    EXPECT_EQ(retained.Get(), ref.get());
    EXPECT_EQ(CFGetRetainCount(ref), 2);
  }
  EXPECT_EQ(CFGetRetainCount(ref), 1);
  const CallCounter counter;
  EXPECT_TRUE(CFStringRetain(nullptr).IsNull());
  EXPECT_EQ(counter.Calls(), 0);
}

}  // namespace
}  // namespace corefoundation_test
