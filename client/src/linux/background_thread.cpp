#include <sched.h>

#include "client/src/host_impl.hpp"
#include "client/src/linux/cpu_sets.hpp"

namespace vesk::client {

void become_background_thread() {
  const sched_param ordinary{};
  sched_setscheduler(0, SCHED_OTHER, &ordinary);
  const cpu_set_t cpus = process_cpus();
  sched_setaffinity(0, sizeof cpus, &cpus);
}

}  // namespace vesk::client
