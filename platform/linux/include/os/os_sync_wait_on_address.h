#pragma once

/* Waiting for a word in memory to change, within a process or across shared memory. */

#include <os/base.h>
#include <os/clock.h>
#include <stddef.h>
#include <stdint.h>

typedef uint32_t os_sync_wait_on_address_flags_t;
enum { OS_SYNC_WAIT_ON_ADDRESS_NONE = 0, OS_SYNC_WAIT_ON_ADDRESS_SHARED = 1 };

typedef uint32_t os_sync_wake_by_address_flags_t;
enum { OS_SYNC_WAKE_BY_ADDRESS_NONE = 0, OS_SYNC_WAKE_BY_ADDRESS_SHARED = 1 };

/// Sleeps while the 32-bit word at `addr` equals the low half of `value`.
///
/// `size` must be 4 (the kernel's word; 8 gives EINVAL here). With SHARED, `addr` lies in memory
/// that several processes map, and the wake must say SHARED too. Returns 0 when woken or when the
/// word already differed; -1 with `errno` EINVAL (bad argument, unmapped address), EFAULT,
/// EINTR (a signal). Every return means: look at the word again. Any thread; not real-time safe,
/// since nothing bounds the wait.
OS_EXPORT int os_sync_wait_on_address(void* addr, uint64_t value, size_t size,
                                      os_sync_wait_on_address_flags_t flags);

/// The same for at most `timeout_ns` nanoseconds (not 0): -1 with ETIMEDOUT when they have passed.
/// The real-time thread may sleep here between periods: this is the wait for its own work.
OS_EXPORT int os_sync_wait_on_address_with_timeout(void* addr, uint64_t value, size_t size,
                                                   os_sync_wait_on_address_flags_t flags,
                                                   os_clockid_t clockid,
                                                   uint64_t timeout_ns) OS_REALTIME_API;

/// Wakes one waiter on `addr`: 0, or -1 with `errno` ENOENT (nobody waits) or EINVAL.
/// Any thread; real-time safe (one system call that never sleeps).
OS_EXPORT int os_sync_wake_by_address_any(void* addr, size_t size,
                                          os_sync_wake_by_address_flags_t flags) OS_REALTIME_API;

/// Wakes all waiters on `addr`, with the same results.
OS_EXPORT int os_sync_wake_by_address_all(void* addr, size_t size,
                                          os_sync_wake_by_address_flags_t flags) OS_REALTIME_API;
