#include "host/render_loop.hpp"

#include <mach/mach.h>
#include <mach/mach_time.h>
#include <os/os_sync_wait_on_address.h>
#include <pthread.h>

#include <limits>

#include "host/period_server.hpp"
#include "platform/parent_bell.hpp"
#include "platform/render_thread.hpp"

namespace vesk {

std::atomic<bool> g_joined_workgroup{false};

namespace host {
namespace {

// How late at most a request or a `quit` is seen whose parent did not wake this thread, and has not
// promised to.
constexpr std::uint64_t look_interval_ns = 100'000'000;

std::uint32_t saturate(double value) {
  constexpr auto limit = std::numeric_limits<std::uint32_t>::max();
  if (!(value > 0)) return 0;
  return value >= static_cast<double>(limit) ? limit : static_cast<std::uint32_t>(value);
}

void ask_for_real_time(double sample_rate, unsigned period_frames) {
  mach_timebase_info_data_t timebase{};
  mach_timebase_info(&timebase);
  const RenderBudget budget =
      render_budget(timebase.numer, timebase.denom, sample_rate, period_frames);
  thread_time_constraint_policy_data_t policy{};
  policy.period = budget.period;
  policy.computation = budget.computation;
  policy.constraint = budget.constraint;
  policy.preemptible = 1;
  // Where it is refused the thread renders under ordinary scheduling, which beats not rendering.
  thread_policy_set(pthread_mach_thread_np(pthread_self()), THREAD_TIME_CONSTRAINT_POLICY,
                    reinterpret_cast<thread_policy_t>(&policy),
                    THREAD_TIME_CONSTRAINT_POLICY_COUNT);
}

/// The parent's workgroup, which the thread is a member of for as long as this lives.
class JoinedWorkgroup {
 public:
  explicit JoinedWorkgroup(os_workgroup_t workgroup)
      : workgroup_(workgroup),
        joined_(workgroup != nullptr && os_workgroup_join(workgroup, &token_) == 0) {}
  ~JoinedWorkgroup() {
    if (joined_) os_workgroup_leave(workgroup_, &token_);
  }
  JoinedWorkgroup(const JoinedWorkgroup&) = delete;
  JoinedWorkgroup& operator=(const JoinedWorkgroup&) = delete;

  bool is_member() const { return joined_; }

 private:
  os_workgroup_t workgroup_;
  os_workgroup_join_token_s token_{};
  bool joined_;
};

}  // namespace

RenderBudget render_budget(std::uint32_t numer, std::uint32_t denom, double sample_rate,
                           unsigned period_frames) {
  const std::uint32_t period = saturate(denom * 1e9 / numer * period_frames / sample_rate);
  // In 32 bits, as the fields are: a period beyond 477 million ticks wraps, and is refused by
  // the scheduler either way.
  return {period, period * 9 / 10, period};
}

void render_loop(Block* block, std::vector<std::unique_ptr<AudioUnitPlugin>>& plugins,
                 bool first_is_effect, double sample_rate, unsigned max_frames,
                 unsigned period_frames, os_workgroup_t workgroup) {
  const platform::RenderThread render_thread;
  ask_for_real_time(sample_rate, period_frames);
  const JoinedWorkgroup joined(workgroup);
  g_joined_workgroup.store(joined.is_member(), std::memory_order_release);

  const std::uint64_t wait_limit_ns = platform::longest_wait_ns(look_interval_ns);
  PeriodServer server(*block, plugins, first_is_effect, max_frames);
  std::uint32_t served = load_acquire(block->render_request);
  render_thread.announce_listening();
  if (load_acquire(block->quit) != 0) return;
  for (;;) {
    // Acquire: pairs with the parent's release store, which published the period.
    const std::uint32_t request = load_acquire(block->render_request);
    if (request != served) {
      server.serve(request);
      served = request;
    } else {
      // The one place where this thread sleeps: in the kernel, until the word differs from what
      // was served last. Whatever ends the wait, the word is looked at again.
      os_sync_wait_on_address_with_timeout(&block->render_request, served, sizeof served,
                                           OS_SYNC_WAIT_ON_ADDRESS_SHARED,
                                           OS_CLOCK_MACH_ABSOLUTE_TIME, wait_limit_ns);
    }
    if (load_acquire(block->quit) != 0) return;
  }
}

}  // namespace host
}  // namespace vesk
