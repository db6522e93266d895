#include <gtest/gtest.h>

#include <cstdint>
#include <string>
#include <string_view>
#include <tuple>

#include "receipts/CertTools.h"
#include "receipts/LibCrypto.h"
#include "tests/receipts/TestSupport.h"

namespace {

using CertTools::Keys;
using ReceiptMaker::Concat;
using receipts_test::Bytes;
using receipts_test::Dump;
using receipts_test::ParseExactly;

Bytes H(std::string_view hex) {
  return ReceiptMaker::FromHex(hex);
}

// identifier + one-byte length + contents; the tables only need short objects.
Bytes T(std::string_view identifierHex, const Bytes& contents) {
  return Concat(H(identifierHex), Bytes{static_cast<std::uint8_t>(contents.size())}, contents);
}

// SEQUENCE { INTEGER number, INTEGER 1, OCTET STRING value, tail }, number below 128.
Bytes Rec(int number, std::string_view valueHex, std::string_view tailHex = "") {
  return T("30", Concat(H("02 01"), Bytes{static_cast<std::uint8_t>(number)}, H("02 01 01"),
                        T("04", H(valueHex)), H(tailHex)));
}

// clang-format off
// Why, the attribute, its OCTET STRING's contents, parse's result, fields behind the OCTET STRING.
const std::tuple<const char*, int, const char*, const char*, const char*> kValueRows[] = {
    {"INTEGER, bytes behind it", 3, "02 01 05 FF", "[{3: 5, attr 3: 5, raw 3: [020105FF]}]", ""},
    {"eight-byte INTEGER decodes from its first six bytes", 3, "02 08 01 02 03 04 05 06 07 08", "[{3: 1108152157446, attr 3: 1108152157446, raw 3: [02080102030405060708]}]", ""},
    {"nine-byte INTEGER decodes to nothing", 3, "02 09 01 02 03 04 05 06 07 08 09", "[{raw 3: [0209010203040506070809]}]", ""},
    {"negative INTEGER (tag number 258)", 21, "1F 82 02 01 05", "[{8: -5, attr 21: -5, raw 21: [1F82020105]}]", ""},
    {"context class [2] reads as INTEGER", 18, "82 01 05", "[{9: 5, attr 18: 5, raw 18: [820105]}]", ""},
    {"UTF8String, bytes behind it", 3, "0C 02 C3 A9 FF", "[{3: u\"\\xC3\\xA9\", attr 3: u\"\\xC3\\xA9\", raw 3: [0C02C3A9FF]}]", ""},
    {"IA5String declares ASCII", 12, "16 03 61 62 63", "[{10: a\"abc\", attr 12: a\"abc\", raw 12: [1603616263]}]", ""},
    {"context class [12] reads as UTF8String", 3, "8C 01 41", "[{3: u\"A\", attr 3: u\"A\", raw 3: [8C0141]}]", ""},
    {"context class [22] reads as IA5String", 3, "96 01 41", "[{3: a\"A\", attr 3: a\"A\", raw 3: [960141]}]", ""},
    {"empty OCTET STRING: the raw block", 3, "", "[{3: [], attr 3: @3, raw 3: @3}]", ""},
    {"empty INTEGER: the raw block", 3, "02 00", "[{3: [0200], attr 3: @3, raw 3: @3}]", ""},
    {"object runs on into the next field", 3, "0C 03 61", "[{3: [0C0361], attr 3: @3, raw 3: @3}]", "04 02 62 63"},
    {"long-form length that fits", 3, "0C 81 01 41", "[{3: u\"A\", attr 3: u\"A\", raw 3: [0C810141]}]", ""},
    {"long-form length with a leading zero byte", 3, "0C 82 00 01 41", "[{3: u\"A\", attr 3: u\"A\", raw 3: [0C82000141]}]", ""},
    {"long-form length beyond the OCTET STRING", 3, "0C 81 02 41", "[{3: [0C810241], attr 3: @3, raw 3: @3}]", "04 01 42"},
    {"long-form length bytes cut short", 3, "0C 82 01", "[{3: [0C8201], attr 3: @3, raw 3: @3}]", "04 01 42"},
    {"long-form length of nine bytes, eight of them zero", 3, "0C 89 00 00 00 00 00 00 00 00 01 41", "[{3: u\"A\", attr 3: u\"A\", raw 3: [0C8900000000000000000141]}]", ""},
    {"long-form length larger than any object", 3, "0C 88 7F FF FF FF FF FF FF FF 41", "[{3: [0C887FFFFFFFFFFFFFFF41], attr 3: @3, raw 3: @3}]", ""},
    {"indefinite length", 3, "2C 80 0C 01 41 00 00", "[{3: [2C800C01410000], attr 3: @3, raw 3: @3}]", ""},
    {"a long identifier's object runs on into the next field", 3, "1F 82 02 02 05", "[{3: [1F82020205], attr 3: @3, raw 3: @3}]", "04 01 06"},
    {"constructed value", 3, "30 03 02 01 05", "[{3: [3003020105], attr 3: @3, raw 3: @3}]", ""},
    {"lone identifier byte", 3, "1F", "[{3: [1F], attr 3: @3, raw 3: @3}]", ""},
    {"BOOLEAN is not decoded", 3, "01 01 FF", "[{raw 3: [0101FF]}]", ""},
    {"in-app purchase: a nested SET stays raw", 17, "31 03 02 01 05", "[{6: [3103020105], attr 17: @6, raw 17: @6}]", ""},
    {"bundle id that decodes", 2, "16 01 41", "[{1: a\"A\", 2: [160141], attr 2: a\"A\", raw 2: @2}]", ""},
    {"bundle id that doesn't decode keeps its raw key", 2, "13 01 41", "[{2: [130141], raw 2: @2}]", ""},
    {"opaque value keeps the raw block under its key", 4, "02 01 07", "[{4: [020107], attr 4: 7, raw 4: @4}]", ""},
    {"opaque value that doesn't decode", 4, "13 01 41", "[{raw 4: [130141]}]", ""},
    {"attribute without a key", 10, "0C 01 41", "[{attr 10: u\"A\", raw 10: [0C0141]}]", ""},
    {"attribute 1 is never taken in", 1, "0C 01 41", "[]", ""},
    {"attribute 6 is never taken in", 6, "0C 01 41", "[]", ""},
};
// clang-format on

TEST(Parse, ValueOfOneAttribute) {
  for (const auto& [why, number, valueHex, expected, tailHex] : kValueRows)
    EXPECT_EQ(Dump(ParseExactly(T("31", Rec(number, valueHex, tailHex)))), expected) << why;
}

const char* const kA = "[{3: u\"A\", attr 3: u\"A\", raw 3: [0C0141]}]";

// A SET of the record that kA shows, followed inside the SET by `hex`.
Bytes AfterA(std::string_view hex) {
  return T("31", Concat(Rec(3, "0C 01 41"), H(hex)));
}

// clang-format off
// Why, the payload, parse's result as Dump writes it.
const std::tuple<const char*, Bytes, const char*> kPayloadRows[] = {
    {"empty payload", H(""), "[]"},
    {"empty SETs", H("31 00 31 00"), "[]"},
    {"two records, one map", T("31", Concat(Rec(3, "0C 01 41"), Rec(19, "0C 01 42"))), "[{3: u\"A\", 7: u\"B\", attr 19: u\"B\", attr 3: u\"A\", raw 19: [0C0142], raw 3: [0C0141]}]"},
    {"two SETs, two maps", Concat(T("31", Rec(3, "0C 01 41")), T("31", Rec(3, "0C 01 42"))), "[{3: u\"A\", attr 3: u\"A\", raw 3: [0C0141]} {3: u\"B\", attr 3: u\"B\", raw 3: [0C0142]}]"},
    {"a SET with no entry makes no map", Concat(T("31", Rec(1, "0C 01 42")), T("31", Rec(3, "0C 01 41"))), kA},
    {"SEQUENCE at the top level", H("30 00"), "nil"},
    {"unreadable header at the top level", H("31"), "nil"},
    {"non-SET behind a good SET drops its map", Concat(T("31", Rec(3, "0C 01 41")), H("30 00")), "nil"},
    {"a non-record ends the records of its SET", AfterA("02 01 00 30 09 02 01 13 02 01 01 04 01 41"), kA},
    {"third field not an OCTET STRING", H("31 0B 30 09 02 01 03 02 01 01 0C 01 41"), "[]"},
    {"only two fields", H("31 08 30 06 02 01 03 04 01 41"), "[]"},
    {"number not an INTEGER counts as 0", H("31 0D 30 0B 0C 01 03 02 01 01 04 03 0C 01 41"), "[{attr 0: u\"A\", raw 0: [0C0141]}]"},
    {"negative number", H("31 0F 30 0D 1F 82 02 01 05 02 01 01 04 03 0C 01 41"), "[{attr -5: u\"A\", raw -5: [0C0141]}]"},
    {"fields behind the third are stepped over", T("31", Rec(3, "0C 01 41", "04 03 0C 01 42")), kA},
    {"a later value replaces an earlier one", T("31", Concat(Rec(2, "0C 01 41"), Rec(2, "0C 01 42"))), "[{1: u\"B\", 2: [0C0142], attr 2: u\"B\", raw 2: @2}]"},
    {"a later raw-only value replaces only the raw entry", T("31", Concat(Rec(3, "0C 01 41"), Rec(3, "13 01 42"))), "[{3: u\"A\", attr 3: u\"A\", raw 3: [130142]}]"},
    {"a later raw-only opaque value leaves the key with the block that decoded", T("31", Concat(Rec(4, "0C 01 41"), Rec(4, "13 01 42"))), "[{4: [0C0141], attr 4: u\"A\", raw 4: [130142]}]"},
    {"a later purchase that doesn't decode leaves the earlier one decoded", T("31", Concat(Rec(17, "31 03 02 01 05"), Rec(3, "0C 01 41"), Rec(17, "02 09 01 02 03 04 05 06 07 08 09"))), "[{3: u\"A\", 6: [3103020105], attr 17: @6, attr 3: u\"A\", raw 17: [0209010203040506070809], raw 3: [0C0141]}]"},
    // Broken headers end the walk, keeping what came before and reading nothing outside.
    {"length beyond the payload", AfterA("30 84 7F FF FF FF"), kA},
    {"high tag number cut short", AfterA("1F 82"), kA},
    {"OCTET STRING header cut short", AfterA("30 07 02 01 03 02 01 01 04"), kA},
};
// clang-format on

TEST(Parse, Payloads) {
  for (const auto& [why, payload, expected] : kPayloadRows)
    EXPECT_EQ(Dump(ParseExactly(payload)), expected) << why;
  EXPECT_EQ(Dump(CertTools::parse(nullptr, 0)), "[]");
  const Bytes a = T("31", Rec(3, "0C 01 41"));
  EXPECT_EQ(Dump(CertTools::parse(a.data(), -1)), "[]");
  const CertTools::LibCrypto missing("/nonexistent/libcrypto.so");
  EXPECT_EQ(Dump(CertTools::parse(a.data(), static_cast<std::int64_t>(a.size()), missing)), "nil");
}

// A SET of `count` numbers, `first` and every `step` on, each given twice: first a text, then,
// in the reverse order, an integer that replaces it. Attribute 2 comes last, after all of them.
// However the numbers are found (small ones directly, others by a scan or through a table) and
// wherever their attributes are kept, every number keeps its second value and only that.
TEST(Parse, ManyNumbersInOneSetKeepEachNumbersLastRecord) {
  // Why, how many numbers besides attribute 2, the first, the step.
  const std::tuple<const char*, int, std::int64_t, std::int64_t> kRows[] = {
      {"one number", 1, 100, 7},
      {"just below the numbers a scan finds", 15, 100, 7},
      {"as many as a scan finds", 16, 100, 7},
      {"one more: the rest are found in a table", 17, 100, 7},
      {"many more: the table grows", 300, 100, 7},
      {"small numbers, more than are held in place", 40, 7, 1},
      {"across the last number found directly", 30, 50, 1},
      {"negative numbers, more than a scan finds", 20, -30, 1},
  };
  for (const auto& [why, count, first, step] : kRows) {
    SCOPED_TRACE(why);
    const auto numberOf = [first = first, step = step](int i) { return first + step * i; };
    // A negative number as the decoder reads one: OpenSSL's tag 258 before its magnitude.
    const auto record = [](std::int64_t number, const Bytes& value) {
      const Bytes numberField =
          number >= 0 ? ReceiptMaker::Integer(number)
                      : ReceiptMaker::Tlv(H("1F 82 02"), Bytes{static_cast<std::uint8_t>(-number)});
      return ReceiptMaker::Sequence(
          Concat(numberField, ReceiptMaker::Integer(1), ReceiptMaker::OctetString(value)));
    };
    Bytes records;
    for (int i = 0; i < count; ++i) {
      records = Concat(records,
                       record(numberOf(i), ReceiptMaker::Utf8Value("first " + std::to_string(i))));
    }
    for (int i = count - 1; i >= 0; --i)
      records = Concat(records, record(numberOf(i), ReceiptMaker::IntValue(i * 3)));
    records = Concat(records, record(2, ReceiptMaker::Utf8Value("com.example.many")));

    const auto maps = ParseExactly(ReceiptMaker::Set(records));
    ASSERT_TRUE(maps.has_value());
    ASSERT_EQ(maps->size(), 1u);
    const toolkit::Dictionary& map = *maps->front();
    // "attr N" and "raw N" for each number, and its key where it has one; attribute 2 adds its
    // two keys to its own two.
    std::int64_t entries = 4;
    for (int i = 0; i < count; ++i) {
      const std::int64_t number = numberOf(i);
      const Keys key = CertTools::keyForAttrType(number);
      entries += 2 + (key != Keys::None ? 1 : 0);
      const std::string text = std::to_string(number);
      ASSERT_EQ(map.Lookup(("attr " + text).c_str(), -1).Int64Value(), i * 3) << number;
      if (key != Keys::None) {
        ASSERT_EQ(map.Lookup(static_cast<std::int64_t>(key), -1).Int64Value(), i * 3) << number;
      }
      const auto raw = map.Lookup(("raw " + text).c_str(), nullptr).As<toolkit::MemoryBlock>();
      ASSERT_TRUE(raw) << number;
      EXPECT_EQ(Bytes(raw->Bytes().begin(), raw->Bytes().end()), ReceiptMaker::IntValue(i * 3))
          << number;
    }
    EXPECT_EQ(map.Count(), entries);
    EXPECT_EQ(map.Value(static_cast<std::int64_t>(Keys::BundleID)).StringValue().Bytes(),
              "com.example.many");
  }
}

// clang-format off
// An attribute number, its key and its title.
const std::tuple<std::int64_t, Keys, const char*> kKeyRows[] = {
    {1, Keys::None, ""},
    {2, Keys::BundleID, "bundle ID"},  // never BundleIDRaw: the decoder writes that itself
    {5, Keys::Hash, "hash (sha1)"},
    {6, Keys::None, ""},
    {10, Keys::None, "age rating"},  // Keys::Created is 10, but attribute 10 has no key
    {21, Keys::Expiry, "expiry"},
    {(std::int64_t{1} << 32) + 2, Keys::None, ""},  // a number cut to 32 bits would read as 2
};
// clang-format on

TEST(AttributeTables, KeyAndTitleOfEachAttribute) {
  for (const auto& [attribute, key, title] : kKeyRows) {
    EXPECT_EQ(CertTools::keyForAttrType(attribute), key) << attribute;
    EXPECT_EQ(CertTools::TitleForAttrType(attribute).Bytes(), title) << attribute;
  }
}

// Why, the whole buffer (exactly sized: no byte behind it is readable), tag, size, value.
const std::tuple<const char*, const char*, std::int64_t, std::int64_t, std::int64_t> kIntRows[] = {
    {"no sign is taken from the high bit", "FF", 2, 1, 255},
    {"big-endian", "01 00", 2, 2, 256},
    {"six set bytes stay positive", "FF FF FF FF FF FF", 2, 6, 0xFFFFFFFFFFFF},
    {"eight bytes: only the first six", "01 02 03 04 05 06 07 08", 2, 8, 0x010203040506},
    {"a size above six reads only six bytes", "01 02 03 04 05 06", 2, 8, 0x010203040506},
    {"tag 258 is OpenSSL's negative INTEGER", "05", 258, 1, -5},
    {"size 0 reads nothing", "", 2, 0, 0},
    {"negative size reads nothing", "", 2, -1, 0},
    {"OCTET STRING is not a number and is not read", "", 4, 1, 0},
    {"tag -1, no header", "", -1, 1, 0},
    {"a tag that is 2 only in its low byte", "05", 0x202, 1, 0},
};

TEST(AttributeTables, IntVal) {
  for (const auto& [why, hex, tag, size, expected] : kIntRows) {
    const auto buffer = receipts_test::ExactCopy(ReceiptMaker::FromHex(hex));
    EXPECT_EQ(CertTools::intVal(buffer.get(), tag, size), expected) << why;
  }
}

}  // namespace
