#pragma once

// Locales, as far as case mapping needs them: the one of no particular language.

#include "platform/cf/CFBase.h"

struct OpaqueCFLocale;
using CFLocaleRef = const OpaqueCFLocale*;

extern "C" {

// The locale of no particular language, a constant with the empty identifier.
CFLocaleRef CFLocaleGetSystem(void);

}  // extern "C"
