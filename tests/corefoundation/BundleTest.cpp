#include "corefoundation/CFBundle.h"
#include "corefoundation/CFURL.h"
#include "corefoundation/Carbon.h"
#include "platform/toolkit/cf/CFStringRef.h"
#include "tests/corefoundation/Support.h"
#include "tests/support/Scratch.h"

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

// The bundle of a folder: made twice it is one bundle, it answers the values of its Info.plist,
// and a load of an executable that is a script fails; every count taken on the way goes back.
TEST(CFBundleTest, AFolderBundleAnswersItsInfoAndFailsToLoadAScript) {
  const test_support::ScratchFolder scratch;
  scratch.Write("Tool.app/Contents/Info.plist",
                "<plist version=\"1.0\"><dict><key>CFBundleExecutable</key><string>tool</string>"
                "<key>LSUIElement</key><true/></dict></plist>");
  scratch.Write("Tool.app/Contents/MacOS/tool", "#!/bin/sh\n");
  const auto url = CFURL::CreateFromPOSIXPath((scratch.path() / "Tool.app").string(), true);
  const auto bundle = CFBundle::NewCFBundleFromURL(url);
  EXPECT_EQ(CFBundle::NewCFBundleFromURL(url)->Operator_Compare(bundle), 0);
  EXPECT_EQ(bundle->InfoDictionaryValue("CFBundleExecutable")->VariantValue(), Variant("tool"));
  EXPECT_EQ(bundle->InfoDictionaryValue("LSUIElement")->VariantValue(), Variant(true));
  EXPECT_FALSE(bundle->Load());
}

}  // namespace
}  // namespace corefoundation_test
