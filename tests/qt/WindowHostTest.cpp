#include <gtest/gtest.h>

#include <QAction>
#include <QApplication>
#include <QClipboard>
#include <QHeaderView>
#include <QLabel>
#include <QMenu>
#include <QMenuBar>
#include <QMimeData>
#include <QTest>
#include <QTimer>
#include <QUrl>
#include <memory>

#include <QMessageBox>
#include "Support.h"
#include "app/App.h"
#include "platform/iokit/TestRoot.h"
#include "platform/qt/QtDesktop.h"
#include "platform/qt/WindowHost.h"
#include "window/Window1.h"

namespace {

using toolkit::FolderItem;
using toolkit::Ref;
using window_test::fs::path;

// Window1 with its start-up folder below a scratch folder.
class TestWindow : public Window1 {
 public:
  explicit TestWindow(path base) : base_(std::move(base)) {}

 protected:
  Ref<FolderItem> GetFolderItem(const toolkit::String& p, int pathType) const override {
    (void)pathType;
    return Ref<FolderItem>::New(base_ / p.Bytes());
  }

 private:
  path base_;
};

// The program's window on the Qt desktop, started as the program starts it, with one
// receipt in its start-up folder.
class WindowHostTest : public ::testing::Test {
 protected:
  WindowHostTest() {
    window_test::WriteReceipt(temp.path() / "exe/Supplemental Data/_MASReceipt/Sample.receipt");
    window = toolkit::Window::Make<TestWindow>(temp.path() / "exe");
    host = std::make_unique<qt::WindowHost>(window);
    host->show();
    window->RaiseOpen();
    app->RaiseOpen();
    host->SyncMenus();
  }

  QTreeView& view() { return *host->ListView(); }
  toolkit::Listbox& list() { return *window->lb(); }
  QLabel& help() { return *host->findChild<QLabel*>("Label1"); }

  // Drops the files on the list's viewport; true when the drop was taken.
  bool Drop(const std::vector<path>& files, Qt::KeyboardModifiers modifiers = {}) {
    QMimeData mime;
    QList<QUrl> urls;
    for (const path& f : files)
      urls << (f.is_absolute() ? QUrl::fromLocalFile(QString::fromStdString(f.string()))
                               : QUrl(QString::fromStdString(f.string())));
    mime.setUrls(urls);
    const QPointF at(10, 10);
    QDragEnterEvent enter(at.toPoint(), Qt::CopyAction, &mime, Qt::LeftButton, modifiers);
    QCoreApplication::sendEvent(view().viewport(), &enter);
    if (!enter.isAccepted()) return false;
    QDropEvent drop(at, Qt::CopyAction, &mime, Qt::LeftButton, modifiers);
    QCoreApplication::sendEvent(view().viewport(), &drop);
    return drop.isAccepted();
  }

  path Receipt(const std::string& name) {
    return window_test::WriteReceipt(temp.path() / "drop" / name);
  }

