#include "client/src/placement.hpp"

#include <sched.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <cstring>
#include <utility>

#include "client/src/linux/cpu_sets.hpp"
#include "client/src/linux/proc.hpp"
#include "client/src/linux/sealed_memory.hpp"
#include "client/src/realtime_escape.hpp"
#include "host/atomics.hpp"
#include "vesk/workgroup_record.h"

namespace vesk::client {

namespace {

VeskWorkgroupRecord& record_of(const SealedMemory& shared) {
  return *static_cast<VeskWorkgroupRecord*>(shared.bytes());
}

/// The thread in a member's slot when it belongs to `process`, else 0: the record is the
/// host's to write, and other processes' threads are not to be moved because of it.
int member_of(const std::uint64_t& slot, int process) {
  const std::uint64_t member = host::load_relaxed(slot);
  const auto thread = static_cast<int>(member & 0x7fffffff);
  const bool is_named = member >> 32 == static_cast<std::uint64_t>(process);
  return is_named && proc::has_thread(process, thread) ? thread : 0;
}

bool is_real_time(int thread) {
  const int policy = sched_getscheduler(thread) & ~SCHED_RESET_ON_FORK;
  return policy == SCHED_FIFO || policy == SCHED_RR;
}

int driver_priority(const Options& options) {
  if (options.driver_priority > 0) return options.driver_priority;
  sched_param parameters{};
  return is_real_time(0) && sched_getparam(0, &parameters) == 0 ? parameters.sched_priority : 0;
}

}  // namespace

int current_cpu() noexcept VESK_REALTIME {
  // Read from the thread's restartable-sequence area.
  VESK_TRUSTED_CALL;
  return sched_getcpu();
}

int current_thread() noexcept VESK_REALTIME {
  // A system call that never sleeps.
  VESK_TRUSTED_CALL;
  return static_cast<int>(syscall(SYS_gettid));
}

unsigned usable_cpus() noexcept {
  const cpu_set_t cpus = process_cpus();
  return static_cast<unsigned>(CPU_COUNT(&cpus));
}

std::unique_ptr<Placement> Placement::create(const Options& options, std::string& error) {
  if (options.mode == Mode::offline) return nullptr;
  std::unique_ptr<SealedMemory> shared =
      SealedMemory::create("the workgroup record", sizeof(VeskWorkgroupRecord), error);
  if (shared == nullptr) return nullptr;
  std::unique_ptr<Placement> placement(new Placement);
  placement->record_ = std::move(shared);
  VeskWorkgroupRecord& record = record_of(*placement->record_);
  record.magic = VESK_WORKGROUP_MAGIC;
  record.version = VESK_WORKGROUP_VERSION;
  record.parent = getpid();
  record.driver_priority = driver_priority(options);
  const cpu_set_t cpus = process_cpus();
  placement->set_record(options.pinned && CPU_COUNT(&cpus) > 1 ? sched_getcpu() : -1);
  return placement;
}

Placement::~Placement() {
  if (held_driver_ != 0) release_driver(held_driver_);
}

int Placement::descriptor() const noexcept {
  return record_->descriptor();
}

void Placement::set_record(int cpu) {
  const cpu_set_t cpus = cpu < 0 ? process_cpus() : only_cpu(cpu);
  std::uint64_t words[VESK_WORKGROUP_CPU_WORDS] = {};
  std::memcpy(words, &cpus, std::min(sizeof words, sizeof cpus));
  VeskWorkgroupRecord& record = record_of(*record_);
  for (int i = 0; i < VESK_WORKGROUP_CPU_WORDS; ++i) host::store_relaxed(record.cpus[i], words[i]);
  // Between the CPUs and the members that are read next: a thread that joins at this moment either
  // is seen among the members or sees the new CPUs. Pairs with the same order in its join.
  std::atomic_thread_fence(std::memory_order_seq_cst);
}

void Placement::move(int host, int cpu, int driver) {
  // The record first: a thread that joins in between reads the new set.
  set_record(cpu);
  const cpu_set_t cpus = cpu < 0 ? process_cpus() : only_cpu(cpu);
  for (std::uint64_t& slot : record_of(*record_).members)
    if (const int thread = member_of(slot, host); thread > 0)
      sched_setaffinity(thread, sizeof cpus, &cpus);
  if (held_driver_ != 0) release_driver(std::exchange(held_driver_, 0));
  if (cpu >= 0 && driver != 0 && is_real_time(driver) && hold_driver(driver, cpu))
    held_driver_ = driver;
}

int Placement::member(int host) const noexcept {
  for (std::uint64_t& slot : record_of(*record_).members)
    if (const int thread = member_of(slot, host); thread > 0) return thread;
  return 0;
}

}  // namespace vesk::client
