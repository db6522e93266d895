#pragma once

#include "corefoundation/CFType.h"

namespace CoreFoundation {

// A wrapped CFError. The factory doesn't make it (an error reference becomes a plain
// CFType); it is made with New(ref, hasOwnership). Its properties answer 0 or "" for an
// empty wrapper.
class CFError : public CFType {
 public:
  static Ref<CFError> New(Ptr ref, bool hasOwnership);
  static Ref<CFError> New(const Ref<CFObjectMBS>& source);

  // CFErrorGetTypeID, asked at each call.
  static std::uint32_t ClassID();

  // The error's code.
  std::int64_t Code() const;
  // The platform's text of the error, in the place of the general description.
  String Description() const override;
  // The error's domain, such as "NSPOSIXErrorDomain".
  String Domain() const;

 protected:
  friend class CFType;
  CFError() = default;

  std::uint32_t Event_ClassID() const override { return ClassID(); }
};

}  // namespace CoreFoundation
