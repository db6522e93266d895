// Opening a receipt row: one child per decoded attribute, in number order, with its texts.

#include <gtest/gtest.h>

#include "Window1Fixture.h"
#include "platform/toolkit/Dictionary.h"
#include "platform/toolkit/MemoryBlock.h"

namespace window_test {
namespace {

using namespace ReceiptMaker;
using Strings = std::vector<std::string>;

std::string Hex(const Bytes& bytes) {
  return toolkit::EncodeHex(std::string(bytes.begin(), bytes.end())).Bytes();
}

class ExpandTest : public Window1Test {
 protected:
  void SetUp() override { window->RaiseOpen(); }

  // Drops a receipt of these attributes, and of the records given as bytes, and returns the
  // index of its row.
  std::int64_t DropReceipt(const std::vector<Attribute>& attributes,
                           const std::string& name = "r.receipt", const Bytes& records = {}) {
    Bytes set;
    for (const Attribute& a : attributes)
      set = Concat(set, Record(a.number, a.version, a.value));
    Drop({Item(WriteFile(Dropped(name), Sign(Set(Concat(set, records)))))});
    return list().LastIndex();
  }
  // The children of the row, opened now: "key|info" each.
  Strings Open(std::int64_t row) {
    list().Expanded(row, true);
    Strings children;
    for (std::int64_t r = row + 1; r < list().ListCount() && list().RowDepth(r) > 0; ++r) {
      EXPECT_EQ(list().Cell(r, 0), "");
      EXPECT_FALSE(list().RowIsFolder(r));
      EXPECT_EQ(list().Cell(r, 2).Encoding(), toolkit::TextEncoding::UTF8);
      children.push_back(list().Cell(r, 1).Bytes() + "|" + list().Cell(r, 2).Bytes());
    }
    return children;
  }
};

TEST_F(ExpandTest, AttributesInNumberOrderWithTitlesAndValueTexts) {
  const Bytes purchase = PurchaseValue({{1701, 1, IntValue(1)}});
  // A negative number is an INTEGER of tag number 258, as OpenSSL tells negative ones apart.
  const auto negative = [](std::uint8_t magnitude) { return Tlv({0x1F, 0x82, 0x02}, {magnitude}); };
  const Bytes minusFive = Sequence(Concat(negative(5), Integer(1), OctetString(negative(1))));
  const auto row = DropReceipt(
      {
          {19, 1, Utf8Value("1.0")},
          {2, 1, Utf8Value("com.example.app")},
          {10, 1, IntValue(4)},
          {99, 1, IntValue(0)},
          {0, 1, Utf8Value("Production")},
          {12, 1, Ia5Value("2026-01-01T00:00:00Z")},
          {17, 1, purchase},
          {4, 1, HexValue("01 02 FF")},  // no well-formed object: the block itself
          {98, 1, HexValue("")},
          {50, 1, HexValue("01 01 FF")},  // a BOOLEAN isn't decoded: no row
          {3, 1, IntValue(256)},
      },
      "r.receipt", minusFive);
  EXPECT_EQ(
      Open(row),
      (Strings{"-5 |-1", "0 environment|Production", "2 bundle ID|com.example.app", "3 version|256",
               "4 opaque (salt)|0x0102FF", "10 age rating|4", "12 created|2026-01-01T00:00:00Z",
               "17 in-app purchase|0x" + Hex(purchase), "19 orig version|1.0", "98 |0x", "99 |0"}));
}

TEST_F(ExpandTest, ABundleIDHeldAsABlockShowsTheTextBehindItsHeader) {
  const std::pair<const char*, std::string> cases[] = {
      {"31 03 61 62 63", "abc"},  // a constructed object: the block from offset 2
      {"31 09 61 62", "ab"},      // says 9 bytes, has 2: stops at the end of the block
      {"31 02 61 62 63", "ab"},   // says 2 bytes, has 3: as long as it says
      {"0C 00", ""},              // an empty text falls back to the block
      {"05", ""},                 // one byte: no length byte at all
      {"", ""},
  };
  for (const auto& [hex, text] : cases) {
    SCOPED_TRACE(hex);
    window->clearList();
    EXPECT_EQ(Open(DropReceipt({{2, 1, HexValue(hex)}})), Strings{"2 bundle ID|" + text});
  }
}

TEST_F(ExpandTest, ChildrenGoUnderTheirRowAndComeBackTheSameWhenReopened) {
  DropReceipt({{2, 1, Utf8Value("first")}}, "a.receipt");
  const auto second = DropReceipt({{3, 1, Utf8Value("2.0")}, {2, 1, Utf8Value("x")}}, "b.receipt");
  list().AddRow({"after"});
  const Strings children = Open(second);
  EXPECT_EQ(Open(0), Strings{"2 bundle ID|first"});
  EXPECT_EQ(rows(), (Strings{"a.receipt|| -", ">|2 bundle ID|first", "b.receipt|| -",
                             ">|2 bundle ID|x", ">|3 version|2.0", "after||"}));
  list().Expanded(2, false);
  EXPECT_EQ(list().ListCount(), 4);
  EXPECT_EQ(Open(2), children);
}

TEST_F(ExpandTest, RowsWithoutAReceiptOpenEmpty) {
  for (const toolkit::Variant& tag : {toolkit::Variant(), toolkit::Variant("other")}) {
    window->clearList();
    list().AddFolder("x");
    list().RowTag(0, tag);
    EXPECT_EQ(Open(0), Strings{});
  }
}

TEST_F(ExpandTest, NumbersComeThroughADoubleAndAFaultKeepsTheRowsBeforeIt) {
  auto record = Ref<toolkit::Dictionary>::New();
  record->Value("attr 9007199254740993", 1);  // 2^53 + 1: a double can't hold it
  record->Value("attr 1", "one");
  record->Value("attr 3", Ref<toolkit::Pair>::New(1, 2));  // no text for this value
  record->Value("raw 1", Ref<toolkit::MemoryBlock>::New(1));
  record->Value(std::int64_t{1}, "a numeric key");
  list().AddFolder("made by hand");
  list().RowTag(0, record);
  EXPECT_THROW(list().Expanded(0, true), toolkit::TypeMismatchException);
  EXPECT_EQ(rows(), (Strings{"made by hand|| -", ">|1 |one", ">|3 version|"}));
  record->Remove("attr 3");
  list().Expanded(0, false);
  EXPECT_EQ(Open(0), (Strings{"1 |one", "9007199254740992 |1"}));
}

}  // namespace
}  // namespace window_test
