#pragma once

// After every test the IOKit stand-in's live handles must be back where they were, and no
// call may have named a dead handle unless the test expects it. Runs beside the check of
// CoreFoundation's live objects.

#include <gtest/gtest.h>

#include "platform/iokit/StandIn.h"
#include "tests/cf/LiveObjectCheck.h"

namespace iokit_test {

inline bool handleRefusalsExpected = false;  // set by a test that names dead handles

class HandleCheck : public testing::EmptyTestEventListener {
 public:
  void OnTestStart(const testing::TestInfo&) override {
    handleRefusalsExpected = false;
    live_ = iokit::LiveObjects();
    refusals_ = iokit::Refusals();
  }
  void OnTestEnd(const testing::TestInfo&) override {
    std::string alive;
    for (const std::string& line : iokit::DescribeLiveObjects())
      alive += "\n  " + line;
    EXPECT_EQ(iokit::LiveObjects(), live_) << "live IOKit handles after the test:" << alive;
    EXPECT_TRUE(handleRefusalsExpected || iokit::Refusals() == refusals_)
        << "IOKit calls named dead handles";
  }

 private:
  std::int64_t live_ = 0;
  std::int64_t refusals_ = 0;
};

inline int RunAllTests(int argc, char** argv) {
  testing::InitGoogleTest(&argc, argv);
  auto& listeners = testing::UnitTest::GetInstance()->listeners();
  listeners.Append(new cf_test::LiveObjectCheck);
  listeners.Append(new HandleCheck);
  return RUN_ALL_TESTS();
}

}  // namespace iokit_test
