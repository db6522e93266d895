// Window1's own logic: the timer's swap, keys, headings, menus and the refresh request.

#include <gtest/gtest.h>

#include <tuple>

#include "Window1Fixture.h"

namespace window_test {
namespace {

using toolkit::Chr;

TEST_F(Window1Test, TheTimerSwapsListAndHelpByWhetherTheListHasRows) {
  window->RaiseOpen();
  const auto shown = [this] { return std::pair(list().Visible(), window->Label1()->Visible()); };
  EXPECT_EQ(shown(), std::pair(false, true));
  list().AddRow({"a single plain row"});
  desktop.Loop().AdvanceClock(199);  // up to one period late
  EXPECT_EQ(shown(), std::pair(false, true));
  desktop.Loop().AdvanceClock(1);
  EXPECT_EQ(shown(), std::pair(true, false));
  window->clearList();
  desktop.Loop().AdvanceClock(200);
  EXPECT_EQ(shown(), std::pair(false, true));
}

TEST_F(Window1Test, BackspaceAndForwardDeleteClearFromListAndWindow) {
  const std::tuple<String, bool, bool> cases[] = {
      // key, typed in the list (else in the window), clears
      {Chr(8), true, true},    {Chr(127), true, true}, {Chr(8), false, true},
      {Chr(127), false, true}, {"a", true, false},     {Chr(13), false, false},
  };
  for (const auto& [key, inList, clears] : cases) {
    SCOPED_TRACE(toolkit::EncodeHex(key).Bytes() + (inList ? " in the list" : " in the window"));
    window->clearList();
    list().AddRow({"row"});
    EXPECT_EQ(inList ? list().RaiseKeyDown(key) : window->RaiseKeyDown(key), clears);
    EXPECT_EQ(list().ListCount(), clears ? 0 : 1);
  }
}

TEST_F(Window1Test, AHeadingClickLeavesTheRowsInTheirOrder) {
  list().AddRow({"b", "b"});
  list().AddRow({"a", "a"});
  EXPECT_TRUE(list().RaiseSortColumn(1));
  EXPECT_EQ(rows(), (Strings{"b|b|", "a|a|"}));
}

TEST_F(Window1Test, MenusAfterOpeningTheirEnablingAndTheirActions) {
  window->RaiseOpen();
  window->RaiseEnableMenuItems();
  EXPECT_TRUE(window->EditClear()->Enabled());  // also while the list is empty

  list().AddRow({"row"});
  EXPECT_TRUE(window->ChooseMenuItem("EditClear"));
  EXPECT_EQ(list().ListCount(), 0);
  EXPECT_FALSE(desktop.Loop().QuitRequested());
  EXPECT_TRUE(window->ChooseMenuItem("FileQuit"));
  EXPECT_TRUE(desktop.Loop().QuitRequested());
}

TEST_F(Window1Test, TheRefreshRequestIsSentOnceAndItsOutcomeShown) {
  window->RaiseOpen();
  list().AddRow({"row"});
  EXPECT_TRUE(window->ChooseMenuItem("FileRequestToRefreshTheReceipt"));  // enabled while idle
  const auto request = window->rr;
  EXPECT_TRUE(window->_FileRequestToRefreshTheReceipt_Action());  // on its way: the alert only
  EXPECT_EQ(std::pair(desktop.Beeps(), desktop.MessageBoxes().size()), std::pair(1, 0ul));
  EXPECT_EQ(desktop.Loop().RunPending(), 1u);  // the outcome comes later, from the loop, once
  EXPECT_EQ(desktop.MessageBoxes(), std::vector<String>{"Refresh failed"});
  // Sent for good: the item is disabled, and the action only sounds the alert.
  EXPECT_FALSE(window->ChooseMenuItem("FileRequestToRefreshTheReceipt"));
  EXPECT_TRUE(window->_FileRequestToRefreshTheReceipt_Action());
  EXPECT_EQ(std::tuple(desktop.Beeps(), desktop.Loop().RunPending(), window->rr, rows()),
            std::tuple(2, 0u, request, Strings{"row||"}));
}

}  // namespace
}  // namespace window_test
