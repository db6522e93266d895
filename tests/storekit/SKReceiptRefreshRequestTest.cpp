// The store stand-in: a started request fails later, through the event loop, exactly once.

#include <gtest/gtest.h>

#include <vector>

#include "platform/storekit/SKReceiptRefreshRequestMBS.h"
#include "platform/toolkit/Desktop.h"

namespace {

using toolkit::Ref;

// Records the outcomes it is told of.
class Recording : public SKReceiptRefreshRequestMBS {
 public:
  std::vector<std::int64_t> failures;  // error codes
  int finished = 0;
  bool raise = false;

 protected:
  void Event_didFinish() override { ++finished; }
  void Event_didFailWithError(const Ref<NSErrorMBS>& error) override {
    failures.push_back(error->Code());
    if (raise) throw toolkit::RuntimeException("from the event");
  }
};

class StoreKitTest : public ::testing::Test {
 protected:
  toolkit::HeadlessDesktop desktop;
  Ref<Recording> request = Ref<Recording>::New();
};

TEST_F(StoreKitTest, AStartedRequestFailsLaterAndOnlyOnce) {
  request->start();
  request->start();
  EXPECT_TRUE(request->failures.empty());  // never inside start
  EXPECT_EQ(desktop.Loop().RunPending(), 1u);
  desktop.Loop().RunPending();
  EXPECT_EQ(request->failures,
            std::vector<std::int64_t>{SKReceiptRefreshRequestMBS::kErrorStoreUnavailable});
  EXPECT_EQ(request->finished, 0);
  request->start();
  request->cancel();
  desktop.Loop().RunPending();
  EXPECT_EQ(request->failures.size(), 1u);
}

TEST_F(StoreKitTest, ACancelledRequestFailsAsCancelled) {
  request->cancel();  // not sent yet: nothing to give up
  request->start();
  request->cancel();
  desktop.Loop().RunPending();
  EXPECT_EQ(request->failures,
            std::vector<std::int64_t>{SKReceiptRefreshRequestMBS::kErrorCancelled});
}

TEST_F(StoreKitTest, ARequestThatHasGoneHearsNothing) {
  request->start();
  request = nullptr;
  EXPECT_EQ(desktop.Loop().RunPending(), 1u);  // the task runs, and finds no request
}

TEST_F(StoreKitTest, WithoutADesktopNothingIsSent) {
  toolkit::Desktop::Install(nullptr);
  EXPECT_THROW(request->start(), toolkit::NilObjectException);
  toolkit::Desktop::Install(&desktop);
  EXPECT_FALSE(request->Started());
  request->start();
  desktop.Loop().RunPending();
  EXPECT_EQ(request->failures.size(), 1u);
}

TEST_F(StoreKitTest, AnExceptionFromTheEventGoesToTheLoop) {
  request->raise = true;
  request->start();
  EXPECT_THROW(desktop.Loop().RunPending(), toolkit::RuntimeException);
  EXPECT_EQ(desktop.Loop().RunPending(), 0u);
  EXPECT_EQ(request->failures.size(), 1u);
}

}  // namespace
