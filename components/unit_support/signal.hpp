#pragma once

// Telling a sleeping thread that there is something to do, from a real-time thread.

#include <os/os_sync_wait_on_address.h>

#include <atomic>
#include <cstdint>

#include "platform/realtime.hpp"

namespace vesk {

/// A counter that a thread can sleep on. The sleeper reads `count()`, looks for work, and sleeps
/// on what it read; a `raise` in between makes the sleep end at once, so none is missed.
class Signal {
 public:
  /// Any thread. Release: what was written before is visible to who reads the new count.
  void raise() noexcept VESK_REALTIME {
    count_.fetch_add(1, std::memory_order_release);
    os_sync_wake_by_address_all(&count_, sizeof count_, OS_SYNC_WAKE_BY_ADDRESS_NONE);
  }

  std::uint32_t count() const noexcept VESK_REALTIME {
    return count_.load(std::memory_order_acquire);
  }

  /// Sleeps while the count is `seen`; may return early. Not real-time.
  void wait(std::uint32_t seen) noexcept {
    os_sync_wait_on_address(&count_, seen, sizeof count_, OS_SYNC_WAIT_ON_ADDRESS_NONE);
  }

  /// The same for at most so many nanoseconds, not 0. On a real-time thread only where it has to
  /// wait, since it renders ahead of time.
  void wait(std::uint32_t seen, std::uint64_t limit_ns) noexcept VESK_REALTIME {
    os_sync_wait_on_address_with_timeout(&count_, seen, sizeof count_, OS_SYNC_WAIT_ON_ADDRESS_NONE,
                                         OS_CLOCK_MACH_ABSOLUTE_TIME, limit_ns);
  }

 private:
  std::atomic<std::uint32_t> count_{0};
  static_assert(sizeof(std::atomic<std::uint32_t>) == 4);
};

}  // namespace vesk
