#pragma once

// The program's window as tests use it: relative paths resolve against a folder of the test's
// choosing (or give nil, or raise), a drop can run a step of the test once it is taken, and the
// reading of a dropped item can raise.

#include <exception>
#include <filesystem>
#include <functional>
#include <string>
#include <utility>

#include "platform/toolkit/Exceptions.h"
#include "window/Window1.h"

namespace test_support {

class TestWindow : public Window1 {
 public:
  enum class Start { InFolder, Nil, Raises };

  explicit TestWindow(std::filesystem::path folder) : base(std::move(folder)) {}

  std::filesystem::path base;
  // What GetFolderItem does: resolve in `base`, give nil, or raise IOException.
  Start start = Start::InFolder;
  // Runs inside each drop event, once the window has taken the drop.
  std::function<void()> AfterDrop;
  // The name of a dropped item whose reading raises IOException, as an item of a toolkit whose
  // files can fail would; empty for none. Takes effect when the reading threads start.
  std::string raiseOnReading;

 protected:
  void Event_DropObject(toolkit::DragItem& obj, int action) override {
    Window1::Event_DropObject(obj, action);
    if (AfterDrop) AfterDrop();
  }

  DropQueue::Reader ItemReader() const override {
    return [raiseOn = raiseOnReading](const DroppedItem& dropped) {
      if (raiseOn.empty() || dropped.item->Name() != raiseOn) return ReadItem(dropped);
      ItemReading reading;
      reading.raised = std::make_exception_ptr(toolkit::IOException("the disk is gone"));
      return reading;
    };
  }

  toolkit::Ref<toolkit::FolderItem> GetFolderItem(const toolkit::String& path,
                                                  int pathType) const override {
    if (start == Start::Nil || pathType != 0) return nullptr;
    if (start == Start::Raises) throw toolkit::IOException("the disk is gone");
    return toolkit::Ref<toolkit::FolderItem>::New(base / path.Bytes());
  }
};

}  // namespace test_support
