#pragma once

// What the stand-in's tests share: matching dictionaries made by hand, and a walk over the
// services of a matching that reads each one's properties and gives everything back.

#include <gtest/gtest.h>

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
using cf_test::Symbol;

inline CFMutableDictionaryRef NewDictionary() {
  static const auto keys = Symbol<CFDictionaryKeyCallBacks>("kCFTypeDictionaryKeyCallBacks");
  static const auto values = Symbol<CFDictionaryValueCallBacks>("kCFTypeDictionaryValueCallBacks");
  return CFDictionaryCreateMutable(nullptr, 0, &keys, &values);
}

inline CFBooleanRef True() {
  return Symbol<CFBooleanRef>("kCFBooleanTrue");
}
inline CFBooleanRef False() {
  return Symbol<CFBooleanRef>("kCFBooleanFalse");
}

// IOServiceMatching(className) with "IOPropertyMatch" holding `properties`, each value
// borrowed (the dictionary keeps its own count). Owned by the caller.
inline CFMutableDictionaryRef Matching(
    const char* className, const std::vector<std::pair<const char*, CFTypeRef>>& properties) {
  const CFMutableDictionaryRef matching = IOServiceMatching(className);
  const Owned<CFMutableDictionaryRef> sub(NewDictionary());
  for (const auto& [key, value] : properties)
    CFDictionarySetValue(sub, Owned<CFStringRef>(NewString(key)), value);
  CFDictionarySetValue(matching, Owned<CFStringRef>(NewString("IOPropertyMatch")), sub);
  return matching;
}

// A property of an entry, owned by the caller.
inline CFTypeRef Property(io_registry_entry_t entry, const char* key) {
  return IORegistryEntryCreateCFProperty(entry, Owned<CFStringRef>(NewString(key)), nullptr, 0);
}

// A boolean property as "true", "false", or "none" where the entry lacks it.
inline std::string Flag(io_registry_entry_t entry, const char* key) {
  const Owned<CFTypeRef> value(Property(entry, key));
  if (value.get() == nullptr) return "none";
  EXPECT_EQ(CFGetTypeID(value), CFBooleanGetTypeID()) << key;
  return CFBooleanGetValue(static_cast<CFBooleanRef>(value.get())) ? "true" : "false";
}

// The bytes of a data property in upper-case hexadecimal, "-" where the entry lacks it.
inline std::string Address(io_registry_entry_t entry) {
  const Owned<CFTypeRef> value(Property(entry, "IOMACAddress"));
  if (value.get() == nullptr) return "-";
  EXPECT_EQ(CFGetTypeID(value), CFDataGetTypeID());
  std::string text;
  for (const char byte : cf_test::Bytes(static_cast<CFDataRef>(value.get()))) {
    char digits[4];
    std::snprintf(digits, sizeof digits, "%s%02X", text.empty() ? "" : ":",
                  static_cast<unsigned char>(byte));
    text += digits;
  }
  return text;
}

// One line for each interface of the iterator: "name", " builtin" and " primary" where those
// flags are true, then the controller's address. Everything handed out is given back, the
// iterator too.
inline std::vector<std::string> Describe(io_iterator_t iterator) {
  std::vector<std::string> lines;
  while (const io_object_t service = IOIteratorNext(iterator)) {
    const Owned<CFTypeRef> name(Property(service, "BSD Name"));
    std::string line =
        name.get() != nullptr ? cf_test::Text(static_cast<CFStringRef>(name.get())) : "(no name)";
    if (Flag(service, "IOBuiltin") == "true") line += " builtin";
    if (Flag(service, "IOPrimaryInterface") == "true") line += " primary";
    io_registry_entry_t parent = IO_OBJECT_NULL;
    EXPECT_EQ(IORegistryEntryGetParentEntry(service, kIOServicePlane, &parent), kIOReturnSuccess);
    line += " " + Address(parent);
    IOObjectRelease(parent);
    IOObjectRelease(service);
    lines.push_back(line);
  }
  if (iterator != IO_OBJECT_NULL) IOObjectRelease(iterator);
  return lines;
}

// The interfaces that `matching` (consumed) matches, described as above.
inline std::vector<std::string> Services(CFDictionaryRef matching) {
  io_iterator_t iterator = IO_OBJECT_NULL;
  EXPECT_EQ(IOServiceGetMatchingServices(kIOMasterPortDefault, matching, &iterator),
            kIOReturnSuccess);
  return Describe(iterator);
}

inline std::vector<std::string> AllInterfaces() {
  return Services(IOServiceMatching("IOEthernetInterface"));
}

}  // namespace iokit_test
