#pragma once

#include <QAbstractItemModel>
#include <QBasicTimer>
#include <QElapsedTimer>
#include <cstdint>
#include <functional>
#include <string_view>
#include <vector>

#include "platform/qt/QtDesktop.h"
#include "platform/toolkit/ListModel.h"

namespace qt {

// A cell's bytes as the list shows them: a byte that is not UTF-8 as U+FFFD, a control
// character as a visible mark ("↵" for a line end), and a character that sets the direction of
// the text as its abbreviation ("‹RLO›"), not applied. So a row stays one line, reads in the
// order of its bytes, and two names that differ only there look different.
QString ShownText(std::string_view bytes);

// A Qt item model over the toolkit's ListModel, which stays the one store of rows and cells and
// answers where each row stands in the tree. An index holds its row's id in the list.
//
// While an event runs (EventScope), the rows that the list adds reach Qt at its end, as one
// insertion for each run of rows with one parent; until then Qt sees the list as it was. Any
// other change, and opening a row that Qt hasn't yet seen, brings Qt up to date first. Qt's
// tree lays out all of a list's top-level rows again at each insertion there, so in a long list
// rows that events keep adding at its end (a long drop, read turn after turn) reach Qt a few
// times a second rather than at the end of each event.
//
// The tags of rows that go are let go later, a few milliseconds' worth at each turn of the
// event loop: clearing a list of many receipts then takes no longer than a frame, and their
// records go while the window goes on.
class ListItemModel final : public QAbstractItemModel,
                            private toolkit::ListObserver,
                            private EventEndListener {
 public:
  explicit ListItemModel(toolkit::Ref<toolkit::ListModel> list, QObject* parent = nullptr);
  ~ListItemModel() override;

  // How many tags of removed rows are still to be let go.
  std::size_t Leaving() const { return leaving_.size(); }
  // Tells Qt of the rows held back, now.
  void CatchUp();

  // The row of the list that `index` stands for, or -1.
  std::int64_t ListRow(const QModelIndex& index) const;
  // The index of column `column` of the list's row `row`; invalid for a row that Qt hasn't
  // been told of yet.
  QModelIndex IndexOf(std::int64_t row, int column = 0) const;
  const toolkit::Ref<toolkit::ListModel>& List() const { return list_; }

  QModelIndex index(int row, int column, const QModelIndex& parent = {}) const override;
  QModelIndex parent(const QModelIndex& child) const override;
  QModelIndex sibling(int row, int column, const QModelIndex& index) const override;
  int rowCount(const QModelIndex& parent = {}) const override;
  int columnCount(const QModelIndex& parent = {}) const override;
  bool hasChildren(const QModelIndex& parent = {}) const override;
  // Display, accessible text and tooltip: the cell's ShownText, plain. A view shows the
  // tooltip as the text it is through FitToolTips.
  QVariant data(const QModelIndex& index, int role = Qt::DisplayRole) const override;
  QVariant headerData(int section, Qt::Orientation orientation,
                      int role = Qt::DisplayRole) const override;
  Qt::ItemFlags flags(const QModelIndex& index) const override;

  // Told when the list's visibility or a row's open state changes.
  std::function<void(bool visible)> OnVisibility;
  std::function<void(std::int64_t row)> OnRowChanged;

 private:
  void RowsAboutToBeInserted(std::int64_t parent, std::int64_t first, std::int64_t count) override;
  void RowsInserted(std::int64_t first, std::int64_t count) override;
  void RowsAboutToBeRemoved(std::int64_t first, std::int64_t count) override;
  void RowsRemoved(std::int64_t first, std::int64_t count) override;
  void LayoutAboutToChange() override;
  void LayoutChanged() override;
  void RowChanged(std::int64_t row) override;
  void VisibilityChanged(bool visible) override;
  void EventEnded() override;
  void timerEvent(QTimerEvent* event) override;

  bool HeldBack(std::int64_t row) const {
    return row >= heldFirst_ && row < heldFirst_ + heldCount_;
  }
  // The children of `parent` (-1: the top level) that Qt knows of.
  std::int64_t ShownChildren(std::int64_t parent) const;

  toolkit::Ref<toolkit::ListModel> list_;
  // Rows that the list has added and Qt not yet seen: list rows heldFirst_ on, the last
  // heldChildren_ children of the row with id heldParent_ (0: the top level) with their own.
  std::int64_t heldFirst_ = 0;
  std::int64_t heldCount_ = 0;
  std::int64_t heldChildren_ = 0;
  std::uint64_t heldParent_ = 0;
  bool resetting_ = false;
  std::vector<toolkit::Variant> leaving_;  // tags of rows that have gone
  QBasicTimer leave_;
  QBasicTimer catchUp_;     // rows held back at the end of a long list, until it strikes
  QElapsedTimer caughtUp_;  // since Qt was last told of rows
};

}  // namespace qt
