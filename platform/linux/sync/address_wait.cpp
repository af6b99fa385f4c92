#include <os/os_sync_wait_on_address.h>

#include <cerrno>
#include <climits>
#include <cstdint>
#include <ctime>
#include <linux/futex.h>
#include <sys/syscall.h>
#include <unistd.h>

namespace {

constexpr uint64_t kNanosPerSecond = 1'000'000'000;

int refuse(int error) {
  errno = error;
  return -1;
}

bool waitable(const void* addr, size_t size, uint32_t flags) {
  // The kernel's word is 32 bits wide; 64-bit words are legal on macOS and nothing here uses them.
  return addr != nullptr && size == sizeof(uint32_t) && flags <= 1;
}

timespec to_timespec(uint64_t nanos) {
  return {static_cast<time_t>(nanos / kNanosPerSecond), static_cast<long>(nanos % kNanosPerSecond)};
}

int wait(void* addr, uint64_t value, int operation, bool shared, const timespec* limit) {
  if (!shared) operation |= FUTEX_PRIVATE_FLAG;
  const long result = syscall(SYS_futex, addr, operation, static_cast<uint32_t>(value), limit,
                              nullptr, FUTEX_BITSET_MATCH_ANY);
  if (result == 0 || errno == EAGAIN) return 0;
  // An address that belongs to no object: macOS fails to look the object up.
  if (errno == EFAULT && shared) errno = EINVAL;
  return -1;
}

int wake(void* addr, size_t size, uint32_t flags, int count) {
  if (!waitable(addr, size, flags)) return refuse(EINVAL);
  int operation = FUTEX_WAKE;
  if (flags == OS_SYNC_WAKE_BY_ADDRESS_NONE) operation |= FUTEX_PRIVATE_FLAG;
  const long woken = syscall(SYS_futex, addr, operation, count, nullptr, nullptr, 0);
  if (woken > 0) return 0;
  if (woken == 0) errno = ENOENT;
  else if (errno == EFAULT) errno = EINVAL;
  return -1;
}

}  // namespace

extern "C" int os_sync_wait_on_address(void* addr, uint64_t value, size_t size,
                                       os_sync_wait_on_address_flags_t flags) {
  if (!waitable(addr, size, flags)) return refuse(EINVAL);
  return wait(addr, value, FUTEX_WAIT_BITSET, flags != 0, nullptr);
}

extern "C" int os_sync_wait_on_address_with_timeout(void* addr, uint64_t value, size_t size,
                                                    os_sync_wait_on_address_flags_t flags,
                                                    os_clockid_t clockid, uint64_t timeout_ns) {
  if (!waitable(addr, size, flags) || clockid != OS_CLOCK_MACH_ABSOLUTE_TIME || timeout_ns == 0)
    return refuse(EINVAL);
  const timespec limit = to_timespec(timeout_ns);
  return wait(addr, value, FUTEX_WAIT, flags != 0, &limit);
}

extern "C" int os_sync_wait_on_address_with_deadline(void* addr, uint64_t value, size_t size,
                                                     os_sync_wait_on_address_flags_t flags,
                                                     os_clockid_t clockid, uint64_t deadline) {
  if (!waitable(addr, size, flags) || clockid != OS_CLOCK_MACH_ABSOLUTE_TIME || deadline == 0)
    return refuse(EINVAL);
  // FUTEX_WAIT_BITSET takes an absolute time on CLOCK_MONOTONIC, which is the mach clock here.
  const timespec limit = to_timespec(deadline);
  return wait(addr, value, FUTEX_WAIT_BITSET, flags != 0, &limit);
}

extern "C" int os_sync_wake_by_address_any(void* addr, size_t size,
                                           os_sync_wake_by_address_flags_t flags) {
  return wake(addr, size, flags, 1);
}

extern "C" int os_sync_wake_by_address_all(void* addr, size_t size,
                                           os_sync_wake_by_address_flags_t flags) {
  return wake(addr, size, flags, INT_MAX);
}
