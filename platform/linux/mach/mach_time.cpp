#include <mach/mach_time.h>

#include <cerrno>
#include <ctime>

namespace {

constexpr uint64_t nanos_per_second = 1'000'000'000;

// The C library reads both clocks in the process, without a system call; its declaration does
// not say so.
#pragma clang diagnostic push
#pragma clang diagnostic ignored "-Wfunction-effects"
uint64_t now(clockid_t clock) OS_REALTIME_API {
  timespec time = {};
  clock_gettime(clock, &time);
  return static_cast<uint64_t>(time.tv_sec) * nanos_per_second +
         static_cast<uint64_t>(time.tv_nsec);
}
#pragma clang diagnostic pop

}  // namespace

kern_return_t mach_timebase_info(mach_timebase_info_t info) {
  if (info == nullptr) return KERN_INVALID_ARGUMENT;
  info->numer = 1;
  info->denom = 1;
  return KERN_SUCCESS;
}

uint64_t mach_absolute_time(void) {
  return now(CLOCK_MONOTONIC);
}

uint64_t mach_continuous_time(void) {
  return now(CLOCK_BOOTTIME);
}

kern_return_t mach_wait_until(uint64_t deadline) {
  const timespec until = {static_cast<time_t>(deadline / nanos_per_second),
                          static_cast<long>(deadline % nanos_per_second)};
  while (clock_nanosleep(CLOCK_MONOTONIC, TIMER_ABSTIME, &until, nullptr) == EINTR) {
  }
  return KERN_SUCCESS;
}
