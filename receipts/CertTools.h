#pragma once

#include <cstdint>
#include <optional>
#include <vector>

#include "platform/toolkit/Dictionary.h"
#include "platform/toolkit/FolderItem.h"

// Reading App Store receipts: a DER PKCS#7 signed-data file whose content is a SET of
// attribute records SEQUENCE { INTEGER number, INTEGER version, OCTET STRING value }.
//
// A receipt decodes into one Dictionary, the receipt's attributes, with three families of
// keys: a member of Keys (as an Int64) for the well-known attributes, "attr N" for every
// attribute with a decoded value and "raw N" for the raw OCTET STRING contents of every
// attribute taken in. Attributes 1 and 6 are never taken in.

// libcrypto's library context, OSSL_LIB_CTX (receipts/LibCrypto.h brings its header).
struct ossl_lib_ctx_st;

namespace CertTools {

using toolkit::Dictionary;
using toolkit::FolderItem;
using toolkit::Ref;
using toolkit::String;

// The binding of libcrypto (receipts/LibCrypto.h, which brings OpenSSL's headers). The forms
// below without one use LibCrypto::System().
class LibCrypto;

// While it lives, libcrypto works on this thread in a library context of the thread's own, not
// in the process's shared default one. Threads that read receipts side by side then don't take
// turns at the locks of the shared context, where OpenSSL 3 keeps what decoding a certificate
// looks up: two of them read about twice as fast as one, not a fifth faster. Made and destroyed
// on the thread it serves, which must free every libcrypto object it made meanwhile (the
// reader does). Nothing changes where the library can't be opened or has no such contexts.
class ThreadLibraryContext {
 public:
  explicit ThreadLibraryContext(const LibCrypto& lib);
  ThreadLibraryContext();
  // Puts back the context that was the thread's default, and frees the thread's own.
  ~ThreadLibraryContext();
  ThreadLibraryContext(const ThreadLibraryContext&) = delete;
  ThreadLibraryContext& operator=(const ThreadLibraryContext&) = delete;

  // Whether the thread works in a context of its own.
  bool Own() const { return own_ != nullptr; }

 private:
  const LibCrypto* lib_;
  ::ossl_lib_ctx_st* own_ = nullptr;
  ::ossl_lib_ctx_st* previous_ = nullptr;
};

enum class Keys : std::int64_t {
  None = 0,
  BundleID = 1,       // attribute 2, decoded
  BundleIDRaw = 2,    // attribute 2, raw block, whether or not it decodes
  Version = 3,        // attribute 3
  Opaque = 4,         // attribute 4, raw block, only when it decodes
  Hash = 5,           // attribute 5, raw block, only when it decodes
  InAppPurchase = 6,  // attribute 17
  OrigVersion = 7,    // attribute 19
  Expiry = 8,         // attribute 21
  Purchased = 9,      // attribute 18
  Created = 10,       // attribute 12
};

// The member under which attribute `attrType` is also stored; None for all others.
// BundleIDRaw is never an answer: the decoder writes it by itself.
Keys keyForAttrType(std::int64_t attrType);

// The display title of an attribute number; the empty String for a number without one.
String TitleForAttrType(std::int64_t attrType);

// The number in a DER INTEGER's contents of `size` bytes at `data`, as its header reported
// `tag` and `size`: 0 unless the tag is 2 (INTEGER) or 258 (OpenSSL's negative INTEGER) and
// size >= 1; else the first bytes, at most six, as an unsigned big-endian number, negated for
// tag 258. Reads at most min(size, 6) bytes.
std::int64_t intVal(const std::uint8_t* data, std::int64_t tag, std::int64_t size);

// Decodes a payload of `size` bytes at `data`: one Dictionary for each SET that yielded at
// least one entry, in order (possibly none). Nil (nullopt) when the payload is refused: an
// object other than a SET at the top level, or a RuntimeException inside, such as
// FunctionNotFoundException for an unbound ASN1_get_object. Reads no byte outside the
// payload; the result holds copies and never points into it. The caller owns the result.
std::optional<std::vector<Ref<Dictionary>>> parse(const std::uint8_t* data, std::int64_t size);
std::optional<std::vector<Ref<Dictionary>>> parse(const std::uint8_t* data, std::int64_t size,
                                                  const LibCrypto& lib);

// The largest file that is read as a receipt: 64 MiB, hundreds of times the largest receipt the
// store writes. A larger file is no receipt, and nothing of it is read.
inline constexpr std::int64_t kLargestReceipt = std::int64_t{64} << 20;

// The attributes of a receipt file, or nil when the file gives none: nil or missing file, a
// file that can't be opened or is larger than kLargestReceipt, isn't PKCS#7 signed data around
// data, has an empty payload, or a payload of no or of several attribute SETs. Raises
// NilObjectException when the payload is not an attribute set (parse refused it, as it does when
// ASN1_get_object can't be resolved) and FunctionNotFoundException when another library function
// can't be resolved. The stream is closed and the container freed before anything is returned or
// raised; the caller owns the result. Safe to call from several threads at once.
Ref<Dictionary> ReadReceipt(const Ref<FolderItem>& file);
Ref<Dictionary> ReadReceipt(const Ref<FolderItem>& file, const LibCrypto& lib);

}  // namespace CertTools
