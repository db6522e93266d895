// Is the receipt genuine: each fact of the signature, true and false, with its reason, on
// receipts that the maker signs through a test chain; the certificates as reported; and the
// App Store's own receipts, which chain to Apple's root compiled into the program.

#include <gtest/gtest.h>
#include <openssl/evp.h>

#include <filesystem>
#include <tuple>

#include "examination/Text.h"
#include "tests/examination/Support.h"

namespace examination_test {
namespace {

using F = Fact Signature::*;
using V = Verdict;

TEST(ExaminationSignature, EachFactHoldsOrNotWithItsReason) {
  const std::string base = std::string(kBase) + "chain test-root\n";
  // clang-format off
  const std::tuple<const char*, std::string, F, bool, const char*, Verdict> rows[] = {
    {"the store's shape", base, &Signature::chain, true, "the trusted root", V::Genuine},
    {"the store's shape", base, &Signature::content, true, "SHA-256 digest and the signer's signature over it hold", V::Genuine},
    {"the store's shape", base, &Signature::signerExtension, true, "carries 1.2.840.113635.100.6.11.1", V::Genuine},
    {"the store's shape", base, &Signature::intermediateExtension, true, "carries 1.2.840.113635.100.6.2.1", V::Genuine},
    {"the store's shape", base, &Signature::validNow, true, "2026-06-01T00:00:00Z (now)", V::Genuine},
    {"content changed after signing", base + "tamper content", &Signature::content, false, "does not verify", V::SignatureBroken},
    {"signature changed", base + "tamper signature", &Signature::content, false, "does not verify", V::SignatureBroken},
    {"EC keys verify too", base + "key ec-p256", &Signature::content, true, "hold", V::Genuine},
    {"intermediate from a foreign root", std::string(kBase) + "chain other-root", &Signature::chain, false, "error 19 at 2 depth lookup: self-signed certificate in certificate chain", V::NotTrusted},
    {"root of the right name, wrong key", std::string(kBase) + "chain impostor-root", &Signature::chain, false, "at 2 depth lookup", V::NotTrusted},
    {"intermediate not carried", base + "certs leaf", &Signature::chain, false, "error 20 at 0 depth lookup: unable to get local issuer certificate", V::NotTrusted},
    {"intermediate is no CA", base + "intermediate-not-ca", &Signature::chain, false, "at 1 depth lookup: invalid CA certificate", V::NotTrusted},
    {"signer expired after the receipt was made", base + "valid leaf 2024-01-01T00:00:00Z 2025-01-01T00:00:00Z", &Signature::validAtCreation, true, "at 2024-06-01T10:00:00Z, when the receipt was made", V::Genuine},
    {"... and is expired now", base + "valid leaf 2024-01-01T00:00:00Z 2025-01-01T00:00:00Z", &Signature::validNow, false, "had expired at 2026-06-01T00:00:00Z (now): valid from 2024-01-01T00:00:00Z to 2025-01-01T00:00:00Z", V::Genuine},
    {"signer not yet valid when made", base + "valid leaf 2024-07-01T00:00:00Z 2030-01-01T00:00:00Z", &Signature::validAtCreation, false, "was not yet valid at 2024-06-01T10:00:00Z", V::NotTrusted},
    {"intermediate expired before", base + "valid intermediate 2020-01-01T00:00:00Z 2024-05-01T00:00:00Z", &Signature::validAtCreation, false, "had expired at 2024-06-01T10:00:00Z", V::NotTrusted},
    {"no creation date", "attr 2 1 utf8 \"a\"\nchain test-root", &Signature::validAtCreation, false, "no creation date (attribute 12)", V::NotTrusted},
    {"signer without Apple's mark", base + "no-oid leaf", &Signature::signerExtension, false, "does not carry 1.2.840.113635.100.6.11.1", V::NotTrusted},
    {"intermediate without it", base + "no-oid intermediate", &Signature::intermediateExtension, false, "does not carry 1.2.840.113635.100.6.2.1", V::NotTrusted},
    {"SHA-1 as the store once signed", base + "digest sha1", &Signature::digest, true, "SHA-1", V::Genuine},
    {"the maker's own certificate", kBase, &Signature::chain, false, "self-signed certificate", V::NotTrusted},
  };
  // clang-format on
  for (const auto& [why, description, fact, holds, reason, verdict] : rows) {
    const Report r = ExamineMade(description);
    EXPECT_EQ((r.signature.*fact).holds, holds) << why << ": " << (r.signature.*fact).reason;
    EXPECT_NE((r.signature.*fact).reason.find(reason), std::string::npos)
        << why << ": " << (r.signature.*fact).reason;
    EXPECT_EQ(r.signature.verdict, verdict) << why << ": " << r.signature.summary;
  }
}

// Xcode's test receipts, examined as any receipt is, against Apple's root: BER, self-signed.
TEST(ExaminationSignature, StoreKitTestReceiptSaysSo) {
  const Made made = Make("attr 12 1 ia5 \"2026-03-14T09:26:53+0100\"\nchain storekit\nindefinite");
  const Report r = ExamineAt(made.file, nullptr);
  EXPECT_EQ(r.signature.verdict, Verdict::StoreKitTest);
  EXPECT_NE(r.signature.summary.find("A test receipt, not a forgery"), std::string::npos);
  EXPECT_TRUE(r.signature.content.holds);
  EXPECT_EQ(r.signature.chain.reason,
            "error 18 at 0 depth lookup: self-signed certificate "
            "(C=US,OU=StoreKit,O=StoreKit,CN=StoreKit)");
  EXPECT_EQ(r.signature.validAtCreation.reason,
            "the one certificate of the chain was valid at 2026-03-14T08:26:53Z, when the receipt "
            "was made");
}

TEST(ExaminationSignature, DigestOtherThanSha1OrSha256IsNamed) {
  // SHA-256's OID 2.16.840.1.101.3.4.2.1 turned into SHA-512's (...2.3) wherever it stands.
  Made made = Make(std::string(kBase) + "chain test-root");
  const Bytes sha256 = *text::FromHex("608648016503040201");
  for (auto at = made.file.begin();
       (at = std::search(at, made.file.end(), sha256.begin(), sha256.end())) != made.file.end();)
    *(at += sha256.size() - 1) = 3;
  const Report r = ExamineAt(made.file, made.root);
  EXPECT_FALSE(r.signature.digest.holds);
  EXPECT_EQ(r.signature.digest.reason, "the signer's digest is \"sha512\", not SHA-1 or SHA-256");
}

TEST(ExaminationSignature, CertificatesOfTheChainAsTheyAre) {
  const ReceiptMaker::TestPki pki({.leaf = {1704067200, 1735689600}});  // 2024 to 2025
  const Made made = Make(std::string(kBase) +
                         "chain test-root\ncerts root leaf intermediate\n"
                         "valid leaf 2024-01-01T00:00:00Z 2025-01-01T00:00:00Z");
  const Report r = ExamineAt(made.file, made.root);
  ASSERT_EQ(r.certificates.size(), 3u);
  const std::tuple<CertificateRole, ReceiptMaker::Cert> order[] = {
      {CertificateRole::Signer, ReceiptMaker::Cert::Leaf},
      {CertificateRole::Intermediate, ReceiptMaker::Cert::Intermediate},
      {CertificateRole::Root, ReceiptMaker::Cert::Root}};
  for (std::size_t i = 0; i < 3; ++i) {
    const auto& [role, which] = order[i];
    const Certificate& c = r.certificates[i];
    EXPECT_EQ(c.role, role) << i;
    EXPECT_TRUE(c.carried) << i;
    const Bytes der = pki.Certificate(which);
    unsigned char md[EVP_MAX_MD_SIZE];
    unsigned int length = 0;
    EVP_Digest(der.data(), der.size(), md, &length, EVP_sha256(), nullptr);
    EXPECT_EQ(c.sha256Fingerprint, text::Hex({md, length}, ':')) << i;
    EXPECT_EQ(c.signatureAlgorithm, "sha256WithRSAEncryption") << i;
  }
  EXPECT_EQ(r.certificates[0].notBefore, "2024-01-01T00:00:00Z");
  EXPECT_EQ(r.certificates[0].notAfter, "2025-01-01T00:00:00Z");
  EXPECT_EQ(r.certificates[0].issuerCommonName, r.certificates[1].subjectCommonName);
  EXPECT_EQ(r.certificates[2].issuer, r.certificates[2].subject);
}

// The App Store's receipts: which were signed with which digest, how many purchases each holds
// (as the folder's README lists them) and until when each signer was valid (openssl x509).
TEST(ExaminationRealReceipts, ChainToApplesRootAndWereValidWhenMade) {
  const std::filesystem::path folder = QM_SHARED_RECEIPTS;
  if (!std::filesystem::is_directory(folder))
    GTEST_SKIP() << "the App Store's receipts are not at " << folder
                 << "; they live beside the checkout on the team's machines only";
  const std::tuple<const char*, const char*, std::size_t, const char*> receipts[] = {
      {"mac-2015.receipt", "SHA-1", 0, "2015-11-11T21:58:01Z"},
      {"mac-2016.receipt", "SHA-1", 0, "2023-02-07T21:48:47Z"},
      {"mac-2023-sha256-purchases.receipt", "SHA-256", 3, "2024-10-01T19:13:56Z"},
      {"ios-2015-sandbox-purchases.receipt", "SHA-1", 7, "2015-11-11T21:58:01Z"},
      {"ios-2020-sandbox-purchases.receipt", "SHA-1", 9, "2023-02-07T21:48:47Z"},
      {"ios-2020-sandbox-large.receipt", "SHA-1", 187, "2023-02-07T21:48:47Z"},
      {"ios-2024-production.receipt", "SHA-256", 4, "2024-10-01T19:13:56Z"},
  };
  for (const auto& [name, digest, purchases, signerUntil] : receipts) {
    Options options;
    options.now = kNow;
    const Report r = ExamineFile(folder / name, options);
    EXPECT_EQ(r.signature.verdict, Verdict::Genuine) << name << ": " << r.signature.summary;
    EXPECT_TRUE(r.signature.content.holds && r.signature.chain.holds &&
                r.signature.validAtCreation.holds)
        << name;
    EXPECT_FALSE(r.signature.validNow.holds) << name;  // every signer had expired by 2026
    EXPECT_EQ(r.signature.digestAlgorithm, digest) << name;
    EXPECT_EQ(r.receipt.purchases.size(), purchases) << name;
    ASSERT_FALSE(r.certificates.empty()) << name;
    EXPECT_EQ(r.certificates.front().notAfter, signerUntil) << name;
    EXPECT_EQ(r.certificates.back().sha256Fingerprint,
              "B0:B1:73:0E:CB:C7:FF:45:05:14:2C:49:F1:29:5E:6E:DA:6B:CA:ED:7E:2C:68:C5:BE:91:B5:A1:"
              "10:01:F0:24")
        << name;
  }
  // The Mac receipt of 2023 was issued to the machine with this address.
  Options options;
  options.identifiers = {Id("00:11:22:33:44:55"), Id("f8:ff:c2:1e:91:82", "en0")};
  const Report mac = ExamineFile(folder / "mac-2023-sha256-purchases.receipt", options);
  EXPECT_EQ(mac.device.match, 1u);
  EXPECT_EQ(mac.device.matches.reason, "\"f8:ff:c2:1e:91:82\" (en0) gives the receipt's hash");
}

}  // namespace
}  // namespace examination_test
