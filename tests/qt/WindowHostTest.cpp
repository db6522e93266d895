#include <gtest/gtest.h>

#include <QApplication>
#include <QClipboard>
#include <QHeaderView>
#include <QLabel>
#include <QMenuBar>
#include <QMimeData>
#include <QScreen>
#include <QScrollBar>
#include <QTest>
#include <QTimer>
#include <QToolButton>
#include <QToolTip>
#include <QUrl>
#include <algorithm>
#include <functional>
#include <memory>

#include "Support.h"
#include "app/App.h"
#include "platform/qt/QtDesktop.h"
#include "platform/qt/WindowHost.h"
#include "tests/support/Scratch.h"
#include "tests/support/TestWindow.h"

namespace {

using test_support::TestWindow;
using toolkit::Ref;
using window_test::fs::path;

// The program's window on the Qt desktop, started as the program starts it, with one
// receipt in its start-up folder.
class WindowHostTest : public ::testing::Test {
 protected:
  WindowHostTest() {
    temp.Write("exe/Supplemental Data/_MASReceipt/Sample.receipt", window_test::Receipt());
    window = toolkit::Window::Make<TestWindow>(temp.path() / "exe");
    host = std::make_unique<qt::WindowHost>(window);
    window->RaiseOpen();
    app->RaiseOpen();
    host->SyncMenus();
  }

  QTreeView& view() { return *host->ListView(); }
  toolkit::Listbox& list() { return *window->lb(); }
  bool WaitShown() {
    return QTest::qWaitFor([&] { return view().isVisible(); }, 2000);
  }
  // Whether the row's cell lies wholly inside the list's viewport.
  bool Shows(const QModelIndex& index) {
    return view().viewport()->rect().contains(view().visualRect(index));
  }

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
    if (finish) FinishReading();
    return drop.isAccepted();
  }
  // Whether Drop lets the loop turn until the files are read; else it returns after the event.
  bool finish = true;
  void FinishReading() {
    EXPECT_TRUE(QTest::qWaitFor([&] { return !window->Working(); }, 60000));
  }

  // A key press, without modifiers, sent to `to`.
  static void Press(QWidget* to, Qt::Key key) {
    QKeyEvent press(QEvent::KeyPress, key, Qt::NoModifier);
    QCoreApplication::sendEvent(to, &press);
  }

  path Receipt(const std::string& name) {
    return temp.Write(path("drop") / name, window_test::Receipt());
  }

  qt::QtDesktop desktop;
  test_support::ScratchFolder temp;
  Ref<App> app = StartApplication();
  Ref<TestWindow> window;
  std::unique_ptr<qt::WindowHost> host;
};

TEST_F(WindowHostTest, DropsOfLocalFilesBecomeRows) {
  list().DeleteAllRows();
  EXPECT_FALSE(Drop({"https://example.com/x.receipt"})) << "no local file: refused";
  // Beside a local file, a receipt's path under another scheme names no file.
  EXPECT_TRUE(Drop({Receipt("one.receipt"), "about:" + Receipt("x").string()}));
  EXPECT_EQ(list().ListCount(), 1);
  list().DeleteAllRows();
  // Of several items, those that are no receipt are passed over silently unless Alt (the
  // Option key) is down. (One file or bundle: the URL forms below.)
  const path text = temp.Write("drop/note.txt", "hello");
  EXPECT_TRUE(Drop({Receipt("two.receipt"), text}));
  EXPECT_EQ(list().ListCount(), 1);
  EXPECT_TRUE(Drop({Receipt("three.receipt"), text}, Qt::AltModifier));
  EXPECT_EQ(list().ListCount(), 3);
}

