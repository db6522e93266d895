#include "platform/cf/CFNumber.h"

#include <cmath>
#include <cstdio>
#include <cstring>
#include <limits>
#include <string>

#include "platform/cf/Runtime.h"

namespace cf {

namespace {

// What a CFNumberType stands for on this platform.
struct Kind {
  const char* name;
  int bytes;
  bool isFloat;
};

const Kind kKinds[] = {
    {nullptr, 0, false},
    {"kCFNumberSInt8Type", 1, false},
    {"kCFNumberSInt16Type", 2, false},
    {"kCFNumberSInt32Type", 4, false},
    {"kCFNumberSInt64Type", 8, false},
    {"kCFNumberFloat32Type", 4, true},
    {"kCFNumberFloat64Type", 8, true},
    {"kCFNumberCharType", 1, false},
    {"kCFNumberShortType", 2, false},
    {"kCFNumberIntType", 4, false},
    {"kCFNumberLongType", 8, false},
    {"kCFNumberLongLongType", 8, false},
    {"kCFNumberFloatType", 4, true},
    {"kCFNumberDoubleType", 8, true},
    {"kCFNumberCFIndexType", 8, false},
    {"kCFNumberNSIntegerType", 8, false},
    {"kCFNumberCGFloatType", 8, true},
};
static_assert(sizeof(long) == 8 && sizeof(CFIndex) == 8 && sizeof(double) == 8 &&
              sizeof(float) == 4);

const Kind* KindOf(CFNumberType type) {
  return type >= 1 && type <= kCFNumberMaxType ? &kKinds[type] : nullptr;
}

// 2^63, exact as a double: the first value above every int64.
constexpr double kTwo63 = 9223372036854775808.0;

}  // namespace

}  // namespace cf

struct OpaqueCFNumber : cf::Object {
  static constexpr CFTypeID kTypeID = cf::kNumberTypeID;

  OpaqueCFNumber(CFNumberType t, std::int64_t i) : Object(kTypeID), type(t), integer(i) {}
  OpaqueCFNumber(CFNumberType t, double d) : Object(kTypeID), type(t), real(d) {}

  bool IsFloat() const { return cf::KindOf(type)->isFloat; }

  const CFNumberType type;  // the kind the number was made from
  const std::int64_t integer = 0;
  const double real = 0;  // a Float32 is exact as a double
};

struct OpaqueCFBoolean : cf::Object {
  static constexpr CFTypeID kTypeID = cf::kBooleanTypeID;

  explicit OpaqueCFBoolean(bool v) : Object(kTypeID), value(v) {}

  const bool value;
};

