#include <gtest/gtest.h>

#include <QAbstractItemModelTester>
#include <QSignalSpy>
#include <QTreeView>

#include "platform/qt/ListItemModel.h"

namespace {

using toolkit::ListModel;
using toolkit::Ref;

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
  QModelIndex Top(int row) { return model.index(row, 0); }

  Ref<ListModel> list = Ref<ListModel>::New();
  qt::ListItemModel model{list};
  QAbstractItemModelTester tester{&model, QAbstractItemModelTester::FailureReportingMode::Fatal};
  QTreeView view;
};

TEST_F(ListItemModelTest, ClosedFoldersShowTheyCanOpenBeforeTheyHaveChildren) {
  list->AddFolder("a");
  list->AddRow({"b", "k", kLongInfo});
  list->AddFolder("c");
  ASSERT_EQ(model.rowCount(), 3);
  EXPECT_TRUE(model.hasChildren(Top(0)));
  EXPECT_FALSE(model.hasChildren(Top(1)));
  EXPECT_EQ(model.rowCount(Top(0)), 0);
  EXPECT_EQ(model.headerData(2, Qt::Horizontal).toString(), "Info");
  EXPECT_EQ(Text(model.index(1, 2)), kLongInfo);
}

TEST_F(ListItemModelTest, RowsOfOneOpenFolderStayAddressedWhenAnotherCloses) {
  list->AddFolder("a");
  list->AddFolder("c");
  list->Expanded(1, true);  // c: rows 2, 3
  list->Expanded(0, true);  // a: rows 1, 2; c moves to 3
  ASSERT_EQ(model.rowCount(Top(0)), 2);
  const QModelIndex c = Top(1);
  ASSERT_EQ(model.rowCount(c), 2);
  EXPECT_EQ(Text(model.index(0, 0, c)), "c.1");
  const QPersistentModelIndex cChild(model.index(1, 0, c));

  list->Expanded(0, false);
  EXPECT_EQ(model.rowCount(Top(0)), 0);
  EXPECT_EQ(Text(model.index(1, 0, Top(1))), "c.2");
  EXPECT_EQ(Text(cChild), "c.2") << "a kept index must follow its row";
  EXPECT_EQ(model.ListRow(cChild), 3);

  // A grandchild: the nested folder opens below its parent's other child.
  list->Expanded(3, true);
  EXPECT_EQ(Text(model.index(0, 0, model.index(1, 0, Top(1)))), "c.2.1");
}

TEST_F(ListItemModelTest, ClearingAndTheListsVisibilityReachQt) {
  bool shown = true;
  model.OnVisibility = [&](bool v) { shown = v; };
  list->AddFolder("a");
  list->Expanded(0, true);
  QSignalSpy removed(&model, &QAbstractItemModel::rowsRemoved);
  list->DeleteAllRows();
  EXPECT_EQ(model.rowCount(), 0);
  ASSERT_EQ(removed.count(), 1);
  EXPECT_FALSE(removed.at(0).at(0).value<QModelIndex>().isValid());
  list->Visible(false);
  EXPECT_FALSE(shown);
}

}  // namespace
