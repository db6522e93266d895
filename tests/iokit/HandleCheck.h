#pragma once

// After every test the IOKit stand-in's live handles must be back where they were before the
// test, and no call may have named a dead handle, unless the test says it expects that. The
// check runs as a listener beside the one for CoreFoundation's live objects.

#include <gtest/gtest.h>

#include <cstdint>
#include <string>

#include "platform/iokit/StandIn.h"
#include "tests/cf/LiveObjectCheck.h"

namespace iokit_test {

inline bool& HandleRefusalsExpectedFlag() {
  static bool expected = false;
  return expected;
}

// For a test that names dead handles on purpose.
inline void ExpectHandleRefusals() {
  HandleRefusalsExpectedFlag() = true;
}

class HandleCheck : public testing::EmptyTestEventListener {
 public:
  void OnTestStart(const testing::TestInfo&) override {
    HandleRefusalsExpectedFlag() = false;
    live_ = iokit::LiveObjects();
    refusals_ = iokit::Refusals();
  }

  void OnTestEnd(const testing::TestInfo&) override {
    const std::int64_t live = iokit::LiveObjects();
    if (live != live_) {
      std::string alive;
      for (const std::string& line : iokit::DescribeLiveObjects())
        alive += "\n  " + line;
      ADD_FAILURE() << "live IOKit handles: " << live_ << " before the test, " << live
                    << " after it; now alive:" << alive;
    }
    if (!HandleRefusalsExpectedFlag() && iokit::Refusals() != refusals_) {
      ADD_FAILURE() << iokit::Refusals() - refusals_
                    << " IOKit call(s) named a handle that is no live object";
    }
  }

 private:
  std::int64_t live_ = 0;
  std::int64_t refusals_ = 0;
};

// The main function of a test executable that runs under both checks.
inline int RunAllTests(int argc, char** argv) {
  testing::InitGoogleTest(&argc, argv);
  auto& listeners = testing::UnitTest::GetInstance()->listeners();
  listeners.Append(new cf_test::LiveObjectCheck);
  listeners.Append(new HandleCheck);
  return RUN_ALL_TESTS();
}

}  // namespace iokit_test
