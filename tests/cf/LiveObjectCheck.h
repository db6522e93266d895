#pragma once

// After every test the stand-in's count of live objects must be back where it was before
// the test, and no call of the test may have been refused, unless the test says it expects
// refusals. The check runs as a listener, so it covers every test of the executable.

#include <gtest/gtest.h>

#include <cstdint>
#include <string>

#include "platform/cf/StandIn.h"

namespace cf_test {

inline bool& RefusalsExpectedFlag() {
  static bool expected = false;
  return expected;
}

// For a test that checks refused calls itself: the listener then doesn't count them.
inline void ExpectRefusals() {
  RefusalsExpectedFlag() = true;
}

// How many calls and refusals the stand-in had since this was made.
class CallCounter {
 public:
  std::int64_t Calls() const { return cf::Calls() - calls_; }
  std::int64_t Refusals() const { return cf::Refusals() - refusals_; }

 private:
  std::int64_t calls_ = cf::Calls();
  std::int64_t refusals_ = cf::Refusals();
};

class LiveObjectCheck : public testing::EmptyTestEventListener {
 public:
  void OnTestStart(const testing::TestInfo&) override {
    RefusalsExpectedFlag() = false;
    live_ = cf::LiveObjects();
    refusals_ = cf::Refusals();
  }

  void OnTestEnd(const testing::TestInfo&) override {
    const std::int64_t live = cf::LiveObjects();
    if (live != live_) {
      std::string leaked;
      for (const std::string& description : cf::DescribeLiveObjects())
        leaked += "\n  " + description;
      ADD_FAILURE() << "live CoreFoundation objects: " << live_ << " before the test, " << live
                    << " after it; now alive:" << leaked;
    }
    if (!RefusalsExpectedFlag() && cf::Refusals() != refusals_) {
      ADD_FAILURE() << cf::Refusals() - refusals_
                    << " call(s) refused by the stand-in (see the standard error stream)";
    }
  }

 private:
  std::int64_t live_ = 0;
  std::int64_t refusals_ = 0;
};

// The main function of a test executable that runs under this check.
inline int RunAllTests(int argc, char** argv) {
  testing::InitGoogleTest(&argc, argv);
  testing::UnitTest::GetInstance()->listeners().Append(new LiveObjectCheck);
  return RUN_ALL_TESTS();
}

}  // namespace cf_test
