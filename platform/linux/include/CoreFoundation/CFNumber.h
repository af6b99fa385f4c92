#pragma once

/* Numbers and booleans. A number keeps the value it was made with bit for bit: a 64-bit integer,
 * a float or a double. */

#include <CoreFoundation/CFBase.h>

CF_EXTERN_C_BEGIN

CF_EXPORT const CFBooleanRef kCFBooleanTrue;
CF_EXPORT const CFBooleanRef kCFBooleanFalse;
CF_EXPORT CFTypeID CFBooleanGetTypeID(void);
CF_EXPORT Boolean CFBooleanGetValue(CFBooleanRef);

typedef CF_ENUM(CFIndex, CFNumberType) {
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
  kCFNumberCGFloatType = 16
};

CF_EXPORT CFTypeID CFNumberGetTypeID(void);
/// NULL for a type that is not in the list or a NULL value.
CF_EXPORT CFNumberRef CFNumberCreate(CFAllocatorRef, CFNumberType, const void* value);
/// Writes the value as `type`. False when that loses something (the nearest value is written all
/// the same: integers wrap or are cut off at the type's ends).
CF_EXPORT Boolean CFNumberGetValue(CFNumberRef, CFNumberType, void* value);
/// How the number is kept: SInt64, Float32 or Float64, or the smaller integer it was made with.
CF_EXPORT CFNumberType CFNumberGetType(CFNumberRef);
CF_EXPORT Boolean CFNumberIsFloatType(CFNumberRef);

CF_EXTERN_C_END
