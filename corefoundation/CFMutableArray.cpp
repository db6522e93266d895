#include "corefoundation/CFMutableArray.h"

#include "platform/cf/CFArray.h"
#include "platform/toolkit/Exceptions.h"

namespace CoreFoundation {

Ref<CFMutableArray> CFMutableArray::New(Ptr ref, bool hasOwnership) {
  return Make<CFMutableArray>(ref, hasOwnership);
}

Ref<CFMutableArray> CFMutableArray::New(std::int64_t capacity) {
  return Make<CFMutableArray>(capacity);
}

Ref<CFMutableArray> CFMutableArray::New(const std::vector<Ref<CFType>>& values) {
  return Make<CFMutableArray>(values);
}

Ref<CFMutableArray> CFMutableArray::New(const std::vector<String>& strings) {
  return Make<CFMutableArray>(strings);
}

void CFMutableArray::Constructor(std::int64_t capacity) {
  const auto callbacks = static_cast<const CFArrayCallBacks*>(DefaultCallbacks());
  Constructor(CFArrayCreateMutable(nullptr, static_cast<CFIndex>(capacity), callbacks), true);
}

CFMutableArrayRef CFMutableArray::Mutable() const {
  return static_cast<CFMutableArrayRef>(const_cast<void*>(Reference()));
}

void CFMutableArray::Append(const Ref<CFType>& value) {
  const Ptr ref = value->Reference();  // raises for nil
  if (ref == nullptr) throw toolkit::NilObjectException();
  AppendPtr(ref);
}

void CFMutableArray::AppendPtr(Ptr p) {
  // The array retains what it stores, and neither an empty wrapper nor NULL can take part.
  if (p == nullptr || Operator_Compare(nullptr) == 0) throw toolkit::NilObjectException();
  CFArrayAppendValue(Mutable(), p);
}

void CFMutableArray::Value(std::int64_t index, const Ref<CFType>& value) {
  // Count itself is refused too, though the platform would take it as an append.
  if (index < 0 || index >= Count()) throw toolkit::OutOfBoundsException();
  const Ptr ref = value->Reference();  // raises for nil
  if (ref == nullptr) throw toolkit::NilObjectException();
  CFArraySetValueAtIndex(Mutable(), static_cast<CFIndex>(index), ref);
}

}  // namespace CoreFoundation