namespace cf {

namespace {

// Whether the double `d` is exactly the integer `i`.
bool SameValue(std::int64_t i, double d) {
  return d == std::trunc(d) && d >= -kTwo63 && d < kTwo63 && static_cast<std::int64_t>(d) == i;
}

int CompareExactly(std::int64_t i, double d) {
  if (std::isnan(d)) return 1;  // NaN is below every other value
  if (d >= kTwo63) return -1;
  if (d < -kTwo63) return 1;
  const double whole = std::trunc(d);
  const auto w = static_cast<std::int64_t>(whole);
  if (i != w) return i < w ? -1 : 1;
  if (d == whole) return 0;
  return d > whole ? -1 : 1;
}

int CompareDoubles(double a, double b) {
  if (std::isnan(a) || std::isnan(b)) {
    if (std::isnan(a) && std::isnan(b)) return 0;
    return std::isnan(a) ? -1 : 1;
  }
  return (a > b) - (a < b);
}

int CompareNumbers(const OpaqueCFNumber& a, const OpaqueCFNumber& b) {
  if (!a.IsFloat() && !b.IsFloat()) return (a.integer > b.integer) - (a.integer < b.integer);
  if (!a.IsFloat()) return CompareExactly(a.integer, b.real);
  if (!b.IsFloat()) return -CompareExactly(b.integer, a.real);
  return CompareDoubles(a.real, b.real);
}

template <class T>
void Store(void* where, T value) {
  std::memcpy(where, &value, sizeof value);
}

// Stores `n` as an integer of `bytes` bytes; false when that loses something.
bool StoreInteger(const OpaqueCFNumber& n, int bytes, void* where) {
  const int bits = bytes * 8;
  const std::int64_t lowest =
      bits == 64 ? std::numeric_limits<std::int64_t>::min() : -(std::int64_t{1} << (bits - 1));
  const std::int64_t highest =
      bits == 64 ? std::numeric_limits<std::int64_t>::max() : (std::int64_t{1} << (bits - 1)) - 1;
  std::int64_t value = 0;
  bool exact = true;
  if (!n.IsFloat()) {
    value = n.integer;  // cut to the low bits below, as a C conversion does
    exact = value >= lowest && value <= highest;
  } else if (std::isnan(n.real)) {
    exact = false;
  } else {
    const double whole = std::trunc(n.real);
    exact = whole == n.real;
    if (whole < static_cast<double>(lowest)) {
      value = lowest;
      exact = false;
    } else if (whole >= (bits == 64 ? kTwo63 : static_cast<double>(highest) + 1)) {
      value = highest;
      exact = false;
    } else {
      value = static_cast<std::int64_t>(whole);
    }
  }
  switch (bytes) {
    case 1:
      Store(where, static_cast<std::int8_t>(value));
      break;
    case 2:
      Store(where, static_cast<std::int16_t>(value));
      break;
    case 4:
      Store(where, static_cast<std::int32_t>(value));
      break;
    default:
      Store(where, value);
      break;
  }
  return exact;
}

bool StoreFloat32(const OpaqueCFNumber& n, void* where) {
  if (!n.IsFloat()) {
    const auto f = static_cast<float>(n.integer);
    Store(where, f);
    return SameValue(n.integer, static_cast<double>(f));
  }
  const double d = n.real;
  if (std::isfinite(d) && std::fabs(d) > static_cast<double>(std::numeric_limits<float>::max())) {
    const float largest = std::numeric_limits<float>::max();
    Store(where, d > 0 ? largest : -largest);
    return false;
  }
  const auto f = static_cast<float>(d);
  Store(where, f);
  return std::isnan(d) || static_cast<double>(f) == d;
}

bool StoreFloat64(const OpaqueCFNumber& n, void* where) {
  if (!n.IsFloat()) {
    const auto d = static_cast<double>(n.integer);
    Store(where, d);
    return SameValue(n.integer, d);
  }
  Store(where, n.real);
  return true;
}

bool NumberEqual(const Object& a, const Object& b) {
  return CompareNumbers(static_cast<const OpaqueCFNumber&>(a),
                        static_cast<const OpaqueCFNumber&>(b)) == 0;
}

CFHashCode NumberHash(const Object& object) {
  const auto& n = static_cast<const OpaqueCFNumber&>(object);
  // Equal numbers of different kinds hash alike: whole values hash as integers.
  if (!n.IsFloat()) return static_cast<CFHashCode>(n.integer);
  const double d = n.real;
  if (d == std::trunc(d) && d >= -kTwo63 && d < kTwo63) {
    return static_cast<CFHashCode>(static_cast<std::int64_t>(d));
  }
  if (std::isnan(d)) return 0x7FF8;
  return HashBytes(&d, sizeof d);
}

std::string NumberContents(const Object& object) {
  const auto& n = static_cast<const OpaqueCFNumber&>(object);
  std::string value;
  if (!n.IsFloat()) {
    char buffer[24];
    std::snprintf(buffer, sizeof buffer, "%+lld", static_cast<long long>(n.integer));
    value = buffer;
  } else if (std::isnan(n.real)) {
    value = "nan";
  } else if (std::isinf(n.real)) {
    value = n.real > 0 ? "+infinity" : "-infinity";
  } else {
    char buffer[40];
    std::snprintf(buffer, sizeof buffer, "%+.17g", n.real);
    value = buffer;
  }
  return Join({"value = ", value, ", type = ", KindOf(n.type)->name});
}

std::string BooleanContents(const Object& object) {
  return std::string("value = ") +
         (static_cast<const OpaqueCFBoolean&>(object).value ? "true" : "false");
}

}  // namespace

extern const ClassRecord kNumberClass = {"CFNumber", Finalize<OpaqueCFNumber>, NumberEqual,
                                         NumberHash, NumberContents};
// The two booleans are constants, so identity is their equality.
extern const ClassRecord kBooleanClass = {"CFBoolean", Finalize<OpaqueCFBoolean>, nullptr, nullptr,
                                          BooleanContents};

CFBooleanRef BooleanConstant(bool value) {
  static const CFBooleanRef yes = PublishConstant(new OpaqueCFBoolean(true));
  static const CFBooleanRef no = PublishConstant(new OpaqueCFBoolean(false));
  return value ? yes : no;
}

CFNumberRef NumberConstant(double value) {
  static const CFNumberRef nan = PublishConstant(
      new OpaqueCFNumber(kCFNumberFloat64Type, std::numeric_limits<double>::quiet_NaN()));
  static const CFNumberRef negativeInfinity = PublishConstant(
      new OpaqueCFNumber(kCFNumberFloat64Type, -std::numeric_limits<double>::infinity()));
  static const CFNumberRef positiveInfinity = PublishConstant(
      new OpaqueCFNumber(kCFNumberFloat64Type, std::numeric_limits<double>::infinity()));
  if (std::isnan(value)) return nan;
  return value < 0 ? negativeInfinity : positiveInfinity;
}

}  // namespace cf

