// The seven calls as the platform defines them: what each takes, gives and owns.

#include <gtest/gtest.h>

#include <set>

#include "tests/iokit/Support.h"

namespace iokit_test {
namespace {

using Strings = std::vector<std::string>;

// A machine with a bit of everything: two built-in NICs (one on the default route), a USB
// adapter and a bridge.
class CallsTest : public testing::Test {
 protected:
  FakeSysfs sysfs{{{"eth0", 2, "00:1c:42:0a:ff:01", Pci(3)},
                   {"eth1", 3, "00:1c:42:0a:ff:02", Virtio(4)},
                   {"usb0", 4, "00:11:22:33:44:55", Usb(1)},
                   {"br0", 5, "02:42:ac:11:00:01"}},
                  DefaultRoute("eth1")};
};

TEST_F(CallsTest, TheMasterPortIsThereWhileThereIsARegistry) {
  mach_port_t port = MACH_PORT_NULL;
  EXPECT_EQ(IOMasterPort(MACH_PORT_NULL, &port), kIOReturnSuccess);
  EXPECT_NE(port, MACH_PORT_NULL);
  EXPECT_EQ(IOMasterPort(MACH_PORT_NULL, nullptr), kIOReturnBadArgument);
  EXPECT_EQ(iokit::LiveObjects(), 0);  // a port, no object

  fs::remove_all(sysfs.root() / "sys");
  mach_port_t none = 7;
  EXPECT_EQ(IOMasterPort(MACH_PORT_NULL, &none), kIOReturnNoDevice);
  EXPECT_EQ(none, 7u);
}

TEST_F(CallsTest, MatchingMakesANewDictionaryThatNamesTheClass) {
  const Owned<CFMutableDictionaryRef> matching(IOServiceMatching("IOEthernetInterface"));
  ASSERT_NE(matching.get(), nullptr);
  EXPECT_EQ(CFGetRetainCount(matching), 1);
  EXPECT_EQ(CFDictionaryGetCount(matching), 1);
  const auto className = static_cast<CFStringRef>(
      CFDictionaryGetValue(matching, Owned<CFStringRef>(NewString("IOProviderClass"))));
  EXPECT_EQ(cf_test::Text(className), "IOEthernetInterface");
  // Mutable: the caller adds what it needs.
  CFDictionarySetValue(matching, Owned<CFStringRef>(NewString("k")), True());
  EXPECT_EQ(CFDictionaryGetCount(matching), 2);

  EXPECT_EQ(IOServiceMatching(nullptr), nullptr);
  EXPECT_EQ(IOServiceMatching("\xff\xfe"), nullptr);  // no UTF-8
}

TEST_F(CallsTest, GettingTheServicesConsumesOneCountOfTheDictionaryWhateverHappens) {
  mach_port_t port = MACH_PORT_NULL;
  ASSERT_EQ(IOMasterPort(MACH_PORT_NULL, &port), kIOReturnSuccess);
  io_iterator_t iterator = IO_OBJECT_NULL;
  struct Case {
    const char* why;
    mach_port_t port;
    io_iterator_t* existing;
    IOReturn status;
  };
  const Case cases[] = {
      {"the port of IOMasterPort", port, &iterator, kIOReturnSuccess},
      {"the default port", kIOMasterPortDefault, &iterator, kIOReturnSuccess},
      {"a port that is no master port", port + 1, &iterator, kIOReturnBadArgument},
      {"no place for the iterator", port, nullptr, kIOReturnBadArgument},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.why);
    const Owned<CFMutableDictionaryRef> matching(IOServiceMatching("IOEthernetInterface"));
    CFRetain(matching);  // the count that the call takes
    iterator = 12345;
    EXPECT_EQ(IOServiceGetMatchingServices(c.port, matching, c.existing), c.status);
    EXPECT_EQ(CFGetRetainCount(matching), 1);
    if (c.status == kIOReturnSuccess) {
      EXPECT_NE(iterator, IO_OBJECT_NULL);
      EXPECT_EQ(Describe(iterator).size(), 4u);
    } else {
      EXPECT_EQ(iterator, c.existing != nullptr ? IO_OBJECT_NULL : 12345u);
    }
  }

