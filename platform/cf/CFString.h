#pragma once

// Strings: immutable and mutable text, held as UTF-16 like the platform's. Lengths, ranges
// and indexes count UTF-16 code units.

#include "platform/cf/CFBase.h"
#include "platform/cf/CFLocale.h"

using CFStringEncoding = UInt32;

// The encodings that this stand-in converts; others are refused.
inline constexpr CFStringEncoding kCFStringEncodingISOLatin1 = 0x0201;
inline constexpr CFStringEncoding kCFStringEncodingASCII = 0x0600;
inline constexpr CFStringEncoding kCFStringEncodingUTF8 = 0x08000100;

extern "C" {

CFTypeID CFStringGetTypeID(void);

// A new string from the zero-terminated `cStr` in `encoding`; NULL when the bytes are not
// text in that encoding (such as broken UTF-8, or a byte above 0x7F for ASCII).
CFStringRef CFStringCreateWithCString(CFAllocatorRef alloc, const char* cStr,
                                      CFStringEncoding encoding);
// The same for `numBytes` bytes, which may hold zero bytes. With `isExternalRepresentation`
// a UTF-8 byte order mark at the start is dropped.
CFStringRef CFStringCreateWithBytes(CFAllocatorRef alloc, const UInt8* bytes, CFIndex numBytes,
                                    CFStringEncoding encoding, Boolean isExternalRepresentation);
// A new empty mutable string that can grow to `maxLength` units; 0 means without a limit.
CFMutableStringRef CFStringCreateMutable(CFAllocatorRef alloc, CFIndex maxLength);

CFIndex CFStringGetLength(CFStringRef theString);
// Writes the text with a terminating zero byte into `buffer` of `bufferSize` bytes. False,
// with nothing written, when it doesn't fit or a character has no form in `encoding`.
Boolean CFStringGetCString(CFStringRef theString, char* buffer, CFIndex bufferSize,
                           CFStringEncoding encoding);
// Converts the units of `range` into at most `maxBufLen` bytes at `buffer`, stopping before a
// character that doesn't fit, or that has no form in `encoding` unless `lossByte` is not 0,
// which then stands in for it. With a NULL `buffer` only counts. Gives the number of units
// converted and stores the number of bytes in `*usedBufLen` when that isn't NULL.
CFIndex CFStringGetBytes(CFStringRef theString, CFRange range, CFStringEncoding encoding,
                         UInt8 lossByte, Boolean isExternalRepresentation, UInt8* buffer,
                         CFIndex maxBufLen, CFIndex* usedBufLen);

// Appends to a mutable string; refused beyond its maximum length.
void CFStringAppend(CFMutableStringRef theString, CFStringRef appendedString);
// Maps a mutable string to lower or upper case by the rules of `locale` (NULL: the rules of
// no particular language). Full mappings apply, so the length may change ("ß" becomes "SS").
void CFStringLowercase(CFMutableStringRef theString, CFLocaleRef locale);
void CFStringUppercase(CFMutableStringRef theString, CFLocaleRef locale);

// Writes a line to the standard error stream: a string's text, or another object's
// description, or "(null)".
void CFShow(CFTypeRef obj);

}  // extern "C"
