#pragma once

/* Texts. Lengths, ranges and indices count UTF-16 units. */

#include <CoreFoundation/CFBase.h>
#include <stdarg.h>

CF_EXTERN_C_BEGIN

typedef UInt32 CFStringEncoding;

#define kCFStringEncodingInvalidId (0xffffffffU)

CF_ENUM(CFStringEncoding){
    kCFStringEncodingMacRoman = 0,         kCFStringEncodingWindowsLatin1 = 0x0500,
    kCFStringEncodingISOLatin1 = 0x0201,   kCFStringEncodingASCII = 0x0600,
    kCFStringEncodingUnicode = 0x0100,     kCFStringEncodingUTF8 = 0x08000100,
    kCFStringEncodingUTF16 = 0x0100,       kCFStringEncodingUTF16BE = 0x10000100,
    kCFStringEncodingUTF16LE = 0x14000100, kCFStringEncodingUTF32 = 0x0c000100,
    kCFStringEncodingUTF32BE = 0x18000100, kCFStringEncodingUTF32LE = 0x1c000100};

typedef CF_OPTIONS(CFOptionFlags, CFStringCompareFlags) {
  kCFCompareCaseInsensitive = 1,
  kCFCompareBackwards = 4,
  kCFCompareAnchored = 8,
  kCFCompareNonliteral = 16,
  kCFCompareLocalized = 32,
  kCFCompareNumerically = 64
};

/// A constant text, made once for each content and never freed: CFRelease ignores it.
/// A call, so in C it serves inside functions; in C++ also in tables at namespace scope.
#define CFSTR(text) __CFStringMakeConstantString("" text "")
CF_EXPORT CFStringRef __CFStringMakeConstantString(const char* text);

CF_EXPORT CFTypeID CFStringGetTypeID(void);

/* Making texts. NULL when the bytes are not valid in `encoding`; MacRoman and Windows Latin 1 are
 * taken as ASCII (other bytes are invalid), UTF-16 and UTF-32 without a byte-order mark as native.
 */
CF_EXPORT CFStringRef CFStringCreateWithCString(CFAllocatorRef, const char* text,
                                                CFStringEncoding encoding);
CF_EXPORT CFStringRef CFStringCreateWithBytes(CFAllocatorRef, const UInt8* bytes, CFIndex count,
                                              CFStringEncoding encoding,
                                              Boolean isExternalRepresentation);
CF_EXPORT CFStringRef CFStringCreateWithCharacters(CFAllocatorRef, const UniChar* units,
                                                   CFIndex count);
CF_EXPORT CFStringRef CFStringCreateFromExternalRepresentation(CFAllocatorRef, CFDataRef,
                                                               CFStringEncoding encoding);
CF_EXPORT CFStringRef CFStringCreateWithFileSystemRepresentation(CFAllocatorRef, const char* path);
CF_EXPORT CFStringRef CFStringCreateCopy(CFAllocatorRef, CFStringRef);
CF_EXPORT CFStringRef CFStringCreateWithSubstring(CFAllocatorRef, CFStringRef, CFRange);
/// printf's conversions (d i u x X o c s p e f g a with l, ll, h, z, t, j, q), `%@` for an object
/// (its description), `%C` and `%S` for UTF-16, positions (`%2$@`); the decimal sign is a point in
/// every locale. `options` is ignored.
CF_EXPORT CFStringRef CFStringCreateWithFormat(CFAllocatorRef, CFDictionaryRef options,
                                               CFStringRef format, ...);
CF_EXPORT CFStringRef CFStringCreateWithFormatAndArguments(CFAllocatorRef, CFDictionaryRef options,
                                                           CFStringRef format, va_list arguments);
CF_EXPORT CFStringRef CFStringCreateByCombiningStrings(CFAllocatorRef, CFArrayRef strings,
                                                       CFStringRef separator);
CF_EXPORT CFArrayRef CFStringCreateArrayBySeparatingStrings(CFAllocatorRef, CFStringRef,
                                                            CFStringRef separator);

/* Reading them. */
CF_EXPORT CFIndex CFStringGetLength(CFStringRef);
CF_EXPORT UniChar CFStringGetCharacterAtIndex(CFStringRef, CFIndex);
CF_EXPORT void CFStringGetCharacters(CFStringRef, CFRange, UniChar* units);
/// The text's own bytes, or NULL when it is not stored that way; callers must then copy.
CF_EXPORT const char* CFStringGetCStringPtr(CFStringRef, CFStringEncoding);
CF_EXPORT const UniChar* CFStringGetCharactersPtr(CFStringRef);
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
CF_EXPORT CFDataRef CFStringCreateExternalRepresentation(CFAllocatorRef, CFStringRef,
                                                         CFStringEncoding, UInt8 lossByte);
CF_EXPORT Boolean CFStringGetFileSystemRepresentation(CFStringRef, char* buffer, CFIndex size);
CF_EXPORT CFIndex CFStringGetMaximumSizeOfFileSystemRepresentation(CFStringRef);
CF_EXPORT CFStringEncoding CFStringGetSystemEncoding(void);
CF_EXPORT CFStringEncoding CFStringGetFastestEncoding(CFStringRef);
/// The number at the start of the text, 0 without one; integers saturate.
CF_EXPORT SInt32 CFStringGetIntValue(CFStringRef);
CF_EXPORT double CFStringGetDoubleValue(CFStringRef);

/* Comparing: by UTF-16 units. Case folding is done for ASCII letters; the flags for localised and
 * canonical comparison are ignored. */
CF_EXPORT CFComparisonResult CFStringCompare(CFStringRef, CFStringRef, CFStringCompareFlags);
CF_EXPORT Boolean CFStringHasPrefix(CFStringRef, CFStringRef prefix);
CF_EXPORT Boolean CFStringHasSuffix(CFStringRef, CFStringRef suffix);
CF_EXPORT CFRange CFStringFind(CFStringRef, CFStringRef wanted, CFStringCompareFlags);

/* Texts that change. `maximum` is advice. */
CF_EXPORT CFMutableStringRef CFStringCreateMutable(CFAllocatorRef, CFIndex maximum);
CF_EXPORT CFMutableStringRef CFStringCreateMutableCopy(CFAllocatorRef, CFIndex maximum,
                                                       CFStringRef);
CF_EXPORT void CFStringAppend(CFMutableStringRef, CFStringRef);
CF_EXPORT void CFStringAppendCString(CFMutableStringRef, const char* text, CFStringEncoding);
CF_EXPORT void CFStringAppendCharacters(CFMutableStringRef, const UniChar* units, CFIndex count);
CF_EXPORT void CFStringAppendFormat(CFMutableStringRef, CFDictionaryRef options, CFStringRef format,
                                    ...);
CF_EXPORT void CFStringInsert(CFMutableStringRef, CFIndex, CFStringRef);
CF_EXPORT void CFStringDelete(CFMutableStringRef, CFRange);
CF_EXPORT void CFStringReplace(CFMutableStringRef, CFRange, CFStringRef);
CF_EXPORT void CFStringReplaceAll(CFMutableStringRef, CFStringRef);

CF_EXTERN_C_END
