// The payload's walk: one SET of attribute records, each decoded by what its OCTET STRING holds
// and named by Apple's documentation of receipts and of in-app purchase receipts.

#include <algorithm>
#include <array>
#include <memory>
#include <string>

#include "examination/Der.h"
#include "examination/Internal.h"
#include "examination/Text.h"

namespace Examination {

namespace {

// An attribute as Apple documents it: its names and the kind of value it holds. Raw stands for
// an opaque value that is never decoded.
struct Documented {
  std::int64_t number;
  std::string_view name;
  std::string_view title;
  ValueKind kind;
  bool date;
};

constexpr std::array kReceiptFields = {
    Documented{Numbers::kReceiptType, "receipt_type", "Receipt Type", ValueKind::Utf8String, false},
    Documented{Numbers::kBundleId, "bundle_id", "Bundle Identifier", ValueKind::Utf8String, false},
    Documented{Numbers::kApplicationVersion, "application_version", "App Version",
               ValueKind::Utf8String, false},
    Documented{Numbers::kOpaqueValue, "opaque_value", "Opaque Value", ValueKind::Raw, false},
    Documented{Numbers::kSha1Hash, "sha1_hash", "SHA-1 Hash", ValueKind::Raw, false},
    Documented{Numbers::kCreationDate, "receipt_creation_date", "Receipt Creation Date",
               ValueKind::Ia5String, true},
    Documented{Numbers::kInAppPurchase, "in_app", "In-App Purchase Receipt", ValueKind::Set, false},
    Documented{Numbers::kOriginalApplicationVersion, "original_application_version",
               "Original Application Version", ValueKind::Utf8String, false},
    Documented{Numbers::kExpirationDate, "expiration_date", "Receipt Expiration Date",
               ValueKind::Ia5String, true},
};

constexpr std::array kPurchaseFields = {
    Documented{Numbers::kQuantity, "quantity", "Quantity", ValueKind::Integer, false},
    Documented{Numbers::kProductId, "product_id", "Product Identifier", ValueKind::Utf8String,
               false},
    Documented{Numbers::kTransactionId, "transaction_id", "Transaction Identifier",
               ValueKind::Utf8String, false},
    Documented{Numbers::kPurchaseDate, "purchase_date", "Purchase Date", ValueKind::Ia5String,
               true},
    Documented{Numbers::kOriginalTransactionId, "original_transaction_id",
               "Original Transaction Identifier", ValueKind::Utf8String, false},
    Documented{Numbers::kOriginalPurchaseDate, "original_purchase_date", "Original Purchase Date",
               ValueKind::Ia5String, true},
    Documented{Numbers::kProductType, "product_type", "Product Type", ValueKind::Integer, false},
    Documented{Numbers::kSubscriptionExpirationDate, "expires_date", "Subscription Expiration Date",
               ValueKind::Ia5String, true},
    Documented{Numbers::kWebOrderLineItemId, "web_order_line_item_id", "Web Order Line Item ID",
               ValueKind::Integer, false},
    Documented{Numbers::kCancellationDate, "cancellation_date", "Cancellation Date",
               ValueKind::Ia5String, true},
    Documented{Numbers::kTrialPeriod, "is_trial_period", "Subscription Trial Period",
               ValueKind::Integer, false},
    Documented{Numbers::kIntroductoryOfferPeriod, "is_in_intro_offer_period",
               "Subscription Introductory Price Period", ValueKind::Integer, false},
    Documented{Numbers::kPromotionalOfferId, "promotional_offer_id", "Promotional Offer Identifier",
               ValueKind::Utf8String, false},
};

// The entry of `Table` for a number, found through a slot for each number from the table's
// lowest to its highest (a table lists its numbers in order): the entry's index plus one, or 0.
template <const auto& Table>
const Documented* Lookup(std::int64_t number) {
  static constexpr std::int64_t kLow = Table.front().number;
  static constexpr std::int64_t kHigh = Table.back().number;
  static constexpr auto kSlots = [] {
    std::array<std::uint8_t, kHigh - kLow + 1> slots{};
    for (std::size_t i = 0; i < Table.size(); ++i) {
      if (i > 0 && Table[i].number <= Table[i - 1].number) throw "the table is out of order";
      slots[static_cast<std::size_t>(Table[i].number - kLow)] = static_cast<std::uint8_t>(i + 1);
    }
    return slots;
  }();
  if (number < kLow || number > kHigh) return nullptr;
  const std::uint8_t slot = kSlots[static_cast<std::size_t>(number - kLow)];
  return slot == 0 ? nullptr : &Table[slot - 1];
}

std::string_view KindWords(ValueKind kind) {
  switch (kind) {
    case ValueKind::Integer:
      return "an INTEGER";
    case ValueKind::Utf8String:
      return "a UTF8String";
    case ValueKind::Ia5String:
      return "an IA5String";
    case ValueKind::Set:
      return "a SET";
    case ValueKind::Raw:
      break;
  }
  return "other bytes";
}

std::string Describe(const der::Object& o) {
  if (o.cls == der::kUniversal) {
    switch (o.tag) {
      case der::kInteger:
        return "an INTEGER";
      case der::kOctetString:
        return "an OCTET STRING";
      case der::kSequence:
        return "a SEQUENCE";
      case der::kSet:
        return "a SET";
      case der::kUtf8String:
        return "a UTF8String";
      case der::kIa5String:
        return "an IA5String";
      default:
        return "a universal object of tag " + std::to_string(o.tag);
    }
  }
  static constexpr std::string_view kClasses[] = {"universal", "application", "context-specific",
                                                  "private"};
  return "an " + std::string(kClasses[o.cls]) + " object of tag " + std::to_string(o.tag);
}

// Where a SET lies, for the problems met in it: inside the value of record `record` (attribute
// `number`) of the SET `outer`; the payload's own SET has none. Put into words only when a
// problem is met, so that a walk without problems writes no text.
struct Place {
  const Place* outer;
  std::size_t record;
  std::int64_t number;
};

std::string Prefix(const Place* place) {
  if (place == nullptr) return {};
  return Prefix(place->outer) + "record " + std::to_string(place->record) + " (attribute " +
         std::to_string(place->number) + "), ";
}

// Walks SETs of records into attributes, counting every record against kMaxRecords.
class Walker {
 public:
  explicit Walker(Contents& contents) : contents_(contents) {}

