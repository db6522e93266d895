#include <gtest/gtest.h>

#include <fstream>
#include <iterator>
#include <string>

#include "tests/cf/LiveObjectCheck.h"
#include "tests/cf/Support.h"
#include "tests/support/Scratch.h"

namespace cf_test {
namespace {

// The text of an XML Info.plist naming an executable, unless it is empty.
std::string InfoPlist(const std::string& executable) {
  return "<plist version=\"1.0\"><dict>" +
         (executable.empty() ? ""
                             : "<key>CFBundleExecutable</key><string>" + executable + "</string>") +
         "</dict></plist>";
}

// The wrappers give a failed load's error back unread, so only here is it seen.
TEST(BundleTest, ALoadThatFailsSaysWhyInAnError) {
  const test_support::ScratchFolder scratch;
  std::ifstream self("/proc/self/exe", std::ios::binary);
  const std::string elf(std::istreambuf_iterator<char>(self), {});
  const struct {
    const char* why;
    const char* executable;
    std::string bytes;  // none: no file
    CFIndex code;
  } kRows[] = {
      {"names no executable", "", "", kCFBundleExecutableNotFoundError},
      {"names a missing file", "Missing", "", kCFBundleExecutableNotFoundError},
      {"a script", "Script", "#!/bin/sh\n", kCFBundleExecutableNotLoadableError},
      {"an ELF file cut short", "Cut", elf.substr(0, 64), kCFBundleExecutableLoadError},
  };
  for (const auto& row : kRows) {
    const std::string name = std::string(row.executable) + "Bundle.app";
    scratch.Write(name + "/Contents/Info.plist", InfoPlist(row.executable));
    if (!row.bytes.empty()) scratch.Write(name + "/Contents/MacOS/" + row.executable, row.bytes);
    const auto folder = scratch.path() / name;
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
