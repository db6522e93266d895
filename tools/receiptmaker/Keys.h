#pragma once

// The fixed private keys of the test certificates, as PEM text (PKCS#8).

#include <cstddef>

namespace ReceiptMaker::keys {

// Which certificate a key belongs to; the StoreKit certificate shares the signer's key and the
// impostor root the other root's.
enum KeyRole : size_t { kRootKey, kIntermediateKey, kLeafKey, kOtherRootKey, kKeyRoles };

extern const char* const kRsa2048[kKeyRoles];
extern const char* const kEcP256[kKeyRoles];

}  // namespace ReceiptMaker::keys
