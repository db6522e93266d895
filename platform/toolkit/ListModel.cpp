#include "platform/toolkit/ListModel.h"

#include <algorithm>
#include <string>
#include <utility>

namespace toolkit {

namespace {

[[noreturn]] void OutOfBounds(const char* what, std::int64_t index, std::int64_t count) {
  throw OutOfBoundsException("Listbox " + std::string(what) + " " + std::to_string(index) +
                             " outside 0.." + std::to_string(count - 1));
}

}  // namespace

const ListModel::Row& ListModel::At(std::int64_t row) const {
  if (row < 0 || row >= ListCount()) OutOfBounds("row", row, ListCount());
  return rows_[static_cast<std::size_t>(row)];
}

ListModel::Row& ListModel::At(std::int64_t row) {
  return const_cast<Row&>(std::as_const(*this).At(row));
}

void ListModel::CheckColumn(std::int64_t column) const {
  if (column < 0 || column >= columns_) OutOfBounds("column", column, columns_);
}

void ListModel::ApplyDesign(const ListboxDesign& design) {
  design_ = design;
  const std::int64_t columns = std::clamp<std::int64_t>(design.ColumnCount, 1, kMaxColumns);
  if (columns != columns_) {
    Tell([](ListObserver& o) { o.LayoutAboutToChange(); });
    columns_ = columns;
    for (Row& r : rows_)
      r.cells.resize(static_cast<std::size_t>(columns_));
    Tell([](ListObserver& o) { o.LayoutChanged(); });
  }
  Visible(design.Visible);
}

void ListModel::Visible(bool visible) {
  if (visible == visible_) return;
  visible_ = visible;
  Tell([visible](ListObserver& o) { o.VisibilityChanged(visible); });
}

void ListModel::AddRow(const std::vector<String>& cells) {
  const auto n = std::min(cells.size(), static_cast<std::size_t>(columns_));
  Add(std::vector<String>(cells.begin(), cells.begin() + static_cast<std::ptrdiff_t>(n)), false);
}

void ListModel::AddFolder(const String& text) {
  Add({text}, true);
}

void ListModel::Add(std::vector<String> cells, bool folder) {
  cells.resize(static_cast<std::size_t>(columns_));
  std::int64_t at = ListCount();
  std::int64_t depth = 0;
  // The innermost opening whose row is still there and open takes the row as its child; an
  // opening whose row was closed or removed by its own handler takes nothing any more.
  std::size_t owner = openings_.size();
  for (std::size_t i = openings_.size(); i-- > 0;) {
    Opening& o = openings_[i];
    if (o.row < 0 || !rows_[static_cast<std::size_t>(o.row)].expanded) continue;
    if (o.layout != layout_) {
      o.end = SubtreeEnd(o.row);
      o.layout = layout_;
    }
    at = o.end;
    depth = rows_[static_cast<std::size_t>(o.row)].depth + 1;
    owner = i;
    break;
  }

  const std::int64_t parentRow = owner < openings_.size() ? openings_[owner].row : -1;
  Tell([parentRow, at](ListObserver& o) { o.RowsAboutToBeInserted(parentRow, at, 1); });
  // A new row is always its parent's last child: it goes behind the parent's whole subtree.
  const std::uint64_t parent = RowId(parentRow);
  const std::uint64_t id = nextId_++;
  std::vector<std::uint64_t>& siblings = parent == 0 ? top_ : children_[parent];
  rows_.insert(rows_.begin() + at, Row{id, parent, static_cast<std::int64_t>(siblings.size()),
                                       depth, std::move(cells), Variant(), nullptr, folder, false});
  siblings.push_back(id);
  if (at + 1 < ListCount()) Moved(at);  // what stood at `at` and below is a row further down
  rowOfId_[id] = at;
  ++layout_;
  for (Opening& o : openings_) {
    if (o.row >= at) ++o.row;
  }
  lastIndex_ = at;
  if (owner < openings_.size()) {
    // The next child goes behind this one, with no need to look for the end again.
    openings_[owner].end = at + 1;
    openings_[owner].layout = layout_;
  }
  Tell([at](ListObserver& o) { o.RowsInserted(at, 1); });
}

std::int64_t ListModel::SubtreeEnd(std::int64_t row) const {
  const std::int64_t depth = rows_[static_cast<std::size_t>(row)].depth;
  std::int64_t end = row + 1;
  while (end < ListCount() && rows_[static_cast<std::size_t>(end)].depth > depth)
    ++end;
  return end;
}

void ListModel::Remove(std::int64_t first, std::int64_t end) {
  const std::int64_t count = end - first;
  if (count <= 0) return;
  Tell([first, count](ListObserver& o) { o.RowsAboutToBeRemoved(first, count); });
  const bool moves = end < ListCount();
  std::uint64_t parent = 0;
  std::size_t renumberFrom = 0;  // later children of that parent, whose places change
  if (first == 0 && !moves) {
    top_.clear();
    children_.clear();
    rowOfId_.clear();
  } else {
    // The range is whole subtrees of neighbouring children of one parent, the first row's.
    parent = rows_[static_cast<std::size_t>(first)].parent;
    renumberFrom = static_cast<std::size_t>(rows_[static_cast<std::size_t>(first)].position);
    std::int64_t heads = 0;
    for (std::int64_t i = first; i < end; ++i) {
      const Row& r = rows_[static_cast<std::size_t>(i)];
      if (r.parent == parent) ++heads;
      children_.erase(r.id);
      rowOfId_.erase(r.id);
    }
    std::vector<std::uint64_t>& siblings = parent == 0 ? top_ : children_[parent];
    const auto from = siblings.begin() + static_cast<std::ptrdiff_t>(renumberFrom);
    siblings.erase(from, from + heads);
  }
  rows_.erase(rows_.begin() + first, rows_.begin() + end);
  if (moves) Moved(first);
  if (const auto* siblings = Children(parent)) {
    for (std::size_t i = renumberFrom; i < siblings->size(); ++i)
      rows_[static_cast<std::size_t>(RowOfId((*siblings)[i]))].position =
          static_cast<std::int64_t>(i);
    if (parent != 0 && siblings->empty()) children_.erase(parent);
  }
  ++layout_;
  const auto shift = [first, end, count](std::int64_t& index) {
    if (index >= end)
      index -= count;
    else if (index >= first)
      index = -1;
  };
  for (Opening& o : openings_)
    shift(o.row);
  shift(lastIndex_);
  Tell([first, count](ListObserver& o) { o.RowsRemoved(first, count); });
}

void ListModel::DeleteAllRows() {
  Remove(0, ListCount());
}

String ListModel::Cell(std::int64_t row, std::int64_t column) const {
  const Row& r = At(row);
  CheckColumn(column);
  return r.cells[static_cast<std::size_t>(column)];
}

void ListModel::Cell(std::int64_t row, std::int64_t column, const String& text) {
  Row& r = At(row);
  CheckColumn(column);
  r.cells[static_cast<std::size_t>(column)] = text;
  TellRowChanged(row);
}

void ListModel::RowTag(std::int64_t row, const Variant& tag) {
  At(row).tag = tag;
  TellRowChanged(row);
}

void ListModel::Expanded(std::int64_t row, bool open) {
  Row& r = At(row);
  if (open) {
    if (!r.folder || r.expanded) return;
    r.expanded = true;
    TellRowChanged(row);
    openings_.push_back({r.id, row, row + 1, layout_});
    // Popped also when the handler raises: the rows it added stay, the row stays open.
    struct Pop {
      std::vector<Opening>& openings;
      ~Pop() { openings.pop_back(); }
    } pop{openings_};
    if (const auto handler = ExpandRow) handler(*this, row);
  } else {
    if (!r.expanded) return;
    Remove(row + 1, SubtreeEnd(row));
    At(row).expanded = false;
    TellRowChanged(row);
  }
}

bool ListModel::RaiseSortColumn(std::int64_t column) {
  if (const auto handler = SortColumn; handler && handler(*this, column)) return true;
  if (column < 0 || column >= columns_) return false;

  // Top-level rows move, each with its children behind it.
  std::vector<std::pair<std::size_t, std::size_t>> groups;
  for (std::size_t i = 0; i < rows_.size(); ++i) {
    if (rows_[i].depth == 0 || groups.empty()) groups.emplace_back(i, i);
    groups.back().second = i + 1;
  }
  const auto c = static_cast<std::size_t>(column);
  std::stable_sort(groups.begin(), groups.end(), [this, c](const auto& a, const auto& b) {
    return rows_[a.first].cells[c] < rows_[b.first].cells[c];
  });

  Tell([](ListObserver& o) { o.LayoutAboutToChange(); });
  const std::uint64_t lastId =
      lastIndex_ >= 0 ? rows_[static_cast<std::size_t>(lastIndex_)].id : UINT64_MAX;
  std::vector<Row> sorted;
  sorted.reserve(rows_.size());
  for (const auto& [first, end] : groups) {
    for (std::size_t i = first; i < end; ++i)
      sorted.push_back(std::move(rows_[i]));
  }
  rows_ = std::move(sorted);
  top_.clear();
  for (Row& r : rows_) {
    if (r.parent != 0) continue;
    r.position = static_cast<std::int64_t>(top_.size());
    top_.push_back(r.id);
  }
  Moved(0);
  ++layout_;
  for (std::size_t i = 0; i < rows_.size(); ++i) {
    const auto index = static_cast<std::int64_t>(i);
    if (rows_[i].id == lastId) lastIndex_ = index;
    for (Opening& o : openings_) {
      if (o.row >= 0 && rows_[i].id == o.id) o.row = index;
    }
  }
  Tell([](ListObserver& o) { o.LayoutChanged(); });
  return false;
}

void ListModel::TellRowChanged(std::int64_t row) {
  Tell([row](ListObserver& o) { o.RowChanged(row); });
}

std::uint64_t ListModel::RowId(std::int64_t row) const {
  return row >= 0 && row < ListCount() ? rows_[static_cast<std::size_t>(row)].id : 0;
}

std::int64_t ListModel::RowOfId(std::uint64_t id) const {
  const auto it = rowOfId_.find(id);
  if (it == rowOfId_.end()) return -1;
  if (it->second >= stale_) {
    for (auto i = static_cast<std::size_t>(stale_); i < rows_.size(); ++i)
      rowOfId_[rows_[i].id] = static_cast<std::int64_t>(i);
    stale_ = std::numeric_limits<std::int64_t>::max();
  }
  return it->second;
}

std::int64_t ListModel::ParentRow(std::int64_t row) const {
  return row >= 0 && row < ListCount() ? RowOfId(rows_[static_cast<std::size_t>(row)].parent) : -1;
}

std::int64_t ListModel::ChildPosition(std::int64_t row) const {
  return row >= 0 && row < ListCount() ? rows_[static_cast<std::size_t>(row)].position : -1;
}

const std::vector<std::uint64_t>* ListModel::Children(std::uint64_t parent) const {
  if (parent == 0) return &top_;
  const auto it = children_.find(parent);
  return it == children_.end() ? nullptr : &it->second;
}

std::int64_t ListModel::ChildCount(std::int64_t parent) const {
  if (parent != -1 && RowId(parent) == 0) return 0;
  const auto* children = Children(parent == -1 ? 0 : RowId(parent));
  return children ? static_cast<std::int64_t>(children->size()) : 0;
}

std::int64_t ListModel::ChildRow(std::int64_t parent, std::int64_t position) const {
  if (parent != -1 && RowId(parent) == 0) return -1;
  const auto* children = Children(parent == -1 ? 0 : RowId(parent));
  if (!children || position < 0 || position >= static_cast<std::int64_t>(children->size()))
    return -1;
  return RowOfId((*children)[static_cast<std::size_t>(position)]);
}

void ListModel::AddObserver(ListObserver* observer) {
  if (observer != nullptr &&
      std::find(observers_.begin(), observers_.end(), observer) == observers_.end()) {
    observers_.push_back(observer);
  }
}

void ListModel::RemoveObserver(ListObserver* observer) {
  observers_.erase(std::remove(observers_.begin(), observers_.end(), observer), observers_.end());
}

}  // namespace toolkit
