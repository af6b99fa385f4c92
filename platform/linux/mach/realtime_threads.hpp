#pragma once

#include <sys/types.h>

namespace vesk::platform {

/// The threads of this process that `thread_policy_set` made real-time, for the handler of the
/// real-time limit. At most 32; a thread beyond them is real-time all the same and only unknown
/// here. Any thread.
void remember_realtime_thread(pid_t thread);
void forget_realtime_thread(pid_t thread);

/// Lets the real-time limit (SIGXCPU) give a thread ordinary scheduling instead of ending the
/// process. A handler that somebody else installed stays.
void catch_realtime_limit();

/// Ordinary scheduling for `thread`; false with errno. Async-signal-safe.
bool make_ordinary(pid_t thread);

}  // namespace vesk::platform
