// The readers of the two texts that the registry comes from: an interface's `address` and the
// kernel's route table.

#include <gtest/gtest.h>

#include "platform/iokit/Sysfs.h"
#include "tests/iokit/FakeSysfs.h"

namespace iokit_test {
namespace {

using Bytes = std::vector<std::uint8_t>;

TEST(SysfsTest, AddressesAreColonSeparatedPairsOfHexDigits) {
  struct Case {
    const char* text;
    std::optional<Bytes> expected;
  };
  const Case cases[] = {
      {"02:fc:00:00:00:01\n", Bytes{0x02, 0xFC, 0x00, 0x00, 0x00, 0x01}},
      {"02:FC:00:0a:Ff:10", Bytes{0x02, 0xFC, 0x00, 0x0A, 0xFF, 0x10}},
      {"7f", Bytes{0x7F}},
      {"00:11:22:33:44:55:66:77\n", Bytes{0, 0x11, 0x22, 0x33, 0x44, 0x55, 0x66, 0x77}},
      {"", std::nullopt},  // a device without an address writes nothing
      {"\n", std::nullopt},
      {"2:fc:00:00:00:01", std::nullopt},    // one digit
      {"002:fc:00:00:00:01", std::nullopt},  // three
      {"02:fc:00:00:00:", std::nullopt},     // an empty last pair
      {":02:fc", std::nullopt},
      {"02::fc", std::nullopt},
      {"02-fc-00-00-00-01", std::nullopt},
      {"0x:fc", std::nullopt},
      {"+2:fc", std::nullopt},
      {"02:fc 00", std::nullopt},
      {"zz:fc:00:00:00:01", std::nullopt},
  };
  for (const Case& c : cases)
    EXPECT_EQ(iokit::ParseAddress(c.text), c.expected) << '"' << c.text << '"';
}

TEST(SysfsTest, DefaultRoutesAreTheUpRoutesToEverywhere) {
  struct Case {
    const char* why;
    std::string table;
    std::vector<std::string> expected;  // "interface/metric"
  };
  const Case cases[] = {
      {"the heading alone", kRouteHeading, {}},
      {"the empty text", "", {}},
      {"one default route among others",
       std::string(kRouteHeading) + RouteLine("eth0", 0x0002A8C0, 1, 0, 0x00FFFFFF) +
           DefaultRoute("eth0", 100),
       {"eth0/100"}},
      {"several, in the order of their lines",
       std::string(kRouteHeading) + DefaultRoute("wlan0", 600) + DefaultRoute("eth0", 100),
       {"wlan0/600", "eth0/100"}},
      {"a route that isn't up", std::string(kRouteHeading) + RouteLine("eth0", 0, 2, 0, 0), {}},
      {"up without a gateway counts", RouteLine("ppp0", 0, 1, 5, 0), {"ppp0/5"}},
      {"a mask that isn't 0", RouteLine("eth0", 0, 3, 0, 0x000000FF), {}},
      {"no line end at the end", "eth0\t00000000\t0102A8C0\t0003\t0\t0\t7\t00000000", {"eth0/7"}},
      {"blanks instead of tabs, and a CR",
       "eth0 00000000 0 3 0 0 7 00000000 0 0 0\r\n",
       {"eth0/7"}},
      {"too few fields", "eth0\t00000000\t0102A8C0\t0003\t0\t0\t7\n", {}},
      {"fields that are no numbers",
       "eth0\t0000000G\t0\t3\t0\t0\t7\t0\neth1\t0\t0\tx\t0\t0\t7\t0\n"
       "eth2\t0\t0\t3\t0\t0\t-7\t0\neth3\t0\t0\t3\t0\t0\t7\t0x\n",
       {}},
      {"a metric beyond 32 bits", "eth0\t0\t0\t3\t0\t0\t4294967296\t0\n", {}},
      {"a line of garbage between two routes",
       DefaultRoute("eth0", 1) + "\x01\x02\xff garbage\n\n" + DefaultRoute("eth1", 2),
       {"eth0/1", "eth1/2"}},
  };
  for (const Case& c : cases) {
    std::vector<std::string> found;
    for (const iokit::DefaultRoute& route : iokit::DefaultRoutes(c.table))
      found.push_back(route.interface + "/" + std::to_string(route.metric));
    EXPECT_EQ(found, c.expected) << c.why;
  }
}

}  // namespace
}  // namespace iokit_test
