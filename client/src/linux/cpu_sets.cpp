#include "client/src/linux/cpu_sets.hpp"

#include <unistd.h>

#include <map>
#include <mutex>

namespace vesk::client {

namespace {

struct HeldDriver {
  cpu_set_t own;
  int cpu = 0;
  unsigned holders = 0;
};

std::mutex g_held_mutex;

std::map<int, HeldDriver>& held_drivers() {
  // Never destroyed: a host that outlives main may still give its driver free.
  static std::map<int, HeldDriver>& drivers = *new std::map<int, HeldDriver>;
  return drivers;
}

}  // namespace

cpu_set_t process_cpus() {
  const std::lock_guard lock(g_held_mutex);
  const auto held = held_drivers().find(getpid());
  if (held != held_drivers().end()) return held->second.own;
  cpu_set_t cpus;
  CPU_ZERO(&cpus);
  if (sched_getaffinity(getpid(), sizeof cpus, &cpus) != 0 || CPU_COUNT(&cpus) == 0)
    for (int cpu = 0; cpu < CPU_SETSIZE; ++cpu) CPU_SET(cpu, &cpus);
  return cpus;
}

cpu_set_t only_cpu(int cpu) {
  cpu_set_t cpus;
  CPU_ZERO(&cpus);
  CPU_SET(cpu, &cpus);
  return cpus;
}

bool hold_driver(int thread, int cpu) {
  const std::lock_guard lock(g_held_mutex);
  HeldDriver& held = held_drivers()[thread];
  if (held.holders == 0 && sched_getaffinity(thread, sizeof held.own, &held.own) != 0) {
    held_drivers().erase(thread);
    return false;
  }
  ++held.holders;
  held.cpu = cpu;
  const cpu_set_t cpus = only_cpu(cpu);
  sched_setaffinity(thread, sizeof cpus, &cpus);
  return true;
}

void release_driver(int thread) {
  const std::lock_guard lock(g_held_mutex);
  const auto held = held_drivers().find(thread);
  if (held == held_drivers().end() || --held->second.holders > 0) return;
  cpu_set_t now;
  const cpu_set_t ours = only_cpu(held->second.cpu);
  if (sched_getaffinity(thread, sizeof now, &now) == 0 && CPU_EQUAL(&now, &ours))
    sched_setaffinity(thread, sizeof now, &held->second.own);
  held_drivers().erase(held);
}

}  // namespace vesk::client
