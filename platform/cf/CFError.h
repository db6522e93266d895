#pragma once

// Errors: a domain, a code, a dictionary of further information, and a text made of them.

#include "platform/cf/CFBase.h"
#include "platform/cf/CFDictionary.h"

using CFErrorDomain = CFStringRef;

struct OpaqueCFError;
using CFErrorRef = OpaqueCFError*;

extern "C" {

CFTypeID CFErrorGetTypeID(void);
// The domain, borrowed from the error (Get rule).
CFErrorDomain CFErrorGetDomain(CFErrorRef err);
CFIndex CFErrorGetCode(CFErrorRef err);
// A new string (Copy rule): the string under "NSLocalizedDescription"
// (kCFErrorLocalizedDescriptionKey) of the user info where there is one, else
// "The operation couldn’t be completed. (<domain> error <code>.)"
CFStringRef CFErrorCopyDescription(CFErrorRef err);

}  // extern "C"
