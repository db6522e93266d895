#include "platform/iokit/IOKitLib.h"

#include <cinttypes>
#include <cstdio>
#include <cstring>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "platform/cf/CFBundle.h"
#include "platform/cf/CFData.h"
#include "platform/cf/CFNumber.h"
#include "platform/cf/CFString.h"
#include "platform/iokit/StandIn.h"
#include "platform/iokit/Sysfs.h"

namespace iokit {

namespace {

// The one master port. Handles never take its number.
constexpr mach_port_t kMasterPort = 0x0B03;

enum class Kind { Interface, Controller, Iterator };

// What a handle stands for. `handle` is its number while it is handed out, else 0.
struct Object {
  explicit Object(Kind k) : kind(k) {}
  virtual ~Object() = default;
  const Kind kind;
  io_object_t handle = IO_OBJECT_NULL;
};

// An interface or its controller, over what was read of the interface.
struct Entry : Object {
  Entry(Kind k, std::shared_ptr<const InterfaceInfo> i) : Object(k), info(std::move(i)) {}
  const std::shared_ptr<const InterfaceInfo> info;
  std::shared_ptr<Entry> parent;  // an interface's controller; none for a controller
};

struct Iterator : Object {
  Iterator() : Object(Kind::Iterator) {}
  std::vector<std::shared_ptr<Entry>> services;
  std::size_t next = 0;
};

struct Slot {
  std::shared_ptr<Object> object;
  std::int64_t count;
};

struct Table {
  std::map<io_object_t, Slot> slots;
  io_object_t next = 0x1003;
  std::int64_t refusals = 0;
};

// Never freed, so that handles may be given back from the statics of callers at the end.
Table& TheTable() {
  static auto* const table = new Table;
  return *table;
}

// The object's handle with one count more; a new handle for an object not handed out.
io_object_t HandOut(const std::shared_ptr<Object>& object) {
  Table& table = TheTable();
  if (object->handle != IO_OBJECT_NULL) {
    ++table.slots.at(object->handle).count;
    return object->handle;
  }
  // Numbers aren't reused soon, so that a handle given back doesn't name another object.
  while (table.next == IO_OBJECT_NULL || table.next == kMasterPort ||
         table.slots.contains(table.next))
    ++table.next;
  object->handle = table.next++;
  table.slots.emplace(object->handle, Slot{object, 1});
  return object->handle;
}

// The live object of one of the kinds that `accepts` takes; else nullptr, the call counted
// as refused.
template <class T, class Accepts>
std::shared_ptr<T> Find(io_object_t handle, Accepts accepts) {
  Table& table = TheTable();
  const auto found = table.slots.find(handle);
  if (found == table.slots.end() || !accepts(found->second.object->kind)) {
    ++table.refusals;
    return nullptr;
  }
  return std::static_pointer_cast<T>(found->second.object);
}

std::shared_ptr<Entry> FindEntry(io_object_t handle) {
  return Find<Entry>(handle, [](Kind k) { return k != Kind::Iterator; });
}

const char* ClassName(const Object& object) {
  switch (object.kind) {
    case Kind::Interface:
      return "IOEthernetInterface";
    case Kind::Controller:
      return "IOEthernetController";
    case Kind::Iterator:
      break;
  }
  return "IOIterator";
}

// Whether an entry is of the class `name` or of one of its subclasses.
bool Conforms(const Entry& entry, std::string_view name) {
  if (name == "IOService") return true;
  if (entry.kind == Kind::Interface)
    return name == "IOEthernetInterface" || name == "IONetworkInterface";
  return name == "IOEthernetController" || name == "IONetworkController";
}

// CoreFoundation's data symbols, as the framework bundle exports them.
const void* DataSymbol(const char* name) {
  const CFStringRef id =
      CFStringCreateWithCString(nullptr, "com.apple.CoreFoundation", kCFStringEncodingUTF8);
  const CFBundleRef bundle = CFBundleGetBundleWithIdentifier(id);
  CFRelease(id);
  if (bundle == nullptr) return nullptr;
  const CFStringRef symbol = CFStringCreateWithCString(nullptr, name, kCFStringEncodingUTF8);
  const void* address = CFBundleGetDataPointerForName(bundle, symbol);
  CFRelease(symbol);
  return address;
}

CFBooleanRef BooleanConstant(bool value) {
  static const auto load = [](const char* name) {
    const auto* address = static_cast<const CFBooleanRef*>(DataSymbol(name));
    return address != nullptr ? *address : nullptr;
  };
  static const CFBooleanRef yes = load("kCFBooleanTrue");
  static const CFBooleanRef no = load("kCFBooleanFalse");
  return value ? yes : no;
}

// A new string of the bytes: UTF-8 where they are, else each byte as a Latin-1 character, so
// that a name of any bytes has a string.
CFStringRef MakeString(std::string_view bytes) {
  const auto* data = reinterpret_cast<const UInt8*>(bytes.data());
  const auto length = static_cast<CFIndex>(bytes.size());
  const CFStringRef utf8 =
      CFStringCreateWithBytes(nullptr, data, length, kCFStringEncodingUTF8, false);
  if (utf8 != nullptr) return utf8;
  return CFStringCreateWithBytes(nullptr, data, length, kCFStringEncodingISOLatin1, false);
}

// The text of a key; none for anything but a string, or one too long to name a property.
std::optional<std::string> KeyText(CFTypeRef key) {
  if (key == nullptr || CFGetTypeID(key) != CFStringGetTypeID()) return std::nullopt;
  char buffer[256];
  if (!CFStringGetCString(static_cast<CFStringRef>(key), buffer, sizeof buffer,
                          kCFStringEncodingUTF8))
    return std::nullopt;
  return std::string(buffer);
}

CFTypeRef CreateProperty(const Entry& entry, std::string_view key) {
  const InterfaceInfo& info = *entry.info;
  if (entry.kind == Kind::Interface) {
    if (key == "BSD Name") return MakeString(info.name);
    if (key == "IOBuiltin") return CFRetain(BooleanConstant(info.builtin));
    if (key == "IOPrimaryInterface") return CFRetain(BooleanConstant(info.primary));
  } else if (key == "IOMACAddress" && info.address) {
    return CFDataCreate(nullptr, info.address->data(), static_cast<CFIndex>(info.address->size()));
  }
  return nullptr;
}

// Whether the entry has every property of `properties` with an equal value.
bool HasProperties(const Entry& entry, CFDictionaryRef properties) {
  const CFIndex count = CFDictionaryGetCount(properties);
  std::vector<const void*> keys(static_cast<std::size_t>(count));
  std::vector<const void*> values(static_cast<std::size_t>(count));
  CFDictionaryGetKeysAndValues(properties, keys.data(), values.data());
  for (std::size_t i = 0; i < keys.size(); ++i) {
    const auto key = KeyText(keys[i]);
    const CFTypeRef actual = key ? CreateProperty(entry, *key) : nullptr;
    const bool equal = actual != nullptr && CFEqual(actual, values[i]);
    if (actual != nullptr) CFRelease(actual);
    if (!equal) return false;
  }
  return true;
}

// The value of `key` in the dictionary, borrowed; NULL when there is none.
const void* ValueOf(CFDictionaryRef dictionary, const char* key) {
  const CFStringRef k = CFStringCreateWithCString(nullptr, key, kCFStringEncodingUTF8);
  const void* value = CFDictionaryGetValue(dictionary, k);
  CFRelease(k);
  return value;
}

// The entries that `matching` matches, in the registry's order: each controller before its
// interface, both in the order of the interfaces' indexes.
IOReturn Match(CFDictionaryRef matching, std::vector<std::shared_ptr<Entry>>& found) {
  if (matching == nullptr || CFGetTypeID(matching) != CFDictionaryGetTypeID())
    return kIOReturnBadArgument;
  std::optional<std::string> className;
  if (const void* provider = ValueOf(matching, "IOProviderClass")) {
    className = KeyText(provider);
    if (!className) return kIOReturnBadArgument;
  }
  const auto properties = static_cast<CFDictionaryRef>(ValueOf(matching, "IOPropertyMatch"));
  if (properties != nullptr && CFGetTypeID(properties) != CFDictionaryGetTypeID())
    return kIOReturnBadArgument;

  const auto interfaces = ReadInterfaces(RootSlot());
  if (!interfaces) return kIOReturnNoDevice;
  for (const InterfaceInfo& read : *interfaces) {
    const auto info = std::make_shared<const InterfaceInfo>(read);
    const auto controller = std::make_shared<Entry>(Kind::Controller, info);
    const auto interface = std::make_shared<Entry>(Kind::Interface, info);
    interface->parent = controller;
    for (const auto& entry : {controller, interface}) {
      if (className && !Conforms(*entry, *className)) continue;
      if (properties != nullptr && !HasProperties(*entry, properties)) continue;
      found.push_back(entry);
    }
  }
  return kIOReturnSuccess;
}

}  // namespace

std::int64_t LiveObjects() {
  return static_cast<std::int64_t>(TheTable().slots.size());
}

std::vector<std::string> DescribeLiveObjects() {
  std::vector<std::string> lines;
  for (const auto& [handle, slot] : TheTable().slots) {
    char number[2 + 8 + 1];
    std::snprintf(number, sizeof number, "0x%" PRIx32, handle);
    std::string line = std::string(number) + " " + ClassName(*slot.object);
    if (slot.object->kind != Kind::Iterator)
      line += " " + std::static_pointer_cast<Entry>(slot.object)->info->name;
    lines.push_back(line + " (" + std::to_string(slot.count) + ")");
  }
  return lines;
}

std::int64_t Refusals() {
  return TheTable().refusals;
}

}  // namespace iokit