  // A dictionary of the wrong shape, and something that is no dictionary, are consumed too.
  const Owned<CFMutableDictionaryRef> badClass(NewDictionary());
  CFDictionarySetValue(badClass, Owned<CFStringRef>(NewString("IOProviderClass")), True());
  const Owned<CFMutableDictionaryRef> badMatch(IOServiceMatching("IOEthernetInterface"));
  CFDictionarySetValue(badMatch, Owned<CFStringRef>(NewString("IOPropertyMatch")), True());
  const Owned<CFStringRef> string(NewString("IOEthernetInterface"));
  for (const CFTypeRef matching :
       {CFTypeRef(badClass.get()), CFTypeRef(badMatch.get()), CFTypeRef(string.get())}) {
    CFRetain(matching);
    EXPECT_EQ(IOServiceGetMatchingServices(port, static_cast<CFDictionaryRef>(matching), &iterator),
              kIOReturnBadArgument);
    EXPECT_EQ(CFGetRetainCount(matching), 1);
    EXPECT_EQ(iterator, IO_OBJECT_NULL);
  }
  EXPECT_EQ(IOServiceGetMatchingServices(port, nullptr, &iterator), kIOReturnBadArgument);

  // Without a registry: consumed, and no iterator.
  fs::remove_all(sysfs.root() / "sys");
  const Owned<CFMutableDictionaryRef> matching(IOServiceMatching("IOEthernetInterface"));
  CFRetain(matching);
  EXPECT_EQ(IOServiceGetMatchingServices(port, matching, &iterator), kIOReturnNoDevice);
  EXPECT_EQ(CFGetRetainCount(matching), 1);
  EXPECT_EQ(iterator, IO_OBJECT_NULL);
}

TEST_F(CallsTest, PropertiesToMatchMustAllBeThereWithEqualValues) {
  const Owned<CFStringRef> eth1(NewString("eth1"));
  const Owned<CFStringRef> eth9(NewString("eth9"));
  const int number = 1;
  const Owned<CFNumberRef> one(CFNumberCreate(nullptr, kCFNumberIntType, &number));
  struct Case {
    const char* why;
    std::vector<std::pair<const char*, CFTypeRef>> properties;
    Strings expected;
  };
  const Case cases[] = {
      {"built in", {{"IOBuiltin", True()}}, {"eth0", "eth1"}},
      {"not built in", {{"IOBuiltin", False()}}, {"usb0", "br0"}},
      {"primary", {{"IOPrimaryInterface", True()}}, {"eth1"}},
      {"both: each must hold", {{"IOBuiltin", True()}, {"IOPrimaryInterface", False()}}, {"eth0"}},
      {"a name", {{"BSD Name", eth1.get()}}, {"eth1"}},
      {"a name there is not", {{"BSD Name", eth9.get()}}, {}},
      {"a value of another type", {{"IOBuiltin", one.get()}}, {}},
      {"a property no interface has", {{"IOMACAddress", True()}}, {}},
      {"nothing required", {}, {"eth0", "eth1", "usb0", "br0"}},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.why);
    Strings names;
    for (const std::string& line : Services(Matching("IOEthernetInterface", c.properties)))
      names.push_back(line.substr(0, line.find(' ')));
    EXPECT_EQ(names, c.expected);
  }
}

TEST_F(CallsTest, AClassMatchesItsOwnServicesAndThoseOfItsSubclasses) {
  // Controllers have no "BSD Name" and interfaces no "IOMACAddress": that tells them apart.
  const auto kinds = [](const char* className) {
    io_iterator_t iterator = IO_OBJECT_NULL;
    EXPECT_EQ(
        IOServiceGetMatchingServices(kIOMasterPortDefault, IOServiceMatching(className), &iterator),
        kIOReturnSuccess);
    std::string found;
    while (const io_object_t service = IOIteratorNext(iterator)) {
      const Owned<CFTypeRef> name(Property(service, "BSD Name"));
      found += name.get() != nullptr ? "i" : Address(service) != "-" ? "c" : "?";
      IOObjectRelease(service);
    }
    IOObjectRelease(iterator);
    return found;
  };
  EXPECT_EQ(kinds("IOEthernetInterface"), "iiii");
  EXPECT_EQ(kinds("IONetworkInterface"), "iiii");
  EXPECT_EQ(kinds("IOEthernetController"), "cccc");
  EXPECT_EQ(kinds("IONetworkController"), "cccc");
  EXPECT_EQ(kinds("IOService"), "cicicici");  // each controller before its interface
  EXPECT_EQ(kinds("IOUSBHostDevice"), "");

  // A dictionary that names no class matches every service.
  const Owned<CFMutableDictionaryRef> noClass(NewDictionary());
  CFRetain(noClass);
  io_iterator_t iterator = IO_OBJECT_NULL;
  ASSERT_EQ(IOServiceGetMatchingServices(kIOMasterPortDefault, noClass, &iterator),
            kIOReturnSuccess);
  int count = 0;
  while (const io_object_t service = IOIteratorNext(iterator)) {
    ++count;
    IOObjectRelease(service);
  }
  IOObjectRelease(iterator);
  EXPECT_EQ(count, 8);
}

