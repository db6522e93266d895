#pragma once

#include "corefoundation/CFArray.h"

namespace CoreFoundation {

// A wrapped mutable CFArray. The inherited constructors from values or strings make an
// immutable platform array inside this wrapper.
class CFMutableArray : public CFArray {
 public:
  static Ref<CFMutableArray> New(Ptr ref, bool hasOwnership);
  // A new empty mutable array of at most `capacity` elements (0: no limit).
  static Ref<CFMutableArray> New(std::int64_t capacity);
  static Ref<CFMutableArray> New(const std::vector<Ref<CFType>>& values);
  static Ref<CFMutableArray> New(const std::vector<String>& strings);

  // Appends the wrapper's reference; the array keeps a count of its own. NilObjectException
  // for a nil value or one that holds no reference, and for a receiver that holds none.
  virtual void Append(const Ref<CFType>& value);
  // Appends a raw reference, retained by the array. NilObjectException for null, and for a
  // receiver that holds no reference.
  virtual void AppendPtr(Ptr p);
  using CFArray::Value;
  // Replaces the element at `index`. OutOfBoundsException outside 0..Count-1 (Count itself
  // included), checked first; then NilObjectException as for Append.
  virtual void Value(std::int64_t index, const Ref<CFType>& value);

 protected:
  friend class CFType;
  CFMutableArray() = default;
  using CFArray::Constructor;

  virtual void Constructor(std::int64_t capacity);

 private:
  CFMutableArrayRef Mutable() const;
};

}  // namespace CoreFoundation
