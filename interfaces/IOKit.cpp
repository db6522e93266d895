#include "interfaces/IOKit.h"

#include "corefoundation/CFBoolean.h"
#include "corefoundation/CFData.h"
#include "corefoundation/CFMutableDictionary.h"
#include "corefoundation/CFString.h"
#include "platform/iokit/IOKitLib.h"

using CoreFoundation::CFBoolean;
using CoreFoundation::CFData;
using CoreFoundation::CFMutableDictionary;
using CoreFoundation::CFString;
using CoreFoundation::Ptr;
using toolkit::MemoryBlock;
using toolkit::Pair;
using toolkit::Ref;
using toolkit::String;

namespace IOKit {

namespace {

// The property `key` of a registry entry, owned by the caller; NULL where there is none.
CFTypeRef CreateProperty(io_registry_entry_t entry, const char* key) {
  const Ref<CFString> name = CFString::New(key);
  return IORegistryEntryCreateCFProperty(entry, static_cast<CFStringRef>(name->Reference()),
                                         nullptr, 0);
}

}  // namespace

MACAddresses GetMACAddresses(bool primaryOnly) {
  std::vector<Ref<Pair>> result;
  io_iterator_t iterator = IO_OBJECT_NULL;

  mach_port_t masterPort = MACH_PORT_NULL;
  if (IOMasterPort(MACH_PORT_NULL, &masterPort) != kIOReturnSuccess) return std::nullopt;

  // The wrapper takes a count of its own on top of the one IOServiceMatching handed over:
  // IOServiceGetMatchingServices consumes that one, and the wrapper gives back its own.
  const Ref<CFMutableDictionary> matching =
      CFMutableDictionary::New(IOServiceMatching("IOEthernetInterface"), false);
  if (matching.IsNil() || matching->Reference() == nullptr) return std::nullopt;

  // The sub-dictionary goes in first and is filled afterwards: the matching dictionary holds
  // the same object, so it sees the entry.
  const Ref<CFMutableDictionary> properties = CFMutableDictionary::New();
  matching->Value(CFString::New("IOPropertyMatch"), properties);
  properties->Value(CFString::New(primaryOnly ? "IOPrimaryInterface" : "IOBuiltin"),
                    CFBoolean::GetTrue());

  // Not tested: on failure the iterator stays 0 and the loop ends at once, with an empty
  // result.
  IOServiceGetMatchingServices(
      masterPort, static_cast<CFDictionaryRef>(static_cast<Ptr>(*matching)), &iterator);

  while (const io_object_t service = IOIteratorNext(iterator)) {
    io_registry_entry_t parent = IO_OBJECT_NULL;
    if (IORegistryEntryGetParentEntry(service, kIOServicePlane, &parent) == kIOReturnSuccess) {
      // The name is the interface's, the address its controller's.
      String name;
      if (const CFTypeRef bsdName = CreateProperty(service, "BSD Name"))
        name = CFString::New(bsdName, true)->StringValue();
      if (const CFTypeRef address = CreateProperty(parent, "IOMACAddress"))
        result.push_back(Ref<Pair>::New(CFData::New(address, true)->Data(), name));
      IOObjectRelease(parent);
    }
    IOObjectRelease(service);
  }
  if (iterator != IO_OBJECT_NULL) IOObjectRelease(iterator);
  // The master port is never given back.
  return result;
}

MACAddresses AllMACAddressesRaw() {
  return GetMACAddresses(false);
}

Ref<MemoryBlock> PrimaryMACAddressRaw() {
  const MACAddresses primary = GetMACAddresses(true);
  if (!primary) throw toolkit::NilObjectException();
  if (primary->empty()) return nullptr;
  return primary->front()->Left().As<MemoryBlock>();
}

String PrimaryMACAddress() {
  const Ref<MemoryBlock> raw = PrimaryMACAddressRaw();
  if (raw.IsNil()) return "";
  return FormatMACAddress(raw);
}

String FormatMACAddress(const Ref<MemoryBlock>& mb) {
  const std::int64_t size = mb->Size();
  String text;
  for (std::int64_t i = 0; i < size; ++i) {
    String digits = toolkit::Hex(mb->Byte(i));
    if (digits.LenB() == 1) digits = "0" + digits;
    text += i == 0 ? digits : ":" + digits;
  }
  return text;
}

}  // namespace IOKit
