#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <string>
#include <string_view>

#include "receipts/CertTools.h"
#include "tests/receipts/TestSupport.h"

namespace {

using receipts_test::Bytes;
using receipts_test::Dump;
using receipts_test::ParseExactly;

Bytes H(std::string_view hex) {
  return ReceiptMaker::FromHex(hex);
}

// identifier + one-byte length + contents; the tables only need short objects.
Bytes T(std::string_view identifierHex, const Bytes& contents) {
  EXPECT_LT(contents.size(), 128u);
  return ReceiptMaker::Concat(H(identifierHex), Bytes{static_cast<std::uint8_t>(contents.size())},
                              contents);
}

// SEQUENCE { INTEGER number, INTEGER 1, OCTET STRING value, tail }, number below 128.
Bytes Rec(int number, std::string_view valueHex, std::string_view tailHex = "") {
  return T("30", ReceiptMaker::Concat(H("02 01"), Bytes{static_cast<std::uint8_t>(number)},
                                      H("02 01 01"), T("04", H(valueHex)), H(tailHex)));
}

struct ValueRow {
  const char* reason;
  int number;
  const char* valueHex;  // the record's OCTET STRING contents
  const char* expected;
  const char* tailHex = "";  // fields behind the OCTET STRING
};

const ValueRow kValueRows[] = {
    {"INTEGER, bytes behind it in the OCTET STRING", 3, "02 01 05 FF FF",
     "[{3: 5, attr 3: 5, raw 3: [020105FFFF]}]"},
    {"two-byte INTEGER", 3, "02 02 01 00", "[{3: 256, attr 3: 256, raw 3: [02020100]}]"},
    {"leading zero byte", 3, "02 02 00 80", "[{3: 128, attr 3: 128, raw 3: [02020080]}]"},
    {"no sign from the high bit", 3, "02 01 FF", "[{3: 255, attr 3: 255, raw 3: [0201FF]}]"},
    {"eight-byte INTEGER keeps six bytes", 19, "02 08 01 02 03 04 05 06 07 08",
     "[{7: 1108152157446, attr 19: 1108152157446, raw 19: [02080102030405060708]}]"},
    {"nine-byte INTEGER decodes to nothing", 3, "02 09 01 02 03 04 05 06 07 08 09",
     "[{raw 3: [0209010203040506070809]}]"},
    {"negative INTEGER (tag number 258)", 21, "1F 82 02 01 05",
     "[{8: -5, attr 21: -5, raw 21: [1F82020105]}]"},
    {"context class [2] reads as INTEGER", 18, "82 01 05",
     "[{9: 5, attr 18: 5, raw 18: [820105]}]"},
    {"UTF8String", 3, "0C 02 C3 A9",
     "[{3: u\"\\xC3\\xA9\", attr 3: u\"\\xC3\\xA9\", raw 3: [0C02C3A9]}]"},
    {"IA5String declares ASCII", 12, "16 03 61 62 63",
     "[{10: a\"abc\", attr 12: a\"abc\", raw 12: [1603616263]}]"},
    {"context class [12] reads as UTF8String", 3, "8C 01 41",
     "[{3: u\"A\", attr 3: u\"A\", raw 3: [8C0141]}]"},
    {"context class [22] reads as IA5String", 3, "96 01 41",
     "[{3: a\"A\", attr 3: a\"A\", raw 3: [960141]}]"},
    {"string with bytes behind it", 3, "0C 02 61 62 FF",
     "[{3: u\"ab\", attr 3: u\"ab\", raw 3: [0C026162FF]}]"},
    {"empty OCTET STRING: the raw block", 3, "", "[{3: [], attr 3: @3, raw 3: @3}]"},
    {"empty string: the raw block", 3, "0C 00", "[{3: [0C00], attr 3: @3, raw 3: @3}]"},
    {"empty INTEGER: the raw block", 3, "02 00", "[{3: [0200], attr 3: @3, raw 3: @3}]"},
    {"NULL has no contents: the raw block", 3, "05 00", "[{3: [0500], attr 3: @3, raw 3: @3}]"},
    {"object longer than the OCTET STRING", 3, "0C 05 61 62",
     "[{3: [0C056162], attr 3: @3, raw 3: @3}]"},
    {"object runs past the OCTET STRING into the next field", 3, "0C 03 61",
     "[{3: [0C0361], attr 3: @3, raw 3: @3}]", "04 02 62 63"},
    {"constructed value", 3, "30 03 02 01 05", "[{3: [3003020105], attr 3: @3, raw 3: @3}]"},
    {"indefinite length", 3, "30 80 00 00", "[{3: [30800000], attr 3: @3, raw 3: @3}]"},
    {"declared length beyond the record", 3, "02 84 7F FF FF FF",
     "[{3: [02847FFFFFFF], attr 3: @3, raw 3: @3}]"},
    {"lone identifier byte", 3, "1F", "[{3: [1F], attr 3: @3, raw 3: @3}]"},
    {"BOOLEAN is not decoded", 3, "01 01 FF", "[{raw 3: [0101FF]}]"},
    {"in-app purchase: a nested SET stays raw", 17, "31 03 02 01 05",
     "[{6: [3103020105], attr 17: @6, raw 17: @6}]"},
    {"bundle id that decodes", 2, "16 01 41",
     "[{1: a\"A\", 2: [160141], attr 2: a\"A\", raw 2: @2}]"},
    {"bundle id that doesn't decode keeps its raw key", 2, "13 01 41",
     "[{2: [130141], raw 2: @2}]"},
    {"opaque value keeps the raw block under its key", 4, "02 01 07",
     "[{4: [020107], attr 4: 7, raw 4: @4}]"},
    {"hash likewise", 5, "0C 01 41", "[{5: [0C0141], attr 5: u\"A\", raw 5: @5}]"},
    {"opaque value that doesn't decode", 4, "13 01 41", "[{raw 4: [130141]}]"},
    {"attribute without a key", 10, "0C 01 41", "[{attr 10: u\"A\", raw 10: [0C0141]}]"},
    {"attribute 0 has no key", 0, "0C 01 41", "[{attr 0: u\"A\", raw 0: [0C0141]}]"},
    {"attribute 1 is never taken in", 1, "0C 01 41", "[]"},
    {"attribute 6 is never taken in", 6, "0C 01 41", "[]"},
};

TEST(Parse, ValueOfOneAttribute) {
  for (const ValueRow& row : kValueRows) {
    SCOPED_TRACE(row.reason);
    EXPECT_EQ(Dump(ParseExactly(T("31", Rec(row.number, row.valueHex, row.tailHex)))),
              row.expected);
  }
}

struct PayloadRow {
  const char* reason;
  Bytes payload;
  const char* expected;
};

const char* const kRecordA = "[{3: u\"A\", attr 3: u\"A\", raw 3: [0C0141]}]";

// A SET of the record that kRecordA shows, followed inside the SET by `hex`.
Bytes AfterRecordA(std::string_view hex) {
  return T("31", ReceiptMaker::Concat(Rec(3, "0C 01 41"), H(hex)));
}

const PayloadRow kPayloadRows[] = {
    {"bundle id record", H("31 11 30 0F 02 01 02 02 01 01 04 07 0C 05 61 2E 62 2E 63"),
     "[{1: u\"a.b.c\", 2: [0C05612E622E63], attr 2: u\"a.b.c\", raw 2: @2}]"},
    {"empty payload", H(""), "[]"},
    {"empty SET", H("31 00"), "[]"},
    {"empty SETs", H("31 00 31 00"), "[]"},
    {"two records, one map", T("31", ReceiptMaker::Concat(Rec(3, "0C 01 41"), Rec(19, "0C 01 42"))),
     "[{3: u\"A\", 7: u\"B\", attr 19: u\"B\", attr 3: u\"A\", raw 19: [0C0142], raw 3: "
     "[0C0141]}]"},
    {"two SETs, two maps",
     ReceiptMaker::Concat(T("31", Rec(3, "0C 01 41")), T("31", Rec(3, "0C 01 42"))),
     "[{3: u\"A\", attr 3: u\"A\", raw 3: [0C0141]} {3: u\"B\", attr 3: u\"B\", raw 3: [0C0142]}]"},
    {"a SET with no entry makes no map",
     ReceiptMaker::Concat(T("31", Rec(1, "0C 01 42")), T("31", Rec(3, "0C 01 41"))), kRecordA},
    {"SEQUENCE at the top level", H("30 00"), "nil"},
    {"OCTET STRING at the top level", H("04 00"), "nil"},
    {"unreadable header at the top level", H("31"), "nil"},
    {"non-SET behind a good SET drops its map",
     ReceiptMaker::Concat(T("31", Rec(3, "0C 01 41")), H("30 00")), "nil"},
    {"INTEGER behind a good SET", ReceiptMaker::Concat(T("31", Rec(3, "0C 01 41")), H("02 01 01")),
     "nil"},
    {"a non-record ends the records of its SET",
     AfterRecordA("02 01 00 30 09 02 01 13 02 01 01 04 01 41"), kRecordA},
    {"a non-record first: nothing",
     T("31", ReceiptMaker::Concat(H("02 01 00"), Rec(3, "0C 01 41"))), "[]"},
    {"third field not an OCTET STRING", H("31 0B 30 09 02 01 03 02 01 01 0C 01 41"), "[]"},
    {"only two fields", H("31 08 30 06 02 01 03 04 01 41"), "[]"},
    {"number not an INTEGER counts as 0", H("31 0D 30 0B 0C 01 03 02 01 01 04 03 0C 01 41"),
     "[{attr 0: u\"A\", raw 0: [0C0141]}]"},
    {"number with the high bit set is positive", H("31 0D 30 0B 02 01 FB 02 01 01 04 03 0C 01 41"),
     "[{attr 251: u\"A\", raw 251: [0C0141]}]"},
    {"two-byte number", H("31 0E 30 0C 02 02 01 00 02 01 01 04 03 0C 01 41"),
     "[{attr 256: u\"A\", raw 256: [0C0141]}]"},
    {"negative number", H("31 0F 30 0D 1F 82 02 01 05 02 01 01 04 03 0C 01 41"),
     "[{attr -5: u\"A\", raw -5: [0C0141]}]"},
    {"fields behind the third are stepped over", T("31", Rec(3, "0C 01 41", "04 03 0C 01 42")),
     kRecordA},
    {"a later value replaces an earlier one",
     T("31", ReceiptMaker::Concat(Rec(2, "0C 01 41"), Rec(2, "0C 01 42"))),
     "[{1: u\"B\", 2: [0C0142], attr 2: u\"B\", raw 2: @2}]"},
    {"a later raw-only value replaces only the raw entry",
     T("31", ReceiptMaker::Concat(Rec(3, "0C 01 41"), Rec(3, "13 01 42"))),
     "[{3: u\"A\", attr 3: u\"A\", raw 3: [130142]}]"},
    {"a later raw-only opaque value leaves the key with the block that decoded",
     T("31", ReceiptMaker::Concat(Rec(4, "0C 01 41"), Rec(4, "13 01 42"))),
     "[{4: [0C0141], attr 4: u\"A\", raw 4: [130142]}]"},
    {"a later purchase that doesn't decode leaves the earlier one decoded",
     T("31", ReceiptMaker::Concat(Rec(17, "31 03 02 01 05"), Rec(3, "0C 01 41"),
                                  Rec(17, "02 09 01 02 03 04 05 06 07 08 09"))),
     "[{3: u\"A\", 6: [3103020105], attr 17: @6, attr 3: u\"A\", raw 17: "
     "[0209010203040506070809], raw 3: [0C0141]}]"},
    {"the last in-app purchase wins",
     T("31", ReceiptMaker::Concat(Rec(17, "31 03 02 01 05"), Rec(17, "31 03 02 01 06"))),
     "[{6: [3103020106], attr 17: @6, raw 17: @6}]"},
    // Broken headers end the walk, which keeps what came before and reads nothing outside the
    // payload (AddressSanitizer watches the exactly-sized copy).
    {"length beyond the payload", AfterRecordA("30 84 7F FF FF FF"), kRecordA},
    {"indefinite length", AfterRecordA("30 80 00 00"), kRecordA},
    {"identifier only", AfterRecordA("30"), kRecordA},
    {"high tag number cut short", AfterRecordA("1F 82"), kRecordA},
    {"length octets cut short", AfterRecordA("30 84 7F"), kRecordA},
    {"OCTET STRING header cut short", AfterRecordA("30 07 02 01 03 02 01 01 04"), kRecordA},
};

TEST(Parse, Payloads) {
  for (const PayloadRow& row : kPayloadRows) {
    SCOPED_TRACE(row.reason);
    EXPECT_EQ(Dump(ParseExactly(row.payload)), row.expected);
  }
}

// Where the outcome of a broken payload is nobody's promise, what must hold is that the walk
// ends and that every block it hands out is a copy of bytes of the payload.
TEST(Parse, BrokenPayloadsYieldOnlyPayloadBytes) {
  const Bytes payloads[] = {
      H("31 84 7F FF FF FF 30 09 02 01 03 02 01 01 04 01 41"),
      H("31 80 30 09 02 01 03 02 01 01 04 01 41 00 00"),
      H("31 0F 30 0D 02 01 03 02 01 01 04 84 7F FF FF FF 41"),
      H("31 0B 30 84 7F FF FF FF 02 01 03 04 01"),
      H("31 05 30 03 02 01"),
      H("FF FF FF"),
  };
  for (const Bytes& payload : payloads) {
    SCOPED_TRACE(receipts_test::HexOf(payload.data(), static_cast<std::int64_t>(payload.size())));
    const auto maps = ParseExactly(payload);
    for (const auto& map : maps.value_or(std::vector<toolkit::Ref<toolkit::Dictionary>>{})) {
      for (const auto& value : map->Values()) {
        const auto block = value.As<toolkit::MemoryBlock>();
        if (!block) continue;
        const auto bytes = block->Bytes();
        EXPECT_NE(std::search(payload.begin(), payload.end(), bytes.begin(), bytes.end()),
                  payload.end());
      }
    }
  }
}

TEST(Parse, SizeZeroOrBelowReadsNothing) {
  const auto nothing = std::make_unique<std::uint8_t[]>(0);
  EXPECT_EQ(Dump(CertTools::parse(nothing.get(), 0)), "[]");
  EXPECT_EQ(Dump(CertTools::parse(nothing.get(), -1)), "[]");
  EXPECT_EQ(Dump(CertTools::parse(nullptr, 0)), "[]");
}

TEST(Parse, MissingLibraryRefusesThePayload) {
  const CertTools::LibCrypto missing("/nonexistent/libcrypto.so");
  const Bytes payload = T("31", Rec(3, "0C 01 41"));
  EXPECT_EQ(
      Dump(CertTools::parse(payload.data(), static_cast<std::int64_t>(payload.size()), missing)),
      "nil");
}

}  // namespace
