// The seven calls as the platform defines them: what each takes, gives and owns.

#include <gtest/gtest.h>

#include "tests/iokit/Support.h"

namespace iokit_test {
namespace {

// Two built-in NICs (the second on the default route), a USB adapter and a bridge.
class CallsTest : public testing::Test {
 protected:
  FakeSysfs sysfs{{{"eth0", 2, "00:1c:42:0a:ff:01", Pci(3)},
                   {"eth1", 3, "00:1c:42:0a:ff:02", Virtio(4)},
                   {"usb0", 4, "00:11:22:33:44:55", Usb(1)},
                   {"br0", 5, "02:42:ac:11:00:01"}},
                  DefaultRoute("eth1")};
};

TEST_F(CallsTest, GettingTheServicesConsumesOneCountOfTheDictionaryWhateverHappens) {
  mach_port_t port = MACH_PORT_NULL;
  ASSERT_EQ(IOMasterPort(MACH_PORT_NULL, &port), kIOReturnSuccess);
  EXPECT_EQ(IOMasterPort(MACH_PORT_NULL, nullptr), kIOReturnBadArgument);
  const Owned<CFStringRef> string(NewString("IOEthernetInterface"));
  const Owned<CFMutableDictionaryRef> badClass(Matching("IOEthernetInterface", {}));
  CFDictionarySetValue(badClass, Owned<CFStringRef>(NewString("IOProviderClass")), True());
  const Owned<CFMutableDictionaryRef> badMatch(IOServiceMatching("IOEthernetInterface"));
  CFDictionarySetValue(badMatch, Owned<CFStringRef>(NewString("IOPropertyMatch")), True());
  const Owned<CFMutableDictionaryRef> good(IOServiceMatching("IOEthernetInterface"));
  ASSERT_EQ(CFGetRetainCount(good), 1);  // IOServiceMatching's is the caller's count
  io_iterator_t iterator = IO_OBJECT_NULL;
  const struct {
    const char* why;
    mach_port_t port;
    CFTypeRef matching;
    io_iterator_t* existing;
    IOReturn status;
  } cases[] = {
      {"the port of IOMasterPort", port, good, &iterator, kIOReturnSuccess},
      {"the default port", kIOMasterPortDefault, good, &iterator, kIOReturnSuccess},
      {"no master port", port + 1, good, &iterator, kIOReturnBadArgument},
      {"no place for the iterator", port, good, nullptr, kIOReturnBadArgument},
      {"a class that is no string", port, badClass, &iterator, kIOReturnBadArgument},
      {"properties that are no dictionary", port, badMatch, &iterator, kIOReturnBadArgument},
      {"no dictionary", port, string, &iterator, kIOReturnBadArgument},
  };
  for (const auto& c : cases) {
    CFRetain(c.matching);  // the count that the call takes
    iterator = 12345;
    EXPECT_EQ(
        IOServiceGetMatchingServices(c.port, static_cast<CFDictionaryRef>(c.matching), c.existing),
        c.status)
        << c.why;
    EXPECT_EQ(CFGetRetainCount(c.matching), 1) << c.why;
    const std::size_t found = c.status == kIOReturnSuccess ? Describe(iterator).size() : 0;
    EXPECT_EQ(found, c.status == kIOReturnSuccess ? 4u : 0u) << c.why;
    EXPECT_EQ(iterator == IO_OBJECT_NULL, c.status != kIOReturnSuccess && c.existing) << c.why;
  }
  // Without a registry there is no master port and no iterator, but the count goes all the same.
  fs::remove_all(sysfs.root() / "sys");
  EXPECT_EQ(IOMasterPort(MACH_PORT_NULL, &port), kIOReturnNoDevice);
  CFRetain(good);
  EXPECT_EQ(IOServiceGetMatchingServices(kIOMasterPortDefault, good, &iterator), kIOReturnNoDevice);
  EXPECT_EQ(CFGetRetainCount(good), 1);
  EXPECT_EQ(iterator, IO_OBJECT_NULL);
}

TEST_F(CallsTest, ServicesMatchByClassAndByPropertiesWithEqualValues) {
  const Owned<CFStringRef> eth1(NewString("eth1"));
  const int number = 1;
  const Owned<CFNumberRef> one(CFNumberCreate(nullptr, kCFNumberIntType, &number));
  const struct {
    const char* className;
    std::vector<std::pair<const char*, CFTypeRef>> properties;
    Strings names;  // "-" for a controller, which has no name
  } cases[] = {
      {"IOEthernetInterface", {{"IOBuiltin", True()}}, {"eth0", "eth1"}},
      {"IOEthernetInterface", {{"IOBuiltin", False()}}, {"usb0", "br0"}},
      {"IOEthernetInterface", {{"IOPrimaryInterface", True()}}, {"eth1"}},
      {"IOEthernetInterface", {{"IOBuiltin", True()}, {"IOPrimaryInterface", False()}}, {"eth0"}},
      {"IOEthernetInterface", {{"BSD Name", eth1.get()}}, {"eth1"}},
      {"IOEthernetInterface", {{"IOBuiltin", one.get()}}, {}},      // a value of another type
      {"IOEthernetInterface", {{"IOMACAddress", True()}}, {}},      // the controllers' property
      {"IONetworkInterface", {}, {"eth0", "eth1", "usb0", "br0"}},  // a superclass
      {"IOEthernetController", {}, {"-", "-", "-", "-"}},
      {"IOService", {{"IOBuiltin", True()}}, {"eth0", "eth1"}},
      {"IOService", {}, {"-", "eth0", "-", "eth1", "-", "usb0", "-", "br0"}},
      {"IOUSBHostDevice", {}, {}},
  };
  for (const auto& c : cases) {
    const io_iterator_t iterator = Iterate(Matching(c.className, c.properties));
    Strings names;
    while (const io_object_t service = IOIteratorNext(iterator)) {
      names.push_back(Text(service, "BSD Name"));
      IOObjectRelease(service);
    }
    IOObjectRelease(iterator);
    EXPECT_EQ(names, c.names) << c.className << " " << c.properties.size();
  }
}

TEST_F(CallsTest, HandlesAreCountedPropertiesAreNewAndDeadHandlesAreRefused) {
  handleRefusalsExpected = true;
  const std::int64_t live = iokit::LiveObjects();
  const io_iterator_t iterator = Iterate(Matching("IOEthernetInterface", {{"IOBuiltin", True()}}));
  const io_object_t eth0 = IOIteratorNext(iterator);
  const io_object_t eth1 = IOIteratorNext(iterator);
  EXPECT_EQ(IOIteratorNext(iterator), IO_OBJECT_NULL);  // the end stays the end
  EXPECT_EQ(IOIteratorNext(iterator), IO_OBJECT_NULL);
  EXPECT_EQ(iokit::LiveObjects(), live + 3);

  // The parent asked for twice is one handle with two counts; it has no parent itself.
  io_registry_entry_t parent = IO_OBJECT_NULL, same = IO_OBJECT_NULL, none = IO_OBJECT_NULL;
  ASSERT_EQ(IORegistryEntryGetParentEntry(eth0, kIOServicePlane, &parent), kIOReturnSuccess);
  ASSERT_EQ(IORegistryEntryGetParentEntry(eth0, kIOServicePlane, &same), kIOReturnSuccess);
  EXPECT_EQ(parent, same);
  EXPECT_NE(parent, eth1);
  EXPECT_EQ(IORegistryEntryGetParentEntry(parent, kIOServicePlane, &none), kIOReturnNoDevice);
  EXPECT_EQ(IORegistryEntryGetParentEntry(eth0, "IODeviceTree", &none), kIOReturnBadArgument);
  EXPECT_EQ(IORegistryEntryGetParentEntry(eth0, kIOServicePlane, nullptr), kIOReturnBadArgument);
  EXPECT_EQ(IOObjectRelease(parent), kIOReturnSuccess);
  EXPECT_EQ(Text(same, "IOMACAddress"), "00:1C:42:0A:FF:01");  // one count left
  EXPECT_EQ(IOObjectRelease(same), kIOReturnSuccess);
  EXPECT_EQ(iokit::LiveObjects(), live + 3);

  // Each property is a new object with one count, on its own entry only.
  const Owned<CFTypeRef> name(Property(eth0, "BSD Name"));
  const Owned<CFTypeRef> again(Property(eth0, "BSD Name"));
  EXPECT_NE(again.get(), name.get());
  EXPECT_EQ(CFGetRetainCount(name), 1);
  EXPECT_TRUE(CFEqual(again, name));
  for (const char* key : {"IOMACAddress", "bsd name", ""})
    EXPECT_EQ(Property(eth0, key), nullptr) << key;
  const Owned<CFDataRef> data(cf_test::NewData("BSD Name"));
  EXPECT_EQ(
      IORegistryEntryCreateCFProperty(eth0, reinterpret_cast<CFStringRef>(data.get()), nullptr, 0),
      nullptr);

  // Handles of the wrong kind, and handles given back, name nothing.
  const std::int64_t refusals = iokit::Refusals();
  EXPECT_EQ(IOIteratorNext(IO_OBJECT_NULL), IO_OBJECT_NULL);  // the platform's end, no refusal
  EXPECT_EQ(iokit::Refusals(), refusals);
  EXPECT_EQ(IOIteratorNext(eth0), IO_OBJECT_NULL);
  EXPECT_EQ(IORegistryEntryGetParentEntry(iterator, kIOServicePlane, &none), kIOReturnBadArgument);
  EXPECT_EQ(IOObjectRelease(eth0), kIOReturnSuccess);
  EXPECT_EQ(IOObjectRelease(eth0), kIOReturnBadArgument);
  EXPECT_EQ(Property(eth0, "BSD Name"), nullptr);
  EXPECT_EQ(iokit::Refusals(), refusals + 4);
  EXPECT_EQ(none, IO_OBJECT_NULL);
  const Strings alive = iokit::DescribeLiveObjects();
  EXPECT_EQ(alive.size(), 2u);
  EXPECT_TRUE(alive.back().ends_with(" IOEthernetInterface eth1 (1)")) << alive.back();
  IOObjectRelease(eth1);
  IOObjectRelease(iterator);
  EXPECT_EQ(iokit::LiveObjects(), live);
}

}  // namespace
}  // namespace iokit_test
