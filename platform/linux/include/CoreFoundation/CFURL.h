#pragma once

/* URLs of files. Others come from views alone (Foundation's objects) and have no path. */

#include <CoreFoundation/CFBase.h>
#include <CoreFoundation/CFString.h>

CF_EXTERN_C_BEGIN

typedef CF_ENUM(CFIndex, CFURLPathStyle) { kCFURLPOSIXPathStyle = 0 };

CF_EXPORT CFTypeID CFURLGetTypeID(void);

/// A file URL of a path of `count` bytes (NUL not counted). A relative path is resolved against
/// the current folder; `isDirectory` adds the trailing slash. NULL for no path and for bytes that
/// are no UTF-8.
CF_EXPORT CFURLRef CFURLCreateFromFileSystemRepresentation(CFAllocatorRef, const UInt8* path,
                                                           CFIndex count, Boolean isDirectory);
CF_EXPORT CFURLRef CFURLCreateWithFileSystemPath(CFAllocatorRef, CFStringRef path, CFURLPathStyle,
                                                 Boolean isDirectory);

/// The path, NUL included, into `size` bytes. False when it does not fit or the URL is no file's.
CF_EXPORT Boolean CFURLGetFileSystemRepresentation(CFURLRef, Boolean resolveAgainstBase,
                                                   UInt8* buffer, CFIndex size);
/// The path as text without a trailing slash, for `kCFURLPOSIXPathStyle`.
CF_EXPORT CFStringRef CFURLCopyFileSystemPath(CFURLRef, CFURLPathStyle);
/// The whole URL with its percent escapes, Get rule.
CF_EXPORT CFStringRef CFURLGetString(CFURLRef);
CF_EXPORT CFStringRef CFURLCopyLastPathComponent(CFURLRef);
CF_EXPORT Boolean CFURLHasDirectoryPath(CFURLRef);

/* NULL for a URL that is no file's. */
CF_EXPORT CFURLRef CFURLCreateCopyAppendingPathComponent(CFAllocatorRef, CFURLRef,
                                                         CFStringRef component,
                                                         Boolean isDirectory);
CF_EXPORT CFURLRef CFURLCreateCopyDeletingLastPathComponent(CFAllocatorRef, CFURLRef);

CF_EXTERN_C_END
