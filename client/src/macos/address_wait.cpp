#include "client/src/address_wait.hpp"

#include <os/clock.h>
#include <os/os_sync_wait_on_address.h>
#include <time.h>

#include "client/src/realtime_escape.hpp"

namespace vesk::client {

namespace {
void* address(const std::uint32_t& word) noexcept {
  return const_cast<std::uint32_t*>(&word);
}
}  // namespace

void wait_while(const std::uint32_t& word, std::uint32_t value,
                std::chrono::nanoseconds limit) noexcept VESK_REALTIME {
  // The one place where the driving thread means to sleep.
  VESK_TRUSTED_CALL;
  // A time-out of 0 is refused there and would return at once here.
  if (limit.count() <= 0) return;
  os_sync_wait_on_address_with_timeout(address(word), value, sizeof word,
                                       OS_SYNC_WAIT_ON_ADDRESS_SHARED, OS_CLOCK_MACH_ABSOLUTE_TIME,
                                       static_cast<std::uint64_t>(limit.count()));
}

void wake_one(const std::uint32_t& word) noexcept VESK_REALTIME {
  // A system call that never sleeps.
  VESK_TRUSTED_CALL;
  os_sync_wake_by_address_any(address(word), sizeof word, OS_SYNC_WAKE_BY_ADDRESS_SHARED);
}

std::int64_t now_ns() noexcept VESK_REALTIME {
  // Answered from the common page.
  VESK_TRUSTED_CALL;
  return static_cast<std::int64_t>(clock_gettime_nsec_np(CLOCK_UPTIME_RAW));
}

}  // namespace vesk::client
