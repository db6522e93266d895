#pragma once

// What the stand-in's tests share: matching dictionaries, properties read as text, and a walk
// over the services of an iterator that gives everything back.

#include <string>
#include <utility>
#include <vector>

#include "platform/cf/CoreFoundation.h"
#include "platform/iokit/IOKitLib.h"
#include "tests/cf/Support.h"
#include "tests/iokit/FakeSysfs.h"
#include "tests/iokit/HandleCheck.h"

namespace iokit_test {

using cf_test::NewString;
using cf_test::Owned;
using Strings = std::vector<std::string>;

inline CFBooleanRef True() {
  return cf_test::Symbol<CFBooleanRef>("kCFBooleanTrue");
}
inline CFBooleanRef False() {
  return cf_test::Symbol<CFBooleanRef>("kCFBooleanFalse");
}

// IOServiceMatching(className) with "IOPropertyMatch" holding `properties`. Owned.
inline CFMutableDictionaryRef Matching(
    const char* className, const std::vector<std::pair<const char*, CFTypeRef>>& properties) {
  static const auto keys =
      cf_test::Symbol<CFDictionaryKeyCallBacks>("kCFTypeDictionaryKeyCallBacks");
  static const auto values =
      cf_test::Symbol<CFDictionaryValueCallBacks>("kCFTypeDictionaryValueCallBacks");
  const CFMutableDictionaryRef matching = IOServiceMatching(className);
  const Owned<CFMutableDictionaryRef> sub(CFDictionaryCreateMutable(nullptr, 0, &keys, &values));
  for (const auto& [key, value] : properties)
    CFDictionarySetValue(sub, Owned<CFStringRef>(NewString(key)), value);
  CFDictionarySetValue(matching, Owned<CFStringRef>(NewString("IOPropertyMatch")), sub);
  return matching;
}

// A property of an entry, owned by the caller.
inline CFTypeRef Property(io_registry_entry_t entry, const char* key) {
  return IORegistryEntryCreateCFProperty(entry, Owned<CFStringRef>(NewString(key)), nullptr, 0);
}

// A property as text: a string's own, "true"/"false", bytes in hexadecimal joined by ":", or
// "-" where the entry lacks it.
inline std::string Text(io_registry_entry_t entry, const char* key) {
  const Owned<CFTypeRef> value(Property(entry, key));
  if (value.get() == nullptr) return "-";
  const CFTypeID type = CFGetTypeID(value);
  if (type == CFStringGetTypeID()) return cf_test::Text(static_cast<CFStringRef>(value.get()));
  if (type == CFBooleanGetTypeID())
    return CFBooleanGetValue(static_cast<CFBooleanRef>(value.get())) ? "true" : "false";
  std::string text;
  for (const char byte : cf_test::Bytes(static_cast<CFDataRef>(value.get()))) {
    char digits[4];
    std::snprintf(digits, sizeof digits, ":%02X", static_cast<unsigned char>(byte));
    text += digits;
  }
  return text.substr(1);
}

// Each interface of the iterator as "name", " builtin" and " primary" where those are true,
// then its controller's address. Gives back every handle, the iterator's too.
inline Strings Describe(io_iterator_t iterator) {
  Strings lines;
  while (const io_object_t service = IOIteratorNext(iterator)) {
    std::string line = Text(service, "BSD Name");
    if (Text(service, "IOBuiltin") == "true") line += " builtin";
    if (Text(service, "IOPrimaryInterface") == "true") line += " primary";
    io_registry_entry_t parent = IO_OBJECT_NULL;
    EXPECT_EQ(IORegistryEntryGetParentEntry(service, kIOServicePlane, &parent), kIOReturnSuccess);
    lines.push_back(line + " " + Text(parent, "IOMACAddress"));
    IOObjectRelease(parent);
    IOObjectRelease(service);
  }
  if (iterator != IO_OBJECT_NULL) IOObjectRelease(iterator);
  return lines;
}

// An iterator over what `matching` (consumed) matches; 0 when the call fails.
inline io_iterator_t Iterate(CFDictionaryRef matching) {
  io_iterator_t iterator = IO_OBJECT_NULL;
  EXPECT_EQ(IOServiceGetMatchingServices(kIOMasterPortDefault, matching, &iterator),
            kIOReturnSuccess);
  return iterator;
}

inline Strings AllInterfaces() {
  return Describe(Iterate(IOServiceMatching("IOEthernetInterface")));
}

}  // namespace iokit_test
