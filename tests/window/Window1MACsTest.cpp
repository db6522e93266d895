// The "MACs" row: "Show MACs" adds it opened, and it opens into the primary address and the
// built-in interfaces of the machine at the time of each opening.

#include <gtest/gtest.h>

#include "Window1Fixture.h"
#include "platform/toolkit/Dictionary.h"
#include "platform/toolkit/MemoryBlock.h"
#include "tests/iokit/FakeSysfs.h"

namespace window_test {
namespace {

using namespace iokit_test;
using Strings = std::vector<std::string>;

// Two built-in NICs (the first on the default route), a USB adapter and a bridge.
const std::vector<FakeInterface> kWorkstation = {{"eth0", 2, "00:1c:42:0a:ff:01", Pci(3)},
                                                 {"usb0", 3, "00:11:22:33:44:55", Usb(1)},
                                                 {"br0", 4, "02:42:ac:11:00:01"},
                                                 {"ens4", 5, "52:54:00:12:34:56", Virtio(4)}};
const Strings kWorkstationRows = {"MACs|| -", ">00:1C:42:0A:FF:01||Primary",
                                  ">00:1C:42:0A:FF:01|eth0|BuiltIn",
                                  ">52:54:00:12:34:56|ens4|BuiltIn"};

TEST_F(Window1Test, ShowMACsAddsTheRowOpenedIntoThePrimaryThenTheBuiltInInterfaces) {
  const FakeSysfs sysfs(kWorkstation, DefaultRoute("eth0"));
  window->showMACs();
  EXPECT_EQ(rows(), kWorkstationRows);
  EXPECT_EQ(list().RowTag(0), toolkit::Variant("MACs"));
  for (std::int64_t r = 1; r < list().ListCount(); ++r)
    EXPECT_TRUE(list().RowTag(r).IsNull());
}

TEST_F(Window1Test, ThePrimaryRowStandsFirstWhateverTheMachineHas) {
  const struct {
    const char* why;
    std::vector<FakeInterface> interfaces;
    std::string routes;
    Strings children;
  } machines[] = {
      {"no interface", {}, "", {">||Primary"}},
      {"nothing built in, no route",
       {{"usb0", 3, "00:11:22:33:44:55", Usb(1)}, {"br0", 4, "02:42:ac:11:00:01"}},
       "",
       {">||Primary"}},
      {"a primary bridge, a built-in NIC that isn't primary",
       {{"eth0", 2, "00:1c:42:0a:ff:01", Pci(3)}, {"br0", 4, "02:42:ac:11:00:01"}},
       DefaultRoute("br0"),
       {">02:42:AC:11:00:01||Primary", ">00:1C:42:0A:FF:01|eth0|BuiltIn"}},
      {"several primaries: the first",
       kWorkstation,
       DefaultRoute("ens4", 7) + DefaultRoute("eth0", 7),
       {kWorkstationRows.begin() + 1, kWorkstationRows.end()}},
      {"a built-in NIC without an address has no row",
       {{"eth0", 2, std::nullopt, Pci(3)}, {"eth1", 3, "00:1c:42:0a:ff:02", Pci(4)}},
       "",
       {">||Primary", ">00:1C:42:0A:FF:02|eth1|BuiltIn"}},
  };
  for (const auto& machine : machines) {
    window->clearList();
    const FakeSysfs sysfs(machine.interfaces, machine.routes);
    window->showMACs();
    Strings expected = machine.children;
    expected.insert(expected.begin(), "MACs|| -");
    EXPECT_EQ(rows(), expected) << machine.why;
  }
}

TEST_F(Window1Test, WithoutARegistryTheMACsRowStandsOpenAndEmptyAndTheFailureLeaves) {
  FakeSysfs sysfs;
  fs::remove_all(sysfs.root() / "sys");
  EXPECT_THROW(window->showMACs(), toolkit::NilObjectException);
  EXPECT_EQ(rows(), Strings{"MACs|| -"});
}

TEST_F(Window1Test, ReopeningTheMACsRowAsksTheMachineAgainAndEachShowMACsAddsARow) {
  FakeSysfs sysfs(kWorkstation, DefaultRoute("eth0"));
  window->showMACs();
  sysfs.Add({"eth9", 9, "00:1c:42:0a:ff:09", Pci(9)});
  FakeSysfs::Write(sysfs.Net("eth0") / "address", "02:00:00:00:00:01\n");
  sysfs.Routes(DefaultRoute("ens4"));
  EXPECT_EQ(rows(), kWorkstationRows);  // an open row keeps what it showed
  window->showMACs();
  list().Expanded(0, false);
  list().Expanded(0, true);
  const Strings now = {">52:54:00:12:34:56||Primary", ">02:00:00:00:00:01|eth0|BuiltIn",
                       ">52:54:00:12:34:56|ens4|BuiltIn", ">00:1C:42:0A:FF:09|eth9|BuiltIn"};
  Strings expected = {"MACs|| -"};
  for (int copy = 0; copy < 2; ++copy) {
    expected.insert(expected.end(), now.begin(), now.end());
    if (copy == 0) expected.push_back("MACs|| -");
  }
  EXPECT_EQ(rows(), expected);
}

TEST_F(Window1Test, TheTagTellsAMACsRowNotItsText) {
  const FakeSysfs sysfs({{"eth0", 2, "00:1c:42:0a:ff:01", Pci(3)}});
  const Strings interfaces = {">00:1C:42:0A:FF:01||Primary", ">00:1C:42:0A:FF:01|eth0|BuiltIn"};
  const std::uint8_t bytes[] = {'M', 'A', 'C', 's'};
  const std::pair<toolkit::Variant, Strings> cases[] = {
      {"MACs", interfaces},
      {Ref<toolkit::MemoryBlock>::New(bytes, 4), interfaces},  // converts to the text "MACs"
      {toolkit::Variant(), {}},
      {"macs", {}},
      {"MACs ", {}},
  };
  for (const auto& [tag, children] : cases) {
    window->clearList();
    list().AddFolder("MACs");
    list().RowTag(0, tag);
    list().Expanded(0, true);
    Strings expected = children;
    expected.insert(expected.begin(), "MACs|| -");
    EXPECT_EQ(rows(), expected) << tag.StringValue().Bytes();
  }
  list().RowTag(0, Ref<toolkit::Pair>::New(1, 2));  // an object with no text
  list().Expanded(0, false);
  EXPECT_THROW(list().Expanded(0, true), toolkit::TypeMismatchException);
}

TEST_F(Window1Test, TheShowMACsItemIsEnabledAndAddsTheRow) {
  const FakeSysfs sysfs(kWorkstation, DefaultRoute("eth0"));
  window->RaiseOpen();
  window->clearList();
  window->RaiseEnableMenuItems();
  EXPECT_TRUE(window->FileShowMACs()->Enabled());
  EXPECT_EQ(window->FileShowMACs()->KeyboardShortcut(), "Cmd+G");
  EXPECT_TRUE(window->ChooseMenuItem("FileShowMACs"));
  EXPECT_EQ(rows(), kWorkstationRows);
}

}  // namespace
}  // namespace window_test
