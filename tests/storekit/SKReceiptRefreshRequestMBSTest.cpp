// The store's refresh request on a headless desktop: a started request has one outcome, later,
// through the event loop; a cancel on its way changes that outcome; a request that dies has none.

#include "platform/storekit/SKReceiptRefreshRequestMBS.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "platform/toolkit/Headless.h"

namespace {

using toolkit::Ref;

// A request that writes its outcomes into a list that outlives it.
class Recorder : public SKReceiptRefreshRequestMBS {
 public:
  explicit Recorder(std::vector<std::string>& outcomes) : outcomes_(outcomes) {}

 protected:
  void Event_didFinish() override { outcomes_.push_back("finished"); }
  void Event_didFailWithError(const Ref<NSErrorMBS>& error) override {
    outcomes_.push_back(error->Domain().Bytes() + " " + std::to_string(error->Code()));
  }

 private:
  std::vector<std::string>& outcomes_;
};

TEST(SKReceiptRefreshRequestMBSTest, AStartedRequestHasOneOutcomeLater) {
  const struct {
    const char* why;
    const char* steps;  // s: start, c: cancel, d: the request dies
    std::vector<std::string> outcomes;
  } kRows[] = {
      {"started", "s", {"SKErrorDomain 0"}},
      {"started twice", "ss", {"SKErrorDomain 0"}},
      {"cancelled on its way", "sc", {"NSCocoaErrorDomain 3072"}},
      {"cancelled before it was sent: nothing to give up", "cs", {"SKErrorDomain 0"}},
      {"died on its way", "sd", {}},
  };
  for (const auto& row : kRows) {
    toolkit::HeadlessDesktop desktop;
    std::vector<std::string> outcomes;
    auto request = Ref<Recorder>::New(outcomes);
    for (const char* step = row.steps; *step != '\0'; ++step) {
      if (*step == 's') request->start();
      if (*step == 'c') request->cancel();
      if (*step == 'd') request = nullptr;
    }
    EXPECT_TRUE(outcomes.empty()) << row.why << ": none inside start";
    desktop.Loop().RunPending();
    EXPECT_EQ(outcomes, row.outcomes) << row.why;
  }
}

}  // namespace
