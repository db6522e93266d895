#include <gtest/gtest.h>

#include <QAbstractItemModelTester>
#include <QSignalSpy>
#include <QTest>
#include <QTreeView>
#include <algorithm>
#include <functional>

#include "Support.h"
#include "platform/qt/ListItemModel.h"

namespace {

using toolkit::ListModel;
using toolkit::Ref;
using namespace std::string_view_literals;

// Longer than any inline buffer of a string, so that a cell read from a gone copy shows.
constexpr const char* kLongInfo = "a cell text well past the inline buffer of a string";

// A list of three columns whose folders open into two children: a plain row and, for a
// top-level folder, a folder of its own.
class ListItemModelTest : public ::testing::Test {
 protected:
  ListItemModelTest() {
    toolkit::ListboxDesign d;
    d.ColumnCount = 3;
    d.Headings = {"File Name", "Key", "Info"};
    list->ApplyDesign(d);
    list->ExpandRow = [](toolkit::Listbox& l, std::int64_t row) {
      const std::string name = l.Cell(row, 0).Bytes();
      l.AddRow({name + ".1", "k", "v"});
      if (l.RowDepth(row) == 0) l.AddFolder(name + ".2");
    };
    view.setModel(&model);
  }

  QString Text(const QModelIndex& index) { return model.data(index).toString(); }
  // The rows as Qt sees them, written as window_test::Rows writes them but for the open marks.
  std::vector<std::string> QtRows(const QModelIndex& parent = {}, const std::string& depth = "") {
    std::vector<std::string> rows;
    for (int r = 0; r < model.rowCount(parent); ++r) {
      rows.push_back(depth);
      for (int c = 0; c < model.columnCount(); ++c)
        rows.back().append(c ? "|" : "").append(Text(model.index(r, c, parent)).toStdString());
      const auto below = QtRows(model.index(r, 0, parent), depth + ">");
      rows.insert(rows.end(), below.begin(), below.end());
    }
    return rows;
  }
  QModelIndex Top(int row) { return model.index(row, 0); }

  Ref<ListModel> list = Ref<ListModel>::New();
  qt::ListItemModel model{list};
  QAbstractItemModelTester tester{&model, QAbstractItemModelTester::FailureReportingMode::Fatal};
  QTreeView view;
};

// A closed folder shows it can open before it has children; the rows of one open folder stay
// addressed when another closes.
TEST_F(ListItemModelTest, RowsOfOneOpenFolderStayAddressedWhenAnotherCloses) {
  list->AddFolder("a");
  list->AddFolder("c");
  EXPECT_TRUE(model.hasChildren(Top(0)) && model.rowCount(Top(0)) == 0);
  list->Expanded(1, true);  // c: rows 2, 3
  list->Expanded(0, true);  // a: rows 1, 2; c moves to 3
  ASSERT_EQ(model.rowCount(Top(0)), 2);
  const QPersistentModelIndex cChild(model.index(1, 0, Top(1)));

  list->Expanded(0, false);
  EXPECT_EQ(model.rowCount(Top(0)), 0);
  EXPECT_EQ(Text(cChild), "c.2") << "a kept index must follow its row";
  EXPECT_EQ(model.ListRow(cChild), 3);

  // A grandchild: the nested folder opens below its parent's other child.
  list->Expanded(3, true);
  EXPECT_EQ(Text(model.index(0, 0, model.index(1, 0, Top(1)))), "c.2.1");
}

// The rows that one event adds reach Qt when it ends, as one insertion for each run of rows
// under one parent; whatever else the event does first brings Qt up to date.
TEST_F(ListItemModelTest, AnEventsRowsReachQtAtItsEnd) {
  const struct {
    const char* why;
    std::function<void()> event;
    int insertions;
  } cases[] = {
      // clang-format off
      {"rows added one by one", [&] { list->AddRow({"1", "", kLongInfo}), list->AddRow({"2"}); }, 1},
      {"a row opened by the event that added it, with a row behind it", [&] { list->AddFolder("a"), list->Expanded(0, true), list->AddRow({"b"}); }, 3},
      {"rows removed in between, a cell written before Qt saw its row", [&] { list->AddRow({"x"}), list->DeleteAllRows(), list->AddRow({"y"}), list->Cell(0, 1, "written"); }, 2},
      {"an event that raises", [&] { list->AddRow({"z"}), throw toolkit::RuntimeException(""); }, 1},
      // clang-format on
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.why);
    list->DeleteAllRows();
    QSignalSpy inserted(&model, &QAbstractItemModel::rowsInserted);
    try {
      const qt::EventScope event;
      c.event();
    } catch (const toolkit::RuntimeException&) {
    }
    EXPECT_EQ(inserted.count(), c.insertions);
    std::vector<std::string> rows = window_test::Rows(*list);
    for (std::string& row : rows)
      if (row.ends_with(" +") || row.ends_with(" -")) row.resize(row.size() - 2);
    EXPECT_EQ(QtRows(), rows);
  }
}

