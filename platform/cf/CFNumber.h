#pragma once

// Numbers and the two booleans.

#include "platform/cf/CFBase.h"

struct OpaqueCFNumber;
struct OpaqueCFBoolean;
using CFNumberRef = const OpaqueCFNumber*;
using CFBooleanRef = const OpaqueCFBoolean*;

// The kinds of value a number is made from or read into. The fixed-width kinds come first,
// then the C types (on this 64-bit platform a long, a CFIndex and an NSInteger have 64 bits,
// a CGFloat is a double).
enum CFNumberType : CFIndex {
  kCFNumberSInt8Type = 1,
  kCFNumberSInt16Type = 2,
  kCFNumberSInt32Type = 3,
  kCFNumberSInt64Type = 4,
  kCFNumberFloat32Type = 5,
  kCFNumberFloat64Type = 6,
  kCFNumberCharType = 7,
  kCFNumberShortType = 8,
  kCFNumberIntType = 9,
  kCFNumberLongType = 10,
  kCFNumberLongLongType = 11,
  kCFNumberFloatType = 12,
  kCFNumberDoubleType = 13,
  kCFNumberCFIndexType = 14,
  kCFNumberNSIntegerType = 15,
  kCFNumberCGFloatType = 16,
  kCFNumberMaxType = 16
};

extern "C" {

CFTypeID CFNumberGetTypeID(void);

// A new number from the value of kind `theType` at `valuePtr`, which need not be aligned.
// NULL for a kind that is no CFNumberType. The number keeps the kind it was made from.
CFNumberRef CFNumberCreate(CFAllocatorRef allocator, CFNumberType theType, const void* valuePtr);
CFNumberType CFNumberGetType(CFNumberRef number);
Boolean CFNumberIsFloatType(CFNumberRef number);
// Stores the value as kind `theType` at `valuePtr`. False when that loses something: a value
// out of the kind's range (stored cut to its low bits for an integer kind, or saturated from a
// float), a fraction, a NaN or an infinity going to an integer kind, or digits that the float
// kind can't hold. The nearest value of the kind is stored all the same.
Boolean CFNumberGetValue(CFNumberRef number, CFNumberType theType, void* valuePtr);

CFTypeID CFBooleanGetTypeID(void);
Boolean CFBooleanGetValue(CFBooleanRef boolean);

}  // extern "C"
