#pragma once

// Blocks of bytes, immutable and mutable. Ranges count bytes.

#include "platform/cf/CFBase.h"

struct OpaqueCFData;
using CFDataRef = const OpaqueCFData*;
using CFMutableDataRef = OpaqueCFData*;

extern "C" {

CFTypeID CFDataGetTypeID(void);

// A new data object with a copy of `length` bytes; `bytes` may be NULL for a length of 0.
CFDataRef CFDataCreate(CFAllocatorRef allocator, const UInt8* bytes, CFIndex length);
// A new empty mutable data object that can grow to `capacity` bytes; 0 means without a limit.
CFMutableDataRef CFDataCreateMutable(CFAllocatorRef allocator, CFIndex capacity);
// A new mutable data object with the bytes of `theData`.
CFMutableDataRef CFDataCreateMutableCopy(CFAllocatorRef allocator, CFIndex capacity,
                                         CFDataRef theData);

CFIndex CFDataGetLength(CFDataRef theData);
// Copies the bytes of `range` to `buffer`.
void CFDataGetBytes(CFDataRef theData, CFRange range, UInt8* buffer);

// Grows the object by `length` bytes from `bytes`; refused beyond its capacity.
void CFDataAppendBytes(CFMutableDataRef theData, const UInt8* bytes, CFIndex length);
// Puts `newLength` bytes from `newBytes` in the place of the bytes of `range`.
void CFDataReplaceBytes(CFMutableDataRef theData, CFRange range, const UInt8* newBytes,
                        CFIndex newLength);
void CFDataDeleteBytes(CFMutableDataRef theData, CFRange range);

}  // extern "C"
