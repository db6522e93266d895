// Bad and hostile input: any bytes give a report that says what failed, and its JSON parses;
// certificates too many, in a loop or too large end in bounded time with a reason.

#include <gtest/gtest.h>

#include <algorithm>
#include <nlohmann/json.hpp>
#include <string>
#include <tuple>

#include "examination/Text.h"

#include "tests/examination/Support.h"

namespace examination_test {
namespace {

void ExpectValidJson(const Report& r, const char* why) {
  EXPECT_TRUE(nlohmann::json::accept(ToJson(r))) << why;
}

// A receipt whose signer's certificate holds a SET where its TBSCertificate's SEQUENCE stands:
// still an object, so the container's outline reads, but no certificate.
Bytes WithBrokenCertificate() {
  const ReceiptMaker::TestPki pki;
  Bytes file = ReceiptMaker::Build(ReceiptMaker::TypicalPayload(), {.pki = &pki});
  const Bytes leaf = pki.Certificate(ReceiptMaker::Cert::Leaf);
  const auto at = std::search(file.begin(), file.end(), leaf.begin(), leaf.end());
  if (at != file.end()) at[4] = 0x31;  // 30 82 xx xx, then the TBSCertificate's 30
  return file;
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
    {"a certificate that is none", WithBrokenCertificate(), "no PKCS#7 object: certificate 1 can't be read"},
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

// The size of a certificate's contents: all but its tag and its length in the long form.
std::size_t ContentsSize(const Bytes& der) {
  return der.size() - 2 - (der.at(1) & 0x7Fu);
}

TEST(ExaminationInput, HostileCertificatesEndWithAReason) {
  const std::string signer = std::string(kBase) + "chain test-root\ncerts leaf\n";
  // Up to 64 certificates are examined; 10,000 are refused before libcrypto reads them.
  const std::tuple<int, const char*> counts[] = {
      {64, ""},
      {65, "65 certificates: more than 64 are not examined"},
      {10000, "10000 certificates: more than 64 are not examined"}};
  for (const auto& [copies, reason] : counts) {
    const Report r = ExamineMade(signer + "cert-copies " + std::to_string(copies));
    EXPECT_EQ(r.container.holds ? "" : r.container.reason, reason) << copies;
    EXPECT_EQ(r.signature.content.holds, *reason == '\0') << copies;
    ExpectValidJson(r, "many certificates");
  }

  // A issued B issued A, under no root: the chain ends, without the root.
  const Report loop = ExamineMade(std::string(kBase) + "chain loop");
  EXPECT_TRUE(loop.container.holds && loop.signature.content.holds);
  EXPECT_FALSE(loop.signature.chain.holds);
  EXPECT_NE(loop.signature.chain.reason.find("unable to get local issuer certificate"),
            std::string::npos)
      << loop.signature.chain.reason;
  EXPECT_LE(loop.signature.chainErrors.size(), kMaxChainErrors);
  EXPECT_EQ(loop.certificates.size(), 3u);
  EXPECT_EQ(loop.signature.verdict, Verdict::NotTrusted);
  ExpectValidJson(loop, "a loop");

  // A certificate of 64 KiB is examined, one byte more is not, nor one of 1 MiB of extensions.
  const auto leafOf = [](std::size_t extension) {
    return ReceiptMaker::TestPki({.leafExtensionBytes = extension})
        .Certificate(ReceiptMaker::Cert::Leaf);
  };
  const std::size_t fits = 60000 + (kMaxCertificateSize - ContentsSize(leafOf(60000)));
  ASSERT_EQ(ContentsSize(leafOf(fits)), kMaxCertificateSize);
  const std::tuple<std::size_t, std::string> sizes[] = {
      {fits, ""},
      {fits + 1, "certificate 1 has 65537 bytes: more than 65536 are not examined"},
      {1 << 20, "certificate 1 has " + std::to_string(ContentsSize(leafOf(1 << 20))) +
                    " bytes: more than 65536 are not examined"}};
  for (const auto& [extension, reason] : sizes) {
    const Report r = ExamineMade(signer + "leaf-extension " + std::to_string(extension));
    EXPECT_EQ(r.container.holds ? "" : r.container.reason, reason) << extension;
    EXPECT_EQ(r.signature.content.holds, reason.empty()) << extension;
    ExpectValidJson(r, "a large certificate");
  }
}

// The SignedData's version written as libcrypto reads it though it isn't DER (a tag number or a
// length with leading zeros): the certificates are counted all the same, so that no spelling
// lets libcrypto read more of them than the bound.
TEST(ExaminationInput, CertificatesAreCountedInEveryEncodingLibcryptoReads) {
  const std::tuple<const char*, const char*> versions[] = {
      {"DER", "020101"},
      {"a tag number in five digits", "1F8080808002 01 01"},
      {"a length in nine bytes", "02 89 000000000000000001 01"},
  };
  for (const auto& [why, version] : versions) {
    for (const int copies : {64, 65}) {
      // BER, so that the lengths around the version need no change.
      Made made = Make(std::string(kBase) + "chain test-root\ncerts leaf\nindefinite\n" +
                       "cert-copies " + std::to_string(copies));
      const Bytes der = *text::FromHex("020101");
      const auto at = std::search(made.file.begin(), made.file.end(), der.begin(), der.end());
      ASSERT_NE(at, made.file.end());
      const Bytes written = ReceiptMaker::FromHex(version);
      made.file.insert(made.file.erase(at, at + 3), written.begin(), written.end());
      const Report r = ExamineAt(made.file, made.root);
      EXPECT_EQ(r.container.holds, copies == 64)
          << why << ", " << copies << ": " << r.container.reason;
      EXPECT_EQ(r.signature.content.holds, copies == 64) << why << ", " << copies;
    }
  }
}

}  // namespace
}  // namespace examination_test
