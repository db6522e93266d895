// The headless list model: where rows go, opening and closing, indexes, sorting, all under the
// checker that follows every change through the model's notifications.

#include <gtest/gtest.h>

#include <functional>
#include <memory>

#include "ListChecker.h"
#include "platform/toolkit/Dictionary.h"

namespace toolkit_test {
namespace {

using Strings = std::vector<std::string>;
using toolkit::OutOfBoundsException;
using toolkit::RuntimeException;

class ListModelTest : public ::testing::Test {
 protected:
  ListModelTest() {
    toolkit::ListboxDesign design;
    design.ColumnCount = 3;
    list.ApplyDesign(design);
  }
  void TearDown() override { EXPECT_EQ(checker.Failures(), Strings{}); }

  // Opening a row adds "<its text>.1" and "<its text>.2"; `between` runs between the two.
  void ChildrenOnOpen(std::function<void(std::int64_t row)> between = nullptr) {
    list.ExpandRow = [this, between](Listbox& l, std::int64_t row) {
      ++opened;
      const std::string name = l.Cell(row, 0).Bytes();
      l.AddRow({name + ".1"});
      if (between) between(row);
      l.AddRow({name + ".2"});
    };
  }
  // The handler for a top row also adds the folder "n" between its two rows and opens it.
  void NestedOnOpen() {
    ChildrenOnOpen([this](std::int64_t row) {
      if (list.RowDepth(row) > 0) return;
      list.AddFolder("n");
      list.Expanded(list.LastIndex(), true);
    });
  }

