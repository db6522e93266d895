// Bad and hostile input: any bytes give a report that says what failed, and its JSON parses;
// certificates too many, in a loop or too large end in bounded time with a reason.

#include <gtest/gtest.h>
#include <openssl/evp.h>
#include <openssl/pkcs7.h>
#include <openssl/x509.h>

#include <memory>
#include <nlohmann/json.hpp>
#include <tuple>

#include "tests/examination/Support.h"

namespace examination_test {
namespace {

using KeyPtr = std::unique_ptr<EVP_PKEY, decltype(&EVP_PKEY_free)>;
using CertPtr = std::unique_ptr<X509, decltype(&X509_free)>;
using Pkcs7Ptr = std::unique_ptr<PKCS7, decltype(&PKCS7_free)>;

KeyPtr NewKey() {
  return KeyPtr(EVP_PKEY_Q_keygen(nullptr, nullptr, "EC", "P-256"), EVP_PKEY_free);
}

// A certificate CN=`subject` issued by CN=`issuer` with `issuerKey`, with an extension of
// `extensionBytes` bytes when that isn't 0.
CertPtr NewCert(const char* subject, const char* issuer, EVP_PKEY* key, EVP_PKEY* issuerKey,
                std::size_t extensionBytes = 0) {
  CertPtr x(X509_new(), X509_free);
  X509_set_version(x.get(), X509_VERSION_3);
  ASN1_INTEGER_set(X509_get_serialNumber(x.get()), 1);
  X509_gmtime_adj(X509_getm_notBefore(x.get()), -86400);
  X509_gmtime_adj(X509_getm_notAfter(x.get()), 86400);
  const auto cn = [](X509_NAME* name, const char* text) {
    X509_NAME_add_entry_by_txt(name, "CN", MBSTRING_ASC,
                               reinterpret_cast<const unsigned char*>(text), -1, -1, 0);
  };
  cn(X509_get_subject_name(x.get()), subject);
  cn(X509_get_issuer_name(x.get()), issuer);
  X509_set_pubkey(x.get(), key);
  if (extensionBytes > 0) {
    const std::vector<unsigned char> value(extensionBytes, 0x41);
    ASN1_OCTET_STRING* data = ASN1_OCTET_STRING_new();
    ASN1_OCTET_STRING_set(data, value.data(), static_cast<int>(value.size()));
    ASN1_OBJECT* oid = OBJ_txt2obj("1.3.6.1.4.1.55555.1", 1);
    X509_EXTENSION* e = X509_EXTENSION_create_by_OBJ(nullptr, oid, 0, data);
    X509_add_ext(x.get(), e, -1);
    X509_EXTENSION_free(e);
    ASN1_OBJECT_free(oid);
    ASN1_OCTET_STRING_free(data);
  }
  X509_sign(x.get(), issuerKey, EVP_sha256());
  return x;
}

// The typical payload signed by `signer`, carrying `extra` `copies` times over.
Bytes SignWith(X509* signer, EVP_PKEY* key, const std::vector<X509*>& extra, int copies = 1) {
  const Bytes payload = ReceiptMaker::TypicalPayload();
  BIO* in = BIO_new_mem_buf(payload.data(), static_cast<int>(payload.size()));
  Pkcs7Ptr p7(PKCS7_sign(signer, key, nullptr, in, PKCS7_BINARY | PKCS7_NOATTR), PKCS7_free);
  BIO_free(in);
  for (int i = 0; i < copies; ++i)
    for (X509* x : extra)
      PKCS7_add_certificate(p7.get(), x);
  unsigned char* der = nullptr;
  const int length = i2d_PKCS7(p7.get(), &der);
  Bytes file(der, der + length);
  OPENSSL_free(der);
  return file;
}

void ExpectValidJson(const Report& r, const char* why) {
  EXPECT_TRUE(nlohmann::json::accept(ToJson(r))) << why;
}

TEST(ExaminationInput, AnyBytesGiveAReportThatSaysWhatFailed) {
  const Bytes typical = ReceiptMaker::TypicalPayload();
  // clang-format off
  const std::tuple<const char*, Bytes, const char*> inputs[] = {
    {"nothing", {}, "no PKCS#7 object"},
    {"not DER", {0x89, 'P', 'N', 'G'}, "no PKCS#7 object"},
    {"cut short", ReceiptMaker::Build(typical, {.truncateTo = 300}), "no PKCS#7 object"},
    {"data, not signed", ReceiptMaker::Sign(typical, ReceiptMaker::Shape::OuterData), "a PKCS#7 object of type pkcs7-data, not signed data"},
    {"a receipt in a receipt", ReceiptMaker::Sign(typical, ReceiptMaker::Shape::InnerNotData), "signed data around pkcs7-signedData, not around data"},
    {"detached", ReceiptMaker::Sign(typical, ReceiptMaker::Shape::Detached), "a detached signature"},
    {"one byte too many", Bytes(kMaxInputSize + 1, 0x30), "67108865 bytes: more than 67108864 are not examined"},
  };
  // clang-format on
  for (const auto& [why, bytes, reason] : inputs) {
    const Report r = ExamineAt(bytes, nullptr);
    EXPECT_FALSE(r.container.holds) << why;
    EXPECT_NE(r.container.reason.find(reason), std::string::npos)
        << why << ": " << r.container.reason;
    EXPECT_EQ(r.signature.verdict, Verdict::NotAReceipt) << why;
    EXPECT_FALSE(r.signature.content.holds || r.signature.chain.holds || r.device.matches.holds)
        << why;
    ExpectValidJson(r, why);
  }
  const Report missing = ExamineFile("/nonexistent/receipt");
  EXPECT_NE(missing.container.reason.find("can't read \"/nonexistent/receipt\""),
            std::string::npos);
}

TEST(ExaminationInput, HostileCertificatesEndWithAReason) {
  const KeyPtr key = NewKey(), a = NewKey(), b = NewKey();
  const CertPtr signer = NewCert("Leaf", "A", key.get(), a.get());

  // 10,000 certificates: refused before libcrypto reads them.
  const Report many = ExamineAt(SignWith(signer.get(), key.get(), {signer.get()}, 9999), nullptr);
  EXPECT_EQ(many.container.reason, "10000 certificates: more than 64 are not examined");
  // As many as the bound are examined.
  const int bound = static_cast<int>(kMaxCertificates);
  const Report full =
      ExamineAt(SignWith(signer.get(), key.get(), {signer.get()}, bound - 1), nullptr);
  EXPECT_TRUE(full.container.holds) << full.container.reason;

  // A issued B issued A: the chain goes round no more than the verify depth allows.
  const CertPtr ca = NewCert("A", "B", a.get(), b.get()), cb = NewCert("B", "A", b.get(), a.get());
  const Report loop = ExamineAt(SignWith(signer.get(), key.get(), {ca.get(), cb.get()}), nullptr);
  EXPECT_TRUE(loop.container.holds && loop.signature.content.holds);
  EXPECT_FALSE(loop.signature.chain.holds);
  EXPECT_LE(loop.certificates.size(), 3u);
  EXPECT_LE(loop.signature.chainErrors.size(), kMaxChainErrors);
  EXPECT_EQ(loop.signature.verdict, Verdict::NotTrusted);

  // A certificate with 1 MiB of extensions.
  const CertPtr big = NewCert("Big", "Big", key.get(), key.get(), 1 << 20);
  const Report large = ExamineAt(SignWith(big.get(), key.get(), {}), nullptr);
  EXPECT_NE(large.container.reason.find("certificate 1 has 10"), std::string::npos)
      << large.container.reason;
  EXPECT_NE(large.container.reason.find("bytes: more than 65536 are not examined"),
            std::string::npos);
  for (const Report* r : {&many, &loop, &large})
    ExpectValidJson(*r, "hostile certificates");
}

}  // namespace
}  // namespace examination_test
