#pragma once

#include <condition_variable>
#include <cstdint>
#include <deque>
#include <exception>
#include <functional>
#include <memory>
#include <mutex>
#include <optional>
#include <stop_token>
#include <thread>
#include <vector>

#include "platform/toolkit/Dictionary.h"
#include "platform/toolkit/FolderItem.h"

// One item of a drop, as the window deals with it after the collection: the item as the drag
// gave it, and whether an item that yields no receipt gets a row, decided once for its drop.
struct DroppedItem {
  toolkit::Ref<toolkit::FolderItem> item;
  bool showRejects = false;
};

// What reading one dropped item gave: everything that the row it calls for needs, found without
// touching the list, so that it can be found on any thread. Only the main thread adds the row.
struct ItemReading {
  enum class Kind {
    None,     // no row: a reject in a drop that shows none
    Info,     // a plain row with `info`
    Receipt,  // `file` was read: a receipt row when `attributes` is there, else a reject
  };
  Kind kind = Kind::None;
  toolkit::String name;                          // the dropped item's name, the row's first cell
  toolkit::String info;                          // the text of an Info row
  toolkit::Ref<toolkit::FolderItem> file;        // the file read, or the item an Info row tells of
  toolkit::Ref<toolkit::Dictionary> attributes;  // the receipt's, or nil
  bool showRejects = false;
  // An exception that left the reading: the drop ends there when its turn comes.
  std::exception_ptr raised;
};

// The items of drops still to be dealt with, read ahead by threads of their own and handed out
// in the order in which they were appended, whichever thread finished reading first. Without
// threads, the caller of Next reads each item itself.
//
// The queue is used from one thread (the window's); its threads touch nothing but the items
// and what `reader` reads. Readings wait in the queue until Next takes them, so that memory
// grows with the lead of the readers; it is what the rows will hold anyway.
class DropQueue {
 public:
  // Reads one item; called on the queue's threads, several at once, so it must keep to what
  // it is given. It must not raise: an exception belongs in the reading.
  using Reader = std::function<ItemReading(const DroppedItem&)>;
  // Made on each of the queue's threads as it starts, and kept there until it ends: what the
  // thread needs of its own to read.
  using ThreadState = std::function<std::shared_ptr<void>()>;

  // `threads` readers start at once and wait for items; with 0, Next reads. `state`, when
  // given, is made on each of them.
  DropQueue(Reader reader, unsigned threads, const ThreadState& state = {});
  // Stops the threads, after they have finished the items they are reading.
  ~DropQueue();
  DropQueue(const DropQueue&) = delete;
  DropQueue& operator=(const DropQueue&) = delete;

  // Items to read after those already there.
  void Append(std::vector<DroppedItem> items);
  // The reading of the first item not handed out yet, once it has been read; nothing while
  // it is being read, or when no item is left. Without threads, reads it first.
  std::optional<ItemReading> Next();
  // Forgets the next `count` items not handed out yet (all of them, when fewer are left); what
  // the threads are reading of them now is thrown away when they are done.
  void Skip(std::int64_t count);
  void Clear() { Skip(Waiting()); }
  // How many items have not been handed out yet.
  std::int64_t Waiting() const;
  unsigned Threads() const { return static_cast<unsigned>(threads_.size()); }

 private:
  struct Slot {
    DroppedItem item;
    std::optional<ItemReading> reading;
  };

  void Read(const std::stop_token& stop);

  const Reader reader_;
  mutable std::mutex mutex_;
  std::condition_variable_any wake_;   // an item to read, or the end
  std::deque<Slot> slots_;             // the item of index first_ at the front
  std::int64_t first_ = 0;             // the index of the next item that Next hands out
  std::int64_t claimed_ = 0;           // the index of the next item that a thread takes
  std::vector<std::jthread> threads_;  // last: they stop and are joined before the rest goes
};
