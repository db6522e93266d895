// What the Qt host makes of the design properties of the program's window and its controls:
// the settings of the widgets for Window1 as it is designed, and with one property changed.

#include <gtest/gtest.h>

#include <QApplication>
#include <QHeaderView>
#include <QLabel>
#include <QMenuBar>
#include <QScreen>
#include <QTest>
#include <QTreeView>
#include <QWindow>
#include <functional>
#include <string>
#include <vector>

#include "platform/qt/QtDesktop.h"
#include "platform/qt/WindowHost.h"
#include "platform/toolkit/Listbox.h"
#include "tests/support/Scratch.h"
#include "tests/support/TestWindow.h"

namespace {

using test_support::TestWindow;
using Settings = std::vector<std::string>;  // "setting: value", in a fixed order
using Change = std::function<void(TestWindow&)>;

Change OfWindow(std::function<void(toolkit::WindowProperties&)> f) {
  return [f](TestWindow& w) { f(w.Properties()); };
}

template <class Design, class Control>
Change OfControl(const char* name, std::function<void(Design&)> f) {
  return [name, f](TestWindow& w) {
    const auto control = w.ControlByName(name).As<Control>();
    Design d = control->Design();
    f(d);
    control->ApplyDesign(d);
  };
}
const auto OfList = [](std::function<void(toolkit::ListboxDesign&)> f) {
  return OfControl<toolkit::ListboxDesign, toolkit::Listbox>("lb", f);
};
const auto OfLabel = [](const char* name, std::function<void(toolkit::LabelDesign&)> f) {
  return OfControl<toolkit::LabelDesign, toolkit::Label>(name, f);
};

// `settings` with each of `changed` in the place of the one of its setting.
Settings With(Settings settings, const Settings& changed) {
  for (const std::string& c : changed)
    for (std::string& s : settings)
      if (s.substr(0, s.find(':')) == c.substr(0, c.find(':'))) s = c;
  return settings;
}

// Whether the list looks different once it has taken the focus from the keyboard.
bool FocusShows(qt::WindowHost& h, QTreeView& view) {
  view.setVisible(true);
  h.activateWindow();
  if (!QTest::qWaitForWindowActive(&h)) return false;
  view.setCurrentIndex(view.model()->index(0, 0));
  view.clearFocus();
  const QImage before = view.grab().toImage();
  view.setFocus(Qt::TabFocusReason);
  return view.hasFocus() && view.grab().toImage() != before;
}

// The settings of a host of the program's window with one row, changed by `change` first.
Settings Hosted(const Change& change) {
  qt::QtDesktop desktop;
  test_support::ScratchFolder temp;
  const auto window = toolkit::Window::Make<TestWindow>(temp.path());
  window->lb()->AddRow({"a row"});
  if (change) change(*window);
  qt::WindowHost h(window);
  QTreeView& v = *h.ListView();
  const QLabel& help = *h.findChild<QLabel*>("Label1");
  std::string buttons = "buttons:", tabOrder = "tab order:";
  for (const auto& [flag, name] : {std::pair(Qt::WindowCloseButtonHint, " close"),
                                   std::pair(Qt::WindowMinimizeButtonHint, " minimize"),
                                   std::pair(Qt::WindowMaximizeButtonHint, " maximize")})
    if (h.windowFlags().testFlag(flag)) buttons += name;
  for (QWidget* w = h.nextInFocusChain(); w != &h; w = w->nextInFocusChain())
    if (w->parentWidget() == h.centralWidget() && (w->focusPolicy() & Qt::TabFocus))
      tabOrder.append(" ").append(w->objectName().toStdString());
  const auto is = [](const char* setting, bool b) {
    return std::string(setting) + (b ? ": yes" : ": no");
  };
  const auto number = [](const char* setting, int n) {
    return std::string(setting) + std::to_string(n);
  };
  const QSize least = h.minimumSize(), most = h.maximumSize();
  const QPoint off = h.geometry().center() - h.screen()->availableGeometry().center();
  return {
      std::string("title: ") + h.windowTitle().toStdString(),
      is("plain window", h.windowType() == Qt::Window), buttons,
      least == most ? "sizes: one"
                    : number("sizes: ", least.width()) + number("x", least.height()) +
                          number(" to ", most.width()) + number("x", most.height()),
      is("menu bar shown", !h.menuBar()->isHidden()), is("full screen", h.isFullScreen()),
      !h.testAttribute(Qt::WA_Moved) ? "placed: by the window manager"
      : off.manhattanLength() <= 10  ? "placed: in the middle"
                                     : "placed: elsewhere",
      is("shown", h.isVisible()), is("list header", !v.isHeaderHidden()),
      is("list columns resizable", v.header()->sectionResizeMode(0) == QHeaderView::Interactive),
      is("list border", v.frameShape() == QFrame::StyledPanel),
      number("list scroll bars: ", v.verticalScrollBarPolicy()) +
          number(" ", v.horizontalScrollBarPolicy()),
      is("list rows open", v.itemsExpandable() && v.rootIsDecorated()),
      is("list rows dragged", v.dragEnabled()),
      is("list one row at a time", v.selectionMode() == QAbstractItemView::SingleSelection),
      is("list background", v.viewport()->autoFillBackground()),
      is("list drop indicator", v.showDropIndicator()),
      number("list sorted by: ",
             v.header()->isSortIndicatorShown() ? v.header()->sortIndicatorSection() : -1),
      v.testAttribute(Qt::WA_SetFont)
          ? std::string("list font: ") + v.font().family().toStdString() + " " +
                std::to_string(v.font().pointSize())
          : "list font: the system's",
      is("list enabled", v.isEnabled()), is("list tab stop", v.focusPolicy() == Qt::StrongFocus),
      tabOrder,
      is("help wraps centred from the top",
         help.wordWrap() && help.alignment() == (Qt::AlignHCenter | Qt::AlignTop)),
      is("help background", help.autoFillBackground()),
      number("help selection: ", help.textInteractionFlags().toInt()),
      is("help enabled", help.isEnabled()),
      number("strip font size: ", h.findChild<QLabel*>("Label2")->font().pointSize()),
      // Last: the focus takes a window that shows, made active.
      is("list focus shows", h.isVisible() && FocusShows(h, v))};
}

TEST(WindowDesign, EachPropertyBecomesASettingOfItsWidget) {
  // The list's vertical scroll bar shows as needed (0), the horizontal one never (1); the list
  // is transparent, the help opaque; of the controls only the list takes the focus.
  const Settings designed = {"title: Quellmark",
                             "plain window: yes",
                             "buttons: close minimize maximize",
                             "sizes: 64x64 to 32000x32000",
                             "menu bar shown: yes",
                             "full screen: no",
                             "placed: by the window manager",
                             "shown: yes",
                             "list header: yes",
                             "list columns resizable: yes",
                             "list border: yes",
                             "list scroll bars: 0 1",
                             "list rows open: yes",
                             "list rows dragged: no",
                             "list one row at a time: yes",
                             "list background: no",
                             "list drop indicator: no",
                             "list sorted by: -1",
                             "list font: the system's",
                             "list enabled: yes",
                             "list tab stop: yes",
                             "tab order: lb",
                             "help wraps centred from the top: yes",
                             "help background: yes",
                             "help selection: 0",
                             "help enabled: yes",
                             "strip font size: 11",
                             "list focus shows: no"};
  EXPECT_EQ(Hosted({}), designed);

  const std::string systemSize = std::to_string(QApplication::font().pointSize());
  const struct {
    Change change;
    Settings differs;  // from the design's settings
  } cases[] = {
      {OfWindow([](auto& p) { p.Title = "Other"; }), {"title: Other"}},
      {OfWindow([](auto& p) { p.Type = 1; }), {"plain window: no"}},
      {OfWindow([](auto& p) { p.HasCloseButton = false; }), {"buttons: minimize maximize"}},
      {OfWindow([](auto& p) { p.HasMinimizeButton = false; }), {"buttons: close maximize"}},
      {OfWindow([](auto& p) { p.HasMaximizeButton = false; }), {"buttons: close minimize"}},
      {OfWindow([](auto& p) { p.MinimumHeight = 100, p.MaximumWidth = 900; }),
       {"sizes: 64x100 to 900x32000"}},
      {OfWindow([](auto& p) { p.Resizeable = false; }), {"sizes: one"}},
      {OfWindow([](auto& p) { p.MenuBarVisible = false; }), {"menu bar shown: no"}},
      {OfWindow([](auto& p) { p.FullScreen = true; }), {"full screen: yes"}},
      {OfWindow([](auto& p) { p.DefaultLocation = 2; }), {"placed: in the middle"}},
      {OfWindow([](auto& p) { p.Visible = false; }), {"shown: no"}},
      {OfList([](auto& d) { d.HasHeader = false; }), {"list header: no"}},
      {OfList([](auto& d) { d.AllowResizableColumns = false; }), {"list columns resizable: no"}},
      {OfList([](auto& d) { d.HasBorder = false; }), {"list border: no"}},
      {OfList([](auto& d) { d.AllowAutoHideScrollbars = false, d.HasHorizontalScrollbar = true; }),
       {"list scroll bars: 2 2"}},
      {OfList([](auto& d) { d.AllowExpandableRows = false; }), {"list rows open: no"}},
      {OfList([](auto& d) { d.AllowRowDragging = true; }), {"list rows dragged: yes"}},
      {OfList([](auto& d) { d.RowSelectionType = 1; }), {"list one row at a time: no"}},
      {OfList([](auto& d) { d.Transparent = false; }), {"list background: yes"}},
      {OfList([](auto& d) { d.DropIndicatorVisible = true; }), {"list drop indicator: yes"}},
      {OfList([](auto& d) { d.HeadingIndex = 1; }), {"list sorted by: 1"}},
      {OfList([](auto& d) { d.FontName = "Monospace", d.FontSize = 15; }),
       {"list font: Monospace 15"}},
      {OfList([](auto& d) { d.Enabled = false; }), {"list enabled: no"}},
      {OfList([](auto& d) { d.TabStop = false; }), {"list tab stop: no", "tab order:"}},
      {OfList([](auto& d) { d.AllowFocusRing = true; }), {"list focus shows: yes"}},
      {OfLabel("Label2", [](auto& d) { d.Selectable = true, d.TabIndex = -1; }),
       {"tab order: Label2 lb"}},
      {OfLabel("Label1", [](auto& d) { d.Multiline = false; }),
       {"help wraps centred from the top: no"}},
      {OfLabel("Label1", [](auto& d) { d.Transparent = true; }), {"help background: no"}},
      // Selected by mouse and keyboard (1 + 2), and so a tab stop.
      {OfLabel("Label1", [](auto& d) { d.Selectable = true; }),
       {"help selection: 3", "tab order: lb Label1"}},
      {OfLabel("Label1", [](auto& d) { d.Enabled = false; }), {"help enabled: no"}},
      {OfLabel("Label2", [](auto& d) { d.FontSize = 0; }),
       {std::string("strip font size: ") + systemSize}},
  };
  for (const auto& c : cases)
    EXPECT_EQ(Hosted(c.change), With(designed, c.differs)) << c.differs[0];
}

// The window opens at its design's size where the screen has room for it, and fits the screen
// where it hasn't, frame and all: a small screen, or one scaled up (this test also runs at
// QT_SCALE_FACTOR=2, where the offscreen screen's 800 by 800 pixels are 400 by 400).
TEST(WindowDesign, TheWindowOpensInsideItsScreen) {
  const struct {
    const char* why;
    QSize wanted, available, minimum, opens;
  } sizes[] = {
      {"room enough", {725, 566}, {1280, 800}, {64, 64}, {725, 566}},
      {"the room itself", {725, 566}, {725, 566}, {64, 64}, {725, 566}},
      {"1280 by 800 at twice the scale", {725, 566}, {640, 400}, {64, 64}, {640, 400}},
      {"too narrow only", {725, 566}, {700, 900}, {64, 64}, {700, 566}},
      {"too low only", {725, 566}, {900, 500}, {64, 64}, {725, 500}},
      {"the least size wins", {725, 566}, {50, 40}, {64, 64}, {64, 64}},
      {"a screen without room told", {725, 566}, {0, 0}, {64, 64}, {725, 566}},
  };
  for (const auto& c : sizes)
    EXPECT_EQ(qt::OpeningSize(c.wanted, c.available, c.minimum), c.opens) << c.why;

  // The program's window as designed, and one designed larger than any screen here.
  for (const int scale : {1, 4}) {
    qt::QtDesktop desktop;
    test_support::ScratchFolder temp;
    const auto window = toolkit::Window::Make<TestWindow>(temp.path());
    window->Properties().Width *= scale;
    window->Properties().Height *= scale;
    qt::WindowHost h(window);
    const QRect room = h.screen()->availableGeometry();
    const QSize content(
        static_cast<int>(window->Properties().Width),
        static_cast<int>(window->Properties().Height) + h.menuBar()->sizeHint().height());
    SCOPED_TRACE(std::to_string(room.width()) + "x" + std::to_string(room.height()) + " room, " +
                 std::to_string(scale) + " times the design");
    EXPECT_LE(h.frameGeometry().width(), room.width());
    EXPECT_LE(h.frameGeometry().height(), room.height());
    // Where the design fits with its frame it opens at its size, else the room less the frame.
    EXPECT_EQ(h.size(), content.boundedTo(room.size().shrunkBy(h.windowHandle()->frameMargins())));
    if (scale > 1) continue;  // the controls are placed for the design's own size
    // The list still fills all but the strip at the bottom, which stays in the window.
    const QWidget& strip = *h.findChild<QLabel*>("Label2");
    EXPECT_EQ(h.ListView()->geometry().bottom() + 1, strip.geometry().top());
    EXPECT_EQ(strip.geometry().bottom() + 1, h.centralWidget()->height());
  }
}

}  // namespace
