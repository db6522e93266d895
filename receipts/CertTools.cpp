#include "receipts/CertTools.h"

#include <openssl/asn1.h>
#include <openssl/objects.h>
#include <openssl/pkcs7.h>

#include <cstdio>

#include "platform/toolkit/MemoryBlock.h"

namespace CertTools {

using toolkit::MemoryBlock;
using toolkit::Variant;

namespace {

// Tag numbers as ASN1_get_object reports them.
constexpr int kTagInteger = V_ASN1_INTEGER;
constexpr int kTagNegInteger = V_ASN1_NEG_INTEGER;  // 258: OpenSSL's own tag, never on the wire
constexpr int kTagOctetString = V_ASN1_OCTET_STRING;
constexpr int kTagUtf8String = V_ASN1_UTF8STRING;
constexpr int kTagIa5String = V_ASN1_IA5STRING;
constexpr int kTagSequence = V_ASN1_SEQUENCE;
constexpr int kTagSet = V_ASN1_SET;
// Stands for "no header could be read here"; no DER object has it.
constexpr int kNoTag = -1;
// The bit of ASN1_get_object's result that flags an error.
constexpr int kHeaderError = 0x80;

using Asn1GetObject = LibCrypto::ASN1_get_object::Type;

// The reading position of the walk over one payload. Every read is bounded by a limit that
// lies inside the payload, and the position never moves past the limit it was read against.
class Walker {
 public:
  Walker(const std::uint8_t* data, std::int64_t size, Asn1GetObject getObject)
      : p(data), end(data + size), getObject_(getObject) {}

  const std::uint8_t* p;
  const std::uint8_t* const end;
  std::int64_t length = 0;
  int tag = kNoTag;

  // Reads a header at `p` up to `bound`: `p` moves to the contents, `tag` and `length`
  // describe the object. A length that runs past `bound` is cut to it. When no header can
  // be read (at the bound already, or a broken identifier or length), `tag` is kNoTag,
  // `length` 0, and `p` moves to `bound`: what remains up to it can't be walked, and
  // skipping it is what lets every loop of the walk end.
  void ReadHeader(const std::uint8_t* bound) {
    const std::uint8_t* q = p;
    long len = 0;
    int t = kNoTag;
    int cls = 0;
    const int r = bound > p ? getObject_(&q, &len, &t, &cls, bound - p) : kHeaderError;
    if ((r & kHeaderError) != 0 && q == p) {
      tag = kNoTag;
      length = 0;
      p = bound;
      return;
    }
    p = q;
    tag = t;
    length = len < 0 ? 0 : std::min<std::int64_t>(len, bound - p);
  }

  // Steps over the header just read and its contents.
  void SkipContents() { p += length; }

  // Reads the value object inside an OCTET STRING of `size` bytes at `p`, against the end of
  // the record (`recordEnd`), without moving `p`. Returns ASN1_get_object's result; `tag` and
  // `valueLength` are what it reported, `value` where the contents begin.
  int ReadValueHeader(const std::uint8_t* recordEnd, const std::uint8_t*& value, long& valueLength,
                      int& valueTag) const {
    value = p;
    valueLength = 0;
    valueTag = kNoTag;
    int cls = 0;
    if (recordEnd <= p) return kHeaderError;
    return getObject_(&value, &valueLength, &valueTag, &cls, recordEnd - p);
  }

