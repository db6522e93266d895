// The receipt maker, where a fault would slip past the tests that read what it makes: the
// exact DER forms, the sample files that the program shows at start, and the device hash,
// checked with libcrypto. The containers, chains and certificates it makes are seen by the
// examination's tests, which name the shape of each container and the facts of each chain,
// and by the reader's, which refuse the containers that are no receipt.

#include "tools/receiptmaker/ReceiptMaker.h"

#include <gtest/gtest.h>
#include <openssl/objects.h>
#include <openssl/pkcs7.h>
#include <openssl/sha.h>

#include <filesystem>
#include <fstream>
#include <iterator>
#include <memory>
#include <string>
#include <vector>

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

}  // namespace
