#include "app/App.h"

#include "app/FileTypes1.h"
#include "app/MenuBar1.h"
#include "platform/toolkit/Desktop.h"

using toolkit::Ref;

App::App() {
  toolkit::VersionRecord& v = Version();
  v.MajorVersion = 1;
  v.MinorVersion = 0;
  v.BugVersion = 0;
  v.NonReleaseVersion = 1;
  v.StageCode = 3;
  v.LongVersion = "Quellmark";
  v.ShortVersion = "1.0";
  v.PackageInfo = "";
  MenuBar(MenuBar1::Instance());
}

Ref<App> App::Current() {
  return Application::Current().As<App>();
}

void App::Event_Open() {
  EditClear()->KeyboardShortcut(toolkit::Chr(8));
}

Ref<toolkit::MenuItem> EditClear() {
  return App::Current()->MenuBar()->FindItem("EditClear");
}

Ref<App> StartApplication() {
  FileTypes1::_Initialize();
  const auto app = Ref<App>::New();
  toolkit::Application::MakeCurrent(app);
  return app;
}
