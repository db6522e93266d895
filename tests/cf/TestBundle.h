#pragma once

// Bundle folders written into the tests' scratch folder.

#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <string_view>

#include "tests/support/Scratch.h"

namespace cf_test {

// The bytes of the tests' shared object, built beside them (see CMakeLists.txt): the
// executable of the test bundles.
inline std::string PluginBytes() {
  std::ifstream file(QM_TEST_PLUGIN, std::ios::binary);
  return std::string(std::istreambuf_iterator<char>(file), {});
}

// The text of an XML Info.plist with an identifier and an executable (each left out when
// empty) and any further entries.
inline std::string InfoPlist(std::string_view identifier, std::string_view executable,
                             std::string_view moreEntries = {}) {
  std::string text = "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<plist version=\"1.0\"><dict>\n";
  if (!identifier.empty())
    text.append("<key>CFBundleIdentifier</key><string>").append(identifier).append("</string>\n");
  if (!executable.empty())
    text.append("<key>CFBundleExecutable</key><string>").append(executable).append("</string>\n");
  return text.append(moreEntries).append("</dict></plist>\n");
}

// Writes the bundle folder `name` with `info` as its Info.plist and, unless `bytes` is empty,
// the file `executable` holding them: in "Contents" or, `flat`, in the folder itself. Its path.
inline std::filesystem::path WriteBundle(const test_support::ScratchFolder& scratch,
                                         const std::filesystem::path& name, std::string_view info,
                                         std::string_view executable = {},
                                         std::string_view bytes = {}, bool flat = false) {
  const std::filesystem::path support = flat ? name : name / "Contents";
  scratch.Write(support / "Info.plist", info);
  if (!bytes.empty()) scratch.Write((flat ? name : support / "MacOS") / executable, bytes);
  return scratch.path() / name;
}

}  // namespace cf_test
