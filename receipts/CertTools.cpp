// The public functions of CertTools: the attribute tables, intVal, and the two readers. The
// walk that parse runs is in PayloadWalk.cpp.

#include "receipts/CertTools.h"

#include <openssl/asn1.h>
#include <openssl/objects.h>
#include <openssl/pkcs7.h>

#include <algorithm>
#include <cstddef>
#include <cstdio>

#include "receipts/LibCrypto.h"
#include "receipts/PayloadWalk.h"

namespace CertTools {

namespace {

// Closes the stream when the reader is done with it, whichever way it leaves.
struct StreamCloser {
  Ref<toolkit::BinaryStream>& stream;
  ~StreamCloser() {
    if (stream) stream->Close();
    stream = nullptr;
  }
};

}  // namespace

Keys keyForAttrType(std::int64_t attrType) {
  switch (attrType) {
    case 2:
      return Keys::BundleID;
    case 3:
      return Keys::Version;
    case 4:
      return Keys::Opaque;
    case 5:
      return Keys::Hash;
    case 12:
      return Keys::Created;
    case 17:
      return Keys::InAppPurchase;
    case 18:
      return Keys::Purchased;
    case 19:
      return Keys::OrigVersion;
    case 21:
      return Keys::Expiry;
    default:
      return Keys::None;
  }
}

String TitleForAttrType(std::int64_t attrType) {
  switch (attrType) {
    case 0:
      return "environment";
    case 2:
      return "bundle ID";
    case 3:
      return "version";
    case 4:
      return "opaque (salt)";
    case 5:
      return "hash (sha1)";
    case 10:
      return "age rating";
    case 12:
      return "created";
    case 17:
      return "in-app purchase";
    case 18:
      return "purchased";
    case 19:
      return "orig version";
    case 21:
      return "expiry";
    default:
      return "";
  }
}

std::int64_t intVal(const std::uint8_t* data, std::int64_t tag, std::int64_t size) {
  if (tag != V_ASN1_INTEGER && tag != V_ASN1_NEG_INTEGER) return 0;
  if (size < 1) return 0;
  // Six bytes at most: 48 bits can't overflow, and no sign is taken from the first byte.
  const std::int64_t n = std::min<std::int64_t>(size, 6);
  std::int64_t value = 0;
  for (std::int64_t i = 0; i < n; ++i)
    value = (value << 8) | data[i];
  return tag == V_ASN1_NEG_INTEGER ? -value : value;
}

std::optional<std::vector<Ref<Dictionary>>> parse(const std::uint8_t* data, std::int64_t size,
                                                  const LibCrypto& lib) {
  try {
    if (size <= 0) return std::vector<Ref<Dictionary>>{};
    return WalkPayload(data, static_cast<std::size_t>(size), lib.Get<LibCrypto::ASN1_get_object>());
  } catch (const toolkit::RuntimeException&) {
    return std::nullopt;
  }
}

std::optional<std::vector<Ref<Dictionary>>> parse(const std::uint8_t* data, std::int64_t size) {
  return parse(data, size, LibCrypto::System());
}

ThreadLibraryContext::ThreadLibraryContext() : ThreadLibraryContext(LibCrypto::System()) {}

ThreadLibraryContext::ThreadLibraryContext(const LibCrypto& lib) : lib_(&lib) {
  try {
    auto* make = lib.GetIfExported<LibCrypto::OSSL_LIB_CTX_new>();
    auto* free = lib.GetIfExported<LibCrypto::OSSL_LIB_CTX_free>();
    auto* setDefault = lib.GetIfExported<LibCrypto::OSSL_LIB_CTX_set0_default>();
    if (make == nullptr || free == nullptr || setDefault == nullptr) return;
    own_ = make();
    if (own_ == nullptr) return;
    previous_ = setDefault(own_);
    if (previous_ == nullptr) {  // the thread's default could not be set
      free(own_);
      own_ = nullptr;
    }
  } catch (const toolkit::FunctionNotFoundException&) {
    // No library: the reader says so when it is asked to read.
  }
}

ThreadLibraryContext::~ThreadLibraryContext() {
  if (own_ == nullptr) return;
  lib_->Get<LibCrypto::OSSL_LIB_CTX_set0_default>()(previous_);
  lib_->Get<LibCrypto::OSSL_LIB_CTX_free>()(own_);
}

Ref<Dictionary> ReadReceipt(const Ref<FolderItem>& file) {
  return ReadReceipt(file, LibCrypto::System());
}

Ref<Dictionary> ReadReceipt(const Ref<FolderItem>& file, const LibCrypto& lib) {
  if (!file || !file->Exists()) return nullptr;
  std::optional<std::vector<Ref<Dictionary>>> maps = std::vector<Ref<Dictionary>>{};

  // OpenSSL 3 loads its error strings and digests by itself; where it still exports the old
  // names they are called, as older releases needed.
  if (auto* f = lib.GetIfExported<LibCrypto::ERR_load_PKCS7_strings>()) f();
  if (auto* f = lib.GetIfExported<LibCrypto::ERR_load_X509_strings>()) f();
  if (auto* f = lib.GetIfExported<LibCrypto::OpenSSL_add_all_digests>()) f();

  // The reader's own functions are resolved before the file or the container is opened: one
  // that is missing then raises with nothing to release, and no container is made that no one
  // could free. ASN1_get_object is parse's to resolve: without it parse refuses the payload.
  auto* d2i = lib.Get<LibCrypto::d2i_PKCS7_fp>();
  auto* pkcs7Free = lib.Get<LibCrypto::PKCS7_free>();
  auto* obj2nid = lib.Get<LibCrypto::OBJ_obj2nid>();
  auto* stringData = lib.Get<LibCrypto::ASN1_STRING_get0_data>();
  auto* stringLength = lib.Get<LibCrypto::ASN1_STRING_length>();

  Ref<toolkit::BinaryStream> stream;
  try {
    stream = toolkit::BinaryStream::Open(file, false);
  } catch (const toolkit::RuntimeException&) {
    return nullptr;
  }
  if (!stream) return nullptr;

  PKCS7* outer = nullptr;
  {
    StreamCloser closer{stream};
    // The size that the opening found: a file too large to be a receipt is not read at all.
    if (stream->Length() > kLargestReceipt) return nullptr;
    auto* fp =
        reinterpret_cast<std::FILE*>(stream->Handle(toolkit::BinaryStream::HandleTypeFilePointer));
    if (fp == nullptr) return nullptr;
    outer = d2i(fp, nullptr);
  }  // the stream is closed before the result is looked at
  if (outer == nullptr) return nullptr;

  // Frees the container whichever way this function leaves.
  struct ContainerFreer {
    PKCS7* p7;
    LibCrypto::PKCS7_free::Type free;
    ~ContainerFreer() { free(p7); }
  } freer{outer, pkcs7Free};

  if (obj2nid(outer->type) == NID_pkcs7_signed && outer->d.sign != nullptr) {
    PKCS7* inner = outer->d.sign->contents;
    if (inner != nullptr && obj2nid(inner->type) == NID_pkcs7_data) {
      // A detached signature has a data object with no OCTET STRING: an empty payload.
      const ASN1_OCTET_STRING* payload = inner->d.data;
      const unsigned char* bytes = nullptr;
      int length = 0;
      if (payload != nullptr) {
        bytes = stringData(payload);
        length = stringLength(payload);
      }
      maps = parse(bytes, static_cast<std::int64_t>(length), lib);
    }
  }
  // `freer` releases the container when this scope ends; the maps hold copies.

  if (!maps) throw toolkit::NilObjectException("the receipt's payload is not an attribute set");
  if (maps->size() == 1) return maps->front();
  return nullptr;
}

}  // namespace CertTools