// Every cell, name or value, shows the characters that would act rather than show as marks,
// and the rest as they are; the accessible text reads the same.
TEST_F(ListItemModelTest, CellsShowControlAndDirectionCharactersAsMarks) {
  const struct {
    const char* why;
    std::string_view bytes;
    const char* shown;
  } cases[] = {
      {"plain text", "com.example.app", "com.example.app"},
      {"an override hides an .exe", "abc\u202Etxt.exe\u202C def",
       "abc\u2039RLO\u203Atxt.exe\u2039PDF\u203A def"},
      {"embeddings", "\u202A\u202B\u202D", "\u2039LRE\u203A\u2039RLE\u203A\u2039LRO\u203A"},
      {"isolates", "\u2066a\u2067b\u2068c\u2069",
       "\u2039LRI\u203Aa\u2039RLI\u203Ab\u2039FSI\u203Ac\u2039PDI\u203A"},
      {"marks", "\u200E\u200F\u061C", "\u2039LRM\u203A\u2039RLM\u203A\u2039ALM\u203A"},
      {"right-to-left letters stay", "\u05D0\u05D1 ab", "\u05D0\u05D1 ab"},
      {"neighbours of the controls stay", "x\u202F\u2065\u206A\u200D", "x\u202F\u2065\u206A\u200D"},
      {"line ends", "a\nb\u2028c\u2029", "a\u21B5b\u21B5c\u21B5"},
      {"C0, DEL and C1", "\0\x1F\x7F\u0085"sv, "\u2400\u241F\u2421\uFFFD"},
      {"a byte that is no UTF-8", "a\xFF\u202E", "a\uFFFD\u2039RLO\u203A"},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.why);
    const std::string bytes(c.bytes);
    list->DeleteAllRows();
    list->AddRow({bytes, "", bytes});
    for (const int column : {0, 2}) {
      const QModelIndex cell = model.index(0, column);
      EXPECT_EQ(Text(cell), QString::fromUtf8(c.shown)) << column;
      EXPECT_EQ(model.data(cell, Qt::AccessibleTextRole).toString(), QString::fromUtf8(c.shown));
    }
  }
}

// At the end of a long list, rows that event after event adds reach Qt together a little later,
// in one insertion, not one at the end of each event; CatchUp shows them at once. A shorter list
// is told at the end of each event.
TEST_F(ListItemModelTest, RowsThatKeepComingAtTheEndOfALongListReachQtTogether) {
  const struct {
    const char* why;
    int rowsBefore;
    std::function<void()> then;  // after three events of a row each; nullptr: nothing
    int insertionsAtOnce;        // by the end of the third event
  } cases[] = {
      {"a long list: held until the interval ends", 2000, nullptr, 0},
      {"a long list, caught up by hand", 2000, [&] { model.CatchUp(); }, 1},
      {"a list short of long to the end: each event's rows at its end", 1996, nullptr, 3},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.why);
    list->DeleteAllRows();
    {
      const qt::EventScope event;  // one insertion, checked once by the tester
      for (int i = 0; i < c.rowsBefore; ++i)
        list->AddRow({"row"});
    }
    QSignalSpy inserted(&model, &QAbstractItemModel::rowsInserted);
    for (const char* name : {"a", "b", "c"}) {
      const qt::EventScope event;
      list->AddRow({name});
    }
    if (c.then) c.then();
    EXPECT_EQ(inserted.count(), c.insertionsAtOnce);
    EXPECT_TRUE(QTest::qWaitFor([&] { return model.rowCount() == c.rowsBefore + 3; }, 2000));
    EXPECT_EQ(inserted.count(), std::max(c.insertionsAtOnce, 1));
    EXPECT_EQ(QtRows().back(), "c||");
  }
}

}  // namespace
