#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <utility>
#include <vector>

#include "platform/toolkit/DragItem.h"
#include "platform/toolkit/FileType.h"
#include "platform/toolkit/Menu.h"
#include "platform/toolkit/Ref.h"
#include "platform/toolkit/String.h"

namespace toolkit {

// The design properties of a window.
struct WindowProperties {
  std::int64_t Width = 600;
  std::int64_t Height = 400;
  std::int64_t MinimumWidth = 64;
  std::int64_t MinimumHeight = 64;
  std::int64_t MaximumWidth = 32000;
  std::int64_t MaximumHeight = 32000;
  std::int64_t Type = 0;  // 0: a plain document window
  String Title;
  bool HasCloseButton = true;
  bool HasMaximizeButton = true;
  bool HasMinimizeButton = true;
  bool HasFullScreenButton = false;
  bool Resizeable = true;
  bool LiveResize = true;
  bool Visible = true;
  bool MenuBarVisible = true;
  bool Composite = false;
  bool FullScreen = false;
  bool HasBackgroundColor = false;
  std::int64_t DefaultLocation = 0;
};

// A window. The program derives its windows from it and overrides the hooks; the platform
// shows it and calls the Raise functions for what the user does, which raise the events.
//
// A window is made with Make, which builds it: Layout, then CreateControls, then
// AddMenuHandlers. A Ref to it is what keeps it, and its controls, alive.
class Window : public Object, public std::enable_shared_from_this<Window> {
 public:
  template <class W, class... Args>
  static Ref<W> Make(Args&&... args) {
    Ref<W> window = Ref<W>::New(std::forward<Args>(args)...);
    window->Build();
    return window;
  }

  WindowProperties& Properties() { return properties_; }
  const WindowProperties& Properties() const { return properties_; }
  Ref<toolkit::MenuBar> MenuBar() const { return menuBar_; }
  void MenuBar(const Ref<toolkit::MenuBar>& bar) { menuBar_ = bar; }

  // The window's table of controls, in the order of their entry.
  void AddControl(const String& name, const Ref<Object>& control);
  // The control entered under `name`, or nil.
  Ref<Object> ControlByName(const String& name) const;
  const std::vector<std::pair<String, Ref<Object>>>& Controls() const { return controls_; }

  // From now on the window takes drops of the named file types, given as names separated by
  // ";". Names that the toolkit's table of file types doesn't know are passed over.
  void AcceptFileDrop(const String& types);
  // The types that drops are taken of; none until AcceptFileDrop has named a known one.
  const std::vector<Ref<FileType>>& AcceptedFileTypes() const { return acceptedTypes_; }

  // Binds the choice of the menu item named `itemName` to `action`, which answers whether it
  // has served the choice. A later binding of the same name replaces the earlier.
  void AddMenuHandler(const String& itemName, std::function<bool()> action);

  // Raised by the platform. Open and Close each raise their event once in a window's life.
  void RaiseOpen();
  // Raises Close; the window counts as closed from then on. When the event has returned, the
  // current application learns that the window has gone, and with AutoQuit set it ends the
  // program if no other window is open.
  void RaiseClose();
  bool IsOpen() const { return opened_ && !closed_; }
  // A key typed while no control takes keys; the answer tells whether it was served.
  bool RaiseKeyDown(const String& key) { return Event_KeyDown(key); }
  // A drop of files. A window that takes no drops, or is closed, sees nothing of it (false).
  bool RaiseDropObject(DragItem& obj, int action);
  // Work that the window goes on with between events, such as the reading of a long drop:
  // whether some runs, and a text that says how far it has got (empty while the window has
  // none to show). The platform shows the text beside the controls, with a way to stop.
  bool Working() const { return working_; }
  const String& ProgressText() const { return progressText_; }
  // Told after each change of Working or ProgressText; the platform's view of the window sets it.
  std::function<void()> OnProgress;
  // The person asks to stop that work (a Stop button, Esc): raises StopWork while some runs and
  // answers true; answers false, with nothing raised, while none does.
  bool RaiseStopWork();
  // Before menus are shown: every item that isn't AutoEnabled is disabled, then the event
  // enables what it will.
  void RaiseEnableMenuItems();
  // The user's choice of the item named `itemName`, by menu or shortcut. The menus are
  // enabled first; a choice of an item that is missing or disabled does nothing. The item's
  // bound action serves it, a QuitMenuItem without one quits the application. The answer
  // tells whether the choice was served.
  bool ChooseMenuItem(const String& itemName);

 protected:
  Window() = default;

  virtual void Layout() {}
  virtual void CreateControls() {}
  virtual void AddMenuHandlers(Object* target) { (void)target; }

  virtual void Event_Open() {}
  virtual void Event_Close() {}
  virtual bool Event_KeyDown(const String& key) {
    (void)key;
    return false;
  }
  virtual void Event_DropObject(DragItem& obj, int action) {
    (void)obj;
    (void)action;
  }
  virtual void Event_EnableMenuItems() {}
  virtual void Event_StopWork() {}

  // Sets what Working and ProgressText answer, and tells OnProgress when either has changed.
  void Progress(bool working, const String& text);

 private:
  void Build();

  WindowProperties properties_;
  Ref<toolkit::MenuBar> menuBar_;
  std::vector<std::pair<String, Ref<Object>>> controls_;
  std::vector<Ref<FileType>> acceptedTypes_;
  std::vector<std::pair<String, std::function<bool()>>> menuHandlers_;
  bool opened_ = false;
  bool closed_ = false;
  bool working_ = false;
  String progressText_;
};

}  // namespace toolkit
