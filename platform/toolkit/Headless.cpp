#include "platform/toolkit/Headless.h"

#include <algorithm>
#include <iterator>
#include <utility>

#include "platform/toolkit/ListModel.h"

namespace toolkit {

void HeadlessEventLoop::Post(std::function<void()> task) {
  tasks_.push_back(std::move(task));
}

void HeadlessEventLoop::Schedule(std::int64_t periodMs, bool repeating,
                                 std::function<bool()> tick) {
  // A period below 1 ms would let one AdvanceClock call the same tick without end.
  const std::int64_t period = std::max<std::int64_t>(periodMs, 1);
  timers_.push_back({now_ + period, nextOrder_++, period, repeating, std::move(tick)});
}

std::size_t HeadlessEventLoop::RunPending() {
  // Tasks posted while these run wait for the next call.
  std::deque<std::function<void()>> batch;
  batch.swap(tasks_);
  std::size_t ran = 0;
  while (!batch.empty()) {
    std::function<void()> task = std::move(batch.front());
    batch.pop_front();
    try {
      task();
    } catch (...) {
      // What had not run yet goes back to the front, ahead of what the batch posted.
      tasks_.insert(tasks_.begin(), std::make_move_iterator(batch.begin()),
                    std::make_move_iterator(batch.end()));
      throw;
    }
    ++ran;
  }
  return ran;
}

std::size_t HeadlessEventLoop::AdvanceClock(std::int64_t ms) {
  const std::int64_t until = now_ + std::max<std::int64_t>(ms, 0);
  std::size_t ran = 0;
  for (;;) {
    const auto next =
        std::min_element(timers_.begin(), timers_.end(), [](const auto& a, const auto& b) {
          return a.due != b.due ? a.due < b.due : a.order < b.order;
        });
    if (next == timers_.end() || next->due > until) break;
    Scheduled timer = std::move(*next);
    timers_.erase(next);
    now_ = timer.due;
    bool again = false;
    try {
      again = timer.tick() && timer.repeating;
    } catch (...) {
      again = timer.repeating;  // a raising tick is not an answer of false
      if (again) Schedule(timer.period, true, std::move(timer.tick));
      throw;
    }
    ++ran;
    if (again) {
      timer.due += timer.period;
      timer.order = nextOrder_++;
      timers_.push_back(std::move(timer));
    }
  }
  now_ = until;
  return ran;
}

HeadlessDesktop::HeadlessDesktop() : previous_(Install(this)) {}

HeadlessDesktop::~HeadlessDesktop() {
  // Only put back what this one replaced if nobody has installed another meanwhile.
  Desktop* const now = Install(previous_);
  if (now != this) Install(now);
}

bool HeadlessDesktop::OptionKey() {
  ++optionKeyReads_;
  return optionKey_;
}

Ref<Listbox> HeadlessDesktop::NewListbox() {
  return Ref<ListModel>::New();
}

Ref<Label> HeadlessDesktop::NewLabel() {
  return Ref<HeadlessLabel>::New();
}

}  // namespace toolkit
