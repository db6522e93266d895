#pragma once

#include <cstdint>
#include <deque>
#include <memory>

#include "app/ReceiptRequester.h"
#include "platform/toolkit/Controls.h"
#include "platform/toolkit/DragItem.h"
#include "platform/toolkit/FolderItem.h"
#include "platform/toolkit/Listbox.h"
#include "platform/toolkit/Menu.h"
#include "platform/toolkit/WeakRef.h"
#include "platform/toolkit/Window.h"
#include "window/DropQueue.h"

// The program's one window: the list `lb` of receipts and their attributes, with the help
// label `Label1` in its place while the list is empty, and the empty strip `Label2` below.
//
// Rows come from drops (Event_DropObject) and from the start-up folder "Supplemental Data"
// (Event_Open); each readable receipt is an expandable row that holds the receipt's
// attributes in its tag and opens into one row per decoded attribute (lb_ExpandRow). Nothing
// is written anywhere: what the window shows lives in the list, and only there.
class Window1 : public toolkit::Window {
 public:
  // The timer in the window's table of controls, which knows its window.
  class _wrapper_Timer1 : public toolkit::Timer {
   public:
    void _SetWindow(toolkit::Window& window);
    // The window, or nil when it has gone.
    toolkit::Ref<toolkit::Window> Window() const { return ownerWindow.Value(); }
    std::int64_t _Index() const { return Index; }
    void _SetIndex(std::int64_t index) { Index = index; }

    std::int64_t Index = -1;  // -1: not one of a set of controls
    toolkit::WeakRef<toolkit::Window> ownerWindow;
  };

  Window1();
  ~Window1() override;

  // The implicit instance: made at the first request, then the same window at every request
  // while it lives.
  static toolkit::Ref<Window1> Instance();

  // The request to refresh the receipt: nil until the command is first chosen, then the one
  // request for the rest of the window's life.
  toolkit::Ref<ReceiptRequester> rr;

  // Controls, from the window's table of controls.
  toolkit::Ref<toolkit::Listbox> lb() const;
  toolkit::Ref<toolkit::Label> Label1() const;
  toolkit::Ref<_wrapper_Timer1> Timer1() const;
  toolkit::Ref<toolkit::Label> Label2() const;

  // Opening a row whose tag holds a receipt's attributes adds one child row per decoded
  // attribute, sorted by attribute number. A row tagged "MACs" opens into the primary
  // interface's address, then a row per built-in interface, read afresh at every opening.
  // Other rows open with no children; a tag that has no text (an object other than a
  // MemoryBlock) raises TypeMismatchException.
  void lb_ExpandRow(toolkit::Listbox& list, std::int64_t row);
  // A click on a heading: served, so that the rows keep their order.
  bool lb_SortColumn(toolkit::Listbox& list, std::int64_t column);
  // Backspace and forward delete clear the list.
  bool lb_KeyDown(toolkit::Listbox& list, const toolkit::String& key);
  // Shows the list while it has rows and the help label while it has none.
  void Timer1_Action(toolkit::Timer& timer);

  // Menu items, from the window's menu bar; nil when the bar lacks one. NilObjectException
  // when the window has no menu bar.
  toolkit::Ref<toolkit::MenuItem> EditMenu() const;
  toolkit::Ref<toolkit::MenuItem> EditSelectAll() const;
  toolkit::Ref<toolkit::MenuItem> UntitledMenu0() const;
  toolkit::Ref<toolkit::MenuItem> EditClear() const;
  toolkit::Ref<toolkit::MenuItem> EditPaste() const;
  toolkit::Ref<toolkit::MenuItem> EditCopy() const;
  toolkit::Ref<toolkit::MenuItem> EditCut() const;
  toolkit::Ref<toolkit::MenuItem> UntitledMenu1() const;
  toolkit::Ref<toolkit::MenuItem> EditUndo() const;
  toolkit::Ref<toolkit::MenuItem> FileMenu() const;
  toolkit::Ref<toolkit::QuitMenuItem> FileQuit() const;
  toolkit::Ref<toolkit::MenuItem> FileRequestToRefreshTheReceipt() const;
  toolkit::Ref<toolkit::MenuItem> FileShowMACs() const;

  // Menu actions; each answers true, the choice served.
  // Starts the one refresh request; once it exists, only sounds the alert.
  bool _FileRequestToRefreshTheReceipt_Action();
  bool _EditClear_Action();
  // Calls showMACs.
  bool _FileShowMACs_Action();

  // Reads the receipt `file` and adds its row, named `name`, with the attributes in its tag.
  // False, with no row added, for a nil file, a folder, or a file that gives no receipt or
  // raises a RuntimeException while it is read.
  bool listReceipt(const toolkit::Ref<toolkit::FolderItem>& file, const toolkit::String& name);
  // Whether a dropped item of this name is taken for an application bundle, whatever it is on
  // disk: the name ends in ".app" in any case of its letters ("CAPS.APP"), as bundle names
  // are read on the file systems they come from. No other comparison of names folds case.
  static bool IsBundleName(const toolkit::String& name);
  // Adds the row "MACs" at the end and opens it. Each call adds one more.
  // When the registry can't be asked, the row stands open and empty and NilObjectException
  // leaves the call.
  void showMACs();
  // Removes every row. Nothing else changes: a drop being read goes on adding its rows.
  void clearList();

