#pragma once

/* URLs, chiefly of files. */

#include <CoreFoundation/CFBase.h>
#include <CoreFoundation/CFString.h>

CF_EXTERN_C_BEGIN

typedef CF_ENUM(CFIndex, CFURLPathStyle) {
  kCFURLPOSIXPathStyle = 0,
  kCFURLHFSPathStyle = 1,
  kCFURLWindowsPathStyle = 2
};

CF_EXPORT CFTypeID CFURLGetTypeID(void);

/// A file URL of a path of `count` bytes (NUL not counted). A relative path is resolved against
/// the current folder; `isDirectory` adds the trailing slash. NULL for no path and for bytes that
/// are no UTF-8.
CF_EXPORT CFURLRef CFURLCreateFromFileSystemRepresentation(CFAllocatorRef, const UInt8* path,
                                                           CFIndex count, Boolean isDirectory);
CF_EXPORT CFURLRef CFURLCreateWithFileSystemPath(CFAllocatorRef, CFStringRef path, CFURLPathStyle,
                                                 Boolean isDirectory);
/// From the text of a URL with its percent escapes, resolved against `base` when it is not NULL.
/// NULL for characters that a URL cannot hold and for broken escapes.
CF_EXPORT CFURLRef CFURLCreateWithString(CFAllocatorRef, CFStringRef text, CFURLRef base);
CF_EXPORT CFURLRef CFURLCreateWithBytes(CFAllocatorRef, const UInt8* bytes, CFIndex count,
                                        CFStringEncoding, CFURLRef base);
CF_EXPORT CFURLRef CFURLCopyAbsoluteURL(CFURLRef);

/// The path, NUL included, into `size` bytes. False when it does not fit or the URL is no file's.
CF_EXPORT Boolean CFURLGetFileSystemRepresentation(CFURLRef, Boolean resolveAgainstBase,
                                                   UInt8* buffer, CFIndex size);
/// The path as text without a trailing slash, for `kCFURLPOSIXPathStyle`.
CF_EXPORT CFStringRef CFURLCopyFileSystemPath(CFURLRef, CFURLPathStyle);
/// The path with its escapes and trailing slash; NULL when there is none.
CF_EXPORT CFStringRef CFURLCopyPath(CFURLRef);
CF_EXPORT CFStringRef CFURLGetString(CFURLRef);
CF_EXPORT CFURLRef CFURLGetBaseURL(CFURLRef);
CF_EXPORT CFStringRef CFURLCopyScheme(CFURLRef);
CF_EXPORT CFStringRef CFURLCopyLastPathComponent(CFURLRef);
CF_EXPORT CFStringRef CFURLCopyPathExtension(CFURLRef);
CF_EXPORT Boolean CFURLHasDirectoryPath(CFURLRef);

CF_EXPORT CFURLRef CFURLCreateCopyAppendingPathComponent(CFAllocatorRef, CFURLRef,
                                                         CFStringRef component,
                                                         Boolean isDirectory);
CF_EXPORT CFURLRef CFURLCreateCopyDeletingLastPathComponent(CFAllocatorRef, CFURLRef);
CF_EXPORT CFURLRef CFURLCreateCopyAppendingPathExtension(CFAllocatorRef, CFURLRef,
                                                         CFStringRef extension);
CF_EXPORT CFURLRef CFURLCreateCopyDeletingPathExtension(CFAllocatorRef, CFURLRef);

/// Whether the file is there; `*error` (may be NULL) then says why not.
CF_EXPORT Boolean CFURLResourceIsReachable(CFURLRef, CFErrorRef* error);

/// Undoes percent escapes, but for those of the characters in `leave` ("" undoes all, NULL none).
/// NULL when the result is no UTF-8.
CF_EXPORT CFStringRef CFURLCreateStringByReplacingPercentEscapes(CFAllocatorRef, CFStringRef text,
                                                                 CFStringRef leave);

CF_EXTERN_C_END
