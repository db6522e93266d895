#include "platform/cf/CFDictionary.h"

#include <string>
#include <unordered_map>
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
  // The entry of `key`, or nullptr. Only the entries of the same hash are compared.
  Entry* Find(const void* key) {
    const auto [first, last] = index.equal_range(HashOf(key));
    for (auto it = first; it != last; ++it) {
      Entry& entry = entries[it->second];
      if (SameKey(entry.key, key)) return &entry;
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
    const CFHashCode hash = HashOf(key);
    index.emplace(hash, entries.size());
    entries.push_back({kept, KeepValue(value), hash});
  }
  // Takes the entry out of the dictionary and gives it to the caller, who drops it.
  Entry Take(Entry* entry) {
    const Entry taken = *entry;
    entries.erase(entries.begin() + (entry - entries.data()));
    // Later entries moved down by one, so the index is made anew.
    index.clear();
    for (std::size_t i = 0; i < entries.size(); ++i)
      index.emplace(entries[i].hash, i);
    return taken;
  }
  // Takes every entry out, for the caller to drop.
  std::vector<Entry> TakeAll() {
    index.clear();
    std::vector<Entry> taken;
    taken.swap(entries);
    return taken;
  }
  CFIndex Count() const { return static_cast<CFIndex>(entries.size()); }

  const CFDictionaryKeyCallBacks keyCallBacks;
  const CFDictionaryValueCallBacks valueCallBacks;
  const bool isMutable;
  const CFIndex capacity;  // 0 for no limit
  // In the order the keys were first stored.
  std::vector<Entry> entries;
  // Where the entries of each hash are.
  std::unordered_multimap<CFHashCode, std::size_t> index;
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

// Whether the pair may be stored: callbacks that retain take objects, never NULL.
bool Storable(const CFDictionaryKeyCallBacks* keyCallBacks,
              const CFDictionaryValueCallBacks* valueCallBacks, const void* key, const void* value,
              std::string_view function) {
  if ((key == nullptr && keyCallBacks != nullptr && keyCallBacks->retain != nullptr) ||
      (value == nullptr && valueCallBacks != nullptr && valueCallBacks->retain != nullptr)) {
    Refuse(function, "NULL key or value in a dictionary that retains them");
    return false;
  }
  return true;
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

std::string DictionaryContents(const Object& object) {
  const auto& dictionary = static_cast<const Dictionary&>(object);
  std::string text =
      Join({"type = ", dictionary.isMutable ? "mutable" : "immutable",
            ", count = ", std::to_string(dictionary.entries.size()), ", entries =>\n"});
  for (std::size_t i = 0; i < dictionary.entries.size(); ++i) {
    const Dictionary::Entry& entry = dictionary.entries[i];
    text += Join({"\t", std::to_string(i), " : ",
                  DescribeValue(dictionary.keyCallBacks.copyDescription, entry.key), " = ",
                  DescribeValue(dictionary.valueCallBacks.copyDescription, entry.value), "\n"});
  }
  return text;
}

}  // namespace

const void* ValueForTextKey(const OpaqueCFDictionary& dictionary, std::string_view key) {
  for (const Dictionary::Entry& entry : dictionary.entries) {
    const Object* object = Find(entry.key);
    if (object != nullptr && object->TypeID() == kStringTypeID &&
        UTF8Of(static_cast<CFStringRef>(entry.key)) == key) {
      return entry.value;
    }
  }
  return nullptr;
}

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
  for (CFIndex i = 0; i < numValues; ++i) {
    if (!cf::Storable(keyCallBacks, valueCallBacks, keys[i], values[i], "CFDictionaryCreate")) {
      return nullptr;
    }
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
  if (dictionary == nullptr || !cf::Storable(&dictionary->keyCallBacks, &dictionary->valueCallBacks,
                                             key, value, "CFDictionarySetValue")) {
    return;
  }
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
  dictionary->Drop(dictionary->Take(entry));
}

void CFDictionaryRemoveAllValues(CFMutableDictionaryRef theDict) {
  CountCall();
  OpaqueCFDictionary* dictionary = cf::MutableDictionary(theDict, "CFDictionaryRemoveAllValues");
  if (dictionary == nullptr) return;
  // Released after the dictionary is empty, so that a finalizer that reaches back sees it so.
  for (const OpaqueCFDictionary::Entry& entry : dictionary->TakeAll())
    dictionary->Drop(entry);
}

}  // extern "C"