  // How many threads read the items of drops: by default one for each core of a machine with
  // more than one, none on a single core, where the window reads them itself between events.
  // A new number takes effect at the next drop that finds none being read.
  void ReadingThreads(unsigned threads) { readingThreads_ = threads; }
  unsigned ReadingThreads() const { return readingThreads_; }
  static unsigned DefaultReadingThreads();
  // How long one turn of the event loop may add rows (and, without threads, read items) before
  // the loop goes on with other events; at least one item is dealt with in each turn.
  void ReadingSliceMs(std::int64_t ms) { readingSliceMs_ = ms; }
  // The period of the turns that deal with the items of drops.
  static constexpr std::int64_t kReadingTurnMs = 10;
  // The turns that a drop is read before its progress shows: a drop that ends sooner never
  // shows any.
  static constexpr int kQuietTurns = 15;

 protected:
  void Layout() override;
  void CreateControls() override;
  void _CreateControls0();
  void AddMenuHandlers(toolkit::Object* target) override;

  void Event_EnableMenuItems() override;
  // Hides the refresh command, lists the receipts of "Supplemental Data/_MASReceipt" (or the
  // row "No receipts" when that can't be reached) and starts taking drops.
  void Event_Open() override;
  // Each dropped item becomes a receipt row, a row that says why it isn't one, or (in a drop
  // of several items, without the Option key) nothing. The event collects the items and reads
  // the Option key; the items are read afterwards, on the reading threads, and their rows come
  // in the order of the drop, in turns of the event loop, while the window shows how far it
  // has got. A drop that comes while another is read is read behind it.
  void Event_DropObject(toolkit::DragItem& obj, int action) override;
  // Stops the drops being read: their items not dealt with yet get no row; rows added stay.
  void Event_StopWork() override;
  // Closing the window ends the program.
  void Event_Close() override;
  bool Event_KeyDown(const toolkit::String& key) override;

  // The item for `path`, as toolkit::GetFolderItem gives it, relative paths resolving against
  // the executable's folder. Tests resolve them against a folder of their own.
  virtual toolkit::Ref<toolkit::FolderItem> GetFolderItem(const toolkit::String& path,
                                                          int pathType) const;

  // Everything that dealing with one dropped item finds out before it adds a row: the descent
  // into a bundle and the reading of the file. Safe on any thread; it never raises, an
  // exception goes into the reading.
  static ItemReading ReadItem(const DroppedItem& dropped);
  // What the reading threads call for each item: ReadItem. Asked for on the window's thread
  // when the threads start (at the first drop, and when their number changes); what it gives
  // runs on them and must not refer to the window.
  virtual DropQueue::Reader ItemReader() const;

 private:
  // Backspace and forward delete clear the list, from the list and from the window alike.
  bool ClearKey(const toolkit::String& key);
  // A row that says why `name` is no receipt; `source` is the item it was made from.
  void AddInfoRow(const toolkit::String& name, const toolkit::String& info,
                  const toolkit::Ref<toolkit::FolderItem>& source);
  // The children of a "MACs" row: the primary row, then one row per built-in interface.
  void AddInterfaceRows(toolkit::Listbox& list);

  // The part of listReceipt that reads: the attributes of `file`, or nil for a nil file, a
  // folder, or a file that gives none or raises a RuntimeException. Safe on any thread.
  static toolkit::Ref<toolkit::Dictionary> ReadFile(const toolkit::Ref<toolkit::FolderItem>& file);
  // The part that adds the row: false, with no row, when `attributes` is nil or a list
  // operation raises a RuntimeException.
  bool AddReceiptRow(const toolkit::Ref<toolkit::FolderItem>& file, const toolkit::String& name,
                     const toolkit::Ref<toolkit::Dictionary>& attributes);
  // Adds the row that a reading calls for, or raises the exception that left it.
  void AddRows(const ItemReading& reading);
  // One turn of the reading of drops: adds the rows of the items read, in order, for at most a
  // slice, and tells the progress. False when no item is left.
  bool ReadingTurn();
  // Schedules the turns anew; turns of an earlier schedule end at their next call.
  void ScheduleTurns();
  // The end of the reading: every item dealt with, or a stop.
  void EndReading();

  unsigned readingThreads_;
  std::int64_t readingSliceMs_ = 12;
  std::unique_ptr<DropQueue> queue_;
  std::int64_t itemsDealtWith_ = 0;  // of the drops being read, since the reading began
  std::int64_t itemsDropped_ = 0;
  std::deque<std::int64_t> dropsLeft_;  // the items not dealt with of each drop, in order
  int turns_ = 0;
  // Turns are scheduled while this is set; a turn of an older schedule finds another number
  // (after an item raised) and ends.
  std::uint64_t turnSchedule_ = 0;
  bool turning_ = false;
};
