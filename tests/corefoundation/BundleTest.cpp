#include <cstring>
#include <filesystem>
#include <string>

#include "corefoundation/CFArray.h"
#include "corefoundation/CFBundle.h"
#include "corefoundation/CFDate.h"
#include "corefoundation/CFDictionary.h"
#include "corefoundation/CFURL.h"
#include "corefoundation/Carbon.h"
#include "platform/cf/StandIn.h"
#include "platform/toolkit/Dictionary.h"
#include "platform/toolkit/Exceptions.h"
#include "platform/toolkit/VariantArray.h"
#include "platform/toolkit/cf/System.h"
#include "tests/cf/TestBundle.h"
#include "tests/corefoundation/Support.h"

namespace corefoundation_test {
namespace {

using namespace CoreFoundation;
using cf_test::InfoPlist;
using cf_test::PluginBytes;
using cf_test::WriteBundle;
namespace fs = std::filesystem;

Ref<CFBundle> BundleAt(const fs::path& folder) {
  return CFBundle::NewCFBundleFromURL(CFURL::CreateFromPOSIXPath(folder.string(), true));
}

// The two framework bundles answer by their exact identifiers, each with one bundle, and both
// export every constant at one address.
TEST(CFBundleTest, TheFrameworkBundlesAnswerTheConstantsByName) {
  const auto carbon = Carbon::Bundle();
  EXPECT_FALSE(carbon == Carbon::Bundle());
  EXPECT_EQ(carbon->Operator_Compare(Carbon::Bundle()), 0);
  EXPECT_TRUE(carbon->URL().IsNil());  // no folder
  const auto coreFoundation = CFBundle::NewCFBundleFromID("com.apple.CoreFoundation");
  EXPECT_FALSE(carbon->Equals(coreFoundation));
  for (const char* unknown : {"com.apple.carbon", "com.apple.Carbon ", "", "\xFF"})
    EXPECT_TRUE(Empty(CFBundle::NewCFBundleFromID(unknown))) << "'" << unknown << "'";
  for (const char* name :
       {"kCFBooleanTrue", "kCFBooleanFalse", "kCFNumberNaN", "kCFNumberNegativeInfinity",
        "kCFNumberPositiveInfinity", "kCFNull", "kCFAbsoluteTimeIntervalSince1904",
        "kCFTypeArrayCallBacks", "kCFTypeDictionaryKeyCallBacks", "kCFTypeDictionaryValueCallBacks",
        "kCFErrorDomainPOSIX"}) {
    EXPECT_NE(carbon->DataPointerNotRetained(name), nullptr) << name;
    EXPECT_EQ(coreFoundation->DataPointerNotRetained(name), carbon->DataPointerNotRetained(name));
  }
  EXPECT_EQ(toolkit::StringFromCFString(carbon->StringPointerRetained("kCFErrorDomainPOSIX")),
            "NSPOSIXErrorDomain");
  EXPECT_EQ(carbon->DataPointerNotRetained("kCFNoSuchSymbol"), nullptr);
  EXPECT_TRUE(carbon->StringPointerRetained("kCFNoSuchSymbol").IsNull());
}

// Every type of its Info.plist comes out as its toolkit value.
TEST(CFBundleTest, ABundleFolderAnswersThroughTheWrapper) {
  const test_support::ScratchFolder scratch;
  const fs::path folder = WriteBundle(
      scratch, "Test.app",
      InfoPlist(
          "org.example.wrapped", "Test",
          "<key>text</key><string>gr&#252;n</string><key>negative</key><integer>-42</integer>"
          "<key>real</key><real>2.5</real><key>yes</key><true/>"
          "<key>date</key><date>2001-01-02T00:00:01Z</date><key>data</key><data>AAEC</data>"
          "<key>list</key><array><string>a</string><dict><key>in</key><false/></dict></array>"),
      "Test", PluginBytes());
  {
    const Ref<CFBundle> bundle = BundleAt(folder);
    EXPECT_EQ(bundle->RefCount(), 1);  // the count of CFBundleCreate, taken over
    EXPECT_EQ(BundleAt(folder)->Reference(), bundle->Reference());  // one bundle per folder
    EXPECT_EQ(CFBundle::NewCFBundleFromID("org.example.wrapped")->Reference(), bundle->Reference());
    EXPECT_EQ(bundle->Identifier(), "org.example.wrapped");
    EXPECT_EQ(bundle->URL()->Path(true), folder.string());
    EXPECT_EQ(bundle->InfoDictionary()->RefCount(), 2);  // the bundle's and the wrapper's
    const auto info = bundle->InfoDictionary()->VariantValue().As<toolkit::Dictionary>();
    EXPECT_EQ(info->Count(), 9);
    EXPECT_EQ(info->Value("text"), Variant("gr\xC3\xBCn"));
    EXPECT_EQ(info->Value("negative"), Variant(std::int64_t{-42}));
    EXPECT_EQ(info->Value("real"), Variant(2.5));
    EXPECT_EQ(info->Value("yes"), Variant(true));
    EXPECT_EQ(bundle->InfoDictionaryValue("date").As<CFDate>()->AbsoluteTime(), 86401.0);
    EXPECT_EQ(info->Value("data").As<MemoryBlock>()->StringValue().Bytes(),
              std::string("\0\1\2", 3));
    const auto list = info->Value("list").As<toolkit::VariantArray>()->Values();
    ASSERT_EQ(list.size(), 2u);
    EXPECT_EQ(list[0], Variant("a"));
    EXPECT_EQ(list[1].As<toolkit::Dictionary>()->Value("in"), Variant(false));
    EXPECT_TRUE(bundle->InfoDictionaryValue("Absent").IsNil());

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
  // Gone with its last count; a file is no bundle.
  EXPECT_TRUE(Empty(CFBundle::NewCFBundleFromID("org.example.wrapped")));
  EXPECT_TRUE(Empty(BundleAt(folder / "Contents" / "Info.plist")));
}

// A bundle's parts are URLs relative to its own, whether they exist or not; a flat bundle,
// with no "Contents", is its own resources folder.
TEST(CFBundleTest, ThePartsOfABundleInEitherLayoutAndItsLoad) {
  const test_support::ScratchFolder scratch;
  const Ref<CFBundle> contents =
      BundleAt(WriteBundle(scratch, "C.app", InfoPlist("", "C"), "C", PluginBytes()));
  const Ref<CFBundle> flat =
      BundleAt(WriteBundle(scratch, "F.plugin", InfoPlist("", "F"), "F", PluginBytes(), true));
  const struct {
    Ref<CFURL> part;
    Ref<CFBundle> of;
    const char* relative;
    bool exists;
  } kRows[] = {
      {contents->ExecutableFile(), contents, "Contents/MacOS/C", true},
      {contents->ResourcesDirectory(), contents, "Contents/Resources/", false},
      {contents->SupportFilesDirectory(), contents, "Contents/", true},
      {flat->ExecutableFile(), flat, "F", true},
      {flat->ResourcesDirectory(), flat, "", true},
      {flat->FrameworksDirectory(), flat, "Frameworks/", false},
  };
  for (const auto& row : kRows) {
    ASSERT_FALSE(row.part.IsNil()) << row.relative;
    EXPECT_EQ(row.part->StringValue(), row.of->URL()->StringValue() + row.relative);
    EXPECT_EQ(row.part->Item(false, false).IsNil(), !row.exists) << row.relative;
  }
  // Asking for a function loads the executable first.
  EXPECT_NE(flat->FunctionPointerForName("QuellmarkPluginTwice"), nullptr);
  // Where the error-reporting load is missing, Load takes the plain one. A failure's error is
  // released unread: the live-object check sees to that.
  const Ref<CFBundle> bad =
      BundleAt(WriteBundle(scratch, "Bad.app", InfoPlist("", "Bad"), "Bad", "#!/bin/sh\n"));
  for (const bool hidden : {false, true}) {
    cf::HideFrameworkFunction("CFBundleLoadExecutableAndReturnError", hidden);
    EXPECT_EQ(toolkit::System::IsFunctionAvailable("CFBundleLoadExecutableAndReturnError",
                                                   "Carbon.framework"),
              !hidden);
    EXPECT_FALSE(bad->Load()) << hidden;
    EXPECT_TRUE(contents->Load()) << hidden;
  }
  cf::HideFrameworkFunction("CFBundleLoadExecutableAndReturnError", false);
}

// The bundles of a folder are its sub-folders in name order, but hidden ones.
TEST(CFBundleTest, BundlesOfAFolderAndTheApplication) {
  const test_support::ScratchFolder scratch;
  for (const char* name : {"B.app", "A.app", ".hidden.app"})
    WriteBundle(scratch, name, InfoPlist(std::string("org.example.") + name, ""));
  scratch.Write("file.app", "not a folder");
  const Ref<CFArray> bundles =
      CFBundle::NewCFBundlesFromFolder(CFURL::CreateFromPOSIXPath(scratch.path().string(), true));
  ASSERT_EQ(bundles->Count(), 2);
  const Ref<CFType> first = CFArrayExtension::CFValue(bundles, 0);
  EXPECT_EQ(first->RefCount(), 2);  // the array's and the wrapper's
  EXPECT_EQ(first.As<CFBundle>()->Identifier(), "org.example.A.app");
  EXPECT_TRUE(CFBundle::NewCFBundlesFromFolder(nullptr).IsNil());
  EXPECT_TRUE(CFBundle::NewCFBundlesFromFolder(CFURL::New("not a url")).IsNil());
  EXPECT_TRUE(CFBundle::NewCFBundleFromURL(nullptr).IsNil());
  EXPECT_TRUE(Empty(CFBundle::NewCFBundleFromURL(CFURL::New("http://example.com/"))));

  const Ref<CFBundle> application = CFBundle::Application();
  EXPECT_EQ(CFBundle::Application(), application);  // the one wrapper
  const fs::path program = fs::read_symlink("/proc/self/exe");
  EXPECT_EQ(application->ExecutableFile()->Item(false, false)->NativePath(), program.string());
  EXPECT_TRUE(application->Load());
  // The platform's bundle of that folder is the main bundle itself.
  EXPECT_EQ(BundleAt(program.parent_path())->Reference(), application->Reference());
}

}  // namespace
}  // namespace corefoundation_test
