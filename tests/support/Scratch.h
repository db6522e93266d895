#pragma once

// The one scratch folder of the tests: a fresh folder under the system's temporary folder,
// with what a test writes into it, removed with all it holds when the test ends.

#include <stdlib.h>

#include <cstdint>
#include <filesystem>
#include <fstream>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

namespace test_support {

class ScratchFolder {
 public:
  ScratchFolder() {
    std::string name = (std::filesystem::temp_directory_path() / "quellmark-test-XXXXXX").string();
    if (mkdtemp(name.data()) == nullptr) throw std::runtime_error("mkdtemp failed");
    path_ = name;
  }
  ~ScratchFolder() {
    std::error_code ignored;
    std::filesystem::remove_all(path_, ignored);
  }
  ScratchFolder(const ScratchFolder&) = delete;
  ScratchFolder& operator=(const ScratchFolder&) = delete;

  const std::filesystem::path& path() const { return path_; }

  // Writes a file at a path relative to the folder, making the folders on the way; answers
  // its whole path.
  std::filesystem::path Write(const std::filesystem::path& relative,
                              const std::vector<std::uint8_t>& bytes) const {
    return Write(relative,
                 std::string_view(reinterpret_cast<const char*>(bytes.data()), bytes.size()));
  }
  std::filesystem::path Write(const std::filesystem::path& relative, std::string_view text) const {
    const std::filesystem::path file = path_ / relative;
    std::filesystem::create_directories(file.parent_path());
    std::ofstream(file, std::ios::binary)
        .write(text.data(), static_cast<std::streamsize>(text.size()));
    return file;
  }

  // Makes a folder (and those on the way) at a path relative to the folder.
  std::filesystem::path Folder(const std::filesystem::path& relative) const {
    const std::filesystem::path folder = path_ / relative;
    std::filesystem::create_directories(folder);
    return folder;
  }

  // Makes a symbolic link at a path relative to the folder, pointing at target as given.
  std::filesystem::path Link(const std::filesystem::path& relative,
                             const std::filesystem::path& target) const {
    const std::filesystem::path link = path_ / relative;
    std::filesystem::create_directories(link.parent_path());
    std::filesystem::create_symlink(target, link);
    return link;
  }

 private:
  std::filesystem::path path_;
};

}  // namespace test_support
