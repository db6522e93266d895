#include <functional>
#include <vector>

#include "corefoundation/CFArray.h"
#include "corefoundation/CFBoolean.h"
#include "corefoundation/CFMutableArray.h"
#include "corefoundation/CFMutableDictionary.h"
#include "corefoundation/CFNumber.h"
#include "corefoundation/CFString.h"
#include "platform/toolkit/Exceptions.h"
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
  EXPECT_EQ(CFArray::New(std::vector<String>{"x", "", "z"})->StringValues(),
            (std::vector<String>{"x", "", "z"}));
  // Each element is converted to a String, not skipped: a number is, an array is not.
  const Ref<CFType> seven = CFNumber::New(Variant(std::int32_t{7}));
  EXPECT_EQ(CFArray::New(std::vector<Ref<CFType>>{a, seven})->StringValues(),
            (std::vector<String>{"a", "7"}));
  EXPECT_THROW(CFArray::New(std::vector<Ref<CFType>>{array})->StringValues(),
               toolkit::TypeMismatchException);
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
  array->Value(0, Str("other"));
  EXPECT_EQ(CFGetRetainCount(stored), 1);  // the replaced value was given back
  EXPECT_EQ(array->StringValues(), (std::vector<String>{"other", "kept"}));
  const Ref<CFArray> outer = CFArray::New(std::vector<Ref<CFType>>{array});
  EXPECT_TRUE(IsExactly<CFArray>(CFValue(outer, 0)));  // read out immutable
}

TEST(CollectionTest, FailuresRaiseTheNamedException) {
  const Ref<CFType> a = Str("a");
  const Ref<CFType> none = CFType::New();
  const Ref<CFArray> empty = CFArray::New(std::vector<Ref<CFType>>{});
  const Ref<CFMutableArray> grown = CFMutableArray::New(std::int64_t{0});
  grown->Append(a);
  const struct {
    const char* why;
    std::function<void()> call;
    bool outOfBounds;  // else NilObjectException
  } kRows[] = {
      {"index 0 of an empty array", [&] { empty->Value(0); }, true},
      {"index at Count", [&] { grown->Value(1); }, true},
      {"negative index", [&] { CFValue(grown, -1); }, true},
      {"setter at Count, which the platform would append", [&] { grown->Value(1, a); }, true},
      {"setter index before the nil test", [&] { grown->Value(5, nullptr); }, true},
      {"keys and values of different counts", [&] { CFDictionary::New({a}, {}); }, true},
      {"nil element",
       [&] {
         CFArray::New(std::vector<Ref<CFType>>{a, nullptr});
       },
       false},
      {"element holding nothing", [&] { CFArray::New(std::vector<Ref<CFType>>{none}); }, false},
      {"nil appended", [&] { grown->Append(nullptr); }, false},
      {"null pointer appended", [&] { grown->AppendPtr(nullptr); }, false},
      {"appended to a wrapper holding nothing",
       [&] { CFMutableArray::New(nullptr, false)->Append(a); }, false},
      {"nil set", [&] { grown->Value(0, nullptr); }, false},
      {"nil array to CFValue", [&] { CFValue(nullptr, 0); }, false},
      {"nil value of a dictionary", [&] { CFDictionary::New({a}, {nullptr}); }, false},
      {"key holding nothing", [&] { CFDictionary::New({none}, {a}); }, false},
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
  EXPECT_FALSE(Empty(empty));  // an empty array is an object all the same
}

TEST(CFDictionaryTest, EntriesAreFoundByValueAndNilArgumentsAnswerQuietly) {
  const Ref<CFType> key = Str("key");
  const Ref<CFType> value = Str("value");
  const Ref<CFDictionary> dictionary = CFDictionary::New({key}, {value});
  EXPECT_EQ(dictionary->Count(), 1);
  EXPECT_EQ(key->RefCount(), 2);
  EXPECT_TRUE(dictionary->HasKey(Str("key")));
  EXPECT_FALSE(dictionary->HasKey(value));
  EXPECT_TRUE(dictionary->HasValue(Str("value")));
  EXPECT_FALSE(dictionary->HasValue(key));
  EXPECT_EQ(TextOf(dictionary->Value(Str("key"))), "value");
  EXPECT_TRUE(dictionary->Value(value).IsNil());
  const Ref<CFType> fallback = Str("fallback");
  EXPECT_EQ(dictionary->Lookup(value, fallback), fallback);  // the object itself
  EXPECT_EQ(TextOf(dictionary->Lookup(key, fallback)), "value");
  const std::vector<Ref<CFType>> keys = dictionary->Keys();
  ASSERT_EQ(keys.size(), 1U);
  EXPECT_EQ(keys[0]->Reference(), key->Reference());
  EXPECT_FALSE(dictionary->HasKey(nullptr) || dictionary->HasValue(CFType::New()));
  EXPECT_TRUE(dictionary->Value(nullptr).IsNil());
  EXPECT_EQ(dictionary->Lookup(nullptr, fallback), fallback);
  EXPECT_TRUE(CFDictionary::New(std::vector<Ref<CFType>>{}, {})->Keys().empty());
}

TEST(CFMutableDictionaryTest, SetRemoveAndClearChangeTheCounts) {
  const Ref<CFType> key = Str("key");
  const Ref<CFType> other = Str("other");
  const Ref<CFMutableDictionary> dictionary = CFMutableDictionary::New();
  dictionary->Value(key, other);
  dictionary->Value(other, CFBoolean::GetTrue());
  dictionary->Value(nullptr, other);
  dictionary->Value(other, nullptr);
  EXPECT_EQ(dictionary->Count(), 2);
  EXPECT_EQ(key->RefCount(), 2);
  EXPECT_EQ(other->RefCount(), 3);
  EXPECT_EQ(dictionary->Value(other), Ref<CFType>(CFBoolean::GetTrue()));  // the shared wrapper
  dictionary->Remove(Str("key"));
  dictionary->Remove(nullptr);
  EXPECT_EQ(key->RefCount(), 1);
  EXPECT_EQ(other->RefCount(), 2);
  const Ref<CFMutableDictionary> copy = CFMutableDictionary::New(Ref<CFDictionary>(dictionary));
  dictionary->Clear();
  EXPECT_EQ(dictionary->Count(), 0);
  EXPECT_EQ(copy->Count(), 1);
  EXPECT_EQ(other->RefCount(), 2);
  // What is read out comes in the immutable class, whatever it is.
  copy->Value(key, CFMutableDictionary::New());
  EXPECT_TRUE(IsExactly<CFDictionary>(copy->Value(key)));
}

}  // namespace
}  // namespace corefoundation_test
