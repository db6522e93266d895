#include <functional>
#include <vector>

#include "corefoundation/CFArray.h"
#include "corefoundation/CFBoolean.h"
#include "corefoundation/CFMutableArray.h"
#include "corefoundation/CFMutableDictionary.h"
#include "corefoundation/CFNumber.h"
#include "corefoundation/CFString.h"
#include "platform/toolkit/Dictionary.h"
#include "platform/toolkit/Exceptions.h"
#include "platform/toolkit/VariantArray.h"
#include "tests/corefoundation/Support.h"

namespace corefoundation_test {
namespace {

using namespace CoreFoundation;
using CFArrayExtension::CFValue;
using toolkit::NilObjectException;
using toolkit::OutOfBoundsException;

Ref<CFType> Str(const char* text) {
  return CFString::New(String(text));
}

String TextOf(const Ref<CFType>& wrapper) {
  const auto string = wrapper.As<CFString>();
  return string.IsNil() ? String("(not a string)") : string->StringValue();
}

TEST(CFArrayTest, ValuesAreHeldByTheArrayAndReadBackBorrowedOrWrapped) {
  const Ref<CFType> a = Str("a");
  const Ref<CFType> b = Str("b");
  const Ref<CFArray> array = CFArray::New(std::vector<Ref<CFType>>{a, b, a});
  EXPECT_EQ(array->Count(), 3);
  EXPECT_EQ(a->RefCount(), 3);
  EXPECT_EQ(array->Value(1), b->Reference());  // borrowed: no count taken
  EXPECT_EQ(b->RefCount(), 2);
  {
    const Ref<CFType> read = CFValue(array, 2);
    EXPECT_TRUE(IsExactly<CFString>(read));
    EXPECT_EQ(read->Reference(), a->Reference());
    EXPECT_EQ(a->RefCount(), 4);  // the read wrapper's own count
  }
  EXPECT_EQ(a->RefCount(), 3);
  const Ref<CFArray> clone = array->Clone();
  EXPECT_TRUE(clone->Equals(array));
  EXPECT_NE(clone->Reference(), array->Reference());
  EXPECT_EQ(array->StringValues(), (std::vector<String>{"a", "b", "a"}));
}

TEST(CFArrayTest, AnAppendedWrapperMayDieBeforeTheArray) {
  const Ref<CFMutableArray> array = CFMutableArray::New(std::int64_t{0});
  Ptr stored = nullptr;
  {
    const Ref<CFType> value = Str("kept");
    stored = value->Reference();
    array->Append(value);
    array->AppendPtr(value->Reference());
    EXPECT_EQ(value->RefCount(), 3);
  }
  EXPECT_EQ(CFGetRetainCount(stored), 2);
  const Ref<CFType> other = Str("other");
  array->Value(0, other);
  EXPECT_EQ(CFGetRetainCount(stored), 1);
  EXPECT_EQ(TextOf(CFValue(array, 0)), "other");
  EXPECT_EQ(TextOf(CFValue(array, 1)), "kept");
  EXPECT_EQ(array->StringValues(), (std::vector<String>{"other", "kept"}));
}

TEST(CFArrayTest, EmptyArraysAndEmptyWrappersAreDifferent) {
  const Ref<CFArray> empty = CFArray::New(std::vector<Ref<CFType>>{});
  EXPECT_FALSE(Empty(empty));
  EXPECT_EQ(empty->Count(), 0);
  EXPECT_THROW(empty->Value(0), OutOfBoundsException);

  const Ref<CFArray> none = CFArray::New(nullptr, false);
  EXPECT_TRUE(Empty(none));
  EXPECT_EQ(none->Count(), 0);
  EXPECT_EQ(none->Value(0), nullptr);
  const Ref<CFType> value = CFValue(none, 0);
  ASSERT_FALSE(value.IsNil());
  EXPECT_TRUE(Empty(value));
  const Ref<CFArray> clone = none->Clone();
  ASSERT_FALSE(clone.IsNil());
  EXPECT_TRUE(Empty(clone));
}

TEST(CFArrayTest, FailuresRaiseTheNamedException) {
  const Ref<CFType> a = Str("a");
  const Ref<CFMutableArray> array = CFMutableArray::New(std::vector<Ref<CFType>>{});
  const Ref<CFMutableArray> grown = CFMutableArray::New(std::int64_t{0});
  grown->Append(a);
  const struct {
    const char* why;
    std::function<void()> call;
    bool outOfBounds;  // else NilObjectException
  } kRows[] = {
      {"index at Count", [&] { grown->Value(1); }, true},
      {"negative index", [&] { CFValue(grown, -1); }, true},
      {"setter at Count, which the platform would append", [&] { grown->Value(1, a); }, true},
      {"setter index before the nil test", [&] { grown->Value(5, nullptr); }, true},
      {"nil element",
       [&] {
         CFArray::New(std::vector<Ref<CFType>>{a, nullptr});
       },
       false},
      {"element holding nothing", [&] { CFArray::New(std::vector<Ref<CFType>>{CFType::New()}); },
       false},
      {"nil appended", [&] { grown->Append(nullptr); }, false},
      {"null pointer appended", [&] { grown->AppendPtr(nullptr); }, false},
      {"appended to a wrapper holding nothing",
       [&] { CFMutableArray::New(nullptr, false)->Append(a); }, false},
      {"nil set", [&] { grown->Value(0, nullptr); }, false},
      {"nil array to CFValue", [&] { CFValue(nullptr, 0); }, false},
  };
  for (const auto& row : kRows) {
    if (row.outOfBounds) {
      EXPECT_THROW(row.call(), OutOfBoundsException) << row.why;
    } else {
      EXPECT_THROW(row.call(), NilObjectException) << row.why;
    }
  }
  EXPECT_EQ(grown->Count(), 1);
  EXPECT_EQ(a->RefCount(), 2);
  EXPECT_THROW(CFArray::New(a->Reference(), false), toolkit::TypeMismatchException);
}

TEST(CFArrayTest, StringArraysKeepEmptyStrings) {
  const Ref<CFArray> array = CFArray::New(std::vector<String>{"x", "", "z"});
  EXPECT_EQ(array->Count(), 3);
  EXPECT_EQ(array->StringValues(), (std::vector<String>{"x", "", "z"}));
  EXPECT_EQ(CFArray::New(std::vector<String>{})->Count(), 0);
}

TEST(CFArrayTest, MutableArraysReadBackAsTheirClassOnlyWhenAsked) {
  const Ref<CFMutableArray> inner = CFMutableArray::New(std::int64_t{0});
  const Ref<CFArray> outer = CFArray::New(std::vector<Ref<CFType>>{inner});
  EXPECT_TRUE(IsExactly<CFArray>(CFValue(outer, 0)));
  EXPECT_TRUE(IsExactly<CFMutableArray>(CFType::NewObject(inner->Reference(), false, 1)));
}

TEST(CFDictionaryTest, EntriesAreFoundByValueAndOwnedByTheDictionary) {
  const Ref<CFType> key = Str("key");
  const Ref<CFType> value = Str("value");
  const Ref<CFDictionary> dictionary = CFDictionary::New({key}, {value});
  EXPECT_EQ(dictionary->Count(), 1);
  EXPECT_EQ(key->RefCount(), 2);
  EXPECT_TRUE(dictionary->HasKey(Str("key")));
  EXPECT_FALSE(dictionary->HasKey(value));
  EXPECT_TRUE(dictionary->HasValue(Str("value")));
  EXPECT_EQ(TextOf(dictionary->Value(Str("key"))), "value");
  EXPECT_TRUE(dictionary->Value(value).IsNil());
  const Ref<CFType> fallback = Str("fallback");
  EXPECT_EQ(dictionary->Lookup(value, fallback), fallback);  // the object itself
  EXPECT_EQ(TextOf(dictionary->Lookup(key, fallback)), "value");
  const std::vector<Ref<CFType>> keys = dictionary->Keys();
  ASSERT_EQ(keys.size(), 1U);
  EXPECT_EQ(keys[0]->Reference(), key->Reference());
}

TEST(CFDictionaryTest, NilAndEmptyArgumentsAnswerQuietly) {
  const Ref<CFType> key = Str("key");
  const Ref<CFDictionary> dictionary = CFDictionary::New({key}, {key});
  const Ref<CFDictionary> none = CFDictionary::New(Ref<CFDictionary>());
  const Ref<CFType> fallback = Str("d");
  EXPECT_TRUE(Empty(none));
  EXPECT_FALSE(dictionary->HasKey(nullptr));
  EXPECT_FALSE(dictionary->HasValue(CFType::New()));
  EXPECT_TRUE(dictionary->Value(nullptr).IsNil());
  EXPECT_EQ(dictionary->Lookup(nullptr, fallback), fallback);
  EXPECT_FALSE(none->HasKey(key));
  EXPECT_EQ(none->Lookup(key, fallback), fallback);
  EXPECT_TRUE(none->Keys().empty());
  EXPECT_EQ(none->Count(), 0);

  const Ref<CFMutableDictionary> mutableNone = CFMutableDictionary::New(Ref<CFDictionary>());
  EXPECT_TRUE(Empty(mutableNone));
  mutableNone->Value(key, key);
  mutableNone->Remove(key);
  mutableNone->Clear();
  EXPECT_EQ(mutableNone->Count(), 0);
  EXPECT_EQ(key->RefCount(), 3);
}

TEST(CFDictionaryTest, ConstructorFailures) {
  const Ref<CFType> key = Str("key");
  EXPECT_THROW(CFDictionary::New({key}, {}), OutOfBoundsException);
  EXPECT_THROW(CFDictionary::New({key}, {nullptr}), NilObjectException);
  EXPECT_THROW(CFDictionary::New({CFType::New()}, {key}), NilObjectException);
  EXPECT_EQ(key->RefCount(), 1);
  const std::vector<Ref<CFType>> none;
  const Ref<CFDictionary> empty = CFDictionary::New(none, none);
  EXPECT_FALSE(Empty(empty));
  EXPECT_TRUE(empty->Keys().empty());
}

TEST(CFMutableDictionaryTest, SetRemoveAndClearChangeTheCounts) {
  const Ref<CFType> key = Str("key");
  const Ref<CFType> other = Str("other");
  const Ref<CFMutableDictionary> dictionary = CFMutableDictionary::New();
  dictionary->Value(key, other);
  dictionary->Value(other, CFBoolean::GetTrue());
  EXPECT_EQ(dictionary->Count(), 2);
  EXPECT_EQ(key->RefCount(), 2);
  EXPECT_EQ(other->RefCount(), 3);
  EXPECT_EQ(dictionary->Value(other), Ref<CFType>(CFBoolean::GetTrue()));  // the shared wrapper
  dictionary->Remove(Str("key"));
  EXPECT_EQ(key->RefCount(), 1);
  EXPECT_EQ(other->RefCount(), 2);
  const Ref<CFMutableDictionary> copy = CFMutableDictionary::New(Ref<CFDictionary>(dictionary));
  dictionary->Clear();
  EXPECT_EQ(dictionary->Count(), 0);
  EXPECT_EQ(copy->Count(), 1);
  EXPECT_EQ(other->RefCount(), 2);
}

TEST(CFMutableDictionaryTest, AStoredMutableDictionaryReadsBackImmutable) {
  const Ref<CFMutableDictionary> outer = CFMutableDictionary::New();
  const Ref<CFMutableDictionary> inner = CFMutableDictionary::New();
  const Ref<CFType> key = Str("inner");
  outer->Value(key, inner);
  EXPECT_TRUE(IsExactly<CFDictionary>(outer->Value(key)));
  EXPECT_TRUE(IsExactly<CFMutableDictionary>(CFType::NewObject(inner->Reference(), false, 2)));
  // The inherited constructor makes an immutable platform dictionary in the mutable wrapper.
  const Ref<CFMutableDictionary> frozen = CFMutableDictionary::New({key}, {key});
  EXPECT_TRUE(IsExactly<CFMutableDictionary>(frozen));
  EXPECT_EQ(frozen->Count(), 1);
}

TEST(CFCollectionVariantTest, NestedCollectionsBecomeToolkitValues) {
  const Ref<CFType> number = CFNumber::New(Variant(std::int32_t{7}));
  const Ref<CFArray> list = CFArray::New(std::vector<Ref<CFType>>{Str("x"), number});
  const Ref<CFMutableDictionary> dictionary = CFMutableDictionary::New();
  dictionary->Value(Str("list"), list);
  dictionary->Value(Str("flag"), CFBoolean::GetFalse());

  const auto converted = dictionary->VariantValue().As<toolkit::Dictionary>();
  ASSERT_FALSE(converted.IsNil());
  EXPECT_EQ(converted->Count(), 2);
  EXPECT_EQ(converted->Value("flag"), Variant(false));
  const auto values = converted->Value("list").As<toolkit::VariantArray>();
  ASSERT_FALSE(values.IsNil());
  ASSERT_EQ(values->Count(), 2);
  EXPECT_EQ(values->Values()[0], Variant("x"));
  EXPECT_EQ(values->Values()[1].Int64Value(), 7);
  // An element with no String form is converted, not skipped, so it raises.
  const Ref<CFArray> nested = CFArray::New(std::vector<Ref<CFType>>{list});
  EXPECT_THROW(nested->StringValues(), toolkit::TypeMismatchException);
  EXPECT_EQ(list->StringValues(), (std::vector<String>{"x", "7"}));
}

}  // namespace
}  // namespace corefoundation_test
