// The application shell: App with its version and start-up, the menu bar, the file types,
// the log stub and the refresh request's messages.

#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <tuple>
#include <vector>

#include "app/App.h"
#include "app/FileTypes1.h"
#include "app/MenuBar1.h"
#include "app/ReceiptRequester.h"
#include "app/Stubs.h"
#include "platform/toolkit/Desktop.h"

namespace {

using toolkit::MenuItem;
using toolkit::Ref;
using toolkit::String;

TEST(MenuBar1Test, TwoMenusWithTheirItemsInOrder) {
  const auto bar = Ref<MenuBar1>::New();
  // menu, name, text, shortcut, AutoEnabled
  using Row = std::tuple<std::string, std::string, std::string, std::string, bool>;
  const std::vector<Row> expected = {
      {"", "FileMenu", "&File", "", true},
      {"FileMenu", "FileShowMACs", "Show MACs", "Cmd+G", true},
      {"FileMenu", "FileRequestToRefreshTheReceipt", "Request to Refresh the Receipt",
       "Cmd+Shift+R", false},
      {"FileMenu", "FileQuit", "&Quit", "Cmd+Q", true},
      {"", "EditMenu", "&Edit", "", true},
      {"EditMenu", "EditUndo", "&Undo", "Cmd+Z", false},
      {"EditMenu", "UntitledMenu1", "-", "", true},
      {"EditMenu", "EditCut", "Cu&t", "Cmd+X", false},
      {"EditMenu", "EditCopy", "&Copy", "Cmd+C", true},
      {"EditMenu", "EditPaste", "&Paste", "Cmd+V", false},
      {"EditMenu", "EditClear", "Clear", "", false},
      {"EditMenu", "UntitledMenu0", "-", "", true},
      {"EditMenu", "EditSelectAll", "Select &All", "Cmd+A", false},
  };
  std::vector<Row> found;
  int separators = 0;
  for (std::int64_t m = 0; m < bar->Count(); ++m) {
    const auto menu = bar->Item(m);
    found.emplace_back("", menu->Name().Bytes(), menu->Text().Bytes(), menu->Shortcut().Bytes(),
                       menu->AutoEnabled());
    for (std::int64_t i = 0; i < menu->Count(); ++i) {
      const auto item = menu->Item(i);
      EXPECT_TRUE(item->Visible());
      EXPECT_EQ(item->Count(), 0);
      separators += item->IsSeparator();
      found.emplace_back(menu->Name().Bytes(), item->Name().Bytes(), item->Text().Bytes(),
                         item->Shortcut().Bytes(), item->AutoEnabled());
    }
  }
  EXPECT_EQ(found, expected);
  EXPECT_EQ(separators, 2);
  EXPECT_TRUE(bar->FindItem("FileQuit").As<toolkit::QuitMenuItem>());
}

TEST(MenuBar1Test, OneBarForAllWhoHoldIt) {
  auto bar = MenuBar1::Instance();
  EXPECT_EQ(MenuBar1::Instance(), bar);
  const std::weak_ptr<MenuBar1> gone = bar.shared();
  bar = nullptr;
  EXPECT_TRUE(gone.expired());
}

class AppTest : public ::testing::Test {
 protected:
  toolkit::HeadlessDesktop desktop;
};

TEST_F(AppTest, StartUpMakesTheAppWithItsVersionAndTheOneMenuBar) {
  EXPECT_TRUE(App::Current().IsNil());
  EXPECT_THROW(EditClear(), toolkit::NilObjectException);
  const auto app = StartApplication();
  EXPECT_EQ(App::Current(), app);
  const auto& v = app->Version();
  EXPECT_EQ(
      std::tuple(v.MajorVersion, v.MinorVersion, v.BugVersion, v.NonReleaseVersion, v.StageCode,
                 v.LongVersion.Bytes(), v.ShortVersion.Bytes(), v.PackageInfo.Bytes()),
      std::tuple(1, 0, 0, 1, 3, "Quellmark", "1.0", ""));
  EXPECT_EQ(app->MenuBar(), MenuBar1::Instance());
  EXPECT_FALSE(app->AutoQuit());
  EXPECT_EQ(toolkit::FileType::Lookup("special/any"), FileTypes1::Any());
}

TEST_F(AppTest, ClearGetsBackspaceWhenTheAppOpens) {
  const auto app = StartApplication();
  EXPECT_EQ(EditClear()->KeyboardShortcut(), "");
  app->RaiseOpen();
  EXPECT_EQ(EditClear()->KeyboardShortcut(), "\b");
  EXPECT_EQ(EditClear(), app->MenuBar()->FindItem("EditClear"));
}

TEST(FileTypes1Test, TheTwoTypesAndTheirNames) {
  EXPECT_EQ(FileTypes1::All(), "special/any;apps");
  FileTypes1::_Initialize();
  const auto first = FileTypes1::Any();
  FileTypes1::_Initialize();  // a second run puts new types in the place of the first
  EXPECT_NE(FileTypes1::Any(), first);
  using Fields = std::tuple<std::string, std::string, std::string, std::string, std::string, bool,
                            std::string>;
  const auto fields = [](const toolkit::FileType& t) {
    return Fields(t.Name.Bytes(), t.Extensions.Bytes(), t.MacType.Bytes(), t.MacCreator.Bytes(),
                  t.MimeType.Bytes(), t.Imported, t.ConformsTo.Bytes());
  };
  EXPECT_EQ(fields(*FileTypes1::Any()), Fields("special/any", "", "????", "????", "", true, ""));
  EXPECT_EQ(fields(*FileTypes1::Apps()), Fields("apps", "app", "", "", "", true, ""));
  EXPECT_EQ(toolkit::FileType::Lookup("special/any"), FileTypes1::Any());
  EXPECT_EQ(toolkit::FileType::Lookup("apps"), FileTypes1::Apps());
  EXPECT_EQ(FileTypes1::All(), FileTypes1::Any()->Name + ";" + FileTypes1::Apps()->Name);
}

TEST(StubsTest, DebugLogWritesNothing) {
  testing::internal::CaptureStdout();
  testing::internal::CaptureStderr();
  Stubs::DebugLog("a diagnostic line");
  EXPECT_EQ(testing::internal::GetCapturedStdout(), "");
  EXPECT_EQ(testing::internal::GetCapturedStderr(), "");
}

// The request with its two outcome events open to the test.
class Requester : public ReceiptRequester {
 public:
  Requester() : ReceiptRequester(nullptr) {}
  using ReceiptRequester::Event_didFailWithError;
  using ReceiptRequester::Event_didFinish;
};

TEST_F(AppTest, TheRequestTellsItsOutcomeInAMessageBox) {
  const auto request = Ref<Requester>::New();
  request->Event_didFinish();
  request->Event_didFailWithError(nullptr);  // the error isn't read
  request->start();
  EXPECT_EQ(desktop.Loop().RunPending(), 1u);
  EXPECT_EQ(desktop.MessageBoxes(),
            (std::vector<String>{"Refresh succeeded", "Refresh failed", "Refresh failed"}));
  EXPECT_EQ(desktop.Beeps(), 0);
}

}  // namespace
