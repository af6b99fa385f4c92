#include "platform/linux/mach/realtime_priority.hpp"

#include <algorithm>

namespace vesk::platform {

namespace {
constexpr uint32_t shortest_computation = 50'000;
constexpr uint32_t longest_computation = 50'000'000;
constexpr uint32_t millisecond_ns = 1'000'000;
constexpr int highest = 60;
constexpr int lowest = 40;
constexpr int step = 4;
}  // namespace

bool is_acceptable(const thread_time_constraint_policy_data_t& policy) {
  return policy.computation >= shortest_computation && policy.computation <= longest_computation &&
         policy.constraint >= policy.computation;
}

int priority_for_period(uint32_t period_ns) {
  if (period_ns == 0) return lowest;
  int priority = highest;
  for (uint64_t bound = millisecond_ns; bound < period_ns && priority > lowest; bound *= 2)
    priority -= step;
  return priority;
}

int priority_below_driver(int wanted, int driver) {
  return driver <= 0 ? wanted : std::max(1, std::min(wanted, driver - 1));
}

uint64_t soft_limit_under(uint64_t hard_us) {
  constexpr uint64_t half_second = 500'000;
  return std::min(half_second, hard_us / 4 * 3);
}

}  // namespace vesk::platform
