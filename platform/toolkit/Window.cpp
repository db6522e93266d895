#include "platform/toolkit/Window.h"

#include <algorithm>

#include "platform/toolkit/Application.h"

namespace toolkit {

void Window::Build() {
  Layout();
  CreateControls();
  AddMenuHandlers(this);
}

void Window::AddControl(const String& name, const Ref<Object>& control) {
  for (auto& [n, c] : controls_) {
    if (n == name) {
      c = control;
      return;
    }
  }
  controls_.emplace_back(name, control);
}

Ref<Object> Window::ControlByName(const String& name) const {
  for (const auto& [n, c] : controls_) {
    if (n == name) return c;
  }
  return nullptr;
}

void Window::AcceptFileDrop(const String& types) {
  std::string_view rest = types.View();
  while (!rest.empty()) {
    const auto semicolon = rest.find(';');
    const String name(rest.substr(0, semicolon));
    rest = semicolon == std::string_view::npos ? std::string_view() : rest.substr(semicolon + 1);
    const Ref<FileType> type = FileType::Lookup(name);
    if (type &&
        std::find(acceptedTypes_.begin(), acceptedTypes_.end(), type) == acceptedTypes_.end()) {
      acceptedTypes_.push_back(type);
    }
  }
}

void Window::AddMenuHandler(const String& itemName, std::function<bool()> action) {
  for (auto& [name, handler] : menuHandlers_) {
    if (name == itemName) {
      handler = std::move(action);
      return;
    }
  }
  menuHandlers_.emplace_back(itemName, std::move(action));
}

void Window::RaiseOpen() {
  if (opened_) return;
  opened_ = true;
  if (const auto app = Application::Current()) app->WindowOpened();
  Event_Open();
}

void Window::RaiseClose() {
  if (closed_) return;
  closed_ = true;  // also when the event raises; the application then isn't told
  Event_Close();
  if (!opened_) return;
  if (const auto app = Application::Current()) app->WindowClosed();
}

bool Window::RaiseDropObject(DragItem& obj, int action) {
  if (acceptedTypes_.empty() || !IsOpen()) return false;
  Event_DropObject(obj, action);
  return true;
}

bool Window::RaiseStopWork() {
  if (!working_) return false;
  Event_StopWork();
  return true;
}

void Window::Progress(bool working, const String& text) {
  if (working == working_ && text == progressText_) return;
  working_ = working;
  progressText_ = text;
  if (OnProgress) {
    const auto listener = OnProgress;  // a copy: the listener may set another
    listener();
  }
}

namespace {

void ResetEnabling(const MenuItem& menu) {
  for (std::int64_t i = 0; i < menu.Count(); ++i) {
    const Ref<MenuItem> item = menu.Item(i);
    if (!item->AutoEnabled()) item->Enabled(false);
    ResetEnabling(*item);
  }
}

}  // namespace

void Window::RaiseEnableMenuItems() {
  if (menuBar_) ResetEnabling(*menuBar_);
  Event_EnableMenuItems();
}

bool Window::ChooseMenuItem(const String& itemName) {
  RaiseEnableMenuItems();
  const Ref<MenuItem> item = menuBar_ ? menuBar_->FindItem(itemName) : nullptr;
  if (!item || !item->Enabled()) return false;
  for (const auto& [name, handler] : menuHandlers_) {
    if (name == itemName && handler) {
      const auto action = handler;  // a copy: the action may bind anew while it runs
      return action();
    }
  }
  if (item.As<QuitMenuItem>()) {
    if (const auto app = Application::Current()) {
      app->Quit();
      return true;
    }
  }
  return false;
}

}  // namespace toolkit
