
#include "corefoundation/CFArray.h"
#include "corefoundation/CFBoolean.h"
#include "corefoundation/CFMutableArray.h"
#include "corefoundation/CFMutableDictionary.h"
#include "corefoundation/CFString.h"
#include "platform/toolkit/Exceptions.h"
#include "tests/corefoundation/Support.h"

namespace corefoundation_test {
namespace {

using namespace CoreFoundation;
using CFArrayExtension::CFValue;

// The array holds counts of its own, gives a replaced value back, and lets no index past its
// last through: not even Count, where the platform would append.
TEST(CFArrayTest, AnArrayOwnsItsValuesAndKeepsToItsBounds) {
  const Ref<CFType> a = CFString::New("a");
  const Ref<CFMutableArray> array = CFMutableArray::New(std::int64_t{0});
  array->Append(CFString::New("b"));
  array->Append(a);
  EXPECT_EQ(CFValue(array, 1)->RefCount(), 3);  // the array's, a's and the read wrapper's
  array->Value(0, a);
  EXPECT_EQ(a->RefCount(), 3);
  EXPECT_THROW(array->Value(2), toolkit::OutOfBoundsException);
  EXPECT_THROW(array->Value(2, a), toolkit::OutOfBoundsException);
  EXPECT_THROW(CFValue(array, -1), toolkit::OutOfBoundsException);
  EXPECT_THROW(array->Append(nullptr), toolkit::NilObjectException);
  EXPECT_EQ(array->Count(), 2);
}

// Keys and values are found by value, not identity; a dictionary set into another before it
// is filled is the same object there, as the interface lookup builds its matching dictionary.
TEST(CFDictionaryTest, EntriesAreFoundByValueAndOwnedByTheDictionary) {
  const Ref<CFType> key = CFString::New("key");
  const Ref<CFMutableDictionary> dictionary = CFMutableDictionary::New();
  const Ref<CFMutableDictionary> inner = CFMutableDictionary::New();
  dictionary->Value(key, inner);
  inner->Value(key, CFBoolean::GetTrue());
  dictionary->Value(nullptr, key);
  EXPECT_EQ(dictionary->Count(), 1);
  EXPECT_EQ(key->RefCount(), 3);  // the wrapper's and each dictionary's
  EXPECT_TRUE(dictionary->HasKey(CFString::New("key")) && !dictionary->HasValue(key));
  const Ref<CFType> read = dictionary->Value(CFString::New("key"));
  EXPECT_TRUE(IsExactly<CFDictionary>(read));  // read immutable
  EXPECT_EQ(read->Reference(), inner->Reference());
  EXPECT_EQ(inner->Value(CFString::New("key")),
            Ref<CFType>(CFBoolean::GetTrue()));  // the shared wrapper
  EXPECT_TRUE(dictionary->Value(CFString::New("none")).IsNil() &&
              dictionary->Value(nullptr).IsNil());
  dictionary->Remove(CFString::New("key"));
  EXPECT_EQ(key->RefCount(), 2);
}

}  // namespace
}  // namespace corefoundation_test
