// Window1's design, the timer's swap, keys, headings, menus, closing and the refresh request.

#include <gtest/gtest.h>

#include <tuple>

#include "Window1Fixture.h"

namespace window_test {
namespace {

using Strings = std::vector<std::string>;
using toolkit::Chr;

TEST_F(Window1Test, TheWindowAndItsControlsAsDesigned) {
  const auto& p = window->Properties();
  EXPECT_EQ(std::tuple(p.Width, p.Height, p.MinimumWidth, p.MinimumHeight, p.MaximumWidth,
                       p.MaximumHeight, p.Type, p.Title.Bytes(), p.DefaultLocation),
            std::tuple(725, 541, 64, 64, 32000, 32000, 0, "Quellmark", 0));
  EXPECT_EQ(std::tuple(p.HasCloseButton, p.HasMaximizeButton, p.HasMinimizeButton,
                       p.HasFullScreenButton, p.Resizeable, p.LiveResize, p.Visible,
                       p.MenuBarVisible, p.Composite, p.FullScreen, p.HasBackgroundColor),
            std::tuple(true, true, true, false, true, true, true, true, false, false, false));
  EXPECT_EQ(window->MenuBar(), app->MenuBar());

  Strings names;
  for (const auto& [name, control] : window->Controls())
    names.push_back(name.Bytes());
  EXPECT_EQ(names, (Strings{"lb", "Label1", "Timer1", "Label2"}));

  // Left, top, width, height, the four locks, visible at start, tab index.
  const auto frame = [](const toolkit::ControlDesign& d) {
    return std::tuple(d.Left, d.Top, d.Width, d.Height, d.LockLeft, d.LockTop, d.LockRight,
                      d.LockBottom, d.Visible, d.TabIndex);
  };
  const auto& lb = window->lb()->Design();
  const auto& l1 = window->Label1()->Design();
  const auto& l2 = window->Label2()->Design();
  EXPECT_EQ(frame(lb), std::tuple(0, 0, 725, 521, true, true, true, true, false, 0));
  EXPECT_EQ(frame(l1), std::tuple(-23, 33, 771, 77, true, true, true, false, true, 1));
  EXPECT_EQ(frame(l2), std::tuple(0, 521, 725, 20, true, false, true, true, true, 2));

  EXPECT_EQ(window->lb()->ColumnCount(), 3);
  EXPECT_EQ(lb.Headings, (std::vector<String>{"File Name", "Key", "Info"}));
  EXPECT_EQ(lb.ColumnWidths, (std::vector<String>{"30%", "130", "*"}));
  EXPECT_EQ(std::tuple(lb.HasHeader, lb.AllowExpandableRows, lb.AllowResizableColumns,
                       lb.AllowRowDragging, lb.AllowRowReordering, lb.RequiresSelection,
                       lb.HasVerticalScrollbar, lb.AllowAutoHideScrollbars,
                       lb.HasHorizontalScrollbar, lb.HasBorder, lb.Transparent, lb.AllowFocusRing,
                       lb.DropIndicatorVisible, lb.Enabled, lb.TabStop, lb.AllowAutoDeactivate),
            std::tuple(true, true, true, false, false, false, true, true, false, true, true, false,
                       false, true, true, true));
  EXPECT_EQ(std::tuple(lb.RowSelectionType, lb.GridLinesHorizontalStyle, lb.GridLinesVerticalStyle,
                       lb.DefaultRowHeight, lb.HeadingIndex, lb.FontName.Bytes(), lb.FontSize,
                       lb.FontUnit),
            std::tuple(0, 0, 0, -1, -1, "System", 0.0, 0));

  EXPECT_EQ(window->Label1()->Text().Bytes(),
            "Drop receipt files or apps into the window\r\r\xE2\x8C\x98G shows the interfaces "
            "(MAC, GUID)");
  EXPECT_EQ(std::tuple(l1.Multiline, l1.TextAlignment, l1.Selectable, l1.Transparent, l1.TextColor,
                       l1.FontName.Bytes(), l1.FontSize, l1.Enabled, l1.TabStop),
            std::tuple(true, 2, false, false, 0u, "System", 0.0, true, true));
  EXPECT_EQ(std::tuple(l2.Multiline, l2.TextAlignment, l2.Selectable, l2.Transparent,
                       l2.FontName.Bytes(), l2.FontSize, window->Label2()->Text().Bytes()),
            std::tuple(false, 0, false, false, "System", 11.0, ""));

  const auto timer = window->Timer1();
  EXPECT_EQ(std::tuple(timer->Period(), timer->RunMode(), timer->Enabled()),
            std::tuple(200, 2, true));
  EXPECT_EQ(timer->Window(), window);
}

TEST_F(Window1Test, TheTimerSwapsListAndHelpByWhetherTheListHasRows) {
  window->RaiseOpen();
  const auto shown = [this] {
    return std::pair(window->lb()->Visible(), window->Label1()->Visible());
  };
  EXPECT_EQ(shown(), std::pair(false, true));
  list().AddRow({"a single plain row"});
  desktop.Loop().AdvanceClock(199);
  EXPECT_EQ(shown(), std::pair(false, true));  // up to one period late
  desktop.Loop().AdvanceClock(1);
  EXPECT_EQ(shown(), std::pair(true, false));
  window->clearList();
  EXPECT_EQ(shown(), std::pair(true, false));
  Tick();
  EXPECT_EQ(shown(), std::pair(false, true));
  Tick();
  EXPECT_EQ(shown(), std::pair(false, true));
  EXPECT_EQ(window->Label2()->Text(), "");
}

TEST_F(Window1Test, TheTimerGoesWithItsWindow) {
  auto other = toolkit::Window::Make<TestWindow>(temp.path());
  const auto timer = other->Timer1();
  other = nullptr;
  EXPECT_TRUE(timer->Window().IsNil());
  desktop.Loop().AdvanceClock(1000);  // its ticks reach nothing
}

TEST_F(Window1Test, BackspaceAndForwardDeleteClearFromListAndWindow) {
  const std::tuple<String, bool, bool> cases[] = {
      // key, typed in the list (else in the window), clears
      {Chr(8), true, true}, {Chr(127), true, true},  {Chr(8), false, true}, {Chr(127), false, true},
      {"a", true, false},   {Chr(13), false, false}, {"", true, false},
  };
  for (const auto& [key, inList, clears] : cases) {
    SCOPED_TRACE(toolkit::EncodeHex(key).Bytes() + (inList ? " in the list" : " in the window"));
    window->clearList();
    list().AddRow({"row"});
    const bool served = inList ? list().RaiseKeyDown(key) : window->RaiseKeyDown(key);
    EXPECT_EQ(served, clears);
    EXPECT_EQ(list().ListCount(), clears ? 0 : 1);
  }
}

TEST_F(Window1Test, AHeadingClickLeavesTheRowsInTheirOrder) {
  for (const char* name : {"b", "c", "a"})
    list().AddRow({name, name, name});
  for (std::int64_t column = 0; column < 3; ++column)
    EXPECT_TRUE(list().RaiseSortColumn(column));
  EXPECT_EQ(rows(), (Strings{"b|b|b", "c|c|c", "a|a|a"}));
}

TEST_F(Window1Test, MenusAfterOpeningTheirEnablingAndTheirActions) {
  window->RaiseOpen();
  Strings shown;
  const auto file = window->FileMenu();
  for (std::int64_t i = 0; i < file->Count(); ++i) {
    if (file->Item(i)->Visible()) shown.push_back(file->Item(i)->Text().Bytes());
  }
  EXPECT_EQ(shown, (Strings{"Show MACs", "&Quit"}));

  window->RaiseEnableMenuItems();
  EXPECT_TRUE(window->FileRequestToRefreshTheReceipt()->Enabled());
  EXPECT_TRUE(window->EditClear()->Enabled());  // also while the list is empty
  for (const auto& item :
       {window->EditUndo(), window->EditCut(), window->EditPaste(), window->EditSelectAll()})
    EXPECT_FALSE(item->Enabled()) << item->Name().Bytes();
  EXPECT_TRUE(window->EditCopy()->Enabled());

  EXPECT_TRUE(window->ChooseMenuItem("EditClear"));  // an empty list: nothing to see
  list().AddRow({"row"});
  EXPECT_TRUE(window->ChooseMenuItem("EditClear"));
  EXPECT_EQ(list().ListCount(), 0);
  EXPECT_FALSE(desktop.Loop().QuitRequested());
  EXPECT_TRUE(window->ChooseMenuItem("FileQuit"));
  EXPECT_TRUE(desktop.Loop().QuitRequested());
}

TEST_F(Window1Test, ClosingTheWindowEndsTheProgram) {
  window->RaiseOpen();
  EXPECT_FALSE(app->AutoQuit());
  window->RaiseClose();
  EXPECT_TRUE(app->AutoQuit());
  EXPECT_TRUE(desktop.Loop().QuitRequested());
}

TEST_F(Window1Test, TheImplicitInstanceIsOneWindowWhileItLives) {
  auto first = Window1::Instance();
  EXPECT_EQ(Window1::Instance(), first);
  const std::weak_ptr<Window1> gone = first.shared();
  first = nullptr;
  EXPECT_TRUE(gone.expired());
  EXPECT_FALSE(Window1::Instance().IsNil());
}

// The request's outcome events, raised by hand: the store stand-in only ever fails.
class Requester : public ReceiptRequester {
 public:
  Requester() : ReceiptRequester(nullptr) {}
  using ReceiptRequester::Event_didFailWithError;
  using ReceiptRequester::Event_didFinish;
};

TEST_F(Window1Test, TheRefreshRequestIsSentOnceAndItsOutcomeShown) {
  window->RaiseOpen();
  Drop({Item(WriteReceipt(Dropped("a.receipt")))});
  const Strings before = rows();

  EXPECT_TRUE(window->ChooseMenuItem("FileRequestToRefreshTheReceipt"));
  const auto request = window->rr;
  ASSERT_TRUE(request);
  EXPECT_TRUE(request->Started());
  EXPECT_TRUE(desktop.MessageBoxes().empty());  // the outcome comes later, from the loop
  desktop.Loop().RunPending();
  EXPECT_EQ(desktop.MessageBoxes(), std::vector<String>{"Refresh failed"});

  // Sent: the item is disabled, and the action only sounds the alert.
  EXPECT_FALSE(window->ChooseMenuItem("FileRequestToRefreshTheReceipt"));
  EXPECT_FALSE(window->FileRequestToRefreshTheReceipt()->Enabled());
  EXPECT_EQ(desktop.Beeps(), 0);
  EXPECT_TRUE(window->_FileRequestToRefreshTheReceipt_Action());
  EXPECT_EQ(desktop.Beeps(), 1);
  desktop.Loop().RunPending();
  EXPECT_EQ(window->rr, request);
  EXPECT_EQ(desktop.MessageBoxes().size(), 1u);
  EXPECT_EQ(rows(), before);
}

TEST_F(Window1Test, BeforeItsOutcomeASecondChoiceOnlyBeeps) {
  EXPECT_TRUE(window->_FileRequestToRefreshTheReceipt_Action());
  EXPECT_TRUE(window->_FileRequestToRefreshTheReceipt_Action());
  EXPECT_EQ(desktop.Beeps(), 1);
  EXPECT_EQ(desktop.Loop().RunPending(), 1u);
  EXPECT_EQ(desktop.MessageBoxes(), std::vector<String>{"Refresh failed"});
}

TEST_F(Window1Test, ASucceededRefreshSaysSoAndStaysSent) {
  window->RaiseOpen();
  Drop({Item(WriteReceipt(Dropped("a.receipt")))});
  const auto request = Ref<Requester>::New();
  window->rr = request;
  request->Event_didFinish();
  EXPECT_EQ(desktop.MessageBoxes(), std::vector<String>{"Refresh succeeded"});
  EXPECT_EQ(window->rr, request);
  window->RaiseEnableMenuItems();
  EXPECT_FALSE(window->FileRequestToRefreshTheReceipt()->Enabled());
  EXPECT_EQ(rows(), Strings{"a.receipt|| +"});
}

}  // namespace
}  // namespace window_test
