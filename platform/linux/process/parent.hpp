#pragma once

#include <sys/types.h>

namespace vesk::platform {

/// The process that this one was started by: the parent in the workgroup record, else the one
/// found at the first call. 0 where it lives in another process namespace and cannot be known.
pid_t original_parent();

/// Starts the thread that ends this process when it outlives its parent by some seconds: 5, or 15
/// where the main thread is ending it too (`announce_end`) and perhaps still saving. Costs a
/// descriptor and a small stack; sleeps until the parent's end.
void guard_against_orphanhood();

}  // namespace vesk::platform
