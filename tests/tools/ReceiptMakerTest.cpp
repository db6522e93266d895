// The receipt maker, where a fault would slip past the tests that read what it makes: the
// exact DER forms, the containers that readers are to refuse, the text format, and the sample
// files that the program shows at start.

#include "tools/receiptmaker/ReceiptMaker.h"

#include <gtest/gtest.h>
#include <openssl/objects.h>
#include <openssl/pkcs7.h>

#include <filesystem>
#include <fstream>
#include <iterator>
#include <memory>
#include <string>

namespace {

using namespace ReceiptMaker;
using Pkcs7Ptr = std::unique_ptr<PKCS7, decltype(&PKCS7_free)>;

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

}  // namespace
