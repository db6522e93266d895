#pragma once

#include <cstdint>
#include <deque>
#include <functional>
#include <vector>

namespace toolkit {

// The one event loop of the program: everything after start-up runs in tasks and timer ticks
// that it calls, one after the other, on the main thread. A platform implements it with its
// own loop; HeadlessEventLoop below runs only when told to, which is what tests need.
class EventLoop {
 public:
  virtual ~EventLoop() = default;

  // Queues `task` to run later, after the caller has returned to the loop, in the order of
  // posting. Exceptions that a task raises go to the loop's top-level handling.
  virtual void Post(std::function<void()> task) = 0;

  // Calls `tick` every `periodMs` milliseconds (once, when `repeating` is false) until it
  // returns false. Nothing can cancel a tick from outside: its owner makes it answer false.
  virtual void Schedule(std::int64_t periodMs, bool repeating, std::function<bool()> tick) = 0;

  // Runs the tasks that were posted before this call; returns how many ran.
  virtual std::size_t RunPending() = 0;

  // Ends the loop once the task or tick that is running now has returned.
  virtual void Quit() = 0;
};

// A loop with a clock of its own that moves only when told. Tasks run by RunPending, timer
// ticks by AdvanceClock; nothing runs by itself. An exception raised by a task or a tick
// leaves the call that ran it, and what had not run yet stays queued.
class HeadlessEventLoop final : public EventLoop {
 public:
  void Post(std::function<void()> task) override;
  void Schedule(std::int64_t periodMs, bool repeating, std::function<bool()> tick) override;
  std::size_t RunPending() override;
  void Quit() override { quitRequested_ = true; }

  // Moves the clock on by `ms` milliseconds and calls every tick that falls due meanwhile, in
  // the order of their due times (of their scheduling at equal times). Returns how many ran.
  std::size_t AdvanceClock(std::int64_t ms);

  std::int64_t Now() const { return now_; }
  std::size_t PendingTasks() const { return tasks_.size(); }
  // Timers whose tick has not yet answered false.
  std::size_t ScheduledTimers() const { return timers_.size(); }
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

}  // namespace toolkit
