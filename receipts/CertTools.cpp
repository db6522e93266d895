#include "receipts/CertTools.h"

#include <openssl/asn1.h>
#include <openssl/objects.h>
#include <openssl/pkcs7.h>

#include <algorithm>
#include <bit>
#include <cstddef>
#include <cstdio>
#include <cstring>
#include <string_view>

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

// What a header gave: the tag, the length of the contents (cut to what remains), the bytes of
// identifier and length, and ASN1_get_object's result.
struct Header {
  int tag = kNoTag;
  std::size_t length = 0;
  std::size_t headerSize = 0;
  int result = kHeaderError;
};

// A part of the payload: where it starts and how many bytes remain. Every read is bounded by
// the cursor it is made on, and every nested object is handed out as a cursor of its own,
// bounded by its parent, so no position ever lies outside the bytes the walk was given.
class Cursor {
 public:
  Cursor(const std::uint8_t* data, std::size_t size) : data_(data), size_(size) {}

  const std::uint8_t* Data() const { return data_; }
  std::size_t Size() const { return size_; }
  bool Empty() const { return size_ == 0; }

  // Reads the header at the front and moves to the object's contents, which stay in this
  // cursor with whatever follows them. A length that runs past the end is cut to it. When no
  // header can be read (nothing left, or a broken identifier or length), the tag is kNoTag, the
  // length 0, and the cursor moves to its end: what remains can't be walked, and skipping it is
  // what lets every loop of the walk end.
  Header ReadHeader(Asn1GetObject read) {
    Header h;
    if (Empty()) return h;
    const std::uint8_t* contents = data_;
    long length = 0;
    int tag = kNoTag;
    int cls = 0;
    h.result = read(&contents, &length, &tag, &cls, static_cast<long>(size_));
    if ((h.result & kHeaderError) != 0 && contents == data_) {
      Take(size_);
      return h;
    }
    h.headerSize = Take(static_cast<std::size_t>(contents - data_)).Size();
    h.tag = tag;
    h.length = length < 0 ? 0 : std::min(static_cast<std::size_t>(length), size_);
    return h;
  }

  // Hands out the first `n` bytes, or all that remain when fewer do, as a cursor of their own,
  // and moves behind them.
  Cursor Take(std::size_t n) {
    n = std::min(n, size_);
    const Cursor front(data_, n);
    data_ += n;
    size_ -= n;
    return front;
  }

  // Reads the object at the front: its header, and its contents as a cursor bounded by it. This
  // cursor moves behind the object.
  Cursor ReadObject(Asn1GetObject read, Header& header) {
    header = ReadHeader(read);
    return Take(header.length);
  }

  void SkipObject(Asn1GetObject read) { Take(ReadHeader(read).length); }

 private:
  const std::uint8_t* data_;
  std::size_t size_;
};

// The text of an attribute's number in its keys: decimal, "-" before a negative number, no
// padding.
String NumberText(std::int64_t number) {
  return toolkit::Str(number, "-#");
}

// A key of an attribute's entries, "attr " or "raw " followed by the number text, formed in
// one piece.
template <std::size_t N>
String EntryKey(const char (&prefix)[N], const String& numberText) {
  constexpr std::size_t kPrefix = N - 1;
  char buffer[kPrefix + 20];  // 20: the longest number text, that of INT64_MIN
  const std::size_t length = std::min(numberText.LenB(), sizeof buffer - kPrefix);
  std::memcpy(buffer, prefix, kPrefix);
  std::memcpy(buffer + kPrefix, numberText.View().data(), length);
  return String(std::string_view(buffer, kPrefix + length));
}

