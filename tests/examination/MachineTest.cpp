// This machine's identifiers for the device hash, over fake machines: the primary interface's
// address first, then each built-in interface's, each address once and named by its interface;
// none where the registry can't be asked. Handles and CoreFoundation's objects are counted after
// every test.

#include "examination/Machine.h"

#include <gtest/gtest.h>

#include "tests/iokit/FakeSysfs.h"

namespace iokit_test {
namespace {

// Each identifier as "label=text", in order.
std::string Listed() {
  std::string text;
  for (const Examination::DeviceIdentifier& id : Examination::MachineIdentifiers())
    text += id.label + "=" + id.text + (id.bytes.size() == 6 ? " " : "(not 6 bytes) ");
  return text;
}

TEST(ExaminationMachine, ThePrimaryFirstThenEachBuiltInAddressOnce) {
  const char* const mac = "f8:ff:c2:1e:91:82";
  const struct {
    std::vector<FakeInterface> interfaces;
    std::string routes;
    const char* expected;
  } machines[] = {
      {{}, "", ""},
      // The routed one first; a USB adapter is no built-in interface.
      {{{"eth0", 2, mac, Pci(3)},
        {"eth1", 3, "02:fc:00:00:00:01", Pci(4)},
        {"usb0", 4, mac, Usb(1)}},
       DefaultRoute("eth1"),
       "eth1 (primary)=02:FC:00:00:00:01 eth0=F8:FF:C2:1E:91:82 "},
      // A routed USB adapter is primary all the same; two interfaces of one address, one try.
      {{{"eth0", 2, mac, Pci(3)},
        {"eth1", 3, mac, Pci(4)},
        {"usb0", 4, "02:fc:00:00:00:02", Usb(1)}},
       DefaultRoute("usb0"),
       "usb0 (primary)=02:FC:00:00:00:02 eth0=F8:FF:C2:1E:91:82 "},
  };
  for (const auto& machine : machines) {
    const FakeSysfs sysfs(machine.interfaces, machine.routes);
    EXPECT_EQ(Listed(), machine.expected) << "machine " << &machine - machines;
  }
  const FakeSysfs gone({{"eth0", 2, mac, Pci(3)}});
  fs::remove_all(gone.path() / "sys");
  EXPECT_EQ(Listed(), "");
}

}  // namespace
}  // namespace iokit_test
