#pragma once

// What the maker's OpenSSL code shares: owning pointers, errors, and the parts of a TestPki.

#include <openssl/evp.h>
#include <openssl/x509.h>

#include <memory>
#include <string>

#include "tools/receiptmaker/ReceiptMaker.h"

namespace ReceiptMaker {

template <auto Free>
struct FreeWith {
  template <typename T>
  void operator()(T* object) const {
    Free(object);
  }
};

using CertPtr = std::unique_ptr<X509, FreeWith<X509_free>>;
using KeyPtr = std::unique_ptr<EVP_PKEY, FreeWith<EVP_PKEY_free>>;

// Throws std::runtime_error naming the step and every error OpenSSL queued for it.
[[noreturn]] void ThrowOpenSsl(const std::string& step);

struct TestPki::Parts {
  PkiOptions options;
  // One of the fixed keys, which live as long as the process.
  EVP_PKEY* leafKey = nullptr;
  CertPtr trusted;
  // Null where the issuer has no such certificate (StoreKit has a leaf only).
  CertPtr root;
  CertPtr intermediate;
  CertPtr leaf;
};

}  // namespace ReceiptMaker