TEST_F(CallsTest, PropertiesAreNewObjectsOfTheirTypesAndOnlyWhereTheEntryHasThem) {
  io_iterator_t iterator = IO_OBJECT_NULL;
  ASSERT_EQ(IOServiceGetMatchingServices(kIOMasterPortDefault,
                                         Matching("IOEthernetInterface", {{"IOBuiltin", True()}}),
                                         &iterator),
            kIOReturnSuccess);
  const io_object_t service = IOIteratorNext(iterator);
  io_registry_entry_t parent = IO_OBJECT_NULL;
  ASSERT_EQ(IORegistryEntryGetParentEntry(service, kIOServicePlane, &parent), kIOReturnSuccess);

  const Owned<CFTypeRef> name(Property(service, "BSD Name"));
  EXPECT_EQ(CFGetTypeID(name), CFStringGetTypeID());
  EXPECT_EQ(CFGetRetainCount(name), 1);
  EXPECT_EQ(cf_test::Text(static_cast<CFStringRef>(name.get())), "eth0");
  const Owned<CFTypeRef> again(Property(service, "BSD Name"));
  EXPECT_NE(again.get(), name.get());  // a new object at each call
  EXPECT_TRUE(CFEqual(again, name));
  EXPECT_EQ(Flag(service, "IOBuiltin"), "true");
  EXPECT_EQ(Flag(service, "IOPrimaryInterface"), "false");
  EXPECT_EQ(Address(parent), "00:1C:42:0A:FF:01");
  const Owned<CFTypeRef> data(Property(parent, "IOMACAddress"));
  EXPECT_EQ(CFGetRetainCount(data), 1);

  // Each property on its own entry only; unknown keys and keys that are no string: none.
  EXPECT_EQ(Address(service), "-");
  EXPECT_EQ(Flag(parent, "IOBuiltin"), "none");
  EXPECT_EQ(Property(parent, "BSD Name"), nullptr);
  EXPECT_EQ(Property(service, "bsd name"), nullptr);
  EXPECT_EQ(Property(service, ""), nullptr);
  EXPECT_EQ(Property(service, std::string(300, 'a').c_str()), nullptr);
  const Owned<CFDataRef> notAString(cf_test::NewData("BSD Name"));
  EXPECT_EQ(IORegistryEntryCreateCFProperty(
                service, reinterpret_cast<CFStringRef>(notAString.get()), nullptr, 0),
            nullptr);
  EXPECT_EQ(IORegistryEntryCreateCFProperty(service, nullptr, nullptr, 0), nullptr);

  IOObjectRelease(parent);
  IOObjectRelease(service);
  IOObjectRelease(iterator);
}

TEST_F(CallsTest, HandlesAreCountedAndTheSameObjectKeepsItsHandle) {
  const std::int64_t live = iokit::LiveObjects();
  io_iterator_t iterator = IO_OBJECT_NULL;
  ASSERT_EQ(IOServiceGetMatchingServices(kIOMasterPortDefault,
                                         IOServiceMatching("IOEthernetInterface"), &iterator),
            kIOReturnSuccess);
  EXPECT_EQ(iokit::LiveObjects(), live + 1);
  std::set<io_object_t> handles{iterator};
  std::vector<io_object_t> services;
  while (const io_object_t service = IOIteratorNext(iterator)) {
    EXPECT_TRUE(handles.insert(service).second) << "handle " << service << " handed out twice";
    services.push_back(service);
  }
  EXPECT_EQ(services.size(), 4u);
  EXPECT_EQ(iokit::LiveObjects(), live + 5);
  EXPECT_EQ(IOIteratorNext(iterator), IO_OBJECT_NULL);  // the end stays the end
  EXPECT_EQ(IOIteratorNext(iterator), IO_OBJECT_NULL);

  // The parent asked twice is one object with two counts.
  io_registry_entry_t parent = IO_OBJECT_NULL;
  io_registry_entry_t same = IO_OBJECT_NULL;
  ASSERT_EQ(IORegistryEntryGetParentEntry(services[0], kIOServicePlane, &parent), 0);
  ASSERT_EQ(IORegistryEntryGetParentEntry(services[0], kIOServicePlane, &same), 0);
  EXPECT_EQ(parent, same);
  EXPECT_FALSE(handles.contains(parent));
  EXPECT_EQ(iokit::LiveObjects(), live + 6);
  EXPECT_EQ(IOObjectRelease(parent), kIOReturnSuccess);
  EXPECT_EQ(Address(parent), "00:1C:42:0A:FF:01");  // one count left: still there
  EXPECT_EQ(IOObjectRelease(same), kIOReturnSuccess);
  EXPECT_EQ(iokit::LiveObjects(), live + 5);

  // A controller has no provider here; planes other than "IOService" aren't read.
  io_registry_entry_t other = IO_OBJECT_NULL;
  ASSERT_EQ(IORegistryEntryGetParentEntry(services[1], kIOServicePlane, &parent), 0);
  EXPECT_NE(parent, same);  // a number given back isn't handed out again at once
  EXPECT_EQ(IORegistryEntryGetParentEntry(parent, kIOServicePlane, &other), kIOReturnNoDevice);
  EXPECT_EQ(IORegistryEntryGetParentEntry(services[1], "IODeviceTree", &other),
            kIOReturnBadArgument);
  EXPECT_EQ(IORegistryEntryGetParentEntry(services[1], nullptr, &other), kIOReturnBadArgument);
  EXPECT_EQ(IORegistryEntryGetParentEntry(services[1], kIOServicePlane, nullptr),
            kIOReturnBadArgument);
  EXPECT_EQ(other, IO_OBJECT_NULL);
  IOObjectRelease(parent);

  for (const io_object_t service : services)
    EXPECT_EQ(IOObjectRelease(service), kIOReturnSuccess);
  EXPECT_EQ(IOObjectRelease(iterator), kIOReturnSuccess);
  EXPECT_EQ(iokit::LiveObjects(), live);
}

