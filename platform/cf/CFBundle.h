#pragma once

// Bundles: folders of the layout below, and the two built-in framework bundles.
//
// A bundle folder holds either
//
//   Contents/Info.plist             the information dictionary (XML or binary)
//   Contents/MacOS/<executable>     the file named by CFBundleExecutable, a shared object
//   Contents/Resources/
//   Contents/Frameworks/
//
// or, where it has no "Contents" folder, the same flat in the bundle folder itself
// (Info.plist, <executable>, Frameworks/; the folder is its own resources
// folder). A folder without an Info.plist is a bundle with an empty information dictionary.
// There is one bundle object for a folder as long as it lives: a second CFBundleCreate of the
// same folder gives the same object with one more count.
//
// The main bundle is the bundle that holds the running executable at Contents/MacOS, or else
// the executable's own folder; its executable is the running program, loaded from the start.
// It lives as long as the process.
//
// The framework bundles "com.apple.CoreFoundation" and "com.apple.Carbon" have no folder. They
// export the platform's data symbols by name:
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
// They also answer some of this library's functions by name, for callers that look a
// function up before they call it: CFURLCreateWithString, CFURLCreateWithFileSystemPath,
// CFURLGetFileSystemRepresentation, CFBundleLoadExecutable and
// CFBundleLoadExecutableAndReturnError.

#include "platform/cf/CFArray.h"
#include "platform/cf/CFBase.h"
#include "platform/cf/CFDictionary.h"
#include "platform/cf/CFError.h"
#include "platform/cf/CFURL.h"

struct OpaqueCFBundle;
using CFBundleRef = OpaqueCFBundle*;

enum {
  // Codes of the CFErrors of CFBundleLoadExecutableAndReturnError, in the Cocoa domain: no
  // executable file, a file that is no shared object, and one that the loader refused.
  kCFBundleExecutableNotFoundError = 4,
  kCFBundleExecutableNotLoadableError = 3584,
  kCFBundleExecutableLoadError = 3587,
};

extern "C" {

CFTypeID CFBundleGetTypeID(void);

// The main bundle, borrowed (Get rule). Never NULL.
CFBundleRef CFBundleGetMainBundle(void);
// The bundle with that identifier, borrowed (Get rule): a framework bundle, the main bundle, or
// a bundle made by CFBundleCreate that is still alive. NULL when there is none.
CFBundleRef CFBundleGetBundleWithIdentifier(CFStringRef bundleID);
// The bundle (Create rule) of the folder that a "file" URL names; NULL when that is no folder.
CFBundleRef CFBundleCreate(CFAllocatorRef allocator, CFURLRef bundleURL);
// A new array (Create rule) of the bundles of the sub-folders of a folder, in byte order of
// their names; only those whose name ends in "." and `bundleType` when that is not NULL.
// Names that begin with "." are left out. NULL when the URL names no folder.
CFArrayRef CFBundleCreateBundlesFromDirectory(CFAllocatorRef allocator, CFURLRef directoryURL,
                                              CFStringRef bundleType);

// The identifier (CFBundleIdentifier of the information dictionary), borrowed from the bundle
// (Get rule); NULL when it has none.
CFStringRef CFBundleGetIdentifier(CFBundleRef bundle);
// The information dictionary, borrowed (Get rule); never NULL for a bundle.
CFDictionaryRef CFBundleGetInfoDictionary(CFBundleRef bundle);
// The value of `key` in the information dictionary, borrowed (Get rule); NULL when absent.
CFTypeRef CFBundleGetValueForInfoDictionaryKey(CFBundleRef bundle, CFStringRef key);

// URLs (Create rule) of the bundle's folder and of its parts. The parts are URLs relative to
// the folder's URL, which is their base, and are given whether the folder exists or not;
// the executable's only when the file exists. NULL for the framework bundles, which have no
// folder, and for an executable that the bundle doesn't name or that isn't there.
CFURLRef CFBundleCopyBundleURL(CFBundleRef bundle);
CFURLRef CFBundleCopyExecutableURL(CFBundleRef bundle);
CFURLRef CFBundleCopyResourcesDirectoryURL(CFBundleRef bundle);
CFURLRef CFBundleCopyPrivateFrameworksURL(CFBundleRef bundle);
// The folder of Info.plist: "Contents", or the bundle folder of a flat bundle.
CFURLRef CFBundleCopySupportFilesDirectoryURL(CFBundleRef bundle);

// Loads the executable, a shared object, with dlopen; true when it is loaded, also when it
// was already. The code stays loaded for the process. On failure, `*error` (when `error` is
// not NULL) is a new CFError (Create rule) of the Cocoa domain with one of the codes above,
// the text under "NSLocalizedDescription" and, from the loader, "NSDebugDescription".
Boolean CFBundleLoadExecutableAndReturnError(CFBundleRef bundle, CFErrorRef* error);
Boolean CFBundleLoadExecutable(CFBundleRef bundle);

// The address of the data symbol of that name, which holds a value of the type that the
// symbol's name tells; NULL when the bundle exports no such symbol. Nothing is retained. A
// bundle's executable is loaded first if it is not yet.
void* CFBundleGetDataPointerForName(CFBundleRef bundle, CFStringRef symbolName);
// The address of the function of that name, to be cast to its type; NULL when the bundle
// exports no such function. A bundle's executable is loaded first if it is not yet.
void* CFBundleGetFunctionPointerForName(CFBundleRef bundle, CFStringRef functionName);

}  // extern "C"
