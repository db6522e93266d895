// The module IOKit over a fake machine: the three outcomes of the enumeration, the primary
// address, the text form of addresses, and the books of the registry and of CoreFoundation.

#include "interfaces/IOKit.h"

#include <gtest/gtest.h>

#include <functional>

#include "platform/cf/StandIn.h"
#include "platform/iokit/StandIn.h"
#include "tests/iokit/FakeSysfs.h"
#include "tests/iokit/HandleCheck.h"

namespace iokit_test {
namespace {

using toolkit::MemoryBlock;
using toolkit::Ref;
using toolkit::String;
using Strings = std::vector<std::string>;

Ref<MemoryBlock> Block(const std::vector<std::uint8_t>& bytes) {
  return Ref<MemoryBlock>::New(bytes.data(), bytes.size());
}

// Each Pair as "name=hex bytes", checking the kinds that the Pair holds.
Strings Lines(const IOKit::MACAddresses& pairs) {
  Strings lines;
  for (const Ref<toolkit::Pair>& pair : pairs.value()) {
    const Ref<MemoryBlock> block = pair->Left().As<MemoryBlock>();
    EXPECT_FALSE(block.IsNil());
    EXPECT_TRUE(pair->Right().IsString());
    lines.push_back(pair->Right().StringValue().Bytes() + "=" +
                    toolkit::EncodeHex(block->StringValue()).Bytes());
  }
  return lines;
}

// Runs `query` and checks that it left no handle and no CF object behind, nor named a dead
// handle or a dead CF object.
void Balanced(const char* what, const std::function<void()>& query) {
  const std::int64_t handles = iokit::LiveObjects();
  const std::int64_t handleRefusals = iokit::Refusals();
  const std::int64_t objects = cf::LiveObjects();
  const std::int64_t refusals = cf::Refusals();
  query();
  EXPECT_EQ(iokit::LiveObjects(), handles) << what;
  EXPECT_EQ(iokit::Refusals(), handleRefusals) << what;
  EXPECT_EQ(cf::LiveObjects(), objects) << what;
  EXPECT_EQ(cf::Refusals(), refusals) << what;
}

// A machine with two built-in NICs, a USB adapter, a bridge on the default route, and a NIC
// without an address.
std::vector<FakeInterface> Mixed() {
  return {{"eth0", 2, "00:1c:42:0a:ff:01", Pci(3)},
          {"br0", 3, "02:42:ac:11:00:01"},
          {"usb0", 4, "00:11:22:33:44:55", Usb(1)},
          {"eth2", 5, std::nullopt, Pci(5)},
          {"ens4", 6, "52:54:00:12:34:56", Virtio(4)}};
}

TEST(IOKitTest, TheEnumerationIsNilEmptyOrFilled) {
  {
    SCOPED_TRACE("no registry: nil");
    FakeSysfs sysfs;
    fs::remove_all(sysfs.root() / "sys");
    Balanced("nil", [] {
      EXPECT_FALSE(IOKit::GetMACAddresses(false).has_value());
      EXPECT_FALSE(IOKit::GetMACAddresses(true).has_value());
      EXPECT_FALSE(IOKit::AllMACAddressesRaw().has_value());
    });
  }
  {
    SCOPED_TRACE("no built-in interface: empty");
    const FakeSysfs sysfs({{"br0", 2, "02:42:ac:11:00:01"},
                           {"usb0", 3, "00:11:22:33:44:55", Usb(1)},
                           {"lo", 1, "00:00:00:00:00:00", kVirtual, "772"}},
                          "");
    Balanced("empty", [] {
      const auto all = IOKit::AllMACAddressesRaw();
      ASSERT_TRUE(all.has_value());
      EXPECT_TRUE(all->empty());
      const auto primary = IOKit::GetMACAddresses(true);
      ASSERT_TRUE(primary.has_value());
      EXPECT_TRUE(primary->empty());
    });
  }
  {
    SCOPED_TRACE("no interface at all: empty");
    const FakeSysfs sysfs;
    Balanced("none", [] { EXPECT_EQ(IOKit::AllMACAddressesRaw()->size(), 0u); });
  }
  {
    SCOPED_TRACE("filled: the built-in interfaces, in the registry's order");
    const FakeSysfs sysfs(Mixed(), DefaultRoute("br0"));
    Balanced("filled", [] {
      EXPECT_EQ(Lines(IOKit::AllMACAddressesRaw()),
                (Strings{"eth0=001C420AFF01", "ens4=525400123456"}));
      EXPECT_EQ(Lines(IOKit::GetMACAddresses(false)),
                (Strings{"eth0=001C420AFF01", "ens4=525400123456"}));
    });
  }
}

TEST(IOKitTest, PrimaryAndBuiltInAreAskedForApartNeverTogether) {
  // The bridge on the default route is primary but not built in; the NICs are built in but
  // not primary. Asking for both at once would find nothing.
  const FakeSysfs sysfs(Mixed(), DefaultRoute("br0"));
  Balanced("primary",
           [] { EXPECT_EQ(Lines(IOKit::GetMACAddresses(true)), Strings{"br0=0242AC110001"}); });
  Balanced("primary raw", [] {
    EXPECT_EQ(toolkit::EncodeHex(IOKit::PrimaryMACAddressRaw()->StringValue()), "0242AC110001");
  });
  Balanced("primary text", [] { EXPECT_EQ(IOKit::PrimaryMACAddress(), "02:42:AC:11:00:01"); });
}

TEST(IOKitTest, ThePrimaryAddressIsTheFirstOfThePrimaryInterfaces) {
  struct Case {
    const char* why;
    std::vector<FakeInterface> interfaces;
    std::string routes;
    Strings primaries;
    std::string text;
  };
  const Case cases[] = {
      {"the default route's NIC",
       {{"eth0", 2, "00:1c:42:0a:ff:01", Pci(3)}, {"eth1", 3, "00:1c:42:0a:ff:02", Pci(4)}},
       DefaultRoute("eth1"),
       {"eth1=001C420AFF02"},
       "00:1C:42:0A:FF:02"},
      {"several primaries: all of them, and the first is the primary address",
       {{"eth0", 2, "00:1c:42:0a:ff:01", Pci(3)}, {"eth1", 3, "00:1c:42:0a:ff:02", Pci(4)}},
       DefaultRoute("eth1", 5) + DefaultRoute("eth0", 5),
       {"eth0=001C420AFF01", "eth1=001C420AFF02"},
       "00:1C:42:0A:FF:01"},
      {"the first primary has no address: the next one's",
       {{"eth0", 2, std::nullopt, Pci(3)}, {"eth1", 3, "00:1c:42:0a:ff:02", Pci(4)}},
       DefaultRoute("eth1") + DefaultRoute("eth0"),
       {"eth1=001C420AFF02"},
       "00:1C:42:0A:FF:02"},
      {"no primary interface", {{"br0", 2, "02:42:ac:11:00:01"}}, "", {}, ""},
      {"the only primary has no address", {{"eth0", 2, std::nullopt, Pci(3)}}, "", {}, ""},
      {"no interface at all", {}, "", {}, ""},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.why);
    const FakeSysfs sysfs(c.interfaces, c.routes);
    Balanced(c.why, [&c] {
      EXPECT_EQ(Lines(IOKit::GetMACAddresses(true)), c.primaries);
      const Ref<MemoryBlock> raw = IOKit::PrimaryMACAddressRaw();
      EXPECT_EQ(raw.IsNil(), c.primaries.empty());
      EXPECT_EQ(IOKit::PrimaryMACAddress(), c.text);
    });
  }
}

TEST(IOKitTest, WithoutARegistryThePrimaryAddressRaisesNilObjectException) {
  FakeSysfs sysfs;
  fs::remove_all(sysfs.root() / "sys");
  Balanced("nil", [] {
    EXPECT_THROW(IOKit::PrimaryMACAddressRaw(), toolkit::NilObjectException);
    EXPECT_THROW(IOKit::PrimaryMACAddress(), toolkit::NilObjectException);
  });
}

TEST(IOKitTest, AddressesKeepTheLengthTheRegistryHolds) {
  const FakeSysfs sysfs({{"eth0", 2, "00:11:22:33:44:55:66:77", Pci(3)},
                         {"eth1", 3, "0a", Pci(4)},
                         {"eth2", 4, "00:1c:42:0a:ff:01", Pci(5)}},
                        "");
  Balanced("lengths", [] {
    const auto all = IOKit::AllMACAddressesRaw();
    EXPECT_EQ(Lines(all), (Strings{"eth0=0011223344556677", "eth1=0A", "eth2=001C420AFF01"}));
    EXPECT_EQ(all->at(0)->Left().As<MemoryBlock>()->Size(), 8);
    EXPECT_EQ(all->at(1)->Left().As<MemoryBlock>()->Size(), 1);
    EXPECT_EQ(IOKit::PrimaryMACAddress(), "00:11:22:33:44:55:66:77");
  });
}

TEST(IOKitTest, EveryCallAsksTheRegistryAfresh) {
  FakeSysfs sysfs({{"eth0", 2, "00:1c:42:0a:ff:01", Pci(3)}}, "");
  const auto first = IOKit::AllMACAddressesRaw();
  sysfs.Add({"eth1", 3, "00:1c:42:0a:ff:02", Virtio(4)});
  FakeSysfs::Write(sysfs.Net("eth0") / "address", "02:00:00:00:00:01\n");
  sysfs.Routes(DefaultRoute("eth1"));
  EXPECT_EQ(Lines(first), Strings{"eth0=001C420AFF01"});  // a result is a copy, not a view
  EXPECT_EQ(Lines(IOKit::AllMACAddressesRaw()),
            (Strings{"eth0=020000000001", "eth1=001C420AFF02"}));
  EXPECT_EQ(IOKit::PrimaryMACAddress(), "00:1C:42:0A:FF:02");
}

TEST(IOKitTest, AddressesFormatAsPairsOfUpperCaseDigitsJoinedByColons) {
  struct Case {
    std::vector<std::uint8_t> bytes;
    const char* text;
  };
  const Case cases[] = {
      {{}, ""},
      {{0x00}, "00"},
      {{0x0A}, "0A"},
      {{0xFF}, "FF"},
      {{0x00, 0x1C, 0x42, 0x0A, 0xFF, 0x01}, "00:1C:42:0A:FF:01"},
      {{0x01, 0x02, 0x03, 0x04, 0x05, 0x06, 0x07, 0x08}, "01:02:03:04:05:06:07:08"},
      {{0x0F, 0x10, 0xF0, 0xAB, 0x09, 0x90}, "0F:10:F0:AB:09:90"},
  };
  for (const Case& c : cases)
    EXPECT_EQ(IOKit::FormatMACAddress(Block(c.bytes)), c.text);
  // Every byte under 16 keeps its leading zero.
  for (std::uint8_t b = 0; b < 16; ++b) {
    const String text = IOKit::FormatMACAddress(Block({b}));
    EXPECT_EQ(text.LenB(), 2u);
    EXPECT_EQ(text.Bytes()[0], '0');
    EXPECT_EQ(text.Bytes()[1], "0123456789ABCDEF"[b]);
  }
  EXPECT_THROW(IOKit::FormatMACAddress(nullptr), toolkit::NilObjectException);
}

}  // namespace
}  // namespace iokit_test
