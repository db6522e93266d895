// The toolkit's event loop, keys, timer, menus, file types and window base, headless.

#include <gtest/gtest.h>

#include <algorithm>
#include <string>
#include <vector>

#include "platform/toolkit/Application.h"
#include "platform/toolkit/Controls.h"
#include "platform/toolkit/Headless.h"
#include "platform/toolkit/Window.h"

namespace toolkit {
namespace {

using Strings = std::vector<std::string>;

TEST(EventLoopTest, TasksRunInOrderOnlyWhenAskedAndARaisingOneKeepsTheRest) {
  HeadlessEventLoop loop;
  Strings ran;
  loop.Post([&] { ran.push_back("a"); });
  loop.Post([&] {
    ran.push_back("b");
    loop.Post([&] { ran.push_back("posted by b"); });
    throw RuntimeException("b");
  });
  loop.Post([&] { ran.push_back("c"); });
  EXPECT_TRUE(ran.empty());
  EXPECT_THROW(loop.RunPending(), RuntimeException);
  EXPECT_EQ(ran, (Strings{"a", "b"}));
  EXPECT_EQ(loop.RunPending(), 2u);  // "c" first: it was posted before b's task
  EXPECT_EQ(ran, (Strings{"a", "b", "c", "posted by b"}));
}

TEST(DesktopTest, ATimerTicksWhileItLivesAndIsOn) {
  HeadlessDesktop desktop;
  HeadlessEventLoop& loop = desktop.Loop();
  int ticks = 0;
  auto timer = Ref<Timer>::New();
  timer->Action = [&ticks](Timer&) { ++ticks; };
  timer->Period(100);
  loop.AdvanceClock(1000);
  EXPECT_EQ(ticks, 0);  // a new timer is off
  timer->RunMode(Timer::RunModeMultiple);
  loop.AdvanceClock(250);
  EXPECT_EQ(ticks, 2);
  timer->Period(100);  // starts the period anew: the next tick is 100 ms from now
  loop.AdvanceClock(99);
  timer->Enabled(false);
  loop.AdvanceClock(1000);
  EXPECT_EQ(ticks, 2);
  timer->Enabled(true);
  timer->RunMode(Timer::RunModeSingle);
  loop.AdvanceClock(1000);
  EXPECT_EQ(ticks, 3);
  EXPECT_EQ(timer->RunMode(), Timer::RunModeOff);
  // A timer that dies in its own action ticks no more.
  timer->Action = [&](Timer&) { ++ticks, timer = nullptr; };
  timer->RunMode(Timer::RunModeMultiple);
  loop.AdvanceClock(5000);
  EXPECT_EQ(ticks, 4);
}

// A window that records what the toolkit asks of it.
class RecordingWindow : public Window {
 public:
  Strings calls;
  void Layout() override { calls.push_back("Layout"); }
  void CreateControls() override { calls.push_back("CreateControls"); }
  void AddMenuHandlers(Object* target) override {
    calls.push_back(target == this ? "AddMenuHandlers(this)" : "AddMenuHandlers");
  }
  void Event_Open() override { calls.push_back("Open"); }
  void Event_Close() override { calls.push_back("Close"); }
  void Event_DropObject(DragItem&, int) override { calls.push_back("Drop"); }
  void Event_EnableMenuItems() override { MenuBar()->FindItem("Manual")->Enable(); }
  void Event_StopWork() override {
    calls.push_back("StopWork");
    Progress(false, "");
  }
  using Window::Progress;
};

class WindowBaseTest : public ::testing::Test {
 protected:
  void SetUp() override {
    Application::MakeCurrent(app);
    auto menu = Ref<MenuItem>::New("Menu", "Menu");
    bar->AddMenu(menu);
    menu->AddMenu(Ref<MenuItem>::New("Auto", "Auto"));
    menu->AddMenu(Ref<MenuItem>::New("Manual", "Manual", "", false));
    menu->AddMenu(Ref<MenuItem>::New("Never", "Never", "", false));
    window->MenuBar(bar);
    auto type = Ref<FileType>::New();
    type->Name = "test/drop";
    (void)type->Text();  // enters the type in the toolkit's table
  }
  HeadlessDesktop desktop;
  Ref<Application> app = Ref<Application>::New();
  Ref<MenuBar> bar = Ref<MenuBar>::New();
  Ref<RecordingWindow> window = Window::Make<RecordingWindow>();
};

TEST_F(WindowBaseTest, OpenAndCloseComeOnceAndDropsArriveWhileOpenForAKnownType) {
  FileDragItem drag({});
  window->RaiseOpen();
  window->RaiseOpen();
  window->AcceptFileDrop("test/unknown");
  EXPECT_FALSE(window->RaiseDropObject(drag, 0));
  window->AcceptFileDrop("test/unknown;test/drop;test/drop");
  EXPECT_EQ(window->AcceptedFileTypes().size(), 1u);
  EXPECT_TRUE(window->RaiseDropObject(drag, 0));
  window->RaiseClose();
  window->RaiseClose();
  EXPECT_FALSE(window->RaiseDropObject(drag, 0));
  EXPECT_EQ(window->calls, (Strings{"Layout", "CreateControls", "AddMenuHandlers(this)", "Open",
                                    "Drop", "Close"}));
}

// What the window tells of its work reaches the platform once for each change, and a request
// to stop reaches the window only while it works.
TEST_F(WindowBaseTest, ProgressIsToldOnceForEachChangeAndStopOnlyWhileWorking) {
  Strings told;
  window->OnProgress = [&] {
    told.push_back((window->Working() ? "working " : "idle ") + window->ProgressText().Bytes());
  };
  EXPECT_FALSE(window->RaiseStopWork());
  const struct {
    bool working;
    const char* text;
  } steps[] = {{true, ""},       {true, ""},        {true, "1 of 2"}, {true, "1 of 2"},
               {true, "2 of 2"}, {false, "2 of 2"}, {false, ""}};
  for (const auto& step : steps)
    window->Progress(step.working, step.text);
  EXPECT_EQ(told,
            (Strings{"working ", "working 1 of 2", "working 2 of 2", "idle 2 of 2", "idle "}));
  window->Progress(true, "1 of 9");
  EXPECT_TRUE(window->RaiseStopWork());
  EXPECT_FALSE(window->RaiseStopWork());  // the window stopped
  EXPECT_EQ(window->calls.back(), "StopWork");
  EXPECT_EQ(std::count(window->calls.begin(), window->calls.end(), "StopWork"), 1);
  EXPECT_EQ(told.back(), "idle ");
}

TEST_F(WindowBaseTest, MenuChoicesGoThroughEnablingToTheBoundAction) {
  int chosen = 0;
  window->AddMenuHandler("Manual", [&chosen] { return ++chosen > 0; });
  window->AddMenuHandler("Never", [&chosen] { return ++chosen > 0; });
  bar->FindItem("Never")->Enable();
  EXPECT_TRUE(window->ChooseMenuItem("Manual"));
  EXPECT_FALSE(window->ChooseMenuItem("Never"));  // disabled again before the choice
  EXPECT_FALSE(window->ChooseMenuItem("Auto"));   // enabled, but nothing serves it
  EXPECT_FALSE(window->ChooseMenuItem("Missing"));
  EXPECT_EQ(chosen, 1);
  EXPECT_TRUE(bar->FindItem("Auto")->Enabled());
  EXPECT_TRUE(bar->Child("Auto").IsNil());                           // only the bar's own items
  EXPECT_THROW(bar->Child("Menu")->AddMenu(bar), RuntimeException);  // a menu can't hold itself
  EXPECT_THROW(bar->AddMenu(nullptr), NilObjectException);
}

}  // namespace
}  // namespace toolkit
