// The signature of a read container: the content's signature, the chain to the trusted root,
// the certificates' dates and Apple's extensions, and the verdict drawn from them.

#include <openssl/asn1.h>
#include <openssl/bio.h>
#include <openssl/err.h>
#include <openssl/evp.h>
#include <openssl/objects.h>
#include <openssl/x509v3.h>

#include <algorithm>
#include <cstdio>
#include <ctime>
#include <memory>
#include <span>
#include <utility>
#include <vector>

#include "examination/Internal.h"
#include "examination/Text.h"

namespace Examination {

namespace {

template <auto Free>
struct FreeWith {
  template <typename T>
  void operator()(T* object) const {
    Free(object);
  }
};

void FreeCertificates(STACK_OF(X509) * certificates) {
  sk_X509_pop_free(certificates, X509_free);
}
void FreeSignerStack(STACK_OF(X509) * signers) {
  sk_X509_free(signers);  // the certificates are the container's
}

using BioPtr = std::unique_ptr<BIO, FreeWith<BIO_free>>;
using ObjectPtr = std::unique_ptr<ASN1_OBJECT, FreeWith<ASN1_OBJECT_free>>;
using StoreContextPtr = std::unique_ptr<X509_STORE_CTX, FreeWith<X509_STORE_CTX_free>>;
using CertificatesPtr = std::unique_ptr<STACK_OF(X509), FreeWith<FreeCertificates>>;
using SignersPtr = std::unique_ptr<STACK_OF(X509), FreeWith<FreeSignerStack>>;

constexpr const char* kReceiptSignerOid = "1.2.840.113635.100.6.11.1";
constexpr const char* kIntermediateOid = "1.2.840.113635.100.6.2.1";

std::string NameText(const X509_NAME* name) {
  const BioPtr bio(BIO_new(BIO_s_mem()));
  if (!bio) return {};
  // RFC 2253, with UTF-8 left as it is rather than escaped byte by byte.
  X509_NAME_print_ex(bio.get(), name, 0, XN_FLAG_RFC2253 & ~ASN1_STRFLGS_ESC_MSB);
  char* data = nullptr;
  const long length = BIO_get_mem_data(bio.get(), &data);
  return length > 0 ? std::string(data, static_cast<std::size_t>(length)) : std::string();
}

std::string CommonName(const X509_NAME* name) {
  const int index = X509_NAME_get_index_by_NID(name, NID_commonName, -1);
  if (index < 0) return {};
  unsigned char* utf8 = nullptr;
  const int length =
      ASN1_STRING_to_UTF8(&utf8, X509_NAME_ENTRY_get_data(X509_NAME_get_entry(name, index)));
  if (length < 0) return {};
  std::string text(reinterpret_cast<const char*>(utf8), static_cast<std::size_t>(length));
  OPENSSL_free(utf8);
  return text;
}

// A certificate's name for a reason: its common name, else its whole subject.
std::string Called(const X509* x) {
  std::string cn = CommonName(X509_get_subject_name(x));
  return text::Quote(cn.empty() ? NameText(X509_get_subject_name(x)) : cn);
}

std::string TimeText(const ASN1_TIME* t) {
  std::tm tm{};
  if (t == nullptr || ASN1_TIME_to_tm(t, &tm) != 1) return "(unreadable)";
  char buffer[80];
  std::snprintf(buffer, sizeof buffer, "%04d-%02d-%02dT%02d:%02d:%02dZ", tm.tm_year + 1900,
                tm.tm_mon + 1, tm.tm_mday, tm.tm_hour, tm.tm_min, tm.tm_sec);
  return buffer;
}

std::string SignatureAlgorithm(const X509* x) {
  if (const int nid = X509_get_signature_nid(x); nid != NID_undef) return OBJ_nid2ln(nid);
  const X509_ALGOR* algorithm = nullptr;
  X509_get0_signature(nullptr, &algorithm, x);
  const ASN1_OBJECT* object = nullptr;
  X509_ALGOR_get0(&object, nullptr, nullptr, algorithm);
  char oid[128] = "";
  if (object != nullptr) OBJ_obj2txt(oid, sizeof oid, object, 1);
  return oid;
}

// SHA-256 as the provider gives it, fetched once: EVP_sha256() would be looked up again at each
// use.
const EVP_MD* Sha256() {
  static const std::unique_ptr<EVP_MD, FreeWith<EVP_MD_free>> md(
      EVP_MD_fetch(nullptr, "SHA256", nullptr));
  return md ? md.get() : EVP_sha256();
}

// The RFC 2253 texts of the names of one chain, each written once: the issuer of a certificate
// is the subject of the next one up, and a root is its own issuer. Names are the same when their
// DER is; the certificates must outlive this.
class NameTexts {
 public:
  std::string Of(const X509_NAME* name) {
    const unsigned char* der = nullptr;
    std::size_t length = 0;
    if (X509_NAME_get0_der(name, &der, &length) != 1) return NameText(name);
    const std::span<const unsigned char> bytes(der, length);
    for (const auto& [known, text] : known_)
      if (std::equal(known.begin(), known.end(), bytes.begin(), bytes.end())) return text;
    known_.emplace_back(bytes, NameText(name));
    return known_.back().second;
  }

