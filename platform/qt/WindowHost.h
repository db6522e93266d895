#pragma once

#include <QElapsedTimer>
#include <QMainWindow>
#include <QTreeView>
#include <vector>

#include "platform/qt/ListItemModel.h"
#include "platform/toolkit/Window.h"

class QAction;
class QDragMoveEvent;
class QDropEvent;
class QLabel;
class QMenu;
class QTimer;
class QToolButton;
class QUrl;

namespace qt {

// The size at which a window whose design asks for `wanted` opens, on a screen with `available`
// room for windows: `wanted` where it fits, else no larger than the room, and never below
// `minimum`. A screen that tells no room (0 by 0) takes `wanted` as it is.
QSize OpeningSize(QSize wanted, QSize available, QSize minimum);

// The Qt window of a toolkit::Window: its controls laid out by their design and lock
// properties, its menu bar, drops of local files, keys, and closing. An exception that leaves
// a handler of the window ends at ReportUnhandled; the host goes on.
//
// The window's design properties become the window's flags, sizes, place and state; those of
// the list become the view's. The README lists the few that mean nothing on this desktop.
//
// While the window works between events (a long drop being read), a strip across the bottom of
// the window, over the controls' own strip below the list, shows its progress text with a Stop
// button; Esc stops too. The list doesn't move for it.
class WindowHost final : public QMainWindow {
 public:
  // Shares `window` for as long as the host lives, and makes the widgets of its controls and
  // menus as children of the host. A label that is a QtLabel gives its widget to the host.
  // The host shows itself at once when the window's design says Visible.
  explicit WindowHost(toolkit::Ref<toolkit::Window> window, QWidget* parent = nullptr);
  ~WindowHost() override;

  // Asks the window which items are enabled and shows the menus' state, shortcuts included.
  void SyncMenus();
  // The view of the window's list, or null when the window has no list. The host owns it.
  QTreeView* ListView() const { return view_; }
  // The item model behind ListView, or null with it. The host owns it; the rows stay the
  // list's.
  ListItemModel* ItemModel() const { return model_; }
  // The strip that shows the window's progress, its text, and its Stop button. The host owns
  // them.
  QWidget* ProgressStrip() const { return progress_; }
  QLabel* ProgressLabel() const { return progressText_; }
  QToolButton* StopButton() const { return stop_; }

 protected:
  void closeEvent(QCloseEvent* event) override;
  void keyPressEvent(QKeyEvent* event) override;
  void resizeEvent(QResizeEvent* event) override;
  void dragEnterEvent(QDragEnterEvent* event) override;
  void dragMoveEvent(QDragMoveEvent* event) override;
  void dropEvent(QDropEvent* event) override;
  bool eventFilter(QObject* watched, QEvent* event) override;

 private:
  struct Placed {
    QWidget* widget;
    toolkit::ControlDesign design;
  };
  struct MenuAction {
    QAction* action;
    toolkit::Ref<toolkit::MenuItem> item;
  };

  void BuildMenus();
  void AddItems(QMenu* menu, const toolkit::Ref<toolkit::MenuItem>& parent);
  void Choose(const toolkit::Ref<toolkit::MenuItem>& item);
  void CopyRow();
  void PlaceControls();
  // Sets the list's column widths from its design and the width of its viewport, unless the
  // person has set them.
  void ApplyColumnWidths();
  // Scrolls the list so that its rows `first` to `last` show: as many as fit, `first` always.
  void Reveal(std::int64_t first, std::int64_t last);
  // Once the row at `index` has opened, by the person or by the program, scrolls its children
  // into view below it, as many as fit, the row itself always.
  void RevealOpened(const QModelIndex& index);
  // Whether the window takes a drop of `urls`: it takes drops and one of them is a local file.
  bool TakesDrop(const QList<QUrl>& urls) const;
  // Accepts or ignores a drag that enters or moves over the window.
  void Drag(QDragMoveEvent* event);
  void Drop(QDropEvent* event);
  // Shows what the window says of its work, in the strip and the pointer over the list.
  void ShowProgress();
  // Esc while the window works stops the work; true when it did.
  bool StopKey(const QKeyEvent& event);

  toolkit::Ref<toolkit::Window> window_;
  QWidget* area_;
  QTreeView* view_ = nullptr;
  ListItemModel* model_ = nullptr;
  std::vector<Placed> placed_;
  std::vector<MenuAction> actions_;
  bool widthsByUser_ = false;
  bool applyingWidths_ = false;
  bool dragTaken_ = false;  // whether the drag over the window now would be taken
  QWidget* progress_;
  QLabel* progressText_;
  QToolButton* stop_;
  QTimer* progressLater_;    // shows a text that came too soon after the last
  QElapsedTimer textShown_;  // since the strip's text last changed
  // The first row of a drop whose rows have yet to come, to be scrolled into view when they
  // do; -1 for none.
  std::int64_t revealFrom_ = -1;
};

}  // namespace qt
