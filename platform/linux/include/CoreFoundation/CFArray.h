#pragma once

/* Arrays. What is done with an element is the caller's: `kCFTypeArrayCallBacks` for objects, NULL
 * callbacks for plain pointers, which are then neither counted nor looked into. */

#include <CoreFoundation/CFBase.h>

CF_EXTERN_C_BEGIN

typedef const void* (*CFArrayRetainCallBack)(CFAllocatorRef, const void* value);
typedef void (*CFArrayReleaseCallBack)(CFAllocatorRef, const void* value);
typedef CFStringRef (*CFArrayCopyDescriptionCallBack)(const void* value);
typedef Boolean (*CFArrayEqualCallBack)(const void* first, const void* second);
typedef struct CFArrayCallBacks {
  CFIndex version; /* 0 */
  CFArrayRetainCallBack retain;
  CFArrayReleaseCallBack release;
  CFArrayCopyDescriptionCallBack copyDescription;
  CFArrayEqualCallBack equal;
} CFArrayCallBacks;

CF_EXPORT const CFArrayCallBacks kCFTypeArrayCallBacks;

typedef void (*CFArrayApplierFunction)(const void* value, void* context);

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
CF_EXPORT void CFArrayGetValues(CFArrayRef, CFRange, const void** values);
CF_EXPORT Boolean CFArrayContainsValue(CFArrayRef, CFRange, const void* value);
/// The first index with an equal element, or `kCFNotFound`.
CF_EXPORT CFIndex CFArrayGetFirstIndexOfValue(CFArrayRef, CFRange, const void* value);
CF_EXPORT CFIndex CFArrayGetCountOfValue(CFArrayRef, CFRange, const void* value);
CF_EXPORT void CFArrayApplyFunction(CFArrayRef, CFRange, CFArrayApplierFunction, void* context);

/* Indices outside the array change nothing. */
CF_EXPORT void CFArrayAppendValue(CFMutableArrayRef, const void* value);
CF_EXPORT void CFArrayAppendArray(CFMutableArrayRef, CFArrayRef, CFRange);
CF_EXPORT void CFArrayInsertValueAtIndex(CFMutableArrayRef, CFIndex, const void* value);
CF_EXPORT void CFArraySetValueAtIndex(CFMutableArrayRef, CFIndex, const void* value);
CF_EXPORT void CFArrayRemoveValueAtIndex(CFMutableArrayRef, CFIndex);
CF_EXPORT void CFArrayRemoveAllValues(CFMutableArrayRef);
CF_EXPORT void CFArraySortValues(CFMutableArrayRef, CFRange, CFComparatorFunction, void* context);

CF_EXTERN_C_END
