#include "platform/qt/ListItemModel.h"

#include <QTextDocument>
#include <algorithm>

namespace qt {

ListItemModel::ListItemModel(toolkit::Ref<toolkit::ListModel> list, QObject* parent)
    : QAbstractItemModel(parent), list_(std::move(list)) {
  Rebuild();
  list_->AddObserver(this);
}

ListItemModel::~ListItemModel() {
  list_->RemoveObserver(this);
}

void ListItemModel::Rebuild() {
  entries_.clear();
  for (std::int64_t i = 0; i < list_->ListCount(); ++i)
    entries_.push_back({nextId_++, list_->RowDepth(i)});
}

std::int64_t ListItemModel::FlatOf(quintptr id) const {
  if (id == 0) return -1;
  for (std::size_t i = 0; i < entries_.size(); ++i) {
    if (entries_[i].id == id) return static_cast<std::int64_t>(i);
  }
  return -1;
}

std::int64_t ListItemModel::ParentFlat(std::int64_t flat) const {
  const std::int64_t depth = entries_[static_cast<std::size_t>(flat)].depth;
  for (std::int64_t i = flat - 1; i >= 0; --i) {
    if (entries_[static_cast<std::size_t>(i)].depth < depth) return i;
  }
  return -1;
}

int ListItemModel::ChildRow(std::int64_t flat) const {
  const std::int64_t depth = entries_[static_cast<std::size_t>(flat)].depth;
  int row = 0;
  for (std::int64_t i = flat - 1; i >= 0; --i) {
    const std::int64_t d = entries_[static_cast<std::size_t>(i)].depth;
    if (d < depth) break;
    if (d == depth) ++row;
  }
  return row;
}

std::int64_t ListItemModel::ChildFlat(std::int64_t parentFlat, int row) const {
  const std::int64_t depth =
      parentFlat < 0 ? 0 : entries_[static_cast<std::size_t>(parentFlat)].depth + 1;
  int seen = 0;
  for (std::size_t i = static_cast<std::size_t>(parentFlat + 1); i < entries_.size(); ++i) {
    const std::int64_t d = entries_[i].depth;
    if (d < depth) break;
    if (d == depth && seen++ == row) return static_cast<std::int64_t>(i);
  }
  return -1;
}

std::int64_t ListItemModel::ToList(std::int64_t flat) const {
  return pendingFirst_ >= 0 && flat >= pendingFirst_ ? flat + pendingCount_ : flat;
}

std::int64_t ListItemModel::ListRow(const QModelIndex& index) const {
  if (!index.isValid() || index.model() != this) return -1;
  const std::int64_t parentFlat = FlatOf(index.internalId());
  if (index.internalId() != 0 && parentFlat < 0) return -1;
  const std::int64_t flat = ChildFlat(parentFlat, index.row());
  return flat < 0 ? -1 : ToList(flat);
}

QModelIndex ListItemModel::IndexOf(std::int64_t row, int column) const {
  if (pendingFirst_ >= 0 || row < 0 || row >= static_cast<std::int64_t>(entries_.size())) return {};
  const std::int64_t parentFlat = ParentFlat(row);
  const quintptr parentId = parentFlat < 0 ? 0 : entries_[static_cast<std::size_t>(parentFlat)].id;
  return createIndex(ChildRow(row), column, parentId);
}

QModelIndex ListItemModel::index(int row, int column, const QModelIndex& parent) const {
  if (row < 0 || column < 0 || column >= columnCount(parent)) return {};
  const std::int64_t parentFlat =
      parent.isValid() ? ChildFlat(FlatOf(parent.internalId()), parent.row()) : -1;
  if (parent.isValid() && parentFlat < 0) return {};
  if (ChildFlat(parentFlat, row) < 0) return {};
  const quintptr parentId = parentFlat < 0 ? 0 : entries_[static_cast<std::size_t>(parentFlat)].id;
  return createIndex(row, column, parentId);
}

QModelIndex ListItemModel::parent(const QModelIndex& child) const {
  if (!child.isValid() || child.internalId() == 0) return {};
  const std::int64_t parentFlat = FlatOf(child.internalId());
  if (parentFlat < 0) return {};
  const std::int64_t grand = ParentFlat(parentFlat);
  const quintptr grandId = grand < 0 ? 0 : entries_[static_cast<std::size_t>(grand)].id;
  return createIndex(ChildRow(parentFlat), 0, grandId);
}

int ListItemModel::rowCount(const QModelIndex& parent) const {
  if (parent.column() > 0) return 0;
  std::int64_t parentFlat = -1;
  if (parent.isValid()) {
    parentFlat = ChildFlat(FlatOf(parent.internalId()), parent.row());
    if (parentFlat < 0) return 0;
  }
  const std::int64_t depth =
      parentFlat < 0 ? 0 : entries_[static_cast<std::size_t>(parentFlat)].depth + 1;
  int count = 0;
  for (std::size_t i = static_cast<std::size_t>(parentFlat + 1); i < entries_.size(); ++i) {
    if (entries_[i].depth < depth) break;
    if (entries_[i].depth == depth) ++count;
  }
  return count;
}

int ListItemModel::columnCount(const QModelIndex& parent) const {
  (void)parent;
  return resetting_ ? 0 : static_cast<int>(list_->ColumnCount());
}

bool ListItemModel::hasChildren(const QModelIndex& parent) const {
  if (!parent.isValid()) return !entries_.empty();
  if (parent.column() > 0) return false;
  // A closed folder has no children yet, and still shows that it can be opened.
  const std::int64_t row = ListRow(parent);
  return row >= 0 && (list_->RowIsFolder(row) || rowCount(parent) > 0);
}

QString ShownText(std::string_view bytes) {
  QString text = QString::fromUtf8(bytes.data(), static_cast<qsizetype>(bytes.size()));
  for (QChar& c : text) {
    const char16_t u = c.unicode();
    if (u == u'\n')
      c = QChar(0x21B5);  // ↵
    else if (u < 0x20)
      c = QChar(0x2400 + u);  // the control pictures, ␀ to ␟
    else if (u == 0x7F)
      c = QChar(0x2421);  // ␡
    else if (u >= 0x80 && u < 0xA0)
      c = QChar::ReplacementCharacter;  // C1 controls have no pictures
  }
  return text;
}

namespace {

// A tooltip for a cell's shown text: escaped, so that Qt never takes a value for markup (an
// <img> would make it load a file), and with a place to break in every long run of
// characters, so that a long value without spaces wraps inside the screen.
QString ToolTip(const QString& shown) {
  if (shown.isEmpty()) return {};
  constexpr int kLongestRun = 32;
  QString breakable;
  breakable.reserve(shown.size() + shown.size() / kLongestRun);
  int run = 0;
  for (const QChar c : shown) {
    breakable += c;
    run = c.isSpace() ? 0 : run + 1;
    if (run >= kLongestRun && !c.isHighSurrogate()) {
      breakable += QChar(0x200B);  // zero width space
      run = 0;
    }
  }
  return Qt::convertFromPlainText(breakable, Qt::WhiteSpaceNormal);
}

}  // namespace

QVariant ListItemModel::data(const QModelIndex& index, int role) const {
  if (role != Qt::DisplayRole && role != Qt::ToolTipRole && role != Qt::AccessibleTextRole)
    return {};
  const std::int64_t row = ListRow(index);
  if (row < 0 || index.column() >= list_->ColumnCount()) return {};
  const QString shown = ShownText(list_->Cell(row, index.column()).View());
  return role == Qt::ToolTipRole ? ToolTip(shown) : shown;
}

QVariant ListItemModel::headerData(int section, Qt::Orientation orientation, int role) const {
  if (orientation != Qt::Horizontal || role != Qt::DisplayRole || section < 0) return {};
  const auto& headings = list_->Design().Headings;
  if (static_cast<std::size_t>(section) >= headings.size()) return QString();
  const std::string_view text = headings[static_cast<std::size_t>(section)].View();
  return QString::fromUtf8(text.data(), static_cast<qsizetype>(text.size()));
}

Qt::ItemFlags ListItemModel::flags(const QModelIndex& index) const {
  if (!index.isValid()) return Qt::ItemIsDropEnabled;
  return Qt::ItemIsEnabled | Qt::ItemIsSelectable;
}

void ListItemModel::RowsAboutToBeInserted(std::int64_t first, std::int64_t count) {
  // The new rows' depths are known only once they are there: see RowsInserted.
  (void)first;
  (void)count;
}

void ListItemModel::RowsInserted(std::int64_t first, std::int64_t count) {
  // The list adds rows as siblings under one parent; announce them, with the index table
  // still as Qt knows it, then take them in.
  const std::int64_t depth = list_->RowDepth(first);
  for (std::int64_t i = first; i < first + count; ++i) {
    if (list_->RowDepth(i) < depth) {
      beginResetModel();
      Rebuild();
      endResetModel();
      return;
    }
  }
  std::int64_t parentFlat = -1;
  for (std::int64_t i = first - 1; i >= 0; --i) {
    if (entries_[static_cast<std::size_t>(i)].depth < depth) {
      parentFlat = i;
      break;
    }
  }
  int row = 0;
  for (std::int64_t i = parentFlat + 1; i < first; ++i) {
    if (entries_[static_cast<std::size_t>(i)].depth == depth) ++row;
  }
  int siblings = 0;
  for (std::int64_t i = first; i < first + count; ++i) {
    if (list_->RowDepth(i) == depth) ++siblings;
  }
  const QModelIndex parentIndex = parentFlat < 0 ? QModelIndex() : IndexOf(parentFlat);
  pendingFirst_ = first;
  pendingCount_ = count;
  beginInsertRows(parentIndex, row, row + siblings - 1);
  std::vector<Entry> added;
  for (std::int64_t i = first; i < first + count; ++i)
    added.push_back({nextId_++, list_->RowDepth(i)});
  entries_.insert(entries_.begin() + first, added.begin(), added.end());
  pendingFirst_ = -1;
  endInsertRows();
}

void ListItemModel::RowsAboutToBeRemoved(std::int64_t first, std::int64_t count) {
  (void)count;
  // The range is whole subtrees of siblings: its top rows are what Qt removes.
  const std::int64_t depth = entries_[static_cast<std::size_t>(first)].depth;
  int siblings = 0;
  for (std::int64_t i = first; i < first + count; ++i) {
    if (entries_[static_cast<std::size_t>(i)].depth == depth) ++siblings;
  }
  const std::int64_t parentFlat = ParentFlat(first);
  const int row = ChildRow(first);
  beginRemoveRows(parentFlat < 0 ? QModelIndex() : IndexOf(parentFlat), row, row + siblings - 1);
}

void ListItemModel::RowsRemoved(std::int64_t first, std::int64_t count) {
  entries_.erase(entries_.begin() + first, entries_.begin() + first + count);
  endRemoveRows();
}

void ListItemModel::LayoutAboutToChange() {
  beginResetModel();
  resetting_ = true;
}

void ListItemModel::LayoutChanged() {
  resetting_ = false;
  Rebuild();
  endResetModel();
}

void ListItemModel::RowChanged(std::int64_t row) {
  const QModelIndex first = IndexOf(row, 0);
  const QModelIndex last = IndexOf(row, columnCount() - 1);
  if (first.isValid()) emit dataChanged(first, last);
  if (OnRowChanged) OnRowChanged(row);
}

void ListItemModel::VisibilityChanged(bool visible) {
  if (OnVisibility) OnVisibility(visible);
}

}  // namespace qt
