#pragma once

// The I/O registry's C API, with the platform's names and semantics, over Linux's /sys and
// /proc. The registry holds two kinds of entry:
//
//   "IOEthernetInterface"   every interface of /sys/class/net whose `type` is 1 (Ethernet
//                           class), with the properties "BSD Name" (its name), "IOBuiltin"
//                           and "IOPrimaryInterface" (both CFBoolean);
//   "IOEthernetController"  its parent in the "IOService" plane, with "IOMACAddress" (CFData,
//                           the bytes of the interface's `address`) where that can be read.
//
// An interface is built in when it has a `device` link and neither that device nor any of
// its ancestors is a USB device; PCI, virtio and platform devices all count. The primary
// interfaces are those of the default route of /proc/net/route with the lowest metric; where
// no default route leads through an Ethernet-class interface, the built-in interface with the
// lowest `ifindex` is primary.
//
// Objects (services, their parents, iterators) are handed out as handles that the caller
// owns and gives back with IOObjectRelease. A handle counts how often it was handed out: the
// same object handed out again has the same handle with one count more, and the handle goes
// away when its last count is given back. The master port is no object and is never given
// back.
//
// Each matching reads the registry afresh and keeps what it read in its iterator, so one
// iteration sees one state of the machine. The CF objects that these calls take and give
// follow CoreFoundation's rules (platform/cf).

#include <cstdint>

#include "platform/cf/CFBase.h"
#include "platform/cf/CFDictionary.h"

using kern_return_t = int;
using IOReturn = kern_return_t;
using mach_port_t = std::uint32_t;
using io_object_t = mach_port_t;
using io_iterator_t = io_object_t;
using io_service_t = io_object_t;
using io_registry_entry_t = io_object_t;
using IOOptionBits = std::uint32_t;
// Plane names are C strings; the platform declares them as arrays of this size.
using io_name_t = char[128];

inline constexpr mach_port_t MACH_PORT_NULL = 0;
inline constexpr io_object_t IO_OBJECT_NULL = 0;
// The master port that every call accepts in place of the one IOMasterPort gives.
inline constexpr mach_port_t kIOMasterPortDefault = 0;

inline constexpr IOReturn kIOReturnSuccess = 0;
inline constexpr IOReturn kIOReturnNoDevice = static_cast<IOReturn>(0xe00002c0);
inline constexpr IOReturn kIOReturnBadArgument = static_cast<IOReturn>(0xe00002c2);

// The registry's plane of services and their providers.
inline constexpr const char kIOServicePlane[] = "IOService";

extern "C" {

// The master port at *masterPort, for `bootstrapPort` MACH_PORT_NULL. kIOReturnNoDevice when
// there is no registry to read (no /sys/class/net); kIOReturnBadArgument for a NULL
// `masterPort` or another bootstrap port.
kern_return_t IOMasterPort(mach_port_t bootstrapPort, mach_port_t* masterPort);

// A new mutable dictionary (Create rule) that matches the services of class `name` and of
// its subclasses: "IOProviderClass" mapped to `name`. NULL for a NULL name or one that is no
// UTF-8 text.
CFMutableDictionaryRef IOServiceMatching(const char* name);

// An iterator over the services that `matching` matches, at *existing. The dictionary names
// the class under "IOProviderClass" (no class: every service), and may hold under
// "IOPropertyMatch" a dictionary of properties that a service must have with equal values
// (CFEqual). One count of `matching` is consumed whatever happens, failures included.
// kIOReturnBadArgument for an unknown master port, a NULL `existing`, or a `matching` that
// isn't a dictionary or whose entries aren't of those types; kIOReturnNoDevice when the
// registry can't be read. On failure *existing is IO_OBJECT_NULL.
kern_return_t IOServiceGetMatchingServices(mach_port_t masterPort, CFDictionaryRef matching,
                                           io_iterator_t* existing);

// The next service of the iterator, owned by the caller; IO_OBJECT_NULL at the end, and for
// anything that is no live iterator.
io_object_t IOIteratorNext(io_iterator_t iterator);

// The provider of `entry` in `plane`, owned by the caller, at *parent. kIOReturnNoDevice for
// an entry without one (a controller); kIOReturnBadArgument for a plane other than
// "IOService", a NULL `parent`, or an `entry` that is no live registry entry.
kern_return_t IORegistryEntryGetParentEntry(io_registry_entry_t entry, const io_name_t plane,
                                            io_registry_entry_t* parent);

// A new CF object (Create rule) with the value of the property `key` of `entry`; NULL where
// the entry has no such property, and for an `entry` that is no live registry entry or a key
// that is no string. Allocator and options are ignored.
CFTypeRef IORegistryEntryCreateCFProperty(io_registry_entry_t entry, CFStringRef key,
                                          CFAllocatorRef allocator, IOOptionBits options);

// Gives back one count of the object. kIOReturnBadArgument for anything that is no live
// object; nothing changes then.
kern_return_t IOObjectRelease(io_object_t object);

}  // extern "C"
