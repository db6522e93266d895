#include "receipts/PayloadWalk.h"

#include <openssl/asn1.h>

#include <algorithm>
#include <bit>
#include <charconv>
#include <cstring>
#include <new>
#include <span>
#include <string_view>
#include <utility>

#include "platform/toolkit/MemoryBlock.h"
#include "receipts/CertTools.h"

namespace CertTools {

using toolkit::Dictionary;
using toolkit::MemoryBlock;
using toolkit::Ref;
using toolkit::String;
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
    if (Empty()) return Header{};
    const std::uint8_t* contents = data_;
    long length = 0;
    int tag = kNoTag;
    int cls = 0;
    const int result = read(&contents, &length, &tag, &cls, static_cast<long>(size_));
    if ((result & kHeaderError) != 0 && contents == data_) {
      Take(size_);
      return Header{kNoTag, 0, 0, result};
    }
    const std::size_t headerSize = Take(static_cast<std::size_t>(contents - data_)).Size();
    return Header{tag, length < 0 ? 0 : std::min(static_cast<std::size_t>(length), size_),
                  headerSize, result};
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

// The two String keys of an attribute, "attr " and "raw " followed by the text of its number:
// decimal, "-" before a negative number, no padding.
class EntryKeys {
 public:
  explicit EntryKeys(std::int64_t number) {
    if (number >= 0 && number < 1000 && std::endian::native == std::endian::little) {
      // A receipt's own numbers: each key lies in one word, made in a register and stored
      // whole. The Variants made of the keys read them at once, in reads that each lie inside
      // that one store; bytes stored one by one would make those reads wait for all of them.
      std::uint64_t digits = 0;
      digits_ = 0;
      auto n = static_cast<std::uint64_t>(number);
      do {
        digits = digits << 8 | ('0' + n % 10);
        n /= 10;
        ++digits_;
      } while (n != 0);
      const std::uint64_t attr = Word("attr ") | digits << 40;
      const std::uint64_t raw = Word("raw ") | digits << 32;
      std::memcpy(attr_, &attr, sizeof attr);
      std::memcpy(raw_, &raw, sizeof raw);
      return;
    }
    std::memcpy(attr_, "attr ", 5);
    std::memcpy(raw_, "raw ", 4);
    const char* const end = std::to_chars(attr_ + 5, attr_ + sizeof attr_, number).ptr;
    digits_ = static_cast<std::size_t>(end - (attr_ + 5));
    std::memcpy(raw_ + 4, attr_ + 5, digits_);
  }

  std::string_view Attr() const { return {attr_, 5 + digits_}; }
  std::string_view Raw() const { return {raw_, 4 + digits_}; }

 private:
  // The bytes of `text`, the first in the lowest byte of the word.
  template <std::size_t N>
  static constexpr std::uint64_t Word(const char (&text)[N]) {
    std::uint64_t word = 0;
    for (std::size_t i = N - 1; i-- > 0;)
      word = word << 8 | static_cast<unsigned char>(text[i]);
    return word;
  }

  char attr_[5 + 20];  // 20: the longest number text, that of INT64_MIN
  char raw_[4 + 20];
  std::size_t digits_;
};

// What a record's value object decodes to. Texts stay where they lie in the payload until
// their SET's map is filled.
struct Decoded {
  enum class Kind : std::uint8_t { None, Raw, Integer, Text };
  Kind kind = Kind::None;
  std::int64_t integer = 0;  // for Integer
  Cursor text{nullptr, 0};   // for Text, with its encoding
  toolkit::TextEncoding encoding = toolkit::Encodings::UTF8;
};

// What the records of one SET leave in its map, gathered by attribute number. A later record of
// a number replaces the entries that it writes and leaves the others as an earlier one left
// them: so for each number only its last raw block counts, and its last decoded value with
// what that record stored beside it under the number's Keys member. Those are kept here as the
// records come, as places in the payload, and the map is filled once when the SET ends: the
// bytes that a later record would have replaced are never copied, and the keys' texts are made
// once for each number.
class SetEntries {
 public:
  SetEntries() {}  // the attributes in place are made as they are added
  SetEntries(const SetEntries&) = delete;
  SetEntries& operator=(const SetEntries&) = delete;

