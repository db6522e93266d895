#pragma once

#include <cstddef>
#include <utility>
#include <vector>

#include "platform/toolkit/FolderItem.h"

namespace toolkit {

// One drag of items onto a window, walked from its first item with NextItem.
class DragItem : public Object {
 public:
  // The file of the current item, or nil when the item is not a file.
  virtual Ref<toolkit::FolderItem> FolderItem() const = 0;
  // Moves to the next item; false, staying where it is, when there is none.
  virtual bool NextItem() = 0;
};

// A drag of the given files, in their order; a nil entry is an item that is not a file.
class FileDragItem final : public DragItem {
 public:
  explicit FileDragItem(std::vector<Ref<toolkit::FolderItem>> items) : items_(std::move(items)) {}

  Ref<toolkit::FolderItem> FolderItem() const override {
    return current_ < items_.size() ? items_[current_] : nullptr;
  }
  bool NextItem() override {
    if (current_ + 1 >= items_.size()) return false;
    ++current_;
    return true;
  }

 private:
  std::vector<Ref<toolkit::FolderItem>> items_;
  std::size_t current_ = 0;
};

}  // namespace toolkit
