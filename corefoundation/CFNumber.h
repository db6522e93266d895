#pragma once

#include "corefoundation/CFPropertyList.h"
#include "corefoundation/CFType.h"

namespace CoreFoundation {

// A wrapped CFNumber. Its read operations answer 0, false or nil for an empty wrapper.
class CFNumber : public CFType, public CFPropertyList {
 public:
  static Ref<CFNumber> New(Ptr ref, bool hasOwnership);
  // A new number of a Double (as a 64-bit float), a Single (32-bit float), an Int32 or an
  // Int64 (signed integers of those widths). Any other Variant raises TypeMismatchException
  // with no message and makes no reference.
  static Ref<CFNumber> New(const Variant& value);
  static Ref<CFNumber> New(const Ref<CFObjectMBS>& source);

  // CFNumberGetTypeID, asked once.
  static std::uint32_t ClassID();
  // The platform's constant numbers "kCFNumberNaN", "kCFNumberNegativeInfinity" and
  // "kCFNumberPositiveInfinity", each fetched once and kept; nil when it can't be fetched.
  static Ref<CFNumber> NaN();
  static Ref<CFNumber> NegativeInfinity();
  static Ref<CFNumber> PositiveInfinity();
  // A new wrapper of the number stored at that data symbol of Carbon::Bundle; nil when there
  // is no such symbol.
  static Ref<CFNumber> SpecialValue(const String& symbolName);

  Ptr Reference() const override { return CFType::Reference(); }

  // The value as a Double (from a float) or an Int32 or Int64 (from an integer), by the kind
  // the number holds; a 32-bit float comes out as a Double. Nil when the number doesn't fit
  // that without loss, such as a 64-bit long beyond 32 bits, which Int64Value reads.
  Variant Value() const;
  // The value read as a double, a signed 64-bit and a signed 32-bit integer (sign-extended);
  // whether the read lost something is not told.
  double DoubleValue() const;
  std::int64_t Int64Value() const;
  std::int64_t IntegerValue() const;
  // Whether the number holds a float.
  bool IsFloat() const;
  // The number's CFNumberType.
  std::int64_t Type() const;

 protected:
  friend class CFType;
  CFNumber() = default;
  using CFType::Constructor;

  std::uint32_t Event_ClassID() const override { return ClassID(); }
  Variant Event_VariantValue() const override { return Value(); }
  virtual void Constructor(const Variant& value);
};

}  // namespace CoreFoundation
