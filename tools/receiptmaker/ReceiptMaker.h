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
//   purchases N                        N in-app purchases of Purchases(N) (not inside iap)
//   device-hash HEX                    attribute 5 of the first SET computed by SetDeviceHash
//                                      for this device identifier
//   chain test-root|other-root|impostor-root|storekit|loop
//                                      sign with a TestPki of this issuer instead of the
//                                      maker's own certificate
//   key rsa2048|ec-p256                the chain's key type (rsa2048 if absent)
//   valid root|intermediate|leaf FROM TO
//                                      a certificate's notBefore and notAfter, each
//                                      YYYY-MM-DDTHH:MM:SSZ, now, now+Nd or now-Nd
//   no-oid intermediate|leaf           leave out that certificate's Apple extension
//   intermediate-not-ca                the intermediate is no CA
//   leaf-extension N                   the signer carries an extension of N bytes more
//   certs [leaf|intermediate|root ..]  the certificates the file carries, in this order
//   cert-copies N                      ... carried N times over
//   digest sha1|sha256                 the digest of the signature (sha256 if absent)
//   tamper content|signature           a signature that does not hold (see Tamper)
//   indefinite                         BER with indefinite lengths (see Options::indefinite)
//
// NUMBER and VERSION are decimal 64-bit integers. A description with no attr line makes one
// empty SET. Except attr, set, end, purchases, valid and no-oid (once for each certificate),
// a directive may appear once; payload-hex cannot be mixed with attr, set, purchases or
// device-hash, and raw-file-hex only with truncate. key, valid, no-oid, intermediate-not-ca and
// leaf-extension need a chain line; nothing about signing goes with shape outer-data.
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
#include <memory>
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

// n in-app purchases (attribute 17, version 1), each with every field the store writes:
// quantity 1701, product id 1702, transaction id 1703, purchase date 1704, original transaction
// id 1705, original purchase date 1706, 1707, expiry date 1708, web order line item 1711,
// cancellation date 1712 (empty, as the store writes an absent date), 1713, 1719 and offer id
// 1721. Ids and dates differ from one purchase to the next.
std::vector<Attribute> Purchases(size_t n);

// The device hash: SHA-1 of deviceId, then the contents of attribute 4 (the opaque value), then
// the contents of attribute 2 (the bundle id's whole UTF8String, tag and length included).
Bytes DeviceHash(const Bytes& deviceId, const Bytes& opaqueValue, const Bytes& bundleIdValue);
// Gives attributes an attribute 5 of DeviceHash over deviceId and the last attributes 4 and 2
// among them (the last occurrence of a number is the one readers keep): replaces the value of
// the last attribute 5, or appends {5, 1, hash}. Throws std::invalid_argument if attribute 4
// or 2 is missing.
void SetDeviceHash(std::vector<Attribute>& attributes, const Bytes& deviceId);

// A payload shaped like one the store issues: environment, bundle id, version, opaque value,
// hash, creation date, three in-app purchases of four fields each, original version and
// expiry date. The benchmarks and the fuzz seeds start from it.
Bytes TypicalPayload();

// ---- Certificates.

// A test PKI shaped like the store's: a self-signed root CA, an intermediate CA that it issues
// (with Apple's extension 1.2.840.113635.100.6.2.1, value NULL) and a signer that the
// intermediate issues (with 1.2.840.113635.100.6.11.1, value NULL). Names, key usages and
// basic constraints follow the store's certificates; certificates are signed with SHA-256.
// Each key type has fixed keys, one for each certificate, so every TestPki of a key type
// chains to the same root key: a file made in one process verifies against the root of a
// TestPki made in another, and with RSA (deterministic signatures) a certificate made with
// the same options is the same bytes every time.

enum class KeyType { Rsa2048, EcP256 };
enum class Cert { Leaf, Intermediate, Root };

enum class Issuer {
  // The chain ends at the test root, the one TrustedRoot gives.
  TestRoot,
  // The intermediate is issued by another root, with a name and key of its own.
  OtherRoot,
  // ... by a root with the test root's name but another key.
  ImpostorRoot,
  // No chain: the signer is a self-signed certificate whose subject and issuer are both
  // CN=StoreKit, O=StoreKit, OU=StoreKit, C=US, like the one that signs Xcode's StoreKit test
  // receipts. It takes the leaf's validity and is the only certificate there is.
  StoreKit,
  // The intermediate is issued by a CA that the intermediate issued in turn: two certificates,
  // each the other's issuer, and no way from either to a root. Cert::Root names the second one.
  Loop,
};

// Seconds since 1970-01-01T00:00:00Z. The default covers every date a test receipt is likely to
// carry: 2000-01-01T00:00:00Z to 2049-12-31T23:59:59Z.
struct Validity {
  int64_t notBefore = 946684800;
  int64_t notAfter = 2524607999;
};

