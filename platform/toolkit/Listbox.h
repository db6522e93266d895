#pragma once

#include <cstdint>
#include <functional>
#include <vector>

#include "platform/toolkit/Controls.h"
#include "platform/toolkit/FolderItem.h"
#include "platform/toolkit/Variant.h"

namespace toolkit {

struct ListboxDesign : ControlDesign {
  std::int64_t ColumnCount = 1;
  std::vector<String> Headings;      // one for each column; missing ones are empty
  std::vector<String> ColumnWidths;  // "30%", "130", "*": a share, points, or what is left
  bool HasHeader = false;
  bool AllowExpandableRows = false;
  bool AllowResizableColumns = false;
  bool AllowRowDragging = false;
  bool AllowRowReordering = false;
  std::int64_t RowSelectionType = 0;  // 0: one row at a time
  bool RequiresSelection = false;
  bool HasVerticalScrollbar = false;
  bool AllowAutoHideScrollbars = true;
  bool HasHorizontalScrollbar = false;
  bool HasBorder = true;
  bool Transparent = false;
  bool AllowFocusRing = true;
  bool DropIndicatorVisible = false;
  std::int64_t GridLinesHorizontalStyle = 0;
  std::int64_t GridLinesVerticalStyle = 0;
  std::int64_t DefaultRowHeight = -1;  // -1: the platform's row height
  std::int64_t HeadingIndex = -1;      // -1: no sorted column
};

// A hierarchical list of rows. Each row has a depth, one text cell per column, a tag, and may
// be expandable (a folder) and open. Indexes count from 0 and address the rows now shown, in
// display order: the children of a row exist only while it is open, right below it.
//
// An index outside 0..ListCount-1, or a column outside 0..ColumnCount-1, raises
// OutOfBoundsException.
class Listbox : public Control {
 public:
  // Takes all design values. ColumnCount is kept between 1 and kMaxColumns.
  virtual void ApplyDesign(const ListboxDesign& design) = 0;
  // The design values as last applied; ColumnCount() and Visible() say what holds now.
  virtual const ListboxDesign& Design() const = 0;
  virtual std::int64_t ColumnCount() const = 0;

  // Adds a plain row behind the last row or, while the ExpandRow event of a row runs, behind
  // that row's children so far, as its child. Its cells come from `cells`; cells past its end
  // are empty, texts past the last column are dropped.
  virtual void AddRow(const std::vector<String>& cells) = 0;
  // The same for an expandable, closed row with `text` in cell 0.
  virtual void AddFolder(const String& text) = 0;
  // The index of the row added last; -1 when there is none or it has gone.
  virtual std::int64_t LastIndex() const = 0;
  // The number of rows now shown.
  virtual std::int64_t ListCount() const = 0;
  virtual void DeleteAllRows() = 0;

  virtual String Cell(std::int64_t row, std::int64_t column) const = 0;
  virtual void Cell(std::int64_t row, std::int64_t column, const String& text) = 0;
  // The row's tag, nil until set. The row holds the tag until the row goes.
  virtual Variant RowTag(std::int64_t row) const = 0;
  virtual void RowTag(std::int64_t row, const Variant& tag) = 0;
  // The file or folder the row was made from, nil until set; beside the tag, for a view that
  // looks at the file again. Setting it changes nothing that the row shows.
  virtual Ref<FolderItem> RowSource(std::int64_t row) const = 0;
  virtual void RowSource(std::int64_t row, const Ref<FolderItem>& source) = 0;
  virtual std::int64_t RowDepth(std::int64_t row) const = 0;
  virtual bool RowIsFolder(std::int64_t row) const = 0;
  virtual bool Expanded(std::int64_t row) const = 0;
  // Opening a closed folder raises ExpandRow before this returns; what the handler adds
  // becomes the row's children. Closing removes the row's children and theirs. Anything else
  // (opening an open row or a plain one, closing a closed one) does nothing.
  virtual void Expanded(std::int64_t row, bool open) = 0;

  // Raised by the platform when the user clicks the heading of `column`. A handler that
  // answers true has served the click; otherwise the list sorts itself by that column.
  virtual bool RaiseSortColumn(std::int64_t column) = 0;
  // Raised by the platform for a key typed while the list has the focus; the handler's answer
  // tells whether it has served the key.
  bool RaiseKeyDown(const String& key) {
    const auto handler = KeyDown;
    return handler && handler(*this, key);
  }

  // Event handlers, bound by the window that owns the list. An unbound event does nothing.
  std::function<void(Listbox& list, std::int64_t row)> ExpandRow;
  std::function<bool(Listbox& list, std::int64_t column)> SortColumn;
  std::function<bool(Listbox& list, const String& key)> KeyDown;

  static constexpr std::int64_t kMaxColumns = 256;
};

}  // namespace toolkit
