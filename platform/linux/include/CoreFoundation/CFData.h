#pragma once

/* Bytes. */

#include <CoreFoundation/CFBase.h>

CF_EXTERN_C_BEGIN

CF_EXPORT CFTypeID CFDataGetTypeID(void);

/// Copies `count` bytes (0 is legal, `bytes` may then be NULL).
CF_EXPORT CFDataRef CFDataCreate(CFAllocatorRef, const UInt8* bytes, CFIndex count);
CF_EXPORT CFDataRef CFDataCreateCopy(CFAllocatorRef, CFDataRef);
/// `capacity` is advice; 0 for no limit.
CF_EXPORT CFMutableDataRef CFDataCreateMutable(CFAllocatorRef, CFIndex capacity);

CF_EXPORT CFIndex CFDataGetLength(CFDataRef);
/// The bytes; the pointer is good until the data changes or ends. Never NULL, even when empty.
CF_EXPORT const UInt8* CFDataGetBytePtr(CFDataRef);
/// The same to write to. Data that was not made to be changed gives its bytes too, which then are
/// to be read only.
CF_EXPORT UInt8* CFDataGetMutableBytePtr(CFMutableDataRef);
/// Copies a range; one that reaches beyond the end copies nothing.
CF_EXPORT void CFDataGetBytes(CFDataRef, CFRange, UInt8* buffer);

/// Cuts, or extends with zero bytes.
CF_EXPORT void CFDataSetLength(CFMutableDataRef, CFIndex);
CF_EXPORT void CFDataAppendBytes(CFMutableDataRef, const UInt8* bytes, CFIndex count);

CF_EXTERN_C_END