  // What one record leaves: the contents of its OCTET STRING, and what they decode to.
  void Take(std::int64_t number, const Cursor& octets, const Decoded& decoded) {
    Attribute& a = Find(number);
    a.raw = octets;
    if (decoded.kind == Decoded::Kind::None) return;
    a.decoded = decoded;
    a.rawOfDecoded = octets;
  }

  // The entries of every number taken, for its SET's map. The map's blocks are made in one
  // allocation, which goes with the last of them.
  std::vector<Dictionary::Entry> Entries() const {
    using Kind = Decoded::Kind;
    std::size_t count = 0;
    std::size_t blocks = 0;
    std::size_t bytes = 0;
    for (const Attribute& a : Attributes()) {
      count += 1 + (a.number == 2 ? 1 : 0);
      if (a.decoded.kind != Kind::None) count += a.key != Keys::None ? 2 : 1;
      blocks += 1;
      bytes += a.raw.Size();
      if (HasOwnRawOfDecoded(a)) {
        blocks += 1;
        bytes += a.rawOfDecoded.Size();
      }
    }
    std::vector<Dictionary::Entry> entries;
    entries.reserve(count);
    MemoryBlock::Batch batch(blocks, bytes);
    const auto copy = [&batch](const Cursor& b) { return batch.Copy(b.Data(), b.Size()); };

    for (const Attribute& a : Attributes()) {
      const EntryKeys keys(a.number);
      // Where one value stands under two keys, each entry is made from the value's source, not
      // copied from the other entry just made: such a copy would read back bytes still on their
      // way to memory, and wait for them. The block goes into its last entry by a move, since
      // letting go of a reference reads the count that the reference before it has just written.
      Ref<MemoryBlock> raw = copy(a.raw);
      if (a.number == 2) entries.emplace_back(static_cast<std::int64_t>(Keys::BundleIDRaw), raw);
      // The block of the record whose value is kept: the one object that is "raw N" when that
      // record is also the last.
      Ref<MemoryBlock> rawOfDecoded;
      if (NeedsRawOfDecoded(a)) rawOfDecoded = HasOwnRawOfDecoded(a) ? copy(a.rawOfDecoded) : raw;
      entries.emplace_back(Variant::Text(keys.Raw()), std::move(raw));
      if (a.decoded.kind == Kind::None) continue;
      if (a.decoded.kind == Kind::Raw) {
        if (a.key != Keys::None)
          entries.emplace_back(static_cast<std::int64_t>(a.key), rawOfDecoded);
        entries.emplace_back(Variant::Text(keys.Attr()), std::move(rawOfDecoded));
        continue;
      }
      if (KeepsRaw(a.key))
        entries.emplace_back(static_cast<std::int64_t>(a.key), std::move(rawOfDecoded));
      // The decoded value under "attr N", and under the number's member of Keys when it has one.
      const auto add = [&](const auto& value) {
        entries.emplace_back(Variant::Text(keys.Attr()), value);
        if (a.key != Keys::None && !KeepsRaw(a.key))
          entries.emplace_back(static_cast<std::int64_t>(a.key), value);
      };
      if (a.decoded.kind == Kind::Integer) {
        add(a.decoded.integer);
      } else {
        const Cursor& text = a.decoded.text;
        add(Variant::Text(std::string_view(reinterpret_cast<const char*>(text.Data()), text.Size()),
                          a.decoded.encoding));
      }
    }
    return entries;
  }

 private:
  struct Attribute;

