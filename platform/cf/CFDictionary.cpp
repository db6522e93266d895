#include "platform/cf/CFDictionary.h"

#include <string>
#include <utility>
#include <vector>

#include "platform/cf/Runtime.h"

struct OpaqueCFDictionary : cf::Object {
  static constexpr CFTypeID kTypeID = cf::kDictionaryTypeID;

  struct Entry {
    const void* key;
    const void* value;
    CFHashCode hash;
  };

  OpaqueCFDictionary(const CFDictionaryKeyCallBacks* k, const CFDictionaryValueCallBacks* v, bool m,
                     CFIndex limit)
      : Object(kTypeID),
        keyCallBacks(k != nullptr ? *k : CFDictionaryKeyCallBacks{}),
        valueCallBacks(v != nullptr ? *v : CFDictionaryValueCallBacks{}),
        isMutable(m),
        capacity(limit) {}
  OpaqueCFDictionary(const OpaqueCFDictionary&) = delete;
  OpaqueCFDictionary& operator=(const OpaqueCFDictionary&) = delete;
  ~OpaqueCFDictionary() {
    for (const Entry& entry : entries)
      Drop(entry);
  }

  CFHashCode HashOf(const void* key) const {
    return keyCallBacks.hash != nullptr
               ? keyCallBacks.hash(key)
               : static_cast<CFHashCode>(reinterpret_cast<std::uintptr_t>(key));
  }
  bool SameKey(const void* a, const void* b) const {
    return a == b || (keyCallBacks.equal != nullptr && keyCallBacks.equal(a, b) != 0);
  }
  bool SameValue(const void* a, const void* b) const {
    return a == b || (valueCallBacks.equal != nullptr && valueCallBacks.equal(a, b) != 0);
  }
  // The entry of `key`, or nullptr. The hash is compared first: it is cheaper than `equal`.
  Entry* Find(const void* key) {
    const CFHashCode hash = HashOf(key);
    for (Entry& entry : entries) {
      if (entry.hash == hash && SameKey(entry.key, key)) return &entry;
    }
    return nullptr;
  }
  const Entry* Find(const void* key) const {
    return const_cast<OpaqueCFDictionary*>(this)->Find(key);
  }
  const void* KeepValue(const void* value) const {
    return valueCallBacks.retain != nullptr ? valueCallBacks.retain(nullptr, value) : value;
  }
  void DropValue(const void* value) const {
    if (valueCallBacks.release != nullptr) valueCallBacks.release(nullptr, value);
  }
  void Drop(const Entry& entry) const {
    if (keyCallBacks.release != nullptr) keyCallBacks.release(nullptr, entry.key);
    DropValue(entry.value);
  }
  // Stores a pair: a new key is retained and appended, a present one gets the new value.
  void Set(const void* key, const void* value) {
    if (Entry* entry = Find(key)) {
      const void* old = entry->value;
      entry->value = KeepValue(value);
      DropValue(old);
      return;
    }
    const void* kept = keyCallBacks.retain != nullptr ? keyCallBacks.retain(nullptr, key) : key;
    entries.push_back({kept, KeepValue(value), HashOf(key)});
  }
  CFIndex Count() const { return static_cast<CFIndex>(entries.size()); }

  const CFDictionaryKeyCallBacks keyCallBacks;
  const CFDictionaryValueCallBacks valueCallBacks;
  const bool isMutable;
  const CFIndex capacity;  // 0 for no limit
  std::vector<Entry> entries;
};

