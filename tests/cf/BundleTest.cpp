#include <gtest/gtest.h>

#include <plist/plist.h>

#include <filesystem>
#include <string>
#include <vector>

#include "tests/cf/LiveObjectCheck.h"
#include "tests/cf/Support.h"
#include "tests/cf/TestBundle.h"

namespace cf_test {
namespace {

namespace fs = std::filesystem;

CFBundleRef BundleWithID(const char* id) {
  return CFBundleGetBundleWithIdentifier(Owned<CFStringRef>(NewString(id)));
}

CFURLRef FolderURL(const fs::path& folder) {
  return CFURLCreateWithFileSystemPath(nullptr, Owned<CFStringRef>(NewString(folder.string())),
                                       kCFURLPOSIXPathStyle, true);
}

CFBundleRef NewBundle(const fs::path& folder) {
  return CFBundleCreate(nullptr, Owned<CFURLRef>(FolderURL(folder)));
}

// The file-system path of a URL resolved against its base, or "(none)".
std::string PathOf(CFURLRef url) {
  std::vector<UInt8> buffer(4096);
  if (url == nullptr || !CFURLGetFileSystemRepresentation(url, true, buffer.data(), 4096))
    return "(none)";
  return reinterpret_cast<const char*>(buffer.data());
}

TEST(BundleTest, TheFrameworkBundlesAreFoundByIdentifier) {
  for (const char* id : {"com.apple.CoreFoundation", "com.apple.Carbon"}) {
    const CFBundleRef bundle = BundleWithID(id);
    ASSERT_NE(bundle, nullptr) << id;
    EXPECT_EQ(CFGetTypeID(bundle), CFBundleGetTypeID());
    EXPECT_EQ(BundleWithID(id), bundle) << id;  // one bundle, not one per lookup
    EXPECT_EQ(Text(CFBundleGetIdentifier(bundle)), id);
  }
  EXPECT_NE(BundleWithID("com.apple.Carbon"), BundleWithID("com.apple.CoreFoundation"));
  for (const char* unknown : {"com.apple.carbon", "com.apple.Carbon ", "", "com.example"})
    EXPECT_EQ(BundleWithID(unknown), nullptr) << "'" << unknown << "'";
}

// Both framework bundles answer every constant, at one address. What each holds is read
// through the wrappers that fetch it.
TEST(BundleTest, BothBundlesAnswerTheConstantsByName) {
  for (const char* name :
       {"kCFBooleanTrue", "kCFBooleanFalse", "kCFNumberNaN", "kCFNumberNegativeInfinity",
        "kCFNumberPositiveInfinity", "kCFNull", "kCFAbsoluteTimeIntervalSince1904",
        "kCFAbsoluteTimeIntervalSince1970", "kCFTypeArrayCallBacks",
        "kCFTypeDictionaryKeyCallBacks", "kCFTypeDictionaryValueCallBacks", "kCFErrorDomainPOSIX",
        "kCFErrorDomainOSStatus", "kCFErrorDomainMach", "kCFErrorDomainCocoa",
        "kCFErrorLocalizedDescriptionKey"}) {
    const void* address = SymbolAddress("com.apple.Carbon", name);
    EXPECT_NE(address, nullptr) << name;
    EXPECT_EQ(SymbolAddress("com.apple.CoreFoundation", name), address) << name;
  }
  EXPECT_EQ(SymbolAddress("com.apple.Carbon", "kCFNoSuchSymbol"), nullptr);
}

TEST(BundleTest, AFolderBundleAnswersItsInformationAndItsParts) {
  const TemporaryFolder temp;
  const fs::path folder = temp.Bundle("Test.app", InfoPlist("org.example.test", "Test"), "Test");
  {
    const Owned<CFBundleRef> bundle(NewBundle(folder));
    ASSERT_NE(bundle.get(), nullptr);
    EXPECT_EQ(Text(CFBundleGetIdentifier(bundle)), "org.example.test");
    EXPECT_EQ(BundleWithID("org.example.test"), bundle.get());
    const Owned<CFBundleRef> again(NewBundle(folder / "Contents" / ".."));
    EXPECT_EQ(again.get(), bundle.get());  // one bundle per folder, with one more count
    EXPECT_EQ(CFGetRetainCount(bundle), 2);
    // The parts are URLs relative to the bundle's, whether they exist or not.
    const struct {
      CFURLRef (*copy)(CFBundleRef);
      const char* relative;
    } kParts[] = {
        {CFBundleCopyExecutableURL, "Contents/MacOS/Test"},
        {CFBundleCopyResourcesDirectoryURL, "Contents/Resources/"},
        {CFBundleCopyPrivateFrameworksURL, "Contents/Frameworks/"},
        {CFBundleCopySupportFilesDirectoryURL, "Contents/"},
        {CFBundleCopySharedSupportURL, "Contents/SharedSupport/"},
    };
    const Owned<CFURLRef> bundleURL(CFBundleCopyBundleURL(bundle));
    EXPECT_EQ(PathOf(bundleURL), folder.string());
    for (const auto& part : kParts) {
      const Owned<CFURLRef> url(part.copy(bundle));
      ASSERT_NE(url.get(), nullptr) << part.relative;
      EXPECT_EQ(Text(CFURLGetString(url)), part.relative);
      EXPECT_TRUE(CFEqual(CFURLGetBaseURL(url), bundleURL)) << part.relative;
      std::string path = (folder / part.relative).string();
      if (path.back() == '/') path.pop_back();
      EXPECT_EQ(PathOf(url), path);
    }
  }
  EXPECT_EQ(BundleWithID("org.example.test"), nullptr);               // gone with its last count
  EXPECT_EQ(NewBundle(folder / "Contents" / "Info.plist"), nullptr);  // a file is no bundle
}

TEST(BundleTest, TheExecutableIsLoadedOnceAndWhenAFunctionIsAskedFor) {
  const TemporaryFolder temp;
  const Owned<CFBundleRef> loaded(NewBundle(temp.Bundle("A.app", InfoPlist("", "A"), "A")));
  EXPECT_FALSE(CFBundleIsExecutableLoaded(loaded));
  CFErrorRef error = nullptr;
  EXPECT_TRUE(CFBundleLoadExecutableAndReturnError(loaded, &error));
  EXPECT_EQ(error, nullptr);
  EXPECT_TRUE(CFBundleIsExecutableLoaded(loaded));
  EXPECT_TRUE(CFBundleLoadExecutable(loaded));  // again: nothing to do
  // Asking for a function loads a bundle that is not loaded yet. A flat bundle whose
  // Info.plist is binary works the same.
  plist_t info = plist_new_dict();
  plist_dict_set_item(info, "CFBundleExecutable", plist_new_string("Flat"));
  char* binary = nullptr;
  uint32_t length = 0;
  plist_to_bin(info, &binary, &length);
  const fs::path flatFolder = temp.Bundle("Flat.plugin", std::string(binary, length), "Flat",
                                          TemporaryFolder::PluginBytes(), true);
  plist_to_bin_free(binary);
  plist_free(info);
  const Owned<CFBundleRef> flat(NewBundle(flatFolder));
  EXPECT_NE(CFBundleGetFunctionPointerForName(
                flat, Owned<CFStringRef>(NewString("QuellmarkPluginTwice"))),
            nullptr);
  EXPECT_TRUE(CFBundleIsExecutableLoaded(flat));
  const Owned<CFURLRef> resources(CFBundleCopyResourcesDirectoryURL(flat));
  EXPECT_EQ(PathOf(resources), flatFolder.string());  // a flat bundle is its own resources
  const Owned<CFURLRef> frameworks(CFBundleCopyPrivateFrameworksURL(flat));
  EXPECT_EQ(PathOf(frameworks), (flatFolder / "Frameworks").string());
}

TEST(BundleTest, ALoadThatFailsSaysWhyInAnError) {
  const TemporaryFolder temp;
  const std::string plugin = TemporaryFolder::PluginBytes();
  const struct {
    const char* why;
    std::string executableName;
    std::optional<std::string> executable;
    CFIndex code;
  } kRows[] = {
      {"names no executable", "", std::nullopt, kCFBundleExecutableNotFoundError},
      {"names a missing file", "Missing", std::nullopt, kCFBundleExecutableNotFoundError},
      {"a script", "Script", "#!/bin/sh\n", kCFBundleExecutableNotLoadableError},
      {"a shared object cut short", "Cut", plugin.substr(0, 64), kCFBundleExecutableLoadError},
  };
  int n = 0;
  for (const auto& row : kRows) {
    std::string name = "B";
    name.append(std::to_string(n++)).append(".app");
    const Owned<CFBundleRef> bundle(NewBundle(
        temp.Bundle(name, InfoPlist("", row.executableName), row.executableName, row.executable)));
    CFErrorRef error = nullptr;
    EXPECT_FALSE(CFBundleLoadExecutableAndReturnError(bundle, &error)) << row.why;
    ASSERT_NE(error, nullptr) << row.why;
    const Owned<CFErrorRef> owned(error);
    EXPECT_EQ(CFErrorGetCode(error), row.code) << row.why;
    const std::string text = TakeText(CFErrorCopyDescription(error));
    EXPECT_NE(text.find(name.substr(0, 2)), std::string::npos) << row.why << ": " << text;
    EXPECT_FALSE(CFBundleIsExecutableLoaded(bundle)) << row.why;
    const Owned<CFURLRef> executable(CFBundleCopyExecutableURL(bundle));
    EXPECT_EQ(executable.get() != nullptr, row.executable.has_value()) << row.why;
  }
}

TEST(BundleTest, BundlesOfAFolderAreItsSubFoldersInNameOrder) {
  const TemporaryFolder temp;
  for (const char* name : {"B.app", "A.app", "c.plugin", ".hidden.app"})
    temp.Bundle(name, InfoPlist(std::string("org.example.") + name, ""));
  TemporaryFolder::Write(temp.Root() / "file.app", "not a folder");
  const Owned<CFURLRef> url(FolderURL(temp.Root()));
  const struct {
    const char* type;
    std::vector<std::string> identifiers;
  } kRows[] = {
      {nullptr, {"org.example.A.app", "org.example.B.app", "org.example.c.plugin"}},
      {"app", {"org.example.A.app", "org.example.B.app"}},
      {"none", {}},
  };
  for (const auto& row : kRows) {
    const Owned<CFStringRef> type(row.type != nullptr ? NewString(row.type) : nullptr);
    const Owned<CFArrayRef> bundles(CFBundleCreateBundlesFromDirectory(nullptr, url, type));
    ASSERT_NE(bundles.get(), nullptr);
    std::vector<std::string> identifiers;
    for (CFIndex i = 0; i < CFArrayGetCount(bundles); ++i) {
      const auto bundle =
          static_cast<CFBundleRef>(const_cast<void*>(CFArrayGetValueAtIndex(bundles, i)));
      EXPECT_EQ(CFGetRetainCount(bundle), 1);  // held by the array alone
      identifiers.push_back(Text(CFBundleGetIdentifier(bundle)));
    }
    EXPECT_EQ(identifiers, row.identifiers) << (row.type ? row.type : "(all)");
  }
  const Owned<CFURLRef> file(FolderURL(temp.Root() / "file.app"));
  EXPECT_EQ(CFBundleCreateBundlesFromDirectory(nullptr, file, nullptr), nullptr);
}

}  // namespace
}  // namespace cf_test
