#pragma once

// The parts of the examination, one for each question, as Examine puts them together.

#include <openssl/pkcs7.h>
#include <openssl/x509.h>

#include <cstdint>
#include <optional>
#include <span>
#include <string>

#include "examination/Examination.h"

namespace Examination {

struct TrustAnchor::Impl {
  Bytes der;  // of `root`
  X509* root = nullptr;
  X509_STORE* store = nullptr;  // holds `root` alone
  bool apple = false;
  std::string commonName;
  ~Impl();
};

namespace detail {

// Apple's root certificate as compiled into the program (the generated AppleRoot.cpp).
std::span<const std::uint8_t> AppleRootDer();

// The attributes of a payload.
Contents ReadContents(std::span<const std::uint8_t> payload);

// The signature facts and the certificates of a read container, which carries `carried`.
// `created` is the receipt's creation date in seconds, when it has one.
void CheckSignature(PKCS7* p7, STACK_OF(X509) * carried, const TrustAnchor& anchor,
                    std::optional<std::int64_t> created, std::int64_t now, Report& report);

// Fills the signature's verdict and summary from its facts.
void Judge(const TrustAnchor& anchor, bool storeKit, Report& report);

DeviceCheck CheckDevice(const Contents& contents, std::span<const DeviceIdentifier> identifiers);

}  // namespace detail
}  // namespace Examination
