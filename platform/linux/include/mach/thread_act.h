#pragma once

/* Threads by port name: kernel thread ids on Linux. */

#include <mach/thread_policy.h>
#include <os/base.h>
#include <pthread.h>

/// Gives a thread of this process a scheduling policy.
///
/// THREAD_TIME_CONSTRAINT_POLICY makes it real-time: SCHED_FIFO directly, or through RealtimeKit
/// where the process may not do that itself (a call over the system bus of at most 500 ms).
/// THREAD_STANDARD_POLICY makes it ordinary. What the thread starts is ordinary in either case. A
/// real-time thread that computes without a pause beyond the RLIMIT_RTTIME set here becomes
/// ordinary again, with a line on standard error.
///
/// Errors: KERN_INVALID_ARGUMENT (no such flavor or thread, `count` too small, computation outside
/// 50 us..50 ms or above the constraint), KERN_TERMINATED (the thread has ended), KERN_DENIED
/// (neither way is allowed). Any thread; not real-time safe.
OS_EXPORT kern_return_t thread_policy_set(thread_act_t thread, thread_policy_flavor_t flavor,
                                          thread_policy_t policy, mach_msg_type_number_t count);

/// The port name of a thread of this process, MACH_PORT_NULL when it has ended. The name is
/// borrowed: do not deallocate it. (On macOS <pthread.h> declares it; it stands here because
/// pthread.h is the C library's, and what takes the name is declared here.)
OS_EXPORT mach_port_t pthread_mach_thread_np(pthread_t thread);
