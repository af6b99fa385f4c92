#pragma once

#include <sched.h>

namespace vesk::client {

/// The CPUs of the process: those of its main thread, whatever a worker was narrowed to, and not
/// narrowed by `hold_driver`.
cpu_set_t process_cpus();

cpu_set_t only_cpu(int cpu);

/// Keeps a driving thread on one CPU, until it was released as often as it was held. False when
/// there is no such thread.
bool hold_driver(int thread, int cpu);

/// Gives the thread its own CPUs back, unless the parent has placed it anew meanwhile.
void release_driver(int thread);

}  // namespace vesk::client
