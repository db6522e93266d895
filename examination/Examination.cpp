#include "examination/Examination.h"

#include <openssl/asn1.h>
#include <openssl/err.h>
#include <openssl/objects.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstring>
#include <ctime>
#include <fstream>
#include <memory>

#include "examination/Der.h"
#include "examination/Internal.h"
#include "examination/Text.h"

namespace Examination {

namespace {

struct Pkcs7Free {
  void operator()(PKCS7* p7) const { PKCS7_free(p7); }
};

// A report on bytes that gave no container: every fact says why.
void Unread(Report& report, const std::string& why) {
  report.container = {false, why};
  const Fact none{false, "not examined: no container was read"};
  Signature& s = report.signature;
  s.content = s.chain = s.validAtCreation = s.validNow = s.signerExtension =
      s.intermediateExtension = s.digest = none;
  report.receipt.readable = {false, "no payload: no container was read"};
  report.receipt.problems = {report.receipt.readable.reason};
  report.device = detail::CheckDevice(report.receipt, {});
}

std::string TypeWords(const ASN1_OBJECT* type) {
  const int nid = OBJ_obj2nid(type);
  if (nid != NID_undef) return OBJ_nid2ln(nid);
  char oid[128] = "";
  if (type != nullptr) OBJ_obj2txt(oid, sizeof oid, type, 1);
  return text::Quote(oid);
}

// The DER of the content types that a receipt's container names: PKCS#7 signed data, and data.
constexpr std::uint8_t kSignedDataOid[] = {0x2A, 0x86, 0x48, 0x86, 0xF7, 0x0D, 0x01, 0x07, 0x02};
constexpr std::uint8_t kDataOid[] = {0x2A, 0x86, 0x48, 0x86, 0xF7, 0x0D, 0x01, 0x07, 0x01};

bool IsOid(const der::Object& o, std::span<const std::uint8_t> oid) {
  return o.Is(der::kObjectIdentifier, false) &&
         std::equal(o.contents.begin(), o.contents.end(), oid.begin(), oid.end());
}

// A content type for a reason: libcrypto's long name for it, else its dotted form.
std::string TypeWords(const der::Object& o) {
  if (!o.Is(der::kObjectIdentifier, false)) return "no OBJECT IDENTIFIER";
  // The object again with a header in the long form, which libcrypto reads for any length.
  const std::size_t n = o.contents.size();
  Bytes tlv = {0x06,
               0x84,
               static_cast<std::uint8_t>(n >> 24),
               static_cast<std::uint8_t>(n >> 16),
               static_cast<std::uint8_t>(n >> 8),
               static_cast<std::uint8_t>(n)};
  tlv.insert(tlv.end(), o.contents.begin(), o.contents.end());
  const unsigned char* p = tlv.data();
  const std::unique_ptr<ASN1_OBJECT, decltype(&ASN1_OBJECT_free)> type(
      d2i_ASN1_OBJECT(nullptr, &p, static_cast<long>(tlv.size())), ASN1_OBJECT_free);
  ERR_clear_error();
  return type ? TypeWords(type.get()) : "an OBJECT IDENTIFIER that can't be read";
}

std::string OpenSslReason();

struct CertificatesFree {
  void operator()(STACK_OF(X509) * certificates) const {
    sk_X509_pop_free(certificates, X509_free);
  }
};
using CertificatesPtr = std::unique_ptr<STACK_OF(X509), CertificatesFree>;

// The container's outline, as a walk over its DER finds it before libcrypto reads it.
//
// libcrypto decodes every certificate that a container carries, each with its public key, which
// is dear: 10,000 certificates take it seconds. So libcrypto reads only signed data around data
// whose outline the walk could follow to its certificates, and only when there are at most
// kMaxCertificates of at most kMaxCertificateSize bytes each; any other content type is refused
// by its name, since some carry certificates too, and so is signed data around any other
// content, which may be signed data with certificates of its own. And it reads the container
// without its certificates, which are decoded apart: the one that is the trusted root is then
// not decoded again.
struct Outline {
  std::string refusal;  // why libcrypto is not to read the bytes; empty when it may
  // The ContentInfo, its [0] and the SignedData, whose lengths count the certificates: where
  // each starts, the sizes of its identifier and of its whole header, its contents' length.
  struct Around {
    std::size_t start = 0;
    std::size_t identifier = 0;
    std::size_t header = 0;
    std::size_t length = 0;
    bool indefinite = false;
  };
  std::array<Around, 3> around{};
  // The [0] of the certificates, from its first byte to behind its last; none when equal.
  std::size_t certificatesStart = 0;
  std::size_t certificatesEnd = 0;
  std::vector<std::span<const std::uint8_t>> certificates;  // each one's DER
};

Outline ReadOutline(std::span<const std::uint8_t> bytes) {
  Outline outline;
  der::Object o;
  std::string error;
  const auto refuse = [&outline](std::string why) {
    outline.refusal = std::move(why);
    return outline;
  };
  const auto unread = [&error, &refuse](const std::string& what) {
    return refuse("no PKCS#7 object: " + what + (error.empty() ? "" : ": " + error));
  };
  // Reads the next object of `c` as one of the three around the certificates.
  const auto around = [&](der::Cursor& c, Outline::Around& a) {
    const std::uint8_t* at = c.Rest().data();
    if (!c.Next(o, error)) return false;
    a.start = static_cast<std::size_t>(at - bytes.data());
    a.header = static_cast<std::size_t>(o.contents.data() - at);
    a.identifier = 1;
    if ((at[0] & 0x1F) == 0x1F)
      while ((at[a.identifier++] & 0x80) != 0) {
      }
    a.indefinite = at[a.identifier] == 0x80;
    a.length = o.contents.size();
    return true;
  };

  der::Cursor top(bytes);
  if (!around(top, outline.around[0]) || !o.Is(der::kSequence, true))
    return unread("no ContentInfo");
  der::Cursor info(o.contents);
  if (!info.Next(o, error)) return unread("no content type");
  if (!IsOid(o, kSignedDataOid))
    return refuse("a PKCS#7 object of type " + TypeWords(o) + ", not signed data");
  if (!around(info, outline.around[1]) || o.cls != der::kContext || o.tag != 0)
    return unread("signed data without its [0] content");
  der::Cursor content(o.contents);
  if (!around(content, outline.around[2]) || !o.Is(der::kSequence, true))
    return unread("no SignedData");
  der::Cursor signedData(o.contents);
  der::Object version, algorithms, inner;
  if (!signedData.Next(version, error) || !signedData.Next(algorithms, error) ||
      !signedData.Next(inner, error) || !inner.Is(der::kSequence, true))
    return unread("no version, digest algorithms and content info in the SignedData");
  der::Cursor innerInfo(inner.contents);
  if (!innerInfo.Next(o, error)) return unread("no type of the signed content");
  if (!IsOid(o, kDataOid))
    return refuse("signed data around " + TypeWords(o) + ", not around data");

  // The certificates, [0], where the SignedData carries any.
  if (signedData.Empty()) return outline;
  const std::uint8_t* field = signedData.Rest().data();
  if (!signedData.Next(o, error)) return unread("no certificates, CRLs or signer infos");
  if (o.cls != der::kContext || o.tag != 0) return outline;
  outline.certificatesStart = static_cast<std::size_t>(field - bytes.data());
  outline.certificatesEnd = static_cast<std::size_t>(signedData.Rest().data() - bytes.data());
  der::Cursor certificates(o.contents);
  while (!certificates.Empty()) {
    const std::uint8_t* at = certificates.Rest().data();
    const std::size_t count = outline.certificates.size() + 1;
    if (!certificates.Next(o, error))
      return unread("certificate " + std::to_string(count) + " can't be read");
    if (o.contents.size() > kMaxCertificateSize)
      return refuse("certificate " + std::to_string(count) + " has " +
                    std::to_string(o.contents.size()) + " bytes: more than " +
                    std::to_string(kMaxCertificateSize) + " are not examined");
    if (count > kMaxCertificates) {
      // Counted to the end, so that the reason says how many there are.
      std::size_t all = count;
      while (!certificates.Empty() && certificates.Next(o, error))
        ++all;
      return refuse(std::to_string(all) + " certificates: more than " +
                    std::to_string(kMaxCertificates) + " are not examined");
    }
    outline.certificates.emplace_back(at, certificates.Rest().data());
  }
  return outline;
}

// DER's length octets for `length`.
void PutLength(Bytes& out, std::size_t length) {
  if (length < 0x80) {
    out.push_back(static_cast<std::uint8_t>(length));
    return;
  }
  std::size_t count = 0;
  for (std::size_t rest = length; rest != 0; rest >>= 8)
    ++count;
  out.push_back(static_cast<std::uint8_t>(0x80 | count));
  for (std::size_t i = count; i-- > 0;)
    out.push_back(static_cast<std::uint8_t>(length >> (8 * i)));
}

// The container without the [0] of its certificates: the three objects around it are made
// shorter by as much (an indefinite length needs no change), from the innermost outward, since
// a shorter length may take fewer octets.
Bytes WithoutCertificates(std::span<const std::uint8_t> bytes, const Outline& outline) {
  std::array<Bytes, 3> headers;
  std::size_t shorter = outline.certificatesEnd - outline.certificatesStart;
  for (std::size_t i = 3; i-- > 0;) {
    const Outline::Around& a = outline.around[i];
    Bytes& header = headers[i];
    header.assign(bytes.begin() + static_cast<std::ptrdiff_t>(a.start),
                  bytes.begin() + static_cast<std::ptrdiff_t>(a.start + a.identifier));
    if (a.indefinite) {
      header.push_back(0x80);
    } else {
      PutLength(header, a.length - shorter);
    }
    shorter += a.header - header.size();
  }
  Bytes out;
  out.reserve(bytes.size());
  std::size_t at = 0;
  const auto copy = [&](std::size_t from, std::size_t to) {
    out.insert(out.end(), bytes.begin() + static_cast<std::ptrdiff_t>(from),
               bytes.begin() + static_cast<std::ptrdiff_t>(to));
  };
  for (std::size_t i = 0; i < 3; ++i) {
    copy(at, outline.around[i].start);
    out.insert(out.end(), headers[i].begin(), headers[i].end());
    at = outline.around[i].start + outline.around[i].header;
  }
  copy(at, outline.certificatesStart);
  copy(outline.certificatesEnd, bytes.size());
  return out;
}

// The certificates of the outline, decoded by libcrypto; the trusted root's own object stands for
// a certificate of the same DER. Null, with the reason in `why`, when one can't be decoded.
CertificatesPtr DecodeCertificates(const Outline& outline, const TrustAnchor& anchor,
                                   std::string& why) {
  CertificatesPtr stack(sk_X509_new_null());
  if (!stack) {
    why = "no memory for the certificates";
    return nullptr;
  }
  const Bytes& root = anchor.impl().der;
  for (const std::span<const std::uint8_t> der : outline.certificates) {
    X509* x = nullptr;
    if (std::equal(der.begin(), der.end(), root.begin(), root.end())) {
      x = anchor.impl().root;
      X509_up_ref(x);
    } else {
      const unsigned char* p = der.data();
      x = d2i_X509(nullptr, &p, static_cast<long>(der.size()));
      if (x != nullptr && p != der.data() + der.size()) {
        X509_free(x);
        x = nullptr;
      }
    }
    if (x == nullptr || sk_X509_push(stack.get(), x) <= 0) {
      X509_free(x);
      why = "no PKCS#7 object: certificate " + std::to_string(sk_X509_num(stack.get()) + 1) +
            " can't be read: " + OpenSslReason();
      return nullptr;
    }
  }
  return stack;
}

std::string OpenSslReason() {
  const unsigned long code = ERR_peek_last_error();
  const char* reason = code != 0 ? ERR_reason_error_string(code) : nullptr;
  ERR_clear_error();
  return reason != nullptr ? reason : "no reason given";
}

}  // namespace

TrustAnchor::Impl::~Impl() {
  X509_STORE_free(store);
  X509_free(root);
}

TrustAnchor::TrustAnchor(std::unique_ptr<Impl> impl) : impl_(std::move(impl)) {}
TrustAnchor::~TrustAnchor() = default;

std::shared_ptr<const TrustAnchor> TrustAnchor::Apple() {
  static const std::shared_ptr<const TrustAnchor> apple = [] {
    auto anchor = FromDer(detail::AppleRootDer());
    if (!anchor) std::abort();  // the build checked these bytes' fingerprint
    anchor->impl_->apple = true;
    return anchor;
  }();
  return apple;
}

std::shared_ptr<const TrustAnchor> TrustAnchor::FromDer(std::span<const std::uint8_t> der,
                                                        std::string* reason) {
  auto impl = std::make_unique<Impl>();
  const unsigned char* p = der.data();
  ERR_clear_error();
  if (der.size() <= kMaxInputSize)
    impl->root = d2i_X509(nullptr, &p, static_cast<long>(der.size()));
  if (impl->root == nullptr || p != der.data() + der.size()) {
    if (reason != nullptr) *reason = "not one DER certificate: " + OpenSslReason();
    ERR_clear_error();
    return nullptr;
  }
  impl->der.assign(der.begin(), der.end());
  impl->store = X509_STORE_new();
  if (impl->store == nullptr || X509_STORE_add_cert(impl->store, impl->root) != 1) {
    if (reason != nullptr) *reason = "the root can't be stored: " + OpenSslReason();
    return nullptr;
  }
  const X509_NAME* subject = X509_get_subject_name(impl->root);
  const int index = X509_NAME_get_index_by_NID(subject, NID_commonName, -1);
  if (index >= 0) {
    const ASN1_STRING* cn = X509_NAME_ENTRY_get_data(X509_NAME_get_entry(subject, index));
    impl->commonName.assign(reinterpret_cast<const char*>(ASN1_STRING_get0_data(cn)),
                            static_cast<std::size_t>(ASN1_STRING_length(cn)));
  }
  return std::shared_ptr<const TrustAnchor>(new TrustAnchor(std::move(impl)));
}

bool TrustAnchor::IsApple() const {
  return impl_->apple;
}

const std::string& TrustAnchor::CommonName() const {
  return impl_->commonName;
}

Report Examine(std::span<const std::uint8_t> bytes, const Options& options) {
  Report report;
  report.size = bytes.size();
  const std::shared_ptr<const TrustAnchor> anchor =
      options.anchor ? options.anchor : TrustAnchor::Apple();
  const std::int64_t now = options.now.value_or(static_cast<std::int64_t>(std::time(nullptr)));

  if (bytes.size() > kMaxInputSize) {
    Unread(report, std::to_string(bytes.size()) + " bytes: more than " +
                       std::to_string(kMaxInputSize) + " are not examined");
    detail::Judge(*anchor, false, report);
    return report;
  }

  const Outline outline = ReadOutline(bytes);
  std::string why = outline.refusal;
  ERR_clear_error();
  const CertificatesPtr carried = why.empty() ? DecodeCertificates(outline, *anchor, why) : nullptr;
  if (!why.empty()) {
    Unread(report, why);
    detail::Judge(*anchor, false, report);
    return report;
  }

  // The container without its certificates, which are decoded above.
  const Bytes stripped = outline.certificatesEnd > outline.certificatesStart
                             ? WithoutCertificates(bytes, outline)
                             : Bytes();
  const std::span<const std::uint8_t> read = stripped.empty() ? bytes : stripped;
  const unsigned char* end = read.data();
  const std::unique_ptr<PKCS7, Pkcs7Free> p7(
      d2i_PKCS7(nullptr, &end, static_cast<long>(read.size())));
  PKCS7_SIGNED* sign = nullptr;
  if (!p7) {
    why = "no PKCS#7 object: " + OpenSslReason();
  } else if (!PKCS7_type_is_signed(p7.get()) || (sign = p7->d.sign) == nullptr) {
    why = "a PKCS#7 object of type " + TypeWords(p7->type) + ", not signed data";
  } else if (sign->contents == nullptr || !PKCS7_type_is_data(sign->contents)) {
    why = "signed data around " +
          (sign->contents == nullptr ? std::string("nothing") : TypeWords(sign->contents->type)) +
          ", not around data";
  } else if (sign->contents->d.data == nullptr) {
    why = "signed data without its content (a detached signature)";
  }
  if (!why.empty()) {
    Unread(report, why);
    detail::Judge(*anchor, false, report);
    return report;
  }

  const ASN1_OCTET_STRING* octets = sign->contents->d.data;
  report.receipt = detail::ReadContents(
      {ASN1_STRING_get0_data(octets), static_cast<std::size_t>(ASN1_STRING_length(octets))});
  report.device = detail::CheckDevice(report.receipt, options.identifiers);

  const int signers = sk_PKCS7_SIGNER_INFO_num(PKCS7_get_signer_info(p7.get()));
  const int certificates = sk_X509_num(carried.get());
  if (signers != 1) {
    why = std::to_string(std::max(signers, 0)) + " signers, where a receipt has one";
    report.container = {false, why};
    const Fact none{false, "not examined: " + why};
    Signature& s = report.signature;
    s.content = s.chain = s.validAtCreation = s.validNow = s.signerExtension =
        s.intermediateExtension = s.digest = none;
    detail::Judge(*anchor, false, report);
    return report;
  }

  const std::size_t behind = static_cast<std::size_t>(read.data() + read.size() - end);
  report.container = {
      true,
      "PKCS#7 signed data around data, one signer, " + std::to_string(std::max(certificates, 0)) +
          " certificates, a payload of " + std::to_string(ASN1_STRING_length(octets)) + " bytes" +
          (behind > 0 ? "; " + std::to_string(behind) + " bytes behind it are not read" : "")};

  std::optional<std::int64_t> created;
  if (const Attribute* date = report.receipt.Find(Numbers::kCreationDate);
      date != nullptr && date->date && date->date->unixMillis) {
    const std::int64_t ms = *date->date->unixMillis;
    created = ms >= 0 ? ms / 1000 : -((-ms + 999) / 1000);
  }
  detail::CheckSignature(p7.get(), carried.get(), *anchor, created, now, report);
  ERR_clear_error();
  return report;
}

Report ExamineFile(const std::filesystem::path& path, const Options& options) {
  std::error_code ec;
  const auto size = std::filesystem::file_size(path, ec);
  std::string why;
  Bytes bytes;
  if (ec) {
    why = "can't read " + text::Quote(path.string()) + ": " + ec.message();
  } else if (size > kMaxInputSize) {
    why = std::to_string(size) + " bytes: more than " + std::to_string(kMaxInputSize) +
          " are not examined";
  } else {
    std::ifstream in(path, std::ios::binary);
    bytes.resize(static_cast<std::size_t>(size));
    if (!in.read(reinterpret_cast<char*>(bytes.data()), static_cast<std::streamsize>(size)))
      why = "can't read " + text::Quote(path.string()) + ": " + std::strerror(errno);
  }
  if (why.empty()) return Examine(bytes, options);
  Report report;
  report.size = static_cast<std::size_t>(ec ? 0 : size);
  Unread(report, why);
  detail::Judge(options.anchor ? *options.anchor : *TrustAnchor::Apple(), false, report);
  return report;
}

std::string_view VerdictName(Verdict verdict) {
  switch (verdict) {
    case Verdict::NotAReceipt:
      return "not-a-receipt";
    case Verdict::SignatureBroken:
      return "signature-broken";
    case Verdict::Genuine:
      return "genuine";
    case Verdict::StoreKitTest:
      return "storekit-test";
    case Verdict::NotTrusted:
      return "not-trusted";
  }
  return "not-a-receipt";
}

std::string_view RoleName(CertificateRole role) {
  switch (role) {
    case CertificateRole::Signer:
      return "signer";
    case CertificateRole::Intermediate:
      return "intermediate";
    case CertificateRole::Root:
      return "root";
    case CertificateRole::Other:
      return "other";
  }
  return "other";
}

}  // namespace Examination