 private:
  Asn1GetObject getObject_;
};

// Number text of an attribute: decimal, "-" before a negative number, no padding.
String NumberText(std::int64_t number) {
  return toolkit::Str(number, "-#");
}

void TakeAttribute(Dictionary& map, std::int64_t number, const Walker& w,
                   const std::uint8_t* recordEnd) {
  const Keys key = keyForAttrType(number);
  const auto raw = Ref<MemoryBlock>::New(w.p, static_cast<std::size_t>(w.length));
  if (number == 2) map.Value(static_cast<std::int64_t>(Keys::BundleIDRaw), raw);

  // The bound of the value object is the end of the record, not of the OCTET STRING; the
  // fallback test below catches an object that runs past the OCTET STRING.
  const std::uint8_t* q = nullptr;
  long qlength = 0;
  int tag = kNoTag;
  const int r = w.ReadValueHeader(recordEnd, q, qlength, tag);

  Variant decoded;
  if (r != 0 || qlength < 1 || w.length < (q - w.p) + qlength) {
    // Constructed (a nested SET), indefinite, empty, broken or overrunning: the bytes as they
    // are. Only the OCTET STRING's own bytes were copied, so this never reads further.
    decoded = raw;
  } else if (tag == kTagInteger || tag == kTagNegInteger) {
    if (qlength <= 8) decoded = intVal(q, tag, qlength);
  } else if (tag == kTagUtf8String || tag == kTagIa5String) {
    const auto encoding =
        tag == kTagUtf8String ? toolkit::Encodings::UTF8 : toolkit::Encodings::ASCII;
    decoded = String(
        std::string(reinterpret_cast<const char*>(q), static_cast<std::size_t>(qlength)), encoding);
  }

  if (!decoded.IsNull()) {
    if (key != Keys::None) {
      const bool keepsRaw = key == Keys::Opaque || key == Keys::Hash;
      map.Value(static_cast<std::int64_t>(key), keepsRaw ? Variant(raw) : decoded);
    }
    map.Value(String("attr ") + NumberText(number), std::move(decoded));
  }
  map.Value(String("raw ") + NumberText(number), raw);
}

std::optional<std::vector<Ref<Dictionary>>> Walk(const std::uint8_t* data, std::int64_t size,
                                                 Asn1GetObject getObject) {
  std::vector<Ref<Dictionary>> result;
  Walker w(data, size, getObject);
  while (w.p < w.end) {
    w.ReadHeader(w.end);
    if (w.tag != kTagSet) return std::nullopt;
    const std::uint8_t* const setEnd = w.p + w.length;
    auto map = Ref<Dictionary>::New();

    while (w.p < setEnd) {
      w.ReadHeader(setEnd);
      if (w.tag != kTagSequence) break;
      const std::uint8_t* const seqEnd = w.p + w.length;

      w.ReadHeader(seqEnd);
      const std::int64_t number = intVal(w.p, w.tag, w.length);
      w.SkipContents();

      w.ReadHeader(seqEnd);  // the attribute's version, not kept
      w.SkipContents();

      w.ReadHeader(seqEnd);
      if (w.tag == kTagOctetString && number != 1 && number != 6) {
        TakeAttribute(*map, number, w, seqEnd);
      }
      w.SkipContents();

      while (w.p < seqEnd) {  // anything behind the three fields
        w.ReadHeader(seqEnd);
        w.SkipContents();
      }
    }
    // Only after a non-record left the loop: its contents are walked as objects.
    while (w.p < setEnd) {
      w.ReadHeader(setEnd);
      w.SkipContents();
    }

    if (map->Count() > 0) result.push_back(map);
  }
  return result;
}

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
  if (tag != kTagInteger && tag != kTagNegInteger) return 0;
  if (size < 1) return 0;
  // Six bytes at most: 48 bits can't overflow, and no sign is taken from the first byte.
  const std::int64_t n = std::min<std::int64_t>(size, 6);
  std::int64_t value = 0;
  for (std::int64_t i = 0; i < n; ++i)
    value = (value << 8) | data[i];
  return tag == kTagNegInteger ? -value : value;
}

std::optional<std::vector<Ref<Dictionary>>> parse(const std::uint8_t* data, std::int64_t size,
                                                  const LibCrypto& lib) {
  try {
    if (size <= 0) return std::vector<Ref<Dictionary>>{};
    return Walk(data, size, lib.Get<LibCrypto::ASN1_get_object>());
  } catch (const toolkit::RuntimeException&) {
    return std::nullopt;
  }
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
