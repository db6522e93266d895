#pragma once

#include <cstdint>
#include <functional>
#include <string_view>
#include <variant>

#include "platform/toolkit/Ref.h"
#include "platform/toolkit/String.h"

namespace toolkit {

// A tagged value: nil, a Boolean, a number of one of four kinds, a String, or an object.
// Objects compare by identity, so "the same MemoryBlock" is a testable fact; numbers compare
// by value across their kinds, so the Int64 key 1 finds what the Int32 key 1 stored.
class Variant {
 public:
  // The toolkit's codes for the kind of value held.
  enum Type : int {
    TypeNil = 0,
    TypeInt32 = 2,
    TypeInt64 = 3,
    TypeSingle = 4,
    TypeDouble = 5,
    TypeString = 8,
    TypeObject = 9,
    TypeBoolean = 11,
  };

  Variant() = default;
  Variant(std::nullptr_t) {}                 // NOLINT: nil
  Variant(bool v) : v_(v) {}                 // NOLINT
  Variant(std::int32_t v) : v_(v) {}         // NOLINT
  Variant(std::int64_t v) : v_(v) {}         // NOLINT
  Variant(float v) : v_(v) {}                // NOLINT
  Variant(double v) : v_(v) {}               // NOLINT
  Variant(String v) : v_(std::move(v)) {}    // NOLINT
  Variant(const char* v) : v_(String(v)) {}  // NOLINT
  template <class T>
  Variant(const Ref<T>& object) {  // NOLINT: a nil Ref makes a nil Variant
    if (object) v_ = Ref<Object>(object);
  }

  int VarType() const;
  bool IsNull() const { return v_.index() == 0; }
  bool IsObject() const { return std::holds_alternative<Ref<Object>>(v_); }
  bool IsString() const { return std::holds_alternative<String>(v_); }

  // Conversions. A nil converts to 0, false or the empty String. A String converts to a
  // number by its leading number (Val) and to a Boolean by being "True" (any case). A
  // MemoryBlock converts to the String of all its bytes; any other object raises
  // TypeMismatchException when asked for a String or a number.
  bool BooleanValue() const;
  std::int32_t Int32Value() const;
  std::int64_t Int64Value() const;
  double DoubleValue() const;
  String StringValue() const;
  // The object held, or nil for a value that isn't an object.
  Ref<Object> ObjectValue() const;
  // The object held seen as a T, or nil when there is none of that class.
  template <class T>
  Ref<T> As() const {
    return ObjectValue().template As<T>();
  }

  // Texts and Int64 are the keys of the maps that readers fill: those two compare and hash
  // here, everything else in Variant.cpp.
  friend bool operator==(const Variant& a, const Variant& b) {
    if (const auto* sa = std::get_if<String>(&a.v_)) {
      if (const auto* sb = std::get_if<String>(&b.v_)) return sa->View() == sb->View();
    } else if (const auto* ia = std::get_if<std::int64_t>(&a.v_)) {
      if (const auto* ib = std::get_if<std::int64_t>(&b.v_)) return *ia == *ib;
    }
    return Equals(a, b);
  }
  std::size_t Hash() const {
    if (const auto* text = std::get_if<String>(&v_)) return HashBytes(text->View());
    if (const auto* i = std::get_if<std::int64_t>(&v_)) return std::hash<std::int64_t>{}(*i);
    return HashOther();
  }

 private:
  static bool Equals(const Variant& a, const Variant& b);
  static std::size_t HashBytes(std::string_view bytes);
  std::size_t HashOther() const;

  std::variant<std::monostate, bool, std::int32_t, std::int64_t, float, double, String, Ref<Object>>
      v_;
};

// True for a Variant that holds a number of any kind, and for a String whose whole text,
// blanks aside, is a decimal number.
bool IsNumeric(const Variant& value);

struct VariantHash {
  std::size_t operator()(const Variant& v) const { return v.Hash(); }
};

}  // namespace toolkit
