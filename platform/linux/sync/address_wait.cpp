#include <linux/futex.h>
#include <os/os_sync_wait_on_address.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <cerrno>
#include <climits>
#include <cstdint>
#include <ctime>

#if __has_feature(realtime_sanitizer)
#include <sanitizer/rtsan_interface.h>
#endif

namespace {

constexpr uint64_t nanos_per_second = 1'000'000'000;

// The two escapes from the rules of real-time code. Waiting between periods is how the render
// thread gives the processor back, and its limit is the caller's; a wake is one system call that
// never sleeps. Neither the compiler nor RealtimeSanitizer can see that in a system call.
#pragma clang diagnostic push
#pragma clang diagnostic ignored "-Wfunction-effects"

/// The kernel's result, or the negated error number.
long futex(void* addr, int operation, uint32_t value, const timespec* limit) OS_REALTIME_API {
#if __has_feature(realtime_sanitizer)
  const __rtsan::ScopedDisabler allowed;
#endif
  const long result = syscall(SYS_futex, addr, operation, value, limit, nullptr, 0);
  return result < 0 ? -errno : result;
}

int fail(int error) OS_REALTIME_API {
  errno = error;
  return -1;
}

#pragma clang diagnostic pop

bool waitable(const void* addr, size_t size, uint32_t flags) {
  // The kernel's word is 32 bits wide; 64-bit words are legal on macOS and nothing here uses them.
  return addr != nullptr && size == sizeof(uint32_t) && flags <= 1;
}

timespec to_timespec(uint64_t nanos) {
  return {static_cast<time_t>(nanos / nanos_per_second),
          static_cast<long>(nanos % nanos_per_second)};
}

int wait(void* addr, uint64_t value, bool shared, const timespec* limit) {
  const int operation = shared ? FUTEX_WAIT : FUTEX_WAIT | FUTEX_PRIVATE_FLAG;
  const long result = futex(addr, operation, static_cast<uint32_t>(value), limit);
  if (result == 0 || result == -EAGAIN) return 0;
  // An address that belongs to no object: macOS fails to look the object up.
  if (result == -EFAULT && shared) return fail(EINVAL);
  return fail(static_cast<int>(-result));
}

int wake(void* addr, size_t size, uint32_t flags, uint32_t count) {
  if (!waitable(addr, size, flags)) return fail(EINVAL);
  int operation = FUTEX_WAKE;
  if (flags == OS_SYNC_WAKE_BY_ADDRESS_NONE) operation |= FUTEX_PRIVATE_FLAG;
  const long woken = futex(addr, operation, count, nullptr);
  if (woken > 0) return 0;
  if (woken == 0) return fail(ENOENT);
  return fail(woken == -EFAULT ? EINVAL : static_cast<int>(-woken));
}

}  // namespace

int os_sync_wait_on_address(void* addr, uint64_t value, size_t size,
                            os_sync_wait_on_address_flags_t flags) {
  if (!waitable(addr, size, flags)) return fail(EINVAL);
  return wait(addr, value, flags != 0, nullptr);
}

int os_sync_wait_on_address_with_timeout(void* addr, uint64_t value, size_t size,
                                         os_sync_wait_on_address_flags_t flags,
                                         os_clockid_t clockid, uint64_t timeout_ns) {
  if (!waitable(addr, size, flags) || clockid != OS_CLOCK_MACH_ABSOLUTE_TIME || timeout_ns == 0)
    return fail(EINVAL);
  const timespec limit = to_timespec(timeout_ns);
  return wait(addr, value, flags != 0, &limit);
}

int os_sync_wake_by_address_any(void* addr, size_t size, os_sync_wake_by_address_flags_t flags) {
  return wake(addr, size, flags, 1);
}

int os_sync_wake_by_address_all(void* addr, size_t size, os_sync_wake_by_address_flags_t flags) {
  return wake(addr, size, flags, INT_MAX);
}
