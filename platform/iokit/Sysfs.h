#pragma once

// Private to platform/iokit: the machine's Ethernet-class interfaces as /sys and /proc show
// them, read at one moment.

#include <cstdint>
#include <filesystem>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace iokit {

struct InterfaceInfo {
  std::string name;    // the folder's name in /sys/class/net
  std::int64_t index;  // `ifindex`; kNoIndex where it can't be read
  bool builtin;
  bool primary;
  // The bytes of `address`; none where the file is missing, empty or not of the form
  // "xx:xx:...".
  std::optional<std::vector<std::uint8_t>> address;
};

inline constexpr std::int64_t kNoIndex = INT64_MAX;

// The folder that stands for "/": the system's root, unless a test has put a tree of its own
// in its place (TestRoot.h, which alone writes it).
std::filesystem::path& RootSlot();

// Whether there is a registry to read: `root`/sys/class/net is a folder.
bool RegistryPresent(const std::filesystem::path& root);

// The interfaces of type 1 below `root`/sys/class/net, in the order of their `ifindex` (then
// of their names), with their flags set. None when that folder can't be read.
std::optional<std::vector<InterfaceInfo>> ReadInterfaces(const std::filesystem::path& root);

}  // namespace iokit