extern "C" {

kern_return_t IOMasterPort(mach_port_t bootstrapPort, mach_port_t* masterPort) {
  (void)bootstrapPort;  // the platform doesn't look at it either
  if (masterPort == nullptr) return kIOReturnBadArgument;
  if (!iokit::RegistryPresent(iokit::RootSlot())) return kIOReturnNoDevice;
  *masterPort = iokit::kMasterPort;
  return kIOReturnSuccess;
}

CFMutableDictionaryRef IOServiceMatching(const char* name) {
  if (name == nullptr) return nullptr;
  const CFStringRef className = CFStringCreateWithCString(nullptr, name, kCFStringEncodingUTF8);
  if (className == nullptr) return nullptr;
  static const auto* keyCallBacks = static_cast<const CFDictionaryKeyCallBacks*>(
      iokit::DataSymbol("kCFTypeDictionaryKeyCallBacks"));
  static const auto* valueCallBacks = static_cast<const CFDictionaryValueCallBacks*>(
      iokit::DataSymbol("kCFTypeDictionaryValueCallBacks"));
  const CFMutableDictionaryRef matching =
      CFDictionaryCreateMutable(nullptr, 0, keyCallBacks, valueCallBacks);
  const CFStringRef key =
      CFStringCreateWithCString(nullptr, "IOProviderClass", kCFStringEncodingUTF8);
  CFDictionarySetValue(matching, key, className);
  CFRelease(key);
  CFRelease(className);
  return matching;
}

kern_return_t IOServiceGetMatchingServices(mach_port_t masterPort, CFDictionaryRef matching,
                                           io_iterator_t* existing) {
  if (existing != nullptr) *existing = IO_OBJECT_NULL;
  IOReturn status = kIOReturnBadArgument;
  std::vector<std::shared_ptr<iokit::Entry>> found;
  if (existing != nullptr &&
      (masterPort == iokit::kMasterPort || masterPort == kIOMasterPortDefault))
    status = iokit::Match(matching, found);
  // The caller's count goes, whatever became of the call.
  if (matching != nullptr) CFRelease(matching);
  if (status != kIOReturnSuccess) return status;
  const auto iterator = std::make_shared<iokit::Iterator>();
  iterator->services = std::move(found);
  *existing = iokit::HandOut(iterator);
  return kIOReturnSuccess;
}

io_object_t IOIteratorNext(io_iterator_t iterator) {
  if (iterator == IO_OBJECT_NULL) return IO_OBJECT_NULL;
  const auto it = iokit::Find<iokit::Iterator>(
      iterator, [](iokit::Kind k) { return k == iokit::Kind::Iterator; });
  if (it == nullptr || it->next == it->services.size()) return IO_OBJECT_NULL;
  return iokit::HandOut(it->services[it->next++]);
}

kern_return_t IORegistryEntryGetParentEntry(io_registry_entry_t entry, const io_name_t plane,
                                            io_registry_entry_t* parent) {
  const auto object = iokit::FindEntry(entry);
  if (object == nullptr || plane == nullptr || parent == nullptr ||
      std::strcmp(plane, kIOServicePlane) != 0)
    return kIOReturnBadArgument;
  if (object->parent == nullptr) return kIOReturnNoDevice;
  *parent = iokit::HandOut(object->parent);
  return kIOReturnSuccess;
}

CFTypeRef IORegistryEntryCreateCFProperty(io_registry_entry_t entry, CFStringRef key,
                                          CFAllocatorRef allocator, IOOptionBits options) {
  (void)allocator;
  (void)options;
  const auto object = iokit::FindEntry(entry);
  if (object == nullptr) return nullptr;
  const auto text = iokit::KeyText(key);
  return text ? iokit::CreateProperty(*object, *text) : nullptr;
}

kern_return_t IOObjectRelease(io_object_t object) {
  iokit::Table& table = iokit::TheTable();
  const auto found = table.slots.find(object);
  if (found == table.slots.end()) {
    ++table.refusals;
    return kIOReturnBadArgument;
  }
  if (--found->second.count > 0) return kIOReturnSuccess;
  // The object may live on in its iterator; handed out again, it gets a new number.
  found->second.object->handle = IO_OBJECT_NULL;
  table.slots.erase(found);
  return kIOReturnSuccess;
}

}  // extern "C"
