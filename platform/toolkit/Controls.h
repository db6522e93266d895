#pragma once

#include <cstdint>
#include <functional>
#include <memory>

#include "platform/toolkit/Ref.h"
#include "platform/toolkit/String.h"

namespace toolkit {

// The design properties that every visible control of a window has: where it stands, which
// edges of the window it follows, and how it takes the keyboard. The platform lays the control
// out from them; nothing in the toolkit's own logic depends on them.
struct ControlDesign {
  std::int64_t Left = 0;
  std::int64_t Top = 0;
  std::int64_t Width = 0;
  std::int64_t Height = 0;
  bool LockLeft = false;
  bool LockTop = false;
  bool LockRight = false;
  bool LockBottom = false;
  bool Visible = true;  // at start; the control's Visible says what holds now
  std::int64_t TabIndex = 0;
  bool Enabled = true;
  bool TabStop = true;
  bool AllowAutoDeactivate = true;
  String FontName = "System";
  double FontSize = 0;  // 0: the system's size
  std::int64_t FontUnit = 0;
};

// A visible control of a window.
class Control : public Object {
 public:
  virtual bool Visible() const = 0;
  virtual void Visible(bool visible) = 0;
};

struct LabelDesign : ControlDesign {
  bool Multiline = false;
  std::int64_t TextAlignment = 0;  // 0 default, 1 left, 2 centre, 3 right
  bool Selectable = false;
  bool Transparent = false;
  std::uint32_t TextColor = 0x000000;  // 0xRRGGBB
  String Text;                         // line ends are carriage returns
};

// A text in a window.
class Label : public Control {
 public:
  // Takes all design values, Visible and Text among them.
  virtual void ApplyDesign(const LabelDesign& design) = 0;
  // The design values as last applied; Visible() and Text() say what holds now.
  virtual const LabelDesign& Design() const = 0;
  virtual String Text() const = 0;
  virtual void Text(const String& text) = 0;
};

// A timer of the event loop of the current Desktop. A new timer is off; it ticks while it is
// Enabled with a RunMode other than Off, every Period milliseconds, and each tick raises
// Action. In RunModeSingle it ticks once and then sets its RunMode to Off. Any change of the
// three properties starts the period anew. A timer that has died ticks no more.
class Timer : public Object {
 public:
  enum RunModes : int { RunModeOff = 0, RunModeSingle = 1, RunModeMultiple = 2 };

  Timer();
  ~Timer() override;

  std::int64_t Period() const { return period_; }
  void Period(std::int64_t milliseconds);
  int RunMode() const { return runMode_; }
  void RunMode(int mode);  // a mode outside the three counts as Off
  bool Enabled() const { return enabled_; }
  void Enabled(bool enabled);

  // The handler of the Action event.
  std::function<void(Timer& timer)> Action;

 private:
  void Restart();

  std::int64_t period_ = 1000;
  int runMode_ = RunModeOff;
  bool enabled_ = true;
  // Ticks reach the timer through this cell, which the destructor clears, and answer false
  // once `generation_` has moved on from the one they were scheduled for.
  std::shared_ptr<Timer*> self_;
  std::uint64_t generation_ = 0;
};

}  // namespace toolkit
