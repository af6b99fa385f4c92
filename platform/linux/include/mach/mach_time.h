#pragma once

/* The machine's clock: CLOCK_MONOTONIC in nanoseconds, so the time base is 1/1. */

#include <mach/kern_return.h>
#include <os/base.h>
#include <stdint.h>

struct mach_timebase_info {
  uint32_t numer;
  uint32_t denom;
};
typedef struct mach_timebase_info* mach_timebase_info_t;
typedef struct mach_timebase_info mach_timebase_info_data_t;

/// Stores what makes nanoseconds of ticks: ticks * numer / denom. KERN_INVALID_ARGUMENT for NULL.
OS_EXPORT kern_return_t mach_timebase_info(mach_timebase_info_t info) OS_REALTIME_API;

/// The time in ticks; it stops while the machine sleeps. Any thread, real-time safe.
OS_EXPORT uint64_t mach_absolute_time(void) OS_REALTIME_API;
