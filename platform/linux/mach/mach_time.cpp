#include <mach/mach_time.h>

#include <ctime>

kern_return_t mach_timebase_info(mach_timebase_info_t info) {
  if (info == nullptr) return KERN_INVALID_ARGUMENT;
  info->numer = 1;
  info->denom = 1;
  return KERN_SUCCESS;
}

// The C library reads the clock in the process, without a system call; its declaration does not
// say so.
#pragma clang diagnostic push
#pragma clang diagnostic ignored "-Wfunction-effects"
uint64_t mach_absolute_time(void) OS_REALTIME_API {
  timespec time = {};
  clock_gettime(CLOCK_MONOTONIC, &time);
  return static_cast<uint64_t>(time.tv_sec) * 1'000'000'000 + static_cast<uint64_t>(time.tv_nsec);
}
#pragma clang diagnostic pop