// YYYY-MM-DDTHH:MM:SSZ, or now, now+Nd or now-Nd (N days from the clock's present time), in
// seconds since 1970-01-01T00:00:00Z. Throws std::invalid_argument on anything else.
int64_t UnixTime(std::string_view text);

struct PkiOptions {
  Issuer issuer = Issuer::TestRoot;
  KeyType key = KeyType::Rsa2048;
  Validity root = {};
  Validity intermediate = {};
  Validity leaf = {};
  // Whether the intermediate and the signer carry their Apple extensions.
  bool intermediateOid = true;
  bool leafOid = true;
  // false: the intermediate's basic constraints say CA:FALSE and its key usage is
  // digitalSignature, so a chain through it does not verify.
  bool intermediateIsCa = true;
  // When not 0, the signer carries one more extension (1.3.6.1.4.1.55555.1, not critical) whose
  // value is an OCTET STRING of this many bytes: a certificate as large as one likes.
  size_t leafExtensionBytes = 0;
};

class TestPki {
 public:
  // Throws std::runtime_error with OpenSSL's error text if OpenSSL fails.
  explicit TestPki(const PkiOptions& options = {});

  const PkiOptions& options() const;
  // DER of the root a test is to trust: the test root of this key type with this root validity,
  // whatever the issuer; for Issuer::StoreKit, the StoreKit certificate.
  Bytes TrustedRoot() const;
  // DER of a certificate of the chain that signs; Cert::Root is the other root or the impostor
  // for those issuers. Issuer::StoreKit has a leaf only; the others throw std::invalid_argument.
  Bytes Certificate(Cert which) const;

  struct Parts;  // the OpenSSL objects, for the signing code
  const Parts& parts() const { return *parts_; }

 private:
  std::shared_ptr<const Parts> parts_;
};

// ---- The container.

enum class Digest { Sha1, Sha256 };

enum class Tamper {
  None,
  // The signature is over the payload with a byte 00 appended, and the file carries the payload
  // itself: as if the content were changed after signing.
  Content,
  // The last byte of the signature has its lowest bit flipped.
  Signature,
};

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
  std::optional<size_t> truncateTo = std::nullopt;
  // Sign with this chain's signer, and with no signed attributes, as the store signs. Null: the
  // maker's own self-signed EC P-256 certificate, with the signed attributes content type,
  // signing time, message digest and S/MIME capabilities. Must outlive the call.
  const TestPki* pki = nullptr;
  // The certificates the file carries, in this order. Unset: leaf, intermediate and root as the
  // store's files do (the leaf alone for Issuer::StoreKit and for the maker's own certificate,
  // which has no other). Without pki, or for StoreKit, only Cert::Leaf may be named.
  std::optional<std::vector<Cert>> certs = std::nullopt;
  // The certificates carried, carried this many times over (at least once): a file with as many
  // certificates as one likes.
  size_t certCopies = 1;
  Digest digest = Digest::Sha256;
  Tamper tamper = Tamper::None;
  // BER as Xcode writes PKCS#7: the ContentInfo, its [0], the SignedData and the inner
  // ContentInfo with its [0] (whichever the shape has) in the indefinite-length form,
  // 0x30 0x80 ... 0x00 0x00; everything inside them stays DER.
  bool indefinite = false;
};
using Shape = Options::Shape;

// The DER PKCS#7 object of the given shape around payload, which may be any bytes (empty,
// two SETs, not DER at all). Signed shapes are signed with SHA-256 by an EC P-256 key with a
// self-signed certificate, both made once per process; the certificate is included and the
// signatures verify against it. Throws std::runtime_error with OpenSSL's error text if
// OpenSSL fails, std::length_error if payload is too large for OpenSSL (over INT_MAX bytes).
// Safe to call from several threads.
Bytes Sign(const Bytes& payload, Shape shape = Shape::Receipt);

// The file the options describe around payload, cut to options.truncateTo bytes if set; with
// the default options, what Sign(payload, options.shape) makes. Throws like Sign, and
// std::invalid_argument if truncateTo is not shorter than the file, if a signing option comes
// with Shape::OuterData, or if certs names a certificate the signer has not got. Safe to call
// from several threads, sharing one TestPki or not.
Bytes Build(const Bytes& payload, const Options& options);

// The file that a description in the text format above describes. Throws
// std::invalid_argument whose message starts with "line N: " for a mistake in the text
// (including a truncate that is not shorter than the file), and like Build otherwise. If
// trustedRoot is given, it receives the DER of the root the file is to be verified against
// (TestPki::TrustedRoot of the description's chain), or is emptied when there is no chain line.
Bytes BuildFromText(std::string_view text, Bytes* trustedRoot = nullptr);

}  // namespace ReceiptMaker
