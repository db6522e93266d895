#pragma once

#include "corefoundation/CFPropertyList.h"
#include "corefoundation/CFType.h"
#include "platform/toolkit/cf/CFStringRef.h"

namespace CoreFoundation {

// A wrapped CFString. A wrapper made from the empty String holds no reference.
class CFString : public CFType, public CFPropertyList {
 public:
  // Wraps `ref` by the ownership rule; TypeMismatchException for another type.
  static Ref<CFString> New(Ptr ref, bool hasOwnership);
  // A new string of `s`; empty for the empty String (or bytes that are no text).
  static Ref<CFString> New(const String& s);
  // The string of `ref`, with a count of its own; empty when its text is empty.
  static Ref<CFString> New(const toolkit::CFStringRef& ref);
  static Ref<CFString> New(const Ref<CFObjectMBS>& source);

  // CFStringGetTypeID, asked once.
  static std::uint32_t ClassID();

  Ptr Reference() const override { return CFType::Reference(); }
  // The string with a count of its own; a null value for an empty wrapper.
  virtual explicit operator toolkit::CFStringRef() const;
  // Named again so that the conversion above doesn't appear to hide it.
  using CFType::operator Ptr;
  // The text; the empty String for an empty wrapper.
  String StringValue() const;

 protected:
  friend class CFType;
  CFString() = default;
  using CFType::Constructor;
  using CFType::Operator_Convert;

  std::uint32_t Event_ClassID() const override { return ClassID(); }
  Variant Event_VariantValue() const override { return StringValue(); }
  virtual void Constructor(const String& s);
  virtual void Operator_Convert(const toolkit::CFStringRef& ref);
};

}  // namespace CoreFoundation
