#pragma once

// Arrays: ordered values, kept as their callbacks say. Arrays of CF objects use the structure
// that the framework bundles export as "kCFTypeArrayCallBacks" (retain on store, release on
// removal, equality by CFEqual).

#include "platform/cf/CFBase.h"

struct OpaqueCFArray;
using CFArrayRef = const OpaqueCFArray*;
using CFMutableArrayRef = OpaqueCFArray*;

using CFArrayRetainCallBack = const void* (*)(CFAllocatorRef allocator, const void* value);
using CFArrayReleaseCallBack = void (*)(CFAllocatorRef allocator, const void* value);
using CFArrayCopyDescriptionCallBack = CFStringRef (*)(const void* value);
using CFArrayEqualCallBack = Boolean (*)(const void* value1, const void* value2);

// How an array keeps its values: retained on store, released on removal, compared by
// `equal`. A NULL member leaves that part out (values not retained, compared by identity).
struct CFArrayCallBacks {
  CFIndex version;
  CFArrayRetainCallBack retain;
  CFArrayReleaseCallBack release;
  CFArrayCopyDescriptionCallBack copyDescription;
  CFArrayEqualCallBack equal;
};

extern "C" {

CFTypeID CFArrayGetTypeID(void);

// A new immutable array (Create rule) of `numValues` values read from `values`, each stored
// through `callBacks` (NULL: stored as they are). `values` may be NULL when `numValues` is 0.
// NULL for a negative count or NULL values with a positive count.
CFArrayRef CFArrayCreate(CFAllocatorRef allocator, const void** values, CFIndex numValues,
                         const CFArrayCallBacks* callBacks);
// A new immutable array (Create rule) of the same values and callbacks.
CFArrayRef CFArrayCreateCopy(CFAllocatorRef allocator, CFArrayRef theArray);
// A new empty mutable array (Create rule) that holds at most `capacity` values (0: no limit).
CFMutableArrayRef CFArrayCreateMutable(CFAllocatorRef allocator, CFIndex capacity,
                                       const CFArrayCallBacks* callBacks);

CFIndex CFArrayGetCount(CFArrayRef theArray);
// The value at `idx`, borrowed from the array (Get rule); NULL for an index outside it.
const void* CFArrayGetValueAtIndex(CFArrayRef theArray, CFIndex idx);

// The changes of mutable arrays. Stored values are retained through the callbacks and
// replaced ones released. An index of `count` in CFArraySetValueAtIndex appends.
void CFArrayAppendValue(CFMutableArrayRef theArray, const void* value);
void CFArraySetValueAtIndex(CFMutableArrayRef theArray, CFIndex idx, const void* value);

}  // extern "C"