  // Opaque and Hash hold the raw block of the record whose decoded value is kept.
  static bool KeepsRaw(Keys key) { return key == Keys::Opaque || key == Keys::Hash; }
  // Whether the block of the record whose decoded value is kept goes into the map: as the
  // decoded value itself, or under Opaque or Hash.
  static bool NeedsRawOfDecoded(const Attribute& a) {
    return a.decoded.kind == Decoded::Kind::Raw ||
           (a.decoded.kind != Decoded::Kind::None && KeepsRaw(a.key));
  }
  // Whether that block is another than "raw N": the record whose value is kept isn't the last.
  static bool HasOwnRawOfDecoded(const Attribute& a) {
    return NeedsRawOfDecoded(a) && a.rawOfDecoded.Data() != a.raw.Data();
  }

  struct Attribute {
    std::int64_t number = 0;
    Keys key = Keys::None;
    Cursor raw{nullptr, 0};           // the OCTET STRING contents of the last record
    Decoded decoded;                  // the last decoded value, None when no record had one
    Cursor rawOfDecoded{nullptr, 0};  // the OCTET STRING contents of the record that gave it
  };

  std::span<const Attribute> Attributes() const { return {items_, count_}; }

  // The attributes of numbers below kDirect, a receipt's own, are found through `direct_`; of
  // the others, up to kScanned are found by a scan, which for a few costs less than a table,
  // and from the next one on through `indexes_`, so that a SET of many numbers is still walked
  // in linear time.
  static constexpr std::int64_t kDirect = 32;
  static constexpr std::size_t kScanned = 16;
  // Attributes held in the SetEntries itself; more move into `spilled_`.
  static constexpr std::size_t kInPlace = 16;

  // The attribute of `number`, a new one when the number is new.
  Attribute& Find(std::int64_t number) {
    if (number >= 0 && number < kDirect) {
      std::uint32_t& slot = direct_[number];
      if (slot == 0) {
        Add(number);
        slot = static_cast<std::uint32_t>(count_);
      }
      return items_[slot - 1];
    }
    // Records of one number tend to come together (a SET of purchase fields would), so the
    // last one found is tried first.
    if (last_ < count_ && items_[last_].number == number) return items_[last_];
    if (!indexed_) {
      for (std::size_t i = 0; i < count_; ++i) {
        if (items_[i].number == number) return items_[last_ = i];
      }
      if (others_ < kScanned) return Add(number);
      indexed_ = true;
      indexes_.Reserve(static_cast<std::int64_t>(kScanned * 2));
      for (std::size_t i = 0; i < count_; ++i) {
        if (items_[i].number < 0 || items_[i].number >= kDirect)
          indexes_.Value(items_[i].number, static_cast<std::int64_t>(i));
      }
    }
    const auto [index, added] = indexes_.FindOrAdd(number, static_cast<std::int64_t>(count_));
    if (added) return Add(number);
    return items_[last_ = static_cast<std::size_t>(index.Int64Value())];
  }

  // A new attribute of `number`, which no attribute has yet.
  Attribute& Add(std::int64_t number) {
    if (count_ < kInPlace) {
      new (&inPlace_[count_])
          Attribute{number, keyForAttrType(number), {nullptr, 0}, {}, {nullptr, 0}};
    } else {
      if (count_ == kInPlace) spilled_.assign(items_, items_ + count_);
      spilled_.push_back(Attribute{number, keyForAttrType(number), {nullptr, 0}, {}, {nullptr, 0}});
      items_ = spilled_.data();
    }
    if (number < 0 || number >= kDirect) ++others_;
    last_ = count_++;
    return items_[last_];
  }

