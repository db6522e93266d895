#include "examination/Der.h"

namespace Examination::der {

namespace {

// The header of the object at the front of `bytes`: identifier and length. `length` is the
// contents' length, or -1 for BER's indefinite form.
struct Header {
  Class cls = kUniversal;
  bool constructed = false;
  std::uint32_t tag = 0;
  std::size_t headerSize = 0;
  std::int64_t length = 0;
};

bool ReadHeader(std::span<const std::uint8_t> bytes, Header& h, std::string& error) {
  std::size_t i = 0;
  if (bytes.empty()) return error = "no object where one was expected", false;
  const std::uint8_t first = bytes[i++];
  h.cls = static_cast<Class>(first >> 6);
  h.constructed = (first & 0x20) != 0;
  h.tag = first & 0x1F;
  if (h.tag == 0x1F) {  // high tag number: base-128 digits, leading zero digits allowed
    h.tag = 0;
    for (;;) {
      if (i >= bytes.size()) return error = "the identifier runs past the end", false;
      if (h.tag > (kMaxTag >> 7)) return error = "a tag number above 2^31 - 1", false;
      const std::uint8_t b = bytes[i++];
      h.tag = (h.tag << 7) | (b & 0x7F);
      if ((b & 0x80) == 0) break;
    }
  }
  if (i >= bytes.size()) return error = "the length runs past the end", false;
  const std::uint8_t lengthByte = bytes[i++];
  if (lengthByte < 0x80) {
    h.length = lengthByte;
  } else if (lengthByte == 0x80) {
    if (!h.constructed) return error = "an indefinite length on a primitive object", false;
    h.length = -1;
  } else {
    std::size_t count = lengthByte & 0x7F;
    if (bytes.size() - i < count) return error = "the length runs past the end", false;
    // Leading zero bytes add nothing; what is left must fit in 8 bytes.
    for (; count > 0 && bytes[i] == 0; --count)
      ++i;
    if (count > 8) return error = "a length of more than 8 bytes", false;
    std::uint64_t length = 0;
    for (std::size_t k = 0; k < count; ++k)
      length = (length << 8) | bytes[i++];
    if (length > bytes.size() - i) return error = "the contents run past the end", false;
    h.length = static_cast<std::int64_t>(length);
  }
  h.headerSize = i;
  if (h.length > static_cast<std::int64_t>(bytes.size() - i))
    return error = "the contents run past the end", false;
  return true;
}

// The length of the contents of an indefinite-length object whose contents start `bytes`: the
// objects up to the end-of-contents octets 00 00, which are not counted. `nesting` counts the
// indefinite objects around them.
bool IndefiniteLength(std::span<const std::uint8_t> bytes, int nesting, std::size_t& length,
                      std::string& error) {
  if (nesting > kMaxIndefiniteNesting) return error = "indefinite lengths nested too deeply", false;
  std::size_t at = 0;
  for (;;) {
    if (bytes.size() - at >= 2 && bytes[at] == 0 && bytes[at + 1] == 0) {
      length = at;
      return true;
    }
    Header h;
    if (!ReadHeader(bytes.subspan(at), h, error)) {
      if (at == bytes.size()) error = "an indefinite length without its end";
      return false;
    }
    at += h.headerSize;
    if (h.length >= 0) {
      at += static_cast<std::size_t>(h.length);
    } else {
      std::size_t inner = 0;
      if (!IndefiniteLength(bytes.subspan(at), nesting + 1, inner, error)) return false;
      at += inner + 2;
    }
  }
}

}  // namespace

bool Cursor::NextInFull(Object& object, std::string& error) {
  Header h;
  if (!ReadHeader(rest_, h, error)) return false;
  std::size_t length = 0;
  std::size_t trailer = 0;
  if (h.length >= 0) {
    length = static_cast<std::size_t>(h.length);
  } else {
    if (!IndefiniteLength(rest_.subspan(h.headerSize), 1, length, error)) return false;
    trailer = 2;
  }
  object.cls = h.cls;
  object.constructed = h.constructed;
  object.tag = h.tag;
  object.contents = rest_.subspan(h.headerSize, length);
  rest_ = rest_.subspan(h.headerSize + length + trailer);
  return true;
}

}  // namespace Examination::der
