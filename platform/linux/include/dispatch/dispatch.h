#pragma once

/* Work for later on the main thread: the main queue, whose tasks run while the main run loop runs,
 * strictly one after the other, first in, first out. A task that itself runs the loop does not see
 * further tasks run inside it. */

#include <stddef.h>
#include <stdint.h>

#define DISPATCH_EXPORT extern __attribute__((visibility("default")))

#ifdef __cplusplus
extern "C" {
#endif

typedef struct dispatch_queue_s *dispatch_queue_t;
typedef struct dispatch_queue_s *dispatch_queue_main_t;
typedef void (*dispatch_function_t)(void *context);
typedef uint64_t dispatch_time_t;
typedef intptr_t dispatch_once_t;

#define NSEC_PER_SEC 1000000000ull
#define NSEC_PER_MSEC 1000000ull
#define NSEC_PER_USEC 1000ull

#define DISPATCH_TIME_NOW (0ull)
#define DISPATCH_TIME_FOREVER (~0ull)

/// `when` (NOW, FOREVER or an earlier result) moved by `delta_ns`; monotonic, opaque, saturates.
DISPATCH_EXPORT dispatch_time_t dispatch_time(dispatch_time_t when, int64_t delta_ns);

/// The queue of the main thread, never released.
DISPATCH_EXPORT dispatch_queue_main_t dispatch_get_main_queue(void);

/* Posting: any thread but a real-time one (it allocates). Blocks are copied at the call and
 * released after their run. */

/// Runs `work(context)` on `queue` later.
DISPATCH_EXPORT void dispatch_async_f(dispatch_queue_t queue, void *context,
                                      dispatch_function_t work);

#ifdef __BLOCKS__
typedef void (^dispatch_block_t)(void);
/// Runs `block` on `queue` later.
DISPATCH_EXPORT void dispatch_async(dispatch_queue_t queue, dispatch_block_t block);
/// Runs it on `queue` and waits for the end. Called on the main thread it could never end: the
/// process aborts with a line, as a programming error.
DISPATCH_EXPORT void dispatch_sync(dispatch_queue_t queue, dispatch_block_t block);
/// Runs it on `queue` at `when` or soon after.
DISPATCH_EXPORT void dispatch_after(dispatch_time_t when, dispatch_queue_t queue,
                                    dispatch_block_t block);
/// Runs it here, the first time any thread comes here with `once` (zero at start); the others wait
/// for its end.
DISPATCH_EXPORT void dispatch_once(dispatch_once_t *once, dispatch_block_t block);
#endif

#ifdef __cplusplus
}
#endif
