#pragma once

#include <chrono>
#include <cstdint>

#include "platform/realtime.hpp"

namespace vesk::client {

/// The end of a time limit that begins at `now`, on the clock of `now_ns`. A limit that reaches
/// beyond the clock's last moment is none: `milliseconds::max()` waits for ever. `limit` is not
/// negative.
template <typename Ticks, typename Unit>
constexpr std::int64_t deadline_after(
    std::int64_t now, std::chrono::duration<Ticks, Unit> limit) noexcept VESK_REALTIME {
  const auto room = std::chrono::nanoseconds(INT64_MAX - now);
  return limit > std::chrono::duration_cast<decltype(limit)>(room)
             ? INT64_MAX
             : now + std::chrono::nanoseconds(limit).count();
}

}  // namespace vesk::client
