#pragma once

// Dictionaries: keys mapped to values, both kept as their callbacks say. Dictionaries of CF
// objects use the structures that the framework bundles export as
// "kCFTypeDictionaryKeyCallBacks" and "kCFTypeDictionaryValueCallBacks" (retain on store,
// release on removal, keys compared by CFEqual and found by CFHash). The stand-in lists keys
// in the order they were first stored; the platform promises no order.

#include "platform/cf/CFBase.h"

struct OpaqueCFDictionary;
using CFDictionaryRef = const OpaqueCFDictionary*;
using CFMutableDictionaryRef = OpaqueCFDictionary*;

using CFDictionaryRetainCallBack = const void* (*)(CFAllocatorRef allocator, const void* value);
using CFDictionaryReleaseCallBack = void (*)(CFAllocatorRef allocator, const void* value);
using CFDictionaryCopyDescriptionCallBack = CFStringRef (*)(const void* value);
using CFDictionaryEqualCallBack = Boolean (*)(const void* value1, const void* value2);
using CFDictionaryHashCallBack = CFHashCode (*)(const void* value);

// How a dictionary keeps its keys: retained on store, released on removal, compared by
// `equal` and found by `hash`.
struct CFDictionaryKeyCallBacks {
  CFIndex version;
  CFDictionaryRetainCallBack retain;
  CFDictionaryReleaseCallBack release;
  CFDictionaryCopyDescriptionCallBack copyDescription;
  CFDictionaryEqualCallBack equal;
  CFDictionaryHashCallBack hash;
};

// How a dictionary keeps its values.
struct CFDictionaryValueCallBacks {
  CFIndex version;
  CFDictionaryRetainCallBack retain;
  CFDictionaryReleaseCallBack release;
  CFDictionaryCopyDescriptionCallBack copyDescription;
  CFDictionaryEqualCallBack equal;
};

extern "C" {

CFTypeID CFDictionaryGetTypeID(void);

// A new immutable dictionary (Create rule) mapping keys[i] to values[i]; a later equal key
// replaces an earlier one. The arrays may be NULL when `numValues` is 0. NULL for a negative
// count or NULL arrays with a positive count.
CFDictionaryRef CFDictionaryCreate(CFAllocatorRef allocator, const void** keys, const void** values,
                                   CFIndex numValues, const CFDictionaryKeyCallBacks* keyCallBacks,
                                   const CFDictionaryValueCallBacks* valueCallBacks);
// A new immutable dictionary (Create rule) with the same entries and callbacks.
CFDictionaryRef CFDictionaryCreateCopy(CFAllocatorRef allocator, CFDictionaryRef theDict);
// A new empty mutable dictionary (Create rule) of at most `capacity` entries (0: no limit).
CFMutableDictionaryRef CFDictionaryCreateMutable(CFAllocatorRef allocator, CFIndex capacity,
                                                 const CFDictionaryKeyCallBacks* keyCallBacks,
                                                 const CFDictionaryValueCallBacks* valueCallBacks);
// A new mutable dictionary (Create rule) with the same entries and callbacks; NULL when it has
// more entries than a non-zero `capacity`.
CFMutableDictionaryRef CFDictionaryCreateMutableCopy(CFAllocatorRef allocator, CFIndex capacity,
                                                     CFDictionaryRef theDict);

CFIndex CFDictionaryGetCount(CFDictionaryRef theDict);
Boolean CFDictionaryContainsKey(CFDictionaryRef theDict, const void* key);
Boolean CFDictionaryContainsValue(CFDictionaryRef theDict, const void* value);
// The value of `key`, borrowed from the dictionary (Get rule); NULL when there is none.
const void* CFDictionaryGetValue(CFDictionaryRef theDict, const void* key);
// Whether `key` is present; if so and `value` is not NULL, the value, borrowed, at *value.
Boolean CFDictionaryGetValueIfPresent(CFDictionaryRef theDict, const void* key, const void** value);
// Writes every key to `keys` and every value to `values`, borrowed, in the same order; each
// may be NULL when it is not wanted. Each array must hold CFDictionaryGetCount pointers.
void CFDictionaryGetKeysAndValues(CFDictionaryRef theDict, const void** keys, const void** values);

// The changes of mutable dictionaries. Stored keys and values are retained through the
// callbacks and replaced or removed ones released. Setting an existing key keeps the stored
// key and replaces the value.
void CFDictionarySetValue(CFMutableDictionaryRef theDict, const void* key, const void* value);
void CFDictionaryRemoveValue(CFMutableDictionaryRef theDict, const void* key);
void CFDictionaryRemoveAllValues(CFMutableDictionaryRef theDict);

}  // extern "C"
