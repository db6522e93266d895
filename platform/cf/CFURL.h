#pragma once

// URLs: a text, parsed as RFC 3986 asks, relative to an optional base URL. The components
// (scheme, net location, user, password, host, port, query) are read from the URL resolved
// against its base; CFURLGetString gives the URL's own text as it was made.

#include "platform/cf/CFBase.h"

struct OpaqueCFURL;
using CFURLRef = const OpaqueCFURL*;

enum CFURLPathStyle : CFIndex {
  kCFURLPOSIXPathStyle = 0,
  kCFURLHFSPathStyle = 1,
  kCFURLWindowsPathStyle = 2,
};

extern "C" {

CFTypeID CFURLGetTypeID(void);

// A new URL (Create rule) of `URLString` relative to `baseURL`, which may be NULL and is
// retained. NULL when the text is no URL.
CFURLRef CFURLCreateWithString(CFAllocatorRef allocator, CFStringRef URLString, CFURLRef baseURL);
// A new "file" URL (Create rule) of a POSIX path; a relative path is taken from the current
// folder. A folder's URL ends with "/". NULL for an empty path and for the other styles,
// which this stand-in does not know.
CFURLRef CFURLCreateWithFileSystemPath(CFAllocatorRef allocator, CFStringRef filePath,
                                       CFURLPathStyle pathStyle, Boolean isDirectory);
// A new URL (Create rule) of the URL resolved against its base, with no base.
CFURLRef CFURLCopyAbsoluteURL(CFURLRef relativeURL);
// A new URL (Create rule) with `pathComponent` appended to the path (escaped where a URL must
// be), and a "/" after it for a folder. The base stays the same.
CFURLRef CFURLCreateCopyAppendingPathComponent(CFAllocatorRef allocator, CFURLRef url,
                                               CFStringRef pathComponent, Boolean isDirectory);

// The URL's own text and base, borrowed (Get rule); the base is NULL when there is none.
CFStringRef CFURLGetString(CFURLRef anURL);
CFURLRef CFURLGetBaseURL(CFURLRef anURL);
// Whether the URL has the generic form of scheme, authority and path ("mailto:x" has not).
Boolean CFURLCanBeDecomposed(CFURLRef anURL);

// The components as new strings (Copy rule), NULL where the URL has none. The user name,
// password and host come unescaped. The query is given escaped when
// `charactersToLeaveEscaped` is NULL, else unescaped except for those characters.
CFStringRef CFURLCopyScheme(CFURLRef anURL);
CFStringRef CFURLCopyNetLocation(CFURLRef anURL);
CFStringRef CFURLCopyUserName(CFURLRef anURL);
CFStringRef CFURLCopyPassword(CFURLRef anURL);
CFStringRef CFURLCopyHostName(CFURLRef anURL);
CFStringRef CFURLCopyQueryString(CFURLRef anURL, CFStringRef charactersToLeaveEscaped);
// The port; -1 when the URL gives none.
SInt32 CFURLGetPortNumber(CFURLRef anURL);

// Writes the URL's file-system path, unescaped and zero-terminated, to `buffer`. False, with
// nothing promised of the buffer, when the URL is no "file" URL (or no relative path when not
// resolved), when the path holds a zero byte, or when it and its terminator pass `maxBufLen`.
Boolean CFURLGetFileSystemRepresentation(CFURLRef url, Boolean resolveAgainstBase, UInt8* buffer,
                                         CFIndex maxBufLen);

// A reference to an existing file or folder, as the platform's File Manager has it. Here it
// holds the item's device and inode; the path where it was last seen is remembered for the
// process, and the reference stands for that path only as long as the same item is there.
struct FSRef {
  UInt8 hidden[80];
};

// Fills `*fsRef` for the item that the "file" URL names. False when the URL names nothing
// that exists.
Boolean CFURLGetFSRef(CFURLRef url, FSRef* fsRef);
// A new "file" URL (Create rule) of the item of `fsRef`; NULL for an FSRef that was not made
// by CFURLGetFSRef or whose item is no longer at its path.
CFURLRef CFURLCreateFromFSRef(CFAllocatorRef allocator, const FSRef* fsRef);

}  // extern "C"
