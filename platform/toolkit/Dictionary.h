#pragma once

#include <unordered_map>
#include <vector>

#include "platform/toolkit/Variant.h"

namespace toolkit {

// A map from Variant to Variant. It promises no order of its keys. Numeric keys match by
// value across kinds, String keys by their bytes, object keys by identity.
class Dictionary : public Object {
 public:
  std::int64_t Count() const { return static_cast<std::int64_t>(map_.size()); }
  bool HasKey(const Variant& key) const { return map_.contains(key); }
  // The value of a key that is there; KeyNotFoundException otherwise.
  const Variant& Value(const Variant& key) const;
  // Stores `value` under `key`, replacing what stood there.
  void Value(const Variant& key, Variant value) { map_.insert_or_assign(key, std::move(value)); }
  void Value(Variant&& key, Variant value) {
    map_.insert_or_assign(std::move(key), std::move(value));
  }
  // The value of `key`, or `defaultValue` when the key isn't there.
  Variant Lookup(const Variant& key, const Variant& defaultValue) const;
  void Remove(const Variant& key);  // KeyNotFoundException when the key isn't there
  void Clear() { map_.clear(); }
  std::vector<Variant> Keys() const;
  std::vector<Variant> Values() const;

 private:
  std::unordered_map<Variant, Variant, VariantHash> map_;
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
