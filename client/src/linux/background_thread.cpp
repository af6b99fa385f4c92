#include <sched.h>
#include <unistd.h>

#include "host_impl.hpp"

namespace vesk::client {

void become_background_thread() {
  const sched_param ordinary{};
  sched_setscheduler(0, SCHED_OTHER, &ordinary);
  cpu_set_t process;
  if (sched_getaffinity(getpid(), sizeof process, &process) == 0)
    sched_setaffinity(0, sizeof process, &process);
}

}  // namespace vesk::client
