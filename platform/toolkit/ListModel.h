#pragma once

#include <algorithm>
#include <cstdint>
#include <limits>
#include <unordered_map>
#include <vector>

#include "platform/toolkit/Listbox.h"

namespace toolkit {

// What a view of a ListModel is told. Each "about to" call comes right before its change and
// its partner right after, so a view can mirror the rows without a store of its own.
class ListObserver {
 public:
  virtual ~ListObserver() = default;
  // The rows will be children of `parent`, -1 for the top level.
  virtual void RowsAboutToBeInserted(std::int64_t parent, std::int64_t first,
                                     std::int64_t count) = 0;
  virtual void RowsInserted(std::int64_t first, std::int64_t count) = 0;
  virtual void RowsAboutToBeRemoved(std::int64_t first, std::int64_t count) = 0;
  virtual void RowsRemoved(std::int64_t first, std::int64_t count) = 0;
  // Rows moved (a sort) or every row's cells changed their number (the column count).
  virtual void LayoutAboutToChange() = 0;
  virtual void LayoutChanged() = 0;
  // A cell, the tag or the open state of one row.
  virtual void RowChanged(std::int64_t row) = 0;
  virtual void VisibilityChanged(bool visible) = 0;
};

// The list box without a screen, and the one store of rows that a platform's view shows. The
// rows are kept in display order, each with its depth: since a closed row has no children,
// every row there is is a row shown, and a view needs nothing but this order and the depths.
//
// Rules that hold after every operation, so that the order and the depths alone make a tree:
// - the first row has depth 0, and a row is at most one deeper than the row above it;
// - a row one deeper than the row above it is a child of that row, which is an open folder;
// - a plain row is never open; every row has ColumnCount cells.
//
// Beside the order it keeps the tree that the order and depths make, for views that address a
// row by its parent and its place there: each row's id, which stays with the row while it
// lives, its parent and place, and each parent's children, so that each of those lookups takes
// constant time. A row is always added as the last child of its parent, so places stay put
// until a sort. Only the positions by id change when rows go in or out above others: they are
// brought up to date at the first lookup after that, all in one pass.
class ListModel final : public Listbox {
 public:
  ListModel() = default;

  void ApplyDesign(const ListboxDesign& design) override;
  const ListboxDesign& Design() const override { return design_; }
  std::int64_t ColumnCount() const override { return columns_; }
  bool Visible() const override { return visible_; }
  void Visible(bool visible) override;

  void AddRow(const std::vector<String>& cells) override;
  void AddFolder(const String& text) override;
  std::int64_t LastIndex() const override { return lastIndex_; }
  std::int64_t ListCount() const override { return static_cast<std::int64_t>(rows_.size()); }
  void DeleteAllRows() override;

  String Cell(std::int64_t row, std::int64_t column) const override;
  void Cell(std::int64_t row, std::int64_t column, const String& text) override;
  Variant RowTag(std::int64_t row) const override { return At(row).tag; }
  void RowTag(std::int64_t row, const Variant& tag) override;
  Ref<FolderItem> RowSource(std::int64_t row) const override { return At(row).source; }
  void RowSource(std::int64_t row, const Ref<FolderItem>& source) override {
    At(row).source = source;
  }
  std::int64_t RowDepth(std::int64_t row) const override { return At(row).depth; }
  bool RowIsFolder(std::int64_t row) const override { return At(row).folder; }
  bool Expanded(std::int64_t row) const override { return At(row).expanded; }
  void Expanded(std::int64_t row, bool open) override;

  bool RaiseSortColumn(std::int64_t column) override;

  // The tree. `row` is a display index as everywhere; `parent` -1 stands for the top level.
  // None of these raises: a row that isn't there has id 0, no parent, place -1 and no
  // children, and a lookup that finds nothing answers -1.
  std::uint64_t RowId(std::int64_t row) const;  // never 0 for a row that is there
  std::int64_t RowOfId(std::uint64_t id) const;
  std::int64_t ParentRow(std::int64_t row) const;
  std::int64_t ChildPosition(std::int64_t row) const;  // among its parent's children
  std::int64_t ChildCount(std::int64_t parent) const;
  std::int64_t ChildRow(std::int64_t parent, std::int64_t position) const;

  // The observer must stay alive until it is removed. Observers are told in the order added.
  void AddObserver(ListObserver* observer);
  void RemoveObserver(ListObserver* observer);

 private:
  struct Row {
    std::uint64_t id;       // stays with the row when a sort moves it
    std::uint64_t parent;   // its id, 0 at the top level
    std::int64_t position;  // among the parent's children
    std::int64_t depth;
    std::vector<String> cells;
    Variant tag;
    Ref<FolderItem> source;
    bool folder;
    bool expanded;
  };

  // A row whose ExpandRow event is running, and where its next child goes.
  struct Opening {
    std::uint64_t id;
    std::int64_t row;      // -1 once the row has gone
    std::int64_t end;      // the index behind its children so far,
    std::uint64_t layout;  // valid while layout_ is still this
  };

  const Row& At(std::int64_t row) const;
  Row& At(std::int64_t row);
  void CheckColumn(std::int64_t column) const;
  void Add(std::vector<String> cells, bool folder);
  // The index behind the last descendant of `row`.
  std::int64_t SubtreeEnd(std::int64_t row) const;
  void Remove(std::int64_t first, std::int64_t end);
  void TellRowChanged(std::int64_t row);
  // The ids of the children of the row with id `parent`, or of the top-level rows for 0; null
  // when it has none.
  const std::vector<std::uint64_t>* Children(std::uint64_t parent) const;
  // Rows that stood at `row` or further down have moved: an entry in rowOfId_ that says `row`
  // or more may be out of date.
  void Moved(std::int64_t row) { stale_ = std::min(stale_, row); }

  template <class F>
  void Tell(F&& f) {
    // A copy: an observer may remove itself while it is told.
    const std::vector<ListObserver*> observers = observers_;
    for (ListObserver* o : observers)
      f(*o);
  }

  ListboxDesign design_;
  std::int64_t columns_ = 1;
  bool visible_ = true;
  std::vector<Row> rows_;
  std::int64_t lastIndex_ = -1;
  std::uint64_t nextId_ = 1;
  std::vector<std::uint64_t> top_;                                          // ids, in order
  std::unordered_map<std::uint64_t, std::vector<std::uint64_t>> children_;  // of open rows
  // The position of each row by its id; right where it says less than stale_.
  mutable std::unordered_map<std::uint64_t, std::int64_t> rowOfId_;
  mutable std::int64_t stale_ = std::numeric_limits<std::int64_t>::max();
  std::vector<Opening> openings_;  // innermost last
  std::uint64_t layout_ = 0;       // moves on at every insertion, removal or move of rows
  std::vector<ListObserver*> observers_;
};

}  // namespace toolkit
