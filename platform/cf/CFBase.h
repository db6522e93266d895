#pragma once

// CoreFoundation's base types and the operations that every object answers, with the
// platform's names and semantics.
//
// Ownership follows the platform's two rules. What a function with Create or Copy in its
// name returns belongs to the caller, who gives it back with CFRelease; anything else is
// borrowed and stays valid only while its owner keeps it. Constants (the booleans, kCFNull,
// the special numbers, the built-in bundles, the system locale) are never freed: retaining
// and releasing them changes nothing.
//
// Where the platform would crash or assert on an argument it doesn't accept (NULL, a pointer
// that is no live object, an object of the wrong type, a range outside the object, a change
// to an immutable object), this stand-in refuses the call: it writes one line naming the
// function to the standard error stream, counts the refusal (StandIn.h) and answers 0, false
// or NULL without changing anything.

#include <cstdint>

using Boolean = unsigned char;
using UInt8 = std::uint8_t;
using SInt8 = std::int8_t;
using SInt16 = std::int16_t;
using SInt32 = std::int32_t;
using SInt64 = std::int64_t;
using UInt32 = std::uint32_t;
using UniChar = char16_t;

using CFIndex = long;
using CFTypeID = unsigned long;
using CFOptionFlags = unsigned long;
using CFHashCode = unsigned long;

using CFTypeRef = const void*;
using CFPropertyListRef = CFTypeRef;

struct OpaqueCFAllocator;
struct OpaqueCFString;
struct OpaqueCFNull;

using CFAllocatorRef = const OpaqueCFAllocator*;
using CFStringRef = const OpaqueCFString*;
using CFMutableStringRef = OpaqueCFString*;
using CFNullRef = const OpaqueCFNull*;

// Allocators are accepted everywhere and ignored: every object comes from the C++ heap.
inline constexpr CFAllocatorRef kCFAllocatorDefault = nullptr;

inline constexpr CFIndex kCFNotFound = -1;

// A span of characters or bytes: where it starts and how many it covers.
struct CFRange {
  CFIndex location;
  CFIndex length;
};

inline CFRange CFRangeMake(CFIndex location, CFIndex length) {
  return CFRange{location, length};
}

enum CFComparisonResult : CFIndex {
  kCFCompareLessThan = -1,
  kCFCompareEqualTo = 0,
  kCFCompareGreaterThan = 1,
};

extern "C" {

// `cf` with one more count; `cf` itself. NULL is refused and answered with NULL.
CFTypeRef CFRetain(CFTypeRef cf);
// One count less; at 0 the object is freed, together with the counts it held on others.
void CFRelease(CFTypeRef cf);
// The object's count; for a constant a fixed, very large number.
CFIndex CFGetRetainCount(CFTypeRef cf);

// The object's type id; never 0 for a live object. 0 for something refused.
CFTypeID CFGetTypeID(CFTypeRef cf);
// Whether the two are equal by value, as their type defines it; objects of different types
// are never equal. Equal objects have equal hashes.
Boolean CFEqual(CFTypeRef cf1, CFTypeRef cf2);
CFHashCode CFHash(CFTypeRef cf);

// A new string (Copy rule) describing the object by its type, address and value, such as
// <CFString 0x5581e0>{contents = "x"}.
CFStringRef CFCopyDescription(CFTypeRef cf);
// A new string (Copy rule) with the name of the type, such as "CFString"; NULL for an id that
// names no type.
CFStringRef CFCopyTypeIDDescription(CFTypeID typeID);

// The one null object, kCFNull, is reached as a data symbol of the framework bundles.
CFTypeID CFNullGetTypeID(void);

}  // extern "C"
