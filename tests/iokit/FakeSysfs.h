#pragma once

// A fake /sys and /proc in a scratch folder, laid out as Linux lays them out: each interface
// is a folder below its device in sys/devices, reached through a relative link in
// sys/class/net, with a relative `device` link back up; devices name their bus through a
// `subsystem` link. While a FakeSysfs lives, the IOKit stand-in reads it instead of "/".

#include <cstdio>
#include <filesystem>
#include <optional>
#include <string>
#include <vector>

#include "platform/iokit/TestRoot.h"
#include "tests/support/Scratch.h"

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
  DevicePath path = {{"pci0000:00", ""}, {"0000:00:14.0", "pci"}, {"usb1", "usb"}};
  path.insert(path.end(), {{device, "usb"}, {device + ":1.0", "usb"}});
  if (!below.empty()) path.emplace_back(below, "wwan");
  return path;
}
inline DevicePath PlatformBus(const std::string& name) {
  return {{"platform", ""}, {"soc", "platform"}, {name, "platform"}};
}
inline const DevicePath kVirtual = {};  // no device: bridges, veth, tap, dummy

struct FakeInterface {
  std::string name;
  int ifindex;                         // below 0: no such file
  std::optional<std::string> address;  // the text of `address`; none: no such file
  DevicePath device = kVirtual;
  std::string type = "1";  // ARPHRD_ETHER; 772 is loopback, 65534 a tunnel; "": no such file
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

class FakeSysfs : public test_support::ScratchFolder {
 public:
  explicit FakeSysfs(const std::vector<FakeInterface>& interfaces = {},
                     const std::string& routes = "")
      : scope_(path()) {
    Folder("sys/class/net");
    for (const FakeInterface& i : interfaces)
      Add(i);
    Routes(routes);
  }

  void Add(const FakeInterface& i) const {
    fs::path device = "sys/devices";
    for (const auto& [name, bus] : i.device) {
      device /= name;
      Folder(device);
      if (bus.empty() || fs::is_symlink(path() / device / "subsystem")) continue;
      Folder("sys/bus/" + bus);
      Link(device / "subsystem", fs::path("sys/bus/" + bus).lexically_relative(device));
    }
    const fs::path folder = device / (i.device.empty() ? "virtual/net" : "net") / i.name;
    if (!i.type.empty()) Write(folder / "type", i.type + "\n");
    if (i.ifindex >= 0) Write(folder / "ifindex", std::to_string(i.ifindex) + "\n");
    if (i.address) Write(folder / "address", *i.address + "\n");
    Link("sys/class/net/" + i.name, folder.lexically_relative("sys/class/net"));
    if (!i.device.empty()) Link(folder / "device", device.lexically_relative(folder));
  }

  // The route table: the kernel's heading and these lines.
  void Routes(const std::string& lines) const {
    Write("proc/net/route",
          "Iface\tDestination\tGateway \tFlags\tRefCnt\tUse\tMetric\tMask\t\tMTU\tWindow\tIRTT\n" +
              lines);
  }

 private:
  iokit::test::ScopedRoot scope_;
};

}  // namespace iokit_test
