// The "MACs" row: "Show MACs" adds it opened, and it opens into the primary address and the
// built-in interfaces of the machine at the time of each opening.

#include <gtest/gtest.h>

#include "Window1Fixture.h"
#include "platform/toolkit/Dictionary.h"
#include "tests/iokit/FakeSysfs.h"

namespace window_test {
namespace {

using namespace iokit_test;

// Two built-in NICs and a bridge.
const std::vector<FakeInterface> kWorkstation = {
    {"eth0", 2, "0a:01", Pci(3)}, {"br0", 4, "0b:02"}, {"ens4", 5, "0c:03", Virtio(4)}};

TEST_F(Window1Test, ShowMACsAddsTheRowOpenedIntoThePrimaryThenTheBuiltInInterfacesIfItCan) {
  window->RaiseOpen();
  {
    const FakeSysfs sysfs(kWorkstation, DefaultRoute("br0"));  // a primary that isn't built in
    EXPECT_TRUE(window->ChooseMenuItem("FileShowMACs"));
  }
  const FakeSysfs none;
  window->showMACs();  // no interface: the primary row stands, empty
  EXPECT_EQ(rows(), (Strings{"MACs|| -", ">0B:02||Primary", ">0A:01|eth0|BuiltIn",
                             ">0C:03|ens4|BuiltIn", "MACs|| -", ">||Primary"}));
  EXPECT_EQ(std::pair(list().RowTag(4), list().RowTag(5)),
            std::pair(toolkit::Variant("MACs"), toolkit::Variant()));
  window->clearList();
  fs::remove_all(none.path() / "sys");  // no registry: the row stands, open and empty
  EXPECT_THROW(window->showMACs(), toolkit::NilObjectException);
  EXPECT_EQ(rows(), Strings{"MACs|| -"});
}

TEST_F(Window1Test, ReopeningTheMACsRowAsksTheMachineAgainAndEachShowMACsAddsARow) {
  const FakeSysfs sysfs(kWorkstation, DefaultRoute("eth0"));
  window->showMACs();
  sysfs.Write("sys/class/net/eth0/address", "0d:04\n");
  sysfs.Routes(DefaultRoute("ens4"));
  // An open row keeps what it showed; a primary that is built in stands twice.
  EXPECT_EQ(rows(),
            (Strings{"MACs|| -", ">0A:01||Primary", ">0A:01|eth0|BuiltIn", ">0C:03|ens4|BuiltIn"}));
  window->showMACs();
  list().Expanded(0, false);
  list().Expanded(0, true);
  const Strings now = {"MACs|| -", ">0C:03||Primary", ">0D:04|eth0|BuiltIn", ">0C:03|ens4|BuiltIn"};
  Strings twice = now;
  twice.insert(twice.end(), now.begin(), now.end());
  EXPECT_EQ(rows(), twice);
}

TEST_F(Window1Test, TheTagTellsAMACsRowNotItsTextAndATagWithoutTextRaises) {
  const FakeSysfs sysfs(kWorkstation);
  for (const toolkit::Variant& tag : {toolkit::Variant(), toolkit::Variant("macs")}) {
    list().AddFolder("MACs");
    list().RowTag(list().LastIndex(), tag);
    list().Expanded(list().LastIndex(), true);
  }
  EXPECT_EQ(rows(), (Strings{"MACs|| -", "MACs|| -"}));
  list().RowTag(0, Ref<toolkit::Pair>::New(1, 2));
  list().Expanded(0, false);
  EXPECT_THROW(list().Expanded(0, true), toolkit::TypeMismatchException);
}

}  // namespace
}  // namespace window_test
