#pragma once

// The toolkit's desktop without a screen, for tests and benchmarks: a loop that runs only when
// told, a desktop that records what the program shows, and a label that keeps what it is
// given. The library `toolkit_headless`; the program never links it.

#include <cstdint>
#include <deque>
#include <functional>
#include <vector>

#include "platform/toolkit/Controls.h"
#include "platform/toolkit/Desktop.h"
#include "platform/toolkit/EventLoop.h"

namespace toolkit {

// A loop with a clock of its own that moves only when told. Tasks run by RunPending, timer
// ticks by AdvanceClock; nothing runs by itself. An exception raised by a task or a tick
// leaves the call that ran it, and what had not run yet stays queued.
class HeadlessEventLoop final : public EventLoop {
 public:
  void Post(std::function<void()> task) override;
  void Schedule(std::int64_t periodMs, bool repeating, std::function<bool()> tick) override;
  void Quit() override { quitRequested_ = true; }

  // Runs the tasks that were posted before this call; returns how many ran.
  std::size_t RunPending();
  // Moves the clock on by `ms` milliseconds and calls every tick that falls due meanwhile, in
  // the order of their due times (of their scheduling at equal times). Returns how many ran.
  std::size_t AdvanceClock(std::int64_t ms);

  bool QuitRequested() const { return quitRequested_; }

 private:
  struct Scheduled {
    std::int64_t due;
    std::uint64_t order;  // ties at one due time go by scheduling order
    std::int64_t period;
    bool repeating;
    std::function<bool()> tick;
  };

  std::deque<std::function<void()>> tasks_;
  std::vector<Scheduled> timers_;
  std::int64_t now_ = 0;
  std::uint64_t nextOrder_ = 0;
  bool quitRequested_ = false;
};

// A label without a screen: it keeps what it is given.
class HeadlessLabel final : public Label {
 public:
  void ApplyDesign(const LabelDesign& design) override {
    design_ = design;
    visible_ = design.Visible;
    text_ = design.Text;
  }
  const LabelDesign& Design() const override { return design_; }
  bool Visible() const override { return visible_; }
  void Visible(bool visible) override { visible_ = visible; }
  String Text() const override { return text_; }
  void Text(const String& text) override { text_ = text; }

 private:
  LabelDesign design_;
  bool visible_ = true;
  String text_;
};

// A desktop with no screen that records what the program shows and lets tests set the keys.
// It installs itself while it lives and puts back the desktop it replaced when it dies.
class HeadlessDesktop final : public Desktop {
 public:
  HeadlessDesktop();
  ~HeadlessDesktop() override;

  HeadlessEventLoop& Loop() override { return loop_; }
  void MsgBox(const String& text) override { messageBoxes_.push_back(text); }
  void Beep() override { ++beeps_; }
  bool OptionKey() override;
  Ref<Listbox> NewListbox() override;
  Ref<Label> NewLabel() override;

  void SetOptionKey(bool down) { optionKey_ = down; }
  // The texts of the message boxes shown so far, in order.
  const std::vector<String>& MessageBoxes() const { return messageBoxes_; }
  int Beeps() const { return beeps_; }
  // How often the Option key has been read.
  int OptionKeyReads() const { return optionKeyReads_; }

 private:
  Desktop* previous_;
  HeadlessEventLoop loop_;
  std::vector<String> messageBoxes_;
  int beeps_ = 0;
  bool optionKey_ = false;
  int optionKeyReads_ = 0;
};

}  // namespace toolkit
