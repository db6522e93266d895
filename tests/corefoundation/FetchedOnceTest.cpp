#include "corefoundation/FetchedOnce.h"

#include <stdexcept>

#include "tests/corefoundation/Support.h"

namespace corefoundation_test {
namespace {

using CoreFoundation::FetchedOnce;

TEST(FetchedOnceTest, FetchesAtFirstUseOnly) {
  FetchedOnce<int> kept;
  int runs = 0;
  const auto fetch = [&runs] { return ++runs * 10; };
  EXPECT_EQ(kept.Get(fetch), 10);
  EXPECT_EQ(kept.Get(fetch), 10);
  EXPECT_EQ(runs, 1);
}

TEST(FetchedOnceTest, AFetchThatRaisesIsNotTriedAgain) {
  FetchedOnce<int> kept;
  EXPECT_THROW(kept.Get([]() -> int { throw std::runtime_error("no symbol"); }),
               std::runtime_error);
  EXPECT_EQ(kept.Get([] { return 7; }), 0);
}

TEST(FetchedOnceTest, AnInPlaceFetchKeepsWhatItFilledBeforeARaise) {
  struct Pair {
    int first = 0;
    int second = 0;
  };
  FetchedOnce<Pair> kept;
  const auto fill = [](Pair& pair) {
    pair.first = 1;
    throw std::runtime_error("second symbol");
  };
  EXPECT_THROW(kept.Get(fill), std::runtime_error);
  const Pair& pair = kept.Get([](Pair& p) { p = {5, 6}; });
  EXPECT_EQ(pair.first, 1);
  EXPECT_EQ(pair.second, 0);
}

}  // namespace
}  // namespace corefoundation_test
