// Receipts into the list: the start-up folder, drops, and the reading of one receipt file.

#include <algorithm>
#include <chrono>
#include <exception>
#include <memory>
#include <optional>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "app/FileTypes1.h"
#include "platform/toolkit/Desktop.h"
#include "platform/toolkit/Dictionary.h"
#include "receipts/CertTools.h"
#include "window/Window1.h"

using toolkit::FolderItem;
using toolkit::NilObjectException;
using toolkit::Ref;
using toolkit::String;

Window1::Window1() : readingThreads_(DefaultReadingThreads()) {}

// The reading threads stop here, after the items they are reading.
Window1::~Window1() = default;

unsigned Window1::DefaultReadingThreads() {
  // A few are plenty: reading waits on the disk too, and the rows come one at a time anyway.
  constexpr unsigned kMost = 8;
  const unsigned cores = std::thread::hardware_concurrency();
  return cores > 1 ? std::min(cores, kMost) : 0;
}

Ref<FolderItem> Window1::GetFolderItem(const String& path, int pathType) const {
  return toolkit::GetFolderItem(path, pathType);
}

void Window1::Event_Open() {
  // The refresh command stays out of sight; its shortcut is the way to it.
  FileRequestToRefreshTheReceipt()->Visible(false);

  // Only a nil in the way counts as "no receipts". Anything else leaves the event, before
  // drops are turned on.
  try {
    const Ref<FolderItem> folder = GetFolderItem("Supplemental Data", 0);
    const Ref<FolderItem> receipts = folder->Child("_MASReceipt", true);
    if (receipts && receipts->Exists()) {
      const std::int64_t count = receipts->Count();
      for (std::int64_t i = 1; i <= count; ++i) {
        const Ref<FolderItem> item = receipts->Item(i);
        listReceipt(item, item->Name());
      }
    }
  } catch (const NilObjectException&) {
    lb()->AddRow({"No receipts"});
  }

  AcceptFileDrop(FileTypes1::All());
}

void Window1::Event_DropObject(toolkit::DragItem& obj, int action) {
  (void)action;

  // Collect: the first item is there without NextItem. Aliases are resolved as the items are
  // read (ReadItem): a file system call for each item would hold a long drop's event, and here
  // an alias that is there always resolves to an item, so no item drops out of the count that
  // decides below.
  std::vector<Ref<FolderItem>> items;
  do {
    if (Ref<FolderItem> item = obj.FolderItem()) items.push_back(std::move(item));
  } while (obj.NextItem());

  // Decide: a single item always tells why it isn't a receipt; in a drop of several, only
  // with the Option key down as the collection ends.
  const bool showRejects = items.size() == 1 || toolkit::Keyboard::OptionKey();

  std::vector<DroppedItem> dropped;
  dropped.reserve(items.size());
  for (Ref<FolderItem>& item : items)
    dropped.push_back({std::move(item), showRejects});
  if (dropped.empty()) return;

  // Deal with each item, in turns of the event loop, behind any drop still being read.
  if (!queue_ || (itemsDropped_ == 0 && queue_->Threads() != readingThreads_)) {
    queue_.reset();  // its threads end before new ones start
    // Each reading thread works in a libcrypto context of its own, so that they read side by
    // side rather than in turns.
    queue_ = std::make_unique<DropQueue>(ItemReader(), readingThreads_, [] {
      return std::make_shared<CertTools::ThreadLibraryContext>();
    });
  }
  itemsDropped_ += static_cast<std::int64_t>(dropped.size());
  dropsLeft_.push_back(static_cast<std::int64_t>(dropped.size()));
  queue_->Append(std::move(dropped));
  Progress(true, ProgressText());
  if (!turning_) ScheduleTurns();
}

void Window1::ScheduleTurns() {
  turning_ = true;
  const std::weak_ptr<Window> self = weak_from_this();
  const std::uint64_t schedule = ++turnSchedule_;
  toolkit::Desktop::Current().Loop().Schedule(kReadingTurnMs, true, [self, schedule] {
    const auto window = std::static_pointer_cast<Window1>(self.lock());
    return window && window->turnSchedule_ == schedule && window->ReadingTurn();
  });
}

DropQueue::Reader Window1::ItemReader() const {
  return &Window1::ReadItem;
}

ItemReading Window1::ReadItem(const DroppedItem& dropped) {
  ItemReading reading;
  reading.showRejects = dropped.showRejects;
  try {
    // An alias is resolved through its parent folder; one that resolves to nothing is no item.
    Ref<FolderItem> item = dropped.item;
    if (item->Alias()) {
      if (const Ref<FolderItem> parent = item->Parent()) {
        item = parent->Child(item->Name(), true);
        if (!item) return reading;
      }
    }
    reading.name = item->Name();
    const auto reject = [&](const char* text) {
      if (!dropped.showRejects) return;
      reading.kind = ItemReading::Kind::Info;
      reading.info = text;
      reading.file = item;
    };
    Ref<FolderItem> file;
    if (IsBundleName(reading.name)) {
      // A bundle by its name, whatever it is on disk.
      try {
        file = item->Child("Contents", true)->Child("_MASReceipt", true)->Child("receipt", true);
      } catch (const NilObjectException&) {
        file = nullptr;
      }
      if (!file || !file->Exists() || file->Directory()) {
        reject("No MAS receipt in app");
        return reading;
      }
    } else if (item->Directory()) {
      reject("Ignored (folder)");
      return reading;
    } else {
      file = item;
    }
    reading.kind = ItemReading::Kind::Receipt;
    reading.file = file;
    reading.attributes = ReadFile(file);
  } catch (...) {
    // Any other exception ends the drop, as it would leave a drop read in one event.
    reading.raised = std::current_exception();
  }
  return reading;
}

