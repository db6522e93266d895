#pragma once

#include <vector>

#include "corefoundation/CFPropertyList.h"
#include "corefoundation/CFType.h"
#include "platform/cf/CFArray.h"
#include "platform/toolkit/MemoryBlock.h"

namespace CoreFoundation {

using toolkit::MemoryBlock;

// A wrapped CFArray of CF objects. Arrays made here retain their values through the
// platform's standard callbacks, so a wrapper that was stored may die before the array.
class CFArray : public CFType, public CFPropertyList {
 public:
  // Wraps `ref` by the ownership rule; TypeMismatchException for another type.
  static Ref<CFArray> New(Ptr ref, bool hasOwnership);
  // A new immutable array of the wrappers' references, in order. NilObjectException for a nil
  // element or one that holds no reference.
  static Ref<CFArray> New(const std::vector<Ref<CFType>>& values);
  // A new immutable array of strings; the empty String gives an empty string, not a gap.
  static Ref<CFArray> New(const std::vector<String>& strings);
  static Ref<CFArray> New(const Ref<CFObjectMBS>& source);

  // CFArrayGetTypeID, asked once.
  static std::uint32_t ClassID();

  Ptr Reference() const override { return CFType::Reference(); }
  // An immutable copy in a new wrapper (also of a mutable array); an empty wrapper for an
  // empty one. Never nil.
  virtual Ref<CFArray> Clone() const;
  // The value at `index` from 0, borrowed from the array: it stays valid only while the array
  // holds it. Null for an empty wrapper; OutOfBoundsException outside 0..Count-1.
  virtual Ptr Value(std::int64_t index) const;
  // Every element through its toolkit value as a String; TypeMismatchException for an
  // element with no String form.
  virtual std::vector<String> StringValues() const;
  // The number of elements; 0 for an empty wrapper.
  std::int64_t Count() const;

 protected:
  friend class CFType;
  CFArray() = default;
  using CFType::Constructor;

  std::uint32_t Event_ClassID() const override { return ClassID(); }
  // A toolkit::VariantArray of the elements' own toolkit values, converted recursively.
  Variant Event_VariantValue() const override;
  virtual void Constructor(const std::vector<Ref<CFType>>& values);
  virtual void Constructor(const std::vector<String>& strings);

  // The references of `values` as one machine pointer each, in order; nil for no values.
  // NilObjectException for a nil element or one that holds no reference.
  Ref<MemoryBlock> GetValuesAsCArray(const std::vector<Ref<CFType>>& values) const;

  // The platform's "kCFTypeArrayCallBacks", fetched once from "com.apple.CoreFoundation".
  static Ptr DefaultCallbacks();
};

namespace CFArrayExtension {

// The value at `index` in a wrapper of its own (immutable class, a count of its own); a plain
// empty CFType for an empty array wrapper. OutOfBoundsException outside 0..Count-1;
// NilObjectException for a nil `a`.
Ref<CFType> CFValue(const Ref<CFArray>& a, std::int64_t index);

}  // namespace CFArrayExtension

}  // namespace CoreFoundation
