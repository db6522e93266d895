#pragma once

#include "corefoundation/CFPropertyList.h"
#include "corefoundation/CFType.h"

namespace CoreFoundation {

// A wrapped CFBoolean. The platform has two booleans, and GetTrue and GetFalse give one
// shared wrapper for each, which NewObject hands out for every boolean reference.
class CFBoolean : public CFType, public CFPropertyList {
 public:
  static Ref<CFBoolean> New(Ptr ref, bool hasOwnership);
  static Ref<CFBoolean> New(const Ref<CFObjectMBS>& source);

  // CFBooleanGetTypeID, asked once.
  static std::uint32_t ClassID();
  // A new wrapper of "kCFBooleanTrue" or "kCFBooleanFalse", fetched from Carbon::Bundle. Never
  // nil: it is empty when the symbol can't be fetched.
  static Ref<CFBoolean> Get(bool value);
  // Get(true) and Get(false), made at first use and kept for the process.
  static Ref<CFBoolean> GetTrue();
  static Ref<CFBoolean> GetFalse();

  Ptr Reference() const override { return CFType::Reference(); }
  // The value; false for an empty wrapper.
  virtual explicit operator bool() const;
  // Named again so that the conversion above doesn't appear to hide it.
  using CFType::operator Ptr;

 protected:
  friend class CFType;
  CFBoolean() = default;

  std::uint32_t Event_ClassID() const override { return ClassID(); }
  Variant Event_VariantValue() const override { return static_cast<bool>(*this); }
};

}  // namespace CoreFoundation
