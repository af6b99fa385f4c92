#pragma once

/* Byte order. */

#include <CoreFoundation/CFBase.h>

typedef CF_ENUM(CFIndex, CFByteOrder) {
  CFByteOrderUnknown,
  CFByteOrderLittleEndian,
  CFByteOrderBigEndian
};

CF_INLINE UInt16 CFSwapInt16(UInt16 value) {
  return __builtin_bswap16(value);
}
CF_INLINE UInt32 CFSwapInt32(UInt32 value) {
  return __builtin_bswap32(value);
}
CF_INLINE UInt64 CFSwapInt64(UInt64 value) {
  return __builtin_bswap64(value);
}

#if TARGET_RT_LITTLE_ENDIAN
CF_INLINE CFByteOrder CFByteOrderGetCurrent(void) {
  return CFByteOrderLittleEndian;
}
CF_INLINE UInt16 CFSwapInt16BigToHost(UInt16 value) {
  return CFSwapInt16(value);
}
CF_INLINE UInt32 CFSwapInt32BigToHost(UInt32 value) {
  return CFSwapInt32(value);
}
CF_INLINE UInt64 CFSwapInt64BigToHost(UInt64 value) {
  return CFSwapInt64(value);
}
CF_INLINE UInt16 CFSwapInt16LittleToHost(UInt16 value) {
  return value;
}
CF_INLINE UInt32 CFSwapInt32LittleToHost(UInt32 value) {
  return value;
}
CF_INLINE UInt64 CFSwapInt64LittleToHost(UInt64 value) {
  return value;
}
#else
CF_INLINE CFByteOrder CFByteOrderGetCurrent(void) {
  return CFByteOrderBigEndian;
}
CF_INLINE UInt16 CFSwapInt16BigToHost(UInt16 value) {
  return value;
}
CF_INLINE UInt32 CFSwapInt32BigToHost(UInt32 value) {
  return value;
}
CF_INLINE UInt64 CFSwapInt64BigToHost(UInt64 value) {
  return value;
}
CF_INLINE UInt16 CFSwapInt16LittleToHost(UInt16 value) {
  return CFSwapInt16(value);
}
CF_INLINE UInt32 CFSwapInt32LittleToHost(UInt32 value) {
  return CFSwapInt32(value);
}
CF_INLINE UInt64 CFSwapInt64LittleToHost(UInt64 value) {
  return CFSwapInt64(value);
}
#endif
CF_INLINE UInt16 CFSwapInt16HostToBig(UInt16 value) {
  return CFSwapInt16BigToHost(value);
}
CF_INLINE UInt32 CFSwapInt32HostToBig(UInt32 value) {
  return CFSwapInt32BigToHost(value);
}
CF_INLINE UInt64 CFSwapInt64HostToBig(UInt64 value) {
  return CFSwapInt64BigToHost(value);
}
CF_INLINE UInt16 CFSwapInt16HostToLittle(UInt16 value) {
  return CFSwapInt16LittleToHost(value);
}
CF_INLINE UInt32 CFSwapInt32HostToLittle(UInt32 value) {
  return CFSwapInt32LittleToHost(value);
}
CF_INLINE UInt64 CFSwapInt64HostToLittle(UInt64 value) {
  return CFSwapInt64LittleToHost(value);
}

/* Floating-point values in big-endian order, as saved states hold them. */
typedef struct CFSwappedFloat32 {
  UInt32 v;
} CFSwappedFloat32;
typedef struct CFSwappedFloat64 {
  UInt64 v;
} CFSwappedFloat64;

CF_INLINE CFSwappedFloat32 CFConvertFloat32HostToSwapped(Float32 value) {
  CFSwappedFloat32 result;
  __builtin_memcpy(&result.v, &value, sizeof result.v);
  result.v = CFSwapInt32HostToBig(result.v);
  return result;
}
CF_INLINE Float32 CFConvertFloat32SwappedToHost(CFSwappedFloat32 value) {
  UInt32 bits = CFSwapInt32BigToHost(value.v);
  Float32 result;
  __builtin_memcpy(&result, &bits, sizeof result);
  return result;
}
CF_INLINE CFSwappedFloat64 CFConvertFloat64HostToSwapped(Float64 value) {
  CFSwappedFloat64 result;
  __builtin_memcpy(&result.v, &value, sizeof result.v);
  result.v = CFSwapInt64HostToBig(result.v);
  return result;
}
CF_INLINE Float64 CFConvertFloat64SwappedToHost(CFSwappedFloat64 value) {
  UInt64 bits = CFSwapInt64BigToHost(value.v);
  Float64 result;
  __builtin_memcpy(&result, &bits, sizeof result);
  return result;
}
