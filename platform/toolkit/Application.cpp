#include "platform/toolkit/Application.h"

#include <memory>

#include "platform/toolkit/Desktop.h"

namespace toolkit {

namespace {
std::weak_ptr<Application> current;
}  // namespace

Ref<Application> Application::Current() {
  return Ref<Application>(current.lock());
}

void Application::MakeCurrent(const Ref<Application>& app) {
  current = app.shared();
}

void Application::Quit() {
  Desktop::Current().Loop().Quit();
}

void Application::WindowClosed() {
  if (openWindows_ > 0) --openWindows_;
  if (openWindows_ == 0 && autoQuit_) Quit();
}

}  // namespace toolkit
