#pragma once

#include <mach/thread_policy.h>

#include <sys/types.h>

namespace vesk::platform {

/// The threads of this process that `thread_policy_set` made real-time, for the two who must know
/// them: `thread_policy_get`, and the handler of the real-time limit. At most 32; a thread beyond
/// them is real-time all the same and only unknown here. Any thread.
void remember_realtime_thread(pid_t thread, const thread_time_constraint_policy_data_t& policy);
void forget_realtime_thread(pid_t thread);
bool find_realtime_thread(pid_t thread, thread_time_constraint_policy_data_t* policy);

/// Lets the real-time limit (SIGXCPU) give a thread ordinary scheduling instead of ending the
/// process. A handler that somebody else installed stays.
void catch_realtime_limit();

/// Ordinary scheduling for `thread`; false with errno. Async-signal-safe.
bool make_ordinary(pid_t thread);

}  // namespace vesk::platform
