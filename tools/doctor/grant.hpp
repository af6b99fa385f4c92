#pragma once

#include <cstdint>
#include <functional>
#include <optional>

#include "tools/doctor/facts.hpp"

namespace vesk::tools {

enum class Policy { ordinary, fifo, round_robin };

/// What RealtimeKit says of itself, or its documented defaults where it does not say.
struct KitLimits {
  int priority;
  std::uint64_t realtime_us;
};

/// How late a thread woke that slept until a given time, over and over.
struct WakeUps {
  int count = 0;
  double median_us = 0;
  double worst_us = 0;
};

/// What a host's render thread would get.
struct Grant {
  Policy policy = Policy::ordinary;  ///< round robin is what RealtimeKit gives
  int priority = 0;
  Limit realtime_us;             ///< as it is after the thread has asked
  std::optional<KitLimits> kit;  ///< none: not needed, or no bus
  double timer_ns = 0;           ///< resolution of the clock that sleepers wait for
  WakeUps idle;                  ///< beside whatever the machine does
  WakeUps busy;                  ///< beside a thread on every usable CPU that never sleeps
};

/// Asks for real-time scheduling as a host does for periods of `period_frames`, on a thread of its
/// own, and measures that thread's wake-ups, which takes two seconds. `progress` is told the share
/// that is done, 0..1, on the calling thread. This process keeps what asking leaves behind: a lower
/// limit of real-time processor time.
Grant ask_and_measure(int period_frames, int sample_rate,
                      const std::function<void(double share)>& progress);

}  // namespace vesk::tools
