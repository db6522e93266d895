#pragma once

// A fake /sys and /proc in a scratch folder, laid out as Linux lays them out: each interface
// is a folder below its device in sys/devices, reached through a relative link in
// sys/class/net, with a relative `device` link back up; devices name their bus through a
// `subsystem` link. While a FakeSysfs lives, the IOKit stand-in reads it instead of "/".

#include <stdlib.h>

#include <cstdio>
#include <filesystem>
#include <fstream>
#include <optional>
#include <stdexcept>
#include <string>
#include <vector>

#include "platform/iokit/TestRoot.h"

namespace iokit_test {

namespace fs = std::filesystem;

// The levels of a device path below sys/devices, each with its bus ("" for none).
using DevicePath = std::vector<std::pair<std::string, std::string>>;

inline DevicePath Pci(int slot) {
  return {{"pci0000:00", ""}, {"0000:00:0" + std::to_string(slot) + ".0", "pci"}};
}
inline DevicePath Virtio(int slot) {
  DevicePath path = Pci(slot);
  path.emplace_back("virtio" + std::to_string(slot), "virtio");
  return path;
}
// The interface of an adapter on a port of the root hub, behind a PCI host; `below` adds a
// device of another bus under it.
inline DevicePath Usb(int port, const std::string& below = "") {
  const std::string device = "1-" + std::to_string(port);
  DevicePath path = {{"pci0000:00", ""},
                     {"0000:00:14.0", "pci"},
                     {"usb1", "usb"},
                     {device, "usb"},
                     {device + ":1.0", "usb"}};
  if (!below.empty()) path.emplace_back(below, "wwan");
  return path;
}
inline DevicePath PlatformBus(const std::string& name) {
  return {{"platform", ""}, {"soc", "platform"}, {name, "platform"}};
}
inline const DevicePath kVirtual = {};  // no device: bridges, veth, tap, dummy

struct FakeInterface {
  std::string name;
  int ifindex;
  std::optional<std::string> address;  // the text of `address`; none: no such file
  DevicePath device = kVirtual;
  std::string type = "1";  // ARPHRD_ETHER; 772 is loopback, 65534 a tunnel
};

// A line of /proc/net/route as the kernel writes it.
inline std::string RouteLine(const std::string& interface, unsigned destination, unsigned flags,
                             unsigned metric, unsigned mask) {
  char line[160];
  std::snprintf(line, sizeof line, "%s\t%08X\t0102A8C0\t%04X\t0\t0\t%u\t%08X\t0\t0\t0\n",
                interface.c_str(), destination, flags, metric, mask);
  return line;
}
inline std::string DefaultRoute(const std::string& interface, unsigned metric = 0) {
  return RouteLine(interface, 0, 0x0003, metric, 0);  // up, through a gateway
}

class FakeSysfs {
 public:
  explicit FakeSysfs(const std::vector<FakeInterface>& interfaces = {},
                     const std::string& routes = "")
      : root_(MakeFolder()), scope_(root_) {
    fs::create_directories(NetFolder());
    fs::create_directories(root_ / "proc" / "net");
    for (const FakeInterface& i : interfaces)
      Add(i);
    Routes(routes);
  }
  ~FakeSysfs() {
    std::error_code ec;
    fs::remove_all(root_, ec);
  }
  FakeSysfs(const FakeSysfs&) = delete;
  FakeSysfs& operator=(const FakeSysfs&) = delete;

  const fs::path& root() const { return root_; }
  fs::path NetFolder() const { return root_ / "sys" / "class" / "net"; }
  fs::path Net(const std::string& name) const { return NetFolder() / name; }

  void Add(const FakeInterface& i) {
    fs::path device = root_ / "sys" / "devices";
    for (const auto& [name, bus] : i.device) {
      device /= name;
      fs::create_directories(device);
      if (bus.empty() || fs::is_symlink(device / "subsystem")) continue;
      fs::create_directories(root_ / "sys" / "bus" / bus);
      fs::create_directory_symlink(fs::relative(root_ / "sys" / "bus" / bus, device),
                                   device / "subsystem");
    }
    const fs::path folder =
        i.device.empty() ? device / "virtual" / "net" / i.name : device / "net" / i.name;
    fs::create_directories(folder);
    fs::create_directory_symlink(fs::relative(folder, NetFolder()), Net(i.name));
    if (!i.device.empty())
      fs::create_directory_symlink(fs::relative(device, folder), folder / "device");
    Write(folder / "type", i.type + "\n");
    Write(folder / "ifindex", std::to_string(i.ifindex) + "\n");
    if (i.address) Write(folder / "address", *i.address + "\n");
  }

  // The route table: the kernel's heading and these lines.
  void Routes(const std::string& lines) {
    Write(root_ / "proc" / "net" / "route",
          "Iface\tDestination\tGateway \tFlags\tRefCnt\tUse\tMetric\tMask\t\tMTU\tWindow\tIRTT\n" +
              lines);
  }

  static void Write(const fs::path& path, const std::string& text) {
    std::ofstream(path, std::ios::binary) << text;
  }

 private:
  static fs::path MakeFolder() {
    std::string name = (fs::temp_directory_path() / "quellmark-sysfs-XXXXXX").string();
    if (mkdtemp(name.data()) == nullptr) throw std::runtime_error("mkdtemp failed");
    return name;
  }

  fs::path root_;
  iokit::test::ScopedRoot scope_;
};

}  // namespace iokit_test