  // The records of a SET's `contents` into `into`. `parent` is the number of the attribute whose
  // value the SET is (-1 at the top), `where` the SET's place.
  void Records(std::span<const std::uint8_t> contents, int nesting, std::int64_t parent,
               std::vector<Attribute>& into, const Place* where) {
    into.reserve(Objects(contents, kMaxRecords - std::min(count_, kMaxRecords) + 1));
    der::Cursor records(contents);
    std::string error;
    for (std::size_t index = 1; !records.Empty(); ++index) {
      if (full_) return;
      if (++count_ > kMaxRecords) {
        full_ = true;
        Problem("more than " + std::to_string(kMaxRecords) + " records: the rest is not read");
        return;
      }
      const auto here = [&] { return Prefix(where) + "record " + std::to_string(index); };
      der::Object record;
      if (!records.Next(record, error)) return Problem(here() + ": " + error);
      if (!record.Is(der::kSequence, true)) {
        Problem(here() + " is " + Describe(record) + ", not a SEQUENCE");
        continue;
      }
      // Made in place, and taken back when the record is no record.
      Attribute& a = into.emplace_back();
      if (UsualRecord(record.contents, a) || Record(record.contents, a, error)) {
        Decode(a, nesting, parent, Place{where, index, a.number});
      } else {
        into.pop_back();
        Problem(here() + ": " + error);
      }
    }
  }

