// The DER building blocks and the payloads made of them.

#include <openssl/evp.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <stdexcept>
#include <string>

#include "tools/receiptmaker/ReceiptMaker.h"

namespace ReceiptMaker {
namespace {

constexpr uint8_t kTagInteger = 0x02;
constexpr uint8_t kTagOctetString = 0x04;
constexpr uint8_t kTagUtf8String = 0x0C;
constexpr uint8_t kTagIa5String = 0x16;
constexpr uint8_t kTagSequence = 0x30;
constexpr uint8_t kTagSet = 0x31;

void Append(Bytes& out, const Bytes& more) {
  out.insert(out.end(), more.begin(), more.end());
}

int HexDigit(char c) {
  if (c >= '0' && c <= '9') return c - '0';
  if (c >= 'a' && c <= 'f') return c - 'a' + 10;
  if (c >= 'A' && c <= 'F') return c - 'A' + 10;
  return -1;
}

}  // namespace

// ---- DER

Bytes Length(size_t contentLength) {
  if (contentLength < 0x80) return {static_cast<uint8_t>(contentLength)};
  Bytes octets;
  for (size_t rest = contentLength; rest != 0; rest >>= 8) {
    octets.insert(octets.begin(), static_cast<uint8_t>(rest & 0xFF));
  }
  octets.insert(octets.begin(), static_cast<uint8_t>(0x80 | octets.size()));
  return octets;
}

Bytes Tlv(const Bytes& identifier, const Bytes& contents) {
  return Concat(identifier, Length(contents.size()), contents);
}

Bytes Tlv(uint8_t tag, const Bytes& contents) {
  return Tlv(Bytes{tag}, contents);
}

Bytes Integer(int64_t value) {
  const auto bits = static_cast<uint64_t>(value);
  Bytes octets(8);
  for (size_t i = 0; i < octets.size(); ++i) {
    octets[i] = static_cast<uint8_t>(bits >> (56 - 8 * i));
  }
  // A leading 0x00 or 0xFF is redundant while the next octet carries the same sign bit.
  size_t start = 0;
  while (start + 1 < octets.size() &&
         ((octets[start] == 0x00 && (octets[start + 1] & 0x80) == 0) ||
          (octets[start] == 0xFF && (octets[start + 1] & 0x80) != 0))) {
    ++start;
  }
  return Tlv(kTagInteger, Bytes(octets.begin() + static_cast<std::ptrdiff_t>(start), octets.end()));
}

Bytes Utf8(std::string_view text) {
  return Tlv(kTagUtf8String, Bytes(text.begin(), text.end()));
}
Bytes Ia5(std::string_view text) {
  return Tlv(kTagIa5String, Bytes(text.begin(), text.end()));
}
Bytes OctetString(const Bytes& contents) {
  return Tlv(kTagOctetString, contents);
}
Bytes Sequence(const Bytes& contents) {
  return Tlv(kTagSequence, contents);
}
Bytes Set(const Bytes& contents) {
  return Tlv(kTagSet, contents);
}

Bytes Record(int64_t number, int64_t version, const Bytes& valueContents) {
  return Sequence(Concat(Integer(number), Integer(version), OctetString(valueContents)));
}

Bytes FromHex(std::string_view hex) {
  Bytes out;
  int high = -1;
  for (const char c : hex) {
    if (c == ' ' || c == '\t') continue;
    const int digit = HexDigit(c);
    if (digit < 0) throw std::invalid_argument("'" + std::string(1, c) + "' is not a hex digit");
    if (high < 0) {
      high = digit;
    } else {
      out.push_back(static_cast<uint8_t>(high << 4 | digit));
      high = -1;
    }
  }
  if (high >= 0) throw std::invalid_argument("odd number of hex digits");
  return out;
}

// ---- Payloads

Bytes IntValue(int64_t value) {
  return Integer(value);
}
Bytes Utf8Value(std::string_view text) {
  return Utf8(text);
}
Bytes Ia5Value(std::string_view text) {
  return Ia5(text);
}
Bytes HexValue(std::string_view hex) {
  return FromHex(hex);
}
Bytes PurchaseValue(const std::vector<Attribute>& records) {
  return Payload(records);
}

Bytes Payload(const std::vector<Attribute>& attributes) {
  Bytes records;
  for (const Attribute& attribute : attributes) {
    Append(records, Record(attribute.number, attribute.version, attribute.value));
  }
  return Set(records);
}

std::vector<Attribute> Purchases(size_t n) {
  using namespace std::chrono;
  // Dates an hour apart from the first purchase on, as the store writes them.
  const auto date = [](size_t hours) {
    const sys_seconds time = sys_days(year(2024) / January / 1) + std::chrono::hours(hours);
    const year_month_day ymd(floor<days>(time));
    const hh_mm_ss clock(time - floor<days>(time));
    char text[32];
    std::snprintf(text, sizeof text, "%04d-%02u-%02uT%02d:%02d:%02dZ", int(ymd.year()),
                  unsigned(ymd.month()), unsigned(ymd.day()), int(clock.hours().count()),
                  int(clock.minutes().count()), int(clock.seconds().count()));
    return Ia5Value(text);
  };
  std::vector<Attribute> purchases;
  purchases.reserve(n);
  for (size_t i = 0; i < n; ++i) {
    const std::string id = std::to_string(1000000900000000 + i);
    const std::string original = std::to_string(1000000900000000 + i - i % 4);
    purchases.push_back(
        {17, 1,
         PurchaseValue({{1701, 1, IntValue(1 + int64_t(i % 3))},
                        {1702, 1, Utf8Value("com.example.product." + std::to_string(i % 7))},
                        {1703, 1, Utf8Value(id)},
                        {1704, 1, date(i)},
                        {1705, 1, Utf8Value(original)},
                        {1706, 1, date(i - i % 4)},
                        {1707, 1, IntValue(0)},
                        {1708, 1, date(i + 24 * 30)},
                        {1711, 1, IntValue(int64_t(230000000000000 + i))},
                        {1712, 1, Ia5Value("")},
                        {1713, 1, IntValue(int64_t(i % 2))},
                        {1719, 1, IntValue(0)},
                        {1721, 1, Utf8Value("")}})});
  }
  return purchases;
}

Bytes DeviceHash(const Bytes& deviceId, const Bytes& opaqueValue, const Bytes& bundleIdValue) {
  const Bytes input = Concat(deviceId, opaqueValue, bundleIdValue);
  Bytes hash(EVP_MAX_MD_SIZE);
  unsigned int length = 0;
  if (EVP_Digest(input.data(), input.size(), hash.data(), &length, EVP_sha1(), nullptr) != 1) {
    throw std::runtime_error("ReceiptMaker::DeviceHash: SHA-1 failed");
  }
  hash.resize(length);
  return hash;
}

void SetDeviceHash(std::vector<Attribute>& attributes, const Bytes& deviceId) {
  const auto last = [&](int64_t number) {
    const auto found = std::find_if(attributes.rbegin(), attributes.rend(),
                                    [&](const Attribute& a) { return a.number == number; });
    return found == attributes.rend() ? nullptr : &*found;
  };
  const Attribute* opaque = last(4);
  const Attribute* bundleId = last(2);
  if (opaque == nullptr || bundleId == nullptr) {
    throw std::invalid_argument("ReceiptMaker::SetDeviceHash: needs attributes 4 and 2");
  }
  Bytes hash = DeviceHash(deviceId, opaque->value, bundleId->value);
  if (Attribute* existing = last(5)) {
    existing->value = std::move(hash);
  } else {
    attributes.push_back({5, 1, std::move(hash)});
  }
}

Bytes TypicalPayload() {
  const Bytes purchase = PurchaseValue({{1701, 1, IntValue(1)},
                                        {1702, 1, Utf8Value("com.example.coins")},
                                        {1703, 1, Utf8Value("1000000123456789")},
                                        {1704, 1, Ia5Value("2026-01-02T03:04:05Z")}});
  return Payload({{0, 1, Utf8Value("Production")},
                  {2, 1, Utf8Value("com.example.quellmark")},
                  {3, 1, Utf8Value("2.4.1")},
                  {4, 1, HexValue("00112233445566778899AABBCCDDEEFF")},
                  {5, 1, HexValue("A1B2C3D4E5F60718293A4B5C6D7E8F9001122334")},
                  {12, 1, Ia5Value("2026-03-14T09:26:53Z")},
                  {17, 1, purchase},
                  {17, 1, purchase},
                  {17, 1, purchase},
                  {19, 1, Utf8Value("2.0")},
                  {21, 1, Ia5Value("2027-03-14T09:26:53Z")}});
}

}  // namespace ReceiptMaker
