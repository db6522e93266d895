#include "corefoundation/CFBundle.h"
#include "corefoundation/Carbon.h"
#include "platform/toolkit/cf/CFStringRef.h"
#include "tests/corefoundation/Support.h"

namespace corefoundation_test {
namespace {

using namespace CoreFoundation;

// The wrappers fetch their constants from the framework bundle by exact identifier and name;
// both framework bundles export every constant at one address.
TEST(CFBundleTest, TheFrameworkBundlesAnswerTheConstantsByName) {
  const auto carbon = Carbon::Bundle();
  EXPECT_EQ(carbon->Operator_Compare(Carbon::Bundle()), 0);
  const auto coreFoundation = CFBundle::NewCFBundleFromID("com.apple.CoreFoundation");
  EXPECT_FALSE(carbon->Equals(coreFoundation));
  for (const char* unknown : {"com.apple.carbon", "com.apple.Carbon ", ""})
    EXPECT_TRUE(Empty(CFBundle::NewCFBundleFromID(unknown))) << "'" << unknown << "'";
  for (const char* name : {"kCFBooleanTrue", "kCFNumberNaN", "kCFNull", "kCFTypeArrayCallBacks",
                           "kCFTypeDictionaryKeyCallBacks", "kCFTypeDictionaryValueCallBacks"}) {
    EXPECT_NE(carbon->DataPointerNotRetained(name), nullptr) << name;
    EXPECT_EQ(coreFoundation->DataPointerNotRetained(name), carbon->DataPointerNotRetained(name));
  }
  EXPECT_EQ(toolkit::StringFromCFString(carbon->StringPointerRetained("kCFErrorDomainPOSIX")),
            "NSPOSIXErrorDomain");
  EXPECT_EQ(carbon->DataPointerNotRetained("kCFNoSuchSymbol"), nullptr);
  EXPECT_TRUE(carbon->StringPointerRetained("kCFNoSuchSymbol").IsNull());
}

}  // namespace
}  // namespace corefoundation_test
