#pragma once

#include <sys/types.h>

namespace vesk::platform {

/// The process that this one was started by: the parent in a record that it shares, else the
/// one found at the first call. 0 where it lives in another process namespace and cannot be known.
pid_t original_parent();

/// Starts a thread that sleeps until the parent ends and then ends this process, if it still runs,
/// after 5 s; after 15 s where the main thread has announced its end (`announce_end`) or is saving
/// (`SaveUnderWay`). Costs a descriptor and a small stack.
void start_parent_guard();

}  // namespace vesk::platform
