#include <chrono>

#include "corefoundation/CFBoolean.h"
#include "corefoundation/CFDate.h"
#include "corefoundation/CFError.h"
#include "corefoundation/CFNull.h"
#include "corefoundation/CFNumber.h"
#include "tests/corefoundation/Support.h"

namespace corefoundation_test {
namespace {

using namespace CoreFoundation;

TEST(CFBooleanTest, EachValueHasOneSharedWrapper) {
  const Ref<CFBoolean> yes = CFBoolean::GetTrue();
  EXPECT_TRUE(CFBoolean::GetTrue() == yes);
  EXPECT_EQ(yes->VariantValue(), Variant(true));
  EXPECT_EQ(CFBoolean::GetFalse()->VariantValue(), Variant(false));
  EXPECT_EQ(yes->Reference(), Symbol<CFBooleanRef>("kCFBooleanTrue"));
  // Get makes a new wrapper of the same constant.
  const Ref<CFBoolean> fresh = CFBoolean::Get(true);
  EXPECT_TRUE(!(fresh == yes) && fresh->Equals(yes) && !fresh->Equals(CFBoolean::GetFalse()));
}

TEST(CFNullTest, EveryNullStandsForTheOneNullObject) {
  const Ptr theNull = Symbol<CFNullRef>("kCFNull");
  EXPECT_EQ(CFNull::CFNullRef(), theNull);
  EXPECT_EQ(CFNull::New(nullptr, false)->Reference(), theNull);
  EXPECT_TRUE(CFType::NewObject(theNull, false, 0)->VariantValue().IsNull());
}

// The moment survives the trip whatever the Date's zone, and the Date is left as it was.
TEST(CFDateTest, ADateRoundTripsAndIsLeftAsItWas) {
  EXPECT_EQ(CFDate::AbsoluteTimeIntervalSince1904(), 3061152000.0);
  for (double offset : {0.0, -12.0, -5.5, 3.0, 14.0}) {
    for (double seconds : {0.0, 3061152000.0, 3.5e9 + 0.25, 7.0e9}) {
      const auto date = Ref<toolkit::Date>::New(seconds, offset);
      const auto cfDate = CFDate::New(date);
      EXPECT_EQ(date->GMTOffset(), offset);
      EXPECT_EQ(date->TotalSeconds(), seconds);
      // Absolute time counts from 2001-01-01 00:00 GMT.
      EXPECT_EQ(cfDate->AbsoluteTime(), seconds - offset * 3600 - 3061152000.0);
      const auto back = static_cast<Ref<toolkit::Date>>(*cfDate);
      EXPECT_EQ(back->TotalSeconds() - back->GMTOffset() * 3600, seconds - offset * 3600)
          << "offset " << offset << ", seconds " << seconds;
    }
  }
  const auto epoch = CFDate::New(0.0)->VariantValue().As<toolkit::Date>();
  epoch->GMTOffset(0);
  EXPECT_EQ(epoch->Year() * 10000 + epoch->Month() * 100 + epoch->Day(), 20010101);
}

// Absolute time counts from 2001-01-01 00:00 GMT, 978307200 seconds after the Unix epoch.
TEST(CFDateTest, WithoutADateItIsNow) {
  using namespace std::chrono;
  const auto unixNow = [] {
    return duration<double>(system_clock::now().time_since_epoch()).count() - 978307200.0;
  };
  const double before = unixNow();
  const auto fromNil = CFDate::New(Ref<toolkit::Date>());
  const auto now = CFDate::New();
  const double after = unixNow();
  for (const auto& date : {fromNil, now}) {
    // Through the toolkit's Date the moment may lose a little below a microsecond.
    EXPECT_GE(date->AbsoluteTime(), before - 1e-3);
    EXPECT_LE(date->AbsoluteTime(), after + 1e-3);
  }
}

TEST(CFErrorTest, AnErrorTellsItsCodeDomainAndText) {
  const auto error = CFError::New(NewError(), true);
  EXPECT_EQ(error->Code(), kCFPropertyListReadCorruptError);
  EXPECT_EQ(error->Domain(), "NSCocoaErrorDomain");
  EXPECT_EQ(error->Description(),
            "The operation couldn\u2019t be completed. (NSCocoaErrorDomain error 3840.)");
  // Through a plain wrapper the general description stands instead.
  const Ref<CFType> plain = CFType::NewObject(error->Reference(), false, 0);
  EXPECT_NE(plain->Description().Bytes().find("<CFError"), std::string::npos);
  EXPECT_TRUE(error->VariantValue().IsNull());
}

}  // namespace
}  // namespace corefoundation_test
