#pragma once

/* Dictionaries. What is done with keys and values is the caller's: the `kCFType...CallBacks` for
 * objects, NULL callbacks for plain pointers, which are compared by address. */

#include <CoreFoundation/CFBase.h>

CF_EXTERN_C_BEGIN

typedef struct CFDictionaryKeyCallBacks {
  CFIndex version; /* 0 */
  const void* (*retain)(CFAllocatorRef, const void* value);
  void (*release)(CFAllocatorRef, const void* value);
  CFStringRef (*copyDescription)(const void* value); /* not used */
  Boolean (*equal)(const void* first, const void* second);
  CFHashCode (*hash)(const void* value);
} CFDictionaryKeyCallBacks;
typedef struct CFDictionaryValueCallBacks {
  CFIndex version; /* 0 */
  const void* (*retain)(CFAllocatorRef, const void* value);
  void (*release)(CFAllocatorRef, const void* value);
  CFStringRef (*copyDescription)(const void* value); /* not used */
  Boolean (*equal)(const void* first, const void* second);
} CFDictionaryValueCallBacks;

CF_EXPORT const CFDictionaryKeyCallBacks kCFTypeDictionaryKeyCallBacks;
CF_EXPORT const CFDictionaryValueCallBacks kCFTypeDictionaryValueCallBacks;

CF_EXPORT CFTypeID CFDictionaryGetTypeID(void);
/// Of equal keys the first one counts.
CF_EXPORT CFDictionaryRef CFDictionaryCreate(CFAllocatorRef, const void** keys, const void** values,
                                             CFIndex count, const CFDictionaryKeyCallBacks*,
                                             const CFDictionaryValueCallBacks*);
CF_EXPORT CFDictionaryRef CFDictionaryCreateCopy(CFAllocatorRef, CFDictionaryRef);
/// `capacity` is advice; 0 for no limit.
CF_EXPORT CFMutableDictionaryRef CFDictionaryCreateMutable(CFAllocatorRef, CFIndex capacity,
                                                           const CFDictionaryKeyCallBacks*,
                                                           const CFDictionaryValueCallBacks*);
CF_EXPORT CFMutableDictionaryRef CFDictionaryCreateMutableCopy(CFAllocatorRef, CFIndex capacity,
                                                               CFDictionaryRef);

CF_EXPORT CFIndex CFDictionaryGetCount(CFDictionaryRef);
CF_EXPORT Boolean CFDictionaryContainsKey(CFDictionaryRef, const void* key);
/// The value under `key`, Get rule; NULL when there is none (or NULL is the value).
CF_EXPORT const void* CFDictionaryGetValue(CFDictionaryRef, const void* key);
/// Whether the key is present; then its value goes to `value` (may be NULL).
CF_EXPORT Boolean CFDictionaryGetValueIfPresent(CFDictionaryRef, const void* key,
                                                const void** value);
/// All keys and values in one order, the same until the dictionary changes; either may be NULL.
CF_EXPORT void CFDictionaryGetKeysAndValues(CFDictionaryRef, const void** keys,
                                            const void** values);

/// Only when the key is absent.
CF_EXPORT void CFDictionaryAddValue(CFMutableDictionaryRef, const void* key, const void* value);
/// Adds, or replaces the value (the old key stays).
CF_EXPORT void CFDictionarySetValue(CFMutableDictionaryRef, const void* key, const void* value);
CF_EXPORT void CFDictionaryRemoveValue(CFMutableDictionaryRef, const void* key);

CF_EXTERN_C_END