  qt::QtDesktop desktop;
  window_test::TempFolder temp;
  Ref<App> app = StartApplication();
  Ref<TestWindow> window;
  std::unique_ptr<qt::WindowHost> host;
};

TEST_F(WindowHostTest, StartFolderShowsAndARowOpensAndClosesThroughTheView) {
  ASSERT_EQ(host->ItemModel()->rowCount(), 1);
  const QModelIndex row = host->ItemModel()->index(0, 0);
  EXPECT_EQ(row.data().toString(), "Sample.receipt");
  view().expand(row);
  EXPECT_TRUE(list().Expanded(0));
  EXPECT_GT(host->ItemModel()->rowCount(row), 0);
  EXPECT_EQ(host->ItemModel()->rowCount(row), list().ListCount() - 1);
  view().collapse(row);
  EXPECT_EQ(list().ListCount(), 1);

  // The heading is clickable and sorts nothing.
  Receipt("a.receipt");
  ASSERT_TRUE(Drop({temp.path() / "drop/a.receipt"}));
  emit view().header()->sectionClicked(0);
  EXPECT_EQ(host->ItemModel()->index(0, 0).data().toString(), "Sample.receipt");
}

TEST_F(WindowHostTest, DropsOfLocalFilesBecomeRows) {
  list().DeleteAllRows();
  EXPECT_FALSE(Drop({"https://example.com/x.receipt"})) << "no local file: refused";
  EXPECT_TRUE(Drop({Receipt("one.receipt")}));
  EXPECT_EQ(list().ListCount(), 1);

  const path bundle = temp.path() / "drop/Some.app";
  window_test::WriteReceipt(bundle / "Contents/_MASReceipt/receipt");
  EXPECT_TRUE(Drop({bundle}));
  EXPECT_EQ(list().ListCount(), 2);

  // Of several items, those that are no receipt are passed over silently unless Alt (the
  // Option key) is down.
  const path text = window_test::WriteText(temp.path() / "drop/note.txt", "hello");
  list().DeleteAllRows();
  EXPECT_TRUE(Drop({Receipt("two.receipt"), text}));
  EXPECT_EQ(list().ListCount(), 1);
  EXPECT_TRUE(Drop({Receipt("three.receipt"), text}, Qt::AltModifier));
  EXPECT_EQ(list().ListCount(), 3);
}

TEST_F(WindowHostTest, BackspaceAndDeleteClearFromTheListAndTheWindow) {
  ASSERT_EQ(list().ListCount(), 1);
  QTest::keyClick(&view(), Qt::Key_Delete);
  EXPECT_EQ(list().ListCount(), 0);

  Drop({Receipt("a.receipt")});
  QTest::keyClick(&view(), Qt::Key_Backspace);
  EXPECT_EQ(list().ListCount(), 0);

  Drop({Receipt("b.receipt")});
  QKeyEvent del(QEvent::KeyPress, Qt::Key_Delete, Qt::NoModifier);
  QCoreApplication::sendEvent(host.get(), &del);
  EXPECT_EQ(list().ListCount(), 0);

  // A key that isn't one of the two leaves the rows.
  Drop({Receipt("c.receipt")});
  QTest::keyClick(&view(), Qt::Key_A);
  EXPECT_EQ(list().ListCount(), 1);
}

TEST_F(WindowHostTest, MenusShowTheBarsItemsAsDesigned) {
  const QList<QAction*> menus = host->menuBar()->actions();
  ASSERT_EQ(menus.size(), 2);
  EXPECT_EQ(menus[0]->text(), "&File");
  EXPECT_EQ(menus[1]->text(), "&Edit");

  EXPECT_EQ(host->Action("FileQuit")->shortcut(), QKeySequence(Qt::CTRL | Qt::Key_Q));
  EXPECT_EQ(host->Action("FileShowMACs")->shortcut(), QKeySequence(Qt::CTRL | Qt::Key_G));
  EXPECT_EQ(host->Action("EditClear")->shortcut(), QKeySequence(Qt::Key_Backspace))
      << "the application's Open event gives Clear its key";
  EXPECT_TRUE(host->Action("UntitledMenu1")->isSeparator());
  EXPECT_FALSE(host->Action("FileRequestToRefreshTheReceipt")->isVisible())
      << "the refresh command is hidden";

  emit menus[1]->menu()->aboutToShow();
  EXPECT_TRUE(host->Action("EditClear")->isEnabled());
  EXPECT_FALSE(host->Action("EditUndo")->isEnabled());
  EXPECT_TRUE(host->Action("EditCopy")->isEnabled());

  host->Action("EditClear")->trigger();
  EXPECT_EQ(list().ListCount(), 0);
}

TEST_F(WindowHostTest, CtrlGAddsTheMACsRowOpenInTheView) {
  list().DeleteAllRows();
  host->activateWindow();
  ASSERT_TRUE(QTest::qWaitForWindowActive(host.get()));
  QTest::keyClick(host.get(), Qt::Key_G, Qt::ControlModifier);
  ASSERT_EQ(host->ItemModel()->rowCount(), 1);
  const QModelIndex root = host->ItemModel()->index(0, 0);
  EXPECT_EQ(root.data().toString(), "MACs");
  EXPECT_TRUE(view().isExpanded(root));
  // Its children are this machine's interfaces; the primary row stands first in any case.
  ASSERT_GE(host->ItemModel()->rowCount(root), 1);
  EXPECT_EQ(host->ItemModel()->index(0, 2, root).data().toString(), "Primary");
}

// Without a registry the interfaces can't be asked for: the exception of that event is
// reported in a box that doesn't wait, and the window goes on taking events.
TEST_F(WindowHostTest, AnExceptionThatLeavesAnEventIsReportedAndTheProgramGoesOn) {
  host->activateWindow();
  ASSERT_TRUE(QTest::qWaitForWindowActive(host.get()));
  const iokit::test::ScopedRoot noRegistry(temp.path() / "no-such-root");
  host->Action("FileShowMACs")->trigger();
  auto* box = host->findChild<QMessageBox*>();
  ASSERT_NE(box, nullptr);
  EXPECT_TRUE(box->isVisible());
  EXPECT_TRUE(box->text().contains("NilObjectException"));
  box->accept();

  QTest::keyClick(&view(), Qt::Key_Delete);
  EXPECT_EQ(list().ListCount(), 0) << "the window still takes keys";
}

TEST_F(WindowHostTest, CopyPutsTheSelectedRowsCellsOnTheClipboard) {
  view().setCurrentIndex(host->ItemModel()->index(0, 0));
  QApplication::clipboard()->clear();
  host->Action("EditCopy")->trigger();
  EXPECT_EQ(QApplication::clipboard()->text(),
            QString::fromStdString(list().Cell(0, 0).Bytes() + "\t" + list().Cell(0, 1).Bytes() +
                                   "\t" + list().Cell(0, 2).Bytes()));
}

TEST_F(WindowHostTest, TheTimerSwapsListAndHelpLabel) {
  list().DeleteAllRows();
  EXPECT_TRUE(QTest::qWaitFor([&] { return help().isVisible() && !view().isVisible(); }, 2000));
  Drop({Receipt("a.receipt")});
  EXPECT_TRUE(QTest::qWaitFor([&] { return !help().isVisible() && view().isVisible(); }, 2000));
  EXPECT_EQ(help().accessibleName().isEmpty(), false);
}

TEST_F(WindowHostTest, ControlsKeepToTheirLockedEdgesWhenTheWindowResizes) {
  host->resize(900, 700);
  const QWidget& area = *host->centralWidget();
  const QLabel& strip = *host->findChild<QLabel*>("Label2");
  EXPECT_EQ(strip.geometry(), QRect(0, area.height() - 20, area.width(), 20));
  EXPECT_EQ(view().geometry(), QRect(0, 0, area.width(), area.height() - 20));
  // Wider than the window, the help label still has its middle in the window's middle.
  EXPECT_GT(help().width(), area.width());
  EXPECT_EQ(help().geometry().center().x(), area.rect().center().x());
}

TEST_F(WindowHostTest, ClosingTheWindowEndsTheEventLoop) {
  QTimer::singleShot(0, host.get(), [this] { host->close(); });
  QTimer::singleShot(5000, [] { QCoreApplication::exit(7); });
  EXPECT_EQ(QApplication::exec(), 0);
  EXPECT_FALSE(window->IsOpen());
}

// The README's picture: the window as the program starts it beside the sample receipts of
// the source tree, the last row open.
TEST(WindowScreenshot, GrabsTheWindowWithTheSampleReceiptsAndOneRowOpen) {
  qt::QtDesktop desktop;
  const Ref<App> app = StartApplication();
  const auto window = toolkit::Window::Make<TestWindow>(QM_SOURCE_DIR);
  qt::WindowHost host(window);
  host.show();
  window->RaiseOpen();
  app->RaiseOpen();
  ASSERT_GT(window->lb()->ListCount(), 1);
  host.ListView()->expand(host.ItemModel()->index(host.ItemModel()->rowCount() - 1, 0));
  ASSERT_TRUE(QTest::qWaitFor([&] { return host.ListView()->isVisible(); }, 2000));
  ASSERT_GT(window->lb()->ListCount(), 3) << "the sample opens into its attributes";
  const QImage image = host.grab().toImage();
  EXPECT_EQ(image.size(), host.size() * image.devicePixelRatio());
  EXPECT_TRUE(image.save(QM_SCREENSHOT));
}

}  // namespace
