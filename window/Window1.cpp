#include "window/Window1.h"

#include <memory>

#include "app/App.h"
#include "app/MenuBar1.h"
#include "platform/toolkit/Desktop.h"

using toolkit::Label;
using toolkit::Listbox;
using toolkit::MenuItem;
using toolkit::Ref;
using toolkit::String;

void Window1::_wrapper_Timer1::_SetWindow(toolkit::Window& window) {
  ownerWindow = toolkit::WeakRef<toolkit::Window>(window.weak_from_this());
}

Ref<Window1> Window1::Instance() {
  static std::weak_ptr<Window1> instance;
  Ref<Window1> window(instance.lock());
  if (!window) {
    window = Window::Make<Window1>();
    instance = window.shared();
  }
  return window;
}

void Window1::Layout() {
  MenuBar(MenuBar1::Instance());
  toolkit::WindowProperties& p = Properties();
  p.Width = 725;
  p.Height = 541;
  p.MinimumWidth = 64;
  p.MinimumHeight = 64;
  p.MaximumWidth = 32000;
  p.MaximumHeight = 32000;
  p.Type = 0;
  p.Title = "Quellmark";
  p.HasCloseButton = true;
  p.HasMaximizeButton = true;
  p.HasMinimizeButton = true;
  p.HasFullScreenButton = false;
  p.Resizeable = true;
  p.LiveResize = true;
  p.Visible = true;
  p.MenuBarVisible = true;
  p.Composite = false;
  p.FullScreen = false;
  p.HasBackgroundColor = false;
  p.DefaultLocation = 0;
}

void Window1::CreateControls() {
  _CreateControls0();
}

void Window1::_CreateControls0() {
  toolkit::Desktop& desktop = toolkit::Desktop::Current();
  // Handlers reach the window through a weak reference: a control held elsewhere may outlive
  // its window, and then its events go nowhere.
  const std::weak_ptr<Window> self = weak_from_this();
  const auto window = [self]() { return std::static_pointer_cast<Window1>(self.lock()); };

  const Ref<Listbox> list = desktop.NewListbox();
  AddControl("lb", list);
  toolkit::ListboxDesign d;
  d.Left = 0;
  d.Top = 0;
  d.Width = 725;
  d.Height = 521;
  d.LockLeft = true;
  d.LockTop = true;
  d.LockRight = true;
  d.LockBottom = true;
  d.Visible = false;
  d.TabIndex = 0;
  d.ColumnCount = 3;
  d.Headings = {"File Name", "Key", "Info"};
  d.ColumnWidths = {"30%", "130", "*"};
  d.HasHeader = true;
  d.AllowExpandableRows = true;
  d.AllowResizableColumns = true;
  d.AllowRowDragging = false;
  d.AllowRowReordering = false;
  d.RowSelectionType = 0;
  d.RequiresSelection = false;
  d.HasVerticalScrollbar = true;
  d.AllowAutoHideScrollbars = true;
  d.HasHorizontalScrollbar = false;
  d.HasBorder = true;
  d.Transparent = true;
  d.AllowFocusRing = false;
  d.DropIndicatorVisible = false;
  d.GridLinesHorizontalStyle = 0;
  d.GridLinesVerticalStyle = 0;
  d.DefaultRowHeight = -1;
  d.HeadingIndex = -1;
  d.FontName = "System";
  d.FontSize = 0;
  d.FontUnit = 0;
  d.Enabled = true;
  d.TabStop = true;
  d.AllowAutoDeactivate = true;
  list->ApplyDesign(d);
  list->ExpandRow = [window](Listbox& l, std::int64_t row) {
    if (const auto w = window()) w->lb_ExpandRow(l, row);
  };
  list->SortColumn = [window](Listbox& l, std::int64_t column) {
    const auto w = window();
    return w && w->lb_SortColumn(l, column);
  };
  list->KeyDown = [window](Listbox& l, const String& key) {
    const auto w = window();
    return w && w->lb_KeyDown(l, key);
  };

  const Ref<Label> help = desktop.NewLabel();
  AddControl("Label1", help);
  toolkit::LabelDesign l1;
  l1.Left = -23;  // 23 points beyond both sides of the window
  l1.Top = 33;
  l1.Width = 771;
  l1.Height = 77;
  l1.LockLeft = true;
  l1.LockTop = true;
  l1.LockRight = true;
  l1.LockBottom = false;
  l1.Visible = true;
  l1.TabIndex = 1;
  l1.Multiline = true;
  l1.TextAlignment = 2;
  l1.Selectable = false;
  l1.Transparent = false;
  l1.TextColor = 0x000000;
  l1.FontName = "System";
  l1.FontSize = 0;
  l1.Enabled = true;
  l1.TabStop = true;
  l1.Text = String(
      "Drop receipt files or apps into the window\r\r\xE2\x8C\x98G shows the interfaces (MAC, "
      "GUID)",
      toolkit::TextEncoding::UTF8);
  help->ApplyDesign(l1);

  const auto timer = Ref<_wrapper_Timer1>::New();
  AddControl("Timer1", timer);
  timer->_SetWindow(*this);
  timer->Period(200);
  timer->RunMode(toolkit::Timer::RunModeMultiple);
  timer->Enabled(true);
  timer->Action = [window](toolkit::Timer& t) {
    if (const auto w = window()) w->Timer1_Action(t);
  };

  const Ref<Label> strip = desktop.NewLabel();
  AddControl("Label2", strip);
  toolkit::LabelDesign l2;
  l2.Left = 0;
  l2.Top = 521;
  l2.Width = 725;
  l2.Height = 20;
  l2.LockLeft = true;
  l2.LockTop = false;
  l2.LockRight = true;
  l2.LockBottom = true;
  l2.Visible = true;
  l2.TabIndex = 2;
  l2.Multiline = false;
  l2.TextAlignment = 0;
  l2.Selectable = false;
  l2.Transparent = false;
  l2.FontName = "System";
  l2.FontSize = 11;
  l2.Text = "";
  strip->ApplyDesign(l2);
}

