#include "client/src/address_wait.hpp"

#include <linux/futex.h>
#include <sys/syscall.h>
#include <time.h>
#include <unistd.h>

#include "client/src/realtime_escape.hpp"

namespace vesk::client {

namespace {
constexpr std::int64_t nanos_per_second = 1'000'000'000;
}

// Neither call has the private flag: the other side sleeps and wakes in its own process.

void wait_while(const std::uint32_t& word, std::uint32_t value,
                std::chrono::nanoseconds limit) noexcept VESK_REALTIME {
  // The one place where the driving thread means to sleep.
  VESK_TRUSTED_CALL;
  const std::int64_t nanos = limit.count();
  const timespec time{static_cast<time_t>(nanos / nanos_per_second),
                      static_cast<long>(nanos % nanos_per_second)};
  syscall(SYS_futex, &word, FUTEX_WAIT, value, &time, nullptr, 0);
}

void wake_one(const std::uint32_t& word) noexcept VESK_REALTIME {
  // A system call that never sleeps.
  VESK_TRUSTED_CALL;
  syscall(SYS_futex, &word, FUTEX_WAKE, 1, nullptr, nullptr, 0);
}

std::int64_t now_ns() noexcept VESK_REALTIME {
  // Answered from the vDSO.
  VESK_TRUSTED_CALL;
  timespec time{};
  clock_gettime(CLOCK_MONOTONIC, &time);
  return time.tv_sec * nanos_per_second + time.tv_nsec;
}

}  // namespace vesk::client
