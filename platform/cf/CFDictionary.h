#pragma once

// Dictionaries. So far only their type id and the callback structures of dictionaries of CF
// objects, which the framework bundles export as "kCFTypeDictionaryKeyCallBacks" and
// "kCFTypeDictionaryValueCallBacks".

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

}  // extern "C"
