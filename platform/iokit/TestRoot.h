#pragma once

// For tests only: puts a tree of the test's own in the place of the machine's "/", so that
// the registry is read from <root>/sys/class/net and <root>/proc/net/route. The program never
// links this (it is the library iokit_testroot) and has no other way to move the root.

#include <filesystem>

namespace iokit::test {

// The root is `root` while this lives, and what it was before afterwards.
class ScopedRoot {
 public:
  explicit ScopedRoot(std::filesystem::path root);
  ~ScopedRoot();
  ScopedRoot(const ScopedRoot&) = delete;
  ScopedRoot& operator=(const ScopedRoot&) = delete;

 private:
  std::filesystem::path previous_;
};

}  // namespace iokit::test
