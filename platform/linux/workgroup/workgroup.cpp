#include <fcntl.h>
#include <mach/kern_return.h>
#include <os/workgroup.h>
#include <pthread.h>
#include <sys/mman.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <new>

#include "platform/linux/mach/port_names.hpp"
#include "platform/linux/records/workgroup_record.hpp"
#include "platform/linux/workgroup/membership.hpp"

struct os_workgroup_s {
  std::atomic<uint32_t> references = 1;
  int descriptor = -1;
  VeskWorkgroupRecord* record = nullptr;  // NULL: damaged, nobody can join

  ~os_workgroup_s() {
    if (record != nullptr) munmap(record, sizeof *record);
    if (descriptor >= 0) close(descriptor);
  }
};

namespace vesk::platform {

// In the program itself, so the slot exists when the thread does: no allocation at first use.
static thread_local constinit Membership t_membership
    __attribute__((tls_model("initial-exec"))) = {};

Membership& membership() {
  return t_membership;
}

}  // namespace vesk::platform

namespace {

using namespace vesk::platform;

constexpr uint32_t token_signature = 0x4D5F5A58;  // what macOS puts there

/// What a token holds of a membership, inside its opaque bytes.
struct TokenContents {
  os_workgroup_t group;
  pid_t thread;
};
static_assert(sizeof(TokenContents) <= sizeof(os_workgroup_join_token_s::opaque));
static_assert(sizeof(cpu_set_t) == sizeof(VeskWorkgroupRecord::cpus));

os_workgroup_t fail_to_create(int error) {
  errno = error;
  return nullptr;
}

int fail_to_join(int error) {
  errno = error;
  return error;
}

/// A word of the record, which the parent reads and writes too. All in one order: the parent stores
/// a CPU set and then reads the members, a member enters itself and then reads the set.
std::atomic_ref<uint64_t> word(const uint64_t& shared) {
  return std::atomic_ref(const_cast<uint64_t&>(shared));
}

uint64_t* take_slot(VeskWorkgroupRecord* record) {
  const auto own = static_cast<uint64_t>(getpid()) << 32 | static_cast<uint32_t>(gettid());
  for (uint64_t& slot : record->members) {
    uint64_t free = 0;
    if (word(slot).compare_exchange_strong(free, own)) return &slot;
  }
  return nullptr;
}

cpu_set_t wanted_cpus(const VeskWorkgroupRecord* record) {
  uint64_t words[VESK_WORKGROUP_CPU_WORDS];
  for (int i = 0; i < VESK_WORKGROUP_CPU_WORDS; ++i) words[i] = word(record->cpus[i]).load();
  cpu_set_t cpus;
  std::memcpy(&cpus, words, sizeof cpus);
  return cpus;
}

/// Moves the calling thread, which is a member already, to the record's CPUs; an errno value.
int move_to_group(const VeskWorkgroupRecord* record) {
  // The parent stores a new set, then moves the members it finds. A set read before that store may
  // be applied after that move, so look again; a parent that never stops changing it is not waited
  // for.
  for (int attempt = 0; attempt < 4; ++attempt) {
    const cpu_set_t cpus = wanted_cpus(record);
    // EINVAL: none of them is a CPU that this process may use.
    if (sched_setaffinity(0, sizeof cpus, &cpus) != 0) return errno;
    const cpu_set_t now = wanted_cpus(record);
    if (CPU_EQUAL(&cpus, &now)) break;
  }
  return 0;
}

/// A child process of a member is none, and runs where its parent process runs.
void leave_in_child() {
  Membership& own = membership();
  if (own.group == nullptr) return;
  sched_setaffinity(0, sizeof own.outside, &own.outside);
  own = {};
}

void watch_forks() {
  static const int watching = pthread_atfork(nullptr, nullptr, leave_in_child);
  (void)watching;
}

}  // namespace

void os_release(void* object) {
  auto* group = static_cast<os_workgroup_t>(object);
  if (group != nullptr && group->references.fetch_sub(1, std::memory_order_acq_rel) == 1)
    delete group;
}

os_workgroup_t os_workgroup_create_with_port(const char*, mach_port_t port) {
  const int descriptor = MACH_PORT_VALID(port) ? descriptor_of(port) : -1;
  if (descriptor < 0 || !is_workgroup_record(descriptor)) return fail_to_create(EINVAL);
  watch_forks();
  auto* group = new (std::nothrow) os_workgroup_s;
  if (group == nullptr) return fail_to_create(ENOMEM);
  group->descriptor = fcntl(descriptor, F_DUPFD_CLOEXEC, VESK_WORKGROUP_DESCRIPTOR + 1);
  if (group->descriptor < 0) {
    const int error = errno;
    delete group;
    return fail_to_create(error);
  }
  group->record = map_workgroup_record(group->descriptor);
  return group;
}

int os_workgroup_join(os_workgroup_t workgroup, os_workgroup_join_token_t token) {
  if (workgroup == nullptr || token == nullptr) return fail_to_join(EINVAL);
  Membership& own = membership();
  if (own.group != nullptr) return fail_to_join(EALREADY);
  if (workgroup->record == nullptr) return fail_to_join(EINVAL);
  if (sched_getaffinity(0, sizeof own.outside, &own.outside) != 0) return fail_to_join(errno);
  uint64_t* slot = take_slot(workgroup->record);
  if (slot == nullptr) return fail_to_join(ENOSPC);
  if (const int error = move_to_group(workgroup->record); error != 0) {
    word(*slot).store(0);
    sched_setaffinity(0, sizeof own.outside, &own.outside);
    return fail_to_join(error);
  }
  workgroup->references.fetch_add(1, std::memory_order_relaxed);
  own.group = workgroup;
  own.slot = slot;
  *token = {};
  token->sig = token_signature;
  const TokenContents contents = {workgroup, gettid()};
  std::memcpy(token->opaque, &contents, sizeof contents);
  return 0;
}

void os_workgroup_leave(os_workgroup_t workgroup, os_workgroup_join_token_t token) {
  Membership& own = membership();
  TokenContents contents = {};
  if (token != nullptr && token->sig == token_signature)
    std::memcpy(&contents, token->opaque, sizeof contents);
  if (workgroup == nullptr || own.group != workgroup || contents.group != workgroup ||
      contents.thread != gettid())
    std::abort();
  word(*own.slot).store(0);
  sched_setaffinity(0, sizeof own.outside, &own.outside);
  own.group = nullptr;
  own.slot = nullptr;
  token->sig = 0;
  os_release(workgroup);
}
