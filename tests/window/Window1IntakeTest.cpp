// Receipts into Window1's list: drops of every kind of item, the start-up folder, listReceipt.

#include <gtest/gtest.h>

#include "Window1Fixture.h"
#include "app/FileTypes1.h"
#include "platform/toolkit/Dictionary.h"

namespace window_test {
namespace {

using Strings = std::vector<std::string>;
using ReceiptMaker::Sign;

class IntakeTest : public Window1Test {
 protected:
  void SetUp() override {
    window->RaiseOpen();  // no start-up folder: an empty list that takes drops
    WriteReceipt(Dropped("a.receipt"));
    WriteReceipt(Dropped("b.receipt"));
    WriteText(Dropped("notes.txt"), "not a receipt");
    WriteText(Dropped("empty"), "");
    // A container around a payload that isn't an attribute set: the reader raises.
    WriteFile(Dropped("refused.receipt"), Sign(ReceiptMaker::FromHex("04 00")));
    WriteReceipt(Dropped("Good.app/Contents/_MASReceipt/receipt"));
    fs::create_directories(Dropped("Empty.app/Contents"));
    fs::create_directories(Dropped("Odd.app/Contents/_MASReceipt/receipt"));
    WriteText(Dropped("Bad.app/Contents/_MASReceipt/receipt"), "not a receipt");
    WriteReceipt(Dropped("Fake.app"));  // a receipt file, but a bundle by its name
    fs::create_directories(Dropped("Stuff"));
    fs::create_directories(Dropped("app"));
    WriteReceipt(Dropped("Caps.APP/Contents/_MASReceipt/receipt"));
    fs::create_symlink("a.receipt", Dropped("link.receipt"));
    fs::create_symlink("Good.app", Dropped("linked.app"));
    fs::create_symlink("nowhere.receipt", Dropped("dangling"));
    fs::create_symlink("Stuff", Dropped("folder-link"));
  }

