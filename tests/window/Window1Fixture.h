#pragma once

// Window1 on a headless desktop, with its start-up folder and the dropped files in a scratch
// folder, and a checker on its list.

#include <gtest/gtest.h>

#include <chrono>
#include <memory>
#include <thread>

#include "Support.h"
#include "app/App.h"
#include "platform/toolkit/Headless.h"
#include "tests/support/TestWindow.h"

namespace window_test {

using toolkit::FolderItem;
using toolkit::Ref;
using toolkit::String;
using Strings = std::vector<std::string>;

using test_support::TestWindow;

class Window1Test : public ::testing::Test {
 protected:
  void TearDown() override { EXPECT_EQ(checker->Failures(), Strings{}); }

  Listbox& list() { return *window->lb(); }
  Strings rows() { return Rows(list()); }

  // Drops the items of these names in the folder "drop" ("" for an item without a file),
  // with the Option key as given, and lets the loop turn until they are read.
  void Drop(const Strings& names, bool option = false) {
    StartDrop(names, option);
    EXPECT_EQ(FinishReading(), 0) << "turns that raised";
  }
  // The drop event alone: the items are read in the turns of the loop that follow.
  void StartDrop(const Strings& names, bool option = false) {
    std::vector<Ref<FolderItem>> items;
    for (const std::string& name : names)
      items.push_back(name.empty() ? nullptr
                                   : Ref<FolderItem>::New(scratch.path() / "drop" / name));
    desktop.SetOptionKey(option);
    toolkit::FileDragItem drag(std::move(items));
    window->RaiseDropObject(drag, 0);
  }
  // One turn of the reading of drops.
  void Turn() { desktop.Loop().AdvanceClock(Window1::kReadingTurnMs); }
  // Turns until the drops are read, waiting a little between turns for the reading threads;
  // answers how many turns raised IOException.
  int FinishReading() {
    const auto giveUp = std::chrono::steady_clock::now() + std::chrono::minutes(2);
    int raised = 0;
    while (window->Working() && std::chrono::steady_clock::now() < giveUp) {
      try {
        Turn();
      } catch (const toolkit::IOException&) {
        ++raised;
      }
      std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
    EXPECT_FALSE(window->Working()) << "the drops were not read";
    return raised;
  }

  toolkit::HeadlessDesktop desktop;
  test_support::ScratchFolder scratch;
  Ref<App> app = StartApplication();
  Ref<TestWindow> window = toolkit::Window::Make<TestWindow>(scratch.path() / "exe");
  std::unique_ptr<ListChecker> checker =
      std::make_unique<ListChecker>(*window->lb().As<ListModel>());
};

}  // namespace window_test
