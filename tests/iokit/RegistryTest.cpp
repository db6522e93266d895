// What the registry holds for a machine: which interfaces are services, which are built in,
// which are primary, in what order, with which address.

#include <gtest/gtest.h>

#include "tests/iokit/Support.h"

namespace iokit_test {
namespace {

const char* const kA = "00:1c:42:0a:ff:01";
const char* const kB = "00:1c:42:0a:ff:02";

TEST(RegistryTest, MachinesAsTheRegistryShowsThem) {
  const FakeInterface lo{"lo", 1, "00:00:00:00:00:00", kVirtual, "772"};
  const FakeInterface wg{"wg0", 9, std::nullopt, kVirtual, "65534"};
  const struct {
    const char* why;
    std::vector<FakeInterface> interfaces;
    std::string routes;
    Strings expected;
  } machines[] = {
      {"a PCI NIC with the default route; the loopback is no Ethernet",
       {lo, {"eth0", 2, kA, Pci(3)}},
       DefaultRoute("eth0") + RouteLine("eth0", 0x0002A8C0, 1, 0, 0x00FFFFFF),
       {"eth0 builtin primary 00:1C:42:0A:FF:01"}},
      {"virtio and platform NICs are built in; without a route the lowest index is primary",
       {{"end0", 5, kB, PlatformBus("ff3f0000.ethernet")}, {"ens3", 3, kA, Virtio(3)}},
       "",
       {"ens3 builtin primary 00:1C:42:0A:FF:01", "end0 builtin 00:1C:42:0A:FF:02"}},
      {"a USB NIC isn't built in, nor is what hangs below one; a route makes it primary",
       {{"eth0", 2, kA, Pci(3)}, {"usb0", 3, kB, Usb(2)}, {"wwan0", 4, kB, Usb(3, "wwan_dev")}},
       DefaultRoute("usb0"),
       {"eth0 builtin 00:1C:42:0A:FF:01", "usb0 primary 00:1C:42:0A:FF:02",
        "wwan0 00:1C:42:0A:FF:02"}},
      {"a USB NIC is never the fallback primary, even with the lowest index",
       {{"usb0", 2, kB, Usb(1)}, {"eth0", 3, kA, Pci(3)}},
       "",
       {"usb0 00:1C:42:0A:FF:02", "eth0 builtin primary 00:1C:42:0A:FF:01"}},
      {"bridges, veth and taps are services that aren't built in; tunnels are no Ethernet",
       {{"eth0", 2, kA, Pci(3)}, {"br0", 3, kB}, {"veth1", 4, kB}, {"tap0", 5, kB}, wg},
       DefaultRoute("br0"),
       {"eth0 builtin 00:1C:42:0A:FF:01", "br0 primary 00:1C:42:0A:FF:02",
        "veth1 00:1C:42:0A:FF:02", "tap0 00:1C:42:0A:FF:02"}},
      {"no address, an empty or malformed one: none; short and long ones as they are",
       {{"eth0", 2, std::nullopt, Pci(3)},
        {"eth1", 3, "", Pci(4)},
        {"eth2", 4, "0:1c:42:0a:ff:01", Pci(5)},
        {"eth3", 5, "0a", Pci(6)},
        {"eth4", 6, "00:11:22:33:44:55:66:77", Pci(7)},
        {"eth5", 7, "02-fc-00-00-00-01", Pci(8)},
        {"eth6", 8, "02:fc:", Pci(9)},
        {"eth7", 9, "+2:zz", PlatformBus("e")}},
       "",
       {"eth0 builtin primary -", "eth1 builtin -", "eth2 builtin -", "eth3 builtin 0A",
        "eth4 builtin 00:11:22:33:44:55:66:77", "eth5 builtin -", "eth6 builtin -",
        "eth7 builtin -"}},
      {"lines of a route table that aren't routes are passed over",
       {{"eth0", 2, kA, Pci(3)}, {"eth1", 3, kB, Pci(4)}},
       "eth0\t0\t0\t3\t0\t0\t7\neth0\t0G\t0\t3\t0\t0\t7\t0\n"
       "eth0\t0\t0\t3\t0\t0\t4294967296\t0\n\x01\xff garbage\n\n"
       "eth1 00000000 0 3 0 0 7 00000000 0 0 0\r\n",
       {"eth0 builtin 00:1C:42:0A:FF:01", "eth1 builtin primary 00:1C:42:0A:FF:02"}},
      {"no interfaces at all", {}, DefaultRoute("eth0"), {}},
      {"only the loopback", {lo}, "", {}},
      {"two default routes of one metric: both are primary",
       {{"eth0", 2, kA, Pci(3)}, {"eth1", 3, kB, Pci(4)}},
       DefaultRoute("eth1", 100) + DefaultRoute("eth0", 100),
       {"eth0 builtin primary 00:1C:42:0A:FF:01", "eth1 builtin primary 00:1C:42:0A:FF:02"}},
      {"default routes of different metrics: the lowest",
       {{"eth0", 2, kA, Pci(3)}, {"wlan0", 3, kB, Pci(4)}},
       DefaultRoute("eth0", 600) + DefaultRoute("wlan0", 100),
       {"eth0 builtin 00:1C:42:0A:FF:01", "wlan0 builtin primary 00:1C:42:0A:FF:02"}},
      {"routes through a tunnel, an unknown interface, down, or to a network: the fallback",
       {{"eth0", 7, kA, Pci(3)}, {"eth1", 5, kB, Pci(4)}, wg},
       DefaultRoute("wg0") + DefaultRoute("gone0") + RouteLine("eth0", 0, 0x0002, 0, 0) +
           RouteLine("eth0", 0x0002A8C0, 1, 0, 0x00FFFFFF),
       {"eth1 builtin primary 00:1C:42:0A:FF:02", "eth0 builtin 00:1C:42:0A:FF:01"}},
      {"no route and nothing built in: no primary",
       {{"br0", 2, kA}, {"usb0", 3, kB, Usb(1)}},
       "",
       {"br0 00:1C:42:0A:FF:01", "usb0 00:1C:42:0A:FF:02"}},
      {"in the order of the indexes as numbers, not of the names",
       {{"c", 10, kA, Pci(3)}, {"a", 2, kA, Pci(4)}, {"b", 9, kA, Pci(5)}},
       DefaultRoute("b"),
       {"a builtin 00:1C:42:0A:FF:01", "b builtin primary 00:1C:42:0A:FF:01",
        "c builtin 00:1C:42:0A:FF:01"}},
  };
  for (const auto& machine : machines) {
    const FakeSysfs sysfs(machine.interfaces, machine.routes);
    EXPECT_EQ(AllInterfaces(), machine.expected) << machine.why;
  }
}

TEST(RegistryTest, FilesThatCantBeReadLeaveTheirInterfaceWithoutWhatTheyTell) {
  FakeSysfs sysfs({{"eth0", 2, kA, Pci(3)},
                   {"eth1", 3, kA, Pci(4)},
                   {"eth2", 4, kA, Pci(5)},
                   {"eth3", 5, kA, Pci(6)},
                   {"eth4", 6, kA, Pci(7)}});
  // A device link that leads nowhere is no device; without a numeric `type` no Ethernet;
  // without `ifindex` last.
  fs::remove(sysfs.Net("eth0") / "device");
  fs::create_directory_symlink("../../../0000:00:09.0", sysfs.Net("eth0") / "device");
  fs::remove(sysfs.Net("eth1") / "type");
  FakeSysfs::Write(sysfs.Net("eth2") / "type", "one\n");
  fs::remove(sysfs.Net("eth3") / "ifindex");
  EXPECT_EQ(AllInterfaces(),
            (Strings{"eth0 00:1C:42:0A:FF:01", "eth4 builtin primary 00:1C:42:0A:FF:01",
                     "eth3 builtin 00:1C:42:0A:FF:01"}));
}

TEST(RegistryTest, EachMatchingReadsTheMachineAfreshAndItsIteratorKeepsWhatItRead) {
  FakeSysfs sysfs({{"eth0", 2, kA, Pci(3)}});
  const io_iterator_t before = Iterate(IOServiceMatching("IOEthernetInterface"));
  sysfs.Add({"eth1", 3, kB, Pci(4)});
  FakeSysfs::Write(sysfs.Net("eth0") / "address", "02:00:00:00:00:00\n");
  sysfs.Routes(DefaultRoute("eth1"));
  const io_iterator_t after = Iterate(IOServiceMatching("IOEthernetInterface"));
  fs::remove_all(sysfs.root() / "sys");
  EXPECT_EQ(Describe(before), Strings{"eth0 builtin primary 00:1C:42:0A:FF:01"});
  EXPECT_EQ(Describe(after),
            (Strings{"eth0 builtin 02:00:00:00:00:00", "eth1 builtin primary 00:1C:42:0A:FF:02"}));
}

}  // namespace
}  // namespace iokit_test
