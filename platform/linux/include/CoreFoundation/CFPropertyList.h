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

CF_EXTERN_C_BEGIN

typedef CF_OPTIONS(CFOptionFlags, CFPropertyListMutabilityOptions) {
  kCFPropertyListImmutable = 0,
  kCFPropertyListMutableContainers = 1
};

typedef CF_ENUM(CFIndex, CFPropertyListFormat) {
  kCFPropertyListXMLFormat_v1_0 = 100,
  kCFPropertyListBinaryFormat_v1_0 = 200 /* read, not written */
};

/// Reads the XML or the binary form; `options` is one of the mutability options. NULL, with
/// `*error` set (+1, may be asked for with NULL) in the Cocoa domain, when `data` holds neither:
/// code 3840, or 3841 for a binary form of an unknown version. `*format` (may be NULL) is the form
/// found. The old text form with braces is not read.
CF_EXPORT CFPropertyListRef CFPropertyListCreateWithData(CFAllocatorRef, CFDataRef data,
                                                         CFOptionFlags options,
                                                         CFPropertyListFormat* format,
                                                         CFErrorRef* error);
/// Writes the XML form; `options` is ignored. NULL, with `*error` (code 3851), for an object that
/// is no property list (a key that is no string included) or that XML cannot spell, and for the
/// binary form.
CF_EXPORT CFDataRef CFPropertyListCreateData(CFAllocatorRef, CFPropertyListRef,
                                             CFPropertyListFormat, CFOptionFlags options,
                                             CFErrorRef* error);

CF_EXTERN_C_END
