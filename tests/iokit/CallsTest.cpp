// The seven calls as the platform defines them: what each takes, gives and owns. Which
// interfaces a machine's registry holds, and with what, the module's tests tell
// (tests/interfaces).

#include <gtest/gtest.h>

#include "platform/iokit/IOKitLib.h"
#include "tests/cf/Support.h"
#include "tests/iokit/FakeSysfs.h"
#include "tests/iokit/HandleCheck.h"

namespace iokit_test {
namespace {

using cf_test::NewString;
using cf_test::Owned;
using Strings = std::vector<std::string>;

// A property of an entry, owned by the caller.
CFTypeRef Property(io_registry_entry_t entry, const char* key) {
  return IORegistryEntryCreateCFProperty(entry, Owned<CFStringRef>(NewString(key)), nullptr, 0);
}

// The BSD names of the services of an iterator. Gives back every handle, the iterator's too.
Strings Names(io_iterator_t iterator) {
  Strings names;
  while (const io_object_t service = IOIteratorNext(iterator)) {
    names.push_back(cf_test::TakeText(static_cast<CFStringRef>(Property(service, "BSD Name"))));
    IOObjectRelease(service);
  }
  if (iterator != IO_OBJECT_NULL) IOObjectRelease(iterator);
  return names;
}

// Two built-in NICs, a USB adapter and a bridge.
class CallsTest : public testing::Test {
 protected:
  FakeSysfs sysfs{{{"eth0", 2, "00:1c:42:0a:ff:01", Pci(3)},
                   {"eth1", 3, "00:1c:42:0a:ff:02", Virtio(4)},
                   {"usb0", 4, "00:11:22:33:44:55", Usb(1)},
                   {"br0", 5, "02:42:ac:11:00:01"}}};
};

TEST_F(CallsTest, GettingTheServicesConsumesOneCountOfTheDictionaryWhateverHappens) {
  mach_port_t port = MACH_PORT_NULL;
  ASSERT_EQ(IOMasterPort(MACH_PORT_NULL, &port), kIOReturnSuccess);
  const Owned<CFMutableDictionaryRef> matching(IOServiceMatching("IOEthernetInterface"));
  ASSERT_EQ(CFGetRetainCount(matching), 1);  // IOServiceMatching's is the caller's count
  const auto get = [&matching](mach_port_t master, io_iterator_t* iterator) {
    CFRetain(matching);  // the count that the call takes
    const IOReturn status = IOServiceGetMatchingServices(master, matching, iterator);
    EXPECT_EQ(CFGetRetainCount(matching), 1);
    return status;
  };
  io_iterator_t iterator = IO_OBJECT_NULL;
  EXPECT_EQ(get(port, &iterator), kIOReturnSuccess);
  EXPECT_EQ(Names(iterator), (Strings{"eth0", "eth1", "usb0", "br0"}));
  iterator = 12345;
  EXPECT_EQ(get(port + 1, &iterator), kIOReturnBadArgument);  // no such master port
  EXPECT_EQ(iterator, IO_OBJECT_NULL);
  EXPECT_EQ(get(kIOMasterPortDefault, nullptr), kIOReturnBadArgument);
  fs::remove_all(sysfs.path() / "sys");  // no registry: no master port and no services
  EXPECT_EQ(IOMasterPort(MACH_PORT_NULL, &port), kIOReturnNoDevice);
  EXPECT_EQ(get(kIOMasterPortDefault, &iterator), kIOReturnNoDevice);
}

TEST_F(CallsTest, HandlesAreCountedAndDeadHandlesAreRefused) {
  handleRefusalsExpected = true;
  const std::int64_t live = iokit::LiveObjects();
  io_iterator_t iterator = IO_OBJECT_NULL;
  IOServiceGetMatchingServices(kIOMasterPortDefault, IOServiceMatching("IOEthernetInterface"),
                               &iterator);
  const io_object_t eth0 = IOIteratorNext(iterator);
  const io_object_t eth1 = IOIteratorNext(iterator);
  EXPECT_EQ(iokit::LiveObjects(), live + 3);

  // The parent asked for twice is one handle with two counts; it has no parent itself.
  io_registry_entry_t parent = IO_OBJECT_NULL, same = IO_OBJECT_NULL, none = IO_OBJECT_NULL;
  IORegistryEntryGetParentEntry(eth0, kIOServicePlane, &parent);
  IORegistryEntryGetParentEntry(eth0, kIOServicePlane, &same);
  EXPECT_EQ(std::pair(parent, iokit::LiveObjects()), std::pair(same, live + 4));
  EXPECT_EQ(IORegistryEntryGetParentEntry(parent, kIOServicePlane, &none), kIOReturnNoDevice);
  IOObjectRelease(parent);
  EXPECT_NE(Owned<CFTypeRef>(Property(same, "IOMACAddress")).get(), nullptr);  // one count left
  IOObjectRelease(same);

  // Handles of the wrong kind, and handles given back, name nothing, and are counted.
  const std::int64_t refusals = iokit::Refusals();
  EXPECT_EQ(IOIteratorNext(eth0), IO_OBJECT_NULL);
  EXPECT_EQ(IOObjectRelease(eth0), kIOReturnSuccess);
  EXPECT_EQ(IOObjectRelease(eth0), kIOReturnBadArgument);
  EXPECT_EQ(Property(eth0, "BSD Name"), nullptr);
  EXPECT_EQ(iokit::Refusals(), refusals + 3);
  EXPECT_TRUE(iokit::DescribeLiveObjects().back().ends_with(" IOEthernetInterface eth1 (1)"));
  IOObjectRelease(eth1);
  EXPECT_EQ(Names(iterator), (Strings{"usb0", "br0"}));  // the rest, then the end
  EXPECT_EQ(iokit::LiveObjects(), live);
}

}  // namespace
}  // namespace iokit_test
