// The receipt maker, where a fault would slip past the tests that read what it makes: the
// exact DER forms, the containers that readers are to refuse, the text format, the sample
// files that the program shows at start, and the chains, signatures and device hashes that
// the examination's tests rely on, each checked with libcrypto.

#include "tools/receiptmaker/ReceiptMaker.h"

#include <gtest/gtest.h>
#include <openssl/objects.h>
#include <openssl/pkcs7.h>
#include <openssl/sha.h>
#include <openssl/x509.h>
#include <openssl/x509v3.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <memory>
#include <string>
#include <tuple>
#include <vector>

namespace {

using namespace ReceiptMaker;
using Pkcs7Ptr = std::unique_ptr<PKCS7, decltype(&PKCS7_free)>;
using StorePtr = std::unique_ptr<X509_STORE, decltype(&X509_STORE_free)>;
using CertPtr = std::unique_ptr<X509, decltype(&X509_free)>;

// d2i_PKCS7 of the whole of der; null if OpenSSL refuses it or leaves bytes over.
Pkcs7Ptr Parse(const Bytes& der) {
  const unsigned char* cursor = der.data();
  Pkcs7Ptr p7(d2i_PKCS7(nullptr, &cursor, static_cast<long>(der.size())), PKCS7_free);
  if (p7 && cursor != der.data() + der.size()) p7.reset();
  return p7;
}

Bytes DataOf(const PKCS7* data) {
  return Bytes(data->d.data->data, data->d.data->data + data->d.data->length);
}

// The payload of a well-formed receipt, checked on the way.
Bytes PayloadOf(const Bytes& der) {
  Pkcs7Ptr p7 = Parse(der);
  const bool ok = p7 && PKCS7_type_is_signed(p7.get()) &&
                  PKCS7_type_is_data(p7->d.sign->contents) && p7->d.sign->contents->d.data;
  EXPECT_TRUE(ok);
  return ok ? DataOf(p7->d.sign->contents) : Bytes{0xDE, 0xAD};
}

TEST(ReceiptMakerDer, MinimalLengthsAndIntegers) {
  const std::pair<size_t, const char*> lengths[] = {
      {0, "00"}, {127, "7f"}, {128, "8180"}, {255, "81ff"}, {256, "820100"}, {65536, "83010000"}};
  for (const auto& [length, hex] : lengths)
    EXPECT_EQ(Length(length), FromHex(hex)) << length;
  const std::pair<int64_t, const char*> integers[] = {
      {0, "020100"}, {128, "02020080"}, {-129, "0202ff7f"}, {INT64_MIN, "02088000000000000000"}};
  for (const auto& [value, hex] : integers)
    EXPECT_EQ(Integer(value), FromHex(hex)) << value;
  EXPECT_THROW(FromHex("0g"), std::invalid_argument);
}

TEST(ReceiptMakerSign, EachShapeIsWhatItSaysAroundTheExactPayload) {
  const Bytes payload = Payload({{4, 1, Bytes(300, 7)}});
  const Bytes receipt = Sign(payload);
  ASSERT_EQ(PayloadOf(receipt), payload);
  // The signature verifies against the certificate in the file.
  EXPECT_EQ(PKCS7_verify(Parse(receipt).get(), nullptr, nullptr, nullptr, nullptr, PKCS7_NOVERIFY),
            1);

  Pkcs7Ptr data = Parse(Sign(payload, Shape::OuterData));
  ASSERT_TRUE(data && PKCS7_type_is_data(data.get()));
  EXPECT_EQ(DataOf(data.get()), payload);

  Pkcs7Ptr detached = Parse(Sign(payload, Shape::Detached));
  ASSERT_TRUE(detached && PKCS7_type_is_signed(detached.get()) &&
              PKCS7_type_is_data(detached->d.sign->contents));
  EXPECT_EQ(detached->d.sign->contents->d.data, nullptr);

  Pkcs7Ptr nested = Parse(Sign(payload, Shape::InnerNotData));
  ASSERT_TRUE(nested && PKCS7_type_is_signed(nested.get()));
  PKCS7* inner = nested->d.sign->contents;
  ASSERT_TRUE(PKCS7_type_is_signed(inner) && PKCS7_type_is_data(inner->d.sign->contents));
  EXPECT_EQ(DataOf(inner->d.sign->contents), payload);

  const Bytes cut = Build(payload, {.shape = Shape::Receipt, .truncateTo = 40});
  EXPECT_EQ(cut.size(), 40u);
  EXPECT_FALSE(Parse(cut));
  EXPECT_THROW(Build(payload, {.truncateTo = 100000}), std::invalid_argument);
}

template <class T = Bytes>
T ReadFile(const std::filesystem::path& path) {
  std::ifstream in(path, std::ios::binary);
  EXPECT_TRUE(in) << path;
  return T(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
}

TEST(ReceiptMakerSamples, SupplementalFilesMatchTheirDescriptions) {
  const std::filesystem::path samples = RECEIPTMAKER_SAMPLES_DIR;
  const std::filesystem::path made = samples / "../../Supplemental Data/_MASReceipt";
  const std::pair<const char*, const char*> receipts[] = {
      {"realistic.txt", "Quellmark Sample.receipt"}, {"minimal.txt", "Minimal.receipt"}};
  for (const auto& [description, file] : receipts)
    EXPECT_EQ(PayloadOf(ReadFile(made / file)),
              PayloadOf(BuildFromText(ReadFile<std::string>(samples / description))))
        << file;
  EXPECT_EQ(ReadFile(made / "Not a receipt.txt"),
            BuildFromText(ReadFile<std::string>(samples / "not-a-receipt.txt")));
}

CertPtr ParseCert(const Bytes& der) {
  const unsigned char* cursor = der.data();
  return CertPtr(d2i_X509(nullptr, &cursor, static_cast<long>(der.size())), X509_free);
}

// PKCS7_verify of file with root as the only trusted certificate, at the time given.
bool Verifies(const Bytes& file, const Bytes& root, int64_t at) {
  Pkcs7Ptr p7 = Parse(file);
  StorePtr store(X509_STORE_new(), X509_STORE_free);
  CertPtr anchor = ParseCert(root);
  if (!p7 || !anchor || X509_STORE_add_cert(store.get(), anchor.get()) != 1) return false;
  X509_VERIFY_PARAM_set_time(X509_STORE_get0_param(store.get()), static_cast<time_t>(at));
  return PKCS7_verify(p7.get(), nullptr, store.get(), nullptr, nullptr, PKCS7_BINARY) == 1;
}

TEST(ReceiptMakerChain, VerifiesAgainstTheTrustedRootAsTheDescriptionSays) {
  const std::string base = "attr 2 1 utf8 \"com.example.quellmark\"\n";
  const std::string expired = "valid leaf 2020-01-01T00:00:00Z 2025-01-01T00:00:00Z";
  const struct {
    const char* why;
    std::string lines;
    const char* at;
    bool verifies;
  } rows[] = {
      {"the store's shape", "chain test-root", "now", true},
      {"EC keys, SHA-1, BER", "chain test-root\nkey ec-p256\ndigest sha1\nindefinite", "now", true},
      {"the root comes from the store", "chain test-root\ncerts leaf intermediate", "now", true},
      {"no way to the root", "chain test-root\ncerts leaf", "now", false},
      {"no signer certificate", "chain test-root\ncerts", "now", false},
      {"OIDs are not the chain's business", "chain test-root\nno-oid leaf\nno-oid intermediate",
       "now", true},
      {"content changed", "chain test-root\ntamper content", "now", false},
      {"signature flipped", "chain test-root\ntamper signature\nkey ec-p256", "now", false},
      {"another root", "chain other-root", "now", false},
      {"the root's name on another key", "chain impostor-root\ncerts leaf intermediate", "now",
       false},
      {"intermediate no CA", "chain test-root\nintermediate-not-ca", "now", false},
      {"expired since", "chain test-root\n" + expired, "now", false},
      {"... valid then", "chain test-root\n" + expired, "2024-06-01T00:00:00Z", true},
      {"not yet valid", "chain test-root\nvalid intermediate now+1d now+2d", "now", false},
      {"root expired", "chain test-root\nvalid root now-9d now-1d", "now", false},
      {"StoreKit, as Xcode writes it", "chain storekit\nindefinite", "now", true},
      {"two CAs that issued each other", "chain loop", "now", false},
      {"a signer of 100 KiB, ten times over",
       "chain test-root\nleaf-extension 102400\ncert-copies 10", "now", true},
  };
  const Bytes payload = PayloadOf(BuildFromText(base));
  for (const auto& row : rows) {
    Bytes root;
    const Bytes file = BuildFromText(base + row.lines, &root);
    EXPECT_EQ(Verifies(file, root, UnixTime(row.at)), row.verifies) << row.why;
    EXPECT_EQ(PayloadOf(file), payload) << row.why;
  }
}

// The value of the extension oid of a certificate; {0xFF} when it has none.
Bytes Extension(const Bytes& der, const char* oid) {
  CertPtr cert = ParseCert(der);
  std::unique_ptr<ASN1_OBJECT, decltype(&ASN1_OBJECT_free)> object(OBJ_txt2obj(oid, 1),
                                                                   ASN1_OBJECT_free);
  const int at = X509_get_ext_by_OBJ(cert.get(), object.get(), -1);
  if (at < 0) return {0xFF};
  const ASN1_OCTET_STRING* value = X509_EXTENSION_get_data(X509_get_ext(cert.get(), at));
  return Bytes(value->data, value->data + value->length);
}

TEST(ReceiptMakerChain, CertificatesCarryApplesExtensionsAndTheFileWhatItIsAsked) {
  constexpr const char* kLeafOid = "1.2.840.113635.100.6.11.1";
  constexpr const char* kIntermediateOid = "1.2.840.113635.100.6.2.1";
  const Bytes null = {0x05, 0x00}, absent = {0xFF};
  const TestPki pki;
  const TestPki bare({.intermediateOid = false, .leafOid = false});
  const std::tuple<Bytes, const char*, Bytes> extensions[] = {
      {pki.Certificate(Cert::Leaf), kLeafOid, null},
      {pki.Certificate(Cert::Leaf), kIntermediateOid, absent},
      {pki.Certificate(Cert::Intermediate), kIntermediateOid, null},
      {pki.Certificate(Cert::Intermediate), kLeafOid, absent},
      {pki.Certificate(Cert::Root), kIntermediateOid, absent},
      {bare.Certificate(Cert::Leaf), kLeafOid, absent},
      {bare.Certificate(Cert::Intermediate), kIntermediateOid, absent}};
  for (const auto& [cert, oid, value] : extensions)
    EXPECT_EQ(Extension(cert, oid), value) << oid;
  const int64_t end = UnixTime("2030-01-02T03:04:05Z");
  const TestPki dated({.leaf = {0, end}});
  for (const auto& [which, expected] : {std::pair{Cert::Leaf, 0}, {Cert::Intermediate, 1}})
    EXPECT_EQ(
        ASN1_TIME_cmp_time_t(X509_get0_notAfter(ParseCert(dated.Certificate(which)).get()), end),
        expected);

  // The certificates in the order asked, the digest named in the signer info, BER's end.
  const Bytes file = Build(Set({}), {.pki = &pki,
                                     .certs = {{Cert::Root, Cert::Leaf}},
                                     .digest = Digest::Sha1,
                                     .indefinite = true});
  Pkcs7Ptr p7 = Parse(file);
  ASSERT_TRUE(p7);
  STACK_OF(X509)* carried = p7->d.sign->cert;
  ASSERT_EQ(sk_X509_num(carried), 2);
  EXPECT_EQ(X509_cmp(sk_X509_value(carried, 0), ParseCert(pki.TrustedRoot()).get()), 0);
  EXPECT_EQ(X509_cmp(sk_X509_value(carried, 1), ParseCert(pki.Certificate(Cert::Leaf)).get()), 0);
  const PKCS7_SIGNER_INFO* signer = sk_PKCS7_SIGNER_INFO_value(p7->d.sign->signer_info, 0);
  EXPECT_EQ(OBJ_obj2nid(signer->digest_alg->algorithm), NID_sha1);
  EXPECT_EQ(Bytes(file.begin(), file.begin() + 2), FromHex("3080"));
  EXPECT_EQ(Bytes(file.end() - 6, file.end()), Bytes(6, 0));

  // Fixed keys and RSA's deterministic signatures: the impostor's chain trusts the very same
  // root, whose name its own root takes.
  const TestPki impostor({.issuer = Issuer::ImpostorRoot});
  EXPECT_EQ(impostor.TrustedRoot(), pki.TrustedRoot());
  CertPtr fake = ParseCert(impostor.Certificate(Cert::Root));
  CertPtr real = ParseCert(pki.TrustedRoot());
  EXPECT_EQ(X509_NAME_cmp(X509_get_subject_name(fake.get()), X509_get_subject_name(real.get())), 0);
  EXPECT_NE(X509_cmp(fake.get(), real.get()), 0);

  // Each of the loop's two CAs issued and signed the other.
  const TestPki loop({.issuer = Issuer::Loop});
  CertPtr a = ParseCert(loop.Certificate(Cert::Intermediate));
  CertPtr b = ParseCert(loop.Certificate(Cert::Root));
  for (const auto& [issuer, subject] : {std::pair{b.get(), a.get()}, {a.get(), b.get()}}) {
    EXPECT_EQ(X509_check_issued(issuer, subject), X509_V_OK);
    EXPECT_EQ(X509_verify(subject, X509_get0_pubkey(issuer)), 1);
  }

  // A signer as large as asked, carried as many times as asked.
  const TestPki bulky({.leafExtensionBytes = 1000});
  EXPECT_EQ(Extension(bulky.Certificate(Cert::Leaf), "1.3.6.1.4.1.55555.1"),
            Concat(FromHex("048203E8"), Bytes(1000, 0x41)));
  Pkcs7Ptr copies = Parse(Build(Set({}), {.pki = &bulky, .certCopies = 3}));
  ASSERT_TRUE(copies);
  EXPECT_EQ(sk_X509_num(copies->d.sign->cert), 9);

  CertPtr storeKit = ParseCert(TestPki({.issuer = Issuer::StoreKit}).TrustedRoot());
  for (const X509_NAME* name :
       {X509_get_subject_name(storeKit.get()), X509_get_issuer_name(storeKit.get())}) {
    char text[128];
    EXPECT_STREQ(X509_NAME_oneline(name, text, sizeof text),
                 "/CN=StoreKit/O=StoreKit/OU=StoreKit/C=US");
  }
}

TEST(ReceiptMakerPayload, DeviceHashIsSha1OfDeviceOpaqueValueAndWholeBundleId) {
  const Bytes mac = FromHex("f8ffc21e9182");
  const Bytes opaque = FromHex("88a27b6db492f29c9cdd0d8f67bd8b97");
  const Bytes bundleId = FromHex("0C03 612E62");  // UTF8String "a.b", tag and length included
  const Bytes input = Concat(mac, opaque, bundleId);
  Bytes hash(SHA_DIGEST_LENGTH);
  SHA1(input.data(), input.size(), hash.data());

  // The last 4 and 2 count, and the hash replaces the attribute 5 there is.
  EXPECT_EQ(PayloadOf(BuildFromText("attr 2 1 utf8 \"x\"\nattr 5 1 hex 00\n"
                                    "attr 4 1 hex 88a27b6db492f29c9cdd0d8f67bd8b97\n"
                                    "attr 2 1 utf8 \"a.b\"\ndevice-hash f8ffc21e9182")),
            Payload({{2, 1, Utf8Value("x")}, {5, 1, hash}, {4, 1, opaque}, {2, 1, bundleId}}));
  std::vector<Attribute> attributes = {{4, 1, opaque}, {2, 1, bundleId}};
  SetDeviceHash(attributes, mac);
  EXPECT_EQ(attributes.size(), 3u);
  EXPECT_EQ(attributes.back().value, hash);
  attributes.erase(attributes.begin());
  EXPECT_THROW(SetDeviceHash(attributes, mac), std::invalid_argument);
}

TEST(ReceiptMakerPayload, PurchasesCarryEveryFieldAndDiffer) {
  const std::vector<Attribute> purchases = Purchases(3);
  ASSERT_EQ(purchases.size(), 3u);
  EXPECT_EQ(PayloadOf(BuildFromText("purchases 3")), Payload(purchases));
  EXPECT_NE(purchases[0].value, purchases[1].value);
  for (const Attribute& purchase : purchases) {
    EXPECT_EQ(purchase.number, 17);
    for (const int64_t field :
         {1701, 1702, 1703, 1704, 1705, 1706, 1707, 1708, 1711, 1712, 1713, 1719, 1721}) {
      const Bytes head = Concat(Integer(field), Integer(1));
      EXPECT_NE(std::search(purchase.value.begin(), purchase.value.end(), head.begin(), head.end()),
                purchase.value.end())
          << field;
    }
  }
}

}  // namespace
