// The "MACs" row: "Show MACs" adds it opened, and it opens into the primary address and the
// built-in interfaces of the machine at the time of each opening.

#include <gtest/gtest.h>

#include "Window1Fixture.h"
#include "platform/toolkit/Dictionary.h"
#include "platform/toolkit/MemoryBlock.h"
#include "tests/iokit/FakeSysfs.h"

namespace window_test {
namespace {

using iokit_test::DefaultRoute;
using iokit_test::FakeInterface;
using iokit_test::FakeSysfs;
using iokit_test::kVirtual;
using iokit_test::Pci;
using iokit_test::Usb;
using iokit_test::Virtio;
using Strings = std::vector<std::string>;

// Two built-in NICs (the first on the default route), a USB adapter and a bridge.
std::vector<FakeInterface> Workstation() {
  return {{"eth0", 2, "00:1c:42:0a:ff:01", Pci(3)},
          {"usb0", 3, "00:11:22:33:44:55", Usb(1)},
          {"br0", 4, "02:42:ac:11:00:01"},
          {"ens4", 5, "52:54:00:12:34:56", Virtio(4)}};
}

class MACsTest : public Window1Test {
 protected:
  // The children of the row, as "address|name|role".
  Strings Children(std::int64_t row) {
    Strings children;
    for (std::int64_t r = row + 1; r < list().ListCount() && list().RowDepth(r) > 0; ++r) {
      EXPECT_EQ(list().RowDepth(r), 1);
      EXPECT_FALSE(list().RowIsFolder(r));
      EXPECT_TRUE(list().RowTag(r).IsNull());
      children.push_back(list().Cell(r, 0).Bytes() + "|" + list().Cell(r, 1).Bytes() + "|" +
                         list().Cell(r, 2).Bytes());
    }
    return children;
  }
};

TEST_F(MACsTest, ShowMACsAddsTheRowOpenedIntoThePrimaryThenTheBuiltInInterfaces) {
  const FakeSysfs sysfs(Workstation(), DefaultRoute("eth0"));
  window->showMACs();
  EXPECT_EQ(rows(),
            (Strings{"MACs|| -", ">00:1C:42:0A:FF:01||Primary", ">00:1C:42:0A:FF:01|eth0|BuiltIn",
                     ">52:54:00:12:34:56|ens4|BuiltIn"}));
  const toolkit::Variant tag = list().RowTag(0);
  EXPECT_TRUE(tag.IsString());
  EXPECT_EQ(tag.StringValue(), "MACs");
}

TEST_F(MACsTest, ThePrimaryRowStandsFirstWhateverTheMachineHas) {
  struct Machine {
    const char* why;
    std::vector<FakeInterface> interfaces;
    std::string routes;
    Strings children;
  };
  const Machine machines[] = {
      {"no interface at all", {}, "", {"||Primary"}},
      {"only the loopback",
       {{"lo", 1, "00:00:00:00:00:00", kVirtual, "772"}},
       DefaultRoute("lo"),
       {"||Primary"}},
      {"no built-in interface, nor a default route",
       {{"usb0", 3, "00:11:22:33:44:55", Usb(1)}, {"br0", 4, "02:42:ac:11:00:01"}},
       "",
       {"||Primary"}},
      {"a primary bridge and no built-in interface",
       {{"usb0", 3, "00:11:22:33:44:55", Usb(1)}, {"br0", 4, "02:42:ac:11:00:01"}},
       DefaultRoute("br0"),
       {"02:42:AC:11:00:01||Primary"}},
      {"a built-in interface that isn't primary",
       {{"eth0", 2, "00:1c:42:0a:ff:01", Pci(3)}, {"br0", 4, "02:42:ac:11:00:01"}},
       DefaultRoute("br0"),
       {"02:42:AC:11:00:01||Primary", "00:1C:42:0A:FF:01|eth0|BuiltIn"}},
      {"several primaries: the first",
       Workstation(),
       DefaultRoute("ens4", 7) + DefaultRoute("eth0", 7),
       {"00:1C:42:0A:FF:01||Primary", "00:1C:42:0A:FF:01|eth0|BuiltIn",
        "52:54:00:12:34:56|ens4|BuiltIn"}},
      {"a built-in interface without an address has no row",
       {{"eth0", 2, std::nullopt, Pci(3)}, {"eth1", 3, "00:1c:42:0a:ff:02", Pci(4)}},
       "",
       {"||Primary", "00:1C:42:0A:FF:02|eth1|BuiltIn"}},
  };
  for (const Machine& machine : machines) {
    SCOPED_TRACE(machine.why);
    window->clearList();
    const FakeSysfs sysfs(machine.interfaces, machine.routes);
    window->showMACs();
    EXPECT_EQ(list().Cell(0, 0), "MACs");
    EXPECT_EQ(Children(0), machine.children);
  }
}

TEST_F(MACsTest, WithoutARegistryTheRowStandsOpenAndEmptyAndTheFailureLeaves) {
  FakeSysfs sysfs;
  fs::remove_all(sysfs.root() / "sys");
  EXPECT_THROW(window->showMACs(), toolkit::NilObjectException);
  EXPECT_EQ(rows(), Strings{"MACs|| -"});
}

TEST_F(MACsTest, ReopeningTheRowAsksTheMachineAgain) {
  FakeSysfs sysfs(Workstation(), DefaultRoute("eth0"));
  window->showMACs();
  const Strings before = Children(0);

  sysfs.Add({"eth9", 9, "00:1c:42:0a:ff:09", Pci(9)});
  FakeSysfs::Write(sysfs.Net("eth0") / "address", "02:00:00:00:00:01\n");
  sysfs.Routes(DefaultRoute("ens4"));
  EXPECT_EQ(Children(0), before);  // an open row keeps what it showed

  list().Expanded(0, false);
  EXPECT_EQ(rows(), Strings{"MACs|| +"});
  list().Expanded(0, true);
  EXPECT_EQ(Children(0),
            (Strings{"52:54:00:12:34:56||Primary", "02:00:00:00:00:01|eth0|BuiltIn",
                     "52:54:00:12:34:56|ens4|BuiltIn", "00:1C:42:0A:FF:09|eth9|BuiltIn"}));
}

TEST_F(MACsTest, EachShowMACsAddsAnotherRowWithChildrenOfItsOwn) {
  FakeSysfs sysfs({{"eth0", 2, "00:1c:42:0a:ff:01", Pci(3)}}, "");
  list().AddRow({"before"});
  window->showMACs();
  sysfs.Add({"eth1", 3, "00:1c:42:0a:ff:02", Pci(4)});
  window->showMACs();
  EXPECT_EQ(rows(),
            (Strings{"before||", "MACs|| -", ">00:1C:42:0A:FF:01||Primary",
                     ">00:1C:42:0A:FF:01|eth0|BuiltIn", "MACs|| -", ">00:1C:42:0A:FF:01||Primary",
                     ">00:1C:42:0A:FF:01|eth0|BuiltIn", ">00:1C:42:0A:FF:02|eth1|BuiltIn"}));
}

TEST_F(MACsTest, TheTagTellsTheRowsKindNotItsText) {
  const FakeSysfs sysfs({{"eth0", 2, "00:1c:42:0a:ff:01", Pci(3)}}, "");
  const Strings interfaces = {"00:1C:42:0A:FF:01||Primary", "00:1C:42:0A:FF:01|eth0|BuiltIn"};
  const std::uint8_t bytes[] = {'M', 'A', 'C', 's'};
  struct Case {
    const char* why;
    toolkit::Variant tag;
    Strings children;
  };
  const Case cases[] = {
      {"the text \"MACs\"", "MACs", interfaces},
      {"a block of the bytes of \"MACs\", which converts to that text",
       Ref<toolkit::MemoryBlock>::New(bytes, sizeof bytes), interfaces},
      {"no tag", toolkit::Variant(), {}},
      {"another case", "macs", {}},
      {"a longer text", "MACs ", {}},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.why);
    window->clearList();
    list().AddFolder(c.tag.IsNull() ? "MACs" : "by hand");
    list().RowTag(0, c.tag);
    list().Expanded(0, true);
    EXPECT_EQ(Children(0), c.children);
  }

  // An object that has no text can't be compared with "MACs".
  window->clearList();
  list().AddFolder("by hand");
  list().RowTag(0, Ref<toolkit::Pair>::New(1, 2));
  EXPECT_THROW(list().Expanded(0, true), toolkit::TypeMismatchException);
  EXPECT_EQ(rows(), Strings{"by hand|| -"});
}

TEST_F(MACsTest, TheMenuItemIsEnabledAndAddsTheRow) {
  const FakeSysfs sysfs(Workstation(), DefaultRoute("eth0"));
  window->RaiseOpen();
  window->RaiseEnableMenuItems();
  const auto item = window->FileShowMACs();
  EXPECT_TRUE(item->Enabled());
  EXPECT_EQ(item->KeyboardShortcut(), "Cmd+G");
  const std::int64_t before = list().ListCount();
  EXPECT_TRUE(window->ChooseMenuItem("FileShowMACs"));
  EXPECT_EQ(list().Cell(before, 0), "MACs");
  EXPECT_TRUE(list().Expanded(before));
  EXPECT_EQ(Children(before).size(), 3u);
}

}  // namespace
}  // namespace window_test
