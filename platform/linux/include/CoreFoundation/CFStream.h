#pragma once

/* Streams of bytes from and to files and memory, as property lists are read and written through.
 * They block; nothing of them is tied to a run loop. One thread at a time. */

#include <CoreFoundation/CFBase.h>

CF_EXTERN_C_BEGIN

typedef struct __CFReadStream* CFReadStreamRef;
typedef struct __CFWriteStream* CFWriteStreamRef;

typedef CF_ENUM(CFIndex, CFStreamStatus) {
  kCFStreamStatusNotOpen = 0,
  kCFStreamStatusOpening,
  kCFStreamStatusOpen,
  kCFStreamStatusReading,
  kCFStreamStatusWriting,
  kCFStreamStatusAtEnd,
  kCFStreamStatusClosed,
  kCFStreamStatusError
};

/* Property of a stream to memory: what was written, as CFData. */
CF_EXPORT const CFStringRef kCFStreamPropertyDataWritten;

CF_EXPORT CFTypeID CFReadStreamGetTypeID(void);
CF_EXPORT CFTypeID CFWriteStreamGetTypeID(void);

/// NULL when the URL is no file's; the file itself is opened by CFReadStreamOpen.
CF_EXPORT CFReadStreamRef CFReadStreamCreateWithFile(CFAllocatorRef, CFURLRef);
/// Takes `bytes` over as CFDataCreateWithBytesNoCopy does.
CF_EXPORT CFReadStreamRef CFReadStreamCreateWithBytesNoCopy(CFAllocatorRef, const UInt8* bytes,
                                                            CFIndex count,
                                                            CFAllocatorRef deallocator);
/// False, with the status Error, when the file cannot be opened.
CF_EXPORT Boolean CFReadStreamOpen(CFReadStreamRef);
CF_EXPORT void CFReadStreamClose(CFReadStreamRef);
/// The number of bytes read, 0 at the end, -1 on error or when the stream is not open.
CF_EXPORT CFIndex CFReadStreamRead(CFReadStreamRef, UInt8* buffer, CFIndex size);
CF_EXPORT Boolean CFReadStreamHasBytesAvailable(CFReadStreamRef);
CF_EXPORT CFStreamStatus CFReadStreamGetStatus(CFReadStreamRef);
CF_EXPORT CFErrorRef CFReadStreamCopyError(CFReadStreamRef);

/// The file is made, or emptied, by CFWriteStreamOpen.
CF_EXPORT CFWriteStreamRef CFWriteStreamCreateWithFile(CFAllocatorRef, CFURLRef);
/// Writes into memory, see kCFStreamPropertyDataWritten.
CF_EXPORT CFWriteStreamRef CFWriteStreamCreateWithAllocatedBuffers(CFAllocatorRef,
                                                                   CFAllocatorRef buffers);
CF_EXPORT Boolean CFWriteStreamOpen(CFWriteStreamRef);
CF_EXPORT void CFWriteStreamClose(CFWriteStreamRef);
/// The number of bytes written, which may be fewer; -1 on error or when the stream is not open.
CF_EXPORT CFIndex CFWriteStreamWrite(CFWriteStreamRef, const UInt8* bytes, CFIndex count);
CF_EXPORT Boolean CFWriteStreamCanAcceptBytes(CFWriteStreamRef);
CF_EXPORT CFStreamStatus CFWriteStreamGetStatus(CFWriteStreamRef);
CF_EXPORT CFErrorRef CFWriteStreamCopyError(CFWriteStreamRef);
CF_EXPORT CFTypeRef CFWriteStreamCopyProperty(CFWriteStreamRef, CFStringRef name);

CF_EXTERN_C_END
