// The store stand-in: a started request fails later, through the event loop, exactly once.

#include <gtest/gtest.h>

#include <vector>

#include "platform/storekit/SKReceiptRefreshRequestMBS.h"
#include "platform/toolkit/Desktop.h"

namespace {

// Records the error codes of the failures it is told of; 0 for a success.
class Recording : public SKReceiptRefreshRequestMBS {
 public:
  std::vector<std::int64_t> outcomes;

 protected:
  void Event_didFinish() override { outcomes.push_back(0); }
  void Event_didFailWithError(const toolkit::Ref<NSErrorMBS>& error) override {
    outcomes.push_back(error->Code());
  }
};

TEST(StoreKitTest, AStartedRequestFailsLaterAndOnceACancelledOneAsCancelledAGoneOneNot) {
  toolkit::HeadlessDesktop desktop;
  const auto sent = toolkit::Ref<Recording>::New(), cancelled = toolkit::Ref<Recording>::New();
  auto gone = toolkit::Ref<Recording>::New();
  cancelled->cancel();  // not sent yet: nothing to give up
  for (const auto& request : {sent, cancelled, gone})
    request->start();
  sent->start();
  cancelled->cancel();
  gone = nullptr;
  EXPECT_TRUE(sent->outcomes.empty());  // never inside start
  EXPECT_EQ(desktop.Loop().RunPending(), 3u);
  sent->start();  // once answered, a request stays so
  EXPECT_EQ(desktop.Loop().RunPending(), 0u);
  EXPECT_EQ(sent->outcomes, std::vector{SKReceiptRefreshRequestMBS::kErrorStoreUnavailable});
  EXPECT_EQ(cancelled->outcomes, std::vector{SKReceiptRefreshRequestMBS::kErrorCancelled});
}

}  // namespace
