#pragma once

#include <os/workgroup.h>
#include <sched.h>

#include <cstdint>

namespace vesk::platform {

/// What a thread that is inside a workgroup must know to come out of it again. Kept per thread
/// because the join token is too small for a CPU set.
struct Membership {
  os_workgroup_t group;  // NULL: in none
  uint64_t* slot;        // the thread's entry in the record
  cpu_set_t outside;     // where the thread ran before
};

/// The calling thread's. Real-time safe.
Membership& membership();

}  // namespace vesk::platform
