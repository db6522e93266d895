#include "tools/receiptmaker/ReceiptMaker.h"

#include <gtest/gtest.h>
#include <openssl/asn1.h>
#include <openssl/bio.h>
#include <openssl/evp.h>
#include <openssl/objects.h>
#include <openssl/pkcs7.h>
#include <openssl/x509.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdint>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <limits>
#include <memory>
#include <optional>
#include <ostream>
#include <stdexcept>
#include <string>
#include <thread>
#include <tuple>
#include <utility>
#include <vector>

namespace {

using namespace ReceiptMaker;
using Pkcs7Ptr = std::unique_ptr<PKCS7, decltype(&PKCS7_free)>;
using BioPtr = std::unique_ptr<BIO, decltype(&BIO_free_all)>;

std::string ToHex(const Bytes& bytes) {
  static const char kDigits[] = "0123456789abcdef";
  std::string hex;
  for (const uint8_t b : bytes) {
    hex += {kDigits[b >> 4], kDigits[b & 15]};
  }
  return hex;
}

// d2i_PKCS7 of the whole of der; null if OpenSSL refuses it or leaves bytes over.
Pkcs7Ptr Parse(const Bytes& der) {
  const unsigned char* cursor = der.data();
  Pkcs7Ptr p7(d2i_PKCS7(nullptr, &cursor, static_cast<long>(der.size())), PKCS7_free);
  if (p7 && cursor != der.data() + der.size()) p7.reset();
  return p7;
}

Bytes DataOf(const PKCS7* contentInfo) {
  const ASN1_OCTET_STRING* data = contentInfo->d.data;
  return Bytes(data->data, data->data + data->length);
}

// The payload of a well-formed receipt, checked on the way.
Bytes PayloadOf(const Bytes& der) {
  Pkcs7Ptr p7 = Parse(der);
  EXPECT_TRUE(p7 && PKCS7_type_is_signed(p7.get()) && PKCS7_type_is_data(p7->d.sign->contents) &&
              p7->d.sign->contents->d.data);
  return p7 && p7->d.sign->contents->d.data ? DataOf(p7->d.sign->contents) : Bytes{0xDE, 0xAD};
}

// PKCS7_verify against the certificate in the object itself; returns the content it verified.
std::optional<Bytes> Verify(PKCS7* p7, const Bytes* detachedContent = nullptr) {
  static const unsigned char kNoBytes = 0;  // BIO_new_mem_buf refuses null, even for 0 bytes
  BioPtr in(detachedContent
                ? BIO_new_mem_buf(detachedContent->empty() ? &kNoBytes : detachedContent->data(),
                                  static_cast<int>(detachedContent->size()))
                : nullptr,
            BIO_free_all);
  BioPtr out(BIO_new(BIO_s_mem()), BIO_free_all);
  if (PKCS7_verify(p7, nullptr, nullptr, in.get(), out.get(), PKCS7_NOVERIFY | PKCS7_BINARY) != 1)
    return std::nullopt;
  char* data = nullptr;
  const long length = BIO_get_mem_data(out.get(), &data);
  return Bytes(data, data + length);
}

// ---- DER

struct LengthCase {
  size_t length;
  const char* header;
};

TEST(ReceiptMakerDer, LengthsUseShortFormTo127AndMinimalLongFormAbove) {
  const LengthCase cases[] = {{0, "0400"},          {127, "047f"},     {128, "048180"},
                              {255, "0481ff"},      {256, "04820100"}, {65535, "0482ffff"},
                              {65536, "0483010000"}};
  for (const LengthCase& c : cases) {
    const Bytes tlv = OctetString(Bytes(c.length, 0xAB));
    const std::string header = c.header;
    ASSERT_EQ(tlv.size(), header.size() / 2 + c.length) << c.length;
    EXPECT_EQ(ToHex(Bytes(tlv.begin(), tlv.begin() + std::ssize(header) / 2)), header) << c.length;
  }
}

TEST(ReceiptMakerDer, IntegersAreMinimalTwosComplementAndReadBackByOpenSsl) {
  const std::pair<int64_t, const char*> cases[] = {
      {0, "020100"},
      {127, "02017f"},
      {128, "02020080"},
      {255, "020200ff"},
      {256, "02020100"},
      {-1, "0201ff"},
      {-128, "020180"},
      {-129, "0202ff7f"},
      {std::numeric_limits<int64_t>::min(), "02088000000000000000"},
      {std::numeric_limits<int64_t>::max(), "02087fffffffffffffff"}};
  for (const auto& [value, hex] : cases) {
    const Bytes der = Integer(value);
    EXPECT_EQ(ToHex(der), hex) << value;
    const unsigned char* cursor = der.data();
    std::unique_ptr<ASN1_INTEGER, decltype(&ASN1_INTEGER_free)> parsed(
        d2i_ASN1_INTEGER(nullptr, &cursor, static_cast<long>(der.size())), ASN1_INTEGER_free);
    int64_t back = 0;
    ASSERT_TRUE(parsed && ASN1_INTEGER_get_int64(&back, parsed.get()) == 1) << value;
    EXPECT_EQ(back, value);
  }
}

TEST(ReceiptMakerDer, BuildingBlocks) {
  const std::pair<Bytes, const char*> cases[] = {
      {Utf8("\xC3\xA9"), "0c02c3a9"},
      {Ia5("ab"), "16026162"},
      {Sequence(Integer(1)), "3003020101"},
      {Set({}), "3100"},
      {Tlv({0x9F, 0x1F}, {0x05}), "9f1f0105"},  // identifier octets taken verbatim
      {Concat(Integer(1), Bytes{}, Bytes{0xFF}), "020101ff"},
      {Record(17, 1, {0x31, 0x00}), "300a 020111 020101 04023100"},
      // SET { record 2 "a", record 17 { SET { record 1701 1 } } }
      {Payload({{2, 1, Utf8Value("a")}, {17, 1, PurchaseValue({{1701, 1, IntValue(1)}})}}),
       "3127 300b020102020101 04030c0161 3018020111020101 0410 310e 300c020206a5020101 0403020101"},
  };
  for (const auto& [bytes, hex] : cases) {
    EXPECT_EQ(ToHex(bytes), ToHex(FromHex(hex)));
  }
}

TEST(ReceiptMakerDer, FromHexSkipsSpacesAndRejectsOddOrForeignDigits) {
  EXPECT_EQ(ToHex(HexValue(" 0a Bc\tDE ")), "0abcde");
  EXPECT_THROW(FromHex("abc"), std::invalid_argument);
  EXPECT_THROW(FromHex("0g"), std::invalid_argument);
}

// ---- The container

struct PayloadCase {
  const char* name;
  Bytes bytes;
  friend void PrintTo(const PayloadCase& c, std::ostream* out) { *out << c.name; }
};

class ReceiptMakerSign : public testing::TestWithParam<PayloadCase> {};

TEST_P(ReceiptMakerSign, EveryShapeParsesBackWithTheExactPayload) {
  const Bytes& payload = GetParam().bytes;

  Pkcs7Ptr receipt = Parse(Sign(payload));
  ASSERT_TRUE(receipt);
  ASSERT_EQ(OBJ_obj2nid(receipt->type), NID_pkcs7_signed);
  ASSERT_EQ(OBJ_obj2nid(receipt->d.sign->contents->type), NID_pkcs7_data);
  ASSERT_TRUE(receipt->d.sign->contents->d.data);
  EXPECT_EQ(DataOf(receipt->d.sign->contents), payload);
  EXPECT_EQ(Verify(receipt.get()), payload);

  Pkcs7Ptr data = Parse(Sign(payload, Shape::OuterData));
  ASSERT_TRUE(data);
  ASSERT_EQ(OBJ_obj2nid(data->type), NID_pkcs7_data);
  EXPECT_EQ(DataOf(data.get()), payload);

  Pkcs7Ptr detached = Parse(Sign(payload, Shape::Detached));
  ASSERT_TRUE(detached);
  ASSERT_EQ(OBJ_obj2nid(detached->type), NID_pkcs7_signed);
  ASSERT_EQ(OBJ_obj2nid(detached->d.sign->contents->type), NID_pkcs7_data);
  EXPECT_EQ(detached->d.sign->contents->d.data, nullptr);
  EXPECT_EQ(Verify(detached.get(), &payload), payload);

  Pkcs7Ptr nested = Parse(Sign(payload, Shape::InnerNotData));
  ASSERT_TRUE(nested);
  ASSERT_EQ(OBJ_obj2nid(nested->type), NID_pkcs7_signed);
  PKCS7* inner = nested->d.sign->contents;
  ASSERT_EQ(OBJ_obj2nid(inner->type), NID_pkcs7_signed);
  ASSERT_EQ(OBJ_obj2nid(inner->d.sign->contents->type), NID_pkcs7_data);
  EXPECT_EQ(DataOf(inner->d.sign->contents), payload);
  EXPECT_EQ(Verify(inner), payload);
  // The outer signature covers the contents octets of the inner SignedData.
  unsigned char* innerDer = nullptr;
  const int innerLength = i2d_PKCS7_SIGNED(inner->d.sign, &innerDer);
  const unsigned char* contents = innerDer;
  long contentsLength = 0;
  int tag = 0;
  int tagClass = 0;
  ASN1_get_object(&contents, &contentsLength, &tag, &tagClass, innerLength);
  BioPtr digest(BIO_new(BIO_f_md()), BIO_free_all);
  ASSERT_EQ(BIO_set_md(digest.get(), EVP_sha256()), 1);
  BIO_push(digest.get(), BIO_new(BIO_s_null()));
  BIO_write(digest.get(), contents, static_cast<int>(contentsLength));
  OPENSSL_free(innerDer);
  PKCS7_SIGNER_INFO* signerInfo =
      sk_PKCS7_SIGNER_INFO_value(PKCS7_get_signer_info(nested.get()), 0);
  X509* cert = sk_X509_value(nested->d.sign->cert, 0);
  EXPECT_EQ(PKCS7_signatureVerify(digest.get(), nested.get(), signerInfo, cert), 1);
}

INSTANTIATE_TEST_SUITE_P(
    Payloads, ReceiptMakerSign,
    testing::Values(PayloadCase{"Empty", {}}, PayloadCase{"EmptySet", Set({})},
                    PayloadCase{"TwoSets", Concat(Set({}), Set(Integer(1)))},
                    PayloadCase{"NotASet", Utf8("not a SET")},
                    PayloadCase{"LongRecord", Payload({{4, 1, Bytes(300, 7)}})}),
    [](const testing::TestParamInfo<PayloadCase>& param) { return std::string(param.param.name); });

TEST(ReceiptMakerSign, IsSafeFromSeveralThreadsAtOnce) {
  std::vector<Bytes> files(4);
  std::vector<std::thread> threads;
  for (size_t i = 0; i < files.size(); ++i) {
    threads.emplace_back([&files, i] { files[i] = Sign(Set(Integer(static_cast<int64_t>(i)))); });
  }
  for (std::thread& thread : threads) {
    thread.join();
  }
  for (size_t i = 0; i < files.size(); ++i) {
    EXPECT_EQ(PayloadOf(files[i]), Set(Integer(static_cast<int64_t>(i))));
  }
}

TEST(ReceiptMakerSign, BuildTruncatesOnlyToFewerBytes) {
  const Bytes file = Build(Set({}), {.shape = Shape::Receipt, .truncateTo = 40});
  EXPECT_EQ(file.size(), 40u);
  EXPECT_FALSE(Parse(file));
  EXPECT_THROW(Build(Set({}), {.truncateTo = 100000}), std::invalid_argument);
}

// ---- The text format

TEST(ReceiptMakerText, DirectivesMakeThePayloadTheyDescribe) {
  const std::pair<const char*, Bytes> cases[] = {
      {"", Set({})},
      {"# nothing\n\n   \n", Set({})},
      {"attr 19 1 int -42 # comment", Payload({{19, 1, IntValue(-42)}})},
      {"attr -1 9223372036854775807 int 0", Payload({{-1, INT64_MAX, IntValue(0)}})},
      {R"(attr 2 1 utf8 "a \"b\" \\ # c")", Payload({{2, 1, Utf8Value(R"(a "b" \ # c)")}})},
      {"attr 12 1 ia5 \"2026-03-14T09:26:53Z\"\r\n",
       Payload({{12, 1, Ia5Value("2026-03-14T09:26:53Z")}})},
      {"attr 4 1 hex 0102 03\nattr 5 1 hex", Payload({{4, 1, {1, 2, 3}}, {5, 1, {}}})},
      {"attr 17 1 iap\n attr 1701 1 int 1\n attr 9 2 iap\n  attr 1 1 int 2\n end\nend\n"
       "attr 3 1 utf8 \"1.0\"",
       Payload({{17, 1,
                 PurchaseValue({{1701, 1, IntValue(1)}, {9, 2, Payload({{1, 1, IntValue(2)}})}})},
                {3, 1, Utf8Value("1.0")}})},
      {"attr 2 1 int 1\nset\nattr 3 1 int 2",
       Concat(Payload({{2, 1, IntValue(1)}}), Payload({{3, 1, IntValue(2)}}))},
      {"set", Concat(Set({}), Set({}))},
      {"payload-hex 0c 0161", Utf8("a")},
      {"payload-hex", {}},
  };
  for (const auto& [text, payload] : cases) {
    EXPECT_EQ(PayloadOf(BuildFromText(text)), payload) << text;
  }
}

TEST(ReceiptMakerText, ShapeTruncateAndRawFile) {
  const std::pair<const char*, int> shapes[] = {{"shape receipt", NID_pkcs7_data},
                                                {"shape inner-not-data", NID_pkcs7_signed},
                                                {"shape detached", NID_pkcs7_data}};
  for (const auto& [text, innerNid] : shapes) {
    Pkcs7Ptr p7 = Parse(BuildFromText(text));
    ASSERT_TRUE(p7 && PKCS7_type_is_signed(p7.get())) << text;
    EXPECT_EQ(OBJ_obj2nid(p7->d.sign->contents->type), innerNid) << text;
    EXPECT_EQ(PKCS7_get_detached(p7.get()) == 1, std::string(text) == "shape detached") << text;
  }
  Pkcs7Ptr data = Parse(BuildFromText("shape outer-data\nattr 2 1 int 1"));
  ASSERT_TRUE(data && PKCS7_type_is_data(data.get()));
  EXPECT_EQ(DataOf(data.get()), Payload({{2, 1, IntValue(1)}}));

  EXPECT_EQ(BuildFromText("attr 2 1 int 1\ntruncate 30").size(), 30u);
  EXPECT_EQ(ToHex(BuildFromText("raw-file-hex 89504e47 0d0a1a0a")), "89504e470d0a1a0a");
  EXPECT_EQ(ToHex(BuildFromText("truncate 2\nraw-file-hex 010203")), "0102");
  EXPECT_EQ(ToHex(BuildFromText("raw-file-hex")), "");
}

TEST(ReceiptMakerText, EachMistakeNamesItsLine) {
  const std::tuple<const char*, int, const char*> cases[] = {
      {"bogus", 1, "unknown directive 'bogus'"},
      {"\"attr\"", 1, "not a string"},
      {"# c\n\nattr 1 1 int", 3, "usage: attr NUMBER VERSION int N"},
      {"attr 1", 1, "usage: attr NUMBER VERSION TYPE"},
      {"attr x 1 int 1", 1, "attribute number"},
      {"attr 1 1 int 9223372036854775808", 1, "64-bit"},
      {"attr 1 1 int \"1\"", 1, "int value"},
      {"attr 1 1 utf8 abc", 1, "quoted string"},
      {"attr 1 1 utf8 \"abc", 1, "no closing quote"},
      {"attr 1 1 utf8 \"a\\nb\"", 1, "unknown escape"},
      {"attr 1 1 utf8 \"a\"b", 1, "closing quote"},
      {"attr 1 1 utf8 a\"b\"", 1, "quote inside a word"},
      {"attr 1 1 hex abc", 1, "odd number of hex digits"},
      {"attr 1 1 hex zz", 1, "not a hex digit"},
      {"attr 1 1 float 1", 1, "unknown value type 'float'"},
      {"attr 1 1 iap x", 1, "usage: attr NUMBER VERSION iap"},
      {"end", 1, "end without an open iap"},
      {"attr 17 1 iap\nattr 17 1 iap\nend", 1, "iap is never closed with end"},
      {"attr 17 1 iap\nset\nend", 2, "set inside iap (opened at line 1)"},
      {"shape round", 1, "unknown shape 'round'"},
      {"shape detached\nshape receipt", 2, "shape given twice (first at line 1)"},
      {"attr 1 1 int 1\npayload-hex 00", 2, "cannot be mixed with attr or set (line 1)"},
      {"payload-hex 00\nset", 2, "set cannot be mixed with payload-hex (line 1)"},
      {"payload-hex 00\npayload-hex 00", 2, "given twice"},
      {"raw-file-hex 00\nattr 1 1 int 1", 2, "cannot be mixed with raw-file-hex"},
      {"shape detached\nraw-file-hex 00", 2, "cannot be mixed with shape"},
      {"truncate -1", 1, "byte count"},
      {"truncate 2\n\nraw-file-hex 0001", 1, "not shorter than the file, which has 2 bytes"},
  };
  for (const auto& [text, line, reason] : cases) {
    try {
      BuildFromText(text);
      ADD_FAILURE() << "no error for: " << text;
    } catch (const std::invalid_argument& error) {
      const std::string message = error.what();
      EXPECT_EQ(message.rfind("line " + std::to_string(line) + ": ", 0), 0u) << message;
      EXPECT_NE(message.find(reason), std::string::npos) << message;
    }
  }
}

// ---- The samples, the files made from them, and the command

Bytes ReadFile(const std::filesystem::path& path) {
  std::ifstream in(path, std::ios::binary);
  EXPECT_TRUE(in) << path;
  return Bytes(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
}

std::string ReadText(const std::filesystem::path& path) {
  const Bytes bytes = ReadFile(path);
  return std::string(bytes.begin(), bytes.end());
}

TEST(ReceiptMakerSamples, SupplementalFilesMatchTheirDescriptions) {
  const std::filesystem::path samples = RECEIPTMAKER_SAMPLES_DIR;
  const std::filesystem::path made = samples / "../../Supplemental Data/_MASReceipt";
  const std::pair<const char*, const char*> receipts[] = {
      {"realistic.txt", "Quellmark Sample.receipt"}, {"minimal.txt", "Minimal.receipt"}};
  for (const auto& [description, file] : receipts) {
    const Bytes payload = PayloadOf(BuildFromText(ReadText(samples / description)));
    ASSERT_EQ(payload.at(0), 0x31) << description;
    EXPECT_EQ(PayloadOf(ReadFile(made / file)), payload) << file;
  }
  const Bytes notReceipt = BuildFromText(ReadText(samples / "not-a-receipt.txt"));
  EXPECT_EQ(std::string(notReceipt.begin(), notReceipt.end()), "This is not a receipt.\n");
  EXPECT_EQ(ReadFile(made / "Not a receipt.txt"), notReceipt);
  EXPECT_FALSE(Parse(notReceipt));
}

int RunCli(const std::string& arguments) {
  const int status = std::system((std::string("'") + RECEIPTMAKER_CLI + "' " + arguments).c_str());
  return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
}

TEST(ReceiptMakerCli, ExitCodesAndOutput) {
  const std::filesystem::path dir =
      std::filesystem::path(testing::TempDir()) / ("mkreceipt-" + std::to_string(getpid()));
  std::filesystem::create_directories(dir);
  const std::string good = (dir / "good.txt").string();
  const std::string bad = (dir / "bad.txt").string();
  const std::string out = (dir / "out file.receipt").string();
  std::ofstream(good) << "attr 2 1 utf8 \"com.example.quellmark\"\n";
  std::ofstream(bad) << "attr 2 1 utf8 unquoted\n";

  EXPECT_EQ(RunCli("2>/dev/null"), 2);
  EXPECT_EQ(RunCli("a b c 2>/dev/null"), 2);
  EXPECT_EQ(RunCli("'" + (dir / "missing.txt").string() + "' '" + out + "' 2>/dev/null"), 1);
  EXPECT_EQ(RunCli("'" + bad + "' '" + out + "' 2>/dev/null"), 1);
  EXPECT_FALSE(std::filesystem::exists(out));
  EXPECT_EQ(RunCli("'" + good + "' '" + out + "'"), 0);
  EXPECT_EQ(PayloadOf(ReadFile(out)), Payload({{2, 1, Utf8Value("com.example.quellmark")}}));
  EXPECT_EQ(RunCli("- - < '" + good + "' > '" + out + "'"), 0);
  EXPECT_EQ(PayloadOf(ReadFile(out)), Payload({{2, 1, Utf8Value("com.example.quellmark")}}));
  std::filesystem::remove_all(dir);
}

}  // namespace
