#include "corefoundation/CFNumber.h"

#include <cstring>

#include "corefoundation/Carbon.h"
#include "corefoundation/FetchedOnce.h"
#include "platform/cf/CFNumber.h"
#include "platform/toolkit/Exceptions.h"

namespace CoreFoundation {

namespace {

CFNumberRef NumberRef(Ptr ref) {
  return static_cast<CFNumberRef>(ref);
}

}  // namespace

Ref<CFNumber> CFNumber::New(Ptr ref, bool hasOwnership) {
  return Make<CFNumber>(ref, hasOwnership);
}

Ref<CFNumber> CFNumber::New(const Variant& value) {
  return Make<CFNumber>(value);
}

Ref<CFNumber> CFNumber::New(const Ref<CFObjectMBS>& source) {
  return MakeFrom<CFNumber>(source);
}

std::uint32_t CFNumber::ClassID() {
  static FetchedOnce<std::uint32_t> id;
  return id.Get([] { return static_cast<std::uint32_t>(CFNumberGetTypeID()); });
}

// The kind of number follows the Variant's type:
//
//   VarType          stored as         CFNumberType
//   5 Double         DoubleValue       6  kCFNumberFloat64Type
//   4 Single         the float         5  kCFNumberFloat32Type
//   2 Int32          Int32Value        3  kCFNumberSInt32Type
//   3 Int64          Int64Value        4  kCFNumberSInt64Type
void CFNumber::Constructor(const Variant& value) {
  // Eight bytes hold any of the four.
  alignas(8) unsigned char block[8] = {};
  CFNumberType type;
  switch (value.VarType()) {
    case Variant::TypeDouble: {
      const double d = value.DoubleValue();
      std::memcpy(block, &d, sizeof d);
      type = kCFNumberFloat64Type;
      break;
    }
    case Variant::TypeSingle: {
      const auto f = static_cast<float>(value.DoubleValue());  // exact: it was a float
      std::memcpy(block, &f, sizeof f);
      type = kCFNumberFloat32Type;
      break;
    }
    case Variant::TypeInt32: {
      const std::int32_t i = value.Int32Value();
      std::memcpy(block, &i, sizeof i);
      type = kCFNumberSInt32Type;
      break;
    }
    case Variant::TypeInt64: {
      const std::int64_t i = value.Int64Value();
      std::memcpy(block, &i, sizeof i);
      type = kCFNumberSInt64Type;
      break;
    }
    default:
      throw toolkit::TypeMismatchException();
  }
  Constructor(CFNumberCreate(nullptr, type, block), true);
}

Ref<CFNumber> CFNumber::NaN() {
  static FetchedOnce<Ref<CFNumber>> v;
  return v.Get([] { return SpecialValue("kCFNumberNaN"); });
}

Ref<CFNumber> CFNumber::NegativeInfinity() {
  static FetchedOnce<Ref<CFNumber>> v;
  return v.Get([] { return SpecialValue("kCFNumberNegativeInfinity"); });
}

Ref<CFNumber> CFNumber::PositiveInfinity() {
  static FetchedOnce<Ref<CFNumber>> v;
  return v.Get([] { return SpecialValue("kCFNumberPositiveInfinity"); });
}

Ref<CFNumber> CFNumber::SpecialValue(const String& symbolName) {
  const Ptr address = Carbon::Bundle()->DataPointerNotRetained(symbolName);
  if (address == nullptr) return nullptr;
  Ptr stored = nullptr;
  std::memcpy(&stored, address, sizeof stored);
  return New(stored, false);
}

// The kind the number holds decides how it is read:
//
//   CFNumberGetType                              read as  Variant holds
//   6 Float64, 13 double, 16 CGFloat             6        Double
//   5 Float32, 12 float                          5        Double, the float widened
//   1, 2, 3 SInt8/16/32, 7 char, 8 short,
//     9 int, 10 long, 14 CFIndex, 15 NSInteger   3        Int32
//   4 SInt64, 11 long long                       4        Int64
//   any other                                    6        Double
Variant CFNumber::Value() const {
  if (Operator_Compare(nullptr) == 0) return nullptr;
  CFNumberType readAs = kCFNumberFloat64Type;
  switch (CFNumberGetType(NumberRef(Reference()))) {
    case kCFNumberFloat32Type:
    case kCFNumberFloatType:
      readAs = kCFNumberFloat32Type;
      break;
    case kCFNumberSInt8Type:
    case kCFNumberSInt16Type:
    case kCFNumberSInt32Type:
    case kCFNumberCharType:
    case kCFNumberShortType:
    case kCFNumberIntType:
    case kCFNumberLongType:
    case kCFNumberCFIndexType:
    case kCFNumberNSIntegerType:
      readAs = kCFNumberSInt32Type;
      break;
    case kCFNumberSInt64Type:
    case kCFNumberLongLongType:
      readAs = kCFNumberSInt64Type;
      break;
    default:
      break;
  }
  alignas(8) unsigned char block[8] = {};
  if (!CFNumberGetValue(NumberRef(Reference()), readAs, block)) return nullptr;
  switch (readAs) {
    case kCFNumberFloat32Type: {
      float f = 0;
      std::memcpy(&f, block, sizeof f);
      return static_cast<double>(f);
    }
    case kCFNumberSInt32Type: {
      std::int32_t i = 0;
      std::memcpy(&i, block, sizeof i);
      return i;
    }
    case kCFNumberSInt64Type: {
      std::int64_t i = 0;
      std::memcpy(&i, block, sizeof i);
      return i;
    }
    default: {
      double d = 0;
      std::memcpy(&d, block, sizeof d);
      return d;
    }
  }
}

double CFNumber::DoubleValue() const {
  double d = 0;
  if (Operator_Compare(nullptr) != 0)
    CFNumberGetValue(NumberRef(Reference()), kCFNumberDoubleType, &d);
  return d;
}

std::int64_t CFNumber::Int64Value() const {
  std::int64_t i = 0;
  if (Operator_Compare(nullptr) != 0)
    CFNumberGetValue(NumberRef(Reference()), kCFNumberSInt64Type, &i);
  return i;
}

std::int64_t CFNumber::IntegerValue() const {
  std::int32_t i = 0;
  if (Operator_Compare(nullptr) != 0)
    CFNumberGetValue(NumberRef(Reference()), kCFNumberSInt32Type, &i);
  return i;
}

bool CFNumber::IsFloat() const {
  return Operator_Compare(nullptr) != 0 && CFNumberIsFloatType(NumberRef(Reference()));
}

std::int64_t CFNumber::Type() const {
  if (Operator_Compare(nullptr) == 0) return 0;
  return CFNumberGetType(NumberRef(Reference()));
}

}  // namespace CoreFoundation
