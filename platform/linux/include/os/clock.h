#pragma once

#include <stdint.h>

/* The clocks that address waits know: `mach_absolute_time`, here CLOCK_MONOTONIC in nanoseconds. */
typedef uint32_t os_clockid_t;
enum { OS_CLOCK_MACH_ABSOLUTE_TIME = 32 };
