// Bytes as a receipt file, examined against the receipt maker's test root at a fixed time:
// the report's JSON always parses, examining the same bytes twice gives the same JSON, and the
// signature facts agree with libcrypto's own PKCS7_verify, asked independently.

#include <openssl/err.h>
#include <openssl/pkcs7.h>
#include <openssl/x509.h>

#include <cstdint>
#include <memory>
#include <nlohmann/json.hpp>

#include "examination/Examination.h"
#include "examination/Json.h"
#include "fuzz/Invariants.h"
#include "tools/receiptmaker/ReceiptMaker.h"

namespace {

using namespace Examination;

struct Setting {
  ReceiptMaker::Bytes root = ReceiptMaker::TestPki().TrustedRoot();
  Options options{.identifiers = {*ParseIdentifier("f8:ff:c2:1e:91:82").identifier},
                  .anchor = TrustAnchor::FromDer(root),
                  .now = 1780272000};  // 2026-06-01T00:00:00Z
  X509_STORE* store = X509_STORE_new();

  Setting() {
    const unsigned char* p = root.data();
    X509* x = d2i_X509(nullptr, &p, static_cast<long>(root.size()));
    X509_STORE_add_cert(store, x);
    X509_free(x);
    X509_VERIFY_PARAM_set_flags(X509_STORE_get0_param(store), X509_V_FLAG_NO_CHECK_TIME);
  }
  ~Setting() { X509_STORE_free(store); }
};

// libcrypto's verdict on the bytes: the signature over the content alone (no store), or with
// the chain to the root as well.
bool Verifies(const std::uint8_t* data, std::size_t size, X509_STORE* store) {
  const unsigned char* p = data;
  const std::unique_ptr<PKCS7, decltype(&PKCS7_free)> p7(
      d2i_PKCS7(nullptr, &p, static_cast<long>(size)), PKCS7_free);
  const bool ok = p7 && PKCS7_type_is_signed(p7.get()) &&
                  PKCS7_verify(p7.get(), nullptr, store, nullptr, nullptr,
                               store == nullptr ? PKCS7_NOVERIFY : 0) == 1;
  ERR_clear_error();
  return ok;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  static const Setting setting;
  const std::span<const std::uint8_t> bytes(data, size);
  const Report report = Examine(bytes, setting.options);
  const std::string json = ToJson(report);
  if (!nlohmann::json::accept(json)) fuzzcheck::Fail("the JSON does not parse", "");
  if (ToJson(Examine(bytes, setting.options)) != json)
    fuzzcheck::Fail("two examinations of the same bytes differ", "");

  const Signature& s = report.signature;
  const bool content = Verifies(data, size, nullptr);
  if (s.content.holds && !content)
    fuzzcheck::Fail("the signature holds, but not for libcrypto", s.content.reason);
  if (report.container.holds && content && !s.content.holds)
    fuzzcheck::Fail("libcrypto verifies a signature said not to hold", s.content.reason);
  if (s.chain.holds && s.content.holds && !Verifies(data, size, setting.store))
    fuzzcheck::Fail("the chain reaches the root, but not for libcrypto", s.chain.reason);
  if (s.verdict == Verdict::Genuine && !(s.content.holds && s.chain.holds))
    fuzzcheck::Fail("genuine without a signature and a chain that hold", s.summary);
  return 0;
}
