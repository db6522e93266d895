#pragma once

#include <QAbstractItemModel>
#include <cstdint>
#include <string_view>
#include <vector>

#include "platform/toolkit/ListModel.h"

namespace qt {

// A cell's bytes as the list shows them: a byte that is not UTF-8 as U+FFFD, and a control
// character as a visible mark ("↵" for a line end), so that a row stays one line and two names
// that differ only there look different.
QString ShownText(std::string_view bytes);

// A Qt item model over the toolkit's ListModel, which stays the one store of rows and cells.
// The model keeps only what Qt needs to address rows while they move: an id and a depth per
// row, in the list's display order, brought up to date inside each begin/end pair so that
// views never see the rows and the index table disagree.
class ListItemModel final : public QAbstractItemModel, private toolkit::ListObserver {
 public:
  explicit ListItemModel(toolkit::Ref<toolkit::ListModel> list, QObject* parent = nullptr);
  ~ListItemModel() override;

  // The row of the list that `index` stands for, or -1.
  std::int64_t ListRow(const QModelIndex& index) const;
  // The index of column `column` of the list's row `row`.
  QModelIndex IndexOf(std::int64_t row, int column = 0) const;
  const toolkit::Ref<toolkit::ListModel>& List() const { return list_; }

  QModelIndex index(int row, int column, const QModelIndex& parent = {}) const override;
  QModelIndex parent(const QModelIndex& child) const override;
  int rowCount(const QModelIndex& parent = {}) const override;
  int columnCount(const QModelIndex& parent = {}) const override;
  bool hasChildren(const QModelIndex& parent = {}) const override;
  // Display, accessible text and tooltip: the cell's ShownText, the tooltip as escaped plain
  // text that wraps.
  QVariant data(const QModelIndex& index, int role = Qt::DisplayRole) const override;
  QVariant headerData(int section, Qt::Orientation orientation,
                      int role = Qt::DisplayRole) const override;
  Qt::ItemFlags flags(const QModelIndex& index) const override;

  // Told when the list's visibility or a row's open state changes.
  std::function<void(bool visible)> OnVisibility;
  std::function<void(std::int64_t row)> OnRowChanged;

 private:
  struct Entry {
    quintptr id;
    std::int64_t depth;
  };

  void RowsAboutToBeInserted(std::int64_t first, std::int64_t count) override;
  void RowsInserted(std::int64_t first, std::int64_t count) override;
  void RowsAboutToBeRemoved(std::int64_t first, std::int64_t count) override;
  void RowsRemoved(std::int64_t first, std::int64_t count) override;
  void LayoutAboutToChange() override;
  void LayoutChanged() override;
  void RowChanged(std::int64_t row) override;
  void VisibilityChanged(bool visible) override;

  void Rebuild();
  // The flat position of the row with that id; -1 for the root (id 0) or an unknown id.
  std::int64_t FlatOf(quintptr id) const;
  std::int64_t ParentFlat(std::int64_t flat) const;  // -1: top level
  int ChildRow(std::int64_t flat) const;             // among its parent's children
  // The flat position of the `row`-th child of `parentFlat`; -1 when there is none.
  std::int64_t ChildFlat(std::int64_t parentFlat, int row) const;
  // Where the list keeps the row at flat position `flat` of the index table, which runs
  // behind the list by the rows of an insertion that is being announced.
  std::int64_t ToList(std::int64_t flat) const;

  toolkit::Ref<toolkit::ListModel> list_;
  std::vector<Entry> entries_;
  quintptr nextId_ = 1;
  std::int64_t pendingFirst_ = -1;  // an insertion that the list has made and Qt not yet seen
  std::int64_t pendingCount_ = 0;
  bool resetting_ = false;
};

}  // namespace qt
