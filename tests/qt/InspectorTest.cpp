#include <gtest/gtest.h>

#include <QApplication>
#include <QClipboard>
#include <QDockWidget>
#include <QLabel>
#include <QLineEdit>
#include <QTableView>
#include <QTest>
#include <filesystem>
#include <memory>
#include <nlohmann/json.hpp>

#include <sys/stat.h>
#include <unistd.h>

#include "Support.h"
#include "app/App.h"
#include "inspector/Inspector.h"
#include "inspector/InspectorPane.h"
#include "platform/qt/QtDesktop.h"
#include "platform/qt/WindowHost.h"
#include "tests/iokit/FakeSysfs.h"
#include "tests/support/TestWindow.h"

namespace {

namespace fs = std::filesystem;
using test_support::TestWindow;

const fs::path kReal = QM_SHARED_RECEIPTS;

// The program's window with its inspector, offscreen, started with an empty start-up folder;
// the machine's addresses are none unless `readMachine` leaves the inspector to read them.
class InspectorTest : public ::testing::Test {
 protected:
  explicit InspectorTest(bool readMachine = false) {
    window = toolkit::Window::Make<TestWindow>(temp.path() / "exe");
    host = std::make_unique<qt::WindowHost>(window);
    inspector = new inspector::Inspector(*host, window);
    if (!readMachine) inspector->SetMachineIdentifiers({});
    inspector->SetChooser([this](QWidget*) { return chosen; });
    host->show();
    window->RaiseOpen();
    app->RaiseOpen();
  }

  // File > Open… with `paths` chosen.
  void Open(const std::vector<fs::path>& paths) {
    chosen.clear();
    for (const auto& p : paths)
      chosen << QString::fromStdString(p.string());
    inspector->OpenAction()->trigger();
    EXPECT_TRUE(QTest::qWaitFor([&] { return !window->Working(); }, 60000));
  }
  // Selects the list's row `row` as a person does.
  void Select(std::int64_t row) {
    host->ListView()->setCurrentIndex(host->ItemModel()->IndexOf(row));
  }
  QString Line(std::size_t i) const { return inspector->Pane()->Lines()[i]->text(); }