 private:
  std::vector<std::pair<std::span<const unsigned char>, std::string>> known_;
};

Certificate Describe(X509* x, CertificateRole role, bool carried, NameTexts& names) {
  Certificate c;
  c.role = role;
  c.carried = carried;
  c.subject = names.Of(X509_get_subject_name(x));
  c.issuer = names.Of(X509_get_issuer_name(x));
  c.subjectCommonName = CommonName(X509_get_subject_name(x));
  c.issuerCommonName = CommonName(X509_get_issuer_name(x));
  const ASN1_INTEGER* serial = X509_get0_serialNumber(x);
  c.serial = text::Hex(
      {ASN1_STRING_get0_data(serial), static_cast<std::size_t>(ASN1_STRING_length(serial))});
  if (ASN1_STRING_type(serial) == V_ASN1_NEG_INTEGER) c.serial.insert(c.serial.begin(), '-');
  c.notBefore = TimeText(X509_get0_notBefore(x));
  c.notAfter = TimeText(X509_get0_notAfter(x));
  c.signatureAlgorithm = SignatureAlgorithm(x);
  unsigned char md[EVP_MAX_MD_SIZE];
  unsigned int length = 0;
  if (X509_digest(x, Sha256(), md, &length) == 1)
    c.sha256Fingerprint = text::Hex({md, length}, ':');
  return c;
}

// An extension's OID, as text and as the object that lookups take, made once.
struct KnownOid {
  const char* text;
  ObjectPtr object;
};
const KnownOid& ReceiptSignerOid() {
  static const KnownOid oid{kReceiptSignerOid, ObjectPtr(OBJ_txt2obj(kReceiptSignerOid, 1))};
  return oid;
}
const KnownOid& IntermediateOid() {
  static const KnownOid oid{kIntermediateOid, ObjectPtr(OBJ_txt2obj(kIntermediateOid, 1))};
  return oid;
}

Fact ExtensionFact(const X509* x, const KnownOid& oid, const char* meaning) {
  if (x == nullptr) return {false, std::string("the chain has no ") + meaning + " certificate"};
  const bool has = oid.object && X509_get_ext_by_OBJ(x, oid.object.get(), -1) >= 0;
  return {has, Called(x) + (has ? " carries " : " does not carry ") + oid.text +
                   ", Apple's mark of " + meaning + " certificates"};
}

// The same certificate: the very object, as a chain holds those it took from the receipt, or
// one of the same contents.
bool Same(X509* a, X509* b) {
  return a == b || X509_cmp(a, b) == 0;
}

bool SelfIssued(X509* x) {
  return X509_check_issued(x, x) == X509_V_OK;
}

// Xcode's StoreKit testing certificate: self-signed, subject and issuer both
// CN=StoreKit, O=StoreKit, OU=StoreKit, C=US.
bool IsStoreKit(X509* x) {
  const X509_NAME* subject = X509_get_subject_name(x);
  if (X509_NAME_cmp(subject, X509_get_issuer_name(x)) != 0 || X509_NAME_entry_count(subject) != 4)
    return false;
  const struct {
    int nid;
    std::string_view value;
  } expected[] = {{NID_commonName, "StoreKit"},
                  {NID_organizationName, "StoreKit"},
                  {NID_organizationalUnitName, "StoreKit"},
                  {NID_countryName, "US"}};
  for (const auto& [nid, value] : expected) {
    const int index = X509_NAME_get_index_by_NID(subject, nid, -1);
    if (index < 0) return false;
    const ASN1_STRING* data = X509_NAME_ENTRY_get_data(X509_NAME_get_entry(subject, index));
    const std::string_view got(reinterpret_cast<const char*>(ASN1_STRING_get0_data(data)),
                               static_cast<std::size_t>(ASN1_STRING_length(data)));
    if (got != value) return false;
  }
  return true;
}

// Each error of the verification goes into the list (up to kMaxChainErrors), and verification
// goes on, so that the report has every error and not only the first.
int CollectError(int ok, X509_STORE_CTX* ctx) {
  if (ok == 1) return 1;
  auto* errors = static_cast<std::vector<ChainError>*>(X509_STORE_CTX_get_app_data(ctx));
  if (errors->size() < kMaxChainErrors) {
    ChainError e;
    e.depth = X509_STORE_CTX_get_error_depth(ctx);
    e.code = X509_STORE_CTX_get_error(ctx);
    e.text = X509_verify_cert_error_string(e.code);
    if (X509* current = X509_STORE_CTX_get_current_cert(ctx))
      e.subject = NameText(X509_get_subject_name(current));
    errors->push_back(std::move(e));
  }
  return 1;
}

// Why PKCS7_verify found that the signature over the content doesn't hold.
std::string ContentFailure() {
  unsigned long code = 0;
  for (unsigned long next = ERR_get_error(); next != 0; next = ERR_get_error())
    if (code == 0 || ERR_GET_LIB(next) == ERR_LIB_PKCS7) code = next;
  if (ERR_GET_LIB(code) == ERR_LIB_PKCS7) {
    switch (ERR_GET_REASON(code)) {
      case PKCS7_R_DIGEST_FAILURE:
        return "the content's digest is not the one signed: the content changed after signing";
      case PKCS7_R_SIGNATURE_FAILURE:
        return "the signer's signature does not verify: the content or the signature changed "
               "after signing";
      case PKCS7_R_SIGNER_CERTIFICATE_NOT_FOUND:
        return "the signer's certificate is not in the receipt";
      default:
        break;
    }
  }
  const char* reason = code != 0 ? ERR_reason_error_string(code) : nullptr;
  return reason != nullptr ? std::string("libcrypto: ") + reason
                           : "libcrypto found the signature wanting without a reason";
}

// Every certificate of `chain` valid at `when`.
Fact ValidAt(const std::vector<X509*>& chain, std::int64_t when, const std::string& moment) {
  for (X509* x : chain) {
    const int from = ASN1_TIME_cmp_time_t(X509_get0_notBefore(x), static_cast<time_t>(when));
    const int until = ASN1_TIME_cmp_time_t(X509_get0_notAfter(x), static_cast<time_t>(when));
    const std::string validity =
        "valid from " + TimeText(X509_get0_notBefore(x)) + " to " + TimeText(X509_get0_notAfter(x));
    if (from == -2 || until == -2) return {false, Called(x) + " has a date that can't be read"};
    if (from > 0) return {false, Called(x) + " was not yet valid at " + moment + ": " + validity};
    if (until < 0) return {false, Called(x) + " had expired at " + moment + ": " + validity};
  }
  return {true, (chain.size() == 1
                     ? std::string("the one certificate of the chain was")
                     : "the " + std::to_string(chain.size()) + " certificates of the chain were") +
                    " valid at " + moment};
}

std::string ChainText(const std::vector<X509*>& chain) {
  std::string text;
  for (X509* x : chain)
    text += (text.empty() ? "" : " <- ") + Called(x);
  return text;
}

}  // namespace

std::string ChainError::Line() const {
  return "error " + std::to_string(code) + " at " + std::to_string(depth) +
         " depth lookup: " + text;
}

namespace detail {

void CheckSignature(PKCS7* p7, const TrustAnchor& anchor, std::optional<std::int64_t> created,
                    std::int64_t now, Report& report) {
  Signature& s = report.signature;
  STACK_OF(X509)* carried = p7->d.sign->cert;
  PKCS7_SIGNER_INFO* info = sk_PKCS7_SIGNER_INFO_value(PKCS7_get_signer_info(p7), 0);

  const ASN1_OBJECT* digestObject = nullptr;
  X509_ALGOR_get0(&digestObject, nullptr, nullptr, info->digest_alg);
  const int digestNid = OBJ_obj2nid(digestObject);
  if (digestNid == NID_sha1 || digestNid == NID_sha256) {
    s.digestAlgorithm = digestNid == NID_sha1 ? "SHA-1" : "SHA-256";
    s.digest = {true, "the signer's digest is " + s.digestAlgorithm};
  } else {
    char oid[128] = "";
    if (digestObject != nullptr) OBJ_obj2txt(oid, sizeof oid, digestObject, 0);
    s.digestAlgorithm = oid;
    s.digest = {false, "the signer's digest is " + text::Quote(oid) + ", not SHA-1 or SHA-256"};
  }

  ERR_clear_error();
  const SignersPtr signers(PKCS7_get0_signers(p7, nullptr, 0));
  X509* signer = signers ? sk_X509_value(signers.get(), 0) : nullptr;
  if (signer == nullptr) {
    ERR_clear_error();
    const std::string why = "the signer's certificate is not in the receipt";
    s.content = s.chain = s.validAtCreation = s.validNow = s.signerExtension =
        s.intermediateExtension = {false, why};
    NameTexts names;
    for (int i = 0; i < sk_X509_num(carried); ++i)
      report.certificates.push_back(
          Describe(sk_X509_value(carried, i), CertificateRole::Other, true, names));
    Judge(anchor, false, report);
    return;
  }

  // The content: its digest and the signer's signature over it, without the chain.
  if (PKCS7_verify(p7, nullptr, nullptr, nullptr, nullptr, PKCS7_NOVERIFY) == 1) {
    s.content = {true, "the content's " + s.digestAlgorithm +
                           " digest and the signer's signature over it hold"};
  } else {
    s.content = {false, ContentFailure()};
  }
  ERR_clear_error();

  // The chain, once, with the times left out: they are compared below for two moments.
  const StoreContextPtr ctx(X509_STORE_CTX_new());
  std::vector<X509*> chain;
  CertificatesPtr built;
  int verified = -1;
  if (ctx && X509_STORE_CTX_init(ctx.get(), anchor.impl().store, signer, carried) == 1) {
    X509_STORE_CTX_set_default(ctx.get(), "smime_sign");
    X509_VERIFY_PARAM* param = X509_STORE_CTX_get0_param(ctx.get());
    X509_VERIFY_PARAM_set_flags(param, X509_V_FLAG_NO_CHECK_TIME);
    X509_VERIFY_PARAM_set_depth(param, kMaxChainDepth);
    X509_STORE_CTX_set_verify_cb(ctx.get(), CollectError);
    X509_STORE_CTX_set_app_data(ctx.get(), &s.chainErrors);
    verified = X509_verify_cert(ctx.get());
    if (verified != 1 && s.chainErrors.empty()) {
      ChainError e;
      e.depth = X509_STORE_CTX_get_error_depth(ctx.get());
      e.code = X509_STORE_CTX_get_error(ctx.get());
      e.text = X509_verify_cert_error_string(e.code);
      s.chainErrors.push_back(std::move(e));
    }
    built.reset(X509_STORE_CTX_get1_chain(ctx.get()));
  }
  ERR_clear_error();
  for (int i = 0; built && i < sk_X509_num(built.get()); ++i)
    chain.push_back(sk_X509_value(built.get(), i));
  if (chain.empty()) chain.push_back(signer);

  if (verified == 1 && s.chainErrors.empty()) {
    s.chain = {true, ChainText(chain) + ", the trusted root"};
  } else if (s.chainErrors.empty()) {
    s.chain = {false, "the chain could not be verified"};
  } else {
    const ChainError& first = s.chainErrors.front();
    s.chain = {false, first.Line() + (first.subject.empty() ? "" : " (" + first.subject + ")")};
    if (s.chainErrors.size() > 1)
      s.chain.reason += " and " + std::to_string(s.chainErrors.size() - 1) + " more errors";
  }

  if (created) {
    s.validAtCreation =
        ValidAt(chain, *created, text::FormatUtc(*created) + ", when the receipt was made");
  } else {
    const Attribute* date = report.receipt.Find(Numbers::kCreationDate);
    s.validAtCreation = {false, date == nullptr || !date->date
                                    ? "the receipt has no creation date (attribute 12)"
                                    : "the receipt's creation date (attribute 12) is no date"};
  }
  s.validNow = ValidAt(chain, now, text::FormatUtc(now) + " (now)");

  s.signerExtension = ExtensionFact(chain.front(), ReceiptSignerOid(), "receipt signing");
  X509* intermediate =
      chain.size() >= 3 || (chain.size() == 2 && !SelfIssued(chain[1])) ? chain[1] : nullptr;
  s.intermediateExtension = ExtensionFact(intermediate, IntermediateOid(), "intermediate");

  // The chain from the signer up, then what else the receipt carries.
  NameTexts names;
  for (std::size_t i = 0; i < chain.size(); ++i) {
    const CertificateRole role = i == 0 ? CertificateRole::Signer
                                 : i + 1 == chain.size() && SelfIssued(chain[i])
                                     ? CertificateRole::Root
                                     : CertificateRole::Intermediate;
    bool isCarried = false;
    for (int k = 0; !isCarried && k < sk_X509_num(carried); ++k)
      isCarried = Same(chain[i], sk_X509_value(carried, k));
    report.certificates.push_back(Describe(chain[i], role, isCarried, names));
  }
  for (int k = 0; k < sk_X509_num(carried); ++k) {
    X509* x = sk_X509_value(carried, k);
    bool inChain = false;
    for (X509* c : chain)
      inChain = inChain || Same(c, x);
    if (!inChain) report.certificates.push_back(Describe(x, CertificateRole::Other, true, names));
  }

  Judge(anchor, IsStoreKit(signer), report);
}

void Judge(const TrustAnchor& anchor, bool storeKit, Report& report) {
  Signature& s = report.signature;
  const std::string root = anchor.IsApple()
                               ? std::string("Apple")
                               : "the trusted root " + text::Quote(anchor.CommonName());
  if (!report.container.holds) {
    s.verdict = Verdict::NotAReceipt;
    s.summary = "Not a receipt: " + report.container.reason;
  } else if (!s.content.holds) {
    s.verdict = Verdict::SignatureBroken;
    s.summary = "The signature does not hold: " + s.content.reason;
  } else if (storeKit) {
    s.verdict = Verdict::StoreKitTest;
    s.summary =
        "A StoreKit test receipt: signed by Xcode's StoreKit testing certificate (CN=StoreKit, "
        "O=StoreKit, OU=StoreKit, C=US) for testing in Xcode, not by the App Store. A test "
        "receipt, not a forgery.";
  } else if (s.chain.holds && s.signerExtension.holds && s.intermediateExtension.holds &&
             s.validAtCreation.holds) {
    s.verdict = Verdict::Genuine;
    s.summary =
        "Signed by " + root +
        (s.validNow.holds ? "; its certificates were valid when it was made and are valid now."
                          : "; its certificates were valid when it was made, but not now: " +
                                s.validNow.reason + ".");
  } else {
    s.verdict = Verdict::NotTrusted;
    s.summary = "Not signed by " + root + ": ";
    if (!s.chain.holds) {
      s.summary += "the chain does not reach the root: " + s.chain.reason;
    } else if (!s.signerExtension.holds || !s.intermediateExtension.holds) {
      s.summary += "the chain reaches the root, but not through a receipt signer: " +
                   (s.signerExtension.holds ? s.intermediateExtension : s.signerExtension).reason;
    } else {
      s.summary +=
          "a certificate was not valid when the receipt was made: " + s.validAtCreation.reason;
    }
  }
}

}  // namespace detail
}  // namespace Examination
