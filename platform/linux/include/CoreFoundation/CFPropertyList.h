#pragma once

/* Property lists: strings, data, numbers, booleans, dates, arrays and dictionaries with string
 * keys, as bytes and back.
 *
 * Integers (64 bits signed, and unsigned above them) and reals come back bit for bit. The XML form
 * of equal lists is equal bytes: keys are sorted, numbers have one spelling in every locale. What
 * is read may be anything: damaged input gives NULL and an error, never a crash, and nesting is
 * limited to 512 levels. */

#include <CoreFoundation/CFBase.h>
#include <CoreFoundation/CFError.h>
#include <CoreFoundation/CFStream.h>

CF_EXTERN_C_BEGIN

typedef CF_OPTIONS(CFOptionFlags, CFPropertyListMutabilityOptions) {
  kCFPropertyListImmutable = 0,
  kCFPropertyListMutableContainers = 1,
  kCFPropertyListMutableContainersAndLeaves = 2
};

typedef CF_ENUM(CFIndex, CFPropertyListFormat) {
  kCFPropertyListOpenStepFormat = 1,
  kCFPropertyListXMLFormat_v1_0 = 100,
  kCFPropertyListBinaryFormat_v1_0 = 200
};

CF_ENUM(CFIndex){kCFPropertyListReadCorruptError = 3840,
                 kCFPropertyListReadUnknownVersionError = 3841,
                 kCFPropertyListReadStreamError = 3842, kCFPropertyListWriteStreamError = 3851};

/// Reads the XML or the binary form. NULL, with `*error` set (+1, may be asked for with NULL)
/// in the Cocoa domain with one of the codes above, when `data` holds neither. `*format` (may be
/// NULL) is the form found. The old text form with braces is not read.
CF_EXPORT CFPropertyListRef CFPropertyListCreateWithData(CFAllocatorRef, CFDataRef data,
                                                         CFOptionFlags options,
                                                         CFPropertyListFormat* format,
                                                         CFErrorRef* error);
/// Writes the XML or the binary form. NULL, with `*error`, for an object that is no property list
/// (a key that is no string included) and for other forms.
CF_EXPORT CFDataRef CFPropertyListCreateData(CFAllocatorRef, CFPropertyListRef,
                                             CFPropertyListFormat, CFOptionFlags options,
                                             CFErrorRef* error);
/// Whether the list can be written in `format`.
CF_EXPORT Boolean CFPropertyListIsValid(CFPropertyListRef, CFPropertyListFormat);
/// A copy of the whole tree; `options` says what of it may be changed.
CF_EXPORT CFPropertyListRef CFPropertyListCreateDeepCopy(CFAllocatorRef, CFPropertyListRef,
                                                         CFOptionFlags options);

/// The same through an open stream: up to `length` bytes, or all of them when it is 0.
CF_EXPORT CFPropertyListRef CFPropertyListCreateWithStream(CFAllocatorRef, CFReadStreamRef,
                                                           CFIndex length, CFOptionFlags options,
                                                           CFPropertyListFormat* format,
                                                           CFErrorRef* error);
/// The number of bytes written to an open stream; 0, with `*error`, when it failed.
CF_EXPORT CFIndex CFPropertyListWrite(CFPropertyListRef, CFWriteStreamRef, CFPropertyListFormat,
                                      CFOptionFlags options, CFErrorRef* error);

/// Older names: XML out, XML or binary in; `*message` is a text (+1).
CF_EXPORT CFDataRef CFPropertyListCreateXMLData(CFAllocatorRef, CFPropertyListRef);
CF_EXPORT CFPropertyListRef CFPropertyListCreateFromXMLData(CFAllocatorRef, CFDataRef data,
                                                            CFOptionFlags options,
                                                            CFStringRef* message);
CF_EXPORT CFPropertyListRef CFPropertyListCreateFromStream(CFAllocatorRef, CFReadStreamRef,
                                                           CFIndex length, CFOptionFlags options,
                                                           CFPropertyListFormat* format,
                                                           CFStringRef* message);
CF_EXPORT CFIndex CFPropertyListWriteToStream(CFPropertyListRef, CFWriteStreamRef,
                                              CFPropertyListFormat, CFStringRef* message);

CF_EXTERN_C_END