 private:
  void Problem(std::string text) { contents_.problems.push_back(std::move(text)); }

  // How many objects `contents` holds, counted up to `most`.
  static std::size_t Objects(std::span<const std::uint8_t> contents, std::size_t most) {
    der::Cursor c(contents);
    der::Object o;
    std::string error;
    std::size_t n = 0;
    while (n < most && !c.Empty() && c.Next(o, error))
      ++n;
    return n;
  }

  // A record as the store writes them, read straight from its bytes: its number and version
  // INTEGERs with one-byte lengths, then an OCTET STRING whose length takes at most two bytes.
  // It reads what Record reads, as Record reads it; false for any other shape, which Record
  // then reads with its reasons.
  static bool UsualRecord(std::span<const std::uint8_t> f, Attribute& a) {
    const std::size_t n = f.size();
    if (n < 2 || f[0] != 0x02 || f[1] > n - 2 || !der::IntegerValue(f.subspan(2, f[1]), a.number))
      return false;
    std::size_t at = 2 + f[1];
    if (n - at < 2 || f[at] != 0x02 || f[at + 1] > n - at - 2 ||
        !der::IntegerValue(f.subspan(at + 2, f[at + 1]), a.version))
      return false;
    at += 2 + f[at + 1];
    if (n - at < 2 || f[at] != 0x04) return false;
    std::size_t length = f[at + 1];
    std::size_t header = 2;
    if (length >= 0x80) {
      header += length - 0x80;
      if (length == 0x80 || length > 0x82 || n - at < header) return false;
      length = length == 0x81 ? f[at + 2] : std::size_t{f[at + 2]} << 8 | f[at + 3];
    }
    if (length > n - at - header) return false;
    a.raw = f.subspan(at + header, length);
    return true;
  }

  // The three fields of a record; behind them may stand more, which are not read.
  static bool Record(std::span<const std::uint8_t> fields, Attribute& a, std::string& error) {
    der::Cursor c(fields);
    der::Object number, version, value;
    if (!c.Next(number, error)) return error = "no number: " + error, false;
    if (!number.Is(der::kInteger, false) || !der::IntegerValue(number.contents, a.number))
      return error = "its number is " + Describe(number) + ", not an INTEGER of 1 to 8 bytes",
             false;
    if (!c.Next(version, error)) return error = "no version: " + error, false;
    if (!version.Is(der::kInteger, false) || !der::IntegerValue(version.contents, a.version))
      return error = "its version is " + Describe(version) + ", not an INTEGER of 1 to 8 bytes",
             false;
    if (!c.Next(value, error)) return error = "no value: " + error, false;
    if (!value.Is(der::kOctetString, false))
      return error = "its value is " + Describe(value) + ", not an OCTET STRING", false;
    a.raw = value.contents;
    return true;
  }

