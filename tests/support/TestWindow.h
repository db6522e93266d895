#pragma once

// The program's window as tests use it: relative paths resolve against a folder of the test's
// choosing (or give nil, or raise), and a drop can run a step of the test once it is done.

#include <filesystem>
#include <functional>
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
  // Runs inside each drop, once the window has dealt with it.
  std::function<void()> AfterDrop;

 protected:
  void Event_DropObject(toolkit::DragItem& obj, int action) override {
    Window1::Event_DropObject(obj, action);
    if (AfterDrop) AfterDrop();
  }

  toolkit::Ref<toolkit::FolderItem> GetFolderItem(const toolkit::String& path,
                                                  int pathType) const override {
    if (start == Start::Nil || pathType != 0) return nullptr;
    if (start == Start::Raises) throw toolkit::IOException("the disk is gone");
    return toolkit::Ref<toolkit::FolderItem>::New(base / path.Bytes());
  }
};

}  // namespace test_support
