#include "platform/qt/WindowHost.h"

#include <QAction>
#include <QApplication>
#include <QClipboard>
#include <QCloseEvent>
#include <QGuiApplication>
#include <QHBoxLayout>
#include <QHeaderView>
#include <QKeyEvent>
#include <QLabel>
#include <QMenu>
#include <QMenuBar>
#include <QMimeData>
#include <QScreen>
#include <QStyleOptionFrame>
#include <QStyledItemDelegate>
#include <QTimer>
#include <QToolButton>
#include <QUrl>
#include <QWindow>
#include <algorithm>
#include <filesystem>

#include "platform/qt/QtDesktop.h"
#include "platform/qt/ToolTips.h"
#include "platform/toolkit/Desktop.h"
#include "platform/toolkit/DragItem.h"

namespace qt {

namespace {

QString ToQString(const toolkit::String& s) {
  const std::string_view v = s.View();
  return QString::fromUtf8(v.data(), static_cast<qsizetype>(v.size()));
}

// The toolkit's shortcut text ("Cmd+Shift+R", or a key's own text) as a Qt key sequence: Cmd
// is Ctrl here.
QKeySequence ToKeySequence(const toolkit::String& shortcut) {
  if (shortcut == toolkit::Chr(8)) return QKeySequence(Qt::Key_Backspace);
  if (shortcut == toolkit::Chr(127)) return QKeySequence(Qt::Key_Delete);
  QString text = ToQString(shortcut);
  text.replace(QStringLiteral("Cmd+"), QStringLiteral("Ctrl+"));
  return QKeySequence::fromString(text, QKeySequence::PortableText);
}

// The local file of a "file" URL, named by the bytes of its path: percent-encoded bytes are
// taken as they are, UTF-8 or not, so that a name that is no text still names its file. Nil
// for a URL that is no local file, names another host, or holds a NUL, which no path can.
toolkit::Ref<toolkit::FolderItem> LocalFile(const QUrl& url) {
  if (!url.isLocalFile()) return nullptr;
  const QString host = url.host();
  if (!host.isEmpty() && host.compare(QStringLiteral("localhost"), Qt::CaseInsensitive) != 0)
    return nullptr;
  // Fully encoded, the path is ASCII; its escapes are decoded here in the one pass that copies
  // it, since a long drop makes this for each of its files while the window waits.
  const QString encoded = url.path(QUrl::FullyEncoded);
  std::string path;
  path.reserve(static_cast<std::size_t>(encoded.size()));
  const auto hex = [](char16_t c) {
    if (c >= u'0' && c <= u'9') return c - u'0';
    if (c >= u'A' && c <= u'F') return c - u'A' + 10;
    if (c >= u'a' && c <= u'f') return c - u'a' + 10;
    return -1;
  };
  const qsizetype n = encoded.size();
  for (qsizetype i = 0; i < n; ++i) {
    const char16_t c = encoded[i].unicode();
    const int high = c == u'%' && i + 2 < n ? hex(encoded[i + 1].unicode()) : -1;
    const int low = high >= 0 ? hex(encoded[i + 2].unicode()) : -1;
    if (low >= 0) {
      path += static_cast<char>(high * 16 + low);
      i += 2;
    } else {
      path += static_cast<char>(c);
    }
  }
  if (path.empty() || path.find('\0') != std::string::npos) return nullptr;
  return toolkit::Ref<toolkit::FolderItem>::New(std::filesystem::path(std::move(path)));
}

// The files of one drop: the local files of its URLs, in order, each item as it is (a link
// stays a link, the toolkit's alias); a URL that is no local file is an item without a file.
std::vector<toolkit::Ref<toolkit::FolderItem>> DroppedFiles(const QList<QUrl>& urls) {
  std::vector<toolkit::Ref<toolkit::FolderItem>> items;
  items.reserve(static_cast<std::size_t>(urls.size()));
  for (const QUrl& url : urls)
    items.push_back(LocalFile(url));
  return items;
}

// The toolkit's key text for a Qt key event: Chr(8) for Backspace, Chr(127) for Delete, the
// typed text otherwise, which is empty for a key that types nothing.
toolkit::String KeyText(const QKeyEvent& event) {
  if (event.key() == Qt::Key_Backspace) return toolkit::Chr(8);
  if (event.key() == Qt::Key_Delete) return toolkit::Chr(127);
  const QByteArray text = event.text().toUtf8();
  return toolkit::String(std::string(text.constData(), static_cast<std::size_t>(text.size())),
                         toolkit::TextEncoding::UTF8);
}

// Paints the list's items without the mark of the focus, which the style puts on the current
// item while the list has the keyboard's focus.
class NoFocusMark final : public QStyledItemDelegate {
 public:
  using QStyledItemDelegate::QStyledItemDelegate;

