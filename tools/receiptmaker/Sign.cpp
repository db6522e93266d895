// The PKCS#7 containers around a payload, signed by the maker's own certificate (made once per
// process) or by a TestPki's signer, and their BER form.

#include <openssl/asn1.h>
#include <openssl/bio.h>
#include <openssl/crypto.h>
#include <openssl/err.h>
#include <openssl/objects.h>
#include <openssl/pkcs7.h>

#include <algorithm>
#include <climits>
#include <span>
#include <stdexcept>
#include <utility>

#include "tools/receiptmaker/OpenSsl.h"

namespace ReceiptMaker {

void ThrowOpenSsl(const std::string& step) {
  std::string message = "ReceiptMaker: " + step + " failed";
  const char* separator = ": ";
  char text[256];
  for (unsigned long code = ERR_get_error(); code != 0; code = ERR_get_error()) {
    ERR_error_string_n(code, text, sizeof text);
    message += separator;
    message += text;
    separator = "; ";
  }
  throw std::runtime_error(message);
}

namespace {

// OPENSSL_free is a macro, so it cannot be a template argument itself.
void FreeOpenSslBuffer(unsigned char* buffer) {
  OPENSSL_free(buffer);
}

using BioPtr = std::unique_ptr<BIO, FreeWith<BIO_free>>;
using OpenSslBuffer = std::unique_ptr<unsigned char, FreeWith<FreeOpenSslBuffer>>;
using Pkcs7Ptr = std::unique_ptr<PKCS7, FreeWith<PKCS7_free>>;

int OpenSslLength(size_t size) {
  if (size > static_cast<size_t>(INT_MAX)) {
    throw std::length_error("ReceiptMaker: a payload of " + std::to_string(size) +
                            " bytes is too large for OpenSSL");
  }
  return static_cast<int>(size);
}

// A memory BIO over bytes, which BIO_new_mem_buf refuses as a null pointer even for zero bytes
// (an empty vector may hold one).
BioPtr ReadFrom(const Bytes& bytes) {
  static const unsigned char kNoBytes = 0;
  BioPtr bio(
      BIO_new_mem_buf(bytes.empty() ? &kNoBytes : bytes.data(), OpenSslLength(bytes.size())));
  if (!bio) ThrowOpenSsl("BIO_new_mem_buf");
  return bio;
}

struct OwnSigner {
  KeyPtr key;
  CertPtr cert;
};

OwnSigner MakeOwnSigner() {
  KeyPtr key(EVP_PKEY_Q_keygen(nullptr, nullptr, "EC", "P-256"));
  if (!key) ThrowOpenSsl("making the EC P-256 signing key");
  CertPtr cert(X509_new());
  if (!cert) ThrowOpenSsl("X509_new");
  X509_NAME* name = X509_get_subject_name(cert.get());
  const auto* commonName = reinterpret_cast<const unsigned char*>("Quellmark receipt maker");
  constexpr long kDay = 24L * 60 * 60;
  if (X509_set_version(cert.get(), X509_VERSION_3) != 1 ||
      ASN1_INTEGER_set(X509_get_serialNumber(cert.get()), 1) != 1 ||
      X509_gmtime_adj(X509_getm_notBefore(cert.get()), -kDay) == nullptr ||
      X509_gmtime_adj(X509_getm_notAfter(cert.get()), 3650 * kDay) == nullptr ||
      X509_NAME_add_entry_by_txt(name, "CN", MBSTRING_ASC, commonName, -1, -1, 0) != 1 ||
      X509_set_issuer_name(cert.get(), name) != 1 || X509_set_pubkey(cert.get(), key.get()) != 1 ||
      X509_sign(cert.get(), key.get(), EVP_sha256()) <= 0) {
    ThrowOpenSsl("making the self-signed certificate");
  }
  return {std::move(key), std::move(cert)};
}

const OwnSigner& TheOwnSigner() {
  // Made on first use; C++ lets one thread make it while any others wait. If making it throws,
  // the next call tries again. OpenSSL's key and certificate objects may then be used by
  // several threads at once: signing only reads them.
  static const OwnSigner signer = MakeOwnSigner();
  return signer;
}

// Who signs, how, and what the file carries.
struct Signing {
  X509* cert;
  EVP_PKEY* key;
  std::vector<X509*> carried;
  size_t copies;  // of `carried`, one after another
  const EVP_MD* digest;
  bool signedAttributes;
  Tamper tamper;
};

Signing SigningFor(const Options& options) {
  Signing signing{nullptr,
                  nullptr,
                  {},
                  std::max<size_t>(options.certCopies, 1),
                  options.digest == Digest::Sha1 ? EVP_sha1() : EVP_sha256(),
                  options.pki == nullptr,
                  options.tamper};
  X509* intermediate = nullptr;
  X509* root = nullptr;
  if (options.pki == nullptr) {
    signing.cert = TheOwnSigner().cert.get();
    signing.key = TheOwnSigner().key.get();
  } else {
    const TestPki::Parts& parts = options.pki->parts();
    signing.cert = parts.leaf.get();
    signing.key = parts.leafKey;
    intermediate = parts.intermediate.get();
    root = parts.root.get();
  }
  const std::vector<Cert> certs = options.certs.value_or(
      root != nullptr ? std::vector{Cert::Leaf, Cert::Intermediate, Cert::Root}
                      : std::vector{Cert::Leaf});
  for (const Cert which : certs) {
    X509* const cert = which == Cert::Leaf           ? signing.cert
                       : which == Cert::Intermediate ? intermediate
                                                     : root;
    if (cert == nullptr) {
      throw std::invalid_argument(
          "ReceiptMaker::Build: the signer has no intermediate or root certificate to carry");
    }
    signing.carried.push_back(cert);
  }
  return signing;
}

PKCS7_SIGNER_INFO* AddSigner(PKCS7* p7, const Signing& signing, int flags) {
  PKCS7_SIGNER_INFO* signerInfo =
      PKCS7_sign_add_signer(p7, signing.cert, signing.key, signing.digest, flags | PKCS7_NOCERTS);
  if (signerInfo == nullptr) ThrowOpenSsl("PKCS7_sign_add_signer");
  for (size_t copy = 0; copy < signing.copies; ++copy) {
    for (X509* cert : signing.carried) {
      if (PKCS7_add_certificate(p7, cert) != 1) ThrowOpenSsl("PKCS7_add_certificate");
    }
  }
  return signerInfo;
}

void FlipSignature(PKCS7_SIGNER_INFO* signerInfo) {
  ASN1_OCTET_STRING* signature = signerInfo->enc_digest;
  signature->data[signature->length - 1] ^= 0x01;
}

Bytes ToDer(PKCS7* p7) {
  const int length = i2d_PKCS7(p7, nullptr);
  if (length <= 0) ThrowOpenSsl("i2d_PKCS7");
  Bytes der(static_cast<size_t>(length));
  unsigned char* out = der.data();
  if (i2d_PKCS7(p7, &out) != length) ThrowOpenSsl("i2d_PKCS7");
  return der;
}

Pkcs7Ptr SignedData(const Bytes& payload, const Signing& signing, bool detached) {
  Pkcs7Ptr p7(PKCS7_sign(nullptr, nullptr, nullptr, nullptr,
                         PKCS7_PARTIAL | (detached ? PKCS7_DETACHED : 0)));
  if (!p7) ThrowOpenSsl("PKCS7_sign");
  PKCS7_SIGNER_INFO* signerInfo =
      AddSigner(p7.get(), signing, PKCS7_BINARY | (signing.signedAttributes ? 0 : PKCS7_NOATTR));
  Bytes signedBytes = payload;
  if (signing.tamper == Tamper::Content) signedBytes.push_back(0x00);
  if (PKCS7_final(p7.get(), ReadFrom(signedBytes).get(), PKCS7_BINARY) != 1) {
    ThrowOpenSsl("PKCS7_final");
  }
  if (signing.tamper == Tamper::Content && !detached &&
      ASN1_OCTET_STRING_set(p7->d.sign->contents->d.data, payload.data(),
                            OpenSslLength(payload.size())) != 1) {
    ThrowOpenSsl("changing the content after signing");
  }
  if (signing.tamper == Tamper::Signature) FlipSignature(signerInfo);
  return p7;
}

Pkcs7Ptr DataObject(const Bytes& payload) {
  Pkcs7Ptr p7(PKCS7_new());
  if (!p7 || PKCS7_set_type(p7.get(), NID_pkcs7_data) != 1 ||
      ASN1_OCTET_STRING_set(p7->d.data, payload.data(), OpenSslLength(payload.size())) != 1) {
    ThrowOpenSsl("making a PKCS#7 data object");
  }
  return p7;
}

// PKCS7_sign only digests content of type data, so the signer info of a signed-data object
// around another one is made here: PKCS#7 digests the contents octets of the inner content's
// encoding (the inner SignedData SEQUENCE without its tag and length), and the signed
// attributes carry that digest and the inner content type.
Pkcs7Ptr SignedAroundSignedData(const Bytes& payload, const Signing& signing) {
  Signing innerSigning = signing;
  innerSigning.tamper = Tamper::None;
  Pkcs7Ptr inner = SignedData(payload, innerSigning, false);

  unsigned char* innerDer = nullptr;
  const int innerLength = i2d_PKCS7_SIGNED(inner->d.sign, &innerDer);
  if (innerLength <= 0) ThrowOpenSsl("i2d_PKCS7_SIGNED");
  const OpenSslBuffer innerOwner(innerDer);
  const unsigned char* contents = innerDer;
  long contentsLength = 0;
  int tag = 0;
  int tagClass = 0;
  if ((ASN1_get_object(&contents, &contentsLength, &tag, &tagClass, innerLength) & 0x80) != 0) {
    ThrowOpenSsl("reading back the inner SignedData");
  }
  Bytes digested(contents, contents + contentsLength);
  if (signing.tamper == Tamper::Content) digested.push_back(0x00);
  unsigned char digest[EVP_MAX_MD_SIZE];
  unsigned int digestLength = 0;
  if (EVP_Digest(digested.data(), digested.size(), digest, &digestLength, signing.digest,
                 nullptr) != 1) {
    ThrowOpenSsl("EVP_Digest");
  }

  Pkcs7Ptr outer(PKCS7_sign(nullptr, nullptr, nullptr, nullptr, PKCS7_PARTIAL));
  if (!outer) ThrowOpenSsl("PKCS7_sign");
  PKCS7_SIGNER_INFO* signerInfo = AddSigner(outer.get(), signing, PKCS7_NOATTR);
  if (PKCS7_set_content(outer.get(), inner.get()) != 1) ThrowOpenSsl("PKCS7_set_content");
  static_cast<void>(inner.release());  // outer owns it now
  if (PKCS7_add_attrib_content_type(signerInfo, OBJ_nid2obj(NID_pkcs7_signed)) != 1 ||
      PKCS7_add0_attrib_signing_time(signerInfo, nullptr) != 1 ||
      PKCS7_add1_attrib_digest(signerInfo, digest, static_cast<int>(digestLength)) != 1 ||
      PKCS7_SIGNER_INFO_sign(signerInfo) != 1) {
    ThrowOpenSsl("signing around the inner signed data");
  }
  if (signing.tamper == Tamper::Signature) FlipSignature(signerInfo);
  return outer;
}

// ---- BER

struct Element {
  std::span<const uint8_t> whole;
  std::span<const uint8_t> contents;
};

// The DER elements one after the other in bytes.
std::vector<Element> Elements(std::span<const uint8_t> bytes) {
  std::vector<Element> elements;
  while (!bytes.empty()) {
    const unsigned char* cursor = bytes.data();
    long length = 0;
    int tag = 0;
    int tagClass = 0;
    if ((ASN1_get_object(&cursor, &length, &tag, &tagClass, static_cast<long>(bytes.size())) &
         0x80) != 0) {
      ThrowOpenSsl("reading back the DER to write it as BER");
    }
    const auto header = static_cast<size_t>(cursor - bytes.data());
    const size_t size = header + static_cast<size_t>(length);
    elements.push_back({bytes.first(size), bytes.subspan(header, static_cast<size_t>(length))});
    bytes = bytes.subspan(size);
  }
  return elements;
}

Bytes Indefinite(uint8_t identifier, const Bytes& contents) {
  Bytes out(contents.size() + 4, 0x00);
  out[0] = identifier;
  out[1] = 0x80;
  std::copy(contents.begin(), contents.end(), out.begin() + 2);
  return out;
}

Bytes Copy(std::span<const uint8_t> bytes) {
  return Bytes(bytes.begin(), bytes.end());
}

Bytes IndefiniteContentInfo(std::span<const uint8_t> contents);

// SignedData { version, digestAlgorithms, contentInfo, ... }: itself and its content info.
Bytes IndefiniteSignedData(std::span<const uint8_t> contents) {
  const std::vector<Element> fields = Elements(contents);
  Bytes out;
  for (size_t i = 0; i < fields.size(); ++i) {
    const Bytes field = i == 2 ? IndefiniteContentInfo(fields[i].contents) : Copy(fields[i].whole);
    out.insert(out.end(), field.begin(), field.end());
  }
  return Indefinite(0x30, out);
}

// ContentInfo { contentType, [0] EXPLICIT content OPTIONAL }: itself and its [0], and the
// content too when it is signed data.
Bytes IndefiniteContentInfo(std::span<const uint8_t> contents) {
  static const Bytes kSignedDataType = FromHex("06092A864886F70D010702");
  const std::vector<Element> fields = Elements(contents);
  Bytes out = Copy(fields.at(0).whole);
  if (fields.size() > 1) {
    const Element content = Elements(fields[1].contents).at(0);
    out = Concat(out, Indefinite(0xA0, Copy(fields[0].whole) == kSignedDataType
                                           ? IndefiniteSignedData(content.contents)
                                           : Copy(content.whole)));
  }
  return Indefinite(0x30, out);
}

}  // namespace

Bytes Sign(const Bytes& payload, Shape shape) {
  return Build(payload, Options{shape});
}

Bytes Build(const Bytes& payload, const Options& options) {
  // Old errors left by someone else would end up in this call's message.
  ERR_clear_error();
  Bytes file;
  if (options.shape == Shape::OuterData) {
    if (options.pki != nullptr || options.certs || options.certCopies != 1 ||
        options.digest != Digest::Sha256 || options.tamper != Tamper::None) {
      throw std::invalid_argument("ReceiptMaker::Build: a data object is not signed");
    }
    file = ToDer(DataObject(payload).get());
  } else {
    const Signing signing = SigningFor(options);
    switch (options.shape) {
      case Shape::Receipt:
        file = ToDer(SignedData(payload, signing, false).get());
        break;
      case Shape::InnerNotData:
        file = ToDer(SignedAroundSignedData(payload, signing).get());
        break;
      case Shape::Detached:
        file = ToDer(SignedData(payload, signing, true).get());
        break;
      default:
        throw std::invalid_argument("ReceiptMaker::Build: unknown shape " +
                                    std::to_string(static_cast<int>(options.shape)));
    }
  }
  if (options.indefinite) file = IndefiniteContentInfo(Elements(file).at(0).contents);
  if (options.truncateTo) {
    if (*options.truncateTo >= file.size()) {
      throw std::invalid_argument("ReceiptMaker::Build: cannot truncate to " +
                                  std::to_string(*options.truncateTo) + " bytes a file of " +
                                  std::to_string(file.size()));
    }
    file.resize(*options.truncateTo);
  }
  return file;
}

}  // namespace ReceiptMaker
