// The test certificates: a root, an intermediate and a signer shaped like the store's, the
// roots a signer should not chain to, and the StoreKit certificate.

#include <openssl/asn1.h>
#include <openssl/bio.h>
#include <openssl/pem.h>
#include <openssl/x509v3.h>

#include <array>
#include <charconv>
#include <chrono>
#include <climits>
#include <initializer_list>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

#include "tools/receiptmaker/Keys.h"
#include "tools/receiptmaker/OpenSsl.h"

namespace ReceiptMaker {
namespace {

using BioPtr = std::unique_ptr<BIO, FreeWith<BIO_free>>;
using NamePtr = std::unique_ptr<X509_NAME, FreeWith<X509_NAME_free>>;
using Rdns = std::initializer_list<std::pair<const char*, const char*>>;

EVP_PKEY* FixedKey(KeyType type, keys::KeyRole role) {
  using Table = std::array<KeyPtr, keys::kKeyRoles>;
  static const std::array<Table, 2> loaded = [] {
    std::array<Table, 2> tables;
    for (size_t i = 0; i < keys::kKeyRoles; ++i) {
      for (auto [table, pem] :
           {std::pair{&tables[0], keys::kRsa2048[i]}, std::pair{&tables[1], keys::kEcP256[i]}}) {
        BioPtr bio(BIO_new_mem_buf(pem, -1));
        (*table)[i].reset(bio ? PEM_read_bio_PrivateKey(bio.get(), nullptr, nullptr, nullptr)
                              : nullptr);
        if (!(*table)[i]) ThrowOpenSsl("reading a fixed test key");
      }
    }
    return tables;
  }();
  return loaded[type == KeyType::Rsa2048 ? 0 : 1][role].get();
}

NamePtr Name(Rdns rdns) {
  NamePtr name(X509_NAME_new());
  if (!name) ThrowOpenSsl("X509_NAME_new");
  for (const auto& [field, value] : rdns) {
    if (X509_NAME_add_entry_by_txt(name.get(), field, MBSTRING_UTF8,
                                   reinterpret_cast<const unsigned char*>(value), -1, -1, 0) != 1) {
      ThrowOpenSsl(std::string("naming a certificate ") + field + "=" + value);
    }
  }
  return name;
}

constexpr Rdns kTestRootName = {{"C", "US"},
                                {"O", "Quellmark Test"},
                                {"OU", "Quellmark Test Certification Authority"},
                                {"CN", "Quellmark Test Root CA"}};
constexpr Rdns kOtherRootName = {{"C", "US"},
                                 {"O", "Quellmark Other"},
                                 {"OU", "Quellmark Other Certification Authority"},
                                 {"CN", "Quellmark Other Root CA"}};
constexpr Rdns kIntermediateName = {{"CN", "Quellmark Test Intermediate CA"},
                                    {"OU", "Quellmark Test Developer Relations"},
                                    {"O", "Quellmark Test"},
                                    {"C", "US"}};
constexpr Rdns kLeafName = {{"CN", "Quellmark Test Receipt Signing"},
                            {"OU", "Quellmark Test Developer Relations"},
                            {"O", "Quellmark Test"},
                            {"C", "US"}};
constexpr Rdns kLoopName = {{"CN", "Quellmark Loop CA"},
                            {"OU", "Quellmark Test Developer Relations"},
                            {"O", "Quellmark Test"},
                            {"C", "US"}};
constexpr Rdns kStoreKitName = {
    {"CN", "StoreKit"}, {"O", "StoreKit"}, {"OU", "StoreKit"}, {"C", "US"}};

constexpr const char* kIntermediateOid = "1.2.840.113635.100.6.2.1";
constexpr const char* kLeafOid = "1.2.840.113635.100.6.11.1";
// The value of both Apple extensions: an ASN.1 NULL.
constexpr const char* kNullValue = "DER:05:00";
// A private OID for an extension that only takes room.
constexpr const char* kBulkyOid = "1.3.6.1.4.1.55555.1";

// An extension kBulkyOid whose value is an OCTET STRING of `bytes` bytes of 0x41.
void AddBulkyExtension(X509* cert, size_t bytes) {
  using ObjectPtr = std::unique_ptr<ASN1_OBJECT, FreeWith<ASN1_OBJECT_free>>;
  using OctetsPtr = std::unique_ptr<ASN1_OCTET_STRING, FreeWith<ASN1_OCTET_STRING_free>>;
  using ExtensionPtr = std::unique_ptr<X509_EXTENSION, FreeWith<X509_EXTENSION_free>>;
  const std::vector<unsigned char> filler(bytes, 0x41);
  // The extension's value is the DER of that OCTET STRING, itself in an OCTET STRING.
  const OctetsPtr inner(ASN1_OCTET_STRING_new());
  if (!inner || bytes > INT_MAX ||
      ASN1_OCTET_STRING_set(inner.get(), filler.data(), static_cast<int>(bytes)) != 1) {
    ThrowOpenSsl("making a bulky extension's value");
  }
  unsigned char* der = nullptr;
  const int length = i2d_ASN1_OCTET_STRING(inner.get(), &der);
  const OctetsPtr value(ASN1_OCTET_STRING_new());
  const bool made = length > 0 && value && ASN1_OCTET_STRING_set(value.get(), der, length) == 1;
  OPENSSL_free(der);
  const ObjectPtr oid(OBJ_txt2obj(kBulkyOid, 1));
  const ExtensionPtr extension(
      made && oid ? X509_EXTENSION_create_by_OBJ(nullptr, oid.get(), 0, value.get()) : nullptr);
  if (!extension || X509_add_ext(cert, extension.get(), -1) != 1) {
    ThrowOpenSsl("adding a bulky extension");
  }
}

struct CertPlan {
  Rdns subject;
  EVP_PKEY* key;
  long serial;
  Validity validity;
  // In OpenSSL's configuration syntax, in this order. The subject key identifier comes before
  // the authority key identifier, which a self-signed certificate takes from it.
  std::vector<std::pair<const char*, const char*>> extensions;
  // When not 0, one more extension at the end, kBulkyOid, of an OCTET STRING of this many bytes.
  size_t bulkyBytes = 0;
};

// Signed with SHA-256 by issuerKey; issuer null makes the certificate self-signed.
CertPtr MakeCertificate(const CertPlan& plan, X509* issuer, EVP_PKEY* issuerKey) {
  CertPtr cert(X509_new());
  if (!cert) ThrowOpenSsl("X509_new");
  const NamePtr subject = Name(plan.subject);
  if (X509_set_version(cert.get(), X509_VERSION_3) != 1 ||
      ASN1_INTEGER_set(X509_get_serialNumber(cert.get()), plan.serial) != 1 ||
      ASN1_TIME_set(X509_getm_notBefore(cert.get()), plan.validity.notBefore) == nullptr ||
      ASN1_TIME_set(X509_getm_notAfter(cert.get()), plan.validity.notAfter) == nullptr ||
      X509_set_subject_name(cert.get(), subject.get()) != 1 ||
      X509_set_issuer_name(
          cert.get(), issuer != nullptr ? X509_get_subject_name(issuer) : subject.get()) != 1 ||
      X509_set_pubkey(cert.get(), plan.key) != 1) {
    ThrowOpenSsl("filling in a certificate");
  }
  X509V3_CTX context;
  X509V3_set_ctx_nodb(&context);
  X509V3_set_ctx(&context, issuer != nullptr ? issuer : cert.get(), cert.get(), nullptr, nullptr,
                 0);
  for (const auto& [name, value] : plan.extensions) {
    X509_EXTENSION* extension = X509V3_EXT_nconf(nullptr, &context, name, value);
    const bool added = extension != nullptr && X509_add_ext(cert.get(), extension, -1) == 1;
    X509_EXTENSION_free(extension);
    if (!added) ThrowOpenSsl(std::string("adding the extension ") + name + " = " + value);
  }
  if (plan.bulkyBytes > 0) AddBulkyExtension(cert.get(), plan.bulkyBytes);
  if (X509_sign(cert.get(), issuerKey, EVP_sha256()) <= 0) ThrowOpenSsl("signing a certificate");
  return cert;
}

CertPtr RootCertificate(Rdns name, EVP_PKEY* key, long serial, Validity validity) {
  return MakeCertificate({name,
                          key,
                          serial,
                          validity,
                          {{"keyUsage", "critical,keyCertSign,cRLSign"},
                           {"basicConstraints", "critical,CA:TRUE"},
                           {"subjectKeyIdentifier", "hash"},
                           {"authorityKeyIdentifier", "keyid:always"}}},
                         nullptr, key);
}

CertPtr Shared(const CertPtr& cert) {
  X509_up_ref(cert.get());
  return CertPtr(cert.get());
}

Bytes Der(X509* cert) {
  const int length = i2d_X509(cert, nullptr);
  if (length <= 0) ThrowOpenSsl("i2d_X509");
  Bytes der(static_cast<size_t>(length));
  unsigned char* out = der.data();
  if (i2d_X509(cert, &out) != length) ThrowOpenSsl("i2d_X509");
  return der;
}

}  // namespace

int64_t UnixTime(std::string_view text) {
  using namespace std::chrono;
  const auto bad = [&] {
    return std::invalid_argument(std::string("'").append(text).append(
        "' is not YYYY-MM-DDTHH:MM:SSZ, now, now+Nd or now-Nd"));
  };
  // Digits only: from_chars would take a sign.
  const auto number = [&](std::string_view digits) {
    int value = 0;
    const auto [end, error] = std::from_chars(digits.data(), digits.data() + digits.size(), value);
    if (digits.empty() || digits[0] == '-' || error != std::errc() ||
        end != digits.data() + digits.size()) {
      throw bad();
    }
    return value;
  };
  if (text.starts_with("now")) {
    const int64_t now = duration_cast<seconds>(system_clock::now().time_since_epoch()).count();
    if (text.size() == 3) return now;
    if (text.size() < 6 || (text[3] != '+' && text[3] != '-') || !text.ends_with('d')) throw bad();
    const int64_t days = number(text.substr(4, text.size() - 5));
    return now + (text[3] == '+' ? days : -days) * 86400;
  }
  if (text.size() != 20 || text[4] != '-' || text[7] != '-' || text[10] != 'T' || text[13] != ':' ||
      text[16] != ':' || text[19] != 'Z') {
    throw bad();
  }
  const year_month_day date{year(number(text.substr(0, 4))),
                            month(static_cast<unsigned>(number(text.substr(5, 2)))),
                            day(static_cast<unsigned>(number(text.substr(8, 2))))};
  const int hour = number(text.substr(11, 2));
  const int minute = number(text.substr(14, 2));
  const int second = number(text.substr(17, 2));
  if (!date.ok() || hour > 23 || minute > 59 || second > 59) throw bad();
  return int64_t{sys_days(date).time_since_epoch().count()} * 86400 + hour * 3600 + minute * 60 +
         second;
}

TestPki::TestPki(const PkiOptions& options) {
  auto parts = std::make_shared<Parts>();
  parts->options = options;
  const KeyType type = options.key;
  EVP_PKEY* const leafKey = FixedKey(type, keys::kLeafKey);
  parts->leafKey = leafKey;
  if (options.issuer == Issuer::StoreKit) {
    parts->leaf = MakeCertificate({kStoreKitName,
                                   leafKey,
                                   6,
                                   options.leaf,
                                   {{"keyUsage", "critical,digitalSignature,keyCertSign"},
                                    {"basicConstraints", "critical,CA:TRUE"},
                                    {"subjectKeyIdentifier", "hash"}},
                                   options.leafExtensionBytes},
                                  nullptr, leafKey);
    parts->trusted = Shared(parts->leaf);
    parts_ = std::move(parts);
    return;
  }

  EVP_PKEY* const testRootKey = FixedKey(type, keys::kRootKey);
  EVP_PKEY* const otherRootKey = FixedKey(type, keys::kOtherRootKey);
  parts->trusted = RootCertificate(kTestRootName, testRootKey, 1, options.root);
  EVP_PKEY* rootKey = testRootKey;
  switch (options.issuer) {
    case Issuer::TestRoot:
      parts->root = Shared(parts->trusted);
      break;
    case Issuer::OtherRoot:
      parts->root = RootCertificate(kOtherRootName, otherRootKey, 4, options.root);
      rootKey = otherRootKey;
      break;
    case Issuer::ImpostorRoot:
      parts->root = RootCertificate(kTestRootName, otherRootKey, 5, options.root);
      rootKey = otherRootKey;
      break;
    case Issuer::Loop: {
      // The second CA issues the intermediate under its name and key before it exists itself;
      // a stand-in of that name and key gives the intermediate its issuer's name and key id.
      parts->root = RootCertificate(kLoopName, otherRootKey, 7, options.root);
      rootKey = otherRootKey;
      break;
    }
    case Issuer::StoreKit:
      break;
  }

  EVP_PKEY* const intermediateKey = FixedKey(type, keys::kIntermediateKey);
  CertPlan intermediate{kIntermediateName, intermediateKey, 2, options.intermediate, {}};
  intermediate.extensions = {
      {"basicConstraints",
       options.intermediateIsCa ? "critical,CA:TRUE,pathlen:0" : "critical,CA:FALSE"},
      {"keyUsage",
       options.intermediateIsCa ? "critical,keyCertSign,cRLSign" : "critical,digitalSignature"},
      {"subjectKeyIdentifier", "hash"},
      {"authorityKeyIdentifier", "keyid:always"}};
  if (options.intermediateOid) intermediate.extensions.emplace_back(kIntermediateOid, kNullValue);
  parts->intermediate = MakeCertificate(intermediate, parts->root.get(), rootKey);
  if (options.issuer == Issuer::Loop) {
    // The second CA, issued by the intermediate that it issued.
    parts->root = MakeCertificate({kLoopName,
                                   otherRootKey,
                                   7,
                                   options.root,
                                   {{"basicConstraints", "critical,CA:TRUE"},
                                    {"keyUsage", "critical,keyCertSign,cRLSign"},
                                    {"subjectKeyIdentifier", "hash"},
                                    {"authorityKeyIdentifier", "keyid:always"}}},
                                  parts->intermediate.get(), intermediateKey);
  }

  CertPlan leaf{kLeafName,
                leafKey,
                3,
                options.leaf,
                {{"basicConstraints", "critical,CA:FALSE"},
                 {"keyUsage", "critical,digitalSignature"},
                 {"subjectKeyIdentifier", "hash"},
                 {"authorityKeyIdentifier", "keyid:always"}}};
  if (options.leafOid) leaf.extensions.emplace_back(kLeafOid, kNullValue);
  leaf.bulkyBytes = options.leafExtensionBytes;
  parts->leaf = MakeCertificate(leaf, parts->intermediate.get(), intermediateKey);
  parts_ = std::move(parts);
}

const PkiOptions& TestPki::options() const {
  return parts_->options;
}

Bytes TestPki::TrustedRoot() const {
  return Der(parts_->trusted.get());
}

Bytes TestPki::Certificate(Cert which) const {
  X509* const cert = which == Cert::Leaf           ? parts_->leaf.get()
                     : which == Cert::Intermediate ? parts_->intermediate.get()
                                                   : parts_->root.get();
  if (cert == nullptr) {
    throw std::invalid_argument("ReceiptMaker::TestPki: the StoreKit certificate stands alone");
  }
  return Der(cert);
}

}  // namespace ReceiptMaker
