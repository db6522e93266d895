#include "window/DropQueue.h"

#include <algorithm>
#include <iterator>
#include <utility>

DropQueue::DropQueue(Reader reader, unsigned threads, const ThreadState& state)
    : reader_(std::move(reader)) {
  threads_.reserve(threads);
  for (unsigned i = 0; i < threads; ++i) {
    threads_.emplace_back([this, state](const std::stop_token& stop) {
      const std::shared_ptr<void> own = state ? state() : nullptr;
      Read(stop);
    });
  }
}

DropQueue::~DropQueue() {
  for (std::jthread& t : threads_)
    t.request_stop();
  // The jthreads join as they go; each wakes from its wait at the request.
  threads_.clear();
}

void DropQueue::Append(std::vector<DroppedItem> items) {
  {
    const std::lock_guard lock(mutex_);
    for (DroppedItem& item : items)
      slots_.push_back({std::move(item), std::nullopt});
  }
  wake_.notify_all();
}

void DropQueue::Read(const std::stop_token& stop) {
  std::unique_lock lock(mutex_);
  for (;;) {
    const auto hasWork = [this] {
      return claimed_ < first_ + static_cast<std::int64_t>(slots_.size());
    };
    // Asked to stop, the thread leaves whether or not items are left.
    if (!wake_.wait(lock, stop, hasWork) || stop.stop_requested()) return;
    const std::int64_t index = claimed_++;
    const DroppedItem item = slots_[static_cast<std::size_t>(index - first_)].item;
    lock.unlock();
    std::optional<ItemReading> reading = reader_(item);
    lock.lock();
    if (index >= first_) {
      slots_[static_cast<std::size_t>(index - first_)].reading.swap(reading);
    } else {
      // Cleared meanwhile: what was read goes, outside the lock, since a record takes time to
      // free.
      lock.unlock();
      reading.reset();
      lock.lock();
    }
  }
}

std::optional<ItemReading> DropQueue::Next() {
  std::unique_lock lock(mutex_);
  if (slots_.empty()) return std::nullopt;
  if (threads_.empty()) {
    const DroppedItem item = std::move(slots_.front().item);
    slots_.pop_front();
    ++first_;
    claimed_ = first_;
    lock.unlock();
    return reader_(item);
  }
  if (!slots_.front().reading) return std::nullopt;
  std::optional<ItemReading> reading = std::move(slots_.front().reading);
  slots_.pop_front();
  ++first_;
  return reading;
}

void DropQueue::Skip(std::int64_t count) {
  std::deque<Slot> gone;
  {
    const std::lock_guard lock(mutex_);
    const auto n = static_cast<std::size_t>(
        std::clamp<std::int64_t>(count, 0, static_cast<std::int64_t>(slots_.size())));
    gone.insert(gone.end(), std::make_move_iterator(slots_.begin()),
                std::make_move_iterator(slots_.begin() + static_cast<std::ptrdiff_t>(n)));
    slots_.erase(slots_.begin(), slots_.begin() + static_cast<std::ptrdiff_t>(n));
    first_ += static_cast<std::int64_t>(n);
    claimed_ = std::max(claimed_, first_);
  }
  // `gone` and the records read ahead in it go here, outside the lock.
}

std::int64_t DropQueue::Waiting() const {
  const std::lock_guard lock(mutex_);
  return static_cast<std::int64_t>(slots_.size());
}
