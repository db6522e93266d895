#include "platform/toolkit/Dictionary.h"

#include <algorithm>
#include <bit>
#include <span>
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

inline std::size_t Dictionary::Probe(const Variant& key, std::uint32_t check) const {
  const Slot* const slots = slots_.get();
  const std::size_t mask = slotCount_ - 1;
  // The table is at most half full, so an empty slot ends every search.
  for (std::size_t i = Home(check);; i = (i + 1) & mask) {
    const Slot slot = slots[i];
    if (slot.entry == 0) return i;
    if (slot.check == check && SameKey(entries_[slot.entry - 1].key, key)) return i;
  }
}

std::size_t Dictionary::FindSlot(const Variant& key, std::uint32_t check) const {
  if (slotCount_ == 0) return kNone;
  const std::size_t slot = Probe(key, check);
  return slots_[slot].entry != 0 ? slot : kNone;
}

void Dictionary::Rehash(std::size_t size) {
  const std::unique_ptr<Slot[]> old = std::exchange(slots_, std::make_unique<Slot[]>(size));
  const std::size_t oldCount = std::exchange(slotCount_, size);
  shift_ = 32 - std::countr_zero(size);
  const std::size_t mask = size - 1;
  for (const Slot slot : std::span(old.get(), oldCount)) {
    if (slot.entry == 0) continue;
    std::size_t i = Home(slot.check);
    while (slots_[i].entry != 0)
      i = (i + 1) & mask;
    slots_[i] = slot;
  }
}

std::size_t Dictionary::TableSize(std::size_t count) {
  // At most half full, as Store keeps it.
  return std::bit_ceil(std::max<std::size_t>(count * 2, 16));
}

void Dictionary::Reserve(std::int64_t count) {
  if (count <= 0) return;
  const auto n = static_cast<std::size_t>(count);
  entries_.reserve(n);
  const std::size_t size = TableSize(n);
  if (size > slotCount_) Rehash(size);
}

Dictionary::Dictionary(std::vector<Entry> entries) : entries_(std::move(entries)) {
  if (entries_.empty()) return;
  // Made at once, the map starts at most a quarter full: its keys then mostly find their home
  // slot free, here and in every later search.
  Rehash(TableSize(entries_.size() * 2));
  // Each entry is kept, moved down over those that went before it, unless its key is one of
  // an earlier entry, which then takes its value.
  Entry* const all = entries_.data();
  const std::size_t count = entries_.size();
  std::size_t kept = 0;
  for (std::size_t i = 0; i < count; ++i) {
    const std::uint32_t check = CheckOf(all[i].key);
    Slot& slot = slots_[Probe(all[i].key, check)];
    if (slot.entry != 0) {
      all[slot.entry - 1].value = std::move(all[i].value);
      continue;
    }
    if (kept != i) all[kept] = std::move(all[i]);
    slot = Slot{static_cast<std::uint32_t>(kept + 1), check};
    ++kept;
  }
  entries_.erase(entries_.begin() + static_cast<std::ptrdiff_t>(kept), entries_.end());
}

template <class Key, class Item>
std::size_t Dictionary::Add(Key&& key, Item&& value, std::uint32_t check, std::size_t free) {
  // The slots may be made anew, but the entries move only once the new one is made: `key` and
  // `value` may be keys or values of this map.
  const std::size_t index = entries_.size();
  if ((index + 1) * 2 > slotCount_) {
    Rehash(slotCount_ == 0 ? 16 : slotCount_ * 2);
    free = Probe(key, check);  // the slot of the search is gone with the table it was in
  }
  entries_.emplace_back(std::forward<Key>(key), std::forward<Item>(value));
  slots_[free] = Slot{static_cast<std::uint32_t>(index + 1), check};
  return index;
}

template <class Key, class Item>
void Dictionary::Store(Key&& key, Item&& value) {
  const std::uint32_t check = CheckOf(key);
  std::size_t free = kNone;
  if (slotCount_ != 0) {
    const std::size_t slot = Probe(key, check);
    if (slots_[slot].entry != 0) {
      entries_[slots_[slot].entry - 1].value = std::forward<Item>(value);
      return;
    }
    free = slot;
  }
  Add(std::forward<Key>(key), std::forward<Item>(value), check, free);
}

std::pair<Variant&, bool> Dictionary::FindOrAdd(const Variant& key, Variant value) {
  const std::uint32_t check = CheckOf(key);
  std::size_t free = kNone;
  if (slotCount_ != 0) {
    const std::size_t slot = Probe(key, check);
    if (slots_[slot].entry != 0) return {entries_[slots_[slot].entry - 1].value, false};
    free = slot;
  }
  return {entries_[Add(key, std::move(value), check, free)].value, true};
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
  const std::size_t slot = FindSlot(key, CheckOf(key));
  if (slot == kNone) KeyNotFound(key);
  return entries_[slots_[slot].entry - 1].value;
}

Variant Dictionary::Lookup(const Variant& key, const Variant& defaultValue) const {
  const std::size_t slot = FindSlot(key, CheckOf(key));
  return slot == kNone ? defaultValue : entries_[slots_[slot].entry - 1].value;
}

void Dictionary::Remove(const Variant& key) {
  std::size_t hole = FindSlot(key, CheckOf(key));
  if (hole == kNone) KeyNotFound(key);
  const std::size_t index = slots_[hole].entry - 1;
  const std::size_t mask = slotCount_ - 1;

  // Empty the slot, and move back into it every later slot of the run that may stand there:
  // those whose home lies at or before the hole, counted round from the slot itself. So every
  // search still meets its key before an empty slot.
  for (std::size_t i = (hole + 1) & mask; slots_[i].entry != 0; i = (i + 1) & mask) {
    const std::size_t home = Home(slots_[i].check);
    if (((i - home) & mask) >= ((i - hole) & mask)) {
      slots_[hole] = slots_[i];
      hole = i;
    }
  }
  slots_[hole] = Slot{};

  // The last entry takes the place of the removed one, and its slot follows it.
  const std::size_t last = entries_.size() - 1;
  if (index != last) {
    std::size_t i = Home(CheckOf(entries_[last].key));
    while (slots_[i].entry != last + 1)
      i = (i + 1) & mask;
    slots_[i].entry = static_cast<std::uint32_t>(index + 1);
    entries_[index] = std::move(entries_[last]);
  }
  entries_.pop_back();
}

void Dictionary::Clear() {
  entries_.clear();
  std::fill_n(slots_.get(), slotCount_, Slot{});
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
