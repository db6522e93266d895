#pragma once

#include <cstdint>

#include "platform/toolkit/Menu.h"
#include "platform/toolkit/Ref.h"
#include "platform/toolkit/String.h"

namespace toolkit {

// The application's version, as the platform shows it.
struct VersionRecord {
  std::int64_t MajorVersion = 0;
  std::int64_t MinorVersion = 0;
  std::int64_t BugVersion = 0;
  std::int64_t NonReleaseVersion = 0;
  std::int64_t StageCode = 0;  // the platform's code for development, alpha, beta, final
  String LongVersion;
  String ShortVersion;
  String PackageInfo;
};

// The application object. The program derives its own, makes one at start and makes it the
// current one; the toolkit raises its events and ends the program through it.
class Application : public Object {
 public:
  // The current application object, or nil when there is none (or it has gone). The toolkit
  // doesn't keep it alive: whoever made it does.
  static Ref<Application> Current();
  static void MakeCurrent(const Ref<Application>& app);

  VersionRecord& Version() { return version_; }
  const VersionRecord& Version() const { return version_; }
  Ref<toolkit::MenuBar> MenuBar() const { return menuBar_; }
  void MenuBar(const Ref<toolkit::MenuBar>& bar) { menuBar_ = bar; }
  // Whether closing the last open window ends the program; false until set.
  bool AutoQuit() const { return autoQuit_; }
  void AutoQuit(bool quit) { autoQuit_ = quit; }

  // Ends the program: the current desktop's event loop stops.
  void Quit();

  // Raised by the platform once the program is up.
  void RaiseOpen() { Event_Open(); }
  // The toolkit's count of open windows; with AutoQuit, the last one to close quits.
  void WindowOpened() { ++openWindows_; }
  void WindowClosed();
  std::int64_t OpenWindows() const { return openWindows_; }

 protected:
  virtual void Event_Open() {}

 private:
  VersionRecord version_;
  Ref<toolkit::MenuBar> menuBar_;
  bool autoQuit_ = false;
  std::int64_t openWindows_ = 0;
};

}  // namespace toolkit