  ListModel list;
  ListChecker checker{list};
  int opened = 0;
};

TEST_F(ListModelTest, OpeningAddsChildrenBelowTheRowWhileItIsOpen) {
  ChildrenOnOpen([this](std::int64_t row) { EXPECT_TRUE(list.Expanded(row)); });
  list.AddFolder("x");
  list.AddFolder("y");
  list.AddRow({"z", "", "c", "beyond the last column"});
  list.Expanded(1, true);
  list.Expanded(0, true);
  EXPECT_EQ(Rows(list),
            (Strings{"x|| -", ">x.1||", ">x.2||", "y|| -", ">y.1||", ">y.2||", "z||c"}));
  EXPECT_EQ(list.LastIndex(), 2);  // the row added last, wherever it went
}

// Openings inside an opening: a nested folder, or an earlier row that moves where children go.
TEST_F(ListModelTest, AnOpeningInsideAnOpeningKeepsEachChildUnderItsRow) {
  NestedOnOpen();
  list.AddFolder("a");
  list.Expanded(0, true);
  EXPECT_EQ(Rows(list), (Strings{"a|| -", ">a.1||", ">n|| -", ">>n.1||", ">>n.2||", ">a.2||"}));
  list.DeleteAllRows();
  ChildrenOnOpen([this](std::int64_t row) {
    if (row > 0) list.Expanded(0, true);
  });
  list.AddFolder("a");
  list.AddFolder("b");
  list.Expanded(1, true);
  EXPECT_EQ(Rows(list), (Strings{"a|| -", ">a.1||", ">a.2||", "b|| -", ">b.1||", ">b.2||"}));
}

TEST_F(ListModelTest, ClosingRemovesAllBelowAndReopeningBuildsAnewButRepeatsChangeNothing) {
  NestedOnOpen();
  list.AddFolder("a");
  list.AddRow({"plain"});
  list.Expanded(0, true);
  const Strings open = Rows(list);
  list.Expanded(1, true);  // a plain row doesn't open
  list.Expanded(0, true);  // an open row is open
  EXPECT_EQ(Rows(list), open);
  list.Expanded(0, false);
  list.Expanded(0, false);
  EXPECT_EQ(Rows(list), (Strings{"a|| +", "plain||"}));
  EXPECT_EQ(list.LastIndex(), -1);  // the last added row went with its parent
  list.Expanded(0, true);
  EXPECT_EQ(Rows(list), open);
  EXPECT_EQ(opened, 4);
}

TEST_F(ListModelTest, AHandlerThatRemovesItsRowOrRaises) {
  const struct {
    const char* why;
    std::function<void(ListModel&, std::int64_t row)> between;
    bool raises;
    Strings rows;
  } cases[] = {
      // clang-format off
      {"the list emptied: later rows start a new list", [](ListModel& l, std::int64_t) { l.DeleteAllRows(); }, false, {"r.2||"}},
      {"the row closed itself: later rows go behind the last", [](ListModel& l, std::int64_t row) { l.Expanded(row, false); }, false, {"r|| +", "r.2||"}},
      {"the handler raised: its rows stay and the row stays open", [](ListModel&, std::int64_t) { throw RuntimeException("inside"); }, true, {"r|| -", ">r.1||"}},
      // clang-format on
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.why);
    list.DeleteAllRows();
    ChildrenOnOpen([this, &c](std::int64_t row) { c.between(list, row); });
    list.AddFolder("r");
    if (c.raises)
      EXPECT_THROW(list.Expanded(0, true), RuntimeException);
    else
      EXPECT_NO_THROW(list.Expanded(0, true));
    EXPECT_EQ(Rows(list), c.rows);
    list.AddRow({"after"});  // no opening is left running: a top row at the end
    EXPECT_EQ(list.RowDepth(list.ListCount() - 1), 0);
    EXPECT_EQ(list.LastIndex(), list.ListCount() - 1);
  }
}

TEST_F(ListModelTest, DeletingAllRowsLetsTheirTagsGo) {
  auto tag = toolkit::Ref<toolkit::Dictionary>::New();
  const std::weak_ptr<toolkit::Dictionary> gone = tag.shared();
  list.AddFolder("r");
  list.RowTag(0, tag);
  tag = nullptr;
  EXPECT_FALSE(gone.expired());  // the row holds its tag
  list.DeleteAllRows();
  EXPECT_TRUE(gone.expired());
  EXPECT_EQ(list.LastIndex(), -1);
}

TEST_F(ListModelTest, BadIndexesRaiseOutOfBoundsAndChangeNothing) {
  list.AddFolder("only");
  const std::function<void()> calls[] = {
      [&] { list.Cell(1, 0); },        [&] { list.Cell(0, 3); },
      [&] { list.Cell(0, -1, "x"); },  [&] { list.RowTag(-1, 5); },
      [&] { list.RowDepth(1); },       [&] { list.RowIsFolder(-1); },
      [&] { list.Expanded(1, true); }, [&] { (void)list.Expanded(-1); },
  };
  for (const auto& call : calls)
    EXPECT_THROW(call(), OutOfBoundsException);
  EXPECT_EQ(Rows(list), Strings{"only|| +"});
}

TEST_F(ListModelTest, AHeadingClickSortsTopRowsWithTheirChildrenUnlessServed) {
  ChildrenOnOpen();
  list.AddFolder("b");
  list.AddRow({"c"});
  list.AddRow({"a"});
  list.Expanded(0, true);  // the last row added is "b.2"
  list.SortColumn = [](Listbox&, std::int64_t column) { return column == 1; };
  EXPECT_TRUE(list.RaiseSortColumn(1));
  EXPECT_FALSE(list.RaiseSortColumn(5));  // no such column: nothing to sort by
  EXPECT_EQ(Rows(list), (Strings{"b|| -", ">b.1||", ">b.2||", "c||", "a||"}));
  EXPECT_FALSE(list.RaiseSortColumn(0));
  EXPECT_EQ(Rows(list), (Strings{"a||", "b|| -", ">b.1||", ">b.2||", "c||"}));
  EXPECT_EQ(list.Cell(list.LastIndex(), 0).Bytes(), "b.2");
}

}  // namespace
}  // namespace toolkit_test