// A long drop is read while the window goes on: its rows come in turns of the loop, its progress
// shows in a strip at the bottom that moves nothing of the list, with a Stop button, and Esc or
// the button ends it with the rows added so far; the strip goes then, as at the drop's end.
TEST_F(WindowHostTest, ALongDropShowsItsProgressAndStops) {
  const path receipt = Receipt("r.receipt");
  const struct {
    std::function<void()> end;  // nullptr: the drop is read to its end
    const char* why;
  } cases[] = {{[&] { Press(&view(), Qt::Key_Escape); }, "Esc in the list"},
               {[&] { Press(host.get(), Qt::Key_Escape); }, "Esc to the window"},
               {[&] { QTest::mouseClick(host->StopButton(), Qt::LeftButton); }, "the Stop button"},
               {nullptr, "read to its end"}};
  window->ReadingThreads(0);
  window->ReadingSliceMs(0);  // one item a turn
  finish = false;
  host->resize(725, 541 + host->menuBar()->sizeHint().height());
  for (const auto& c : cases) {
    SCOPED_TRACE(c.why);
    list().DeleteAllRows();
    ASSERT_TRUE(QTest::qWaitFor([&] { return !view().isVisible(); }, 2000));
    list().AddRow({"first"});
    ASSERT_TRUE(WaitShown());
    const QRect listAt = view().geometry();
    ASSERT_TRUE(Drop(std::vector<path>(60, receipt)));
    EXPECT_FALSE(host->ProgressStrip()->isVisible()) << "not in the drop's event";
    ASSERT_TRUE(QTest::qWaitFor([&] { return host->ProgressStrip()->isVisible(); }, 10000));
    const QString text = host->ProgressLabel()->text();
    EXPECT_TRUE(text.startsWith("Reading ") && text.endsWith(" of 60…")) << text.toStdString();
    EXPECT_EQ(view().geometry(), listAt);
    const QRect strip = host->ProgressStrip()->geometry();
    EXPECT_EQ(strip.bottom(), host->centralWidget()->height() - 1);
    EXPECT_EQ(strip.width(), host->centralWidget()->width());
    EXPECT_GE(strip.top(), listAt.bottom() - 8) << "covers no more than the list's bottom edge";
    EXPECT_TRUE(host->StopButton()->isVisible());
    EXPECT_EQ(view().viewport()->cursor().shape(), Qt::BusyCursor);
    if (c.end) {
      c.end();
      EXPECT_FALSE(window->Working());
    } else {
      FinishReading();
    }
    const std::int64_t rows = list().ListCount();
    QTest::qWait(100);
    EXPECT_EQ(list().ListCount(), rows) << "no row comes after the end";
    EXPECT_EQ(host->ItemModel()->rowCount(), rows);
    EXPECT_FALSE(host->ProgressStrip()->isVisible());
    EXPECT_EQ(view().viewport()->cursor().shape(), Qt::ArrowCursor);
    EXPECT_EQ(rows == 1 + 60, !c.end) << rows << " of 1 + 60";
    // Esc while nothing is read goes on to the window, which has no use for it.
    Press(&view(), Qt::Key_Escape);
    EXPECT_EQ(list().ListCount(), rows);
  }
  finish = true;
}

// The rows of a drop read after its event are scrolled into view as they come, at the end of a
// long list.
TEST_F(WindowHostTest, TheRowsOfADropComeIntoViewAsTheyAreRead) {
  for (int i = 0; i < 500; ++i)
    list().AddRow({"row " + std::to_string(i)});
  ASSERT_TRUE(WaitShown());
  view().scrollToTop();
  ASSERT_TRUE(Drop(std::vector<path>(20, Receipt("r.receipt"))));
  ASSERT_EQ(host->ItemModel()->rowCount(), 521);
  EXPECT_TRUE(Shows(host->ItemModel()->index(501, 0))) << view().verticalScrollBar()->value();
}

// URLs as a file manager sends them: the bytes of a name reach its row whether or not they are
// UTF-8 (how the view shows them is the item model's own test); a folder written with a
// separator at its end keeps its name. (Which row each kind of item gets, a FIFO's among them,
// is the headless window's and the folder items' business.)
TEST_F(WindowHostTest, DroppedURLsNameTheirFiles) {
  const path drop = temp.path() / "drop";
  Receipt("bad\xFFname.receipt");
  Receipt("abc\u202Etxt.exe\u202C def");
  temp.Write("drop/Good.app/Contents/_MASReceipt/receipt", window_test::Receipt());
  const std::pair<const char*, const char*> cases[] = {
      // in the drop folder, the row as Rows writes it
      {"bad%FFname.receipt", "bad\xFFname.receipt|| +"},
      {"abc%E2%80%AEtxt.exe%E2%80%AC%20def", "abc\u202Etxt.exe\u202C def|| +"},
      {"Good.app/", "Good.app|| +"},
  };
  list().DeleteAllRows();
  std::vector<std::string> rows;
  for (const auto& [url, row] : cases) {
    ASSERT_TRUE(Drop({"file://" + drop.string() + "/" + url})) << url;
    rows.push_back(row);
    EXPECT_EQ(window_test::Rows(list()), rows) << url;
  }
}

