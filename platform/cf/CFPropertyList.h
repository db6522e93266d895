#pragma once

// Property lists: trees of dictionaries, arrays, strings, data, numbers, booleans and dates,
// read from their XML or binary form with libplist.

#include "platform/cf/CFBase.h"
#include "platform/cf/CFData.h"
#include "platform/cf/CFError.h"

enum CFPropertyListFormat : CFIndex {
  kCFPropertyListOpenStepFormat = 1,
  kCFPropertyListXMLFormat_v1_0 = 100,
  kCFPropertyListBinaryFormat_v1_0 = 200,
};

enum CFPropertyListMutabilityOptions : CFOptionFlags {
  kCFPropertyListImmutable = 0,
  kCFPropertyListMutableContainers = 1,
  kCFPropertyListMutableContainersAndLeaves = 2,
};

enum {
  // The code of a CFError in the Cocoa domain for bytes that are no property list.
  kCFPropertyListReadCorruptError = 3840,
};

extern "C" {

// A new property list (Create rule) of the bytes of `data`, in XML or binary form; `*format`,
// when `format` is not NULL, tells which. Dictionaries, arrays, strings, data, integers (as
// 64-bit signed numbers), reals, booleans and dates become the CF objects of those types,
// all immutable whatever `options` asks; keyed-archive UIDs are left out. NULL for bytes that
// are no property list, for text that is no UTF-8 and for nesting deeper than 512 levels; then
// `*error`, when `error` is not NULL, is a new CFError (Create rule) of the Cocoa domain with
// code kCFPropertyListReadCorruptError.
CFPropertyListRef CFPropertyListCreateWithData(CFAllocatorRef allocator, CFDataRef data,
                                               CFOptionFlags options, CFPropertyListFormat* format,
                                               CFErrorRef* error);

}  // extern "C"
