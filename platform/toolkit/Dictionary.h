#pragma once

#include <cstdint>
#include <utility>
#include <vector>

#include "platform/toolkit/Variant.h"

namespace toolkit {

// A map from Variant to Variant. It promises no order of its keys. Numeric keys match by
// value across kinds, String keys by their bytes, object keys by identity.
//
// The entries lie side by side in one array, found through a table of slots with open
// addressing (linear probing, at most half full), each slot holding an entry's index and a part
// of its key's hash; so a store or a lookup costs one hash of the key and, for a present key,
// mostly a single comparison, and the map allocates only when it grows.
class Dictionary : public Object {
 public:
  std::int64_t Count() const { return static_cast<std::int64_t>(entries_.size()); }
  bool HasKey(const Variant& key) const { return FindSlot(key, Mix(key.Hash())) != kNone; }
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
  struct Entry {
    template <class Key, class Item>
    Entry(Key&& k, Item&& v, std::uint64_t h)
        : key(std::forward<Key>(k)), value(std::forward<Item>(v)), hash(h) {}
    Variant key;
    Variant value;
    std::uint64_t hash;  // Mix of the key's hash
  };
  struct Slot {
    std::uint32_t entry = 0;  // index in entries_ + 1; 0 for an empty slot
    std::uint32_t check = 0;  // the low half of the entry's hash, compared before the key
  };
  static constexpr std::size_t kNone = ~std::size_t{0};

  // Spreads a Variant's hash over all bits (integers hash as themselves); the slot of a hash
  // is its top bits.
  static std::uint64_t Mix(std::size_t hash) { return hash * 0x9E3779B97F4A7C15; }
  std::size_t Home(std::uint64_t hash) const { return static_cast<std::size_t>(hash >> shift_); }
  // Where the search for `key`, whose Mix is `hash`, ends in a slot table that isn't empty:
  // the slot that refers to the key, or the empty slot where the key would be placed.
  std::size_t Probe(const Variant& key, std::uint64_t hash) const;
  // The slot that refers to `key`, or kNone.
  std::size_t FindSlot(const Variant& key, std::uint64_t hash) const;
  // Makes the slot table `size` slots large, a power of two, and fills it again.
  void Rehash(std::size_t size);
  // Points the first free slot from the entry's home at entry `index`.
  void Place(std::size_t index);
  // Makes a new entry of a key that isn't there, whose Mix is `hash`; its index. `free` is the
  // empty slot where the search for the key ended, or kNone when there was no table to search.
  template <class Key, class Item>
  std::size_t Add(Key&& key, Item&& value, std::uint64_t hash, std::size_t free);
  template <class Key, class Item>
  void Store(Key&& key, Item&& value);

  std::vector<Entry> entries_;
  std::vector<Slot> slots_;  // empty, or a power of two of them
  int shift_ = 64;           // 64 - log2(slots_.size())
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
