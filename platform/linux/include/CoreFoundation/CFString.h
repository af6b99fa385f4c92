#pragma once

/* Texts. Lengths, ranges and indices count UTF-16 units. */

#include <CoreFoundation/CFBase.h>

CF_EXTERN_C_BEGIN

typedef UInt32 CFStringEncoding;

/* MacRoman is taken as ASCII: other bytes are invalid. */
CF_ENUM(CFStringEncoding){kCFStringEncodingMacRoman = 0, kCFStringEncodingISOLatin1 = 0x0201,
                          kCFStringEncodingASCII = 0x0600, kCFStringEncodingUTF8 = 0x08000100};

typedef CF_OPTIONS(CFOptionFlags, CFStringCompareFlags) { kCFCompareCaseInsensitive = 1 };

/// A constant text of UTF-8, laid out by the compiler: it serves at file scope too, and CFRetain
/// and CFRelease ignore it. Equal literals are equal, and may be one object or several.
#define CFSTR(text) ((CFStringRef)__builtin___CFStringMakeConstantString("" text ""))

CF_EXPORT CFTypeID CFStringGetTypeID(void);

/* Making texts. NULL when the bytes are not valid in `encoding`. */
CF_EXPORT CFStringRef CFStringCreateWithCString(CFAllocatorRef, const char* text,
                                                CFStringEncoding encoding);
/// With `isExternalRepresentation` a byte-order mark at the start is left out.
CF_EXPORT CFStringRef CFStringCreateWithBytes(CFAllocatorRef, const UInt8* bytes, CFIndex count,
                                              CFStringEncoding encoding,
                                              Boolean isExternalRepresentation);
CF_EXPORT CFStringRef CFStringCreateWithCharacters(CFAllocatorRef, const UniChar* units,
                                                   CFIndex count);
CF_EXPORT CFStringRef CFStringCreateCopy(CFAllocatorRef, CFStringRef);
/// printf's conversions (d i u x X o c s p e f g a with l, ll, h, z, t, j, q), `%@` for an object
/// (a string's text, a number's digits) and `%C` for a UTF-16 unit; no positions (`%2$d`). The
/// decimal sign is a point in every locale. `options` is ignored.
CF_EXPORT CFStringRef CFStringCreateWithFormat(CFAllocatorRef, CFDictionaryRef options,
                                               CFStringRef format, ...);

/* Reading them. */
CF_EXPORT CFIndex CFStringGetLength(CFStringRef);
CF_EXPORT UniChar CFStringGetCharacterAtIndex(CFStringRef, CFIndex);
CF_EXPORT void CFStringGetCharacters(CFStringRef, CFRange, UniChar* units);
/// The text's own bytes, or NULL when it is not stored that way; callers must then copy.
CF_EXPORT const char* CFStringGetCStringPtr(CFStringRef, CFStringEncoding);
/// Copies the text with a NUL into `size` bytes. False, with `buffer` undefined, when it does not
/// fit or has a character that `encoding` lacks.
CF_EXPORT Boolean CFStringGetCString(CFStringRef, char* buffer, CFIndex size, CFStringEncoding);
/// Copies as many whole characters of `range` as fit `size` bytes (all of them when `buffer` is
/// NULL) and returns how many units these were; `*used` is the number of bytes. A character that
/// `encoding` lacks becomes `lossByte`, or with `lossByte` 0 ends the copy.
CF_EXPORT CFIndex CFStringGetBytes(CFStringRef, CFRange range, CFStringEncoding, UInt8 lossByte,
                                   Boolean isExternalRepresentation, UInt8* buffer, CFIndex size,
                                   CFIndex* used);
CF_EXPORT CFIndex CFStringGetMaximumSizeForEncoding(CFIndex units, CFStringEncoding);
/// The number at the start of the text, 0 without one; integers saturate.
CF_EXPORT SInt32 CFStringGetIntValue(CFStringRef);
CF_EXPORT double CFStringGetDoubleValue(CFStringRef);
/// By UTF-16 units. Case folding is done for ASCII letters.
CF_EXPORT CFComparisonResult CFStringCompare(CFStringRef, CFStringRef, CFStringCompareFlags);

/* Texts that change. `maximum` is advice. */
CF_EXPORT CFMutableStringRef CFStringCreateMutable(CFAllocatorRef, CFIndex maximum);
CF_EXPORT CFMutableStringRef CFStringCreateMutableCopy(CFAllocatorRef, CFIndex maximum,
                                                       CFStringRef);
CF_EXPORT void CFStringAppend(CFMutableStringRef, CFStringRef);
CF_EXPORT void CFStringAppendCString(CFMutableStringRef, const char* text, CFStringEncoding);
CF_EXPORT void CFStringAppendFormat(CFMutableStringRef, CFDictionaryRef options, CFStringRef format,
                                    ...);
/// A range outside the text changes nothing.
CF_EXPORT void CFStringReplace(CFMutableStringRef, CFRange, CFStringRef);

CF_EXTERN_C_END
