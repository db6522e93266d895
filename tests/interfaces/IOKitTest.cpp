// The module IOKit over fake machines: which interfaces count as built in and as primary,
// in what order and with which address; the three outcomes of the enumeration; the primary
// address and the text form of addresses. The registry's handles and CoreFoundation's objects
// are checked after every test.

#include "interfaces/IOKit.h"

#include <gtest/gtest.h>

#include "tests/iokit/FakeSysfs.h"
#include "tests/iokit/HandleCheck.h"

namespace iokit_test {
namespace {

using toolkit::MemoryBlock;
using toolkit::Ref;

const char* const kA = "0a:01";  // addresses of any length are taken as they are
const char* const kB = "0b:02";

// Each Pair as " name=HEX", or " nil" for no array.
std::string Listed(const IOKit::MACAddresses& pairs) {
  if (!pairs) return " nil";
  std::string text;
  for (const Ref<toolkit::Pair>& pair : *pairs) {
    EXPECT_TRUE(pair->Right().IsString());
    text += " " + pair->Right().StringValue().Bytes() + "=" +
            toolkit::EncodeHex(pair->Left().As<MemoryBlock>()->StringValue()).Bytes();
  }
  return text;
}

// The built-in interfaces, then "|" and the primary ones, each as "name=HEX".
std::string Machine() {
  return (Listed(IOKit::AllMACAddressesRaw()) + " |" + Listed(IOKit::GetMACAddresses(true)))
      .substr(1);
}

TEST(IOKitTest, TheBuiltInAndThePrimaryInterfacesOfMachines) {
  const FakeInterface lo{"lo", 1, "00:00:00:00:00:00", kVirtual, "772"};
  const FakeInterface wg{"wg0", 9, std::nullopt, kVirtual, "65534"};
  const struct {
    std::vector<FakeInterface> interfaces;
    std::string routes;
    const char* expected;
  } machines[] = {
      {{}, DefaultRoute("eth0"), "|"},  // no interface
      // PCI, virtio and platform NICs are built in, by their indexes as numbers; routed: primary
      {{{"c", 10, kA, Pci(3)}, {"a", 2, kB, Virtio(4)}, {"b", 9, kA, PlatformBus("e")}},
       DefaultRoute("b"),
       "a=0B02 b=0A01 c=0A01 | b=0A01"},
      // USB NICs and what hangs below one aren't built in; routed, one is primary.
      {{{"eth0", 2, kA, Pci(3)}, {"usb0", 3, kB, Usb(2)}, {"wwan0", 4, kB, Usb(3, "wwan_dev")}},
       DefaultRoute("usb0"),
       "eth0=0A01 | usb0=0B02"},
      // Bridges and veth aren't built in either.
      {{{"br0", 5, kB}, {"veth1", 6, kB}, {"eth0", 2, kA, Pci(3)}}, "", "eth0=0A01 | eth0=0A01"},
      // Without a route the first built-in NIC is primary, never a USB one; without one, none.
      {{{"usb0", 2, kB, Usb(1)}, {"eth1", 4, kB, Pci(4)}, {"eth0", 3, kA, Pci(3)}},
       "",
       "eth0=0A01 eth1=0B02 | eth0=0A01"},
      {{{"br0", 2, kA}}, "", "|"},
      // The loopback and tunnels are no Ethernet: routes through them don't count.
      {{lo, wg, {"eth0", 2, kA, Pci(3)}},
       DefaultRoute("lo") + DefaultRoute("wg0"),
       "eth0=0A01 | eth0=0A01"},
      // The lowest metric wins; a tie makes several primaries.
      {{{"eth0", 2, kA, Pci(3)}, {"eth1", 3, kB, Pci(4)}, {"wlan0", 4, kA, Pci(5)}},
       DefaultRoute("eth0", 600) + DefaultRoute("wlan0", 100) + DefaultRoute("eth1", 100),
       "eth0=0A01 eth1=0B02 wlan0=0A01 | eth1=0B02 wlan0=0A01"},
      // Routes down, to a network, through an unknown interface, or unreadable: passed over.
      {{{"eth0", 7, kA, Pci(3)}, {"eth1", 5, kB, Pci(4)}},
       RouteLine("eth0", 0, 0x0002, 0, 0) + RouteLine("eth0", 0x0002A8C0, 1, 0, 0x00FFFFFF) +
           DefaultRoute("gone0") + "eth0\t0\t0\t3\t0\t0\t7\neth0\t0G\t0\t3\t0\t0\t7\t0\n" +
           "eth0\t0\t0\t3\t0\t0\t4294967296\t0\n\x01\xff garbage\n\n",
       "eth1=0B02 eth0=0A01 | eth1=0B02"},
      // An address is bytes of two digits between colons, as many as there are; else none. A
      // route's fields may be apart by blanks, its line end CR LF.
      {{{"e0", 2, {}, Pci(3)}, {"e1", 3, "", Pci(4)}, {"e2", 4, "0:1c", Pci(5)}}, "", "|"},
      {{{"e3", 5, "0a", Pci(6)}, {"e4", 6, "00:11:22", Pci(7)}, {"e5", 7, "02-fc", Pci(8)}},
       "e3 00000000 0 3 0 0 7 00000000 0 0 0\r\n",
       "e3=0A e4=001122 | e3=0A"},
      // Without a numeric `type` no Ethernet; without `ifindex` last.
      {{{"eth1", 3, kA, Pci(4), ""},
        {"eth2", 4, kA, Pci(5), "one"},
        {"eth3", -1, kA, Pci(6)},
        {"eth4", 6, kB, Pci(7)}},
       "",
       "eth4=0B02 eth3=0A01 | eth4=0B02"},
  };
  for (const auto& machine : machines) {
    const FakeSysfs sysfs(machine.interfaces, machine.routes);
    EXPECT_EQ(Machine(), machine.expected) << "machine " << &machine - machines;
  }
}

TEST(IOKitTest, ThePrimaryAddressIsTheFirstPrimarysAndWithoutARegistryThereIsNone) {
  {
    const FakeSysfs sysfs({{"eth0", 2, kB, Pci(3)}, {"eth1", 3, kA, Pci(4)}},
                          DefaultRoute("eth1") + DefaultRoute("eth0"));
    EXPECT_EQ(IOKit::PrimaryMACAddress(), "0B:02");
  }
  {
    const FakeSysfs sysfs;
    EXPECT_TRUE(IOKit::PrimaryMACAddressRaw().IsNil());  // the window shows the empty text
    fs::remove_all(sysfs.path() / "sys");
    EXPECT_EQ(Listed(IOKit::AllMACAddressesRaw()), " nil");  // the window sees the raise
  }
}

TEST(IOKitTest, AddressesFormatAsPairsOfUpperCaseDigitsJoinedByColons) {
  const std::pair<std::vector<std::uint8_t>, const char*> cases[] = {
      {{}, ""},
      {{0xFF}, "FF"},
      // Bytes under 16 keep their leading zero; no limit on the length.
      {{0x00, 0x1C, 0x42, 0x0A, 0xFF, 0x01, 0x07, 0xAB}, "00:1C:42:0A:FF:01:07:AB"},
  };
  for (const auto& [bytes, text] : cases)
    EXPECT_EQ(IOKit::FormatMACAddress(Ref<MemoryBlock>::New(bytes)), text);
  EXPECT_THROW(IOKit::FormatMACAddress(nullptr), toolkit::NilObjectException);
}

}  // namespace
}  // namespace iokit_test
