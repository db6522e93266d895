#include "examination/Machine.h"

#include <algorithm>

#include "interfaces/IOKit.h"
#include "platform/toolkit/Exceptions.h"
#include "platform/toolkit/MemoryBlock.h"

namespace Examination {

std::vector<DeviceIdentifier> MachineIdentifiers() {
  std::vector<DeviceIdentifier> identifiers;
  const auto take = [&identifiers](const IOKit::MACAddresses& pairs, const char* suffix) {
    if (!pairs) return;
    for (const auto& pair : *pairs) {
      const auto block = pair->Left().As<toolkit::MemoryBlock>();
      if (!block) continue;
      DeviceIdentifier id;
      id.bytes.assign(block->Bytes().begin(), block->Bytes().end());
      const bool known =
          std::any_of(identifiers.begin(), identifiers.end(),
                      [&id](const DeviceIdentifier& d) { return d.bytes == id.bytes; });
      if (known) continue;
      id.label = pair->Right().StringValue().Bytes() + suffix;
      id.text = IOKit::FormatMACAddress(block).Bytes();
      identifiers.push_back(std::move(id));
    }
  };
  try {
    take(IOKit::GetMACAddresses(true), " (primary)");
    take(IOKit::AllMACAddressesRaw(), "");
  } catch (const toolkit::RuntimeException&) {
    // The registry failed midway: what was gathered is tried.
  }
  return identifiers;
}

}  // namespace Examination
