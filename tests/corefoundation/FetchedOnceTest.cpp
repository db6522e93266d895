#include "corefoundation/FetchedOnce.h"

#include <stdexcept>
#include <utility>

#include "corefoundation/CFBoolean.h"
#include "corefoundation/CFDate.h"
#include "corefoundation/CFNull.h"
#include "corefoundation/CFNumber.h"
#include "tests/corefoundation/Support.h"

namespace corefoundation_test {
namespace {

using namespace CoreFoundation;

// The flag is set before the fetch: one that raises is not tried again, and an in-place fetch
// keeps what it filled before the raise.
TEST(FetchedOnceTest, AFetchIsTriedOnceEvenWhenItRaises) {
  FetchedOnce<int> kept;
  EXPECT_THROW(kept.Get([]() -> int { throw std::runtime_error("no symbol"); }),
               std::runtime_error);
  EXPECT_EQ(kept.Get([] { return 7; }), 0);
  FetchedOnce<std::pair<int, int>> pair;
  EXPECT_THROW(pair.Get([](std::pair<int, int>& p) {
    p.first = 1;
    throw std::runtime_error("second symbol");
  }),
               std::runtime_error);
  EXPECT_EQ(pair.Get([](std::pair<int, int>& p) { p = {5, 6}; }), std::make_pair(1, 0));
}

// After the first use the constants cost no platform call; each boolean has one shared
// wrapper, while Get makes a new one of the same constant.
TEST(FetchedOnceTest, TheConstantsAreFetchedAtFirstUseOnly) {
  CFDate::AbsoluteTimeIntervalSince1904();
  CFBoolean::GetTrue();
  CFNull::CFNullRef();
  CFNumber::NaN();
  const CallCounter counter;
  EXPECT_EQ(CFDate::AbsoluteTimeIntervalSince1904(), 3061152000.0);
  EXPECT_TRUE(CFBoolean::GetTrue() == CFBoolean::GetTrue() && CFNumber::NaN() == CFNumber::NaN());
  const Ptr theNull = CFNull::CFNullRef();
  EXPECT_EQ(counter.Calls(), 0);
  EXPECT_EQ(CFBoolean::GetTrue()->Reference(), Symbol<CFBooleanRef>("kCFBooleanTrue"));
  EXPECT_EQ(theNull, Symbol<CFNullRef>("kCFNull"));
  const Ref<CFBoolean> fresh = CFBoolean::Get(true);
  EXPECT_TRUE(!(fresh == CFBoolean::GetTrue()) && fresh->Equals(CFBoolean::GetTrue()));
  EXPECT_EQ(CFBoolean::GetFalse()->VariantValue(), Variant(false));
}

}  // namespace
}  // namespace corefoundation_test
