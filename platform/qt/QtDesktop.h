#pragma once

#include <QLabel>
#include <QObject>
#include <QPointer>
#include <deque>
#include <functional>
#include <optional>

#include "platform/toolkit/Controls.h"
#include "platform/toolkit/Desktop.h"

namespace qt {

// The toolkit's event loop on Qt's: posted tasks and timer ticks run from the application's
// event loop, and an exception that leaves one ends at ReportUnhandled.
class QtEventLoop final : public toolkit::EventLoop {
 public:
  QtEventLoop();
  ~QtEventLoop() override;

  void Post(std::function<void()> task) override;
  void Schedule(std::int64_t periodMs, bool repeating, std::function<bool()> tick) override;
  std::size_t RunPending() override;
  void Quit() override;

 private:
  void RunOne();

  QObject context_;  // owns the timers; posted calls die with it
  std::deque<std::function<void()>> tasks_;
};

// The toolkit's top-level handling of an exception that left an event: it is told on the
// standard error and in a message box that doesn't wait, and the program goes on with its next
// event. Every handler of the program leaves the window's state whole when it raises.
void ReportUnhandled(const char* what);

// Runs `f`, handing any exception that leaves it to ReportUnhandled. Everything that Qt calls
// into the program goes through here: an exception must not cross Qt's frames.
template <class F>
auto Guard(F&& f) -> decltype(f()) {
  try {
    return f();
  } catch (const std::exception& e) {
    ReportUnhandled(e.what());
  } catch (...) {
    ReportUnhandled("unknown exception");
  }
  return decltype(f())();
}

// A label whose QLabel is placed in a window by WindowHost. Until then, and after its widget
// has gone, it keeps its state like a headless one.
class QtLabel final : public toolkit::Label {
 public:
  QtLabel();
  ~QtLabel() override;

  void ApplyDesign(const toolkit::LabelDesign& design) override;
  const toolkit::LabelDesign& Design() const override { return design_; }
  bool Visible() const override { return visible_; }
  void Visible(bool visible) override;
  toolkit::String Text() const override { return text_; }
  void Text(const toolkit::String& text) override;

  QLabel* Widget() const { return widget_; }

 private:
  toolkit::LabelDesign design_;
  bool visible_ = true;
  toolkit::String text_;
  QPointer<QLabel> widget_;
};

// The desktop on Qt. Needs a QApplication; installs itself while it lives.
class QtDesktop final : public toolkit::Desktop {
 public:
  QtDesktop();
  ~QtDesktop() override;

  QtEventLoop& Loop() override { return loop_; }
  void MsgBox(const toolkit::String& text) override;
  void Beep() override;
  bool OptionKey() override;
  toolkit::Ref<toolkit::Listbox> NewListbox() override;
  toolkit::Ref<toolkit::Label> NewLabel() override;

  // While an event is handled that carries its own modifier keys (a drop), OptionKey answers
  // from them rather than from the keyboard's state now.
  void EventModifiers(std::optional<Qt::KeyboardModifiers> modifiers) { modifiers_ = modifiers; }

  static QtDesktop* Current();

 private:
  toolkit::Desktop* previous_;
  QtEventLoop loop_;
  std::optional<Qt::KeyboardModifiers> modifiers_;
};

}  // namespace qt
