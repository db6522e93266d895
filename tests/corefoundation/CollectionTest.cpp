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
using Values = std::vector<Ref<CFType>>;

Ref<CFType> Str(const char* text) {
  return CFString::New(String(text));
}

// The array holds counts of its own: a read lends the value or wraps it with a count of the
// wrapper's, and a replaced value is given back.
TEST(CFArrayTest, ValuesAreHeldByTheArrayAndReadBackBorrowedOrWrapped) {
  const Ref<CFType> a = Str("a");
  const Ref<CFMutableArray> array = CFMutableArray::New(std::int64_t{0});
  {
    const Ref<CFType> b = Str("b");
    array->Append(b);
    array->AppendPtr(a->Reference());
    EXPECT_EQ(array->Value(1), a->Reference());  // borrowed: no count taken
    EXPECT_EQ(b->RefCount(), 2);
  }
  EXPECT_EQ(a->RefCount(), 2);
  EXPECT_EQ(CFValue(array, 1)->RefCount(), 3);  // the read wrapper's own count
  array->Value(0, a);
  EXPECT_EQ(a->RefCount(), 3);
  EXPECT_EQ(CFArray::New(Values{a, Str("c")})->StringValues(), (std::vector<String>{"a", "c"}));
  const Ref<CFArray> clone = array->Clone();
  EXPECT_TRUE(IsExactly<CFArray>(clone) && clone->Equals(array));
  EXPECT_TRUE(IsExactly<CFArray>(CFValue(CFArray::New(Values{array}), 0)));  // read immutable
  // Each element becomes a String, not skipped: a number does, an array does not.
  EXPECT_EQ(CFArray::New(Values{CFNumber::New(Variant(std::int32_t{7}))})->StringValues()[0], "7");
  EXPECT_THROW(CFArray::New(Values{array})->StringValues(), toolkit::TypeMismatchException);
  EXPECT_EQ(CFArray::New(std::vector<String>{"x", ""})->StringValues()[1], "");
}

TEST(CollectionTest, FailuresRaiseTheNamedException) {
  const Ref<CFType> a = Str("a");
  const Ref<CFArray> empty = CFArray::New(Values{});
  const Ref<CFMutableArray> grown = CFMutableArray::New(std::int64_t{0});
  grown->Append(a);
  const struct {
    const char* why;
    std::function<void()> call;
    bool outOfBounds;  // else NilObjectException
  } kRows[] = {
      {"index 0 of an empty array", [&] { empty->Value(0); }, true},
      {"negative index", [&] { CFValue(grown, -1); }, true},
      {"setter at Count, which the platform would append", [&] { grown->Value(1, a); }, true},
      {"keys and values of different counts", [&] { CFDictionary::New({a}, {}); }, true},
      {"nil element",
       [&] {
         CFArray::New(Values{a, nullptr});
       },
       false},
      {"element holding nothing", [&] { CFArray::New(Values{CFType::New()}); }, false},
      {"nil appended", [&] { grown->Append(nullptr); }, false},
      {"appended to a wrapper holding nothing",
       [&] { CFMutableArray::New(nullptr, false)->Append(a); }, false},
      {"nil set", [&] { grown->Value(0, nullptr); }, false},
      {"nil value of a dictionary", [&] { CFDictionary::New({a}, {nullptr}); }, false},
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

// Keys and values are found by value, not identity; nil arguments answer quietly.
TEST(CFDictionaryTest, EntriesAreFoundByValueAndOwnedByTheDictionary) {
  const Ref<CFType> key = Str("key");
  const Ref<CFType> other = Str("other");
  const Ref<CFMutableDictionary> dictionary = CFMutableDictionary::New();
  dictionary->Value(key, other);
  dictionary->Value(other, CFBoolean::GetTrue());
  dictionary->Value(nullptr, other);
  EXPECT_EQ(dictionary->Count(), 2);
  EXPECT_EQ(key->RefCount() + other->RefCount(), 5);
  EXPECT_TRUE(dictionary->HasKey(Str("key")) && dictionary->HasValue(Str("other")));
  EXPECT_FALSE(dictionary->HasValue(key) || dictionary->HasKey(nullptr));
  EXPECT_EQ(dictionary->Value(Str("key"))->Reference(), other->Reference());
  EXPECT_EQ(dictionary->Value(other), Ref<CFType>(CFBoolean::GetTrue()));  // the shared wrapper
  EXPECT_TRUE(dictionary->Value(Str("none")).IsNil() && dictionary->Value(nullptr).IsNil());
  EXPECT_EQ(dictionary->Lookup(Str("none"), key), key);  // the object itself
  EXPECT_EQ(dictionary->Keys()[0]->Reference(), key->Reference());
  const Ref<CFDictionary> copy = CFDictionary::New(Ref<CFDictionary>(dictionary));
  dictionary->Remove(Str("key"));
  EXPECT_EQ(key->RefCount(), 2);  // the wrapper's and the copy's
  dictionary->Clear();
  EXPECT_EQ(dictionary->Count() + copy->Count(), 2);
  dictionary->Value(key, CFMutableDictionary::New());
  EXPECT_TRUE(IsExactly<CFDictionary>(dictionary->Value(key)));  // read immutable
}

}  // namespace
}  // namespace corefoundation_test
