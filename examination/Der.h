#pragma once

// A bounded walk over DER (and BER's indefinite lengths, and lengths and tag numbers with leading
// zeros, as libcrypto reads them): a Cursor hands out the objects of the bytes it was given one
// by one, each with its contents as a span inside those bytes. Every read is checked against
// what remains, so no span ever reaches outside the bytes of the first cursor; nested objects
// are walked with cursors of their own over their contents.

#include <cstddef>
#include <cstdint>
#include <span>
#include <string>

namespace Examination::der {

enum Class : std::uint8_t { kUniversal = 0, kApplication = 1, kContext = 2, kPrivate = 3 };

// Universal tag numbers met in receipts.
inline constexpr std::uint32_t kInteger = 2;
inline constexpr std::uint32_t kOctetString = 4;
inline constexpr std::uint32_t kObjectIdentifier = 6;
inline constexpr std::uint32_t kUtf8String = 12;
inline constexpr std::uint32_t kSequence = 16;
inline constexpr std::uint32_t kSet = 17;
inline constexpr std::uint32_t kIa5String = 22;

struct Object {
  Class cls = kUniversal;
  bool constructed = false;
  std::uint32_t tag = 0;
  std::span<const std::uint8_t> contents;  // without the end-of-contents octets of BER

  bool Is(std::uint32_t universalTag, bool isConstructed) const {
    return cls == kUniversal && tag == universalTag && constructed == isConstructed;
  }
};

// How deeply indefinite lengths may nest inside one another.
inline constexpr int kMaxIndefiniteNesting = 16;
// The largest tag number read, as libcrypto reads them.
inline constexpr std::uint32_t kMaxTag = 0x7FFFFFFF;

class Cursor {
 public:
  explicit Cursor(std::span<const std::uint8_t> bytes) : rest_(bytes) {}

  bool Empty() const { return rest_.empty(); }
  std::size_t Remaining() const { return rest_.size(); }

  // Reads the next object and moves behind it. When the bytes are no object, answers false
  // with the reason in `error` and stays where it was.
  bool Next(Object& object, std::string& error) {
    // Most objects of a receipt have a tag number below 31 and a length below 128, in one byte
    // each: read here, the rest by NextInFull.
    if (rest_.size() >= 2 && (rest_[0] & 0x1F) != 0x1F && rest_[1] < 0x80 &&
        rest_[1] <= rest_.size() - 2) {
      const std::uint8_t first = rest_[0];
      const std::size_t length = rest_[1];
      object.cls = static_cast<Class>(first >> 6);
      object.constructed = (first & 0x20) != 0;
      object.tag = first & 0x1F;
      object.contents = rest_.subspan(2, length);
      rest_ = rest_.subspan(2 + length);
      return true;
    }
    return NextInFull(object, error);
  }

 private:
  bool NextInFull(Object& object, std::string& error);

  std::span<const std::uint8_t> rest_;
};

// A DER INTEGER's contents as a signed 64-bit number; false when there are none or more than 8.
inline bool IntegerValue(std::span<const std::uint8_t> contents, std::int64_t& value) {
  if (contents.empty() || contents.size() > 8) return false;
  // Two's complement: the first byte's high bit is the sign.
  std::uint64_t v = (contents[0] & 0x80) != 0 ? ~std::uint64_t{0} : 0;
  for (const std::uint8_t b : contents)
    v = (v << 8) | b;
  value = static_cast<std::int64_t>(v);
  return true;
}

}  // namespace Examination::der
