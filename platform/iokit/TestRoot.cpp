#include "platform/iokit/TestRoot.h"

#include <utility>

#include "platform/iokit/Sysfs.h"

namespace iokit::test {

ScopedRoot::ScopedRoot(std::filesystem::path root) : previous_(RootSlot()) {
  RootSlot() = std::move(root);
}

ScopedRoot::~ScopedRoot() {
  RootSlot() = previous_;
}

}  // namespace iokit::test
