#pragma once

// A compact text of a list's rows, and a checker that watches a list model through its
// notifications.

#include <string>
#include <vector>

#include "platform/toolkit/ListModel.h"

namespace toolkit_test {

using toolkit::Listbox;
using toolkit::ListModel;

// Each row as one line: ">" for each level of depth, the three cells joined by "|", and " +"
// for a closed folder or " -" for an open one.
inline std::vector<std::string> Rows(const Listbox& list) {
  std::vector<std::string> rows;
  for (std::int64_t r = 0; r < list.ListCount(); ++r) {
    std::string row(static_cast<std::size_t>(list.RowDepth(r)), '>');
    for (std::int64_t c = 0; c < list.ColumnCount(); ++c)
      row += (c ? "|" : "") + list.Cell(r, c).Bytes();
    if (list.RowIsFolder(r)) row += list.Expanded(r) ? " -" : " +";
    rows.push_back(row);
  }
  return rows;
}

// Watches a list model: after every change that it is told of, it checks the rules of the
// rows and that a copy kept only from the notifications still equals the list. Each "about
// to" notice must come before the list has changed. What goes wrong is collected in Failures.
class ListChecker final : public toolkit::ListObserver {
 public:
  explicit ListChecker(ListModel& list) : list_(list), mirror_(Rows(list)) {
    list_.AddObserver(this);
  }
  ~ListChecker() override { list_.RemoveObserver(this); }

  // Also checks once more, in case a change came without a notice.
  const std::vector<std::string>& Failures() {
    Check("at the end");
    return failures_;
  }

  void RowsAboutToBeInserted(std::int64_t parent, std::int64_t first, std::int64_t count) override {
    Expect(count > 0 && first >= 0 && first <= list_.ListCount() && Same(), "before insertion");
    announcedParent_ = parent;
  }
  void RowsInserted(std::int64_t first, std::int64_t count) override {
    Expect(list_.ParentRow(first) == announcedParent_, "inserted under another parent");
    const auto rows = Rows(list_);
    for (std::int64_t i = 0; i < count && first + i < static_cast<std::int64_t>(rows.size()); ++i)
      mirror_.insert(mirror_.begin() + first + i, rows[static_cast<std::size_t>(first + i)]);
    Check("after insertion");
  }
  void RowsAboutToBeRemoved(std::int64_t first, std::int64_t count) override {
    Expect(count > 0 && first >= 0 && first + count <= list_.ListCount() && Same(),
           "before removal");
  }
  void RowsRemoved(std::int64_t first, std::int64_t count) override {
    if (first >= 0 && first + count <= static_cast<std::int64_t>(mirror_.size()))
      mirror_.erase(mirror_.begin() + first, mirror_.begin() + first + count);
    Check("after removal");
  }
  void LayoutAboutToChange() override { Expect(Same(), "before a layout change"); }
  void LayoutChanged() override {
    mirror_ = Rows(list_);
    Check("after a layout change");
  }
  void RowChanged(std::int64_t row) override {
    if (row >= 0 && row < static_cast<std::int64_t>(mirror_.size()))
      mirror_[static_cast<std::size_t>(row)] = Rows(list_)[static_cast<std::size_t>(row)];
    Check("after a row changed");
  }
  void VisibilityChanged(bool visible) override {
    Expect(visible == list_.Visible(), "visibility notice");
  }

 private:
  bool Same() const { return mirror_ == Rows(list_); }
  void Expect(bool ok, const std::string& what) {
    if (!ok) failures_.push_back(what);
  }
  void Check(const std::string& when) {
    Expect(Same(), "the notified copy differs " + when);
    const auto n = list_.ListCount();
    Expect(list_.LastIndex() >= -1 && list_.LastIndex() < n, "LastIndex out of range " + when);
    std::vector<std::int64_t> children(static_cast<std::size_t>(n + 1));  // of the top, then rows
    for (std::int64_t r = 0; r < n; ++r) {
      const auto depth = list_.RowDepth(r);
      // The tree lookups agree with the order and the depths.
      std::int64_t parent = r - 1;
      while (parent >= 0 && list_.RowDepth(parent) >= depth)
        --parent;
      ++children[static_cast<std::size_t>(parent + 1)];
      Expect(list_.ParentRow(r) == parent && list_.RowOfId(list_.RowId(r)) == r &&
                 list_.ChildRow(parent, list_.ChildPosition(r)) == r,
             "tree lookups of row " + std::to_string(r) + " " + when);
      const auto above = r == 0 ? -1 : list_.RowDepth(r - 1);
      Expect(depth >= 0 && depth <= above + 1, "row " + std::to_string(r) + " too deep " + when);
      if (r > 0 && depth == above + 1) {
        Expect(list_.RowIsFolder(r - 1) && list_.Expanded(r - 1),
               "row " + std::to_string(r) + " is a child of a closed row " + when);
      }
      Expect(list_.RowIsFolder(r) || !list_.Expanded(r),
             "plain row " + std::to_string(r) + " is open " + when);
    }
    for (std::int64_t p = -1; p < n; ++p) {
      Expect(list_.ChildCount(p) == children[static_cast<std::size_t>(p + 1)],
             "child count of row " + std::to_string(p) + " " + when);
    }
  }

  ListModel& list_;
  std::vector<std::string> mirror_;
  std::vector<std::string> failures_;
  std::int64_t announcedParent_ = -1;
};

}  // namespace toolkit_test