namespace cf {

namespace {

using Dictionary = OpaqueCFDictionary;

Dictionary* NewDictionary(const CFDictionaryKeyCallBacks* keyCallBacks,
                          const CFDictionaryValueCallBacks* valueCallBacks, bool isMutable,
                          CFIndex capacity) {
  return new Dictionary(keyCallBacks, valueCallBacks, isMutable, capacity);
}

Dictionary* CopyOf(const Dictionary& source, bool isMutable, CFIndex capacity) {
  Dictionary* copy =
      NewDictionary(&source.keyCallBacks, &source.valueCallBacks, isMutable, capacity);
  for (const Dictionary::Entry& entry : source.entries)
    copy->Set(entry.key, entry.value);
  return Publish(copy);
}

Dictionary* MutableDictionary(CFMutableDictionaryRef ref, std::string_view function) {
  Dictionary* dictionary = Cast<Dictionary>(ref, function);
  if (dictionary != nullptr && !dictionary->isMutable) {
    Refuse(function, "the dictionary is immutable");
    return nullptr;
  }
  return dictionary;
}

bool DictionaryEqual(const Object& a, const Object& b) {
  const auto& x = static_cast<const Dictionary&>(a);
  const auto& y = static_cast<const Dictionary&>(b);
  if (x.entries.size() != y.entries.size()) return false;
  for (const Dictionary::Entry& entry : x.entries) {
    const Dictionary::Entry* other = y.Find(entry.key);
    if (other == nullptr || !x.SameValue(entry.value, other->value)) return false;
  }
  return true;
}

// The count, as on the platform: equal dictionaries have equal counts.
CFHashCode DictionaryHash(const Object& object) {
  return static_cast<CFHashCode>(static_cast<const Dictionary&>(object).entries.size());
}

std::string Described(CFDictionaryCopyDescriptionCallBack describe, const void* value) {
  if (describe != nullptr) {
    if (CFStringRef text = describe(value)) {
      std::string utf8 = UTF8Of(text);
      CFRelease(text);
      return utf8;
    }
  }
  return Join({"<", std::to_string(reinterpret_cast<std::uintptr_t>(value)), ">"});
}

std::string DictionaryContents(const Object& object) {
  const auto& dictionary = static_cast<const Dictionary&>(object);
  std::string text =
      Join({"type = ", dictionary.isMutable ? "mutable" : "immutable",
            ", count = ", std::to_string(dictionary.entries.size()), ", entries =>\n"});
  for (std::size_t i = 0; i < dictionary.entries.size(); ++i) {
    const Dictionary::Entry& entry = dictionary.entries[i];
    text += Join({"\t", std::to_string(i), " : ",
                  Described(dictionary.keyCallBacks.copyDescription, entry.key), " = ",
                  Described(dictionary.valueCallBacks.copyDescription, entry.value), "\n"});
  }
  return text;
}

}  // namespace

extern const ClassRecord kDictionaryClass = {"CFDictionary", Finalize<OpaqueCFDictionary>,
                                             DictionaryEqual, DictionaryHash, DictionaryContents};

}  // namespace cf

using cf::Cast;
using cf::CountCall;
using cf::Refuse;

