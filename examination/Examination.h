#pragma once

// The examination of one receipt file, in three questions and one report:
//
//   is it genuine   the PKCS#7 signature over the content, the chain from the signer through the
//                   certificates the receipt carries to a trusted root (Apple's by default), the
//                   certificates' dates at the receipt's creation and now, Apple's extensions;
//   for which machine  the SHA-1 device hash of attribute 5 against the identifiers tried;
//   what was bought    every attribute record in file order and every in-app purchase, decoded.
//
// Examine answers with a Report: a plain value that owns all it holds (nothing points into the
// bytes examined), made of facts that hold or not, each with its reason in words. The payload's
// attributes hold views into the report's own copy of the payload (Contents::payload), which
// every copy of the report or of its Contents shares: keep the Contents while using an
// Attribute, rather than copying an Attribute out on its own. Any bytes give
// a report; what could not be read says why in the fact it concerns. Nothing here touches the
// machine: the identifiers to try and the time that counts as now come in through Options
// (Machine.h gathers the machine's own identifiers).

#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace Examination {

using Bytes = std::vector<std::uint8_t>;

// Bounds on what is examined, so that hostile input costs bounded time and memory.
inline constexpr std::size_t kMaxInputSize = std::size_t{64} << 20;  // bytes of a receipt
inline constexpr std::size_t kMaxCertificates = 64;                  // carried by one receipt
inline constexpr std::size_t kMaxCertificateSize = 64 << 10;         // bytes of one of them
inline constexpr int kMaxChainDepth = 6;             // CA certificates between signer and root
inline constexpr std::size_t kMaxChainErrors = 32;   // kept of one verification
inline constexpr int kMaxNesting = 4;                // SETs inside an attribute's value
inline constexpr std::size_t kMaxRecords = 100'000;  // attribute records, at every level

// A finding that holds or not, and why, in words.
struct Fact {
  bool holds = false;
  std::string reason;
};

// A date as the receipt writes it and, where the text is an RFC 3339 date and time (with "Z" or
// an offset "+hh:mm" or "+hhmm"), the same instant in UTC. An empty text is an empty date: no
// instant and no problem.
struct Date {
  std::string_view written;                // a view of the text it was read from
  std::optional<std::int64_t> unixMillis;  // milliseconds since 1970-01-01T00:00:00Z
  bool fraction = false;                   // written with fractions of a second
  std::string problem;                     // why a non-empty text is no date

  // The instant as "2023-06-01T12:00:00Z", with ".123" before the Z when written with a
  // fraction; empty when there is no instant.
  std::string Utc() const;
};

// What an attribute's OCTET STRING holds, by the DER object found in it.
enum class ValueKind {
  Integer,     // an INTEGER of at most 8 content bytes: `integer`
  Utf8String,  // `text`, the bytes as written (which may not be UTF-8)
  Ia5String,   // `text`, likewise
  Set,         // a SET of records, an in-app purchase: `fields`
  Raw,         // anything else (empty, another tag, a longer INTEGER, broken DER): `raw` alone
};

// One attribute record, SEQUENCE { INTEGER number, INTEGER version, OCTET STRING value }.
struct Attribute {
  std::int64_t number = 0;
  std::int64_t version = 0;
  // Apple's documented field name ("bundle_id", "product_id") and title ("Bundle Identifier"),
  // static text; empty for a number Apple doesn't document in this place.
  std::string_view name;
  std::string_view title;
  ValueKind kind = ValueKind::Raw;
  std::int64_t integer = 0;
  std::string_view text;              // the string's contents, a view of `raw`
  bool textIsUtf8 = false;            // `text` is well-formed UTF-8
  std::optional<Date> date;           // for the attributes Apple documents as dates, when text
  std::vector<Attribute> fields;      // the records of a SET value, in file order
  std::span<const std::uint8_t> raw;  // the OCTET STRING's contents, exactly, in Contents::payload
  std::string problem;                // what is unlike Apple's documentation; empty when nothing

