#include <cstring>
#include <filesystem>
#include <string>

#include "corefoundation/CFArray.h"
#include "corefoundation/CFBoolean.h"
#include "corefoundation/CFBundle.h"
#include "corefoundation/CFDate.h"
#include "corefoundation/CFDictionary.h"
#include "corefoundation/CFNull.h"
#include "corefoundation/CFNumber.h"
#include "corefoundation/CFURL.h"
#include "corefoundation/Carbon.h"
#include "platform/cf/StandIn.h"
#include "platform/toolkit/Exceptions.h"
#include "platform/toolkit/cf/System.h"
#include "tests/cf/TestBundle.h"
#include "tests/corefoundation/Support.h"

namespace corefoundation_test {
namespace {

using namespace CoreFoundation;
using cf_test::InfoPlist;
using cf_test::TemporaryFolder;
namespace fs = std::filesystem;

Ref<CFBundle> BundleAt(const fs::path& folder) {
  return CFBundle::NewCFBundleFromURL(CFURL::CreateFromPOSIXPath(folder.string(), true));
}

TEST(CFBundleTest, CarbonGivesANewWrapperOfOneBundleEachTime) {
  const auto first = Carbon::Bundle();
  const auto second = Carbon::Bundle();
  EXPECT_FALSE(first == second);
  EXPECT_FALSE(Empty(first));
  EXPECT_TRUE(first->Equals(second));
  EXPECT_EQ(first->Operator_Compare(second), 0);
  EXPECT_FALSE(first->Equals(CFBundle::NewCFBundleFromID("com.apple.CoreFoundation")));
  EXPECT_TRUE(first->VariantValue().IsNull());
}

TEST(CFBundleTest, SymbolsAreFoundByNameAndMissesGiveNil) {
  const auto carbon = Carbon::Bundle();
  const Ptr interval = carbon->DataPointerNotRetained("kCFAbsoluteTimeIntervalSince1904");
  ASSERT_NE(interval, nullptr);
  double value = 0;
  std::memcpy(&value, interval, sizeof value);
  EXPECT_EQ(value, 3061152000.0);
  EXPECT_NE(CFBundle::NewCFBundleFromID("com.apple.CoreFoundation")
                ->DataPointerNotRetained("kCFTypeArrayCallBacks"),
            nullptr);
  {
    const toolkit::CFStringRef domain = carbon->StringPointerRetained("kCFErrorDomainPOSIX");
    EXPECT_EQ(toolkit::StringFromCFString(domain), "NSPOSIXErrorDomain");
  }
  EXPECT_EQ(carbon->DataPointerNotRetained("kCFNoSuchSymbol"), nullptr);
  EXPECT_TRUE(carbon->StringPointerRetained("kCFNoSuchSymbol").IsNull());
  EXPECT_EQ(carbon->DataPointerNotRetained(String("\xFF")), nullptr);
  // An unknown identifier gives a wrapper, empty, whose lookups miss.
  for (const char* id : {"com.example.nothing", "", "\xFF"}) {
    const Ref<CFBundle> unknown = CFBundle::NewCFBundleFromID(id);
    ASSERT_FALSE(unknown.IsNil());
    EXPECT_TRUE(Empty(unknown));
    EXPECT_EQ(unknown->DataPointerNotRetained("kCFNull"), nullptr);
  }
}

TEST(CFBundleTest, CachedLookupsAreNotRepeated) {
  CFDate::AbsoluteTimeIntervalSince1904();
  CFBoolean::GetTrue();
  CFNull::CFNullRef();
  CFNumber::NaN();
  const CallCounter counter;
  EXPECT_EQ(CFDate::AbsoluteTimeIntervalSince1904(), 3061152000.0);
  EXPECT_FALSE(CFBoolean::GetTrue().IsNil());
  EXPECT_NE(CFNull::CFNullRef(), nullptr);
  EXPECT_FALSE(CFNumber::NaN().IsNil());
  EXPECT_EQ(counter.Calls(), 0);
}

TEST(CFBundleTest, ABundleFolderAnswersThroughTheWrapper) {
  const TemporaryFolder temp;
  const fs::path folder = temp.Bundle("Test.app",
                                      InfoPlist("org.example.wrapped", "Test",
                                                "<key>Answer</key><integer>42</integer>"
                                                "<key>List</key><array><string>x</string></array>"),
                                      "Test");
  const Ref<CFBundle> bundle = BundleAt(folder);
  ASSERT_FALSE(Empty(bundle));
  EXPECT_EQ(bundle->RefCount(), 1);  // the count of CFBundleCreate, taken over
  EXPECT_EQ(BundleAt(folder)->Reference(), bundle->Reference());
  EXPECT_TRUE(IsExactly<CFBundle>(CFType::NewObject(bundle->Reference(), false, 0)));
  EXPECT_EQ(bundle->Identifier(), "org.example.wrapped");
  EXPECT_EQ(bundle->URL()->Path(true), folder.string());
  {
    const Ref<CFDictionary> info = bundle->InfoDictionary();
    EXPECT_EQ(info->Count(), 4);
    EXPECT_EQ(info->RefCount(), 2);  // the bundle's and the wrapper's
  }
  EXPECT_EQ(bundle->InfoDictionaryValue("Answer")->VariantValue().Int64Value(), 42);
  EXPECT_TRUE(IsExactly<CFArray>(bundle->InfoDictionaryValue("List")));
  EXPECT_TRUE(bundle->InfoDictionaryValue("Absent").IsNil());

  const struct {
    Ref<CFURL> url;
    const char* relative;
    bool exists;
  } kParts[] = {
      {bundle->ExecutableFile(), "Contents/MacOS/Test", true},
      {bundle->ResourcesDirectory(), "Contents/Resources/", false},
      {bundle->FrameworksDirectory(), "Contents/Frameworks/", false},
      {bundle->SupportFilesDirectory(), "Contents/", true},
  };
  for (const auto& part : kParts) {
    ASSERT_FALSE(part.url.IsNil()) << part.relative;
    EXPECT_EQ(part.url->StringValue(), bundle->URL()->StringValue() + part.relative);
    EXPECT_EQ(part.url->Item(false, false).IsNil(), !part.exists) << part.relative;
  }

  EXPECT_TRUE(bundle->Load());
  const auto twice = reinterpret_cast<int (*)(int)>(
      const_cast<void*>(bundle->FunctionPointerForName("QuellmarkPluginTwice")));
  ASSERT_NE(twice, nullptr);
  EXPECT_EQ(twice(-4), -8);
  EXPECT_EQ(bundle->FunctionPointerForName("NoSuchFunction"), nullptr);
  EXPECT_STREQ(static_cast<const char*>(bundle->DataPointerNotRetained("QuellmarkPluginName")),
               "test plug-in");
  EXPECT_THROW(bundle->Resource("a", "b", ""), toolkit::RuntimeException);
}

TEST(CFBundleTest, NoBundleAnswersNilEmptyOrFalse) {
  const Ref<CFBundle> none = CFBundle::NewCFBundleFromID("org.example.unknown");
  ASSERT_FALSE(none.IsNil());
  const CallCounter counter;
  EXPECT_EQ(none->Identifier(), "");
  EXPECT_TRUE(none->URL().IsNil());
  EXPECT_TRUE(none->InfoDictionary().IsNil());
  EXPECT_TRUE(none->InfoDictionaryValue("CFBundleIdentifier").IsNil());
  EXPECT_TRUE(none->ExecutableFile().IsNil());
  EXPECT_FALSE(none->Load());
  EXPECT_EQ(none->FunctionPointerForName("QuellmarkPluginTwice"), nullptr);
  EXPECT_EQ(counter.Calls(), 0);
  EXPECT_THROW(none->Resource("", "", ""), toolkit::RuntimeException);

  EXPECT_TRUE(CFBundle::NewCFBundleFromURL(nullptr).IsNil());
  EXPECT_TRUE(CFBundle::NewCFBundlesFromFolder(nullptr).IsNil());
  EXPECT_TRUE(Empty(CFBundle::NewCFBundleFromURL(CFURL::New("http://example.com/"))));
  EXPECT_TRUE(CFBundle::NewCFBundlesFromFolder(CFURL::New("not a url")).IsNil());
  // The framework bundles have no folder.
  EXPECT_TRUE(CFBundle::NewCFBundleFromID("com.apple.Carbon")->URL().IsNil());
}

TEST(CFBundleTest, LoadFallsBackWhereTheErrorReportingLoadIsMissing) {
  const TemporaryFolder temp;
  const Ref<CFBundle> good = BundleAt(temp.Bundle("Good.app", InfoPlist("", "Good"), "Good"));
  const Ref<CFBundle> bad =
      BundleAt(temp.Bundle("Bad.app", InfoPlist("", "Bad"), "Bad", "#!/bin/sh\n"));
  for (const bool hidden : {false, true}) {
    cf::HideFrameworkFunction("CFBundleLoadExecutableAndReturnError", hidden);
    EXPECT_EQ(toolkit::System::IsFunctionAvailable("CFBundleLoadExecutableAndReturnError",
                                                   "Carbon.framework"),
              !hidden);
    // The failure's error is released unread: the live-object check sees to that.
    EXPECT_FALSE(bad->Load()) << hidden;
    EXPECT_TRUE(good->Load()) << hidden;
  }
  cf::HideFrameworkFunction("CFBundleLoadExecutableAndReturnError", false);
}

TEST(CFBundleTest, BundlesOfAFolderAndTheApplication) {
  const TemporaryFolder temp;
  temp.Bundle("B.app", InfoPlist("org.example.b", ""));
  temp.Bundle("A.app", InfoPlist("org.example.a", ""));
  const Ref<CFArray> bundles =
      CFBundle::NewCFBundlesFromFolder(CFURL::CreateFromPOSIXPath(temp.Root().string(), true));
  ASSERT_FALSE(bundles.IsNil());
  ASSERT_EQ(bundles->Count(), 2);
  const Ref<CFType> first = CFArrayExtension::CFValue(bundles, 0);
  ASSERT_TRUE(IsExactly<CFBundle>(first));
  EXPECT_EQ(first.As<CFBundle>()->Identifier(), "org.example.a");

  const Ref<CFBundle> application = CFBundle::Application();
  EXPECT_EQ(CFBundle::Application(), application);  // the one wrapper
  const fs::path program = fs::read_symlink("/proc/self/exe");
  EXPECT_EQ(application->URL()->Path(true), program.parent_path().string());
  const Ref<toolkit::FolderItem> executable = application->ExecutableFile()->Item(false, false);
  ASSERT_FALSE(executable.IsNil());
  EXPECT_EQ(executable->NativePath(), program.string());
  EXPECT_TRUE(application->Load());
  // The platform's bundle of that folder is the main bundle itself.
  EXPECT_EQ(BundleAt(program.parent_path())->Reference(), application->Reference());
}

}  // namespace
}  // namespace corefoundation_test
