#pragma once

/* Arrays. What is done with an element is the caller's: `kCFTypeArrayCallBacks` for objects, NULL
 * callbacks for plain pointers, which are then neither counted nor looked into. */

#include <CoreFoundation/CFBase.h>

CF_EXTERN_C_BEGIN

typedef struct CFArrayCallBacks {
  CFIndex version; /* 0 */
  const void* (*retain)(CFAllocatorRef, const void* value);
  void (*release)(CFAllocatorRef, const void* value);
  CFStringRef (*copyDescription)(const void* value); /* not used */
  Boolean (*equal)(const void* first, const void* second);
} CFArrayCallBacks;

CF_EXPORT const CFArrayCallBacks kCFTypeArrayCallBacks;

CF_EXPORT CFTypeID CFArrayGetTypeID(void);
CF_EXPORT CFArrayRef CFArrayCreate(CFAllocatorRef, const void** values, CFIndex count,
                                   const CFArrayCallBacks*);
CF_EXPORT CFArrayRef CFArrayCreateCopy(CFAllocatorRef, CFArrayRef);
/// `capacity` is advice; 0 for no limit.
CF_EXPORT CFMutableArrayRef CFArrayCreateMutable(CFAllocatorRef, CFIndex capacity,
                                                 const CFArrayCallBacks*);
CF_EXPORT CFMutableArrayRef CFArrayCreateMutableCopy(CFAllocatorRef, CFIndex capacity, CFArrayRef);

CF_EXPORT CFIndex CFArrayGetCount(CFArrayRef);
/// The element, Get rule; NULL for an index outside the array.
CF_EXPORT const void* CFArrayGetValueAtIndex(CFArrayRef, CFIndex);

/* Indices outside the array change nothing. */
CF_EXPORT void CFArrayAppendValue(CFMutableArrayRef, const void* value);
CF_EXPORT void CFArrayInsertValueAtIndex(CFMutableArrayRef, CFIndex, const void* value);
/// Replaces the element; the index behind the last one appends.
CF_EXPORT void CFArraySetValueAtIndex(CFMutableArrayRef, CFIndex, const void* value);
CF_EXPORT void CFArrayRemoveValueAtIndex(CFMutableArrayRef, CFIndex);
CF_EXPORT void CFArrayRemoveAllValues(CFMutableArrayRef);

CF_EXTERN_C_END
