#pragma once

#include <cstdint>
#include <functional>

namespace toolkit {

// The one event loop of the program: everything after start-up runs in tasks and timer ticks
// that it calls, one after the other, on the main thread. A platform implements it with its
// own loop.
class EventLoop {
 public:
  virtual ~EventLoop() = default;

  // Queues `task` to run later, after the caller has returned to the loop, in the order of
  // posting. Exceptions that a task raises go to the loop's top-level handling.
  virtual void Post(std::function<void()> task) = 0;

  // Calls `tick` every `periodMs` milliseconds (once, when `repeating` is false) until it
  // returns false. Nothing can cancel a tick from outside: its owner makes it answer false.
  virtual void Schedule(std::int64_t periodMs, bool repeating, std::function<bool()> tick) = 0;

  // Ends the loop once the task or tick that is running now has returned.
  virtual void Quit() = 0;
};

}  // namespace toolkit
