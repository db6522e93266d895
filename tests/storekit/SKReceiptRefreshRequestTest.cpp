// The store stand-in: a started request fails later, through the event loop, exactly once.

#include <gtest/gtest.h>

#include <vector>

#include "platform/storekit/SKReceiptRefreshRequestMBS.h"
#include "platform/toolkit/Desktop.h"

namespace {

using toolkit::Ref;

// Records the error codes of the failures it is told of.
class Recording : public SKReceiptRefreshRequestMBS {
 public:
  std::vector<std::int64_t> failures;

 protected:
  void Event_didFinish() override { failures.push_back(0); }
  void Event_didFailWithError(const Ref<NSErrorMBS>& error) override {
    failures.push_back(error->Code());
  }
};

TEST(StoreKitTest, AStartedRequestFailsLaterAndOnlyOnceAndACancelledOneAsCancelled) {
  toolkit::HeadlessDesktop desktop;
  const auto request = Ref<Recording>::New(), cancelled = Ref<Recording>::New();
  cancelled->cancel();  // not sent yet: nothing to give up
  for (const auto& r : {request, cancelled})
    r->start();
  request->start();
  cancelled->cancel();
  EXPECT_TRUE(request->failures.empty());  // never inside start
  EXPECT_EQ(desktop.Loop().RunPending(), 2u);
  request->start();  // once answered, a request stays so
  EXPECT_EQ(desktop.Loop().RunPending(), 0u);
  EXPECT_EQ(request->failures, std::vector{SKReceiptRefreshRequestMBS::kErrorStoreUnavailable});
  EXPECT_EQ(cancelled->failures, std::vector{SKReceiptRefreshRequestMBS::kErrorCancelled});
}

TEST(StoreKitTest, ARequestThatHasGoneHearsNothing) {
  toolkit::HeadlessDesktop desktop;
  auto request = Ref<Recording>::New();
  request->start();
  request = nullptr;
  EXPECT_EQ(desktop.Loop().RunPending(), 1u);  // the task runs, and finds no request
}

}  // namespace
