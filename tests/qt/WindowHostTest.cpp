#include <gtest/gtest.h>

#include <QAction>
#include <QApplication>
#include <QClipboard>
#include <QHeaderView>
#include <QLabel>
#include <QMenu>
#include <QMenuBar>
#include <QMimeData>
#include <QScrollBar>
#include <QTest>
#include <QTimer>
#include <QToolTip>
#include <QUrl>
#include <memory>

#include <sys/stat.h>

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

  // Runs inside each drop, once the window has dealt with it.
  std::function<void()> AfterDrop;

 protected:
  void Event_DropObject(toolkit::DragItem& obj, int action) override {
    Window1::Event_DropObject(obj, action);
    if (AfterDrop) AfterDrop();
  }

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

// A long drop holds the window: the pointer is busy until it ends, also by an exception, and
// then the view has every row it added.
TEST_F(WindowHostTest, ALongDropShowsABusyPointerUntilItEnds) {
  const path receipt = Receipt("r.receipt");
  const struct {
    int items;
    bool raises;
    bool busy;
  } cases[] = {{200, false, false}, {201, false, true}, {201, true, true}};
  for (const auto& c : cases) {
    list().DeleteAllRows();
    bool busy = false;
    window->AfterDrop = [&] {
      const QCursor* pointer = QGuiApplication::overrideCursor();
      busy = pointer && pointer->shape() == Qt::WaitCursor;
      if (c.raises) throw toolkit::RuntimeException("late");
    };
    ASSERT_TRUE(Drop(std::vector<path>(static_cast<std::size_t>(c.items), receipt)));
    EXPECT_EQ(busy, c.busy) << c.items;
    EXPECT_EQ(QGuiApplication::overrideCursor(), nullptr) << c.items;
    EXPECT_EQ(host->ItemModel()->rowCount(), c.items) << c.items;
  }
  for (QWidget* w : QApplication::topLevelWidgets()) {
    if (auto* box = qobject_cast<QMessageBox*>(w)) box->accept();
  }
}

