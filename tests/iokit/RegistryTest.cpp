// What the registry holds for a machine: which interfaces are services, which are built in,
// which is primary, in what order, with which address.

#include <gtest/gtest.h>

#include "tests/iokit/Support.h"

namespace iokit_test {
namespace {

using Strings = std::vector<std::string>;

const char* const kMac = "00:1c:42:0a:ff:01";
const char* const kMAC = "00:1C:42:0A:FF:01";

struct Machine {
  const char* why;
  std::vector<FakeInterface> interfaces;
  std::string routes;
  Strings expected;  // as Describe gives them
};

TEST(RegistryTest, MachinesAsTheRegistryShowsThem) {
  const FakeInterface loopback{"lo", 1, "00:00:00:00:00:00", kVirtual, "772"};
  const Machine machines[] = {
      {"a PCI NIC with the default route, beside the loopback, which is no Ethernet",
       {loopback, {"eth0", 2, kMac, Pci(3)}},
       DefaultRoute("eth0") + RouteLine("eth0", 0x0002A8C0, 0x0001, 0, 0x00FFFFFF),
       {std::string("eth0 builtin primary ") + kMAC}},
      {"a virtio NIC is built in, and primary for want of a default route",
       {{"ens3", 2, "52:54:00:12:34:56", Virtio(3)}},
       "",
       {"ens3 builtin primary 52:54:00:12:34:56"}},
      {"a platform-bus NIC is built in",
       {{"end0", 2, "d6:3a:05:11:22:33", PlatformBus("ff3f0000.ethernet")}},
       DefaultRoute("end0"),
       {"end0 builtin primary D6:3A:05:11:22:33"}},
      {"a USB NIC isn't built in; with the default route it is primary all the same",
       {{"eth0", 2, kMac, Pci(3)}, {"enx001122334455", 3, "00:11:22:33:44:55", Usb(2)}},
       DefaultRoute("enx001122334455"),
       {std::string("eth0 builtin ") + kMAC, "enx001122334455 primary 00:11:22:33:44:55"}},
      {"a USB NIC is never the fallback primary, even with the lowest index",
       {{"usb0", 2, "00:11:22:33:44:55", Usb(1)}, {"eth0", 3, kMac, Pci(3)}},
       "",
       {"usb0 00:11:22:33:44:55", std::string("eth0 builtin primary ") + kMAC}},
      {"a device below a USB device is on USB, whatever its own bus",
       {{"wwan0", 2, "02:00:00:00:00:01",
         [] {
           DevicePath path = Usb(3);
           path.push_back({"wwan_dev", "wwan"});
           return path;
         }()}},
       "",
       {"wwan0 02:00:00:00:00:01"}},
      {"bridges, veth and taps are services without being built in; tunnels are no Ethernet",
       {{"eth0", 2, kMac, Pci(3)},
        {"br0", 3, "02:42:ac:11:00:01"},
        {"veth1a2b", 4, "7a:1f:00:00:00:02"},
        {"tap0", 5, "fe:00:00:00:00:03"},
        {"tun0", 6, std::nullopt, kVirtual, "65534"},
        {"wg0", 7, std::nullopt, kVirtual, "65534"}},
       DefaultRoute("br0"),
       {std::string("eth0 builtin ") + kMAC, "br0 primary 02:42:AC:11:00:01",
        "veth1a2b 7A:1F:00:00:00:02", "tap0 FE:00:00:00:00:03"}},
      {"a missing, empty or malformed address leaves the controller without one; a short one is "
       "kept",
       {{"eth0", 2, std::nullopt, Pci(3)},
        {"eth1", 3, "", Pci(4)},
        {"eth2", 4, "00:1c:42:0a:ff", Pci(5)},
        {"eth3", 5, "0:1c:42:0a:ff:01", Pci(6)},
        {"eth4", 6, "zz:1c:42:0a:ff:01", Pci(7)}},
       "",
       {"eth0 builtin primary -", "eth1 builtin -", "eth2 builtin 00:1C:42:0A:FF", "eth3 builtin -",
        "eth4 builtin -"}},
      {"an address of eight bytes is kept as it is",
       {{"eth0", 2, "00:11:22:33:44:55:66:77", Pci(3)}},
       "",
       {"eth0 builtin primary 00:11:22:33:44:55:66:77"}},
      {"no interfaces at all", {}, DefaultRoute("eth0"), {}},
      {"only the loopback", {loopback}, "", {}},
      {"two default routes of one metric: both interfaces are primary",
       {{"eth0", 2, kMac, Pci(3)}, {"eth1", 3, "00:1c:42:0a:ff:02", Pci(4)}},
       DefaultRoute("eth1", 100) + DefaultRoute("eth0", 100),
       {std::string("eth0 builtin primary ") + kMAC, "eth1 builtin primary 00:1C:42:0A:FF:02"}},
      {"default routes of different metrics: the lowest wins",
       {{"eth0", 2, kMac, Pci(3)}, {"wlan0", 3, "00:1c:42:0a:ff:02", Pci(4)}},
       DefaultRoute("eth0", 600) + DefaultRoute("wlan0", 100),
       {std::string("eth0 builtin ") + kMAC, "wlan0 builtin primary 00:1C:42:0A:FF:02"}},
      {"a default route through a tunnel: the built-in interface of the lowest index",
       {{"eth0", 7, kMac, Pci(3)},
        {"eth1", 5, "00:1c:42:0a:ff:02", Pci(4)},
        {"wg0", 2, std::nullopt, kVirtual, "65534"}},
       DefaultRoute("wg0", 0) + DefaultRoute("eth0", 100),
       {"eth1 builtin 00:1C:42:0A:FF:02", std::string("eth0 builtin primary ") + kMAC}},
      {"a default route through no interface there is passed over",
       {{"eth1", 5, "00:1c:42:0a:ff:02", Pci(4)}, {"eth0", 7, kMac, Pci(3)}},
       DefaultRoute("gone0"),
       {"eth1 builtin primary 00:1C:42:0A:FF:02", std::string("eth0 builtin ") + kMAC}},
      {"a default route that is down is no route",
       {{"eth0", 2, kMac, Pci(3)}, {"eth1", 3, "00:1c:42:0a:ff:02", Pci(4)}},
       RouteLine("eth1", 0, 0x0002, 0, 0),
       {std::string("eth0 builtin primary ") + kMAC, "eth1 builtin 00:1C:42:0A:FF:02"}},
      {"a route to a network, or a host route, is no default route",
       {{"eth0", 2, kMac, Pci(3)}, {"eth1", 3, "00:1c:42:0a:ff:02", Pci(4)}},
       RouteLine("eth1", 0x0002A8C0, 0x0001, 0, 0x00FFFFFF) + RouteLine("eth1", 0, 0x0005, 0, 1),
       {std::string("eth0 builtin primary ") + kMAC, "eth1 builtin 00:1C:42:0A:FF:02"}},
      {"no default route and no built-in interface: nothing is primary",
       {{"br0", 2, "02:42:ac:11:00:01"}, {"usb0", 3, "00:11:22:33:44:55", Usb(1)}},
       "",
       {"br0 02:42:AC:11:00:01", "usb0 00:11:22:33:44:55"}},
      {"the order is that of the indexes as numbers, not of the names",
       {{"c", 10, "00:00:00:00:00:0c", Pci(3)},
        {"a", 2, "00:00:00:00:00:0a", Pci(4)},
        {"b", 9, "00:00:00:00:00:0b", Pci(5)}},
       DefaultRoute("b"),
       {"a builtin 00:00:00:00:00:0A", "b builtin primary 00:00:00:00:00:0B",
        "c builtin 00:00:00:00:00:0C"}},
  };
  for (const Machine& machine : machines) {
    SCOPED_TRACE(machine.why);
    const FakeSysfs sysfs(machine.interfaces, machine.routes);
    EXPECT_EQ(AllInterfaces(), machine.expected);
    EXPECT_EQ(iokit::LiveObjects(), 0);
  }
}

TEST(RegistryTest, FilesThatCantBeReadLeaveTheirInterfaceWithoutWhatTheyTell) {
  FakeSysfs sysfs;
  sysfs.Add({"eth0", 2, kMac, Pci(3)});
  sysfs.Add({"eth1", 3, kMac, Pci(4)});
  sysfs.Add({"eth2", 4, kMac, Pci(5)});
  sysfs.Add({"eth3", 5, kMac, Pci(6)});
  // A device link that leads nowhere is no device; an interface without `type` or with a type
  // that is no number is no Ethernet; one without `ifindex` comes last.
  fs::remove(sysfs.Net("eth0") / "device");
  fs::create_directory_symlink("../../../0000:00:09.0", sysfs.Net("eth0") / "device");
  fs::remove(sysfs.Net("eth1") / "type");
  FakeSysfs::Write(sysfs.Net("eth2") / "type", "one\n");
  fs::remove(sysfs.Net("eth3") / "ifindex");
  sysfs.Add({"eth4", 6, kMac, Pci(7)});
  EXPECT_EQ(AllInterfaces(),
            (Strings{std::string("eth0 ") + kMAC, std::string("eth4 builtin primary ") + kMAC,
                     std::string("eth3 builtin ") + kMAC}));
}

TEST(RegistryTest, AFolderOfInterfacesThatIsNoFolderIsNoRegistry) {
  FakeSysfs sysfs;
  fs::remove(sysfs.NetFolder());
  FakeSysfs::Write(sysfs.NetFolder(), "not a folder");
  mach_port_t port = MACH_PORT_NULL;
  EXPECT_EQ(IOMasterPort(MACH_PORT_NULL, &port), kIOReturnNoDevice);
  io_iterator_t iterator = 99;
  EXPECT_EQ(IOServiceGetMatchingServices(kIOMasterPortDefault,
                                         IOServiceMatching("IOEthernetInterface"), &iterator),
            kIOReturnNoDevice);
  EXPECT_EQ(iterator, IO_OBJECT_NULL);
}

TEST(RegistryTest, EachMatchingReadsTheMachineAfreshAndEachIteratorKeepsWhatItRead) {
  FakeSysfs sysfs({{"eth0", 2, kMac, Pci(3)}}, "");
  io_iterator_t before = IO_OBJECT_NULL;
  ASSERT_EQ(IOServiceGetMatchingServices(kIOMasterPortDefault,
                                         IOServiceMatching("IOEthernetInterface"), &before),
            kIOReturnSuccess);
  // The machine changes: a new adapter, a new address, the default route through it.
  sysfs.Add({"eth1", 3, "00:1c:42:0a:ff:02", Pci(4)});
  FakeSysfs::Write(sysfs.Net("eth0") / "address", "02:00:00:00:00:00\n");
  sysfs.Routes(DefaultRoute("eth1"));
  EXPECT_EQ(Describe(before), Strings{std::string("eth0 builtin primary ") + kMAC});
  EXPECT_EQ(AllInterfaces(),
            (Strings{"eth0 builtin 02:00:00:00:00:00", "eth1 builtin primary 00:1C:42:0A:FF:02"}));

  // An iterator reads nothing more: it delivers what it found even when the tree has gone.
  io_iterator_t kept = IO_OBJECT_NULL;
  ASSERT_EQ(IOServiceGetMatchingServices(kIOMasterPortDefault,
                                         IOServiceMatching("IOEthernetInterface"), &kept),
            kIOReturnSuccess);
  fs::remove_all(sysfs.root() / "sys");
  EXPECT_EQ(Describe(kept),
            (Strings{"eth0 builtin 02:00:00:00:00:00", "eth1 builtin primary 00:1C:42:0A:FF:02"}));
}

}  // namespace
}  // namespace iokit_test
