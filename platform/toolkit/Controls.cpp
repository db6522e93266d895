#include "platform/toolkit/Controls.h"

#include "platform/toolkit/Desktop.h"

namespace toolkit {

Timer::Timer() : self_(std::make_shared<Timer*>(this)) {}

Timer::~Timer() {
  *self_ = nullptr;
}

void Timer::Period(std::int64_t milliseconds) {
  period_ = milliseconds;
  Restart();
}

void Timer::RunMode(int mode) {
  runMode_ = (mode == RunModeSingle || mode == RunModeMultiple) ? mode : RunModeOff;
  Restart();
}

void Timer::Enabled(bool enabled) {
  enabled_ = enabled;
  Restart();
}

void Timer::Restart() {
  const std::uint64_t generation = ++generation_;
  if (!enabled_ || runMode_ == RunModeOff) return;
  const std::weak_ptr<Timer*> weak = self_;
  const bool repeating = runMode_ == RunModeMultiple;
  Desktop::Current().Loop().Schedule(period_, repeating, [weak, generation]() {
    const std::shared_ptr<Timer*> cell = weak.lock();
    if (!cell || *cell == nullptr || (*cell)->generation_ != generation) return false;
    Timer& timer = **cell;
    if (timer.runMode_ == RunModeSingle) timer.runMode_ = RunModeOff;  // its one tick
    // A copy: the handler may rebind Action, or let the timer die, while it runs.
    if (const auto action = timer.Action) action(timer);
    return *cell != nullptr && (*cell)->generation_ == generation;
  });
}

}  // namespace toolkit
