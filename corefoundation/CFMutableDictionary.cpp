#include "corefoundation/CFMutableDictionary.h"

#include "corefoundation/FetchedOnce.h"
#include "platform/cf/CFDictionary.h"

namespace CoreFoundation {

Ref<CFMutableDictionary> CFMutableDictionary::New(Ptr ref, bool hasOwnership) {
  return Make<CFMutableDictionary>(ref, hasOwnership);
}

Ref<CFMutableDictionary> CFMutableDictionary::New() {
  return Make<CFMutableDictionary>();
}

Ref<CFMutableDictionary> CFMutableDictionary::New(const Ref<CFDictionary>& source) {
  return Make<CFMutableDictionary>(source);
}

Ref<CFMutableDictionary> CFMutableDictionary::New(const std::vector<Ref<CFType>>& keys,
                                                  const std::vector<Ref<CFType>>& values) {
  return Make<CFMutableDictionary>(keys, values);
}

void CFMutableDictionary::Constructor() {
  static FetchedOnce<TypeCallbacks> kept;
  const TypeCallbacks& callbacks = kept.Get(FetchTypeCallbacks);
  Constructor(CFDictionaryCreateMutable(nullptr, 0, callbacks.keys, callbacks.values), true);
}

void CFMutableDictionary::Constructor(const Ref<CFDictionary>& source) {
  if (source.IsNil() || source->Reference() == nullptr) return;
  const auto ref = static_cast<CFDictionaryRef>(source->Reference());
  Constructor(CFDictionaryCreateMutableCopy(nullptr, 0, ref), true);
}

CFMutableDictionaryRef CFMutableDictionary::Mutable() const {
  return static_cast<CFMutableDictionaryRef>(const_cast<void*>(Reference()));
}

void CFMutableDictionary::Value(const Ref<CFType>& key, const Ref<CFType>& value) {
  if (!BothHold(key) || !BothHold(value)) return;
  CFDictionarySetValue(Mutable(), key->Reference(), value->Reference());
}

void CFMutableDictionary::Remove(const Ref<CFType>& key) {
  if (!BothHold(key)) return;
  CFDictionaryRemoveValue(Mutable(), key->Reference());
}

void CFMutableDictionary::Clear() {
  if (Operator_Compare(nullptr) == 0) return;
  CFDictionaryRemoveAllValues(Mutable());
}

}  // namespace CoreFoundation