// What the records of one SET leave in its map, gathered by attribute number. A later record of
// a number replaces the entries that it writes and leaves the others as an earlier one left
// them: so for each number only its last raw block counts, and its last decoded value with
// what that record stored beside it under the number's Keys member. Those are kept here as the
// records come, and the map is filled once when the SET ends: it never holds, hashes or
// replaces what a later record would have replaced, and the keys' texts are made once for each
// number.
class SetEntries {
 public:
  // What one record leaves: its raw block, and its decoded value, which is either that block
  // (`decodedIsRaw`) or `decoded`, nil when the record has none.
  void Take(std::int64_t number, Ref<MemoryBlock>&& raw, Variant&& decoded, bool decodedIsRaw) {
    Attribute& a = Find(number);
    a.raw = std::move(raw);
    if (!decodedIsRaw && decoded.IsNull()) return;
    a.hasDecoded = true;
    a.decodedIsRaw = decodedIsRaw;
    a.decoded = std::move(decoded);
    a.rawOfDecoded = decodedIsRaw || KeepsRaw(a.key) ? a.raw : nullptr;
  }

  // Stores the entries of every number taken since the last Fill in `map`, and starts over.
  void Fill(Dictionary& map) {
    std::int64_t count = 0;
    for (const Attribute& a : attributes_) {
      count += 1 + (a.number == 2 ? 1 : 0);
      if (a.hasDecoded) count += a.key != Keys::None ? 2 : 1;
    }
    map.Reserve(count);
    for (Attribute& a : attributes_) {
      Variant raw = a.raw;
      if (a.number == 2) map.Value(static_cast<std::int64_t>(Keys::BundleIDRaw), raw);
      const String numberText = NumberText(a.number);
      if (a.hasDecoded) {
        Variant decoded = a.decodedIsRaw ? Variant(a.rawOfDecoded) : std::move(a.decoded);
        if (a.key != Keys::None)
          map.Value(static_cast<std::int64_t>(a.key),
                    KeepsRaw(a.key) ? Variant(a.rawOfDecoded) : decoded);
        map.Value(EntryKey("attr ", numberText), std::move(decoded));
      }
      map.Value(EntryKey("raw ", numberText), std::move(raw));
    }
    // Starts over at a cost in proportion to this SET: a table that a larger SET before left
    // behind is let go rather than emptied, so that many small SETs behind a large one don't
    // each pay for its size.
    if (slots_.size() > 4 * attributes_.size() + kFirstSlots) {
      slots_.clear();
    } else {
      std::fill(slots_.begin(), slots_.end(), 0);
    }
    attributes_.clear();
  }

 private:
  static constexpr std::size_t kFirstSlots = 32;

  // Opaque and Hash hold the raw block of the record whose decoded value is kept.
  static bool KeepsRaw(Keys key) { return key == Keys::Opaque || key == Keys::Hash; }

  struct Attribute {
    std::int64_t number;
    Keys key;
    Ref<MemoryBlock> raw;           // of the last record
    bool hasDecoded = false;        // some record had a decoded value; the last of them:
    bool decodedIsRaw = false;      // its value is its raw block, rawOfDecoded
    Variant decoded;                // its value, when that isn't its raw block
    Ref<MemoryBlock> rawOfDecoded;  // its raw block, when that is the value or the key keeps it
  };

  // The attribute of `number`, a new one when the number is new. The slots are an open
  // addressed table of indexes + 1 into attributes_ (0 for an empty slot), at most half full.
  Attribute& Find(std::int64_t number) {
    const auto home = [this](std::int64_t n) {
      return static_cast<std::size_t>((static_cast<std::uint64_t>(n) * 0x9E3779B97F4A7C15) >>
                                      shift_);
    };
    if (!slots_.empty()) {
      const std::size_t mask = slots_.size() - 1;
      for (std::size_t i = home(number); slots_[i] != 0; i = (i + 1) & mask) {
        Attribute& a = attributes_[slots_[i] - 1];
        if (a.number == number) return a;
      }
    }
    if (attributes_.empty()) attributes_.reserve(16);  // a receipt has about a dozen numbers
    if ((attributes_.size() + 1) * 2 > slots_.size()) {
      slots_.assign(slots_.empty() ? kFirstSlots : slots_.size() * 2, 0);
      shift_ = 64 - std::countr_zero(slots_.size());
      for (std::size_t index = 0; index < attributes_.size(); ++index)
        Place(home(attributes_[index].number), index);
    }
    attributes_.push_back(
        Attribute{number, keyForAttrType(number), nullptr, false, false, {}, nullptr});
    Place(home(number), attributes_.size() - 1);
    return attributes_.back();
  }