  // The first field of `fieldNumber`, or nullptr.
  const Attribute* Field(std::int64_t fieldNumber) const;
};

// Attribute numbers that Apple documents: of the receipt, and of an in-app purchase.
namespace Numbers {
inline constexpr std::int64_t kReceiptType = 0;
inline constexpr std::int64_t kBundleId = 2;
inline constexpr std::int64_t kApplicationVersion = 3;
inline constexpr std::int64_t kOpaqueValue = 4;
inline constexpr std::int64_t kSha1Hash = 5;
inline constexpr std::int64_t kCreationDate = 12;
inline constexpr std::int64_t kInAppPurchase = 17;
inline constexpr std::int64_t kOriginalApplicationVersion = 19;
inline constexpr std::int64_t kExpirationDate = 21;

inline constexpr std::int64_t kQuantity = 1701;
inline constexpr std::int64_t kProductId = 1702;
inline constexpr std::int64_t kTransactionId = 1703;
inline constexpr std::int64_t kPurchaseDate = 1704;
inline constexpr std::int64_t kOriginalTransactionId = 1705;
inline constexpr std::int64_t kOriginalPurchaseDate = 1706;
inline constexpr std::int64_t kProductType = 1707;
inline constexpr std::int64_t kSubscriptionExpirationDate = 1708;
inline constexpr std::int64_t kWebOrderLineItemId = 1711;
inline constexpr std::int64_t kCancellationDate = 1712;
inline constexpr std::int64_t kTrialPeriod = 1713;
inline constexpr std::int64_t kIntroductoryOfferPeriod = 1719;
inline constexpr std::int64_t kPromotionalOfferId = 1721;
}  // namespace Numbers

// The payload: one SET of attribute records.
struct Contents {
  // The payload's bytes, a copy that the attributes' views point into, shared by every copy of
  // these Contents; never changed once read.
  std::shared_ptr<const Bytes> payload;
  Fact readable;                       // walked to its end as one SET of records
  std::vector<std::string> problems;   // each structural problem met, where it was met
  std::vector<Attribute> attributes;   // every top-level record, in file order
  std::vector<std::size_t> purchases;  // the indexes in `attributes` of each attribute 17

  // The first attribute of `number`, or nullptr.
  const Attribute* Find(std::int64_t number) const;
};

enum class CertificateRole { Signer, Intermediate, Root, Other };

// A certificate of the chain, or carried by the receipt outside it.
struct Certificate {
  CertificateRole role = CertificateRole::Other;
  bool carried = false;  // in the receipt; a root may come from the trust anchor instead
  std::string subject;   // RFC 2253, "CN=Apple Root CA,OU=...,O=Apple Inc.,C=US"
  std::string issuer;
  std::string subjectCommonName;
  std::string issuerCommonName;
  std::string serial;     // upper-case hexadecimal, "-" before a negative one
  std::string notBefore;  // RFC 3339 in UTC
  std::string notAfter;
  std::string signatureAlgorithm;  // "sha256WithRSAEncryption"
  std::string sha256Fingerprint;   // "B0:B1:73:..."
};

// One error of the chain's verification, as `openssl verify` prints it.
struct ChainError {
  int depth = 0;  // 0 the signer, 1 its issuer, ...
  int code = 0;   // X509_V_ERR_...
  std::string subject;
  std::string text;
  // "error 10 at 0 depth lookup: certificate has expired"
  std::string Line() const;
};

enum class Verdict {
  NotAReceipt,      // no PKCS#7 signed data around data could be read
  SignatureBroken,  // the signature over the content doesn't hold
  Genuine,          // signed by the trusted root's receipt signer (Apple's: "signed by Apple")
  StoreKitTest,     // signed by Xcode's StoreKit testing certificate: a test receipt
  NotTrusted,       // signed, but not by a receipt signer under the trusted root
};

