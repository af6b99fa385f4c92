#pragma once

/* Run loops: one a thread, made when it is first asked for. A loop waits for sources, timers,
 * blocks and, on the main thread, the main dispatch queue. */

#include <CoreFoundation/CFBase.h>
#include <CoreFoundation/CFDate.h>

CF_EXTERN_C_BEGIN

typedef struct __CFRunLoop *CFRunLoopRef;
typedef struct __CFRunLoopSource *CFRunLoopSourceRef;
typedef struct __CFRunLoopTimer *CFRunLoopTimerRef;
typedef CFStringRef CFRunLoopMode;

CF_EXPORT const CFRunLoopMode kCFRunLoopDefaultMode;
/* Stands for every common mode when something is added; a loop cannot be run in it. */
CF_EXPORT const CFRunLoopMode kCFRunLoopCommonModes;

typedef CF_ENUM(SInt32, CFRunLoopRunResult) {
  kCFRunLoopRunFinished = 1,
  kCFRunLoopRunStopped = 2,
  kCFRunLoopRunTimedOut = 3,
  kCFRunLoopRunHandledSource = 4
};

CF_EXPORT CFTypeID CFRunLoopGetTypeID(void);
CF_EXPORT CFRunLoopRef CFRunLoopGetCurrent(void);
CF_EXPORT CFRunLoopRef CFRunLoopGetMain(void);
/// The mode `loop` runs in now (+1), or NULL. Called on its own thread.
CF_EXPORT CFRunLoopMode CFRunLoopCopyCurrentMode(CFRunLoopRef loop);
CF_EXPORT void CFRunLoopAddCommonMode(CFRunLoopRef, CFRunLoopMode);

/// Runs the calling thread's loop in the default mode until it is stopped or has nothing left.
CF_EXPORT void CFRunLoopRun(void);
/// Runs the calling thread's loop in `mode` for at most `seconds`; 0 makes one pass without
/// waiting. With `returnAfterSourceHandled` it returns after the first source (a source, a
/// descriptor or a main-queue task; not a timer).
///
/// Finished: the mode holds nothing to wait for, at once. The main thread's common modes always
/// hold the main queue, so there the call waits out its time, except inside a main-queue task,
/// which is never interrupted by another. Stopped: by CFRunLoopStop. One call costs one poll and
/// allocates nothing when nothing happens.
CF_EXPORT CFRunLoopRunResult CFRunLoopRunInMode(CFRunLoopMode mode, CFTimeInterval seconds,
                                                Boolean returnAfterSourceHandled);
/// Makes the innermost run of `loop` return. Any thread.
CF_EXPORT void CFRunLoopStop(CFRunLoopRef loop);
/// Ends a wait of `loop`, so that it looks at its blocks and sources again. Any thread.
CF_EXPORT void CFRunLoopWakeUp(CFRunLoopRef loop);
CF_EXPORT Boolean CFRunLoopIsWaiting(CFRunLoopRef loop);
/// Runs `block` on the loop's thread in `mode` (a mode's name, or an array of names) at its next
/// pass. Any thread; follow it with CFRunLoopWakeUp for a loop that waits.
#ifdef __BLOCKS__
CF_EXPORT void CFRunLoopPerformBlock(CFRunLoopRef loop, CFTypeRef mode, void (^block)(void));
#endif

/* Timers. Deadlines keep to the monotonic clock once set: a change of the wall clock moves no
 * timer. A timer that is late skips what it missed and keeps its phase. Its callback runs on the
 * loop's thread. Any thread may add, remove and invalidate. */
typedef void (*CFRunLoopTimerCallBack)(CFRunLoopTimerRef, void *info);
typedef struct CFRunLoopTimerContext {
  CFIndex version; /* 0 */
  void *info;
  const void *(*retain)(const void *info);
  void (*release)(const void *info);
  CFStringRef (*copyDescription)(const void *info);
} CFRunLoopTimerContext;

