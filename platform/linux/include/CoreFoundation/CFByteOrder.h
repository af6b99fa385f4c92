#pragma once

/* Byte order: integers in big-endian order, as saved states hold them. Every processor here is
 * little-endian. */

#include <CoreFoundation/CFBase.h>

CF_INLINE UInt16 CFSwapInt16BigToHost(UInt16 value) {
  return __builtin_bswap16(value);
}
CF_INLINE UInt32 CFSwapInt32BigToHost(UInt32 value) {
  return __builtin_bswap32(value);
}
CF_INLINE UInt64 CFSwapInt64BigToHost(UInt64 value) {
  return __builtin_bswap64(value);
}
CF_INLINE UInt16 CFSwapInt16HostToBig(UInt16 value) {
  return __builtin_bswap16(value);
}
CF_INLINE UInt32 CFSwapInt32HostToBig(UInt32 value) {
  return __builtin_bswap32(value);
}
CF_INLINE UInt64 CFSwapInt64HostToBig(UInt64 value) {
  return __builtin_bswap64(value);
}