TEST_F(CallsTest, DeadHandlesAndHandlesOfAnotherKindAreRefusedAndCounted) {
  ExpectHandleRefusals();
  io_iterator_t iterator = IO_OBJECT_NULL;
  ASSERT_EQ(IOServiceGetMatchingServices(kIOMasterPortDefault,
                                         IOServiceMatching("IOEthernetInterface"), &iterator),
            kIOReturnSuccess);
  const io_object_t service = IOIteratorNext(iterator);
  const std::int64_t refusals = iokit::Refusals();

  // The end of no iterator is the end: the platform's answer for an iterator 0.
  EXPECT_EQ(IOIteratorNext(IO_OBJECT_NULL), IO_OBJECT_NULL);
  EXPECT_EQ(iokit::Refusals(), refusals);

  io_registry_entry_t parent = IO_OBJECT_NULL;
  EXPECT_EQ(IOIteratorNext(service), IO_OBJECT_NULL);  // a service is no iterator
  EXPECT_EQ(IORegistryEntryGetParentEntry(iterator, kIOServicePlane, &parent),
            kIOReturnBadArgument);  // an iterator is no entry
  EXPECT_EQ(IORegistryEntryCreateCFProperty(iterator, Owned<CFStringRef>(NewString("BSD Name")),
                                            nullptr, 0),
            nullptr);
  EXPECT_EQ(iokit::Refusals(), refusals + 3);

  EXPECT_EQ(IOObjectRelease(service), kIOReturnSuccess);
  EXPECT_EQ(IOObjectRelease(service), kIOReturnBadArgument);  // given back already
  EXPECT_EQ(Property(service, "BSD Name"), nullptr);
  EXPECT_EQ(IOObjectRelease(IO_OBJECT_NULL), kIOReturnBadArgument);
  EXPECT_EQ(iokit::Refusals(), refusals + 6);
  EXPECT_EQ(IOObjectRelease(iterator), kIOReturnSuccess);
  EXPECT_EQ(IOIteratorNext(iterator), IO_OBJECT_NULL);
  EXPECT_EQ(iokit::Refusals(), refusals + 7);
}

TEST_F(CallsTest, LiveHandlesDescribeThemselves) {
  io_iterator_t iterator = IO_OBJECT_NULL;
  ASSERT_EQ(IOServiceGetMatchingServices(kIOMasterPortDefault,
                                         IOServiceMatching("IOEthernetInterface"), &iterator),
            kIOReturnSuccess);
  const io_object_t service = IOIteratorNext(iterator);
  std::string all;
  for (const std::string& line : iokit::DescribeLiveObjects())
    all += line + "\n";
  EXPECT_NE(all.find("IOIterator (1)"), std::string::npos) << all;
  EXPECT_NE(all.find("IOEthernetInterface eth0 (1)"), std::string::npos) << all;
  IOObjectRelease(service);
  IOObjectRelease(iterator);
  EXPECT_EQ(iokit::DescribeLiveObjects(), Strings{});
}

}  // namespace
}  // namespace iokit_test
