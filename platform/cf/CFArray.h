#pragma once

// Arrays. So far only their type id and the callback structure of arrays of CF objects, which
// the framework bundles export as "kCFTypeArrayCallBacks".

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

}  // extern "C"
