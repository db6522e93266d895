#pragma once

// Makes receipt files for tests, fuzz seeds and benchmarks: DER building blocks, a payload
// (a SET of attribute records) from a list of attributes, a PKCS#7 signed-data container
// around any bytes, and a small text format that describes a whole file.
//
// A record is SEQUENCE { INTEGER number, INTEGER version, OCTET STRING value }; the payload is
// a SET of records, kept in the order given (the store does not sort them either). An in-app
// purchase is an attribute whose OCTET STRING holds a nested SET of records.
//
// Nothing here checks that what it is asked to make is sensible: a negative attribute number,
// an IA5 string with bytes above 0x7F or a payload that is not DER at all are all made as
// given, because broken inputs are what the tests need.
//
// The text format, one directive a line; `#` starts a comment outside a quoted string, blank
// lines and indentation are ignored:
//
//   attr NUMBER VERSION int N          INTEGER N (decimal, may be negative)
//   attr NUMBER VERSION utf8 "text"    UTF8String; \" and \\ are the only escapes
//   attr NUMBER VERSION ia5 "text"     IA5String, same quoting
//   attr NUMBER VERSION hex AABB ..    the OCTET STRING's contents verbatim (may be empty;
//                                      spaces between hex digit groups are allowed)
//   attr NUMBER VERSION iap            a nested SET of the attr lines up to the matching
//     attr ...                         `end`; iap blocks may nest
//   end
//   set                                closes the current SET and starts another one, so the
//                                      payload becomes two (or more) SETs back to back
//   shape receipt|outer-data|inner-not-data|detached
//                                      the container (see Options::Shape); receipt if absent
//   payload-hex AABB ..                the whole payload verbatim, instead of attr lines
//                                      (with no digits: an empty payload)
//   truncate N                         keep only the first N bytes of the finished file
//   raw-file-hex AABB ..               the file is exactly these bytes, no PKCS#7 at all
//
// NUMBER and VERSION are decimal 64-bit integers. A description with no attr line makes one
// empty SET. shape, payload-hex, truncate and raw-file-hex may each appear once;
// payload-hex cannot be mixed with attr or set lines, and raw-file-hex only with truncate.
//
// Example:
//
//   attr 2 1 utf8 "com.example.quellmark"
//   attr 3 1 utf8 "1.0"
//   attr 17 1 iap
//     attr 1701 1 int 1
//     attr 1702 1 utf8 "com.example.coins"
//   end

#include <concepts>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>
#include <string_view>
#include <vector>

namespace ReceiptMaker {

using Bytes = std::vector<uint8_t>;

// ---- DER building blocks. None of them fails except FromHex.

// The length octets of a DER TLV: one byte up to 127, else 0x80 | count followed by the
// shortest big-endian count.
Bytes Length(size_t contentLength);

// identifier octets + Length(contents) + contents. The identifier is taken verbatim, so
// multi-byte (high tag number) identifiers and wrong ones can be made alike.
Bytes Tlv(const Bytes& identifier, const Bytes& contents);
Bytes Tlv(uint8_t tag, const Bytes& contents);

// INTEGER in the shortest two's-complement form.
Bytes Integer(int64_t value);
// UTF8String and IA5String of the bytes of text, unchecked.
Bytes Utf8(std::string_view text);
Bytes Ia5(std::string_view text);
Bytes OctetString(const Bytes& contents);
// SEQUENCE and SET around contents that are already encoded.
Bytes Sequence(const Bytes& contents);
Bytes Set(const Bytes& contents);

// The parts one after the other.
template <typename... Parts>
requires(std::convertible_to<const Parts&, std::span<const uint8_t>>&&...) Bytes
    Concat(const Parts&... parts) {
  Bytes out;
  out.reserve((std::span<const uint8_t>(parts).size() + ... + size_t{0}));
  (out.insert(out.end(), std::span<const uint8_t>(parts).begin(),
              std::span<const uint8_t>(parts).end()),
   ...);
  return out;
}

// SEQUENCE { INTEGER number, INTEGER version, OCTET STRING valueContents }.
Bytes Record(int64_t number, int64_t version, const Bytes& valueContents);

// Hex digits (either case) to bytes; ASCII spaces and tabs between digits are skipped.
// Throws std::invalid_argument on any other character or an odd number of digits.
Bytes FromHex(std::string_view hex);

// ---- Payloads.

// One attribute record. value is the contents of the record's OCTET STRING, usually made by
// one of the *Value helpers below.
struct Attribute {
  int64_t number;
  int64_t version;
  Bytes value;
};

// Values: an encoded INTEGER, UTF8String or IA5String, bytes verbatim from hex (throws like
// FromHex), or an in-app purchase: a nested SET of the given records.
Bytes IntValue(int64_t value);
Bytes Utf8Value(std::string_view text);
Bytes Ia5Value(std::string_view text);
Bytes HexValue(std::string_view hex);
Bytes PurchaseValue(const std::vector<Attribute>& records);

// One SET of the records in the given order.
Bytes Payload(const std::vector<Attribute>& attributes);

// A payload shaped like one the store issues: environment, bundle id, version, opaque value,
// hash, creation date, three in-app purchases of four fields each, original version and
// expiry date. The benchmarks and the fuzz seeds start from it.
Bytes TypicalPayload();

// ---- The container.

struct Options {
  enum class Shape {
    // Signed data (nid 22) around content of type data (nid 21) holding the payload.
    Receipt,
    // A bare PKCS#7 data object holding the payload, not signed.
    OuterData,
    // Signed data whose content is itself a complete signed-data object (a receipt inside a
    // receipt), so the outer content type is signed data, not data.
    InnerNotData,
    // Signed data over the payload with the content left out: the content info names type
    // data but has no OCTET STRING.
    Detached,
  };

  Shape shape = Shape::Receipt;
  // Keep only this many bytes of the finished file.
  std::optional<size_t> truncateTo;
};
using Shape = Options::Shape;

// The DER PKCS#7 object of the given shape around payload, which may be any bytes (empty,
// two SETs, not DER at all). Signed shapes are signed with SHA-256 by an EC P-256 key with a
// self-signed certificate, both made once per process; the certificate is included and the
// signatures verify against it. Throws std::runtime_error with OpenSSL's error text if
// OpenSSL fails, std::length_error if payload is too large for OpenSSL (over INT_MAX bytes).
// Safe to call from several threads.
Bytes Sign(const Bytes& payload, Shape shape = Shape::Receipt);

// Sign(payload, options.shape), cut to options.truncateTo bytes if set. Throws like Sign,
// and std::invalid_argument if truncateTo is not shorter than the file.
Bytes Build(const Bytes& payload, const Options& options);

// The file that a description in the text format above describes. Throws
// std::invalid_argument whose message starts with "line N: " for a mistake in the text
// (including a truncate that is not shorter than the file), and like Sign otherwise.
Bytes BuildFromText(std::string_view text);

}  // namespace ReceiptMaker
