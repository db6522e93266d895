// The "MACs" row: the command that adds it and the interface rows it opens into.

#include "interfaces/IOKit.h"
#include "platform/toolkit/Dictionary.h"
#include "platform/toolkit/MemoryBlock.h"
#include "window/Window1.h"

using toolkit::Ref;

bool Window1::_FileShowMACs_Action() {
  showMACs();
  return true;
}

void Window1::showMACs() {
  // Nothing looks for a "MACs" row that is there already: each command adds one.
  const Ref<toolkit::Listbox> list = lb();
  list->AddFolder("MACs");
  list->RowTag(list->LastIndex(), "MACs");
  list->Expanded(list->LastIndex(), true);
}

void Window1::AddInterfaceRows(toolkit::Listbox& list) {
  // The primary row comes first and stands also when there is no primary interface. An
  // interface that is primary and built in shows twice, once in each role.
  list.AddRow({IOKit::PrimaryMACAddress(), "", "Primary"});
  const IOKit::MACAddresses interfaces = IOKit::AllMACAddressesRaw();
  if (!interfaces) return;
  for (const Ref<toolkit::Pair>& pair : *interfaces) {
    const Ref<toolkit::MemoryBlock> address = pair->Left().As<toolkit::MemoryBlock>();
    list.AddRow({IOKit::FormatMACAddress(address), pair->Right().StringValue(), "BuiltIn"});
  }
}
