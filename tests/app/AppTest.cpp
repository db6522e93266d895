// The application shell: App and its one menu bar, the shortcut of Clear, and the refresh
// request's messages.

#include <gtest/gtest.h>

#include <vector>

#include "app/App.h"
#include "app/MenuBar1.h"
#include "app/ReceiptRequester.h"
#include "platform/toolkit/Headless.h"

namespace {

using toolkit::Ref;
using toolkit::String;

TEST(AppTest, StartUpMakesTheAppWithTheOneMenuBarAndOpeningGivesClearBackspace) {
  EXPECT_THROW(EditClear(), toolkit::NilObjectException);  // no application yet
  const auto app = StartApplication();
  EXPECT_EQ(App::Current(), app);
  EXPECT_EQ(app->MenuBar(), MenuBar1::Instance());  // the one bar, while someone holds it
  EXPECT_EQ(EditClear()->KeyboardShortcut(), "");
  app->RaiseOpen();
  EXPECT_EQ(EditClear()->KeyboardShortcut(), "\b");
}

// The request with its two outcome events open to the test.
class Requester : public ReceiptRequester {
 public:
  Requester() : ReceiptRequester(nullptr) {}
  using ReceiptRequester::Event_didFailWithError;
  using ReceiptRequester::Event_didFinish;
};

TEST(AppTest, TheRequestTellsItsOutcomeInAMessageBox) {
  const toolkit::HeadlessDesktop desktop;
  const auto request = Ref<Requester>::New();
  request->Event_didFinish();
  request->Event_didFailWithError(nullptr);  // the error isn't read
  EXPECT_EQ(desktop.MessageBoxes(), (std::vector<String>{"Refresh succeeded", "Refresh failed"}));
}

}  // namespace
