#include "platform/toolkit/Menu.h"

#include <string>
#include <utility>

namespace toolkit {

MenuItem::MenuItem(String name, String text, String shortcut, bool autoEnabled)
    : name_(std::move(name)),
      text_(std::move(text)),
      shortcut_(std::move(shortcut)),
      keyboardShortcut_(shortcut_),
      autoEnabled_(autoEnabled) {}

void MenuItem::AddMenu(const Ref<MenuItem>& item) {
  if (item->Holds(this)) {  // nil raises NilObjectException here
    throw RuntimeException("menu item \"" + name_.Bytes() + "\" can't hold itself");
  }
  items_.push_back(item);
}

bool MenuItem::Holds(const MenuItem* item) const {
  if (this == item) return true;
  for (const auto& child : items_) {
    if (child->Holds(item)) return true;
  }
  return false;
}

Ref<MenuItem> MenuItem::Child(const String& name) const {
  for (const auto& item : items_) {
    if (item->Name() == name) return item;
  }
  return nullptr;
}

Ref<MenuItem> MenuItem::Item(std::int64_t index) const {
  if (index < 0 || index >= Count()) {
    throw OutOfBoundsException("menu item " + std::to_string(index) + " outside 0.." +
                               std::to_string(Count() - 1));
  }
  return items_[static_cast<std::size_t>(index)];
}

Ref<MenuItem> MenuItem::FindItem(const String& name) const {
  for (const auto& item : items_) {
    if (item->Name() == name) return item;
    if (auto found = item->FindItem(name)) return found;
  }
  return nullptr;
}

}  // namespace toolkit
