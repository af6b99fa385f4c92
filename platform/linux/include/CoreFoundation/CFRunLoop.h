#pragma once

/* Run loops: one a thread, made when it is first asked for. A loop waits for timers and, on the
 * main thread, for the main dispatch queue.
 *
 * Two modes are known: the default one, which loops run in, and the common modes, which timers may
 * be added to as well and which the default mode is one of. Foundation's names for them serve too.
 */

#include <CoreFoundation/CFBase.h>
#include <CoreFoundation/CFDate.h>

CF_EXTERN_C_BEGIN

typedef struct __CFRunLoop* CFRunLoopRef;
typedef struct __CFRunLoopTimer* CFRunLoopTimerRef;
typedef CFStringRef CFRunLoopMode;

CF_EXPORT const CFRunLoopMode kCFRunLoopDefaultMode;
CF_EXPORT const CFRunLoopMode kCFRunLoopCommonModes;

typedef CF_ENUM(SInt32, CFRunLoopRunResult) {
  kCFRunLoopRunFinished = 1,
  kCFRunLoopRunTimedOut = 3,
  kCFRunLoopRunHandledSource = 4
};

CF_EXPORT CFRunLoopRef CFRunLoopGetCurrent(void);
CF_EXPORT CFRunLoopRef CFRunLoopGetMain(void);

/// Runs the calling thread's loop in `mode` for at most `seconds`; 0 makes one pass without
/// waiting. With `returnAfterSourceHandled` it returns after the first pass that ran main-queue
/// tasks (timers do not count).
///
/// Finished: there is nothing to wait for, at once; so it is in any mode but the default one. The
/// main thread always has the main queue, so there the call waits out its time, except inside a
/// main-queue task, which is never interrupted by another. A call allocates nothing when nothing
/// happens.
CF_EXPORT CFRunLoopRunResult CFRunLoopRunInMode(CFRunLoopMode mode, CFTimeInterval seconds,
                                                Boolean returnAfterSourceHandled);
/// Ends a wait of `loop`, so that it looks at its timers and tasks again. Any thread.
CF_EXPORT void CFRunLoopWakeUp(CFRunLoopRef loop);

/* Timers. Deadlines keep to the monotonic clock once set: a change of the wall clock moves no
 * timer. A timer that is late skips what it missed and keeps its phase. Its callback runs on the
 * loop's thread. Any thread may add, remove and invalidate. */
typedef void (*CFRunLoopTimerCallBack)(CFRunLoopTimerRef, void* info);
typedef struct CFRunLoopTimerContext {
  CFIndex version; /* 0 */
  void* info;
  const void* (*retain)(const void* info);
  void (*release)(const void* info);
  CFStringRef (*copyDescription)(const void* info); /* not used */
} CFRunLoopTimerContext;

/// First fires at `fireDate`, then every `interval` seconds; once when `interval` is 0 or less.
/// `flags` and `order` are ignored.
CF_EXPORT CFRunLoopTimerRef CFRunLoopTimerCreate(CFAllocatorRef, CFAbsoluteTime fireDate,
                                                 CFTimeInterval interval, CFOptionFlags flags,
                                                 CFIndex order, CFRunLoopTimerCallBack,
                                                 CFRunLoopTimerContext*);
CF_EXPORT void CFRunLoopTimerSetNextFireDate(CFRunLoopTimerRef, CFAbsoluteTime);
/// Ends the timer for good and lets go of its `info`, once a callback that runs is over.
CF_EXPORT void CFRunLoopTimerInvalidate(CFRunLoopTimerRef);
/// Puts the timer into a loop, which keeps it; nothing happens when it is in another one, is
/// invalid, or the mode is neither of the two.
CF_EXPORT void CFRunLoopAddTimer(CFRunLoopRef, CFRunLoopTimerRef, CFRunLoopMode);
CF_EXPORT void CFRunLoopRemoveTimer(CFRunLoopRef, CFRunLoopTimerRef, CFRunLoopMode);

CF_EXTERN_C_END
