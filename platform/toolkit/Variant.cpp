#include "platform/toolkit/Variant.h"

#include <cctype>
#include <charconv>
#include <cmath>
#include <cstring>
#include <functional>
#include <iterator>
#include <optional>
#include <type_traits>

#include "platform/toolkit/MemoryBlock.h"

namespace toolkit {

namespace {

bool EqualsNoCase(std::string_view a, std::string_view b) {
  if (a.size() != b.size()) return false;
  for (std::size_t i = 0; i < a.size(); ++i) {
    if (std::tolower(static_cast<unsigned char>(a[i])) !=
        std::tolower(static_cast<unsigned char>(b[i]))) {
      return false;
    }
  }
  return true;
}

// A Variant's number as a double, or nullopt when it holds none.
std::optional<double> NumberOf(const Variant& v) {
  switch (v.VarType()) {
    case Variant::TypeInt32:
    case Variant::TypeInt64:
    case Variant::TypeSingle:
    case Variant::TypeDouble:
      return v.DoubleValue();
    default:
      return std::nullopt;
  }
}

bool IsInteger(const Variant& v) {
  return v.VarType() == Variant::TypeInt32 || v.VarType() == Variant::TypeInt64;
}

// Whether `d` is an integer that an int64 holds; 2^63 is exact as a double.
bool FitsInt64(double d) {
  return d == std::trunc(d) && d >= -9223372036854775808.0 && d < 9223372036854775808.0;
}

// An integer against a float, exactly: as doubles, 2^53 + 1 would equal 2^53.
bool SameNumber(std::int64_t i, double d) {
  return FitsInt64(d) && static_cast<std::int64_t>(d) == i;
}

}  // namespace

Variant::Variant(String v) {
  if (v.bytes_.size() <= kShortText) {
    SetText(v.bytes_);
  } else {
    new (&u_.longText) std::string(std::move(v.bytes_));
    kind_ = Kind::LongText;
  }
  encoding_ = v.encoding_;
}

int Variant::VarType() const {
  // In the order of Kind.
  static constexpr int kCodes[] = {TypeNil,    TypeBoolean, TypeInt32,  TypeInt64, TypeSingle,
                                   TypeDouble, TypeString,  TypeString, TypeObject};
  static_assert(std::size(kCodes) == static_cast<std::size_t>(Kind::Object) + 1);
  return kCodes[static_cast<std::size_t>(kind_)];
}

bool Variant::BooleanValue() const {
  if (kind_ == Kind::Boolean) return u_.boolean;
  if (IsString()) return EqualsNoCase(TextView(), "true");
  if (IsObject()) throw TypeMismatchException("an object has no Boolean value");
  return DoubleValue() != 0;
}

std::int64_t Variant::Int64Value() const {
  if (kind_ == Kind::Int64) return u_.int64;
  if (kind_ == Kind::Int32) return u_.int32;
  const double d = DoubleValue();
  // Out-of-range and NaN values saturate instead of being undefined behaviour.
  if (std::isnan(d)) return 0;
  if (d >= 9223372036854775807.0) return INT64_MAX;
  if (d <= -9223372036854775808.0) return INT64_MIN;
  return static_cast<std::int64_t>(d);
}

std::int32_t Variant::Int32Value() const {
  // Like the toolkit, a wider integer keeps its low 32 bits.
  return static_cast<std::int32_t>(static_cast<std::uint32_t>(Int64Value()));
}

double Variant::DoubleValue() const {
  switch (kind_) {
    case Kind::Nil:
      return 0;
    case Kind::Boolean:
      return u_.boolean ? 1 : 0;
    case Kind::Int32:
      return u_.int32;
    case Kind::Int64:
      return static_cast<double>(u_.int64);
    case Kind::Single:
      return u_.single;
    case Kind::Double:
      return u_.real;
    case Kind::ShortText:
    case Kind::LongText:
      return Val(StringValue());
    case Kind::Object:
      break;
  }
  throw TypeMismatchException("an object has no numeric value");
}

String Variant::StringValue() const {
  switch (kind_) {
    case Kind::Nil:
      return String();
    case Kind::Boolean:
      return u_.boolean ? "True" : "False";
    case Kind::Int32:
      return Str(u_.int32);
    case Kind::Int64:
      return Str(u_.int64);
    case Kind::Single:
      return Str(static_cast<double>(u_.single));
    case Kind::Double:
      return Str(u_.real);
    case Kind::ShortText:
    case Kind::LongText:
      return String(std::string(TextView()), encoding_);
    case Kind::Object:
      break;
  }
  if (const auto block = u_.object.As<MemoryBlock>()) return block->StringValue();
  throw TypeMismatchException("an object has no String value");
}

Ref<Object> Variant::ObjectValue() const {
  if (kind_ == Kind::Object) return u_.object;
  return nullptr;
}

bool Variant::Equals(const Variant& a, const Variant& b) {
  // Two values of one kind compare as that kind: texts by bytes, objects by identity, numbers
  // by value. Only numbers of different kinds need the comparison across kinds below.
  if (a.IsString() || b.IsString())
    return a.IsString() && b.IsString() && a.TextView() == b.TextView();
  if (a.kind_ == b.kind_) {
    switch (a.kind_) {
      case Kind::Nil:
        return true;
      case Kind::Boolean:
        return a.u_.boolean == b.u_.boolean;
      case Kind::Int32:
        return a.u_.int32 == b.u_.int32;
      case Kind::Int64:
        return a.u_.int64 == b.u_.int64;
      case Kind::Single:
        return a.u_.single == b.u_.single;
      case Kind::Double:
        return a.u_.real == b.u_.real;
      case Kind::Object:
        return a.u_.object == b.u_.object;
      case Kind::ShortText:
      case Kind::LongText:
        break;  // compared above
    }
  }
  const auto na = NumberOf(a);
  const auto nb = NumberOf(b);
  if (na || nb) {
    if (!na || !nb) return false;
    if (IsInteger(a) && IsInteger(b)) return a.Int64Value() == b.Int64Value();
    if (IsInteger(a)) return SameNumber(a.Int64Value(), *nb);
    if (IsInteger(b)) return SameNumber(b.Int64Value(), *na);
    return *na == *nb;
  }
  return false;  // of different kinds, and not both numbers
}

std::size_t Variant::HashOther() const {
  // Equal numbers of different kinds must hash alike: integral values hash as integers.
  if (const auto n = NumberOf(*this)) {
    const double d = *n;
    if (IsInteger(*this) || FitsInt64(d)) return std::hash<std::int64_t>{}(Int64Value());
    return std::hash<double>{}(d);
  }
  if (kind_ == Kind::Boolean) return u_.boolean ? 1 : 2;
  if (kind_ == Kind::Object) return std::hash<const void*>{}(u_.object.get());
  return 0;  // nil; numbers and texts were hashed above
}

bool IsNumeric(const Variant& value) {
  if (NumberOf(value)) return true;
  if (!value.IsString()) return false;
  const String text = value.StringValue();  // the view below must not outlive it
  std::string_view s = text.View();
  // The blanks that Val skips.
  while (!s.empty() && (s.front() == ' ' || s.front() == '\t'))
    s.remove_prefix(1);
  while (!s.empty() && (s.back() == ' ' || s.back() == '\t'))
    s.remove_suffix(1);
  if (!s.empty() && (s[0] == '+' || s[0] == '-')) s.remove_prefix(1);
  if (s.empty()) return false;
  double d = 0;
  const auto r = std::from_chars(s.data(), s.data() + s.size(), d, std::chars_format::general);
  // Out of range is still a number: Val reads it as infinity or 0.
  const bool parsed = r.ec == std::errc() || r.ec == std::errc::result_out_of_range;
  return parsed && r.ptr == s.data() + s.size() &&
         (std::isdigit(static_cast<unsigned char>(s[0])) || s[0] == '.');
}

}  // namespace toolkit