CF_EXPORT CFTypeID CFRunLoopTimerGetTypeID(void);
/// First fires at `fireDate`, then every `interval` seconds; once when `interval` is 0 or less.
/// `flags` and `order` are ignored.
CF_EXPORT CFRunLoopTimerRef CFRunLoopTimerCreate(CFAllocatorRef, CFAbsoluteTime fireDate,
                                                 CFTimeInterval interval, CFOptionFlags flags,
                                                 CFIndex order, CFRunLoopTimerCallBack,
                                                 CFRunLoopTimerContext *);
#ifdef __BLOCKS__
CF_EXPORT CFRunLoopTimerRef CFRunLoopTimerCreateWithHandler(CFAllocatorRef, CFAbsoluteTime fireDate,
                                                            CFTimeInterval interval,
                                                            CFOptionFlags flags, CFIndex order,
                                                            void (^handler)(CFRunLoopTimerRef));
#endif
CF_EXPORT CFAbsoluteTime CFRunLoopTimerGetNextFireDate(CFRunLoopTimerRef);
CF_EXPORT void CFRunLoopTimerSetNextFireDate(CFRunLoopTimerRef, CFAbsoluteTime);
CF_EXPORT CFTimeInterval CFRunLoopTimerGetInterval(CFRunLoopTimerRef);
CF_EXPORT Boolean CFRunLoopTimerDoesRepeat(CFRunLoopTimerRef);
CF_EXPORT void CFRunLoopTimerInvalidate(CFRunLoopTimerRef);
CF_EXPORT Boolean CFRunLoopTimerIsValid(CFRunLoopTimerRef);
CF_EXPORT void CFRunLoopTimerSetTolerance(CFRunLoopTimerRef, CFTimeInterval);
CF_EXPORT CFTimeInterval CFRunLoopTimerGetTolerance(CFRunLoopTimerRef);
CF_EXPORT void CFRunLoopAddTimer(CFRunLoopRef, CFRunLoopTimerRef, CFRunLoopMode);
CF_EXPORT void CFRunLoopRemoveTimer(CFRunLoopRef, CFRunLoopTimerRef, CFRunLoopMode);
CF_EXPORT Boolean CFRunLoopContainsTimer(CFRunLoopRef, CFRunLoopTimerRef, CFRunLoopMode);

/* Sources of version 0: signalled by hand, performed once by the loop's next pass. */
typedef struct CFRunLoopSourceContext {
  CFIndex version; /* 0 */
  void *info;
  const void *(*retain)(const void *info);
  void (*release)(const void *info);
  CFStringRef (*copyDescription)(const void *info);
  Boolean (*equal)(const void *first, const void *second);
  CFHashCode (*hash)(const void *info);
  void (*schedule)(void *info, CFRunLoopRef, CFRunLoopMode);
  void (*cancel)(void *info, CFRunLoopRef, CFRunLoopMode);
  void (*perform)(void *info);
} CFRunLoopSourceContext;

CF_EXPORT CFTypeID CFRunLoopSourceGetTypeID(void);
CF_EXPORT CFRunLoopSourceRef CFRunLoopSourceCreate(CFAllocatorRef, CFIndex order,
                                                   CFRunLoopSourceContext *);
/// Any thread; follow it with CFRunLoopWakeUp for a loop that waits.
CF_EXPORT void CFRunLoopSourceSignal(CFRunLoopSourceRef);
CF_EXPORT void CFRunLoopSourceInvalidate(CFRunLoopSourceRef);
CF_EXPORT Boolean CFRunLoopSourceIsValid(CFRunLoopSourceRef);
CF_EXPORT void CFRunLoopAddSource(CFRunLoopRef, CFRunLoopSourceRef, CFRunLoopMode);
CF_EXPORT void CFRunLoopRemoveSource(CFRunLoopRef, CFRunLoopSourceRef, CFRunLoopMode);
CF_EXPORT Boolean CFRunLoopContainsSource(CFRunLoopRef, CFRunLoopSourceRef, CFRunLoopMode);

CF_EXTERN_C_END
