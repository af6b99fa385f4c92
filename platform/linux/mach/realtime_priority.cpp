#include "platform/linux/mach/realtime_priority.hpp"

#include <algorithm>

namespace vesk::platform {

namespace {
constexpr uint32_t kShortestComputation = 50'000;
constexpr uint32_t kLongestComputation = 50'000'000;
constexpr uint32_t kMillisecond = 1'000'000;
constexpr int kHighest = 60;
constexpr int kLowest = 40;
constexpr int kStep = 4;
}  // namespace

bool is_acceptable(const thread_time_constraint_policy_data_t& policy) {
  return policy.computation >= kShortestComputation && policy.computation <= kLongestComputation &&
         policy.constraint >= policy.computation;
}

int priority_for_period(uint32_t period_ns) {
  if (period_ns == 0) return kLowest;
  int priority = kHighest;
  for (uint64_t bound = kMillisecond; bound < period_ns && priority > kLowest; bound *= 2)
    priority -= kStep;
  return priority;
}

int priority_below_driver(int wanted, int driver) {
  return driver <= 0 ? wanted : std::max(1, std::min(wanted, driver - 1));
}

uint64_t soft_limit_under(uint64_t hard_us) {
  constexpr uint64_t kHalfSecond = 500'000;
  return std::min(kHalfSecond, hard_us / 4 * 3);
}

}  // namespace vesk::platform
