// What was bought, and for which machine: every attribute in file order with Apple's names,
// purchases, dates, the JSON made of them, the device hash and identifiers as people write them.

#include <gtest/gtest.h>

#include <nlohmann/json.hpp>
#include <tuple>

#include "examination/Text.h"
#include "tests/examination/Support.h"

namespace examination_test {
namespace {

TEST(ExaminationContents, EveryRecordInFileOrderWithApplesNames) {
  const Report r = ExamineMade(R"(
    attr 1 1 int -7
    attr 2 1 int 5                         # a bundle id that is no string
    attr 6 1 hex 0102
    attr 3 1 utf8 "1.0"
    attr 3 2 utf8 "1.1"                    # a number repeated
    attr 17 1 iap                          # a purchase without fields: the first SET of a value
    end
    attr 17 1 iap
      attr 1799 1 hex 0A0B                 # a field Apple doesn't document
      attr 1702 1 utf8 "com.example.coins"
      attr 1712 1 ia5 ""                   # not cancelled
      attr 1704 1 ia5 "2024-02-29T23:30:00-02:30"
    end
    attr 4 1 hex 0201050000                # opaque: never decoded
  )");
  ASSERT_TRUE(r.receipt.readable.holds) << r.receipt.readable.reason;
  const auto& attrs = r.receipt.attributes;
  ASSERT_EQ(attrs.size(), 8u);
  for (std::size_t i = 0; const std::int64_t number : {1, 2, 6, 3, 3, 17, 17, 4})
    EXPECT_EQ(attrs[i++].number, number) << i;
  EXPECT_EQ(attrs[0].integer, -7);
  EXPECT_EQ(attrs[1].name, "bundle_id");
  EXPECT_EQ(attrs[1].problem, "Apple documents bundle_id as a UTF8String; this one is an INTEGER");
  EXPECT_EQ(attrs[4].version, 2);
  EXPECT_EQ(attrs[4].text, "1.1");
  EXPECT_EQ(attrs[7].kind, ValueKind::Raw);
  EXPECT_EQ(text::Hex(attrs[7].raw), "0201050000");

  ASSERT_EQ(r.receipt.purchases, (std::vector<std::size_t>{5, 6}));
  EXPECT_TRUE(attrs[5].kind == ValueKind::Set && attrs[5].fields.empty());
  const Attribute& purchase = attrs[6];
  ASSERT_EQ(purchase.fields.size(), 4u);
  EXPECT_EQ(purchase.fields[0].name, "");
  EXPECT_EQ(text::Hex(purchase.fields[0].raw), "0A0B");
  EXPECT_EQ(purchase.Field(Numbers::kProductId)->text, "com.example.coins");
  const Date& cancelled = *purchase.Field(Numbers::kCancellationDate)->date;
  EXPECT_TRUE(cancelled.written.empty() && cancelled.problem.empty() && !cancelled.unixMillis);
  EXPECT_EQ(purchase.Field(Numbers::kPurchaseDate)->date->Utc(), "2024-03-01T02:00:00Z");
}

TEST(ExaminationContents, DatesAsWrittenAndInUtc) {
  const std::tuple<const char*, const char*, const char*> dates[] = {
      {"2023-08-28T10:24:05Z", "2023-08-28T10:24:05Z", ""},
      {"2026-03-14T09:26:53+0100", "2026-03-14T08:26:53Z", ""},
      {"2026-03-14T09:26:53+01:00", "2026-03-14T08:26:53Z", ""},
      {"1999-12-31T23:00:00-01:00", "2000-01-01T00:00:00Z", ""},
      {"2023-08-28T10:24:05.5Z", "2023-08-28T10:24:05.500Z", ""},
      {"", "", ""},  // an empty date is no error
      {"2023-02-29T00:00:00Z", "", "no such day"},
      {"1900-02-29T00:00:00Z", "", "no such day"},
      {"2000-02-29T12:00:00Z", "2000-02-29T12:00:00Z", ""},
      {"2023-08-28T24:00:00Z", "", "no such time of day"},
      {"2023-08-28 10:24:05", "", "expected Z or an offset"},
      {"2023-08-28T10:24:05Zjunk", "", "text after the date"},
      {"28/08/2023", "", "expected YYYY-MM-DDTHH:MM:SS"},
  };
  for (const auto& [written, utc, problem] : dates) {
    const Date d = text::ParseDate(written);
    EXPECT_EQ(d.Utc(), utc) << written;
    EXPECT_NE(d.problem.find(problem), std::string::npos) << written << ": " << d.problem;
    EXPECT_EQ(d.problem.empty(), *problem == '\0') << written;
  }
}

TEST(ExaminationContents, StructureProblemsSayWhere) {
  const std::tuple<const char*, const char*> payloads[] = {
      {"payload-hex 3003020101", "the payload is a SEQUENCE, not a SET of attribute records"},
      {"attr 2 1 utf8 \"a\"\nset\nattr 3 1 int 1", "bytes follow the SET of attribute records"},
      {"payload-hex 3105 3003 020102", "record 1: no version: no object where one was expected"},
      {"payload-hex 3108 3006 0400 0201 01 0400", "record 1: its number is an OCTET STRING"},
      {"payload-hex 3102 0400", "record 1 is an OCTET STRING, not a SEQUENCE"},
      {"payload-hex", "the payload is empty"},
      {"payload-hex 3184", "the payload is no DER object: the length runs past the end"},
      {"payload-hex 3101", "the payload is no DER object: the contents run past the end"},
      {"payload-hex 310A 3008 020102 020101 0401", "record 1: no value: the contents run past"},
      {"attr 17 1 hex 3105 3003 020101", "record 1 (attribute 17), record 1: no version"},
  };
  for (const auto& [description, problem] : payloads) {
    const Report r = ExamineMade(description);
    EXPECT_FALSE(r.receipt.readable.holds) << description;
    EXPECT_NE(r.receipt.readable.reason.find(problem), std::string::npos)
        << description << ": " << r.receipt.readable.reason;
  }
  // BER's indefinite lengths, one inside the other, read as their definite forms do.
  const Report ber = ExamineMade("payload-hex 3180 3080 020102 020101 0400 0000 0000");
  EXPECT_TRUE(ber.receipt.readable.holds) << ber.receipt.readable.reason;
  EXPECT_EQ(ber.receipt.attributes.size(), 1u);
  // SETs inside SETs end at a depth, their bytes kept.
  ReceiptMaker::Bytes value = ReceiptMaker::IntValue(1);
  for (int depth = 0; depth < 6; ++depth)
    value = ReceiptMaker::PurchaseValue({{1701, 1, value}});
  const Report deep = ExamineAt(ReceiptMaker::Sign(ReceiptMaker::Payload({{17, 1, value}})), {});
  const Attribute* a = &deep.receipt.attributes.at(0);
  for (int level = 0; level < kMaxNesting; ++level) {
    ASSERT_EQ(a->fields.size(), 1u) << level;
    a = &a->fields[0];
  }
  EXPECT_EQ(a->kind, ValueKind::Raw);
  EXPECT_EQ(a->problem, "a SET nested more than 4 deep: kept as bytes");
}

TEST(ExaminationJson, ParsesAndHoldsTheReceiptInApplesShape) {
  const Made made = Make(std::string(kBase) + "chain test-root\npurchases 25\n");
  const auto j = nlohmann::json::parse(ToJson(ExamineAt(made.file, made.root)));
  EXPECT_EQ(j["receipt"]["bundle_id"], "com.example.quellmark");
  EXPECT_EQ(j["receipt"]["receipt_creation_date_ms"], "1717236000000");
  EXPECT_EQ(j["verdict"]["kind"], "genuine");
  const auto purchases = ReceiptMaker::Purchases(25);
  ASSERT_EQ(j["receipt"]["in_app"].size(), 25u);
  for (std::size_t i = 0; i < purchases.size(); ++i) {
    // Each purchase's own SET holds its ids.
    const std::string set(purchases[i].value.begin(), purchases[i].value.end());
    const auto& inApp = j["receipt"]["in_app"][i];
    for (const char* key : {"product_id", "transaction_id", "original_transaction_id"})
      EXPECT_NE(set.find(inApp[key].get<std::string>()), std::string::npos) << i << key;
    EXPECT_EQ(inApp["cancellation_date"], "") << i;
    EXPECT_EQ(inApp["is_trial_period"], i % 2 != 0 ? "true" : "false") << i;
  }
}

TEST(ExaminationJson, TextThatIsNotUtf8RoundTripsAsBase64) {
  const std::string bytes = "\xFF\xFE\x41\xC0\x80";  // 0x41 is "A"; 0xC0 0x80 an overlong NUL
  const Report r = ExamineMade("attr 2 1 hex 0C05 FFFE41C080\nattr 10 1 utf8 \"fine\"");
  const auto j = nlohmann::json::parse(ToJson(r, -1));
  for (const auto& value : {j["receipt"]["bundle_id"], j["attributes"][0]["value"]}) {
    ASSERT_TRUE(value.is_object()) << value;
    const auto decoded = text::FromBase64(value["base64"].get<std::string>());
    ASSERT_TRUE(decoded);
    EXPECT_EQ(std::string(decoded->begin(), decoded->end()), bytes);
  }
  EXPECT_EQ(j["attributes"][1]["value"], "fine");
  // The edges of well-formed UTF-8: surrogates, overlong forms, above U+10FFFF, cut short.
  const std::tuple<const char*, bool> edges[] = {
      {"\xED\x9F\xBF", true},  {"\xED\xA0\x80", false},     {"\xF4\x8F\xBF\xBF", true},
      {"\xE0\x9F\xBF", false}, {"\xF4\x90\x80\x80", false}, {"\xE2\x82", false}};
  for (const auto& [sample, utf8] : edges)
    EXPECT_EQ(text::IsUtf8(sample), utf8) << text::Quote(sample);
}

TEST(ExaminationDevice, IdentifiersAsPeopleWriteThem) {
  const std::tuple<const char*, const char*> forms[] = {
      {"f8:ff:c2:1e:91:82", "F8FFC21E9182"},
      {" F8-FF-C2-1E-91-82 ", "F8FFC21E9182"},
      {"f8ffc21e9182", "F8FFC21E9182"},
      {"3B76A7BD-8F5B-46A4-BCB1-CCE8DBD1B3CD", "3B76A7BD8F5B46A4BCB1CCE8DBD1B3CD"},
      {"hex:00ff", "00FF"},
      {"base64:AAE=", "0001"},
      {"+/8=", "FBFF"},  // base64, since it isn't hex
      {"", "an empty identifier"},
      {"f8:ff:c2:1e:91", "is neither a MAC address"},
      {"f8:ff-c2:1e:91:82", "is neither a MAC address"},
      {"abc", "has an odd number of hex digits"},
      {"hex:abc", "is not an even number of hex digits"},
      {"base64:AAF=", "is not base64"},  // bits left over in the padding
  };
  for (const auto& [written, expected] : forms) {
    const ParsedIdentifier p = ParseIdentifier(written);
    const std::string got = p.identifier ? text::Hex(p.identifier->bytes) : p.reason;
    EXPECT_NE(got.find(expected), std::string::npos) << written << ": " << got;
  }
}

TEST(ExaminationDevice, TheIdentifierThatGivesTheHash) {
  const std::string chained = std::string(kBase) + "chain test-root\n";
  // Two of the three match: the first is named.
  const Report found = ExamineMade(chained, {Id("00:11:22:33:44:55", "en1"),
                                             Id("f8ffc21e9182", "en0"), Id("F8-FF-C2-1E-91-82")});
  EXPECT_TRUE(found.device.matches.holds);
  EXPECT_EQ(found.device.match, 1u);
  EXPECT_EQ(found.device.matches.reason, "\"f8ffc21e9182\" (en0) gives the receipt's hash");
  EXPECT_EQ(found.device.attempts[1].hash,
            text::Hex(ReceiptMaker::DeviceHash(*text::FromHex("F8FFC21E9182"),
                                               *text::FromHex("88a27b6db492f29c9cdd0d8f67bd8b97"),
                                               ReceiptMaker::Utf8Value("com.example.quellmark"))));

  const Report none = ExamineMade(chained, {Id("00:11:22:33:44:55"), Id("hex:00")});
  EXPECT_EQ(none.device.matches.reason, "none of the 2 identifiers tried gives the receipt's hash");
  EXPECT_FALSE(none.device.match);
  const Report empty =
      ExamineMade("attr 2 1 utf8 \"a\"\nattr 4 1 hex 00\nattr 5 1 hex", {Id("hex:00")});
  EXPECT_FALSE(empty.device.matches.holds) << "an empty hash is no SHA-1";

  const Report lacking = ExamineMade("attr 4 1 hex 00\nattr 3 1 utf8 \"1\"", {Id("hex:00")});
  EXPECT_EQ(lacking.device.missing, (std::vector<std::int64_t>{2, 5}));
  EXPECT_EQ(lacking.device.matches.reason,
            "the receipt has no attribute 2 (bundle id), 5 (SHA-1 hash), so no device can be told");
}

}  // namespace
}  // namespace examination_test
