#pragma once

#include <cstdint>
#include <vector>

#include "platform/toolkit/Ref.h"
#include "platform/toolkit/String.h"

namespace toolkit {

// An item of a menu, and a menu itself: an item with items. Items are named; the name is what
// actions are bound to and what lookups find. A Text of "-" makes a separator; "&" in Text
// marks the mnemonic letter. Shortcut is the design shortcut ("Cmd+Shift+R"); KeyboardShortcut
// is the one in force, which starts as the design one.
class MenuItem : public Object {
 public:
  explicit MenuItem(String name = {}, String text = {}, String shortcut = {},
                    bool autoEnabled = true);

  const String& Name() const { return name_; }
  void Name(const String& name) { name_ = name; }
  const String& Text() const { return text_; }
  void Text(const String& text) { text_ = text; }
  const String& Shortcut() const { return shortcut_; }
  const String& KeyboardShortcut() const { return keyboardShortcut_; }
  void KeyboardShortcut(const String& key) { keyboardShortcut_ = key; }
  bool Visible() const { return visible_; }
  void Visible(bool visible) { visible_ = visible; }
  // An item that isn't AutoEnabled is disabled each time before menus are shown, and only
  // the window's EnableMenuItems event enables it (see Window::RaiseEnableMenuItems).
  bool AutoEnabled() const { return autoEnabled_; }
  bool Enabled() const { return enabled_; }
  void Enabled(bool enabled) { enabled_ = enabled; }
  void Enable() { enabled_ = true; }
  bool IsSeparator() const { return text_ == "-"; }

  // Appends `item` to this menu. NilObjectException for nil; RuntimeException for an item
  // that is this menu or holds it, which would make a menu its own item.
  void AddMenu(const Ref<MenuItem>& item);
  // The item of this menu with that name, or nil; items of its items aren't looked at.
  Ref<MenuItem> Child(const String& name) const;
  std::int64_t Count() const { return static_cast<std::int64_t>(items_.size()); }
  // The item at `index`, counted from 0; OutOfBoundsException outside 0..Count-1.
  Ref<MenuItem> Item(std::int64_t index) const;
  // The first item of that name below this one, depth first in menu order, or nil.
  Ref<MenuItem> FindItem(const String& name) const;

 private:
  bool Holds(const MenuItem* item) const;

  String name_;
  String text_;
  String shortcut_;
  String keyboardShortcut_;
  bool visible_ = true;
  bool autoEnabled_;
  bool enabled_ = true;
  std::vector<Ref<MenuItem>> items_;
};

// The item whose choice quits the application.
class QuitMenuItem : public MenuItem {
 public:
  using MenuItem::MenuItem;
};

// The top of a menu tree: its items are the menus.
class MenuBar : public MenuItem {
 public:
  using MenuItem::MenuItem;
};

}  // namespace toolkit