  // The value of a record by the object its OCTET STRING holds, and its names. `here` is the
  // record's place, the place of a SET that its value holds.
  void Decode(Attribute& a, int nesting, std::int64_t parent, const Place& here) {
    const Documented* doc = parent == -1                        ? Lookup<kReceiptFields>(a.number)
                            : parent == Numbers::kInAppPurchase ? Lookup<kPurchaseFields>(a.number)
                                                                : nullptr;
    if (doc != nullptr) {
      a.name = doc->name;
      a.title = doc->title;
      if (doc->kind == ValueKind::Raw) return;  // opaque: whatever the bytes look like
    }

    // An undocumented attribute is decoded only when its bytes are one object of a known kind;
    // what else it holds is Apple's own business, not a problem.
    der::Cursor c(a.raw);
    der::Object o;
    std::string error;
    const bool one = !c.Empty() && c.Next(o, error);
    if (doc == nullptr && (!one || !c.Empty())) return;
    if (one) {
      if (o.Is(der::kInteger, false) && der::IntegerValue(o.contents, a.integer)) {
        a.kind = ValueKind::Integer;
      } else if (o.Is(der::kUtf8String, false) || o.Is(der::kIa5String, false)) {
        a.kind = o.tag == der::kUtf8String ? ValueKind::Utf8String : ValueKind::Ia5String;
        a.text = {reinterpret_cast<const char*>(o.contents.data()), o.contents.size()};
        a.textIsUtf8 = text::IsUtf8(a.text);
      } else if (o.Is(der::kSet, true)) {
        if (nesting < kMaxNesting) {
          a.kind = ValueKind::Set;
          Records(o.contents, nesting + 1, a.number, a.fields, &here);
        } else {
          Note(a, "a SET nested more than " + std::to_string(kMaxNesting) + " deep: kept as bytes");
        }
      }
      if (!c.Empty())
        Note(a, std::to_string(c.Remaining()) + " bytes behind the value are not read");
    } else if (!c.Empty()) {
      Note(a, "the value is no DER object: " + error);
    }

    if (doc != nullptr && a.kind != doc->kind &&
        !(doc->date && (a.kind == ValueKind::Utf8String || a.kind == ValueKind::Ia5String)))
      Note(a, "Apple documents " + std::string(doc->name) + " as " +
                  std::string(KindWords(doc->kind)) + "; this one is " +
                  std::string(KindWords(a.kind)));
    if (doc != nullptr && doc->date &&
        (a.kind == ValueKind::Utf8String || a.kind == ValueKind::Ia5String))
      a.date = text::ParseDate(a.text);
  }

  static void Note(Attribute& a, const std::string& text) {
    a.problem += a.problem.empty() ? text : "; " + text;
  }

  Contents& contents_;
  std::size_t count_ = 0;
  bool full_ = false;
};

template <class T>
const Attribute* First(const std::vector<Attribute>& list, T number) {
  const auto it = std::find_if(list.begin(), list.end(),
                               [number](const Attribute& a) { return a.number == number; });
  return it == list.end() ? nullptr : &*it;
}

}  // namespace

const Attribute* Attribute::Field(std::int64_t fieldNumber) const {
  return First(fields, fieldNumber);
}

const Attribute* Contents::Find(std::int64_t number) const {
  return First(attributes, number);
}

namespace detail {

Contents ReadContents(std::span<const std::uint8_t> bytes) {
  Contents contents;
  contents.payload = std::make_shared<const Bytes>(bytes.begin(), bytes.end());
  const std::span<const std::uint8_t> payload(*contents.payload);
  Walker walker(contents);
  der::Cursor top(payload);
  der::Object set;
  std::string error;
  if (payload.empty()) {
    contents.problems.push_back("the payload is empty");
  } else if (!top.Next(set, error)) {
    contents.problems.push_back("the payload is no DER object: " + error);
  } else if (!set.Is(der::kSet, true)) {
    contents.problems.push_back("the payload is " + Describe(set) +
                                ", not a SET of attribute records");
  } else {
    walker.Records(set.contents, 0, -1, contents.attributes, nullptr);
    if (!top.Empty())
      contents.problems.push_back(std::to_string(top.Remaining()) +
                                  " bytes follow the SET of attribute records");
  }

  for (std::size_t i = 0; i < contents.attributes.size(); ++i)
    if (contents.attributes[i].number == Numbers::kInAppPurchase) contents.purchases.push_back(i);

  Fact& f = contents.readable;
  f.holds = contents.problems.empty();
  if (f.holds) {
    f.reason = "one SET of " + std::to_string(contents.attributes.size()) + " attribute records, " +
               std::to_string(contents.purchases.size()) + " of them in-app purchases";
  } else {
    f.reason = contents.problems.front();
    if (contents.problems.size() > 1)
      f.reason += " (and " + std::to_string(contents.problems.size() - 1) + " more problems)";
  }
  return contents;
}

}  // namespace detail
}  // namespace Examination
