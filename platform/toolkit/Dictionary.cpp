#include "platform/toolkit/Dictionary.h"

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

const Variant& Dictionary::Value(const Variant& key) const {
  const auto it = map_.find(key);
  if (it == map_.end()) KeyNotFound(key);
  return it->second;
}

Variant Dictionary::Lookup(const Variant& key, const Variant& defaultValue) const {
  const auto it = map_.find(key);
  return it == map_.end() ? defaultValue : it->second;
}

void Dictionary::Remove(const Variant& key) {
  if (map_.erase(key) == 0) KeyNotFound(key);
}

std::vector<Variant> Dictionary::Keys() const {
  std::vector<Variant> keys;
  keys.reserve(map_.size());
  for (const auto& [k, v] : map_)
    keys.push_back(k);
  return keys;
}

std::vector<Variant> Dictionary::Values() const {
  std::vector<Variant> values;
  values.reserve(map_.size());
  for (const auto& [k, v] : map_)
    values.push_back(v);
  return values;
}

}  // namespace toolkit
