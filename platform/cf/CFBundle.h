#pragma once

// Bundles. So far only the two built-in framework bundles "com.apple.CoreFoundation" and
// "com.apple.Carbon", which export the platform's data symbols by name:
//
//   kCFBooleanTrue, kCFBooleanFalse            CFBooleanRef
//   kCFNumberNaN, kCFNumberNegativeInfinity,
//   kCFNumberPositiveInfinity                  CFNumberRef
//   kCFNull                                    CFNullRef
//   kCFAbsoluteTimeIntervalSince1904 (3061152000),
//   kCFAbsoluteTimeIntervalSince1970 (978307200) CFTimeInterval
//   kCFTypeArrayCallBacks                      CFArrayCallBacks
//   kCFTypeDictionaryKeyCallBacks              CFDictionaryKeyCallBacks
//   kCFTypeDictionaryValueCallBacks            CFDictionaryValueCallBacks
//   kCFErrorDomainPOSIX, kCFErrorDomainOSStatus,
//   kCFErrorDomainMach, kCFErrorDomainCocoa,
//   kCFErrorLocalizedDescriptionKey            CFStringRef
//
// Carbon is an umbrella of CoreFoundation on the platform, so both answer every symbol.
// They also answer some of this library's functions by name (CFBundleGetFunctionPointerForName),
// for callers that look a function up before they call it.

#include "platform/cf/CFBase.h"

struct OpaqueCFBundle;
using CFBundleRef = OpaqueCFBundle*;

extern "C" {

CFTypeID CFBundleGetTypeID(void);
// The bundle with that identifier, borrowed (Get rule); NULL when there is none.
CFBundleRef CFBundleGetBundleWithIdentifier(CFStringRef bundleID);
// The identifier, borrowed from the bundle (Get rule).
CFStringRef CFBundleGetIdentifier(CFBundleRef bundle);
// The address of the data symbol of that name, which holds a value of the type that the
// symbol's name tells; NULL when the bundle exports no such symbol. Nothing is retained.
void* CFBundleGetDataPointerForName(CFBundleRef bundle, CFStringRef symbolName);
// The address of the function of that name, to be cast to its type; NULL when the bundle
// exports no such function. The framework bundles export CFURLCreateWithString,
// CFURLCreateWithFileSystemPath and CFURLGetFileSystemRepresentation.
void* CFBundleGetFunctionPointerForName(CFBundleRef bundle, CFStringRef functionName);

}  // extern "C"
