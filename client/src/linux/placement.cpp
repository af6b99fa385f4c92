#include "placement.hpp"

#include <fcntl.h>
#include <sched.h>
#include <sys/mman.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <cstring>
#include <map>
#include <mutex>
#include <utility>

#include "realtime_escape.hpp"
#include "vesk/workgroup_record.h"

namespace vesk::client {

namespace {

VeskWorkgroupRecord& record_of(void* memory) {
  return *static_cast<VeskWorkgroupRecord*>(memory);
}

std::atomic_ref<std::uint64_t> shared(std::uint64_t& word) {
  return std::atomic_ref<std::uint64_t>(word);
}

/// The CPUs of the process: those of its main thread, whatever a worker was narrowed to.
cpu_set_t process_cpus() {
  cpu_set_t cpus;
  CPU_ZERO(&cpus);
  if (sched_getaffinity(getpid(), sizeof cpus, &cpus) != 0 || CPU_COUNT(&cpus) == 0)
    for (int cpu = 0; cpu < CPU_SETSIZE; ++cpu) CPU_SET(cpu, &cpus);
  return cpus;
}

/// The thread in a member's slot when it belongs to process `host`, else 0: the record is the
/// host's to write, and other processes' threads are not to be moved because of it.
int member_of(std::uint64_t& slot, int host) {
  const std::uint64_t member = shared(slot).load(std::memory_order_relaxed);
  return member >> 32 == static_cast<std::uint64_t>(host) ? static_cast<int>(member & 0x7fffffff)
                                                          : 0;
}

cpu_set_t only(int cpu) {
  cpu_set_t cpus;
  CPU_ZERO(&cpus);
  CPU_SET(cpu, &cpus);
  return cpus;
}

bool is_real_time(int thread) {
  const int policy = sched_getscheduler(thread) & ~SCHED_RESET_ON_FORK;
  return policy == SCHED_FIFO || policy == SCHED_RR;
}

/// Driving threads kept on one CPU, and what they may use otherwise.
class HeldDrivers {
 public:
  bool hold(int thread, int cpu) {
    const std::lock_guard lock(mutex_);
    Held& held = held_[thread];
    if (held.holders == 0 && sched_getaffinity(thread, sizeof held.own, &held.own) != 0) {
      held_.erase(thread);
      return false;
    }
    ++held.holders;
    held.cpu = cpu;
    const cpu_set_t cpus = only(cpu);
    sched_setaffinity(thread, sizeof cpus, &cpus);
    return true;
  }

  void release(int thread) {
    const std::lock_guard lock(mutex_);
    const auto held = held_.find(thread);
    if (held == held_.end() || --held->second.holders > 0) return;
    // Only what we set is taken back: the parent may have placed its thread anew.
    cpu_set_t now;
    const cpu_set_t ours = only(held->second.cpu);
    if (sched_getaffinity(thread, sizeof now, &now) == 0 && CPU_EQUAL(&now, &ours))
      sched_setaffinity(thread, sizeof now, &held->second.own);
    held_.erase(held);
  }

 private:
  struct Held {
    cpu_set_t own;
    int cpu = 0;
    unsigned holders = 0;
  };
  std::mutex mutex_;
  std::map<int, Held> held_;
};

HeldDrivers& held_drivers() {
  // Never destroyed: a host that outlives main may still give its driver free.
  static HeldDrivers& drivers = *new HeldDrivers;
  return drivers;
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

void notify(int descriptor) noexcept VESK_REALTIME {
  if (descriptor < 0) return;
  // The descriptor is non-blocking; when it is full its reader has been notified already.
  VESK_TRUSTED_CALL;
  const char byte = 0;
  [[maybe_unused]] const ssize_t written = write(descriptor, &byte, 1);
}

unsigned usable_cpus() noexcept {
  cpu_set_t cpus;
  if (sched_getaffinity(0, sizeof cpus, &cpus) != 0) return 1;
  return static_cast<unsigned>(CPU_COUNT(&cpus));
}

std::unique_ptr<Placement> Placement::create(const Options& options, std::string& error) {
  if (options.mode == Mode::offline) return nullptr;
  std::unique_ptr<Placement> placement(new Placement);
  const int descriptor = memfd_create("vesk-workgroup", MFD_CLOEXEC | MFD_ALLOW_SEALING);
  placement->descriptor_ = descriptor;
  if (descriptor < 0 || ftruncate(descriptor, sizeof(VeskWorkgroupRecord)) != 0 ||
      fcntl(descriptor, F_ADD_SEALS, F_SEAL_SHRINK | F_SEAL_GROW) != 0) {
    error = std::string("cannot create the workgroup record: ") + std::strerror(errno);
    return nullptr;
  }
  void* memory =
      mmap(nullptr, sizeof(VeskWorkgroupRecord), PROT_READ | PROT_WRITE, MAP_SHARED, descriptor, 0);
  if (memory == MAP_FAILED) {
    error = std::string("cannot map the workgroup record: ") + std::strerror(errno);
    return nullptr;
  }
  placement->record_ = memory;
  VeskWorkgroupRecord& record = record_of(memory);
  record.magic = VESK_WORKGROUP_MAGIC;
  record.version = VESK_WORKGROUP_VERSION;
  record.parent = getpid();
  record.driver_priority = driver_priority(options);
  const cpu_set_t cpus = process_cpus();
  placement->set_record(options.pinned && CPU_COUNT(&cpus) > 1 ? sched_getcpu() : -1);
  return placement;
}

Placement::~Placement() {
  if (held_driver_ != 0) held_drivers().release(held_driver_);
  if (record_ != nullptr) munmap(record_, sizeof(VeskWorkgroupRecord));
  if (descriptor_ >= 0) close(descriptor_);
}

void Placement::set_record(int cpu) {
  const cpu_set_t cpus = cpu < 0 ? process_cpus() : only(cpu);
  std::uint64_t words[VESK_WORKGROUP_CPU_WORDS] = {};
  std::memcpy(words, &cpus, std::min(sizeof words, sizeof cpus));
  VeskWorkgroupRecord& record = record_of(record_);
  for (int i = 0; i < VESK_WORKGROUP_CPU_WORDS; ++i)
    shared(record.cpus[i]).store(words[i], std::memory_order_relaxed);
}

void Placement::move(int host, int cpu, int driver) {
  // The record first: a thread that joins in between reads the new set.
  set_record(cpu);
  const cpu_set_t cpus = cpu < 0 ? process_cpus() : only(cpu);
  for (std::uint64_t& slot : record_of(record_).members)
    if (const int thread = member_of(slot, host); thread > 0)
      sched_setaffinity(thread, sizeof cpus, &cpus);
  if (held_driver_ != 0) held_drivers().release(std::exchange(held_driver_, 0));
  if (cpu >= 0 && driver != 0 && is_real_time(driver) && held_drivers().hold(driver, cpu))
    held_driver_ = driver;
}

int Placement::member(int host) const noexcept {
  for (std::uint64_t& slot : record_of(record_).members)
    if (const int thread = member_of(slot, host); thread > 0) return thread;
  return 0;
}

}  // namespace vesk::client
