#pragma once

#include <time.h>

#include <cstdint>

namespace vesk::lv2 {

/// Milliseconds on the clock that nobody sets, for limits.
inline std::int64_t now_ms() {
  timespec now{};
  clock_gettime(CLOCK_MONOTONIC, &now);
  return static_cast<std::int64_t>(now.tv_sec) * 1000 + now.tv_nsec / 1'000'000;
}

}  // namespace vesk::lv2
