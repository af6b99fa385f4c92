#include "tools/doctor/grant.hpp"

#include <mach/mach.h>
#include <pthread.h>
#include <sched.h>
#include <sys/resource.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <ctime>
#include <thread>
#include <vector>

#include "platform/linux/mach/realtime_kit.hpp"

namespace vesk::tools {
namespace {

constexpr std::int64_t second_ns = 1'000'000'000;
constexpr std::int64_t nap_ns = 1'000'000;

std::int64_t now_ns() {
  timespec time{};
  clock_gettime(CLOCK_MONOTONIC, &time);
  return time.tv_sec * second_ns + time.tv_nsec;
}

/// What host/render_loop.cpp asks for.
void ask_for_real_time(int period_frames, int sample_rate) {
  const auto period = static_cast<std::uint32_t>(second_ns * period_frames / sample_rate);
  thread_time_constraint_policy_data_t policy{};
  policy.period = period;
  policy.computation = period * 9 / 10;
  policy.constraint = period;
  policy.preemptible = 1;
  thread_policy_set(pthread_mach_thread_np(pthread_self()), THREAD_TIME_CONSTRAINT_POLICY,
                    reinterpret_cast<thread_policy_t>(&policy),
                    THREAD_TIME_CONSTRAINT_POLICY_COUNT);
}

void read_grant(Grant& grant) {
  sched_param parameters{};
  sched_getparam(0, &parameters);
  grant.priority = parameters.sched_priority;
  const int policy = sched_getscheduler(0) & ~SCHED_RESET_ON_FORK;
  grant.policy = policy == SCHED_FIFO ? Policy::fifo
                 : policy == SCHED_RR ? Policy::round_robin
                                      : Policy::ordinary;
  rlimit limit{};
  getrlimit(RLIMIT_RTTIME, &limit);
  grant.realtime_us = {limit.rlim_cur, limit.rlim_max};
  timespec resolution{};
  clock_getres(CLOCK_MONOTONIC, &resolution);
  grant.timer_ns = static_cast<double>(resolution.tv_sec * second_ns + resolution.tv_nsec);
}

/// Naps for a second. `lateness` has the room and is touched before, so that nothing is allocated.
WakeUps measure(std::vector<double>& lateness) {
  std::size_t count = 0;
  const std::int64_t end = now_ns() + second_ns;
  for (std::int64_t due = now_ns() + nap_ns; due < end && count < lateness.size();) {
    const timespec until{due / second_ns, due % second_ns};
    if (clock_nanosleep(CLOCK_MONOTONIC, TIMER_ABSTIME, &until, nullptr) != 0) continue;
    const std::int64_t woke = now_ns();
    lateness[count++] = static_cast<double>(woke - due) / 1'000;
    // A stall is one late wake-up, not one for every nap that it covered.
    due = std::max(due, woke - nap_ns) + nap_ns;
  }
  if (count == 0) return {1, 1e6, 1e6};  // the whole second passed in one nap
  const auto end_of_used = lateness.begin() + static_cast<std::ptrdiff_t>(count);
  std::sort(lateness.begin(), end_of_used);
  return {static_cast<int>(count), lateness[count / 2], lateness[count - 1]};
}

/// Threads of ordinary scheduling, one a usable CPU, that never sleep.
class BusyThreads {
 public:
  BusyThreads() {
    cpu_set_t usable;
    const int count = sched_getaffinity(0, sizeof usable, &usable) == 0 ? CPU_COUNT(&usable) : 1;
    for (int i = 0; i < count; ++i)
      threads_.emplace_back([this] {
        while (!ends_.load(std::memory_order_relaxed)) {
        }
      });
  }
  ~BusyThreads() {
    ends_.store(true, std::memory_order_relaxed);
    for (std::thread& thread : threads_) thread.join();
  }
  BusyThreads(const BusyThreads&) = delete;
  BusyThreads& operator=(const BusyThreads&) = delete;

 private:
  std::atomic<bool> ends_ = false;
  std::vector<std::thread> threads_;
};

}  // namespace

Grant ask_and_measure(int period_frames, int sample_rate,
                      const std::function<void(double share)>& progress) {
  Grant grant;
  std::atomic<bool> is_measured = false;
  std::vector<double> lateness(second_ns / nap_ns);
  std::thread measuring([&] {
    // What it starts has ordinary scheduling, whatever it is given itself.
    ask_for_real_time(period_frames, sample_rate);
    read_grant(grant);
    grant.idle = measure(lateness);
    {
      const BusyThreads busy;
      grant.busy = measure(lateness);
    }
    is_measured.store(true, std::memory_order_release);
  });
  const std::int64_t start = now_ns();
  while (!is_measured.load(std::memory_order_acquire)) {
    progress(static_cast<double>(now_ns() - start) / (2 * second_ns));
    std::this_thread::sleep_for(std::chrono::milliseconds(20));
  }
  measuring.join();
  if (grant.policy == Policy::fifo) return grant;
  if (platform::RealtimeKit kit; kit.is_connected()) {
    const auto limits = kit.limits();
    grant.kit = KitLimits{limits.priority, limits.rttime_us};
  }
  return grant;
}

}  // namespace vesk::tools