using cf::Cast;
using cf::CountCall;
using cf::Refuse;

extern "C" {

CFTypeID CFNumberGetTypeID(void) {
  CountCall();
  return cf::kNumberTypeID;
}

CFNumberRef CFNumberCreate(CFAllocatorRef, CFNumberType theType, const void* valuePtr) {
  CountCall();
  const cf::Kind* kind = cf::KindOf(theType);
  if (kind == nullptr || valuePtr == nullptr) {
    Refuse("CFNumberCreate", kind == nullptr ? "no such number type" : "NULL value");
    return nullptr;
  }
  if (kind->isFloat) {
    double d = 0;
    if (kind->bytes == 4) {
      float f = 0;
      std::memcpy(&f, valuePtr, sizeof f);
      d = f;
    } else {
      std::memcpy(&d, valuePtr, sizeof d);
    }
    return cf::Publish(new OpaqueCFNumber(theType, d));
  }
  std::int64_t i = 0;
  switch (kind->bytes) {
    case 1: {
      std::int8_t v = 0;
      std::memcpy(&v, valuePtr, sizeof v);
      i = v;
      break;
    }
    case 2: {
      std::int16_t v = 0;
      std::memcpy(&v, valuePtr, sizeof v);
      i = v;
      break;
    }
    case 4: {
      std::int32_t v = 0;
      std::memcpy(&v, valuePtr, sizeof v);
      i = v;
      break;
    }
    default:
      std::memcpy(&i, valuePtr, sizeof i);
      break;
  }
  return cf::Publish(new OpaqueCFNumber(theType, i));
}

CFNumberType CFNumberGetType(CFNumberRef number) {
  CountCall();
  const auto* n = Cast<OpaqueCFNumber>(number, "CFNumberGetType");
  return n != nullptr ? n->type : CFNumberType{0};
}

Boolean CFNumberIsFloatType(CFNumberRef number) {
  CountCall();
  const auto* n = Cast<OpaqueCFNumber>(number, "CFNumberIsFloatType");
  return n != nullptr && n->IsFloat();
}

Boolean CFNumberGetValue(CFNumberRef number, CFNumberType theType, void* valuePtr) {
  CountCall();
  const auto* n = Cast<OpaqueCFNumber>(number, "CFNumberGetValue");
  if (n == nullptr) return false;
  const cf::Kind* kind = cf::KindOf(theType);
  if (kind == nullptr || valuePtr == nullptr) {
    Refuse("CFNumberGetValue", kind == nullptr ? "no such number type" : "NULL buffer");
    return false;
  }
  if (!kind->isFloat) return cf::StoreInteger(*n, kind->bytes, valuePtr);
  return kind->bytes == 4 ? cf::StoreFloat32(*n, valuePtr) : cf::StoreFloat64(*n, valuePtr);
}

CFTypeID CFBooleanGetTypeID(void) {
  CountCall();
  return cf::kBooleanTypeID;
}

Boolean CFBooleanGetValue(CFBooleanRef boolean) {
  CountCall();
  const auto* b = Cast<OpaqueCFBoolean>(boolean, "CFBooleanGetValue");
  return b != nullptr && b->value;
}

}  // extern "C"
