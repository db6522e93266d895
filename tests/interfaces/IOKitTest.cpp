// The module IOKit over fake machines: the three outcomes of the enumeration, the primary
// address, the text form of addresses, and the books of the registry and of CoreFoundation,
// checked after every query.

#include "interfaces/IOKit.h"

#include <gtest/gtest.h>

#include <functional>

#include "platform/cf/StandIn.h"
#include "tests/iokit/FakeSysfs.h"
#include "tests/iokit/HandleCheck.h"

namespace iokit_test {
namespace {

using toolkit::MemoryBlock;
using toolkit::Ref;
using Strings = std::vector<std::string>;

// Each Pair as "name=HEX", or "nil" for no array.
Strings Lines(const IOKit::MACAddresses& pairs) {
  if (!pairs) return {"nil"};
  Strings lines;
  for (const Ref<toolkit::Pair>& pair : *pairs) {
    EXPECT_TRUE(pair->Right().IsString());
    lines.push_back(pair->Right().StringValue().Bytes() + "=" +
                    toolkit::EncodeHex(pair->Left().As<MemoryBlock>()->StringValue()).Bytes());
  }
  return lines;
}

// The query's result, after checking that it left no handle or CF object behind and named
// no dead one.
template <class T>
T Balanced(const std::function<T()>& query) {
  const auto handles = iokit::LiveObjects(), handleRefusals = iokit::Refusals();
  const auto objects = cf::LiveObjects(), refusals = cf::Refusals();
  T result = query();
  EXPECT_EQ(std::pair(iokit::LiveObjects(), iokit::Refusals()), std::pair(handles, handleRefusals));
  EXPECT_EQ(std::pair(cf::LiveObjects(), cf::Refusals()), std::pair(objects, refusals));
  return result;
}

TEST(IOKitTest, EnumerationsOfMachines) {
  const std::vector<FakeInterface> workstation = {
      {"eth0", 2, "00:1c:42:0a:ff:01", Pci(3)},
      {"br0", 3, "02:42:ac:11:00:01"},
      {"usb0", 4, "00:11:22:33:44:55", Usb(1)},
      {"eth2", 5, std::nullopt, Pci(5)},
      {"ens4", 6, "52:54:00:12:34:56:78:9a", Virtio(4)}};
  const struct {
    const char* why;
    std::vector<FakeInterface> interfaces;
    std::string routes;
    Strings all, primaries;  // of GetMACAddresses(false) and (true)
    const char* primary;     // PrimaryMACAddress; nullptr: NilObjectException
  } machines[] = {
      {"no registry: nil", {}, "", {"nil"}, {"nil"}, nullptr},
      {"no interface: empty", {}, DefaultRoute("eth0"), {}, {}, ""},
      {"nothing built in: empty; no route: no primary",
       {{"br0", 2, "02:42:ac:11:00:01"}, {"usb0", 3, "00:11:22:33:44:55", Usb(1)}},
       "",
       {},
       {},
       ""},
      {"the built-in interfaces in the registry's order, any length; the routed bridge primary",
       workstation,
       DefaultRoute("br0"),
       {"eth0=001C420AFF01", "ens4=525400123456789A"},
       {"br0=0242AC110001"},
       "02:42:AC:11:00:01"},
      {"several primaries: all of them, the first the primary address",
       workstation,
       DefaultRoute("ens4", 5) + DefaultRoute("eth0", 5),
       {"eth0=001C420AFF01", "ens4=525400123456789A"},
       {"eth0=001C420AFF01", "ens4=525400123456789A"},
       "00:1C:42:0A:FF:01"},
      {"the primary without an address: no Pair, no primary address",
       workstation,
       DefaultRoute("eth2"),
       {"eth0=001C420AFF01", "ens4=525400123456789A"},
       {},
       ""},
  };
  for (const auto& m : machines) {
    SCOPED_TRACE(m.why);
    FakeSysfs sysfs(m.interfaces, m.routes);
    if (m.primary == nullptr) fs::remove_all(sysfs.root() / "sys");
    using Result = IOKit::MACAddresses;
    EXPECT_EQ(Lines(Balanced<Result>([] { return IOKit::GetMACAddresses(false); })), m.all);
    EXPECT_EQ(Lines(Balanced<Result>([] { return IOKit::AllMACAddressesRaw(); })), m.all);
    EXPECT_EQ(Lines(Balanced<Result>([] { return IOKit::GetMACAddresses(true); })), m.primaries);
    if (m.primary == nullptr) {
      EXPECT_THROW(IOKit::PrimaryMACAddressRaw(), toolkit::NilObjectException);
      EXPECT_THROW(IOKit::PrimaryMACAddress(), toolkit::NilObjectException);
      continue;
    }
    const auto raw = Balanced<Ref<MemoryBlock>>([] { return IOKit::PrimaryMACAddressRaw(); });
    EXPECT_EQ(raw.IsNil(), m.primaries.empty());
    EXPECT_EQ(Balanced<toolkit::String>([] { return IOKit::PrimaryMACAddress(); }), m.primary);
  }
}

TEST(IOKitTest, EveryCallAsksTheRegistryAfresh) {
  FakeSysfs sysfs({{"eth0", 2, "00:1c:42:0a:ff:01", Pci(3)}});
  const auto first = IOKit::AllMACAddressesRaw();
  sysfs.Add({"eth1", 3, "00:1c:42:0a:ff:02", Virtio(4)});
  FakeSysfs::Write(sysfs.Net("eth0") / "address", "02:00:00:00:00:01\n");
  sysfs.Routes(DefaultRoute("eth1"));
  EXPECT_EQ(Lines(first), Strings{"eth0=001C420AFF01"});  // a copy, not a view
  EXPECT_EQ(Lines(IOKit::AllMACAddressesRaw()),
            (Strings{"eth0=020000000001", "eth1=001C420AFF02"}));
  EXPECT_EQ(IOKit::PrimaryMACAddress(), "00:1C:42:0A:FF:02");
}

TEST(IOKitTest, AddressesFormatAsPairsOfUpperCaseDigitsJoinedByColons) {
  const std::pair<std::vector<std::uint8_t>, const char*> cases[] = {
      {{}, ""},
      {{0x00}, "00"},
      {{0xFF}, "FF"},
      {{0x00, 0x1C, 0x42, 0x0A, 0xFF, 0x01}, "00:1C:42:0A:FF:01"},
      {{0x01, 0x02, 0x03, 0x04, 0x05, 0x06, 0x07, 0xAB}, "01:02:03:04:05:06:07:AB"},
  };
  for (const auto& [bytes, text] : cases)
    EXPECT_EQ(IOKit::FormatMACAddress(Ref<MemoryBlock>::New(bytes)), text);
  for (std::uint8_t b = 0; b < 16; ++b) {  // each keeps its leading zero
    const std::string expected = {'0', "0123456789ABCDEF"[b]};
    EXPECT_EQ(IOKit::FormatMACAddress(Ref<MemoryBlock>::New(&b, 1)), expected);
  }
  EXPECT_THROW(IOKit::FormatMACAddress(nullptr), toolkit::NilObjectException);
}

}  // namespace
}  // namespace iokit_test
