#pragma once

#include "platform/toolkit/Application.h"
#include "platform/toolkit/Menu.h"

// The application object: the version record and the menu bar. It keeps no settings and
// handles no documents; files come only by drops on the window.
class App : public toolkit::Application {
 public:
  // Sets the version record and makes MenuBar1 the application's menu bar.
  App();

  // The toolkit's application object as an App; nil when there is none or it isn't an App.
  static toolkit::Ref<App> Current();

 protected:
  // Gives "Clear" the Backspace key as its shortcut.
  void Event_Open() override;
};

// The "Clear" item of the application's menu bar. NilObjectException when there is no
// application or it has no menu bar; nil when the bar has no such item.
toolkit::Ref<toolkit::MenuItem> EditClear();

// Start-up up to the window: FileTypes1._Initialize, then the App is made and becomes the
// toolkit's application object. The caller keeps the App alive for as long as the program
// runs; the window comes next.
toolkit::Ref<App> StartApplication();