  std::vector<Ref<FolderItem>> Items(const Strings& names) const {
    std::vector<Ref<FolderItem>> items;
    for (const auto& name : names)
      items.push_back(name.empty() ? nullptr : Item(Dropped(name)));
    return items;
  }
};

TEST_F(IntakeTest, EachDroppedItemByItsKindAndTheOptionKey) {
  struct Case {
    Strings items;  // "" is an item without a file
    bool option;
    Strings rows;
    int optionReads;
  };
  const std::string noReceiptInApp = "||No MAS receipt in app", folder = "||Ignored (folder)",
                    notReceipt = "||Not a MAS receipt";
  const Case cases[] = {
      // One item: it always says why it isn't a receipt, and the key isn't read.
      {{"a.receipt"}, false, {"a.receipt|| +"}, 0},
      {{"Good.app"}, false, {"Good.app|| +"}, 0},
      {{"Empty.app"}, false, {"Empty.app" + noReceiptInApp}, 0},
      {{"Odd.app"}, false, {"Odd.app" + noReceiptInApp}, 0},
      {{"Fake.app"}, false, {"Fake.app" + noReceiptInApp}, 0},
      {{"Bad.app"}, false, {"Bad.app" + notReceipt}, 0},
      {{"Stuff"}, false, {"Stuff" + folder}, 0},
      {{"app"}, false, {"app" + folder}, 0},
      {{"Caps.APP"}, false, {"Caps.APP" + folder}, 0},  // names compare case-sensitively
      {{"notes.txt"}, false, {"notes.txt" + notReceipt}, 0},
      {{"empty"}, false, {"empty" + notReceipt}, 0},
      {{"refused.receipt"}, false, {"refused.receipt" + notReceipt}, 0},
      // Aliases resolve through their folder, and the row shows the resolved name.
      {{"link.receipt"}, false, {"a.receipt|| +"}, 0},
      {{"linked.app"}, false, {"Good.app|| +"}, 0},
      {{"dangling"}, false, {"nowhere.receipt" + notReceipt}, 0},
      {{"folder-link"}, false, {"Stuff" + folder}, 0},
      // Items without a file don't count.
      {{"", "notes.txt", ""}, false, {"notes.txt" + notReceipt}, 0},
      {{""}, true, {}, 1},
      // Several items: rejects only with the Option key down, read once.
      {{"a.receipt", "notes.txt"}, false, {"a.receipt|| +"}, 1},
      {{"a.receipt", "notes.txt"}, true, {"a.receipt|| +", "notes.txt" + notReceipt}, 1},
      {{"Stuff", "Fake.app", "notes.txt", "Empty.app"}, false, {}, 1},
      {{"Stuff", "Fake.app", "notes.txt", "Empty.app"},
       true,
       {"Stuff" + folder, "Fake.app" + noReceiptInApp, "notes.txt" + notReceipt,
        "Empty.app" + noReceiptInApp},
       1},
      {{"b.receipt", "a.receipt", "Good.app", "a.receipt"},
       false,
       {"b.receipt|| +", "a.receipt|| +", "Good.app|| +", "a.receipt|| +"},
       1},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(::testing::PrintToString(c.items) + (c.option ? " with Option" : ""));
    window->clearList();
    const int readsBefore = desktop.OptionKeyReads();
    Drop(Items(c.items), c.option);
    EXPECT_EQ(rows(), c.rows);
    EXPECT_EQ(desktop.OptionKeyReads() - readsBefore, c.optionReads);
    for (std::int64_t r = 0; r < list().ListCount(); ++r)
      EXPECT_EQ(list().RowIsFolder(r), !list().RowTag(r).As<toolkit::Dictionary>().IsNil());
  }
}

TEST_F(IntakeTest, TheOptionKeyCountsAsTheCollectionEnds) {
  // A drag whose last NextItem presses the key: a read at the end sees it down.
  struct PressingDrag : toolkit::DragItem {
    toolkit::HeadlessDragItem items;
    toolkit::HeadlessDesktop& desktop;
    PressingDrag(std::vector<Ref<toolkit::FolderItem>> i, toolkit::HeadlessDesktop& d)
        : items(std::move(i)), desktop(d) {}
    Ref<toolkit::FolderItem> FolderItem() const override { return items.FolderItem(); }
    bool NextItem() override {
      const bool more = items.NextItem();
      if (!more) desktop.SetOptionKey(true);
      return more;
    }
  };
  PressingDrag drag(Items({"notes.txt", "Stuff"}), desktop);
  window->RaiseDropObject(drag, 0);
  EXPECT_EQ(rows(), (Strings{"notes.txt||Not a MAS receipt", "Stuff||Ignored (folder)"}));
}

TEST_F(IntakeTest, AnAliasThatResolvesToNothingIsNoItem) {
  // A relative path: its parent is the empty path, which holds no items.
  const fs::path before = fs::current_path();
  fs::current_path(Dropped(""));
  Drop({Item("link.receipt"), Item("b.receipt")});
  fs::current_path(before);
  EXPECT_EQ(rows(), Strings{"b.receipt|| +"});
  EXPECT_EQ(desktop.OptionKeyReads(), 0);  // one item is left, so the key isn't read
}

TEST_F(IntakeTest, DropsAddBehindTheRowsThereAndAReceiptRowHoldsTheRecord) {
  Drop(Items({"a.receipt"}));
  Drop(Items({"Stuff"}));
  Drop(Items({"a.receipt"}));
  EXPECT_EQ(rows(), (Strings{"a.receipt|| +", "Stuff||Ignored (folder)", "a.receipt|| +"}));
  const auto record = list().RowTag(0).As<toolkit::Dictionary>();
  ASSERT_TRUE(record);
  EXPECT_EQ(record->Value("attr 2").StringValue(), "com.example.app");
  EXPECT_NE(list().RowTag(2).As<toolkit::Dictionary>(), record);  // read again, not shared
}

TEST_F(IntakeTest, ListReceiptTakesOnlyReceiptFiles) {
  fs::create_symlink("Stuff", Dropped("folder-alias"));
  const std::pair<Ref<FolderItem>, bool> cases[] = {
      {nullptr, false},
      {Item(Dropped("Stuff")), false},
      {Item(Dropped("folder-alias")), false},  // the link itself, which leads to a folder
      {Item(Dropped("notes.txt")), false},
      {Item(Dropped("refused.receipt")), false},
      {Item(Dropped("b.receipt")), true},
  };
  for (const auto& [file, listed] : cases)
    EXPECT_EQ(window->listReceipt(file, "name"), listed);
  EXPECT_EQ(rows(), Strings{"name|| +"});
}

TEST_F(IntakeTest, AWindowThatIsNotOpenYetTakesNoDrops) {
  auto closed = toolkit::Window::Make<TestWindow>(temp.path());
  toolkit::HeadlessDragItem drag(Items({"a.receipt"}));
  EXPECT_FALSE(closed->RaiseDropObject(drag, 0));
  EXPECT_EQ(closed->lb()->ListCount(), 0);
}

// The start-up folder "Supplemental Data/_MASReceipt" beside the executable, in its cases.
class OpenTest : public Window1Test {
 protected:
  void Open() {
    window->RaiseOpen();
    EXPECT_FALSE(window->FileRequestToRefreshTheReceipt()->Visible());
  }
  bool TakesDrops() const {
    const auto& types = window->AcceptedFileTypes();
    return types.size() == 2 && types[0] == FileTypes1::Any() && types[1] == FileTypes1::Apps();
  }
};

TEST_F(OpenTest, NoFolderNoRows) {
  Open();
  EXPECT_EQ(rows(), Strings{});
  EXPECT_TRUE(TakesDrops());
}

TEST_F(OpenTest, AFolderWithoutMASReceiptNoRows) {
  fs::create_directories(StartFolder().parent_path());
  Open();
  EXPECT_EQ(rows(), Strings{});
  EXPECT_TRUE(TakesDrops());
}

TEST_F(OpenTest, MASReceiptAsAFileNoRows) {
  WriteReceipt(StartFolder());
  Open();
  EXPECT_EQ(rows(), Strings{});
}

TEST_F(OpenTest, ReadableEntriesInNameOrderTheOthersNothing) {
  WriteReceipt(StartFolder() / "b.receipt");
  WriteReceipt(StartFolder() / "a.receipt");
  WriteReceipt(temp.path() / "elsewhere" / "c.receipt");
  fs::create_symlink(temp.path() / "elsewhere" / "c.receipt", StartFolder() / "link");
  WriteText(StartFolder() / "notes.txt", "not a receipt");
  WriteFile(StartFolder() / "refused.receipt", Sign(ReceiptMaker::FromHex("04 00")));
  fs::create_directories(StartFolder() / "sub");
  WriteReceipt(StartFolder() / "sub" / "d.receipt");
  fs::create_symlink("nowhere", StartFolder() / "zz-dangling");
  Open();
  EXPECT_EQ(rows(), (Strings{"a.receipt|| +", "b.receipt|| +", "c.receipt|| +"}));
  EXPECT_TRUE(TakesDrops());
}

TEST_F(OpenTest, ANilFolderGivesTheRowNoReceipts) {
  window->start = TestWindow::Start::Nil;
  Open();
  EXPECT_EQ(rows(), Strings{"No receipts||"});
  EXPECT_TRUE(TakesDrops());
}

TEST_F(OpenTest, AnyOtherExceptionLeavesTheEventBeforeDropsAreOn) {
  window->start = TestWindow::Start::Raises;
  EXPECT_THROW(Open(), toolkit::IOException);
  EXPECT_FALSE(window->FileRequestToRefreshTheReceipt()->Visible());
  EXPECT_EQ(rows(), Strings{});
  EXPECT_TRUE(window->AcceptedFileTypes().empty());
}

}  // namespace
}  // namespace window_test
