#pragma once

#include <compare>
#include <cstdint>
#include <string>
#include <string_view>
#include <type_traits>

namespace toolkit {

// The encodings a String can declare. `None` is the nil encoding of bytes whose text
// encoding nobody has declared.
enum class TextEncoding { None, UTF8, ASCII };

namespace Encodings {
inline constexpr TextEncoding UTF8 = TextEncoding::UTF8;
inline constexpr TextEncoding ASCII = TextEncoding::ASCII;
}  // namespace Encodings

// Text as bytes plus a declared encoding. Declaring an encoding never converts or checks the
// bytes. Equality and ordering compare the bytes only, case-sensitively: file names on this
// platform are case-sensitive, and the program's own keys are all lower-case.
class String {
 public:
  String() = default;
  String(const char* text) : bytes_(text ? text : "") {}   // NOLINT: literals are Strings
  String(std::string bytes) : bytes_(std::move(bytes)) {}  // NOLINT
  String(std::string_view bytes) : bytes_(bytes) {}        // NOLINT
  String(std::string bytes, TextEncoding encoding)
      : bytes_(std::move(bytes)), encoding_(encoding) {}

  const std::string& Bytes() const { return bytes_; }
  std::string_view View() const { return bytes_; }
  TextEncoding Encoding() const { return encoding_; }
  bool IsEmpty() const { return bytes_.empty(); }
  std::size_t LenB() const { return bytes_.size(); }

  String& operator+=(const String& other) {
    bytes_ += other.bytes_;
    if (encoding_ == TextEncoding::None) encoding_ = other.encoding_;
    return *this;
  }
  friend String operator+(String a, const String& b) { return a += b; }

  friend bool operator==(const String& a, const String& b) { return a.bytes_ == b.bytes_; }
  friend std::strong_ordering operator<=>(const String& a, const String& b) {
    return a.bytes_ <=> b.bytes_;
  }

 private:
  friend class Variant;  // which takes over the bytes of a String it is made of

  std::string bytes_;
  TextEncoding encoding_ = TextEncoding::None;
};

// The same bytes with `encoding` declared on them; nothing is converted or tested.
String DefineEncoding(const String& text, TextEncoding encoding);

// Characters are counted as UTF-8 sequences: a lead byte with its continuation bytes. A byte
// that can't start or continue a sequence counts as one character, so every byte belongs to
// exactly one character and no count reads outside the text.
std::int64_t Len(const String& text);
// The first `count` characters; all of the text if it is shorter; empty for count <= 0.
String Left(const String& text, std::int64_t count);
// The last `count` characters; all of the text if it is shorter; empty for count <= 0.
String Right(const String& text, std::int64_t count);
// Whether `a` and `b` hold the same bytes when the letters A to Z are taken for a to z. Every
// other byte compares as it is; `==` stays case-sensitive.
bool EqualFoldingASCIICase(const String& a, const String& b);
// From character `start` (counted from 1) to the end. A start below 1 counts as 1.
String Mid(const String& text, std::int64_t start);
// `count` characters from character `start` (counted from 1).
String Mid(const String& text, std::int64_t start, std::int64_t count);

// The decimal text of an integer, "-" before a negative one.
String Str(std::int64_t value);
template <class I>
requires(std::is_integral_v<I> && !std::is_same_v<I, bool>) String Str(I value) {
  // Through int64, an unsigned value above INT64_MAX would come out negative.
  if constexpr (std::is_unsigned_v<I>)
    return String(std::to_string(value));
  else
    return Str(static_cast<std::int64_t>(value));
}
// An integer formatted by a mask: "-" stands where the sign of a negative number goes (and
// gives nothing for zero or a positive one), "#" for the digits without padding, each "0" for
// one digit of zero padding; other characters stand for themselves. Without "-" in the mask a
// negative number shows no sign. So Str(-17, "-#") is "-17" and Str(0, "-#") is "0".
String Str(std::int64_t value, std::string_view mask);
// A floating-point number as the toolkit writes it: integral values up to 1e15 without a
// fraction, others with 7 significant digits, such as "3.141593" or "1e+20".
String Str(double value);

// The leading number of a text: blanks skipped, an optional sign, digits with an optional
// fraction and exponent; "&h", "&o" and "&b" prefixes read hexadecimal, octal and binary.
// 0 when the text doesn't begin with a number.
double Val(const String& text);

// Upper-case hexadecimal digits of the 64-bit two's complement of `value`, no leading zeros.
String Hex(std::int64_t value);
// Two upper-case hexadecimal digits for each byte of `text`, separated by blanks when
// `insertSpaces` is true.
String EncodeHex(const String& text, bool insertSpaces = false);

}  // namespace toolkit
