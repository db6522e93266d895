// Opening a receipt row: one child per decoded attribute, in number order, with its texts.

#include <gtest/gtest.h>

#include "Window1Fixture.h"
#include "platform/toolkit/Dictionary.h"
#include "platform/toolkit/MemoryBlock.h"

namespace window_test {
namespace {

using toolkit::Variant;

Ref<toolkit::MemoryBlock> Block(const char* hex) {
  return Ref<toolkit::MemoryBlock>::New(ReceiptMaker::FromHex(hex));
}

class ExpandTest : public Window1Test {
 protected:
  // Adds a receipt row whose record holds these entries, as the reader writes them, opens it
  // and answers its children as "key|info".
  Strings Open(const std::vector<std::pair<Variant, Variant>>& entries) {
    auto record = Ref<toolkit::Dictionary>::New();
    for (const auto& [key, value] : entries)
      record->Value(key, value);
    list().AddFolder("receipt");
    list().RowTag(list().LastIndex(), record);
    list().Expanded(list().LastIndex(), true);
    Strings children;
    for (std::int64_t r = 1; r < list().ListCount(); ++r) {
      EXPECT_EQ(std::tuple(list().RowDepth(r), list().Cell(r, 0).Bytes(), list().RowIsFolder(r),
                           list().Cell(r, 2).Encoding()),
                std::tuple(1, "", false, toolkit::TextEncoding::UTF8));
      children.push_back(list().Cell(r, 1).Bytes() + "|" + list().Cell(r, 2).Bytes());
    }
    return children;
  }
};

TEST_F(ExpandTest, AttributesInNumberOrderWithTitlesAndValueTexts) {
  EXPECT_EQ(Open({{"attr 19", "1.0"},
                  {"attr 2", "com.example.app"},
                  {"raw 2", Block("0C 0F")},        // what a value was read from: no row
                  {std::int64_t{0}, "Production"},  // a well-known key repeats an attribute
                  {"raw 7", Block("05 00")},        // an entry that wasn't decoded: no row
                  {"attr 10", std::int64_t{4}},
                  {"attr -5", std::int64_t{-1}},
                  {"attr 0", "Production"},
                  {"attr 4", Block("01 02 FF")},
                  {"attr 98", Block("")},
                  {"attr 99", std::int64_t{0}},
                  {"attr 9007199254740993", "through a double"}}),
            (Strings{"-5 |-1", "0 environment|Production", "2 bundle ID|com.example.app",
                     "4 opaque (salt)|0x0102FF", "10 age rating|4", "19 orig version|1.0", "98 |0x",
                     "99 |0", "9007199254740992 |through a double"}));
}

TEST_F(ExpandTest, ABundleIDHeldAsABlockShowsTheTextBehindItsHeader) {
  const std::pair<const char*, std::string> cases[] = {
      {"31 03 61 62 63", "abc"},  // the block from offset 2
      {"31 09 61 62", "ab"},      // says 9 bytes, has 2: stops at the end of the block
      {"31 02 61 62 63", "ab"},   // says 2 bytes, has 3: as long as it says
      {"05", ""},                 // one byte: no length byte at all
  };
  for (const auto& [hex, text] : cases) {
    window->clearList();
    EXPECT_EQ(Open({{"attr 2", Block(hex)}}), Strings{"2 bundle ID|" + text}) << hex;
  }
}

TEST_F(ExpandTest, AValueWithoutTextRaisesAndTheRowsBeforeItStay) {
  EXPECT_THROW(Open({{"attr 1", "one"}, {"attr 3", Ref<toolkit::Pair>::New(1, 2)}}),
               toolkit::TypeMismatchException);
  EXPECT_EQ(rows(), (Strings{"receipt|| -", ">|1 |one", ">|3 version|"}));
}

}  // namespace
}  // namespace window_test
