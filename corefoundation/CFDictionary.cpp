#include "corefoundation/CFDictionary.h"

#include <cstring>

#include "corefoundation/Carbon.h"
#include "corefoundation/FetchedOnce.h"
#include "platform/cf/CFDictionary.h"
#include "platform/toolkit/Dictionary.h"
#include "platform/toolkit/Exceptions.h"
#include "platform/toolkit/MemoryBlock.h"

namespace CoreFoundation {

namespace {

// The reference of a wrapper, or null for nil.
Ptr ReferenceOf(const Ref<CFType>& wrapper) {
  return wrapper.IsNil() ? nullptr : wrapper->Reference();
}

}  // namespace

Ref<CFDictionary> CFDictionary::New(Ptr ref, bool hasOwnership) {
  return Make<CFDictionary>(ref, hasOwnership);
}

Ref<CFDictionary> CFDictionary::New(const Ref<CFDictionary>& source) {
  return Make<CFDictionary>(source);
}

Ref<CFDictionary> CFDictionary::New(const std::vector<Ref<CFType>>& keys,
                                    const std::vector<Ref<CFType>>& values) {
  return Make<CFDictionary>(keys, values);
}

Ref<CFDictionary> CFDictionary::New(const Ref<CFObjectMBS>& source) {
  return MakeFrom<CFDictionary>(source);
}

std::uint32_t CFDictionary::ClassID() {
  static FetchedOnce<std::uint32_t> id;
  return id.Get([] { return static_cast<std::uint32_t>(CFDictionaryGetTypeID()); });
}

Ptr CFDictionary::DefaultCallbacks(const String& symbolName) {
  return Carbon::Bundle()->DataPointerNotRetained(symbolName);
}

void CFDictionary::Constructor(const Ref<CFDictionary>& source) {
  const Ptr ref = ReferenceOf(source);
  if (ref == nullptr) return;
  Constructor(CFDictionaryCreateCopy(nullptr, static_cast<CFDictionaryRef>(ref)), true);
}

void CFDictionary::Constructor(const std::vector<Ref<CFType>>& keys,
                               const std::vector<Ref<CFType>>& values) {
  if (keys.size() != values.size()) throw toolkit::OutOfBoundsException();
  static FetchedOnce<TypeCallbacks> kept;
  const TypeCallbacks& callbacks = kept.Get(FetchTypeCallbacks);
  CFDictionaryRef dictionary = nullptr;
  if (keys.empty()) {
    dictionary = CFDictionaryCreate(nullptr, nullptr, nullptr, 0, callbacks.keys, callbacks.values);
  } else {
    const std::size_t bytes = keys.size() * sizeof(Ptr);
    toolkit::MemoryBlock keyBlock(bytes);
    toolkit::MemoryBlock valueBlock(bytes);
    for (std::size_t i = 0; i < keys.size(); ++i) {
      const Ptr key = ElementReference(keys[i]);
      const Ptr value = ElementReference(values[i]);
      std::memcpy(keyBlock.Data() + i * sizeof(Ptr), &key, sizeof key);
      std::memcpy(valueBlock.Data() + i * sizeof(Ptr), &value, sizeof value);
    }
    dictionary =
        CFDictionaryCreate(nullptr, reinterpret_cast<const void**>(keyBlock.Data()),
                           reinterpret_cast<const void**>(valueBlock.Data()),
                           static_cast<CFIndex>(keys.size()), callbacks.keys, callbacks.values);
  }
  Constructor(dictionary, true);
}

void CFDictionary::FetchTypeCallbacks(TypeCallbacks& callbacks) {
  callbacks.keys = static_cast<const CFDictionaryKeyCallBacks*>(
      DefaultCallbacks("kCFTypeDictionaryKeyCallBacks"));
  callbacks.values = static_cast<const CFDictionaryValueCallBacks*>(
      DefaultCallbacks("kCFTypeDictionaryValueCallBacks"));
}

bool CFDictionary::BothHold(const Ref<CFType>& other) const {
  return Operator_Compare(nullptr) != 0 && ReferenceOf(other) != nullptr;
}

std::int64_t CFDictionary::Count() const {
  if (Operator_Compare(nullptr) == 0) return 0;
  return CFDictionaryGetCount(Dictionary());
}

bool CFDictionary::HasKey(const Ref<CFType>& key) const {
  return BothHold(key) && CFDictionaryContainsKey(Dictionary(), key->Reference());
}

bool CFDictionary::HasValue(const Ref<CFType>& value) const {
  return BothHold(value) && CFDictionaryContainsValue(Dictionary(), value->Reference());
}

Ref<CFType> CFDictionary::Lookup(const Ref<CFType>& key, const Ref<CFType>& defaultValue) const {
  if (!BothHold(key)) return defaultValue;
  const void* value = nullptr;
  if (!CFDictionaryGetValueIfPresent(Dictionary(), key->Reference(), &value)) return defaultValue;
  return NewObject(value, false, 0);
}

Ref<CFType> CFDictionary::Value(const Ref<CFType>& key) const {
  return Lookup(key, nullptr);
}

std::vector<Ref<CFType>> CFDictionary::Keys() const {
  std::vector<Ref<CFType>> keys;
  const std::int64_t count = Count();
  if (count <= 0) return keys;
  std::vector<const void*> block(static_cast<std::size_t>(count));
  CFDictionaryGetKeysAndValues(Dictionary(), block.data(), nullptr);
  keys.reserve(block.size());
  for (const void* key : block)
    keys.push_back(NewObject(key, false, 0));
  return keys;
}

Variant CFDictionary::Event_VariantValue() const {
  auto dictionary = Ref<toolkit::Dictionary>::New();
  for (const Ref<CFType>& key : Keys()) {
    dictionary->Value(key->VariantValue(), Value(key)->VariantValue());
  }
  return dictionary;
}

}  // namespace CoreFoundation
