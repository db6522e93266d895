#pragma once

#include "platform/toolkit/Menu.h"

// The program's one menu bar: File with "Show MACs", the hidden refresh command and Quit;
// Edit with the usual items, of which only "Clear" is the program's own.
class MenuBar1 : public toolkit::MenuBar {
 public:
  MenuBar1();

  // The one bar: made at the first call, then the same object at every call for as long as
  // anyone holds it. The application holds it for the life of the program.
  static toolkit::Ref<MenuBar1> Instance();

 private:
  void Untitled0();  // the File menu
  void Untitled1();  // the Edit menu
};
