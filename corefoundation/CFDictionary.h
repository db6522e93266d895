#pragma once

#include <vector>

#include "corefoundation/CFPropertyList.h"
#include "corefoundation/CFType.h"
#include "platform/cf/CFDictionary.h"

namespace CoreFoundation {

// A wrapped CFDictionary of CF objects, keyed by value (CFEqual and CFHash). What it hands
// out comes in wrappers of the immutable classes, each with a count of its own.
//
// A nil key or value, or a wrapper holding no reference, is no failure outside the
// constructors: the presence tests answer false, Value nil and Lookup its default.
class CFDictionary : public CFType, public CFPropertyList {
 public:
  // Wraps `ref` by the ownership rule; TypeMismatchException for another type.
  static Ref<CFDictionary> New(Ptr ref, bool hasOwnership);
  // An immutable copy of `source`; an empty wrapper for a nil or empty `source`.
  static Ref<CFDictionary> New(const Ref<CFDictionary>& source);
  // A new immutable dictionary mapping keys[i] to values[i]. OutOfBoundsException for
  // arrays of different length; NilObjectException for a nil element or one that holds no
  // reference. Duplicate keys are not tested: the last one wins.
  static Ref<CFDictionary> New(const std::vector<Ref<CFType>>& keys,
                               const std::vector<Ref<CFType>>& values);
  static Ref<CFDictionary> New(const Ref<CFObjectMBS>& source);

  // CFDictionaryGetTypeID, asked once.
  static std::uint32_t ClassID();

  Ptr Reference() const override { return CFType::Reference(); }
  virtual bool HasKey(const Ref<CFType>& key) const;
  virtual bool HasValue(const Ref<CFType>& value) const;
  // The keys in the platform's order, each in a wrapper of its own; empty, never nil, for an
  // empty dictionary or wrapper.
  virtual std::vector<Ref<CFType>> Keys() const;
  // The value of `key`, or `defaultValue` itself when there is none.
  virtual Ref<CFType> Lookup(const Ref<CFType>& key, const Ref<CFType>& defaultValue) const;
  // The value of `key`, or nil when there is none.
  virtual Ref<CFType> Value(const Ref<CFType>& key) const;
  // The number of entries; 0 for an empty wrapper.
  std::int64_t Count() const;

 protected:
  friend class CFType;
  CFDictionary() = default;
  using CFType::Constructor;

  std::uint32_t Event_ClassID() const override { return ClassID(); }
  // A toolkit::Dictionary of the entries' toolkit values, converted recursively.
  Variant Event_VariantValue() const override;
  virtual void Constructor(const Ref<CFDictionary>& source);
  virtual void Constructor(const std::vector<Ref<CFType>>& keys,
                           const std::vector<Ref<CFType>>& values);

  // The callback structure of that name from "com.apple.Carbon", looked up at each call.
  static Ptr DefaultCallbacks(const String& symbolName);
  // The callbacks a new dictionary of CF objects is made with. Each constructor that makes one
  // keeps a pair of its own, fetched at its own first run.
  struct TypeCallbacks {
    const CFDictionaryKeyCallBacks* keys = nullptr;
    const CFDictionaryValueCallBacks* values = nullptr;
  };
  // Fills `callbacks` in place through DefaultCallbacks, "kCFTypeDictionaryKeyCallBacks" first
  // and "kCFTypeDictionaryValueCallBacks" second, so a raise on the second keeps the first.
  static void FetchTypeCallbacks(TypeCallbacks& callbacks);
  CFDictionaryRef Dictionary() const { return static_cast<CFDictionaryRef>(Reference()); }
  // Whether the receiver and `other` both hold a reference.
  bool BothHold(const Ref<CFType>& other) const;
};

}  // namespace CoreFoundation
