#include "platform/cf/CFArray.h"

#include <string>
#include <utility>
#include <vector>

#include "platform/cf/Runtime.h"

struct OpaqueCFArray : cf::Object {
  static constexpr CFTypeID kTypeID = cf::kArrayTypeID;

  OpaqueCFArray(const CFArrayCallBacks* cb, bool m, CFIndex limit)
      : Object(kTypeID),
        callBacks(cb != nullptr ? *cb : CFArrayCallBacks{}),
        isMutable(m),
        capacity(limit) {}
  OpaqueCFArray(const OpaqueCFArray&) = delete;
  OpaqueCFArray& operator=(const OpaqueCFArray&) = delete;
  ~OpaqueCFArray() {
    for (const void* value : values)
      Drop(value);
  }

  const void* Keep(const void* value) const {
    return callBacks.retain != nullptr ? callBacks.retain(nullptr, value) : value;
  }
  void Drop(const void* value) const {
    if (callBacks.release != nullptr) callBacks.release(nullptr, value);
  }
  bool Same(const void* a, const void* b) const {
    if (a == b) return true;
    return callBacks.equal != nullptr && callBacks.equal(a, b) != 0;
  }
  CFIndex Count() const { return static_cast<CFIndex>(values.size()); }

  const CFArrayCallBacks callBacks;
  const bool isMutable;
  const CFIndex capacity;  // 0 for no limit
  std::vector<const void*> values;
};

namespace cf {

namespace {

OpaqueCFArray* NewArray(const CFArrayCallBacks* callBacks, bool isMutable, CFIndex capacity,
                        const void* const* values, CFIndex count) {
  auto* array = new OpaqueCFArray(callBacks, isMutable, capacity);
  array->values.reserve(static_cast<std::size_t>(count));
  for (CFIndex i = 0; i < count; ++i)
    array->values.push_back(array->Keep(values[i]));
  return Publish(array);
}

OpaqueCFArray* MutableArray(CFMutableArrayRef ref, std::string_view function) {
  OpaqueCFArray* array = Cast<OpaqueCFArray>(ref, function);
  if (array != nullptr && !array->isMutable) {
    Refuse(function, "the array is immutable");
    return nullptr;
  }
  return array;
}

bool IndexInside(CFIndex index, CFIndex count, std::string_view function) {
  if (index >= 0 && index < count) return true;
  Refuse(function, Join({"index ", std::to_string(index), " outside array of count ",
                         std::to_string(count)}));
  return false;
}

// Whether the value may be stored: callbacks that retain take objects, never NULL.
bool Storable(const CFArrayCallBacks* callBacks, const void* value, std::string_view function) {
  if (value == nullptr && callBacks != nullptr && callBacks->retain != nullptr) {
    Refuse(function, "NULL value in an array that retains its values");
    return false;
  }
  return true;
}

bool ArrayEqual(const Object& a, const Object& b) {
  const auto& x = static_cast<const OpaqueCFArray&>(a);
  const auto& y = static_cast<const OpaqueCFArray&>(b);
  if (x.values.size() != y.values.size()) return false;
  for (std::size_t i = 0; i < x.values.size(); ++i) {
    if (!x.Same(x.values[i], y.values[i])) return false;
  }
  return true;
}

// The count, as on the platform: cheap, and equal arrays have equal counts.
CFHashCode ArrayHash(const Object& object) {
  return static_cast<CFHashCode>(static_cast<const OpaqueCFArray&>(object).values.size());
}

std::string ArrayContents(const Object& object) {
  const auto& array = static_cast<const OpaqueCFArray&>(object);
  std::string text = Join({"type = ", array.isMutable ? "mutable-small" : "immutable",
                           ", count = ", std::to_string(array.values.size()), ", values = (\n"});
  for (std::size_t i = 0; i < array.values.size(); ++i) {
    text += Join({"\t", std::to_string(i), " : ",
                  DescribeValue(array.callBacks.copyDescription, array.values[i]), "\n"});
  }
  return text + ")";
}

}  // namespace

extern const ClassRecord kArrayClass = {"CFArray", Finalize<OpaqueCFArray>, ArrayEqual, ArrayHash,
                                        ArrayContents};

}  // namespace cf

using cf::Cast;
using cf::CountCall;
using cf::Refuse;

extern "C" {

CFTypeID CFArrayGetTypeID(void) {
  CountCall();
  return cf::kArrayTypeID;
}

CFArrayRef CFArrayCreate(CFAllocatorRef, const void** values, CFIndex numValues,
                         const CFArrayCallBacks* callBacks) {
  CountCall();
  if (numValues < 0 || (values == nullptr && numValues > 0)) {
    Refuse("CFArrayCreate", "no values of that count");
    return nullptr;
  }
  for (CFIndex i = 0; i < numValues; ++i) {
    if (!cf::Storable(callBacks, values[i], "CFArrayCreate")) return nullptr;
  }
  return cf::NewArray(callBacks, false, 0, values, numValues);
}

CFArrayRef CFArrayCreateCopy(CFAllocatorRef, CFArrayRef theArray) {
  CountCall();
  const auto* array = Cast<OpaqueCFArray>(theArray, "CFArrayCreateCopy");
  if (array == nullptr) return nullptr;
  return cf::NewArray(&array->callBacks, false, 0, array->values.data(), array->Count());
}

CFMutableArrayRef CFArrayCreateMutable(CFAllocatorRef, CFIndex capacity,
                                       const CFArrayCallBacks* callBacks) {
  CountCall();
  if (capacity < 0) {
    Refuse("CFArrayCreateMutable", "negative capacity");
    return nullptr;
  }
  return cf::NewArray(callBacks, true, capacity, nullptr, 0);
}

CFIndex CFArrayGetCount(CFArrayRef theArray) {
  CountCall();
  const auto* array = Cast<OpaqueCFArray>(theArray, "CFArrayGetCount");
  return array != nullptr ? array->Count() : 0;
}

const void* CFArrayGetValueAtIndex(CFArrayRef theArray, CFIndex idx) {
  CountCall();
  const auto* array = Cast<OpaqueCFArray>(theArray, "CFArrayGetValueAtIndex");
  if (array == nullptr || !cf::IndexInside(idx, array->Count(), "CFArrayGetValueAtIndex")) {
    return nullptr;
  }
  return array->values[static_cast<std::size_t>(idx)];
}

void CFArrayAppendValue(CFMutableArrayRef theArray, const void* value) {
  CountCall();
  OpaqueCFArray* array = cf::MutableArray(theArray, "CFArrayAppendValue");
  if (array == nullptr || !cf::Storable(&array->callBacks, value, "CFArrayAppendValue")) return;
  if (array->capacity != 0 && array->Count() >= array->capacity) {
    Refuse("CFArrayAppendValue", "the array is full");
    return;
  }
  array->values.push_back(array->Keep(value));
}

void CFArraySetValueAtIndex(CFMutableArrayRef theArray, CFIndex idx, const void* value) {
  CountCall();
  OpaqueCFArray* array = cf::MutableArray(theArray, "CFArraySetValueAtIndex");
  if (array == nullptr || !cf::Storable(&array->callBacks, value, "CFArraySetValueAtIndex")) {
    return;
  }
  if (idx == array->Count()) {
    CFArrayAppendValue(theArray, value);
    return;
  }
  if (!cf::IndexInside(idx, array->Count(), "CFArraySetValueAtIndex")) return;
  // Keep the new value before dropping the old: they may be one object.
  const void* kept = array->Keep(value);
  std::swap(array->values[static_cast<std::size_t>(idx)], kept);
  array->Drop(kept);
}

}  // extern "C"
