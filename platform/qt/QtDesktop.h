#pragma once

#include <QLabel>
#include <QObject>
#include <QPointer>
#include <functional>
#include <optional>
#include <vector>

#include "platform/toolkit/Controls.h"
#include "platform/toolkit/Desktop.h"

namespace qt {

// The toolkit's event loop on Qt's: posted tasks and timer ticks run from the application's
// event loop, and an exception that leaves one ends at ReportUnhandled.
class QtEventLoop final : public toolkit::EventLoop {
 public:
  QtEventLoop();
  // Tasks not yet run and timers still going die with the loop, unrun.
  ~QtEventLoop() override;

  // Keeps `task` until it runs, once, from Qt's event loop.
  void Post(std::function<void()> task) override;
  // Runs `tick` every `periodMs` milliseconds from Qt's event loop until it returns false or
  // raises, or once when not `repeating`. The loop owns the timer and the tick.
  void Schedule(std::int64_t periodMs, bool repeating, std::function<bool()> tick) override;
  // Ends Qt's event loop with status 0.
  void Quit() override;

 private:
  QObject context_;  // owns the timers and the posted tasks
};

// The toolkit's top-level handling of an exception that left an event: it is told on the
// standard error and in a message box that doesn't wait, and the program goes on with its next
// event. Every handler of the program leaves the window's state whole when it raises.
void ReportUnhandled(const char* what);

// Told when the outermost event that Qt dispatched to the program ends.
class EventEndListener {
 public:
  virtual void EventEnded() = 0;

 protected:
  ~EventEndListener() = default;
};

// The program's handling of one event that Qt dispatched, from its start to its end; Guard
// opens one. While one is open, what the program changes may reach Qt's views later, all at
// once: each listener that asked is told when the outermost scope ends, also when the event
// raises.
class EventScope final {
 public:
  EventScope() noexcept { ++depth_; }
  ~EventScope();
  EventScope(const EventScope&) = delete;
  EventScope& operator=(const EventScope&) = delete;

  static bool Open() { return depth_ > 0; }
  // Tells `listener` once, when the outermost open scope ends; with none open, never.
  static void TellAtEnd(EventEndListener* listener);
  // Forgets `listener`, which is going away.
  static void Forget(EventEndListener* listener);

 private:
  static inline int depth_ = 0;
  static inline std::vector<EventEndListener*> listeners_;
};

// Runs `f` in an EventScope, handing any exception that leaves it to ReportUnhandled, and then
// returns a value-initialised result (false, 0, null). Everything that Qt calls into the
// program goes through here: an exception must not cross Qt's frames.
template <class F>
auto Guard(F&& f) -> decltype(f()) {
  try {
    const EventScope event;
    return f();
  } catch (const std::exception& e) {
    ReportUnhandled(e.what());
  } catch (...) {
    ReportUnhandled("unknown exception");
  }
  return decltype(f())();
}

// Gives `widget` the font of `design` ("System" is the desktop's family, 0 its size, other
// sizes are points) and its Enabled.
void ApplyControlDesign(QWidget& widget, const toolkit::ControlDesign& design);

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

  // The label's widget; null once it has gone. The label owns it until WindowHost places it,
  // and the host window owns it from then on.
  QLabel* Widget() const { return widget_; }

 private:
  toolkit::LabelDesign design_;
  bool visible_ = true;
  toolkit::String text_;
  QPointer<QLabel> widget_;
};

// The desktop on Qt. Needs a QApplication; installs itself while it lives, and puts back the
// desktop it replaced when it dies.
class QtDesktop final : public toolkit::Desktop {
 public:
  QtDesktop();
  ~QtDesktop() override;

  // The desktop's loop, which lives as long as the desktop.
  QtEventLoop& Loop() override { return loop_; }
  // Shows `text` in a modal box with an OK button and returns when it is closed.
  void MsgBox(const toolkit::String& text) override;
  void Beep() override;
  // Whether Alt is down: during a drop as the drop event tells, else as the keyboard is now.
  bool OptionKey() override;
  // A new list model, shared with the caller; the window's view shows it once WindowHost
  // hosts the window.
  toolkit::Ref<toolkit::Listbox> NewListbox() override;
  // A new QtLabel, shared with the caller.
  toolkit::Ref<toolkit::Label> NewLabel() override;

  // While an event is handled that carries its own modifier keys (a drop), OptionKey answers
  // from them rather than from the keyboard's state now.
  void EventModifiers(std::optional<Qt::KeyboardModifiers> modifiers) { modifiers_ = modifiers; }

  // The QtDesktop that lives now, or null when none does. Not owned by the caller.
  static QtDesktop* Current();

 private:
  toolkit::Desktop* previous_;
  QtEventLoop loop_;
  std::optional<Qt::KeyboardModifiers> modifiers_;
};

}  // namespace qt
