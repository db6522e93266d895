#pragma once

#include <cstdint>
#include <memory>
#include <utility>
#include <vector>

#include "platform/toolkit/Variant.h"

namespace toolkit {

// A map from Variant to Variant. It promises no order of its keys. Numeric keys match by
// value across kinds, String keys by their bytes, object keys by identity.
//
// The entries lie side by side in one array, found through a table of slots with open
// addressing (linear probing, at most half full), each slot holding an entry's index and the
// top half of its key's hash, whose top bits are also the slot where the key's search begins;
// so a store or a lookup costs one hash of the key and, for a present key, mostly a single
// comparison, the table grows without hashing a key again, and the map allocates only when it
// grows.
class Dictionary : public Object {
 public:
  // A key and its value.
  struct Entry {
    // Each made in its place from what it is given, moved where that is about to go.
    template <class Key, class Item>
    Entry(Key&& k, Item&& v) : key(std::forward<Key>(k)), value(std::forward<Item>(v)) {}
    Variant key;
    Variant value;
  };

  Dictionary() = default;
  // The map that storing each entry of `entries` in turn with Value(key, value) makes: where
  // two keys are equal, the value of the later entry stands under the key of the earlier one.
  // Made in one pass, taking the entries over instead of copying them: for a reader that makes
  // a whole map at once.
  explicit Dictionary(std::vector<Entry> entries);

  std::int64_t Count() const { return static_cast<std::int64_t>(entries_.size()); }
  bool HasKey(const Variant& key) const { return FindSlot(key, CheckOf(key)) != kNone; }
  // The value of a key that is there; KeyNotFoundException otherwise. The reference stays
  // valid until the map next changes.
  const Variant& Value(const Variant& key) const;
  // Stores `value` under `key`, replacing what stood there. A key that was there stays as it
  // was stored first (so the Int32 key 1 stays one when the Double key 1.0 replaces its value).
  void Value(const Variant& key, const Variant& value);
  void Value(const Variant& key, Variant&& value);
  void Value(Variant&& key, const Variant& value);
  void Value(Variant&& key, Variant&& value);
  // The value of `key`, or `defaultValue` when the key isn't there.
  Variant Lookup(const Variant& key, const Variant& defaultValue) const;
  // The value of `key`, with `value` stored under it first when the key isn't there; the bool
  // tells whether it was. One lookup either way. The reference stays valid until the map next
  // changes.
  std::pair<Variant&, bool> FindOrAdd(const Variant& key, Variant value);
  void Remove(const Variant& key);  // KeyNotFoundException when the key isn't there
  void Clear();
  // Makes room for `count` entries in all, so that storing new keys up to that count allocates
  // nothing. It changes no entry.
  void Reserve(std::int64_t count);
  std::vector<Variant> Keys() const;
  std::vector<Variant> Values() const;

 private:
  // Plain bytes, so that a new table is zeroed in wide stores: a search reads a slot whole,
  // and a read that spans two narrower stores still on their way waits for both.
  struct Slot {
    std::uint32_t entry;  // index in entries_ + 1; 0 for an empty slot
    std::uint32_t check;  // the entry's key's CheckOf
  };
  static constexpr std::size_t kNone = ~std::size_t{0};

  // A key's check: the top half of its hash spread over all bits (integers hash as themselves).
  static std::uint32_t CheckOf(const Variant& key) {
    return static_cast<std::uint32_t>((key.Hash() * 0x9E3779B97F4A7C15) >> 32);
  }
  // The slot where the search for a key of `check` begins: its top bits.
  std::size_t Home(std::uint32_t check) const { return check >> shift_; }
  // Where the search for `key` ends in a slot table that isn't empty: the slot that refers to
  // the key, or the empty slot where the key would be placed.
  std::size_t Probe(const Variant& key, std::uint32_t check) const;
  // The slot that refers to `key`, or kNone.
  std::size_t FindSlot(const Variant& key, std::uint32_t check) const;
  // Makes the slot table `size` slots large, a power of two, and refers again to every entry.
  void Rehash(std::size_t size);
  // The size of a slot table for `count` entries.
  static std::size_t TableSize(std::size_t count);
  // Makes a new entry of a key that isn't there; its index. `free` is the empty slot where the
  // search for the key ended, or kNone when there was no table to search.
  template <class Key, class Item>
  std::size_t Add(Key&& key, Item&& value, std::uint32_t check, std::size_t free);
  template <class Key, class Item>
  void Store(Key&& key, Item&& value);

  std::vector<Entry> entries_;
  std::unique_ptr<Slot[]> slots_;  // none, or a power of two of them
  std::size_t slotCount_ = 0;
  int shift_ = 32;  // 32 - log2(slotCount_)
};

// A two-valued object.
class Pair : public Object {
 public:
  Pair(Variant left, Variant right) : left_(std::move(left)), right_(std::move(right)) {}
  const Variant& Left() const { return left_; }
  const Variant& Right() const { return right_; }

 private:
  Variant left_;
  Variant right_;
};

}  // namespace toolkit