  void Place(std::size_t i, std::size_t index) {
    const std::size_t mask = slots_.size() - 1;
    while (slots_[i] != 0)
      i = (i + 1) & mask;
    slots_[i] = static_cast<std::uint32_t>(index + 1);
  }

  std::vector<Attribute> attributes_;  // in the order of their numbers' first records
  std::vector<std::uint32_t> slots_;
  int shift_ = 64;
};

// `octets` are the contents of the attribute's OCTET STRING; `toRecordEnd` starts at the same
// byte and runs to the end of the record.
void TakeAttribute(SetEntries& entries, std::int64_t number, const Cursor& octets,
                   Cursor toRecordEnd, Asn1GetObject read) {
  auto raw = MemoryBlock::NewCopy(octets.Data(), octets.Size());

  // The bound of the value object is the end of the record, not of the OCTET STRING; the
  // fallback test below catches an object that runs past the OCTET STRING.
  Header h;
  const Cursor value = toRecordEnd.ReadObject(read, h);

  Variant decoded;
  bool decodedIsRaw = false;
  if (h.result != 0 || h.length < 1 || h.headerSize + h.length > octets.Size()) {
    // Constructed (a nested SET), indefinite, empty, broken or overrunning: the bytes as they
    // are. Only the OCTET STRING's own bytes were copied, so this never reads further.
    decodedIsRaw = true;
  } else if (h.tag == kTagInteger || h.tag == kTagNegInteger) {
    if (value.Size() <= 8) {
      decoded = intVal(value.Data(), h.tag, static_cast<std::int64_t>(value.Size()));
    }
  } else if (h.tag == kTagUtf8String || h.tag == kTagIa5String) {
    const auto encoding =
        h.tag == kTagUtf8String ? toolkit::Encodings::UTF8 : toolkit::Encodings::ASCII;
    decoded =
        String(std::string(reinterpret_cast<const char*>(value.Data()), value.Size()), encoding);
  }
  entries.Take(number, std::move(raw), std::move(decoded), decodedIsRaw);
}

// One record: its number, its version, its value, and anything behind them.
void TakeRecord(SetEntries& entries, Cursor fields, Asn1GetObject read) {
  Header h;
  const Cursor numberBytes = fields.ReadObject(read, h);
  const std::int64_t number =
      intVal(numberBytes.Data(), h.tag, static_cast<std::int64_t>(numberBytes.Size()));

  fields.SkipObject(read);  // the attribute's version, not kept

  const Header value = fields.ReadHeader(read);
  const Cursor toRecordEnd = fields;
  const Cursor octets = fields.Take(value.length);
  if (value.tag == kTagOctetString && number != 1 && number != 6) {
    TakeAttribute(entries, number, octets, toRecordEnd, read);
  }

  while (!fields.Empty())  // anything behind the three fields
    fields.SkipObject(read);
}

std::optional<std::vector<Ref<Dictionary>>> Walk(Cursor payload, Asn1GetObject read) {
  std::vector<Ref<Dictionary>> result;
  SetEntries entries;
  while (!payload.Empty()) {
    Header set;
    Cursor records = payload.ReadObject(read, set);
    if (set.tag != kTagSet) return std::nullopt;

    while (!records.Empty()) {
      const Header record = records.ReadHeader(read);
      if (record.tag != kTagSequence) break;
      TakeRecord(entries, records.Take(record.length), read);
    }
    // Only after a non-record left the loop, which stands behind that object's header: its
    // contents are walked as objects.
    while (!records.Empty())
      records.SkipObject(read);

    auto map = Ref<Dictionary>::New();
    entries.Fill(*map);
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
    return Walk(Cursor(data, static_cast<std::size_t>(size)),
                lib.Get<LibCrypto::ASN1_get_object>());
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