void Window1::AddRows(const ItemReading& reading) {
  if (reading.raised) std::rethrow_exception(reading.raised);
  switch (reading.kind) {
    case ItemReading::Kind::None:
      return;
    case ItemReading::Kind::Info:
      AddInfoRow(reading.name, reading.info, reading.file);
      return;
    case ItemReading::Kind::Receipt:
      if (!AddReceiptRow(reading.file, reading.name, reading.attributes) && reading.showRejects)
        AddInfoRow(reading.name, "Not a MAS receipt", reading.file);
      return;
  }
}

namespace {

// A count as people read it here: the digits in groups of three, "3,200".
std::string Grouped(std::int64_t n) {
  std::string digits = std::to_string(n);
  for (auto at = static_cast<std::ptrdiff_t>(digits.size()) - 3; at > 0; at -= 3)
    digits.insert(static_cast<std::size_t>(at), 1, ',');
  return digits;
}

}  // namespace

bool Window1::ReadingTurn() {
  using Clock = std::chrono::steady_clock;
  const Clock::time_point end = Clock::now() + std::chrono::milliseconds(readingSliceMs_);
  std::int64_t leftOfItsDrop = 0;  // behind the item being dealt with
  try {
    while (itemsDealtWith_ < itemsDropped_) {
      std::optional<ItemReading> reading = queue_->Next();
      if (!reading) break;  // still being read
      ++itemsDealtWith_;
      leftOfItsDrop = --dropsLeft_.front();
      if (leftOfItsDrop == 0) dropsLeft_.pop_front();
      AddRows(*reading);
      if (Clock::now() >= end) break;
    }
  } catch (...) {
    // The drop ends at the item that raised, as it would if it were read in one event: its
    // items not dealt with get no rows, and the exception goes on to the loop's handling,
    // which ends these turns. Drops behind it are read in turns of their own.
    if (leftOfItsDrop > 0) {
      queue_->Skip(leftOfItsDrop);
      itemsDropped_ -= leftOfItsDrop;
      dropsLeft_.pop_front();
    }
    if (itemsDealtWith_ >= itemsDropped_)
      EndReading();
    else
      ScheduleTurns();
    throw;
  }
  if (itemsDealtWith_ >= itemsDropped_) {
    EndReading();
    return false;
  }
  if (++turns_ >= kQuietTurns) {
    Progress(true, String("Reading " + Grouped(itemsDealtWith_) + " of " + Grouped(itemsDropped_) +
                              "\xE2\x80\xA6",
                          toolkit::TextEncoding::UTF8));
  }
  return true;
}

void Window1::EndReading() {
  if (queue_) queue_->Clear();
  itemsDealtWith_ = 0;
  itemsDropped_ = 0;
  dropsLeft_.clear();
  turns_ = 0;
  turning_ = false;
  Progress(false, "");
}

void Window1::Event_StopWork() {
  EndReading();
  // The turn still scheduled finds nothing left and ends; a drop before it is read by it.
}

void Window1::AddInfoRow(const String& name, const String& info, const Ref<FolderItem>& source) {
  lb()->AddRow({name, "", info});
  if (source) lb()->RowSource(lb()->LastIndex(), source);
}

bool Window1::IsBundleName(const String& name) {
  return toolkit::EqualFoldingASCIICase(toolkit::Right(name, 4), ".app");
}

Ref<toolkit::Dictionary> Window1::ReadFile(const Ref<FolderItem>& file) {
  try {
    if (!file || file->Directory()) return nullptr;
    return CertTools::ReadReceipt(file);
  } catch (const toolkit::RuntimeException&) {
    return nullptr;
  }
}

bool Window1::AddReceiptRow(const Ref<FolderItem>& file, const String& name,
                            const Ref<toolkit::Dictionary>& attributes) {
  if (!attributes) return false;
  try {
    lb()->AddFolder(name);
    // The row keeps the whole record, so that opening it needs the file no more.
    lb()->RowTag(lb()->LastIndex(), attributes);
    lb()->RowSource(lb()->LastIndex(), file);
    return true;
  } catch (const toolkit::RuntimeException&) {
    return false;  // a row already added stays
  }
}

bool Window1::listReceipt(const Ref<FolderItem>& file, const String& name) {
  return AddReceiptRow(file, name, ReadFile(file));
}
