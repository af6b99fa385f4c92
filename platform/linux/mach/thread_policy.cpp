#include <mach/mach.h>
#include <sched.h>
#include <sys/resource.h>

#include <algorithm>
#include <cerrno>
#include <cstring>

#include "platform/linux/mach/port_names.hpp"
#include "platform/linux/mach/realtime_kit.hpp"
#include "platform/linux/mach/realtime_priority.hpp"
#include "platform/linux/mach/realtime_threads.hpp"
#include "platform/linux/records/workgroup_record.hpp"

namespace {

using namespace vesk::platform;

int driver_priority() {
  VeskWorkgroupRecord record;
  return read_workgroup_record(VESK_WORKGROUP_DESCRIPTOR, &record) ? record.driver_priority : 0;
}

bool set_fifo(pid_t thread, int priority) {
  sched_param parameters = {};
  parameters.sched_priority = priority;
  // What the thread starts must not be real-time.
  return sched_setscheduler(thread, SCHED_FIFO | SCHED_RESET_ON_FORK, &parameters) == 0;
}

/// Sets SCHED_FIFO at `wanted`, or at the highest priority that RLIMIT_RTPRIO allows below it.
/// False with `errno` EPERM where this process may not.
bool set_fifo_within_limit(pid_t thread, int wanted) {
  if (set_fifo(thread, wanted)) return true;
  rlimit limit = {};
  if (errno != EPERM || getrlimit(RLIMIT_RTPRIO, &limit) != 0) return false;
  if (limit.rlim_cur > 0 && limit.rlim_cur < static_cast<rlim_t>(wanted))
    return set_fifo(thread, static_cast<int>(limit.rlim_cur));
  errno = EPERM;
  return false;
}

/// A thread that spins must lose its policy before the kernel's hard limit ends the process.
void limit_realtime_cpu(uint64_t hard_us) {
  rlimit limit = {};
  if (getrlimit(RLIMIT_RTTIME, &limit) != 0) return;
  limit.rlim_max = std::min<rlim_t>(limit.rlim_max, hard_us);
  limit.rlim_cur = std::min<rlim_t>(limit.rlim_cur, soft_limit_under(limit.rlim_max));
  setrlimit(RLIMIT_RTTIME, &limit);
}

bool ask_realtime_kit(pid_t thread, int wanted) {
  RealtimeKit kit;
  if (!kit.is_connected()) return false;
  const RealtimeKit::Limits limits = kit.limits();
  // The service refuses a process whose hard limit is above its own. The way down is final.
  limit_realtime_cpu(limits.rttime_us);
  return kit.make_realtime(thread, std::min(wanted, limits.priority));
}

kern_return_t set_time_constraint(pid_t thread,
                                  const thread_time_constraint_policy_data_t& policy) {
  if (!is_acceptable(policy)) return KERN_INVALID_ARGUMENT;
  const int wanted = priority_below_driver(priority_for_period(policy.period), driver_priority());
  remember_realtime_thread(thread);
  catch_realtime_limit();
  limit_realtime_cpu(RLIM_INFINITY);
  if (set_fifo_within_limit(thread, wanted)) return KERN_SUCCESS;
  const bool has_ended = errno == ESRCH;
  if (!has_ended && ask_realtime_kit(thread, wanted)) return KERN_SUCCESS;
  forget_realtime_thread(thread);
  return has_ended ? KERN_TERMINATED : KERN_DENIED;
}

}  // namespace

kern_return_t thread_policy_set(thread_act_t thread, thread_policy_flavor_t flavor,
                                thread_policy_t policy, mach_msg_type_number_t count) {
  if (!is_thread_name(thread)) return KERN_INVALID_ARGUMENT;
  const auto id = static_cast<pid_t>(thread);
  if (flavor == THREAD_STANDARD_POLICY) {
    forget_realtime_thread(id);
    if (make_ordinary(id)) return KERN_SUCCESS;
    return errno == ESRCH ? KERN_TERMINATED : KERN_DENIED;
  }
  if (flavor != THREAD_TIME_CONSTRAINT_POLICY || policy == nullptr ||
      count < THREAD_TIME_CONSTRAINT_POLICY_COUNT)
    return KERN_INVALID_ARGUMENT;
  thread_time_constraint_policy_data_t wanted;
  std::memcpy(&wanted, policy, sizeof wanted);
  return set_time_constraint(id, wanted);
}
