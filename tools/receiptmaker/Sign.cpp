// The PKCS#7 containers around a payload, signed by a key and certificate made once per process.

#include <openssl/asn1.h>
#include <openssl/bio.h>
#include <openssl/crypto.h>
#include <openssl/err.h>
#include <openssl/evp.h>
#include <openssl/objects.h>
#include <openssl/pkcs7.h>
#include <openssl/x509.h>

#include <climits>
#include <memory>
#include <stdexcept>
#include <string>
#include <utility>

#include "tools/receiptmaker/ReceiptMaker.h"

namespace ReceiptMaker {
namespace {

template <auto Free>
struct FreeWith {
  template <typename T>
  void operator()(T* object) const {
    Free(object);
  }
};

// OPENSSL_free is a macro, so it cannot be a template argument itself.
void FreeOpenSslBuffer(unsigned char* buffer) {
  OPENSSL_free(buffer);
}

using BioPtr = std::unique_ptr<BIO, FreeWith<BIO_free>>;
using CertPtr = std::unique_ptr<X509, FreeWith<X509_free>>;
using KeyPtr = std::unique_ptr<EVP_PKEY, FreeWith<EVP_PKEY_free>>;
using OpenSslBuffer = std::unique_ptr<unsigned char, FreeWith<FreeOpenSslBuffer>>;
using Pkcs7Ptr = std::unique_ptr<PKCS7, FreeWith<PKCS7_free>>;

// Throws std::runtime_error naming the step and every error OpenSSL queued for it.
[[noreturn]] void ThrowOpenSsl(const std::string& step) {
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

int OpenSslLength(size_t size) {
  if (size > static_cast<size_t>(INT_MAX)) {
    throw std::length_error("ReceiptMaker: a payload of " + std::to_string(size) +
                            " bytes is too large for OpenSSL");
  }
  return static_cast<int>(size);
}

struct Signer {
  KeyPtr key;
  CertPtr cert;
};

Signer MakeSigner() {
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

const Signer& TheSigner() {
  // Made on first use; C++ lets one thread make it while any others wait. If making it throws,
  // the next call tries again. OpenSSL's key and certificate objects may then be used by
  // several threads at once: signing only reads them.
  static const Signer signer = MakeSigner();
  return signer;
}

Bytes ToDer(PKCS7* p7) {
  const int length = i2d_PKCS7(p7, nullptr);
  if (length <= 0) ThrowOpenSsl("i2d_PKCS7");
  Bytes der(static_cast<size_t>(length));
  unsigned char* out = der.data();
  if (i2d_PKCS7(p7, &out) != length) ThrowOpenSsl("i2d_PKCS7");
  return der;
}

Pkcs7Ptr SignedData(const Bytes& payload, int flags) {
  const Signer& signer = TheSigner();
  // BIO_new_mem_buf refuses a null pointer even for zero bytes, which an empty vector may hold.
  static const unsigned char kNoBytes = 0;
  BioPtr content(
      BIO_new_mem_buf(payload.empty() ? &kNoBytes : payload.data(), OpenSslLength(payload.size())));
  if (!content) ThrowOpenSsl("BIO_new_mem_buf");
  Pkcs7Ptr p7(PKCS7_sign(signer.cert.get(), signer.key.get(), nullptr, content.get(),
                         PKCS7_BINARY | flags));
  if (!p7) ThrowOpenSsl("PKCS7_sign");
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
Pkcs7Ptr SignedAroundSignedData(const Bytes& payload) {
  Pkcs7Ptr inner = SignedData(payload, 0);

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
  unsigned char digest[EVP_MAX_MD_SIZE];
  unsigned int digestLength = 0;
  if (EVP_Digest(contents, static_cast<size_t>(contentsLength), digest, &digestLength, EVP_sha256(),
                 nullptr) != 1) {
    ThrowOpenSsl("EVP_Digest");
  }

  const Signer& signer = TheSigner();
  Pkcs7Ptr outer(PKCS7_sign(nullptr, nullptr, nullptr, nullptr, PKCS7_PARTIAL));
  if (!outer) ThrowOpenSsl("PKCS7_sign");
  PKCS7_SIGNER_INFO* signerInfo = PKCS7_sign_add_signer(
      outer.get(), signer.cert.get(), signer.key.get(), EVP_sha256(), PKCS7_NOATTR);
  if (signerInfo == nullptr) ThrowOpenSsl("PKCS7_sign_add_signer");
  if (PKCS7_set_content(outer.get(), inner.get()) != 1) ThrowOpenSsl("PKCS7_set_content");
  static_cast<void>(inner.release());  // outer owns it now
  if (PKCS7_add_attrib_content_type(signerInfo, OBJ_nid2obj(NID_pkcs7_signed)) != 1 ||
      PKCS7_add0_attrib_signing_time(signerInfo, nullptr) != 1 ||
      PKCS7_add1_attrib_digest(signerInfo, digest, static_cast<int>(digestLength)) != 1 ||
      PKCS7_SIGNER_INFO_sign(signerInfo) != 1) {
    ThrowOpenSsl("signing around the inner signed data");
  }
  return outer;
}

}  // namespace

Bytes Sign(const Bytes& payload, Shape shape) {
  // Old errors left by someone else would end up in this call's message.
  ERR_clear_error();
  switch (shape) {
    case Shape::Receipt:
      return ToDer(SignedData(payload, 0).get());
    case Shape::OuterData:
      return ToDer(DataObject(payload).get());
    case Shape::InnerNotData:
      return ToDer(SignedAroundSignedData(payload).get());
    case Shape::Detached:
      return ToDer(SignedData(payload, PKCS7_DETACHED).get());
  }
  throw std::invalid_argument("ReceiptMaker::Sign: unknown shape " +
                              std::to_string(static_cast<int>(shape)));
}

Bytes Build(const Bytes& payload, const Options& options) {
  Bytes file = Sign(payload, options.shape);
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
