#pragma once

// Bundle folders made for one test in a temporary folder of its own, removed after it.

#include <gtest/gtest.h>
#include <unistd.h>

#include <filesystem>
#include <fstream>
#include <iterator>
#include <optional>
#include <string>
#include <string_view>

namespace cf_test {

// The tests' shared object, built beside them (see CMakeLists.txt).
inline std::filesystem::path PluginPath() {
  return QM_TEST_PLUGIN;
}

// The text of an XML Info.plist with an identifier and an executable (each left out when
// empty) and any further entries.
inline std::string InfoPlist(std::string_view identifier, std::string_view executable,
                             std::string_view moreEntries = {}) {
  std::string text =
      "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<plist version=\"1.0\">\n<dict>\n";
  if (!identifier.empty())
    text += "<key>CFBundleIdentifier</key><string>" + std::string(identifier) + "</string>\n";
  if (!executable.empty())
    text += "<key>CFBundleExecutable</key><string>" + std::string(executable) + "</string>\n";
  return text + std::string(moreEntries) + "</dict>\n</plist>\n";
}

class TemporaryFolder {
 public:
  TemporaryFolder() {
    const auto* test = testing::UnitTest::GetInstance()->current_test_info();
    root_ = std::filesystem::temp_directory_path() /
            ("qm-bundle-" + std::to_string(getpid()) + "-" + test->name());
    std::filesystem::remove_all(root_);
    std::filesystem::create_directories(root_);
  }
  TemporaryFolder(const TemporaryFolder&) = delete;
  TemporaryFolder& operator=(const TemporaryFolder&) = delete;
  ~TemporaryFolder() { std::filesystem::remove_all(root_); }

  const std::filesystem::path& Root() const { return root_; }

  static void Write(const std::filesystem::path& path, std::string_view bytes) {
    std::filesystem::create_directories(path.parent_path());
    std::ofstream(path, std::ios::binary) << bytes;
  }

  // A bundle folder `name` holding `info` as its Info.plist and, where given, `executable`
  // as the file `executableName`: in "Contents" or, `flat`, in the folder itself. Its path.
  std::filesystem::path Bundle(std::string_view name, std::string_view info,
                               std::string_view executableName = {},
                               const std::optional<std::string>& executable = PluginBytes(),
                               bool flat = false) const {
    const std::filesystem::path folder = root_ / name;
    const std::filesystem::path support = flat ? folder : folder / "Contents";
    Write(support / "Info.plist", info);
    if (!executableName.empty() && executable) {
      Write((flat ? folder : support / "MacOS") / executableName, *executable);
    }
    return folder;
  }

  static std::string PluginBytes() {
    std::ifstream file(PluginPath(), std::ios::binary);
    return std::string(std::istreambuf_iterator<char>(file), {});
  }

 private:
  std::filesystem::path root_;
};

}  // namespace cf_test
