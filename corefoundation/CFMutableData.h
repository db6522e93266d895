#pragma once

#include "corefoundation/CFData.h"
#include "platform/cf/CFData.h"

namespace CoreFoundation {

// A wrapped mutable CFData. Its operations do nothing on an empty wrapper. Offsets and
// lengths are cut to 32 bits (see CFRangeMake).
class CFMutableData : public CFData {
 public:
  static Ref<CFMutableData> New(Ptr ref, bool hasOwnership);
  // A new empty mutable data object.
  static Ref<CFMutableData> New();
  // A new mutable copy of `source`'s bytes; as New() for a nil or empty `source`.
  static Ref<CFMutableData> New(const Ref<CFData>& source);
  // What CFData makes of a block: an immutable copy, which the platform refuses to change.
  static Ref<CFMutableData> New(const Ref<MemoryBlock>& mb);
  static Ref<CFMutableData> New(const Ref<CFObjectMBS>& source);

  // Appends `length` bytes from `bytes`; nothing for null bytes or a negative length.
  virtual void Append(Ptr bytes, std::int64_t length);
  // Appends the String's bytes, without a terminator; nothing for the empty String.
  virtual void Append(const String& s);
  // Deletes `length` bytes from byte `start` (from 0).
  virtual void Delete(std::int64_t start, std::int64_t length);
  // Puts `newLength` bytes from `bytes` in the place of `length` bytes from `start`; with null
  // `bytes` deletes them. Nothing for a negative `newLength`.
  virtual void Replace(std::int64_t start, std::int64_t length, Ptr bytes, std::int64_t newLength);

 protected:
  friend class CFType;
  CFMutableData() = default;
  using CFData::Constructor;

  virtual void Constructor();
  virtual void Constructor(const Ref<CFData>& source);

 private:
  CFMutableDataRef MutableRef() const;
};

}  // namespace CoreFoundation
