#include <cstring>

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
  const Ref<CFBoolean> no = CFBoolean::GetFalse();
  EXPECT_TRUE(CFBoolean::GetTrue() == yes);
  EXPECT_TRUE(CFBoolean::GetFalse() == no);
  EXPECT_TRUE(static_cast<bool>(*yes));
  EXPECT_FALSE(static_cast<bool>(*no));
  EXPECT_EQ(yes->VariantValue(), Variant(true));
  EXPECT_EQ(no->VariantValue(), Variant(false));
  EXPECT_EQ(yes->Reference(), Symbol<CFBooleanRef>("kCFBooleanTrue"));
  EXPECT_EQ(no->Reference(), Symbol<CFBooleanRef>("kCFBooleanFalse"));
  // Get makes a new wrapper of the same constant.
  const Ref<CFBoolean> fresh = CFBoolean::Get(true);
  EXPECT_FALSE(fresh == yes);
  EXPECT_TRUE(fresh->Equals(yes));
  EXPECT_FALSE(fresh->Equals(no));
}

TEST(CFNullTest, EveryNullStandsForTheOneNullObject) {
  const Ptr theNull = Symbol<CFNullRef>("kCFNull");
  EXPECT_EQ(CFNull::CFNullRef(), theNull);
  EXPECT_EQ(CFNull::New(nullptr, false)->Reference(), theNull);
  const Ref<CFType> wrapped = CFType::NewObject(theNull, false, 0);
  EXPECT_TRUE(IsExactly<CFNull>(wrapped));
  EXPECT_TRUE(wrapped->VariantValue().IsNull());
  EXPECT_EQ(wrapped->Operator_Compare(CFNull::New(nullptr, false)), 0);
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
  const auto epoch = CFDate::New(0.0);
  const auto asDate = epoch->VariantValue().As<toolkit::Date>();
  ASSERT_FALSE(asDate.IsNil());
  asDate->GMTOffset(0);
  EXPECT_EQ(asDate->Year(), 2001);
  EXPECT_EQ(asDate->Month(), 1);
  EXPECT_EQ(asDate->Day(), 1);
}

TEST(CFDateTest, WithoutADateItIsNow) {
  const double before = CFAbsoluteTimeGetCurrent();
  const auto fromNil = CFDate::New(Ref<toolkit::Date>());
  const auto now = CFDate::New();
  const double after = CFAbsoluteTimeGetCurrent();
  for (const auto& date : {fromNil, now}) {
    // Through the toolkit's Date the moment may lose a little below a microsecond.
    EXPECT_GE(date->AbsoluteTime(), before - 1e-3);
    EXPECT_LE(date->AbsoluteTime(), after + 1e-3);
  }
}

TEST(CFErrorTest, AnErrorTellsItsCodeDomainAndText) {
  const Owned<CFStringRef> domain(NewString("com.example.quellmark"));
  const auto error = CFError::New(CFErrorCreate(nullptr, domain, 404, nullptr), true);
  EXPECT_EQ(error->Code(), 404);
  EXPECT_EQ(error->Domain(), "com.example.quellmark");
  EXPECT_EQ(error->Description(),
            "The operation couldn\u2019t be completed. (com.example.quellmark error 404.)");
  // Through a plain wrapper the general description stands instead.
  const Ref<CFType> plain = CFType::NewObject(error->Reference(), false, 0);
  EXPECT_TRUE(IsExactly<CFType>(plain));
  EXPECT_NE(plain->Description().Bytes().find("<CFError"), std::string::npos);
  EXPECT_TRUE(error->VariantValue().IsNull());
  EXPECT_EQ(CFError::ClassID(), CFErrorGetTypeID());
}

}  // namespace
}  // namespace corefoundation_test
