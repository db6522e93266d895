#pragma once

// Moments in time. Absolute time counts seconds from 2001-01-01 00:00:00 GMT.

#include "platform/cf/CFBase.h"

using CFTimeInterval = double;
using CFAbsoluteTime = CFTimeInterval;

struct OpaqueCFDate;
using CFDateRef = const OpaqueCFDate*;

extern "C" {

// Now, by the system clock.
CFAbsoluteTime CFAbsoluteTimeGetCurrent(void);

CFTypeID CFDateGetTypeID(void);
CFDateRef CFDateCreate(CFAllocatorRef allocator, CFAbsoluteTime at);
CFAbsoluteTime CFDateGetAbsoluteTime(CFDateRef theDate);

}  // extern "C"
