#pragma once

// Locales, as far as case mapping needs them: an identifier such as "tr_TR".

#include "platform/cf/CFBase.h"

struct OpaqueCFLocale;
using CFLocaleRef = const OpaqueCFLocale*;

extern "C" {

CFTypeID CFLocaleGetTypeID(void);
// The locale of no particular language, a constant with the empty identifier.
CFLocaleRef CFLocaleGetSystem(void);
// A new locale for `localeIdentifier`, taken as given; NULL for a NULL identifier.
CFLocaleRef CFLocaleCreate(CFAllocatorRef allocator, CFStringRef localeIdentifier);
// The identifier, borrowed from the locale (Get rule).
CFStringRef CFLocaleGetIdentifier(CFLocaleRef locale);

}  // extern "C"