  std::uint32_t direct_[kDirect] = {};  // number -> index in items_ + 1; 0: none yet
  union {
    Attribute inPlace_[kInPlace];  // made one by one as they are added
  };
  std::vector<Attribute> spilled_;  // all of them, once there are more than kInPlace
  Attribute* items_ = inPlace_;     // in the order of their numbers' first records
  std::size_t count_ = 0;           // of attributes in items_
  std::size_t others_ = 0;          // of attributes whose numbers aren't found directly
  bool indexed_ = false;            // whether those numbers have outgrown the scan
  Dictionary indexes_;              // number -> index in items_, once indexed_
  std::size_t last_ = 0;            // the index of the attribute found last by its number
};

// Whether the identifier and length bytes at the front of `octets` show by themselves that the
// object they begin can't be a decoded value: fewer than two bytes, no contents, the indefinite
// form, or contents that run past `octets`. Whatever ASN1_get_object answered for such an object,
// an error or a header, the fallback rule would take the raw block; not asking it spares the
// error that it would leave in OpenSSL's queue, which the raw bytes of a receipt's opaque value
// and hash mostly make. False, leaving the reading to the library, for an identifier of more
// than one byte and whenever the object may fit.
bool OverrunsOrEmpty(const Cursor& octets) {
  if (octets.Size() < 2) return true;
  const std::uint8_t* const bytes = octets.Data();
  if ((bytes[0] & 0x1F) == 0x1F) return false;  // the tag number goes on in further bytes
  const std::size_t room = octets.Size() - 2;   // for the long form's bytes and the contents
  if (bytes[1] < 0x80) return bytes[1] == 0 || bytes[1] > room;
  const std::size_t count = bytes[1] & 0x7F;  // of the long form's length bytes; 0: indefinite
  if (count == 0 || count > room) return true;
  std::size_t length = 0;
  for (std::size_t i = 0; i < count; ++i) {
    if (length > (room >> 8)) return true;  // one more byte makes it larger than room
    length = length << 8 | bytes[2 + i];
  }
  return length == 0 || length > room - count;
}

// `octets` are the contents of the attribute's OCTET STRING; `toRecordEnd` starts at the same
// byte and runs to the end of the record.
void TakeAttribute(SetEntries& entries, std::int64_t number, const Cursor& octets,
                   Cursor toRecordEnd, Asn1GetObject read) {
  // The bound of the value object is the end of the record, not of the OCTET STRING; the
  // fallback test below catches an object that runs past the OCTET STRING. Where the bytes show
  // that by themselves, the header isn't read: it stays "no header", which that test sends to
  // the raw block as well.
  Header h;
  Cursor value(nullptr, 0);
  if (!OverrunsOrEmpty(octets)) value = toRecordEnd.ReadObject(read, h);

  Decoded decoded;
  if (h.result != 0 || h.length < 1 || h.headerSize + h.length > octets.Size()) {
    // Constructed (a nested SET), indefinite, empty, broken or overrunning: the bytes as they
    // are. Only the OCTET STRING's own bytes are copied, so this never reads further.
    decoded.kind = Decoded::Kind::Raw;
  } else if (h.tag == kTagInteger || h.tag == kTagNegInteger) {
    if (value.Size() <= 8) {
      decoded.kind = Decoded::Kind::Integer;
      decoded.integer = intVal(value.Data(), h.tag, static_cast<std::int64_t>(value.Size()));
    }
  } else if (h.tag == kTagUtf8String || h.tag == kTagIa5String) {
    decoded.kind = Decoded::Kind::Text;
    decoded.text = value;
    decoded.encoding =
        h.tag == kTagUtf8String ? toolkit::Encodings::UTF8 : toolkit::Encodings::ASCII;
  }
  entries.Take(number, octets, decoded);
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

}  // namespace

std::optional<std::vector<Ref<Dictionary>>> WalkPayload(const std::uint8_t* data, std::size_t size,
                                                        Asn1GetObject read) {
  std::vector<Ref<Dictionary>> result;
  Cursor payload(data, size);
  while (!payload.Empty()) {
    Header set;
    Cursor records = payload.ReadObject(read, set);
    if (set.tag != kTagSet) return std::nullopt;

    SetEntries entries;
    while (!records.Empty()) {
      const Header record = records.ReadHeader(read);
      if (record.tag != kTagSequence) break;
      TakeRecord(entries, records.Take(record.length), read);
    }
    // Only after a non-record left the loop, which stands behind that object's header: its
    // contents are walked as objects.
    while (!records.Empty())
      records.SkipObject(read);

    auto map = Ref<Dictionary>::New(entries.Entries());
    if (map->Count() > 0) result.push_back(std::move(map));
  }
  return result;
}

}  // namespace CertTools