// Backspace and forward delete clear the list, from the list or from the window; another key
// leaves the rows.
TEST_F(WindowHostTest, BackspaceAndDeleteClearFromTheListAndTheWindow) {
  const struct {
    Qt::Key key;
    bool toWindow;
    int left;
  } cases[] = {{Qt::Key_Delete, false, 0},
               {Qt::Key_Backspace, false, 0},
               {Qt::Key_Delete, true, 0},
               {Qt::Key_A, false, 1}};
  for (const auto& c : cases) {
    list().DeleteAllRows();
    Drop({Receipt("a.receipt")});
    Press(c.toWindow ? static_cast<QWidget*>(host.get()) : &view(), c.key);
    EXPECT_EQ(list().ListCount(), c.left) << c.key << " " << c.toWindow;
  }
}

// The help names the key as the menus here do; Ctrl+G adds the MACs row, open and in view at
// the end of a long list.
TEST_F(WindowHostTest, CtrlGAddsTheMACsRowOpenAndInViewAtTheEndOfALongList) {
  EXPECT_EQ(host->findChild<QLabel*>("Label1")->text(),
            "Drop receipt files or apps into the window\n\n" +
                QKeySequence(Qt::CTRL | Qt::Key_G).toString(QKeySequence::NativeText) +
                " shows the interfaces (MAC, GUID)");
  for (int i = 0; i < 1000; ++i)
    list().AddRow({"row " + std::to_string(i)});
  ASSERT_TRUE(WaitShown());
  view().setCurrentIndex(host->ItemModel()->index(0, 0));
  host->activateWindow();
  ASSERT_TRUE(QTest::qWaitForWindowActive(host.get()));
  QTest::keyClick(host.get(), Qt::Key_G, Qt::ControlModifier);
  ASSERT_EQ(host->ItemModel()->rowCount(), 1002);
  const QModelIndex root = host->ItemModel()->index(1001, 0);
  EXPECT_EQ(root.data().toString(), "MACs");
  EXPECT_TRUE(view().isExpanded(root));
  ASSERT_GE(host->ItemModel()->rowCount(root), 1);
  EXPECT_TRUE(
      QTest::qWaitFor([&] { return Shows(root) && Shows(root.model()->index(0, 0, root)); }, 2000));
}

// The last row of a long list, opened by the person with the keyboard or the mouse, scrolls its
// attribute rows into view below it; the first row, whose rows show as they come, leaves the
// list where it is.
TEST_F(WindowHostTest, OpeningTheLastRowOfALongListScrollsItsRowsIntoView) {
  ASSERT_EQ(window_test::Rows(list()), std::vector<std::string>{"Sample.receipt|| +"});
  for (int i = 0; i < 1000; ++i)
    list().AddRow({"row " + std::to_string(i)});
  ASSERT_TRUE(Drop({Receipt("last.receipt")}));
  ASSERT_TRUE(WaitShown());
  qt::ListItemModel& model = *host->ItemModel();
  const QModelIndex first = model.index(0, 0), last = model.index(1001, 0);
  const auto arrow = [&](const QModelIndex& row) {
    const QRect cell = view().visualRect(row);
    return QPoint(cell.left() - view().indentation() / 2, cell.center().y());
  };
  const struct {
    const char* how;
    std::function<void(const QModelIndex&)> open;
  } cases[] = {
      // Every way of opening a row ends in the view's one signal that a row opened.
      {"Right", [&](const QModelIndex&) { QTest::keyClick(&view(), Qt::Key_Right); }},
      {"a click on the arrow",
       [&](const QModelIndex& row) {
         QTest::mouseClick(view().viewport(), Qt::LeftButton, {}, arrow(row));
       }},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.how);
    for (const QModelIndex& row : {last, first}) {
      view().collapse(row);
      view().setCurrentIndex(row);
      if (row == last)
        view().scrollToBottom();
      else
        view().scrollToTop();
      QCoreApplication::processEvents();
      const int before = view().verticalScrollBar()->value();
      ASSERT_TRUE(Shows(row));
      c.open(row);
      ASSERT_TRUE(view().isExpanded(row)) << row.row();
      ASSERT_EQ(model.rowCount(row), 2);
      const QModelIndex child = model.index(1, 0, row);
      EXPECT_TRUE(QTest::qWaitFor([&] { return Shows(row) && Shows(child); }, 2000)) << row.row();
      QCoreApplication::processEvents();  // the scrolling, if any, is done
      if (row == first) {
        EXPECT_EQ(view().verticalScrollBar()->value(), before);
      }
    }
  }
}

