#pragma once

// The module IOKit: the machine's Ethernet-class network interfaces with their hardware
// addresses, read from the I/O registry at every call. Nothing is cached.

#include <optional>
#include <vector>

#include "platform/toolkit/Dictionary.h"
#include "platform/toolkit/MemoryBlock.h"
#include "platform/toolkit/Ref.h"
#include "platform/toolkit/String.h"

namespace IOKit {

// One Pair for each interface found, in the order in which the registry delivers them:
// `Left` the bytes of the controller's "IOMACAddress" (a MemoryBlock of the property's
// length), `Right` the interface's "BSD Name" (a String, empty where it has none). None (nil)
// when the query can't be set up, empty when it ran and found nothing.
using MACAddresses = std::optional<std::vector<toolkit::Ref<toolkit::Pair>>>;

// The interfaces whose "IOPrimaryInterface" is true (`primaryOnly`) or whose "IOBuiltin" is
// true. An interface whose controller has no address is left out. Every registry object that
// the query is given goes back before it returns.
MACAddresses GetMACAddresses(bool primaryOnly);
// GetMACAddresses(false), as it stands: the built-in interfaces, not all of them.
MACAddresses AllMACAddressesRaw();
// The address of the first primary interface; nil when there is none. NilObjectException when
// the query can't be set up.
toolkit::Ref<toolkit::MemoryBlock> PrimaryMACAddressRaw();
// That address as text; the empty String when there is none. NilObjectException as above.
toolkit::String PrimaryMACAddress();
// Every byte as two upper-case hexadecimal digits, joined by ":", for a block of any length:
// "00:1C:42:0A:FF:01". NilObjectException for nil.
toolkit::String FormatMACAddress(const toolkit::Ref<toolkit::MemoryBlock>& mb);

}  // namespace IOKit
