#include "app/MenuBar1.h"

#include <memory>

using toolkit::MenuItem;
using toolkit::Ref;

MenuBar1::MenuBar1() {
  Untitled0();
  Untitled1();
}

Ref<MenuBar1> MenuBar1::Instance() {
  static std::weak_ptr<MenuBar1> instance;
  Ref<MenuBar1> bar(instance.lock());
  if (!bar) {
    bar = Ref<MenuBar1>::New();
    instance = bar.shared();
  }
  return bar;
}

void MenuBar1::Untitled0() {
  AddMenu(Ref<MenuItem>::New("FileMenu", "&File"));
  const Ref<MenuItem> file = Child("FileMenu");
  file->AddMenu(Ref<MenuItem>::New("FileShowMACs", "Show MACs", "Cmd+G", true));
  file->AddMenu(Ref<MenuItem>::New("FileRequestToRefreshTheReceipt",
                                   "Request to Refresh the Receipt", "Cmd+Shift+R", false));
  file->AddMenu(Ref<toolkit::QuitMenuItem>::New("FileQuit", "&Quit", "Cmd+Q", true));
}

void MenuBar1::Untitled1() {
  AddMenu(Ref<MenuItem>::New("EditMenu", "&Edit"));
  const Ref<MenuItem> edit = Child("EditMenu");
  edit->AddMenu(Ref<MenuItem>::New("EditUndo", "&Undo", "Cmd+Z", false));
  edit->AddMenu(Ref<MenuItem>::New("UntitledMenu1", "-", "", true));
  edit->AddMenu(Ref<MenuItem>::New("EditCut", "Cu&t", "Cmd+X", false));
  edit->AddMenu(Ref<MenuItem>::New("EditCopy", "&Copy", "Cmd+C", true));
  edit->AddMenu(Ref<MenuItem>::New("EditPaste", "&Paste", "Cmd+V", false));
  // No shortcut here: App's Open event gives it Backspace, so it has none before that.
  edit->AddMenu(Ref<MenuItem>::New("EditClear", "Clear", "", false));
  edit->AddMenu(Ref<MenuItem>::New("UntitledMenu0", "-", "", true));
  edit->AddMenu(Ref<MenuItem>::New("EditSelectAll", "Select &All", "Cmd+A", false));
}
