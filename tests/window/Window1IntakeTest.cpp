// Receipts into Window1's list: drops of every kind of item, and the start-up folder.

#include <gtest/gtest.h>

#include "Window1Fixture.h"
#include "app/FileTypes1.h"
#include "platform/toolkit/Dictionary.h"
#include "receipts/CertTools.h"

namespace window_test {
namespace {

// A container around a payload that isn't an attribute set: the reader raises.
const ReceiptMaker::Bytes kRefused = ReceiptMaker::Sign(ReceiptMaker::FromHex("04 00"));

TEST_F(Window1Test, EachDroppedItemByItsKindAndTheOptionKey) {
  window->RaiseOpen();
  for (const char* name : {"a", "b", "Good.app/Contents/_MASReceipt/receipt", "Fake.app",
                           "CAPS.APP/Contents/_MASReceipt/receipt", "Fake.aPp",
                           "Lower.APP/contents/_masreceipt/receipt", "Dot.APPS/receipt"})
    scratch.Write(fs::path("drop") / name, Receipt());
  scratch.Write("drop/notes", "not a receipt");
  scratch.Write("drop/refused", kRefused);
  scratch.Write("drop/Bad.app/Contents/_MASReceipt/receipt", "not a receipt");
  for (const char* name : {"Empty.app", "Odd.app/Contents/_MASReceipt/receipt", "F", "app"})
    scratch.Folder(fs::path("drop") / name);
  scratch.Link("drop/link", "a");
  // A receipt followed by zeros up to a size that no receipt has: not read at all.
  fs::resize_file(scratch.Write("drop/huge", Receipt()), CertTools::kLargestReceipt + 1);
  const std::string inApp = "||No MAS receipt in app", folder = "||Ignored (folder)",
                    notReceipt = "||Not a MAS receipt";
  const struct {
    const char* why;
    Strings items;  // "" is an item without a file
    bool option;
    Strings rows;
    int optionReads;
  } cases[] = {
      {"a receipt file: a collapsed row; one item: the key isn't read", {"a"}, false, {"a|| +"}, 0},
      {"a bundle's row has its name", {"Good.app"}, false, {"Good.app|| +"}, 0},
      {"a bundle's name in capitals", {"CAPS.APP"}, false, {"CAPS.APP|| +"}, 0},
      {"a file named as a bundle in any case is one", {"Fake.aPp"}, false, {"Fake.aPp" + inApp}, 0},
      {"the path inside keeps its case", {"Lower.APP"}, false, {"Lower.APP" + inApp}, 0},
      {"a longer extension is none", {"Dot.APPS"}, false, {"Dot.APPS" + folder}, 0},
      {"a bundle without a receipt", {"Empty.app"}, false, {"Empty.app" + inApp}, 0},
      {"a bundle whose receipt is a folder", {"Odd.app"}, false, {"Odd.app" + inApp}, 0},
      {"a bundle whose receipt isn't one", {"Bad.app"}, false, {"Bad.app" + notReceipt}, 0},
      {"a plain folder", {"F"}, false, {"F" + folder}, 0},
      {"a name shorter than \".app\"", {"app"}, false, {"app" + folder}, 0},
      {"a file that isn't a receipt", {"notes"}, false, {"notes" + notReceipt}, 0},
      {"a file the reader raises on", {"refused"}, false, {"refused" + notReceipt}, 0},
      {"a file larger than any receipt", {"huge"}, false, {"huge" + notReceipt}, 0},
      {"an alias is followed; the row has the name it leads to", {"link"}, false, {"a|| +"}, 0},
      {"items without a file don't count", {"", "notes", ""}, false, {"notes" + notReceipt}, 0},
      {"several, Option up: receipts only", {"F", "Fake.app", "a", "notes"}, false, {"a|| +"}, 1},
      {"several, Option down: each says why, in order",
       {"F", "Fake.app", "a", "notes"},
       true,
       {"F" + folder, "Fake.app" + inApp, "a|| +", "notes" + notReceipt},
       1},
      {"a receipt twice: two rows", {"b", "a", "b"}, false, {"b|| +", "a|| +", "b|| +"}, 1},
  };
  for (const auto& c : cases) {
    window->clearList();
    const int readsBefore = desktop.OptionKeyReads();
    Drop(c.items, c.option);
    EXPECT_EQ(rows(), c.rows) << c.why;
    EXPECT_EQ(desktop.OptionKeyReads() - readsBefore, c.optionReads) << c.why;
    for (std::int64_t r = 0; r < list().ListCount(); ++r)  // a receipt row holds its record
      EXPECT_EQ(list().RowIsFolder(r), !list().RowTag(r).As<toolkit::Dictionary>().IsNil());
  }
  Drop({"F"});  // a drop adds behind the rows there
  EXPECT_EQ(rows(), (Strings{"b|| +", "a|| +", "b|| +", "F" + folder}));
}

TEST_F(Window1Test, TheStartUpFolderInItsCases) {
  const fs::path full = "full/Supplemental Data/_MASReceipt";
  scratch.Write(full / "b", Receipt());
  scratch.Write(full / "a", Receipt());
  scratch.Link(full / "c", scratch.Write("elsewhere/c", Receipt()));
  scratch.Write(full / "notes", "not a receipt");
  scratch.Write(full / "sub/d", Receipt());
  scratch.Write(full / "z", Receipt());  // the last entry counts too
  scratch.Folder("no _MASReceipt/Supplemental Data");
  scratch.Write("_MASReceipt a file/Supplemental Data/_MASReceipt", Receipt());
  using enum TestWindow::Start;
  const struct {
    const char* base;
    TestWindow::Start start;
    Strings rows;
  } cases[] = {
      {"full",
       InFolder,
       {"a|| +", "b|| +", "c|| +", "z|| +"}},  // by name, an alias followed, no others
      {"no _MASReceipt", InFolder, {}},
      {"_MASReceipt a file", InFolder, {}},
      {"no folder item", Nil, {"No receipts||"}},
  };
  for (const auto& c : cases) {
    const auto opened = toolkit::Window::Make<TestWindow>(scratch.path() / c.base);
    opened->start = c.start;
    opened->RaiseOpen();
    EXPECT_EQ(Rows(*opened->lb()), c.rows) << c.base;
    EXPECT_EQ(opened->AcceptedFileTypes(), (std::vector{FileTypes1::Any(), FileTypes1::Apps()}));
  }
}

TEST_F(Window1Test, AnyOtherExceptionLeavesTheOpeningBeforeDropsAreOn) {
  window->start = TestWindow::Start::Raises;
  EXPECT_THROW(window->RaiseOpen(), toolkit::IOException);
  EXPECT_FALSE(window->FileRequestToRefreshTheReceipt()->Visible());
  EXPECT_EQ(rows(), Strings{});
  EXPECT_TRUE(window->AcceptedFileTypes().empty());
}

}  // namespace
}  // namespace window_test