Ref<Listbox> Window1::lb() const {
  return ControlByName("lb").As<Listbox>();
}

Ref<Label> Window1::Label1() const {
  return ControlByName("Label1").As<Label>();
}

Ref<Window1::_wrapper_Timer1> Window1::Timer1() const {
  return ControlByName("Timer1").As<_wrapper_Timer1>();
}

Ref<Label> Window1::Label2() const {
  return ControlByName("Label2").As<Label>();
}

bool Window1::lb_SortColumn(Listbox& list, std::int64_t column) {
  (void)list;
  (void)column;
  return true;
}

bool Window1::lb_KeyDown(Listbox& list, const String& key) {
  (void)list;
  return ClearKey(key);
}

bool Window1::Event_KeyDown(const String& key) {
  return ClearKey(key);
}

bool Window1::ClearKey(const String& key) {
  if (key == toolkit::Chr(8) || key == toolkit::Chr(127)) {
    clearList();
    return true;
  }
  return false;
}

void Window1::Timer1_Action(toolkit::Timer& timer) {
  (void)timer;
  const bool hasRows = lb()->ListCount() > 0;
  lb()->Visible(hasRows);
  Label1()->Visible(!hasRows);
}

void Window1::clearList() {
  lb()->DeleteAllRows();
}

Ref<MenuItem> Window1::EditMenu() const {
  return MenuBar()->FindItem("EditMenu");
}
Ref<MenuItem> Window1::EditSelectAll() const {
  return MenuBar()->FindItem("EditSelectAll");
}
Ref<MenuItem> Window1::UntitledMenu0() const {
  return MenuBar()->FindItem("UntitledMenu0");
}
Ref<MenuItem> Window1::EditClear() const {
  return MenuBar()->FindItem("EditClear");
}
Ref<MenuItem> Window1::EditPaste() const {
  return MenuBar()->FindItem("EditPaste");
}
Ref<MenuItem> Window1::EditCopy() const {
  return MenuBar()->FindItem("EditCopy");
}
Ref<MenuItem> Window1::EditCut() const {
  return MenuBar()->FindItem("EditCut");
}
Ref<MenuItem> Window1::UntitledMenu1() const {
  return MenuBar()->FindItem("UntitledMenu1");
}
Ref<MenuItem> Window1::EditUndo() const {
  return MenuBar()->FindItem("EditUndo");
}
Ref<MenuItem> Window1::FileMenu() const {
  return MenuBar()->FindItem("FileMenu");
}
Ref<toolkit::QuitMenuItem> Window1::FileQuit() const {
  return MenuBar()->FindItem("FileQuit").As<toolkit::QuitMenuItem>();
}
Ref<MenuItem> Window1::FileRequestToRefreshTheReceipt() const {
  return MenuBar()->FindItem("FileRequestToRefreshTheReceipt");
}
Ref<MenuItem> Window1::FileShowMACs() const {
  return MenuBar()->FindItem("FileShowMACs");
}

void Window1::AddMenuHandlers(toolkit::Object* target) {
  (void)target;
  // The handlers live in the window itself, so `this` can't dangle in them.
  AddMenuHandler("FileRequestToRefreshTheReceipt",
                 [this] { return _FileRequestToRefreshTheReceipt_Action(); });
  AddMenuHandler("EditClear", [this] { return _EditClear_Action(); });
  AddMenuHandler("FileShowMACs", [this] { return _FileShowMACs_Action(); });
}

bool Window1::_EditClear_Action() {
  clearList();
  return true;
}

bool Window1::_FileRequestToRefreshTheReceipt_Action() {
  if (rr) {
    toolkit::Beep();
  } else {
    rr = Ref<ReceiptRequester>::New(nullptr);
    rr->start();
  }
  return true;
}

void Window1::Event_EnableMenuItems() {
  if (!rr) FileRequestToRefreshTheReceipt()->Enable();
  EditClear()->Enable();
}

void Window1::Event_Close() {
  App::Current()->AutoQuit(true);
}
