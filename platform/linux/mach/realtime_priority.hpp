#pragma once

#include <mach/thread_policy.h>

namespace vesk::platform {

/// Whether macOS would grant this policy: computation within 50 us..50 ms and not above the
/// constraint. Everything refused there is refused here, so that a period means the same on both.
bool is_acceptable(const thread_time_constraint_policy_data_t& policy);

/// The SCHED_FIFO priority for work that comes every `period_ns`: the shorter the period, the
/// higher, from 40 (16 ms and more, or no period) to 60 (1 ms and less) in steps of 4 an octave.
/// All of it lies below an audio server's own thread (PipeWire: 88).
int priority_for_period(uint32_t period_ns);

/// `wanted`, kept below the thread that drives the host: a host that preempts its driver delays
/// every other host. `driver` 0 (ordinary scheduling) sets no bound; the result is at least 1.
int priority_below_driver(int wanted, int driver);

/// A soft RLIMIT_RTTIME in microseconds under the hard limit `hard_us`: half a second at most,
/// three quarters of the hard limit where that is less. The soft limit demotes, the hard one kills.
uint64_t soft_limit_under(uint64_t hard_us);

}  // namespace vesk::platform
