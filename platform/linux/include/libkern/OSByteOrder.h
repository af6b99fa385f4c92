#pragma once

/* Byte order: values of 16, 32 and 64 bits between this machine and a fixed order. */

#include <TargetConditionals.h>
#include <stdint.h>

#define OSSwapInt16(value) __builtin_bswap16((uint16_t)(value))
#define OSSwapInt32(value) __builtin_bswap32((uint32_t)(value))
#define OSSwapInt64(value) __builtin_bswap64((uint64_t)(value))

#if TARGET_RT_LITTLE_ENDIAN
#define OSSwapBigToHostInt16(value) OSSwapInt16(value)
#define OSSwapBigToHostInt32(value) OSSwapInt32(value)
#define OSSwapBigToHostInt64(value) OSSwapInt64(value)
#define OSSwapHostToBigInt16(value) OSSwapInt16(value)
#define OSSwapHostToBigInt32(value) OSSwapInt32(value)
#define OSSwapHostToBigInt64(value) OSSwapInt64(value)
#define OSSwapLittleToHostInt16(value) ((uint16_t)(value))
#define OSSwapLittleToHostInt32(value) ((uint32_t)(value))
#define OSSwapLittleToHostInt64(value) ((uint64_t)(value))
#define OSSwapHostToLittleInt16(value) ((uint16_t)(value))
#define OSSwapHostToLittleInt32(value) ((uint32_t)(value))
#define OSSwapHostToLittleInt64(value) ((uint64_t)(value))
#else
#define OSSwapBigToHostInt16(value) ((uint16_t)(value))
#define OSSwapBigToHostInt32(value) ((uint32_t)(value))
#define OSSwapBigToHostInt64(value) ((uint64_t)(value))
#define OSSwapHostToBigInt16(value) ((uint16_t)(value))
#define OSSwapHostToBigInt32(value) ((uint32_t)(value))
#define OSSwapHostToBigInt64(value) ((uint64_t)(value))
#define OSSwapLittleToHostInt16(value) OSSwapInt16(value)
#define OSSwapLittleToHostInt32(value) OSSwapInt32(value)
#define OSSwapLittleToHostInt64(value) OSSwapInt64(value)
#define OSSwapHostToLittleInt16(value) OSSwapInt16(value)
#define OSSwapHostToLittleInt32(value) OSSwapInt32(value)
#define OSSwapHostToLittleInt64(value) OSSwapInt64(value)
#endif