struct Signature {
  Verdict verdict = Verdict::NotAReceipt;
  std::string summary;          // the verdict in a sentence
  std::string digestAlgorithm;  // of the signer, "SHA-256"
  Fact content;                 // the content's digest and the signer's signature over it
  Fact chain;                   // from the signer through the carried certificates to the root
  Fact validAtCreation;         // every certificate of the chain, at attribute 12's date
  Fact validNow;                // every certificate of the chain, at Options::now
  Fact signerExtension;         // the signer carries 1.2.840.113635.100.6.11.1
  Fact intermediateExtension;   // the intermediate carries 1.2.840.113635.100.6.2.1
  Fact digest;                  // the digest algorithm is SHA-1 or SHA-256
  std::vector<ChainError> chainErrors;
};

// An identifier of a device, the bytes that the device hash starts with.
struct DeviceIdentifier {
  std::string label;  // where it came from: an interface's name, "given"
  std::string text;   // as a person reads it: "F8:FF:C2:1E:91:82"
  Bytes bytes;
};

struct DeviceAttempt {
  std::string label;
  std::string text;
  std::string hash;  // SHA-1 of the identifier, attribute 4 and attribute 2, in hex
  bool matches = false;
};

struct DeviceCheck {
  Fact matches;                       // an identifier tried gives attribute 5
  std::vector<std::int64_t> missing;  // which of attributes 2, 4 and 5 the receipt lacks
  std::optional<std::size_t> match;   // the index in `attempts` of the first that matches
  std::vector<DeviceAttempt> attempts;
};

struct Report {
  std::size_t size = 0;  // bytes examined
  Fact container;        // one PKCS#7 signed-data object around data, with one signer
  Signature signature;
  std::vector<Certificate> certificates;  // the chain from the signer up, then the rest carried
  Contents receipt;
  DeviceCheck device;
};

// The root that a chain must reach. Apple's root certificate is compiled into the program.
class TrustAnchor {
 public:
  // Apple Inc.'s "Apple Root CA", SHA-256 B0:B1:73:0E:...:01:F0:24.
  static std::shared_ptr<const TrustAnchor> Apple();
  // A root from its DER bytes; nullptr, with the reason in `reason`, for bytes that aren't one.
  static std::shared_ptr<const TrustAnchor> FromDer(std::span<const std::uint8_t> der,
                                                    std::string* reason = nullptr);

  ~TrustAnchor();
  TrustAnchor(const TrustAnchor&) = delete;
  TrustAnchor& operator=(const TrustAnchor&) = delete;

  bool IsApple() const;
  const std::string& CommonName() const;

  struct Impl;
  const Impl& impl() const { return *impl_; }

 private:
  explicit TrustAnchor(std::unique_ptr<Impl> impl);
  std::unique_ptr<Impl> impl_;
};

struct Options {
  std::vector<DeviceIdentifier> identifiers;  // tried in this order
  std::shared_ptr<const TrustAnchor> anchor;  // nullptr: Apple's root
  std::optional<std::int64_t> now;            // seconds since 1970 UTC; none: the clock's time
};

// Examines the bytes of a receipt file. Never throws for any bytes (std::bad_alloc aside).
Report Examine(std::span<const std::uint8_t> bytes, const Options& options = {});
// Examines the file at `path`; a file that can't be read, or has more than kMaxInputSize bytes,
// gives a report whose container fact says so.
Report ExamineFile(const std::filesystem::path& path, const Options& options = {});

// An identifier as a person writes it: a MAC address ("f8:ff:c2:1e:91:82", with hyphens or with
// no separators, in either case), a UUID ("3B76A7BD-8F5B-46A4-BCB1-CCE8DBD1B3CD", 16 bytes), or
// bytes in hex or base64; "hex:" or "base64:" in front chooses the form. Without one, a text of
// hex digits is hex before it is base64.
struct ParsedIdentifier {
  std::optional<DeviceIdentifier> identifier;
  std::string reason;  // why there is none
};
ParsedIdentifier ParseIdentifier(std::string_view text, std::string label = "given");

// The words of a verdict's kind, as the JSON writes them: "genuine", "storekit-test", ...
std::string_view VerdictName(Verdict verdict);
std::string_view RoleName(CertificateRole role);

}  // namespace Examination
