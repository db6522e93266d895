#include "examination/Examination.h"

#include <openssl/asn1.h>
#include <openssl/err.h>
#include <openssl/objects.h>

#include <algorithm>
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

// Why the bytes are not handed to libcrypto, from a walk over the container's outline; empty
// when they may be. libcrypto decodes every certificate that a container carries, each with its
// public key, which is dear: 10,000 certificates take it seconds. So libcrypto reads only signed
// data around data whose outline the walk could follow to its certificates, and only when there
// are at most kMaxCertificates of at most kMaxCertificateSize bytes each. Any other content type
// is refused by its name, since some carry certificates too, and so is signed data around any
// other content, which may be signed data with certificates of its own.
std::string Outline(std::span<const std::uint8_t> bytes) {
  der::Object o;
  std::string error;
  const auto unread = [&error](const std::string& what) {
    return "no PKCS#7 object: " + what + (error.empty() ? "" : ": " + error);
  };
  der::Cursor top(bytes);
  if (!top.Next(o, error) || !o.Is(der::kSequence, true)) return unread("no ContentInfo");
  der::Cursor info(o.contents);
  if (!info.Next(o, error)) return unread("no content type");
  if (!IsOid(o, kSignedDataOid))
    return "a PKCS#7 object of type " + TypeWords(o) + ", not signed data";
  if (!info.Next(o, error) || o.cls != der::kContext || o.tag != 0)
    return unread("signed data without its [0] content");
  der::Cursor content(o.contents);
  if (!content.Next(o, error) || !o.Is(der::kSequence, true)) return unread("no SignedData");
  der::Cursor signedData(o.contents);
  der::Object version, algorithms, inner;
  if (!signedData.Next(version, error) || !signedData.Next(algorithms, error) ||
      !signedData.Next(inner, error) || !inner.Is(der::kSequence, true))
    return unread("no version, digest algorithms and content info in the SignedData");
  der::Cursor innerInfo(inner.contents);
  if (!innerInfo.Next(o, error)) return unread("no type of the signed content");
  if (!IsOid(o, kDataOid)) return "signed data around " + TypeWords(o) + ", not around data";

  // The certificates, [0], where the SignedData carries any.
  if (signedData.Empty()) return {};
  if (!signedData.Next(o, error)) return unread("no certificates, CRLs or signer infos");
  if (o.cls != der::kContext || o.tag != 0) return {};
  der::Cursor certificates(o.contents);
  std::size_t count = 0;
  while (!certificates.Empty()) {
    if (!certificates.Next(o, error))
      return unread("certificate " + std::to_string(count + 1) + " can't be read");
    ++count;
    if (o.contents.size() > kMaxCertificateSize)
      return "certificate " + std::to_string(count) + " has " + std::to_string(o.contents.size()) +
             " bytes: more than " + std::to_string(kMaxCertificateSize) + " are not examined";
    if (count > kMaxCertificates) {
      // Counted to the end, so that the reason says how many there are.
      while (!certificates.Empty() && certificates.Next(o, error))
        ++count;
      return std::to_string(count) + " certificates: more than " +
             std::to_string(kMaxCertificates) + " are not examined";
    }
  }
  return {};
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

  if (const std::string why = Outline(bytes); !why.empty()) {
    Unread(report, why);
    detail::Judge(*anchor, false, report);
    return report;
  }

  ERR_clear_error();
  const unsigned char* end = bytes.data();
  const std::unique_ptr<PKCS7, Pkcs7Free> p7(
      d2i_PKCS7(nullptr, &end, static_cast<long>(bytes.size())));
  std::string why;
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
  const int certificates = sk_X509_num(sign->cert);
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

  const std::size_t behind = static_cast<std::size_t>(bytes.data() + bytes.size() - end);
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
  detail::CheckSignature(p7.get(), *anchor, created, now, report);
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