 protected:
  void initStyleOption(QStyleOptionViewItem* option, const QModelIndex& index) const override {
    QStyledItemDelegate::initStyleOption(option, index);
    option->state &= ~QStyle::State_HasFocus;
  }
};

// The view of the window's list. Without a focus ring, neither its frame nor its current item
// shows that it has the focus, in any style.
class ListTreeView final : public QTreeView {
 public:
  explicit ListTreeView(bool focusRing) : focusRing_(focusRing) {
    if (!focusRing_) setItemDelegate(new NoFocusMark(this));
  }

 protected:
  void initStyleOption(QStyleOptionFrame* option) const override {
    QTreeView::initStyleOption(option);
    if (!focusRing_) option->state &= ~QStyle::State_HasFocus;
  }

 private:
  bool focusRing_;
};

}  // namespace

QSize OpeningSize(QSize wanted, QSize available, QSize minimum) {
  if (available.isEmpty()) return wanted;
  return wanted.boundedTo(available).expandedTo(minimum);
}

WindowHost::WindowHost(toolkit::Ref<toolkit::Window> window, QWidget* parent)
    : QMainWindow(parent),
      window_(std::move(window)),
      area_(new QWidget(this)),
      progress_(new QWidget(area_)),
      progressText_(new QLabel(progress_)),
      stop_(new QToolButton(progress_)),
      progressLater_(new QTimer(this)) {
  const toolkit::WindowProperties& p = window_->Properties();
  // Type 0 is a plain document window; the toolkit's other kinds are dialogs of some sort.
  Qt::WindowFlags flags = (p.Type == 0 ? Qt::Window : Qt::Dialog) | Qt::CustomizeWindowHint |
                          Qt::WindowTitleHint | Qt::WindowSystemMenuHint;
  flags.setFlag(Qt::WindowCloseButtonHint, p.HasCloseButton);
  flags.setFlag(Qt::WindowMinimizeButtonHint, p.HasMinimizeButton);
  flags.setFlag(Qt::WindowMaximizeButtonHint, p.HasMaximizeButton);
  setWindowFlags(flags);
  setWindowTitle(ToQString(p.Title));
  setCentralWidget(area_);
  area_->setAcceptDrops(true);
  setAcceptDrops(true);
  setMinimumSize(static_cast<int>(p.MinimumWidth), static_cast<int>(p.MinimumHeight));
  setMaximumSize(static_cast<int>(p.MaximumWidth), static_cast<int>(p.MaximumHeight));

  // Each control with whether it shows now.
  std::vector<std::pair<Placed, bool>> controls;
  for (const auto& [name, control] : window_->Controls()) {
    if (const auto list = control.As<toolkit::ListModel>()) {
      const toolkit::ListboxDesign& d = list->Design();
      model_ = new ListItemModel(list, this);
      view_ = new ListTreeView(d.AllowFocusRing);
      view_->setObjectName(ToQString(name));
      view_->setAccessibleName(QStringLiteral("Receipts"));
      view_->setModel(model_);
      FitToolTips(*view_);
      view_->setSelectionMode(d.RowSelectionType == 0 ? QAbstractItemView::SingleSelection
                                                      : QAbstractItemView::ExtendedSelection);
      view_->setSelectionBehavior(QAbstractItemView::SelectRows);
      view_->setSortingEnabled(false);
      view_->setUniformRowHeights(true);
      view_->setEditTriggers(QAbstractItemView::NoEditTriggers);
      view_->setItemsExpandable(d.AllowExpandableRows);
      view_->setRootIsDecorated(d.AllowExpandableRows);
      // The view takes drops of files (Drop, below); rows leave it only by dragging.
      view_->setAcceptDrops(true);
      view_->setDragEnabled(d.AllowRowDragging);
      view_->setDropIndicatorShown(d.DropIndicatorVisible);
      view_->viewport()->installEventFilter(this);
      view_->installEventFilter(this);
      view_->setHeaderHidden(!d.HasHeader);
      view_->header()->setSectionsClickable(true);
      view_->header()->setSectionResizeMode(d.AllowResizableColumns ? QHeaderView::Interactive
                                                                    : QHeaderView::Fixed);
      view_->header()->setStretchLastSection(true);
      view_->header()->setSortIndicatorShown(d.HeadingIndex >= 0);
      if (d.HeadingIndex >= 0)
        view_->header()->setSortIndicator(static_cast<int>(d.HeadingIndex), Qt::AscendingOrder);
      view_->setFrameShape(d.HasBorder ? QFrame::StyledPanel : QFrame::NoFrame);
      // A transparent list paints no background of its own: the window's shows through.
      view_->viewport()->setAutoFillBackground(!d.Transparent);
      view_->setFocusPolicy(d.TabStop ? Qt::StrongFocus : Qt::ClickFocus);
      ApplyControlDesign(*view_, d);
      const auto policy = [&d](bool has) {
        if (!has) return Qt::ScrollBarAlwaysOff;
        return d.AllowAutoHideScrollbars ? Qt::ScrollBarAsNeeded : Qt::ScrollBarAlwaysOn;
      };
      view_->setVerticalScrollBarPolicy(policy(d.HasVerticalScrollbar));
      view_->setHorizontalScrollBarPolicy(policy(d.HasHorizontalScrollbar));
      // An edge that the person drags, between two columns, sets widths that stand from then
      // on; until then the widths follow the list's width.
      connect(view_->header(), &QHeaderView::sectionResized, this, [this](int section) {
        if (!applyingWidths_ && section + 1 < view_->header()->count()) widthsByUser_ = true;
      });
      connect(model_, &QAbstractItemModel::modelReset, this, [this] { ApplyColumnWidths(); });
      connect(view_->header(), &QHeaderView::sectionClicked, this,
              [list](int section) { Guard([&] { list->RaiseSortColumn(section); }); });
      connect(view_, &QTreeView::expanded, this, [this](const QModelIndex& index) {
        const std::int64_t row = model_->ListRow(index);
        if (row >= 0) Guard([&] { model_->List()->Expanded(row, true); });
        RevealOpened(index);
      });
      connect(view_, &QTreeView::collapsed, this, [this](const QModelIndex& index) {
        const std::int64_t row = model_->ListRow(index);
        if (row >= 0) Guard([&] { model_->List()->Expanded(row, false); });
      });
      model_->OnVisibility = [this](bool visible) { view_->setVisible(visible); };
      // The rows of a drop that is read after its event come later: the first of them are
      // scrolled into view as they come.
      connect(model_, &QAbstractItemModel::rowsInserted, this, [this](const QModelIndex& under) {
        if (revealFrom_ < 0 || under.isValid()) return;
        const std::int64_t first = revealFrom_;
        revealFrom_ = -1;
        Reveal(first, model_->List()->ListCount() - 1);
      });
      // A row that the program opens or closes shows so in the view, which tells of the opening
      // as of one by the person: the row comes into view with its children.
      model_->OnRowChanged = [this](std::int64_t row) {
        const QModelIndex index = model_->IndexOf(row);
        const bool open = model_->List()->Expanded(row);
        if (!index.isValid() || view_->isExpanded(index) == open) return;
        view_->setExpanded(index, open);
      };
      controls.push_back({{view_, d}, list->Visible()});
    } else if (const auto label = control.As<QtLabel>()) {
      QLabel* w = label->Widget();
      w->setObjectName(ToQString(name));
      controls.push_back({{w, label->Design()}, label->Visible()});
    }
  }
  // The keyboard's focus goes through the controls in the order of their TabIndex, which is
  // the order in which they join the window.
  std::stable_sort(controls.begin(), controls.end(), [](const auto& a, const auto& b) {
    return a.first.design.TabIndex < b.first.design.TabIndex;
  });
  for (const auto& [c, visible] : controls) {
    c.widget->setParent(area_);
    c.widget->setVisible(visible);
    placed_.push_back(c);
  }
  // The strip of the window's progress: the text, and the button that stops the work.
  progress_->setObjectName(QStringLiteral("Progress"));
  progress_->setAccessibleName(QStringLiteral("Progress"));
  progress_->setAutoFillBackground(true);
  auto* strip = new QHBoxLayout(progress_);
  strip->setContentsMargins(6, 0, 2, 0);
  strip->setSpacing(8);
  progressText_->setObjectName(QStringLiteral("ProgressText"));
  progressText_->setAccessibleDescription(QStringLiteral("Progress"));
  strip->addWidget(progressText_, 1);
  stop_->setObjectName(QStringLiteral("Stop"));
  stop_->setText(QStringLiteral("Stop"));
  stop_->setAccessibleName(QStringLiteral("Stop"));
  stop_->setAccessibleDescription(QStringLiteral("Stops reading; the rows already added stay"));
  stop_->setToolTip(QStringLiteral("Stop reading (Esc)"));
  stop_->setAutoRaise(true);
  stop_->setFocusPolicy(Qt::NoFocus);  // Tab goes through the window's own controls
  strip->addWidget(stop_);
  connect(stop_, &QToolButton::clicked, this, [this] { Guard([&] { window_->RaiseStopWork(); }); });
  progress_->hide();
  progressLater_->setSingleShot(true);
  connect(progressLater_, &QTimer::timeout, this, [this] { ShowProgress(); });
  window_->OnProgress = [this] { ShowProgress(); };

  BuildMenus();
  menuBar()->setVisible(p.MenuBarVisible);
  // The design's size is that of the window's content, below the menu bar; a screen with less
  // room (a small one, or one scaled up) gets a window that fits it, frame and all, the content
  // smaller. The frame is known here where the platform draws it; a window manager's frame is
  // known only once the window is up, and the manager keeps it on the screen.
  const int menuHeight = p.MenuBarVisible ? menuBar()->sizeHint().height() : 0;
  winId();
  const QMargins frame = windowHandle()->frameMargins();
  resize(OpeningSize(QSize(static_cast<int>(p.Width), static_cast<int>(p.Height) + menuHeight),
                     screen()->availableGeometry().size().shrunkBy(frame), minimumSize()));
  if (!p.Resizeable) setFixedSize(size());
  // At its default location the window manager places the window; any other asks for the
  // middle of the screen, which the window manager may still overrule.
  if (p.DefaultLocation != 0) move(screen()->availableGeometry().center() - rect().center());
  if (p.FullScreen) setWindowState(windowState() | Qt::WindowFullScreen);
  if (p.Visible) show();
}

WindowHost::~WindowHost() {
  window_->OnProgress = nullptr;  // the window may outlive its host
}

void WindowHost::BuildMenus() {
  const auto bar = window_->MenuBar();
  if (!bar) return;
  for (std::int64_t i = 0; i < bar->Count(); ++i) {
    const auto item = bar->Item(i);
    QMenu* menu = menuBar()->addMenu(ToQString(item->Text()));
    menu->setObjectName(ToQString(item->Name()));
    connect(menu, &QMenu::aboutToShow, this, [this] { SyncMenus(); });
    AddItems(menu, item);
  }
  SyncMenus();
}

void WindowHost::AddItems(QMenu* menu, const toolkit::Ref<toolkit::MenuItem>& parent) {
  for (std::int64_t i = 0; i < parent->Count(); ++i) {
    const auto item = parent->Item(i);
    QAction* action = nullptr;
    if (item->IsSeparator()) {
      action = menu->addSeparator();
    } else if (item->Count() > 0) {
      QMenu* sub = menu->addMenu(ToQString(item->Text()));
      AddItems(sub, item);
      action = sub->menuAction();
    } else {
      action = menu->addAction(ToQString(item->Text()));
      action->setShortcutContext(Qt::WindowShortcut);
      connect(action, &QAction::triggered, this, [this, item] { Choose(item); });
      // Shortcuts of hidden items still work, as they do in menus elsewhere.
      addAction(action);
    }
    action->setObjectName(ToQString(item->Name()));
    actions_.push_back({action, item});
  }
}

void WindowHost::SyncMenus() {
  Guard([&] { window_->RaiseEnableMenuItems(); });
  for (const MenuAction& a : actions_) {
    a.action->setVisible(a.item->Visible());
    a.action->setEnabled(a.item->Enabled());
    if (!a.item->IsSeparator() && a.item->Count() == 0)
      a.action->setShortcut(ToKeySequence(a.item->KeyboardShortcut()));
  }
}

void WindowHost::Choose(const toolkit::Ref<toolkit::MenuItem>& item) {
  const bool served = Guard([&] { return window_->ChooseMenuItem(item->Name()); });
  // "Copy" is left to the toolkit: the selected row's cells, tab-separated.
  if (!served && item->Name() == "EditCopy") CopyRow();
  SyncMenus();
}

void WindowHost::CopyRow() {
  if (!view_) return;
  const QModelIndex current = view_->currentIndex();
  const std::int64_t row = model_->ListRow(current);
  if (row < 0) return;
  QStringList cells;
  for (std::int64_t c = 0; c < model_->List()->ColumnCount(); ++c)
    cells << ToQString(model_->List()->Cell(row, c));
  QApplication::clipboard()->setText(cells.join(QLatin1Char('\t')));
}

void WindowHost::closeEvent(QCloseEvent* event) {
  Guard([&] { window_->RaiseClose(); });
  event->accept();
}

bool WindowHost::StopKey(const QKeyEvent& event) {
  if (event.key() != Qt::Key_Escape || event.modifiers() != Qt::NoModifier || !window_->Working())
    return false;
  return Guard([&] { return window_->RaiseStopWork(); });
}

void WindowHost::keyPressEvent(QKeyEvent* event) {
  if (StopKey(*event)) return;
  const bool served = Guard([&] { return window_->RaiseKeyDown(KeyText(*event)); });
  if (!served) QMainWindow::keyPressEvent(event);
}

void WindowHost::resizeEvent(QResizeEvent* event) {
  QMainWindow::resizeEvent(event);
  PlaceControls();
}

void WindowHost::PlaceControls() {
  const toolkit::WindowProperties& p = window_->Properties();
  const int dx = area_->width() - static_cast<int>(p.Width);
  const int dy = area_->height() - static_cast<int>(p.Height);
  for (const Placed& c : placed_) {
    const toolkit::ControlDesign& d = c.design;
    int left = static_cast<int>(d.Left);
    int top = static_cast<int>(d.Top);
    int width = static_cast<int>(d.Width);
    int height = static_cast<int>(d.Height);
    // Locked to both edges, the control stretches; locked only to the far one, it moves.
    if (d.LockRight) (d.LockLeft ? width : left) += dx;
    if (d.LockBottom) (d.LockTop ? height : top) += dy;
    c.widget->setGeometry(left, top, std::max(width, 0), std::max(height, 0));
  }
  // The progress takes the strip below the list, or, when that is too low for a line of text,
  // as much of the window's bottom as it needs.
  const int listBottom = view_ ? view_->geometry().bottom() + 1 : area_->height();
  const int height = std::max(area_->height() - listBottom, progress_->sizeHint().height());
  progress_->setGeometry(0, area_->height() - height, area_->width(), height);
  ApplyColumnWidths();
}

void WindowHost::ShowProgress() {
  const bool working = window_->Working();
  const QString text = ToQString(window_->ProgressText());
  // The rows added in the turn that ends the work are shown right after it, however long the
  // list; a drop that gave no row forgets its reveal only then.
  if (!working && model_) {
    QMetaObject::invokeMethod(
        this,
        [this] {
          model_->CatchUp();
          if (!window_->Working()) revealFrom_ = -1;
        },
        Qt::QueuedConnection);
  }
  const bool shown = working && !text.isEmpty();
  // While the strip shows, its text changes a few times a second at most: a person reads it
  // no faster, and each change repaints it, which would take the loop's time from the rows.
  constexpr qint64 kTextMs = 150;
  if (shown && progress_->isVisible() && textShown_.isValid() && textShown_.elapsed() < kTextMs) {
    if (!progressLater_->isActive())
      progressLater_->start(static_cast<int>(kTextMs - textShown_.elapsed()));
  } else if (progressText_->text() != text) {
    progressText_->setText(text);
    textShown_.start();
  }
  if (shown != progress_->isVisible()) {
    progress_->setVisible(shown);
    if (shown) {
      PlaceControls();
      progress_->raise();
    }
  }
  if (view_) {
    // The list takes clicks and keys while it fills; the pointer says that work goes on.
    if (working)
      view_->viewport()->setCursor(Qt::BusyCursor);
    else
      view_->viewport()->unsetCursor();
  }
}

void WindowHost::ApplyColumnWidths() {
  if (!view_ || widthsByUser_) return;
  const int available = view_->viewport()->width();
  if (available <= 0) return;
  // "30%", "130", "*": a share of the list's width, points, and the rest, which the last
  // column takes by stretching.
  const auto& widths = model_->List()->Design().ColumnWidths;
  applyingWidths_ = true;
  for (std::size_t i = 0; i + 1 < widths.size(); ++i) {
    const std::string_view w = widths[i].View();
    int size = 0;
    if (!w.empty() && w.back() == '%')
      size = available * std::atoi(std::string(w.substr(0, w.size() - 1)).c_str()) / 100;
    else if (w != "*")
      size = std::atoi(std::string(w).c_str());
    if (size > 0) view_->header()->resizeSection(static_cast<int>(i), size);
  }
  applyingWidths_ = false;
}

void WindowHost::Reveal(std::int64_t first, std::int64_t last) {
  const QModelIndex end = model_->IndexOf(last);
  const QModelIndex start = model_->IndexOf(first);
  if (end.isValid()) view_->scrollTo(end);
  if (start.isValid()) view_->scrollTo(start);
}

void WindowHost::RevealOpened(const QModelIndex& index) {
  QMetaObject::invokeMethod(
      this,
      [this, opened = QPersistentModelIndex(index)] {
        const std::int64_t r = model_->ListRow(opened);
        if (r < 0 || !model_->List()->Expanded(r)) return;
        const auto& rows = model_->List();
        std::int64_t last = r;
        while (last + 1 < rows->ListCount() && rows->RowDepth(last + 1) > rows->RowDepth(r))
          ++last;
        Reveal(r, last);
      },
      Qt::QueuedConnection);
}

bool WindowHost::TakesDrop(const QList<QUrl>& urls) const {
  if (window_->AcceptedFileTypes().empty() || !window_->IsOpen()) return false;
  for (const QUrl& url : urls) {
    if (url.isLocalFile()) return true;
  }
  return false;
}

void WindowHost::Drag(QDragMoveEvent* event) {
  // A drag from another program may hand its URLs over anew at each reading, which for a long
  // list costs: they are read once as the drag enters, and that answer holds while it moves.
  if (event->type() == QEvent::DragEnter) {
    const QMimeData* mime = event->mimeData();
    dragTaken_ = mime && mime->hasUrls() && TakesDrop(mime->urls());
  }
  if (dragTaken_)
    event->acceptProposedAction();
  else
    event->ignore();
}

void WindowHost::Drop(QDropEvent* event) {
  const QMimeData* mime = event->mimeData();
  const QList<QUrl> urls = mime && mime->hasUrls() ? mime->urls() : QList<QUrl>();
  if (!TakesDrop(urls)) {
    event->ignore();
    return;
  }
  event->acceptProposedAction();
  toolkit::FileDragItem item(DroppedFiles(urls));
  QtDesktop* desktop = QtDesktop::Current();
  if (desktop) desktop->EventModifiers(event->modifiers());
  const std::int64_t before = model_ ? model_->List()->ListCount() : 0;
  Guard([&] { window_->RaiseDropObject(item, 0); });
  if (desktop) desktop->EventModifiers(std::nullopt);
  // The rows of a drop come at the end of the list, which may be long: now, or as they are read.
  if (!model_) return;
  if (model_->List()->ListCount() > before)
    Reveal(before, model_->List()->ListCount() - 1);
  else if (window_->Working() && revealFrom_ < 0)
    revealFrom_ = before;
}

void WindowHost::dragEnterEvent(QDragEnterEvent* event) {
  Drag(event);
}

void WindowHost::dragMoveEvent(QDragMoveEvent* event) {
  Drag(event);
}

void WindowHost::dropEvent(QDropEvent* event) {
  Drop(event);
}

bool WindowHost::eventFilter(QObject* watched, QEvent* event) {
  if (view_ && watched == view_->viewport()) {
    switch (event->type()) {
      case QEvent::DragEnter:
      case QEvent::DragMove:
        Drag(static_cast<QDragMoveEvent*>(event));
        return true;
      case QEvent::Drop:
        Drop(static_cast<QDropEvent*>(event));
        return true;
      case QEvent::Resize:
        ApplyColumnWidths();
        break;
      default:
        break;
    }
  }
  if (view_ && watched == view_ && event->type() == QEvent::KeyPress) {
    auto* key = static_cast<QKeyEvent*>(event);
    if (StopKey(*key)) return true;
    const toolkit::String text = KeyText(*key);
    const bool served = Guard([&] { return model_->List()->RaiseKeyDown(text); });
    if (served) return true;
  }
  return QMainWindow::eventFilter(watched, event);
}

}  // namespace qt
