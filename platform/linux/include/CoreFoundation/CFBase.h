#pragma once

/* Types that every CoreFoundation header uses, and what holds for all objects.
 *
 * Ownership: a function with Create or Copy in its name hands out one reference that the caller
 * releases; what a function with Get in its name returns stays its owner's. Reference counts are
 * atomic; an object that nobody changes may be used from any thread. No call of CoreFoundation is
 * real-time safe. Allocators are accepted and not looked at: everything lives in the C heap. */

#include <MacTypes.h>
#include <TargetConditionals.h>
#include <stdbool.h>
#include <stddef.h>
#include <stdint.h>

#ifdef __cplusplus
#define CF_EXTERN_C_BEGIN extern "C" {
#define CF_EXTERN_C_END }
#else
#define CF_EXTERN_C_BEGIN
#define CF_EXTERN_C_END
#endif

#define CF_EXPORT extern __attribute__((visibility("default")))
#define CF_INLINE static inline __attribute__((unused))

/* Enumerations with a fixed size, as `typedef CF_ENUM(UInt32, Name) { ... };` or without a name.
 * In C++ CF_ENUM makes a real enumeration, CF_OPTIONS an integer that `|` works on; in C both are
 * the integer. */
#define CF_ENUM_CHOOSE(first, second, chosen, ...) chosen
#define CF_ENUM(...) \
  CF_ENUM_CHOOSE(__VA_ARGS__, CF_NAMED_ENUM, CF_UNNAMED_ENUM, unused)(__VA_ARGS__)
#ifdef __cplusplus
#define CF_NAMED_ENUM(type, name) \
  type name##RawValue;            \
  enum name : type
#define CF_UNNAMED_ENUM(type) enum : type
#define CF_OPTIONS(type, name) \
  type name;                   \
  enum : type
#else
#define CF_NAMED_ENUM(type, name) \
  type name;                      \
  enum
#define CF_UNNAMED_ENUM(type) enum
#define CF_OPTIONS(type, name) \
  type name;                   \
  enum
#endif

CF_EXTERN_C_BEGIN

typedef signed long CFIndex;
typedef unsigned long CFTypeID;
typedef unsigned long CFOptionFlags;
typedef unsigned long CFHashCode;

typedef const void* CFTypeRef;
typedef CFTypeRef CFPropertyListRef;
typedef const struct __CFAllocator* CFAllocatorRef;
typedef const struct __CFString* CFStringRef;
typedef struct __CFString* CFMutableStringRef;
typedef const struct __CFData* CFDataRef;
typedef struct __CFData* CFMutableDataRef;
typedef const struct __CFNumber* CFNumberRef;
typedef const struct __CFBoolean* CFBooleanRef;
typedef const struct __CFDate* CFDateRef;
typedef const struct __CFArray* CFArrayRef;
typedef struct __CFArray* CFMutableArrayRef;
typedef const struct __CFDictionary* CFDictionaryRef;
typedef struct __CFDictionary* CFMutableDictionaryRef;
typedef const struct __CFURL* CFURLRef;
typedef struct __CFError* CFErrorRef;
typedef struct __CFBundle* CFBundleRef;

typedef struct CFRange {
  CFIndex location;
  CFIndex length;
} CFRange;

CF_INLINE CFRange CFRangeMake(CFIndex location, CFIndex length) {
  CFRange range;
  range.location = location;
  range.length = length;
  return range;
}

typedef CF_ENUM(CFIndex, CFComparisonResult) {
  kCFCompareLessThan = -1,
  kCFCompareEqualTo = 0,
  kCFCompareGreaterThan = 1
};

CF_EXPORT const CFAllocatorRef kCFAllocatorDefault; /* NULL */

/// `size` bytes that CFAllocatorDeallocate gives back (as free() does); NULL for a size of 0 or
/// less, and when there is no memory. `hint` is ignored.
CF_EXPORT void* CFAllocatorAllocate(CFAllocatorRef, CFIndex size, CFOptionFlags hint);
CF_EXPORT void CFAllocatorDeallocate(CFAllocatorRef, void* bytes);

/* NULL is a caller's mistake in all of these: sanitizer and debug builds stop there, release
 * builds do nothing and answer NULL or 0. */

/// Adds a reference and returns `object`. Constants (literals, booleans) are not counted.
CF_EXPORT CFTypeRef CFRetain(CFTypeRef object);
/// Drops a reference; the last one frees the object on the calling thread.
CF_EXPORT void CFRelease(CFTypeRef object);
/// The type of `object`, to be compared with what CFStringGetTypeID and its like return.
CF_EXPORT CFTypeID CFGetTypeID(CFTypeRef object);
/// The number of references, for tests; a very large one for constants.
CF_EXPORT CFIndex CFGetRetainCount(CFTypeRef object);
/// Whether the two are of one type and have equal contents (arrays and dictionaries compare by
/// their callbacks). NULL equals NULL only.
CF_EXPORT Boolean CFEqual(CFTypeRef first, CFTypeRef second);
/// Equal objects have equal hashes within one process.
CF_EXPORT CFHashCode CFHash(CFTypeRef object);

CF_EXTERN_C_END