extern "C" {

CFTypeID CFDictionaryGetTypeID(void) {
  CountCall();
  return cf::kDictionaryTypeID;
}

CFDictionaryRef CFDictionaryCreate(CFAllocatorRef, const void** keys, const void** values,
                                   CFIndex numValues, const CFDictionaryKeyCallBacks* keyCallBacks,
                                   const CFDictionaryValueCallBacks* valueCallBacks) {
  CountCall();
  if (numValues < 0 || ((keys == nullptr || values == nullptr) && numValues > 0)) {
    Refuse("CFDictionaryCreate", "no keys and values of that count");
    return nullptr;
  }
  OpaqueCFDictionary* dictionary = cf::NewDictionary(keyCallBacks, valueCallBacks, false, 0);
  for (CFIndex i = 0; i < numValues; ++i)
    dictionary->Set(keys[i], values[i]);
  return cf::Publish(dictionary);
}

CFDictionaryRef CFDictionaryCreateCopy(CFAllocatorRef, CFDictionaryRef theDict) {
  CountCall();
  const auto* dictionary = Cast<OpaqueCFDictionary>(theDict, "CFDictionaryCreateCopy");
  return dictionary != nullptr ? cf::CopyOf(*dictionary, false, 0) : nullptr;
}

CFMutableDictionaryRef CFDictionaryCreateMutable(CFAllocatorRef, CFIndex capacity,
                                                 const CFDictionaryKeyCallBacks* keyCallBacks,
                                                 const CFDictionaryValueCallBacks* valueCallBacks) {
  CountCall();
  if (capacity < 0) {
    Refuse("CFDictionaryCreateMutable", "negative capacity");
    return nullptr;
  }
  return cf::Publish(cf::NewDictionary(keyCallBacks, valueCallBacks, true, capacity));
}

CFMutableDictionaryRef CFDictionaryCreateMutableCopy(CFAllocatorRef, CFIndex capacity,
                                                     CFDictionaryRef theDict) {
  CountCall();
  const auto* dictionary = Cast<OpaqueCFDictionary>(theDict, "CFDictionaryCreateMutableCopy");
  if (dictionary == nullptr) return nullptr;
  if (capacity < 0 || (capacity > 0 && dictionary->Count() > capacity)) {
    Refuse("CFDictionaryCreateMutableCopy", "the dictionary holds more than the capacity");
    return nullptr;
  }
  return cf::CopyOf(*dictionary, true, capacity);
}

CFIndex CFDictionaryGetCount(CFDictionaryRef theDict) {
  CountCall();
  const auto* dictionary = Cast<OpaqueCFDictionary>(theDict, "CFDictionaryGetCount");
  return dictionary != nullptr ? dictionary->Count() : 0;
}

Boolean CFDictionaryContainsKey(CFDictionaryRef theDict, const void* key) {
  CountCall();
  const auto* dictionary = Cast<OpaqueCFDictionary>(theDict, "CFDictionaryContainsKey");
  return dictionary != nullptr && dictionary->Find(key) != nullptr;
}

Boolean CFDictionaryContainsValue(CFDictionaryRef theDict, const void* value) {
  CountCall();
  const auto* dictionary = Cast<OpaqueCFDictionary>(theDict, "CFDictionaryContainsValue");
  if (dictionary == nullptr) return false;
  for (const OpaqueCFDictionary::Entry& entry : dictionary->entries) {
    if (dictionary->SameValue(entry.value, value)) return true;
  }
  return false;
}

const void* CFDictionaryGetValue(CFDictionaryRef theDict, const void* key) {
  CountCall();
  const auto* dictionary = Cast<OpaqueCFDictionary>(theDict, "CFDictionaryGetValue");
  if (dictionary == nullptr) return nullptr;
  const OpaqueCFDictionary::Entry* entry = dictionary->Find(key);
  return entry != nullptr ? entry->value : nullptr;
}

Boolean CFDictionaryGetValueIfPresent(CFDictionaryRef theDict, const void* key,
                                      const void** value) {
  CountCall();
  const auto* dictionary = Cast<OpaqueCFDictionary>(theDict, "CFDictionaryGetValueIfPresent");
  if (dictionary == nullptr) return false;
  const OpaqueCFDictionary::Entry* entry = dictionary->Find(key);
  if (entry == nullptr) return false;
  if (value != nullptr) *value = entry->value;
  return true;
}

void CFDictionaryGetKeysAndValues(CFDictionaryRef theDict, const void** keys, const void** values) {
  CountCall();
  const auto* dictionary = Cast<OpaqueCFDictionary>(theDict, "CFDictionaryGetKeysAndValues");
  if (dictionary == nullptr) return;
  for (std::size_t i = 0; i < dictionary->entries.size(); ++i) {
    if (keys != nullptr) keys[i] = dictionary->entries[i].key;
    if (values != nullptr) values[i] = dictionary->entries[i].value;
  }
}

void CFDictionarySetValue(CFMutableDictionaryRef theDict, const void* key, const void* value) {
  CountCall();
  OpaqueCFDictionary* dictionary = cf::MutableDictionary(theDict, "CFDictionarySetValue");
  if (dictionary == nullptr) return;
  if (dictionary->capacity != 0 && dictionary->Find(key) == nullptr &&
      dictionary->Count() >= dictionary->capacity) {
    Refuse("CFDictionarySetValue", "the dictionary is full");
    return;
  }
  dictionary->Set(key, value);
}

void CFDictionaryRemoveValue(CFMutableDictionaryRef theDict, const void* key) {
  CountCall();
  OpaqueCFDictionary* dictionary = cf::MutableDictionary(theDict, "CFDictionaryRemoveValue");
  if (dictionary == nullptr) return;
  OpaqueCFDictionary::Entry* entry = dictionary->Find(key);
  if (entry == nullptr) return;
  const OpaqueCFDictionary::Entry removed = *entry;
  dictionary->entries.erase(dictionary->entries.begin() + (entry - dictionary->entries.data()));
  dictionary->Drop(removed);
}

void CFDictionaryRemoveAllValues(CFMutableDictionaryRef theDict) {
  CountCall();
  OpaqueCFDictionary* dictionary = cf::MutableDictionary(theDict, "CFDictionaryRemoveAllValues");
  if (dictionary == nullptr) return;
  std::vector<OpaqueCFDictionary::Entry> removed;
  removed.swap(dictionary->entries);
  for (const OpaqueCFDictionary::Entry& entry : removed)
    dictionary->Drop(entry);
}

}  // extern "C"
