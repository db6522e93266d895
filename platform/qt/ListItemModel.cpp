#include "platform/qt/ListItemModel.h"

#include <QElapsedTimer>
#include <QTimerEvent>
#include <algorithm>

namespace qt {

ListItemModel::ListItemModel(toolkit::Ref<toolkit::ListModel> list, QObject* parent)
    : QAbstractItemModel(parent), list_(std::move(list)) {
  list_->AddObserver(this);
}

ListItemModel::~ListItemModel() {
  EventScope::Forget(this);
  list_->RemoveObserver(this);
}

std::int64_t ListItemModel::ShownChildren(std::int64_t parent) const {
  const std::int64_t count = list_->ChildCount(parent);
  return heldCount_ > 0 && list_->RowId(parent) == heldParent_ ? count - heldChildren_ : count;
}

std::int64_t ListItemModel::ListRow(const QModelIndex& index) const {
  if (!index.isValid() || index.model() != this) return -1;
  const std::int64_t row = list_->RowOfId(index.internalId());
  return HeldBack(row) ? -1 : row;
}

QModelIndex ListItemModel::IndexOf(std::int64_t row, int column) const {
  if (row < 0 || row >= list_->ListCount() || HeldBack(row) || column < 0 ||
      column >= columnCount())
    return {};
  return createIndex(static_cast<int>(list_->ChildPosition(row)), column,
                     static_cast<quintptr>(list_->RowId(row)));
}

QModelIndex ListItemModel::index(int row, int column, const QModelIndex& parent) const {
  if (row < 0 || column < 0 || column >= columnCount(parent)) return {};
  std::int64_t parentRow = -1;
  if (parent.isValid()) {
    parentRow = parent.column() == 0 ? ListRow(parent) : -1;
    if (parentRow < 0) return {};
  }
  if (row >= ShownChildren(parentRow)) return {};
  return createIndex(row, column,
                     static_cast<quintptr>(list_->RowId(list_->ChildRow(parentRow, row))));
}

QModelIndex ListItemModel::parent(const QModelIndex& child) const {
  const std::int64_t parentRow = list_->ParentRow(ListRow(child));
  return parentRow < 0 ? QModelIndex() : IndexOf(parentRow);
}

QModelIndex ListItemModel::sibling(int row, int column, const QModelIndex& index) const {
  // Another cell of the same row: its id is the index's own.
  if (row == index.row() && index.isValid() && index.model() == this && column >= 0 &&
      column < columnCount())
    return createIndex(row, column, index.internalId());
  return QAbstractItemModel::sibling(row, column, index);
}

int ListItemModel::rowCount(const QModelIndex& parent) const {
  if (!parent.isValid()) return static_cast<int>(ShownChildren(-1));
  const std::int64_t row = parent.column() == 0 ? ListRow(parent) : -1;
  return row < 0 ? 0 : static_cast<int>(ShownChildren(row));
}

int ListItemModel::columnCount(const QModelIndex& parent) const {
  (void)parent;
  return resetting_ ? 0 : static_cast<int>(list_->ColumnCount());
}

bool ListItemModel::hasChildren(const QModelIndex& parent) const {
  if (!parent.isValid()) return ShownChildren(-1) > 0;
  // A closed folder has no children yet, and still shows that it can be opened.
  const std::int64_t row = parent.column() == 0 ? ListRow(parent) : -1;
  return row >= 0 && (list_->RowIsFolder(row) || ShownChildren(row) > 0);
}

namespace {

// The mark of a character that orders text by direction rather than showing as itself: its
// abbreviation between single angle quotes, or null for any other character. Such a character
// would reorder the rest of the cell ("abc", U+202E, "txt.exe" reads "abc exe.txt"), so that
// a name could pass for another.
const char* DirectionMark(char16_t u) {
  switch (u) {
    case 0x061C:
      return "\u2039ALM\u203A";
    case 0x200E:
      return "\u2039LRM\u203A";
    case 0x200F:
      return "\u2039RLM\u203A";
    case 0x202A:
      return "\u2039LRE\u203A";
    case 0x202B:
      return "\u2039RLE\u203A";
    case 0x202C:
      return "\u2039PDF\u203A";
    case 0x202D:
      return "\u2039LRO\u203A";
    case 0x202E:
      return "\u2039RLO\u203A";
    case 0x2066:
      return "\u2039LRI\u203A";
    case 0x2067:
      return "\u2039RLI\u203A";
    case 0x2068:
      return "\u2039FSI\u203A";
    case 0x2069:
      return "\u2039PDI\u203A";
    default:
      return nullptr;
  }
}

// Whether a character of a cell is shown as a mark rather than as itself.
bool Marked(char16_t u) {
  return u < 0x20 || (u >= 0x7F && u < 0xA0) || u == 0x2028 || u == 0x2029 ||
         DirectionMark(u) != nullptr;
}

}  // namespace

QString ShownText(std::string_view bytes) {
  QString text = QString::fromUtf8(bytes.data(), static_cast<qsizetype>(bytes.size()));
  if (std::none_of(text.cbegin(), text.cend(), [](QChar c) { return Marked(c.unicode()); }))
    return text;
  QString shown;
  shown.reserve(text.size() + 8);
  for (const QChar c : text) {
    const char16_t u = c.unicode();
    if (u == u'\n' || u == 0x2028 || u == 0x2029)
      shown += QChar(0x21B5);  // ↵, also for the line and paragraph separators
    else if (u < 0x20)
      shown += QChar(0x2400 + u);  // the control pictures, ␀ to ␟
    else if (u == 0x7F)
      shown += QChar(0x2421);  // ␡
    else if (u >= 0x80 && u < 0xA0)
      shown += QChar::ReplacementCharacter;  // C1 controls have no pictures
    else if (const char* mark = DirectionMark(u))
      shown += QString::fromUtf8(mark);
    else
      shown += c;
  }
  return shown;
}

QVariant ListItemModel::data(const QModelIndex& index, int role) const {
  if (role != Qt::DisplayRole && role != Qt::ToolTipRole && role != Qt::AccessibleTextRole)
    return {};
  const std::int64_t row = ListRow(index);
  if (row < 0 || index.column() >= list_->ColumnCount()) return {};
  return ShownText(list_->Cell(row, index.column()).View());
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

void ListItemModel::RowsAboutToBeInserted(std::int64_t parent, std::int64_t first,
                                          std::int64_t count) {
  (void)count;
  // Held back are only rows that go right behind those held back, under the same parent.
  if (heldCount_ > 0 && (first != heldFirst_ + heldCount_ || list_->RowId(parent) != heldParent_))
    CatchUp();
}

void ListItemModel::RowsInserted(std::int64_t first, std::int64_t count) {
  if (heldCount_ == 0) {
    heldFirst_ = first;
    heldChildren_ = 0;
    heldParent_ = list_->RowId(list_->ParentRow(first));
  }
  heldCount_ += count;
  const std::int64_t depth = list_->RowDepth(first);
  for (std::int64_t i = first; i < first + count; ++i) {
    if (list_->RowDepth(i) == depth) ++heldChildren_;
  }
  if (EventScope::Open())
    EventScope::TellAtEnd(this);
  else
    CatchUp();
}

void ListItemModel::EventEnded() {
  // A list this long takes Qt a noticeable time to lay out; the interval keeps that time at a
  // small share of the event loop's, however long the list grows.
  constexpr std::int64_t kLongList = 2000;
  constexpr qint64 kLeastIntervalMs = 100, kMsPerRows = 100;
  const std::int64_t topRows = list_->ChildCount(-1);
  if (heldCount_ > 0 && heldParent_ == 0 && topRows >= kLongList && caughtUp_.isValid()) {
    const qint64 interval = std::max(kLeastIntervalMs, topRows / kMsPerRows);
    const qint64 since = caughtUp_.elapsed();
    if (since < interval) {
      if (!catchUp_.isActive()) catchUp_.start(static_cast<int>(interval - since), this);
      return;
    }
  }
  CatchUp();
}

void ListItemModel::CatchUp() {
  catchUp_.stop();
  if (heldCount_ == 0) return;
  caughtUp_.start();
  const std::int64_t parent = heldParent_ == 0 ? -1 : list_->RowOfId(heldParent_);
  const auto last = static_cast<int>(list_->ChildCount(parent) - 1);
  // Qt still sees the rows as they were until it has been told what comes.
  beginInsertRows(IndexOf(parent), last - static_cast<int>(heldChildren_) + 1, last);
  heldCount_ = 0;
  endInsertRows();
}

void ListItemModel::RowsAboutToBeRemoved(std::int64_t first, std::int64_t count) {
  CatchUp();
  // The range is whole subtrees of neighbouring children of one parent: those children are
  // what Qt removes.
  const std::int64_t depth = list_->RowDepth(first);
  std::int64_t children = 0;
  for (std::int64_t i = first; i < first + count; ++i) {
    if (list_->RowDepth(i) == depth) ++children;
  }
  for (std::int64_t i = first; i < first + count; ++i) {
    toolkit::Variant tag = list_->RowTag(i);
    if (!tag.IsNull()) leaving_.push_back(std::move(tag));
  }
  if (!leaving_.empty() && !leave_.isActive()) leave_.start(0, this);
  const auto row = static_cast<int>(list_->ChildPosition(first));
  beginRemoveRows(IndexOf(list_->ParentRow(first)), row, row + static_cast<int>(children) - 1);
}

void ListItemModel::RowsRemoved(std::int64_t first, std::int64_t count) {
  (void)first;
  (void)count;
  endRemoveRows();
}

void ListItemModel::timerEvent(QTimerEvent* event) {
  if (event->timerId() == catchUp_.timerId()) {
    CatchUp();
    return;
  }
  if (event->timerId() != leave_.timerId()) {
    QAbstractItemModel::timerEvent(event);
    return;
  }
  constexpr int kSliceMs = 2;
  constexpr std::size_t kBetweenLooks = 64;
  QElapsedTimer clock;
  clock.start();
  while (!leaving_.empty() && clock.elapsed() < kSliceMs) {
    for (std::size_t i = 0; i < kBetweenLooks && !leaving_.empty(); ++i)
      leaving_.pop_back();
  }
  if (leaving_.empty()) {
    leave_.stop();
    leaving_.shrink_to_fit();
  }
}

void ListItemModel::LayoutAboutToChange() {
  CatchUp();
  beginResetModel();
  resetting_ = true;
}

void ListItemModel::LayoutChanged() {
  resetting_ = false;
  endResetModel();
}

void ListItemModel::RowChanged(std::int64_t row) {
  if (HeldBack(row)) {
    // Qt meets the row as it is when it is told of it; but a row that opens must be there.
    if (!list_->Expanded(row)) return;
    CatchUp();
  }
  const QModelIndex first = IndexOf(row, 0);
  const QModelIndex last = IndexOf(row, columnCount() - 1);
  if (first.isValid()) emit dataChanged(first, last);
  if (OnRowChanged) OnRowChanged(row);
}

void ListItemModel::VisibilityChanged(bool visible) {
  if (OnVisibility) OnVisibility(visible);
}

}  // namespace qt
