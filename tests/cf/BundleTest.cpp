#include <gtest/gtest.h>

#include <string>

#include "tests/cf/LiveObjectCheck.h"
#include "tests/cf/Support.h"
#include "tests/cf/TestBundle.h"

namespace cf_test {
namespace {

// The wrappers give a failed load's error back unread, so only here is it seen.
TEST(BundleTest, ALoadThatFailsSaysWhyInAnError) {
  const test_support::ScratchFolder scratch;
  const std::string plugin = PluginBytes();
  const struct {
    const char* why;
    const char* executable;
    std::string bytes;  // none: no file
    CFIndex code;
  } kRows[] = {
      {"names no executable", "", "", kCFBundleExecutableNotFoundError},
      {"names a missing file", "Missing", "", kCFBundleExecutableNotFoundError},
      {"a script", "Script", "#!/bin/sh\n", kCFBundleExecutableNotLoadableError},
      {"a shared object cut short", "Cut", plugin.substr(0, 64), kCFBundleExecutableLoadError},
  };
  for (const auto& row : kRows) {
    const std::string name = std::string(row.executable) + "Bundle.app";
    const auto folder =
        WriteBundle(scratch, name, InfoPlist("", row.executable), row.executable, row.bytes);
    const Owned<CFURLRef> url(CFURLCreateWithFileSystemPath(
        nullptr, Owned<CFStringRef>(NewString(folder.string())), kCFURLPOSIXPathStyle, true));
    const Owned<CFBundleRef> bundle(CFBundleCreate(nullptr, url));
    CFErrorRef error = nullptr;
    EXPECT_FALSE(CFBundleLoadExecutableAndReturnError(bundle, &error)) << row.why;
    ASSERT_NE(error, nullptr) << row.why;
    const Owned<CFErrorRef> owned(error);
    EXPECT_EQ(CFErrorGetCode(error), row.code) << row.why;
    EXPECT_EQ(Text(CFErrorGetDomain(error)), "NSCocoaErrorDomain") << row.why;
    const std::string text = TakeText(CFErrorCopyDescription(error));
    EXPECT_NE(text.find(row.executable + std::string("Bundle")), std::string::npos) << text;
    EXPECT_FALSE(CFBundleLoadExecutable(bundle)) << row.why << ": not loaded the second time";
  }
}

}  // namespace
}  // namespace cf_test
