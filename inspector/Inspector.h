#pragma once

#include <QObject>
#include <QStringList>
#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <functional>
#include <vector>

#include "examination/Examination.h"
#include "platform/toolkit/FolderItem.h"
#include "platform/toolkit/Ref.h"
#include "platform/toolkit/Window.h"

class QAction;
class QDockWidget;
class QPoint;
class QWidget;

namespace qt {
class WindowHost;
}

namespace inspector {

class InspectorPane;

// The inspector of a window's host: a pane beside the list that shows the examination of the
// receipt selected (View > Inspector, or Inspect on a receipt row), Edit > Copy as JSON, and
// File > Open…, whose files go through the same intake as a drop. Made after the host, as its
// child; the items it adds sit beside the window's own, which stay as they are.
class Inspector final : public QObject {
 public:
  // What File > Open… asks the person: the paths chosen, none when they cancel.
  using Chooser = std::function<QStringList(QWidget* parent)>;

  // `window` is the host's window, whose drop event File > Open… raises.
  Inspector(qt::WindowHost& host, toolkit::Ref<toolkit::Window> window);
  ~Inspector() override;

  // The desktop's file dialog by default; a test gives its own.
  void SetChooser(Chooser chooser) { chooser_ = std::move(chooser); }
  // The machine's identifiers, read once at the first examination unless set.
  void SetMachineIdentifiers(std::vector<Examination::DeviceIdentifier> identifiers);

  // Shows or hides the pane, as View > Inspector does.
  void SetShown(bool shown);
  bool Shown() const;
  // File > Open…: the chooser's paths, through the window's drop, the Option key up.
  void Open();
  // Edit > Copy as JSON: the examination of the selected receipt on the clipboard. False when
  // no receipt row is selected.
  bool CopyJson();

  // How many files have been examined, for tests.
  std::size_t Examinations() const { return examinations_; }
  InspectorPane* Pane() const { return pane_; }
  QDockWidget* Dock() const { return dock_; }
  QAction* OpenAction() const { return open_; }
  QAction* CopyJsonAction() const { return copyJson_; }
  QAction* ShowAction() const { return show_; }

 private:
  // The top-level row above the list's `row` (itself at the top), or -1.
  std::int64_t TopRow(std::int64_t row) const;
  // The selected row's top-level row, or -1.
  std::int64_t SelectedTop() const;
  bool IsReceipt(std::int64_t top) const;
  Examination::Report Examine(const std::filesystem::path& path);
  // Shows what the selection is, when the pane shows.
  void Follow();
  void ContextMenu(const QPoint& at);
  void AddMenus();

  qt::WindowHost& host_;
  toolkit::Ref<toolkit::Window> window_;
  QDockWidget* dock_;
  InspectorPane* pane_;
  QAction* open_ = nullptr;
  QAction* copyJson_ = nullptr;
  QAction* show_ = nullptr;
  Chooser chooser_;
  std::vector<Examination::DeviceIdentifier> machine_;
  bool machineRead_ = false;
  bool sized_ = false;
  std::size_t examinations_ = 0;
  std::uint64_t shownId_ = 0;  // the list's id of the top row the pane shows, 0 for none
};

// The desktop's file dialog: several files, or a bundle (a folder named *.app) entered in it.
QStringList ChooseFiles(QWidget* parent);

}  // namespace inspector
