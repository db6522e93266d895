// The device hash: SHA-1 over a device's identifier, attribute 4's value and attribute 2's
// value (the whole UTF8String, tag and length included), which attribute 5 holds for the
// device that the receipt was issued to. And the identifiers as people write them.

#include <openssl/evp.h>

#include <algorithm>
#include <memory>

#include "examination/Internal.h"
#include "examination/Text.h"

namespace Examination {

namespace {

bool IsHexDigit(char c) {
  return (c >= '0' && c <= '9') || (c >= 'a' && c <= 'f') || (c >= 'A' && c <= 'F');
}

// Hex digit pairs with `separator` after every pair but the last, in the groups of `groups`
// (counted in digits), as in "f8:ff:c2:1e:91:82" or a UUID's 8-4-4-4-12.
std::optional<Bytes> Grouped(std::string_view text, std::initializer_list<std::size_t> groups,
                             char separator) {
  std::string digits;
  std::size_t at = 0;
  for (const std::size_t group : groups) {
    if (at != 0) {
      if (at >= text.size() || text[at] != separator) return std::nullopt;
      ++at;
    }
    if (text.size() - at < group) return std::nullopt;
    digits.append(text.substr(at, group));
    at += group;
  }
  if (at != text.size()) return std::nullopt;
  return text::FromHex(digits);
}

// SHA-1 as the provider gives it, fetched once: EVP_sha1() would be looked up again at each use.
const EVP_MD* Sha1() {
  static const std::unique_ptr<EVP_MD, decltype(&EVP_MD_free)> md(
      EVP_MD_fetch(nullptr, "SHA1", nullptr), EVP_MD_free);
  return md ? md.get() : EVP_sha1();
}

std::string Trimmed(std::string_view text) {
  const auto space = [](char c) { return c == ' ' || c == '\t' || c == '\n' || c == '\r'; };
  while (!text.empty() && space(text.front()))
    text.remove_prefix(1);
  while (!text.empty() && space(text.back()))
    text.remove_suffix(1);
  return std::string(text);
}

}  // namespace

ParsedIdentifier ParseIdentifier(std::string_view written, std::string label) {
  const std::string text = Trimmed(written);
  ParsedIdentifier result;
  const auto found = [&](Bytes bytes) {
    result.identifier = DeviceIdentifier{std::move(label), text, std::move(bytes)};
    return result;
  };
  const auto fail = [&](std::string reason) {
    result.reason = std::move(reason);
    return result;
  };
  if (text.empty()) return fail("an empty identifier");

  if (text.starts_with("hex:")) {
    if (auto bytes = text::FromHex(text.substr(4)); bytes && !bytes->empty()) return found(*bytes);
    return fail(text::Quote(text) + " is not an even number of hex digits after \"hex:\"");
  }
  if (text.starts_with("base64:")) {
    if (auto bytes = text::FromBase64(text.substr(7))) return found(*bytes);
    return fail(text::Quote(text) + " is not base64 with its padding after \"base64:\"");
  }
  for (const char separator : {':', '-'})
    if (auto mac = Grouped(text, {2, 2, 2, 2, 2, 2}, separator)) return found(*mac);
  if (auto uuid = Grouped(text, {8, 4, 4, 4, 12}, '-')) return found(*uuid);
  const bool allHex = std::all_of(text.begin(), text.end(), IsHexDigit);
  if (allHex && text.size() % 2 == 0) return found(*text::FromHex(text));
  if (auto bytes = text::FromBase64(text)) return found(*bytes);
  if (allHex) return fail(text::Quote(text) + " has an odd number of hex digits");
  return fail(text::Quote(text) +
              " is neither a MAC address (f8:ff:c2:1e:91:82), a UUID (8-4-4-4-12 hex digits), nor "
              "bytes in hex or base64");
}

namespace detail {

DeviceCheck CheckDevice(const Contents& contents, std::span<const DeviceIdentifier> identifiers) {
  DeviceCheck check;
  const Attribute* bundle = contents.Find(Numbers::kBundleId);
  const Attribute* opaque = contents.Find(Numbers::kOpaqueValue);
  const Attribute* hash = contents.Find(Numbers::kSha1Hash);
  std::string lacking;
  for (const auto& [attribute, number, what] :
       {std::tuple{bundle, Numbers::kBundleId, "2 (bundle id)"},
        std::tuple{opaque, Numbers::kOpaqueValue, "4 (opaque value)"},
        std::tuple{hash, Numbers::kSha1Hash, "5 (SHA-1 hash)"}}) {
    if (attribute != nullptr) continue;
    check.missing.push_back(number);
    lacking += (lacking.empty() ? "attribute " : ", ") + std::string(what);
  }

  // The hash of each identifier, where attributes 2 and 4 are there to make it.
  if (bundle != nullptr && opaque != nullptr) {
    const std::unique_ptr<EVP_MD_CTX, decltype(&EVP_MD_CTX_free)> md(EVP_MD_CTX_new(),
                                                                     EVP_MD_CTX_free);
    for (const DeviceIdentifier& id : identifiers) {
      unsigned char digest[EVP_MAX_MD_SIZE];
      unsigned int length = 0;
      if (!md || EVP_DigestInit_ex(md.get(), Sha1(), nullptr) != 1 ||
          EVP_DigestUpdate(md.get(), id.bytes.data(), id.bytes.size()) != 1 ||
          EVP_DigestUpdate(md.get(), opaque->raw.data(), opaque->raw.size()) != 1 ||
          EVP_DigestUpdate(md.get(), bundle->raw.data(), bundle->raw.size()) != 1 ||
          EVP_DigestFinal_ex(md.get(), digest, &length) != 1)
        length = 0;
      DeviceAttempt attempt{id.label, id.text, text::Hex({digest, length}), false};
      attempt.matches = hash != nullptr && length > 0 &&
                        std::equal(hash->raw.begin(), hash->raw.end(), digest, digest + length);
      if (attempt.matches && !check.match) check.match = check.attempts.size();
      check.attempts.push_back(std::move(attempt));
    }
  }

  Fact& f = check.matches;
  if (!check.missing.empty()) {
    f = {false, "the receipt has no " + lacking + ", so no device can be told"};
  } else if (check.match) {
    const DeviceAttempt& a = check.attempts[*check.match];
    f = {true, text::Quote(a.text) + " (" + a.label + ") gives the receipt's hash"};
  } else if (identifiers.empty()) {
    f = {false, "no identifier was tried"};
  } else {
    f = {false, "none of the " + std::to_string(identifiers.size()) +
                    " identifiers tried gives the receipt's hash"};
  }
  return check;
}

}  // namespace detail
}  // namespace Examination
