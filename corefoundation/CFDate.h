#pragma once

#include "corefoundation/CFPropertyList.h"
#include "corefoundation/CFType.h"
#include "platform/toolkit/Date.h"

namespace CoreFoundation {

using toolkit::Date;

// A wrapped CFDate. The platform counts absolute time in seconds from 2001-01-01 00:00 GMT,
// the toolkit's Date.TotalSeconds (at GMTOffset 0) from 1904-01-01 00:00 GMT; the two differ
// by AbsoluteTimeIntervalSince1904.
class CFDate : public CFType, public CFPropertyList {
 public:
  static Ref<CFDate> New(Ptr ref, bool hasOwnership);
  // Now.
  static Ref<CFDate> New();
  // The moment of `d` (now for nil). `d` is left as it was, its GMTOffset included.
  static Ref<CFDate> New(const Ref<Date>& d);
  // The moment `absoluteTime` seconds after 2001-01-01 00:00 GMT.
  static Ref<CFDate> New(double absoluteTime);
  static Ref<CFDate> New(const Ref<CFObjectMBS>& source);

  // CFDateGetTypeID, asked once.
  static std::uint32_t ClassID();
  // CFAbsoluteTimeGetCurrent.
  static double CurrentAbsoluteTime();
  // "kCFAbsoluteTimeIntervalSince1904" of Carbon::Bundle, fetched once; 0.0 when it can't be.
  static double AbsoluteTimeIntervalSince1904();

  Ptr Reference() const override { return CFType::Reference(); }
  // The absolute time; 0 for an empty wrapper.
  virtual double AbsoluteTime() const;
  // A new Date of the same moment, in the machine's time zone.
  virtual explicit operator Ref<Date>() const;
  // Named again so that the conversion above doesn't appear to hide it.
  using CFType::operator Ptr;

 protected:
  friend class CFType;
  CFDate() = default;
  using CFType::Constructor;

  std::uint32_t Event_ClassID() const override { return ClassID(); }
  Variant Event_VariantValue() const override { return static_cast<Ref<Date>>(*this); }
  virtual void Constructor();
  virtual void Constructor(const Ref<Date>& d);
  virtual void Constructor(double absoluteTime);
};

}  // namespace CoreFoundation
