#pragma once

/* Dictionaries. What is done with keys and values is the caller's: the `kCFType...CallBacks` for
 * objects, NULL callbacks for plain pointers, which are compared by address. */

#include <CoreFoundation/CFBase.h>

CF_EXTERN_C_BEGIN

typedef const void* (*CFDictionaryRetainCallBack)(CFAllocatorRef, const void* value);
typedef void (*CFDictionaryReleaseCallBack)(CFAllocatorRef, const void* value);
typedef CFStringRef (*CFDictionaryCopyDescriptionCallBack)(const void* value);
typedef Boolean (*CFDictionaryEqualCallBack)(const void* first, const void* second);
typedef CFHashCode (*CFDictionaryHashCallBack)(const void* value);
typedef struct CFDictionaryKeyCallBacks {
  CFIndex version; /* 0 */
  CFDictionaryRetainCallBack retain;
  CFDictionaryReleaseCallBack release;
  CFDictionaryCopyDescriptionCallBack copyDescription;
  CFDictionaryEqualCallBack equal;
  CFDictionaryHashCallBack hash;
} CFDictionaryKeyCallBacks;
typedef struct CFDictionaryValueCallBacks {
  CFIndex version; /* 0 */
  CFDictionaryRetainCallBack retain;
  CFDictionaryReleaseCallBack release;
  CFDictionaryCopyDescriptionCallBack copyDescription;
  CFDictionaryEqualCallBack equal;
} CFDictionaryValueCallBacks;

CF_EXPORT const CFDictionaryKeyCallBacks kCFTypeDictionaryKeyCallBacks;
/* Copies string keys, so that a text which changes later stays findable. */
CF_EXPORT const CFDictionaryKeyCallBacks kCFCopyStringDictionaryKeyCallBacks;
CF_EXPORT const CFDictionaryValueCallBacks kCFTypeDictionaryValueCallBacks;

typedef void (*CFDictionaryApplierFunction)(const void* key, const void* value, void* context);

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
CF_EXPORT CFIndex CFDictionaryGetCountOfKey(CFDictionaryRef, const void* key);
CF_EXPORT Boolean CFDictionaryContainsKey(CFDictionaryRef, const void* key);
CF_EXPORT Boolean CFDictionaryContainsValue(CFDictionaryRef, const void* value);
/// The value under `key`, Get rule; NULL when there is none (or NULL is the value).
CF_EXPORT const void* CFDictionaryGetValue(CFDictionaryRef, const void* key);
CF_EXPORT Boolean CFDictionaryGetValueIfPresent(CFDictionaryRef, const void* key,
                                                const void** value);
/// All keys and values in one order, the same until the dictionary changes; either may be NULL.
CF_EXPORT void CFDictionaryGetKeysAndValues(CFDictionaryRef, const void** keys,
                                            const void** values);
CF_EXPORT void CFDictionaryApplyFunction(CFDictionaryRef, CFDictionaryApplierFunction,
                                         void* context);

/// Only when the key is absent.
CF_EXPORT void CFDictionaryAddValue(CFMutableDictionaryRef, const void* key, const void* value);
/// Adds, or replaces the value (the old key stays).
CF_EXPORT void CFDictionarySetValue(CFMutableDictionaryRef, const void* key, const void* value);
/// Only when the key is present.
CF_EXPORT void CFDictionaryReplaceValue(CFMutableDictionaryRef, const void* key, const void* value);
CF_EXPORT void CFDictionaryRemoveValue(CFMutableDictionaryRef, const void* key);
CF_EXPORT void CFDictionaryRemoveAllValues(CFMutableDictionaryRef);

CF_EXTERN_C_END
