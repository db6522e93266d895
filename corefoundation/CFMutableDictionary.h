#pragma once

#include "corefoundation/CFDictionary.h"

namespace CoreFoundation {

// A wrapped mutable CFDictionary. The changes do nothing, silently, on an empty wrapper or
// for a nil key or value (or one that holds no reference). The inherited constructor from
// keys and values makes an immutable platform dictionary inside this wrapper.
class CFMutableDictionary : public CFDictionary {
 public:
  static Ref<CFMutableDictionary> New(Ptr ref, bool hasOwnership);
  // A new empty mutable dictionary of unlimited capacity.
  static Ref<CFMutableDictionary> New();
  // A mutable copy of `source`; an empty wrapper for a nil or empty `source`.
  static Ref<CFMutableDictionary> New(const Ref<CFDictionary>& source);
  static Ref<CFMutableDictionary> New(const std::vector<Ref<CFType>>& keys,
                                      const std::vector<Ref<CFType>>& values);

  virtual void Clear();
  virtual void Remove(const Ref<CFType>& key);
  using CFDictionary::Value;
  // Sets the entry; the dictionary keeps counts of its own on key and value.
  virtual void Value(const Ref<CFType>& key, const Ref<CFType>& value);

 protected:
  friend class CFType;
  CFMutableDictionary() = default;
  using CFDictionary::Constructor;

  void Constructor(const Ref<CFDictionary>& source) override;
  virtual void Constructor();

 private:
  CFMutableDictionaryRef Mutable() const;
};

}  // namespace CoreFoundation