TEST_F(WindowHostTest, CopyPutsTheSelectedRowsCellsOnTheClipboard) {
  view().setCurrentIndex(host->ItemModel()->index(0, 0));
  QApplication::clipboard()->clear();
  host->findChild<QAction*>("EditCopy")->trigger();
  EXPECT_EQ(QApplication::clipboard()->text(),
            QString::fromStdString(list().Cell(0, 0).Bytes() + "\t" + list().Cell(0, 1).Bytes() +
                                   "\t" + list().Cell(0, 2).Bytes()));
}

// A value is shown as the text it is, also in its tooltip, where markup would have Qt load
// what an <img> names; a long value's tooltip is the fitted one, at a readable width and cut
// with "…", on the screen beside the pointer. (How the text is fitted: the tooltips' own test.)
TEST_F(WindowHostTest, TooltipsArePlainTextThatFitsTheScreen) {
  list().DeleteAllRows();
  const std::string markup = "<img src=\"nowhere.png\"><b>com.example</b>";
  ASSERT_TRUE(Drop({temp.Write(
      "drop/markup.receipt",
      window_test::Receipt({{2, 1, ReceiptMaker::Utf8Value(markup)},
                            {3, 1, ReceiptMaker::Utf8Value(std::string(5000, 'v'))}}))}));
  const QModelIndex root = host->ItemModel()->index(0, 0);
  view().expand(root);
  ASSERT_TRUE(WaitShown());
  ASSERT_EQ(host->ItemModel()->index(0, 2, root).data().toString(), QString::fromStdString(markup));
  for (const int row : {0, 1}) {
    // The pointer in the middle of the screen, where a tip 80 characters wide fits on neither
    // side of it.
    const QRect cell = view().visualRect(host->ItemModel()->index(row, 2, root));
    const int middle = view().screen()->availableGeometry().center().x();
    const QPoint at(std::clamp(view().viewport()->mapFromGlobal(QPoint(middle, 0)).x(), cell.left(),
                               cell.right()),
                    cell.center().y());
    const QPoint pointer = view().viewport()->mapToGlobal(at);
    QHelpEvent ask(QEvent::ToolTip, at, pointer);
    QCoreApplication::sendEvent(view().viewport(), &ask);
    QLabel* tip = nullptr;
    for (QWidget* w : QApplication::topLevelWidgets())
      if (w->objectName() == "qtooltip_label" && w->isVisible()) tip = qobject_cast<QLabel*>(w);
    ASSERT_NE(tip, nullptr) << row;
    EXPECT_FALSE(tip->text().contains("<img")) << row;
    EXPECT_EQ(tip->text().contains("&lt;img src="), row == 0);
    EXPECT_EQ(tip->text().contains(QChar(0x2026)), row == 1) << row;
    EXPECT_TRUE(tip->screen()->availableGeometry().contains(tip->frameGeometry())) << row;
    EXPECT_FALSE(tip->frameGeometry().contains(pointer)) << row << ": the pointer covered";
    EXPECT_GE(tip->width(), row * 60 * QFontMetrics(QToolTip::font()).averageCharWidth()) << row;
    QToolTip::hideText();
  }
}

TEST_F(WindowHostTest, ColumnsFollowTheWidthUntilAnEdgeIsDragged) {
  ASSERT_TRUE(WaitShown());
  QHeaderView& header = *view().header();
  for (const QSize size : {QSize(1280, 800), QSize(725, 561), QSize(360, 300)}) {
    host->resize(size);
    QCoreApplication::processEvents();
    // The columns are 30% of the list's width, 130, and the rest.
    const int width = view().viewport()->width();
    EXPECT_EQ(header.sectionSize(0), width * 30 / 100) << size.width();
    EXPECT_EQ(header.sectionSize(1), 130) << size.width();
    EXPECT_EQ(header.length(), width) << size.width();
  }

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

}  // namespace