  test_support::ScratchFolder temp;
  qt::QtDesktop desktop;
  toolkit::Ref<App> app = StartApplication();
  toolkit::Ref<TestWindow> window;
  std::unique_ptr<qt::WindowHost> host;
  inspector::Inspector* inspector;
  QStringList chosen;
};

// The App Store's own receipts: the verdict, the count of purchases that the receipts' README
// gives, and the JSON on the clipboard. (What each reader makes of them: their own tests.)
TEST_F(InspectorTest, ShowsAndCopiesTheExaminationOfRealReceipts) {
  if (!fs::exists(kReal)) GTEST_SKIP() << kReal << " is absent: no real receipts to inspect";
  const struct {
    const char* file;
    std::size_t purchases;
    const char* line;
  } cases[] = {
      {"mac-2015.receipt", 0, "No purchases"},                   // none, said as none
      {"mac-2023-sha256-purchases.receipt", 3, "3 purchases"},   // SHA-256 signed
      {"ios-2020-sandbox-large.receipt", 187, "187 purchases"},  // the long table
  };
  inspector->SetShown(true);
  for (const auto& c : cases) {
    SCOPED_TRACE(c.file);
    Open({kReal / c.file});
    const std::int64_t row = window->lb()->LastIndex();
    ASSERT_EQ(window->lb()->Cell(row, 0).Bytes(), c.file);
    Select(row);
    EXPECT_EQ(Line(0), "Signed by Apple");
    EXPECT_EQ(Line(2), c.line);
    EXPECT_EQ(inspector->Pane()->PurchaseView()->model()->rowCount(),
              static_cast<int>(c.purchases));

    inspector->CopyJsonAction()->trigger();
    const auto json = nlohmann::json::parse(QApplication::clipboard()->text().toStdString());
    EXPECT_EQ(json["receipt"]["in_app"].size(), c.purchases);
  }
}

// Open… goes through the drop's intake, the Option key up: of several items only the receipt
// gets a row, and one item that is none says why.
TEST_F(InspectorTest, OpenGivesTheRowsOfADrop) {
  const fs::path receipt = temp.Write("in/a.receipt", window_test::Receipt());
  const fs::path text = temp.Write("in/notes.txt", std::string_view("not a receipt"));
  const fs::path bundle = temp.Folder("in/Empty.app");
  Open({receipt, text, bundle});
  EXPECT_EQ(window_test::Rows(*window->lb()), std::vector<std::string>{"a.receipt|| +"});
  Open({text});
  EXPECT_EQ(window_test::Rows(*window->lb()).back(), "notes.txt||Not a MAS receipt");
}

// While the pane is hidden nothing is examined; shown, each receipt once, and the device field
// checks the hash again without reading the file.
TEST_F(InspectorTest, ExaminesOnlyWhileShownAndRechecksWithoutReading) {
  Open({temp.Write("in/a.receipt", window_test::Receipt()),
        temp.Write("in/b.receipt", window_test::Receipt())});
  Select(0);
  Select(1);
  inspector->CopyJsonAction()->trigger();  // asked for: one examination
  EXPECT_EQ(inspector->Examinations(), 1u);

  inspector->ShowAction()->trigger();
  ASSERT_TRUE(inspector->Dock()->isVisible());
  EXPECT_EQ(inspector->Examinations(), 2u);
  EXPECT_TRUE(Line(0).startsWith("Not trusted: ")) << Line(0).toStdString();
  EXPECT_EQ(Line(1), "No device can be told: the receipt has no attribute 4, 5");

  QLineEdit* field = inspector->Pane()->IdentifierField();
  QTest::keyClicks(field, "zz");
  field->setText("02:00:00:00:00:01");
  EXPECT_EQ(inspector->Examinations(), 2u) << "the report is kept";

  inspector->ShowAction()->trigger();
  Select(0);
  EXPECT_EQ(inspector->Examinations(), 2u) << "hidden again";
}

class InspectorReadingTheMachine : public InspectorTest {
 protected:
  InspectorReadingTheMachine() : InspectorTest(true) {}
};

// Left to itself, the inspector reads the machine's addresses when it first examines, and the
// verdict of that first examination already counts them.
TEST_F(InspectorReadingTheMachine, CountsTheMachineInItsFirstVerdict) {
  const iokit_test::FakeSysfs sysfs({{"eth0", 2, "02:00:00:00:00:07", iokit_test::Pci(3)},
                                     {"eth1", 3, "02:00:00:00:00:08", iokit_test::Pci(4)}},
                                    iokit_test::DefaultRoute("eth0"));
  auto attributes = window_test::kBundleAndVersion;
  attributes.push_back({4, 1, ReceiptMaker::HexValue("0011223344")});
  ReceiptMaker::SetDeviceHash(attributes, {0x02, 0, 0, 0, 0, 0x08});

  Open({temp.Write("in/mine.receipt", window_test::Receipt(attributes))});
  inspector->ShowAction()->trigger();
  Select(0);
  EXPECT_EQ(Line(1), "Issued for this machine (eth1, 02:00:00:00:00:08)");
}

// A purchase's text shows the characters that would turn it around as marks, as the list does.
TEST_F(InspectorTest, ShowsDirectionMarksInPurchases) {
  auto attributes = window_test::kBundleAndVersion;
  attributes.push_back({17, 1,
                        ReceiptMaker::PurchaseValue(
                            {{1702, 1, ReceiptMaker::Utf8Value("abc\u202Etxt.exe\u202C def")}})});
  Open({temp.Write("in/turned.receipt", window_test::Receipt(attributes))});
  inspector->ShowAction()->trigger();
  Select(0);
  const QAbstractItemModel* purchases = inspector->Pane()->PurchaseView()->model();
  ASSERT_EQ(purchases->rowCount(), 1);
  EXPECT_EQ(purchases->index(0, 0).data().toString(),
            QString::fromUtf8("abc\u2039RLO\u203Atxt.exe\u2039PDF\u203A def"));
}

// A row that is no receipt says why in the system's words; its own text stays.
TEST_F(InspectorTest, SaysWhyARowIsNoReceipt) {
  const fs::path fifo = temp.path() / "pipe.receipt";
  ASSERT_EQ(mkfifo(fifo.c_str(), 0600), 0);
  const fs::path locked = temp.Write("locked.receipt", window_test::Receipt());
  fs::permissions(locked, fs::perms::none);
  const struct {
    fs::path item;
    const char* row;
    const char* why;
  } cases[] = {
      {fifo, "Not a MAS receipt", "is a FIFO (a named pipe), not a regular file"},
      {temp.Write("t.txt", std::string_view("text")), "Not a MAS receipt", "not PKCS#7"},
      {temp.Folder("Gone.app"), "No MAS receipt in app", "No such file or directory"},
      {locked, "Not a MAS receipt", "Permission denied"},  // unless root, who reads anyway
  };
  inspector->SetShown(true);
  for (const auto& c : cases) {
    SCOPED_TRACE(c.item);
    if (geteuid() == 0 && c.item == locked) continue;
    Open({c.item});
    Select(window->lb()->LastIndex());
    EXPECT_EQ(window->lb()->Cell(window->lb()->LastIndex(), 2).Bytes(), c.row);
    EXPECT_TRUE(Line(0).contains(c.why)) << Line(0).toStdString();
  }
}

}  // namespace
