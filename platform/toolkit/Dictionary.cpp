#include "platform/toolkit/Dictionary.h"

#include <algorithm>
#include <bit>
#include <utility>

namespace toolkit {

namespace {
[[noreturn]] void KeyNotFound(const Variant& key) {
  String text;
  try {
    text = key.StringValue();
  } catch (const TypeMismatchException&) {
    text = "an object";
  }
  throw KeyNotFoundException("Dictionary has no key " + text.Bytes());
}
}  // namespace

namespace {
// Whether two keys are equal, out of line: a search compares keys only where a part of their
// hashes matched, and the comparison of texts would otherwise weigh on every search.
[[gnu::noinline]] bool SameKey(const Variant& a, const Variant& b) {
  return a == b;
}
}  // namespace

inline std::size_t Dictionary::Probe(const Variant& key, std::uint64_t hash) const {
  const std::size_t mask = slots_.size() - 1;
  const auto check = static_cast<std::uint32_t>(hash);
  // The table is at most half full, so an empty slot ends every search.
  for (std::size_t i = Home(hash);; i = (i + 1) & mask) {
    const Slot slot = slots_[i];
    if (slot.entry == 0) return i;
    if (slot.check == check && SameKey(entries_[slot.entry - 1].key, key)) return i;
  }
}

std::size_t Dictionary::FindSlot(const Variant& key, std::uint64_t hash) const {
  if (slots_.empty()) return kNone;
  const std::size_t slot = Probe(key, hash);
  return slots_[slot].entry != 0 ? slot : kNone;
}

void Dictionary::Place(std::size_t index) {
  const std::size_t mask = slots_.size() - 1;
  const std::uint64_t hash = entries_[index].hash;
  std::size_t i = Home(hash);
  while (slots_[i].entry != 0)
    i = (i + 1) & mask;
  slots_[i] = Slot{static_cast<std::uint32_t>(index + 1), static_cast<std::uint32_t>(hash)};
}

void Dictionary::Rehash(std::size_t size) {
  slots_.assign(size, Slot{});
  shift_ = 64 - std::countr_zero(size);
  for (std::size_t index = 0; index < entries_.size(); ++index)
    Place(index);
}

void Dictionary::Reserve(std::int64_t count) {
  if (count <= 0) return;
  const auto n = static_cast<std::size_t>(count);
  entries_.reserve(n);
  // At most half full, as Store keeps it.
  const std::size_t size = std::bit_ceil(std::max<std::size_t>(n * 2, 16));
  if (size > slots_.size()) Rehash(size);
}

template <class Key, class Item>
std::size_t Dictionary::Add(Key&& key, Item&& value, std::uint64_t hash, std::size_t free) {
  // The slots may be made anew, but the entries move only once the new one is made: `key` and
  // `value` may be keys or values of this map.
  const std::size_t index = entries_.size();
  if ((index + 1) * 2 > slots_.size()) {
    Rehash(slots_.empty() ? 16 : slots_.size() * 2);
    free = kNone;  // the slot of the search is gone with the table it was in
  }
  entries_.emplace_back(std::forward<Key>(key), std::forward<Item>(value), hash);
  if (free == kNone) {
    Place(index);
  } else {
    slots_[free] = Slot{static_cast<std::uint32_t>(index + 1), static_cast<std::uint32_t>(hash)};
  }
  return index;
}

template <class Key, class Item>
void Dictionary::Store(Key&& key, Item&& value) {
  const std::uint64_t hash = Mix(key.Hash());
  std::size_t free = kNone;
  if (!slots_.empty()) {
    const std::size_t slot = Probe(key, hash);
    if (slots_[slot].entry != 0) {
      entries_[slots_[slot].entry - 1].value = std::forward<Item>(value);
      return;
    }
    free = slot;
  }
  Add(std::forward<Key>(key), std::forward<Item>(value), hash, free);
}

std::pair<Variant&, bool> Dictionary::FindOrAdd(const Variant& key, Variant value) {
  const std::uint64_t hash = Mix(key.Hash());
  std::size_t free = kNone;
  if (!slots_.empty()) {
    const std::size_t slot = Probe(key, hash);
    if (slots_[slot].entry != 0) return {entries_[slots_[slot].entry - 1].value, false};
    free = slot;
  }
  return {entries_[Add(key, std::move(value), hash, free)].value, true};
}

void Dictionary::Value(const Variant& key, const Variant& value) {
  Store(key, value);
}

void Dictionary::Value(const Variant& key, Variant&& value) {
  Store(key, std::move(value));
}

void Dictionary::Value(Variant&& key, const Variant& value) {
  Store(std::move(key), value);
}

void Dictionary::Value(Variant&& key, Variant&& value) {
  Store(std::move(key), std::move(value));
}

const Variant& Dictionary::Value(const Variant& key) const {
  const std::size_t slot = FindSlot(key, Mix(key.Hash()));
  if (slot == kNone) KeyNotFound(key);
  return entries_[slots_[slot].entry - 1].value;
}

Variant Dictionary::Lookup(const Variant& key, const Variant& defaultValue) const {
  const std::size_t slot = FindSlot(key, Mix(key.Hash()));
  return slot == kNone ? defaultValue : entries_[slots_[slot].entry - 1].value;
}

void Dictionary::Remove(const Variant& key) {
  std::size_t hole = FindSlot(key, Mix(key.Hash()));
  if (hole == kNone) KeyNotFound(key);
  const std::size_t index = slots_[hole].entry - 1;
  const std::size_t mask = slots_.size() - 1;

  // Empty the slot, and move back into it every later slot of the run that may stand there:
  // those whose home lies at or before the hole, counted round from the slot itself. So every
  // search still meets its key before an empty slot.
  for (std::size_t i = (hole + 1) & mask; slots_[i].entry != 0; i = (i + 1) & mask) {
    const std::size_t home = Home(entries_[slots_[i].entry - 1].hash);
    if (((i - home) & mask) >= ((i - hole) & mask)) {
      slots_[hole] = slots_[i];
      hole = i;
    }
  }
  slots_[hole] = Slot{};

  // The last entry takes the place of the removed one, and its slot follows it.
  const std::size_t last = entries_.size() - 1;
  if (index != last) {
    std::size_t i = Home(entries_[last].hash);
    while (slots_[i].entry != last + 1)
      i = (i + 1) & mask;
    slots_[i].entry = static_cast<std::uint32_t>(index + 1);
    entries_[index] = std::move(entries_[last]);
  }
  entries_.pop_back();
}

void Dictionary::Clear() {
  entries_.clear();
  slots_.assign(slots_.size(), Slot{});
}

std::vector<Variant> Dictionary::Keys() const {
  std::vector<Variant> keys;
  keys.reserve(entries_.size());
  for (const Entry& e : entries_)
    keys.push_back(e.key);
  return keys;
}

std::vector<Variant> Dictionary::Values() const {
  std::vector<Variant> values;
  values.reserve(entries_.size());
  for (const Entry& e : entries_)
    values.push_back(e.value);
  return values;
}

}  // namespace toolkit
