#pragma once

// The module CoreFoundation: one wrapper class per CoreFoundation type, each holding one
// counted reference with automatic lifetime, so that no code outside the wrappers calls
// CFRelease. This header holds what the whole family shares.

#include <cstdint>

#include "platform/cf/CFBase.h"
#include "platform/toolkit/cf/CFStringRef.h"

namespace CoreFoundation {

// A raw CoreFoundation reference or address. It carries no count: whoever keeps one past the
// life of the wrapper it came from must retain it first.
using Ptr = const void*;

// A string that the platform lent under the Get rule, with a count of its own: CFRetain on a
// non-null `ref`, handed over to the result. Null gives a null value and calls nothing.
toolkit::CFStringRef CFStringRetain(Ptr ref);

// The platform's range structure of two 64-bit fields, each sign-extended from its 32-bit
// argument. Offsets and lengths that the wrappers pass on are cut to 32 bits by it.
CFRange CFRangeMake(std::int32_t location, std::int32_t length);

}  // namespace CoreFoundation
