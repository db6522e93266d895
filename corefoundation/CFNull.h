#pragma once

#include "corefoundation/CFType.h"

namespace CoreFoundation {

// A wrapped CFNull. Every CFNull stands for the platform's one null object, "kCFNull":
// Reference answers with it whatever the wrapper holds.
class CFNull : public CFType {
 public:
  static Ref<CFNull> New(Ptr ref, bool hasOwnership);
  static Ref<CFNull> New(const Ref<CFObjectMBS>& source);

  // CFNullGetTypeID, asked once.
  static std::uint32_t ClassID();
  // The reference stored at "kCFNull" of Carbon::Bundle; null when it can't be fetched.
  static Ptr NewCFNullRef();
  // NewCFNullRef() at first use, then the kept value.
  static Ptr CFNullRef();

  Ptr Reference() const override { return CFNullRef(); }

 protected:
  friend class CFType;
  CFNull() = default;

  std::uint32_t Event_ClassID() const override { return ClassID(); }
  Variant Event_VariantValue() const override { return nullptr; }
};

}  // namespace CoreFoundation