// URLs as a file manager sends them: the bytes of a name reach its row whether or not they are
// UTF-8, and show in one line; a folder written with a separator at its end keeps its name; a
// FIFO, dropped as a file or inside a bundle, is no receipt and blocks nothing.
TEST_F(WindowHostTest, DroppedURLsNameTheirFilesAndNoFileBlocks) {
  const path drop = temp.path() / "drop";
  Receipt("bad\xFFname.receipt");
  Receipt("two\nlines.receipt");
  window_test::WriteReceipt(drop / "Good.app/Contents/_MASReceipt/receipt");
  window_test::fs::create_directories(drop / "Stuff");
  window_test::fs::create_directories(drop / "Pipe.app/Contents/_MASReceipt");
  ASSERT_EQ(mkfifo((drop / "pipe.receipt").c_str(), 0600), 0);
  ASSERT_EQ(mkfifo((drop / "Pipe.app/Contents/_MASReceipt/receipt").c_str(), 0600), 0);
  const struct {
    const char* url;    // in the drop folder
    const char* row;    // as Rows writes it
    const char* shown;  // its name in the view
  } cases[] = {
      {"bad%FFname.receipt", "bad\xFFname.receipt|| +", "bad\uFFFDname.receipt"},
      {"two%0Alines.receipt", "two\nlines.receipt|| +", "two\u21B5lines.receipt"},
      {"Good.app/", "Good.app|| +", "Good.app"},
      {"Stuff/", "Stuff||Ignored (folder)", "Stuff"},
      {"pipe.receipt", "pipe.receipt||Not a MAS receipt", "pipe.receipt"},
      {"Pipe.app", "Pipe.app||Not a MAS receipt", "Pipe.app"},
  };
  list().DeleteAllRows();
  std::vector<path> urls;
  std::vector<std::string> rows;
  for (const auto& c : cases) {
    urls.push_back("file://" + drop.string() + "/" + c.url);
    ASSERT_TRUE(Drop({urls.back()})) << c.url;
    rows.push_back(c.row);
    EXPECT_EQ(window_test::Rows(list()), rows) << c.url;
    EXPECT_EQ(host->ItemModel()->index(static_cast<int>(rows.size()) - 1, 0).data().toString(),
              QString::fromUtf8(c.shown));
  }
  // All in one drop, with the Option key down: the same rows again, behind those there.
  ASSERT_TRUE(Drop(urls, Qt::AltModifier));
  const std::vector<std::string> once = rows;
  rows.insert(rows.end(), once.begin(), once.end());
  EXPECT_EQ(window_test::Rows(list()), rows);
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

TEST_F(WindowHostTest, CtrlGAddsTheMACsRowOpenAndInViewAtTheEndOfALongList) {
  for (int i = 0; i < 1000; ++i)
    list().AddRow({"row " + std::to_string(i)});
  ASSERT_TRUE(QTest::qWaitFor([&] { return view().isVisible(); }, 2000));
  view().setCurrentIndex(host->ItemModel()->index(0, 0));
  host->activateWindow();
  ASSERT_TRUE(QTest::qWaitForWindowActive(host.get()));
  QTest::keyClick(host.get(), Qt::Key_G, Qt::ControlModifier);
  const int last = host->ItemModel()->rowCount() - 1;
  ASSERT_EQ(last, 1001);
  const QModelIndex root = host->ItemModel()->index(last, 0);
  EXPECT_EQ(root.data().toString(), "MACs");
  EXPECT_TRUE(view().isExpanded(root));
  // Its children are this machine's interfaces; the primary row stands first in any case.
  ASSERT_GE(host->ItemModel()->rowCount(root), 1);
  EXPECT_EQ(host->ItemModel()->index(0, 2, root).data().toString(), "Primary");
  const auto shows = [&](const QModelIndex& index) {
    return view().viewport()->rect().contains(view().visualRect(index));
  };
  EXPECT_TRUE(
      QTest::qWaitFor([&] { return shows(root) && shows(root.model()->index(0, 0, root)); }, 2000));

  // A drop's rows at the end of a long list come into view as well.
  view().scrollToTop();
  ASSERT_TRUE(Drop({Receipt("late.receipt")}));
  EXPECT_TRUE(shows(host->ItemModel()->index(last + 1, 0)));
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

// A value is shown as the text it is, also in its tooltip, where markup would have Qt load
// what an <img> names; a long value's tooltip wraps inside the screen.
TEST_F(WindowHostTest, TooltipsArePlainTextThatWraps) {
  list().DeleteAllRows();
  const std::string markup = "<img src=\"nowhere.png\"><b>com.example</b>";
  ASSERT_TRUE(
      Drop({window_test::WriteReceipt(temp.path() / "drop/markup.receipt",
                                      {{2, 1, ReceiptMaker::Utf8Value(markup)},
                                       {4, 1, ReceiptMaker::HexValue(std::string(400, 'a'))}})}));
  const QModelIndex root = host->ItemModel()->index(0, 0);
  view().expand(root);
  ASSERT_TRUE(QTest::qWaitFor([&] { return view().isVisible(); }, 2000));
  ASSERT_EQ(host->ItemModel()->index(0, 2, root).data().toString(), QString::fromStdString(markup));
  for (const int row : {0, 1}) {
    const QRect cell = view().visualRect(host->ItemModel()->index(row, 2, root));
    QHelpEvent ask(QEvent::ToolTip, cell.center(), view().viewport()->mapToGlobal(cell.center()));
    QCoreApplication::sendEvent(view().viewport(), &ask);
    QLabel* tip = nullptr;
    for (QWidget* w : QApplication::topLevelWidgets()) {
      if (w->objectName() == "qtooltip_label" && w->isVisible()) tip = qobject_cast<QLabel*>(w);
    }
    ASSERT_NE(tip, nullptr) << row;
    EXPECT_FALSE(tip->text().contains("<img")) << row;
    EXPECT_EQ(tip->text().contains("&lt;img src="), row == 0);
    EXPECT_LE(tip->frameGeometry().width(), tip->screen()->availableGeometry().width()) << row;
    QToolTip::hideText();
  }
}

TEST_F(WindowHostTest, TheTimerSwapsListAndHelpLabel) {
  list().DeleteAllRows();
  EXPECT_TRUE(QTest::qWaitFor([&] { return help().isVisible() && !view().isVisible(); }, 2000));
  Drop({Receipt("a.receipt")});
  EXPECT_TRUE(QTest::qWaitFor([&] { return !help().isVisible() && view().isVisible(); }, 2000));
  EXPECT_EQ(help().accessibleName().isEmpty(), false);
  // The help names the command's key as the menus here do; the window's own text is unchanged.
  EXPECT_EQ(help().text(),
            "Drop receipt files or apps into the window\n\n" +
                QKeySequence(Qt::CTRL | Qt::Key_G).toString(QKeySequence::NativeText) +
                " shows the interfaces (MAC, GUID)");
  EXPECT_NE(window->Label1()->Text().Bytes().find("\u2318G"), std::string::npos);
}

TEST_F(WindowHostTest, ControlsKeepToTheirLockedEdgesWhenTheWindowResizes) {
  ASSERT_TRUE(QTest::qWaitFor([&] { return view().isVisible(); }, 2000));
  const QWidget& area = *host->centralWidget();
  const QLabel& strip = *host->findChild<QLabel*>("Label2");
  QHeaderView& header = *view().header();
  for (const QSize size : {QSize(1280, 800), QSize(725, 561), QSize(360, 300)}) {
    host->resize(size);
    QCoreApplication::processEvents();
    EXPECT_EQ(strip.geometry(), QRect(0, area.height() - 20, area.width(), 20));
    EXPECT_EQ(view().geometry(), QRect(0, 0, area.width(), area.height() - 20));
    // Wider than the window, the help label still has its middle in the window's middle.
    EXPECT_GT(help().width(), area.width());
    EXPECT_EQ(help().geometry().center().x(), area.rect().center().x());
    // The columns are 30% of the list's width, 130, and the rest, with no scroll bar across.
    const int width = view().viewport()->width();
    EXPECT_EQ(header.sectionSize(0), width * 30 / 100) << size.width();
    EXPECT_EQ(header.sectionSize(1), 130) << size.width();
    EXPECT_EQ(header.length(), width) << size.width();
    EXPECT_FALSE(view().horizontalScrollBar()->isVisible()) << size.width();
  }
  host->resize(160, 300);
  QCoreApplication::processEvents();  // the view lays out its scroll bars later
  EXPECT_FALSE(view().horizontalScrollBar()->isVisible()) << "also narrower than the columns";

  // Once the person drags the edge between the first two columns, their widths stand.
  const int edge = header.sectionViewportPosition(1);
  const int y = header.height() / 2;
  QTest::mousePress(header.viewport(), Qt::LeftButton, {}, QPoint(edge - 1, y));
  QTest::mouseMove(header.viewport(), QPoint(edge + 39, y));
  QTest::mouseRelease(header.viewport(), Qt::LeftButton, {}, QPoint(edge + 39, y));
  const int dragged = header.sectionSize(0);
  EXPECT_EQ(dragged, edge + 40);
  host->resize(1000, 700);
  EXPECT_EQ(header.sectionSize(0), dragged);
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
