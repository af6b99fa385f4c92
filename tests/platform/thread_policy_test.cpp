#include <gtest/gtest.h>
#include <mach/mach.h>
#include <mach/mach_time.h>
#include <pthread.h>
#include <sched.h>
#include <stdio.h>
#include <sys/resource.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <unistd.h>

#include <atomic>
#include <filesystem>
#include <string>
#include <thread>
#include <vector>

#include "platform/host_process.hpp"
#include "platform/linux/mach/realtime_priority.hpp"
#include "tests/support/child_process.hpp"
#include "tests/support/realtime_kit_service.hpp"
#include "tests/support/scratch_folder.hpp"
#include "tests/support/workgroup_record.hpp"

namespace {

using namespace vesk::platform;
using vesk::tests::ChildEnd;
using vesk::tests::run_in_child;

constexpr uint32_t microsecond_ns = 1'000;
constexpr uint32_t millisecond_ns = 1'000'000;
constexpr int not_granted = 99;  // a child's word for "this machine does not let me"

kern_return_t set_period(uint32_t period, uint32_t computation, uint32_t constraint,
                         mach_msg_type_number_t count = THREAD_TIME_CONSTRAINT_POLICY_COUNT) {
  thread_time_constraint_policy_data_t policy = {period, computation, constraint, TRUE};
  return thread_policy_set(pthread_mach_thread_np(pthread_self()), THREAD_TIME_CONSTRAINT_POLICY,
                           reinterpret_cast<thread_policy_t>(&policy), count);
}

kern_return_t set_ten_milliseconds() {
  return set_period(10 * millisecond_ns, 9 * millisecond_ns, 10 * millisecond_ns);
}

int own_priority() {
  sched_param parameters = {};
  sched_getparam(0, &parameters);
  return parameters.sched_priority;
}

/// Leaves the calling process no way to real-time scheduling but up to `priority`.
bool give_up_privileges(rlim_t priority) {
  const rlimit limit = {priority, priority};
  if (setrlimit(RLIMIT_RTPRIO, &limit) != 0) return false;
  constexpr uid_t nobody = 65534;
  return getuid() != 0 || setuid(nobody) == 0;
}

void no_bus() {
  setenv("DBUS_SYSTEM_BUS_ADDRESS", "unix:path=/nonexistent/bus", 1);
}

TEST(ThreadPolicy, RefusesWhereMacosRefuses) {
  const struct {
    const char* name;
    uint32_t period, computation, constraint;
    mach_msg_type_number_t count;
  } cases[] = {
      {"no period: ordinary scheduling is wanted", 0, 0, 0, 4},
      {"computation below 50 us", millisecond_ns, 49'999, millisecond_ns, 4},
      {"computation above 50 ms", 60 * millisecond_ns, 50'000'001, 60 * millisecond_ns, 4},
      {"constraint below computation", millisecond_ns, 600 * microsecond_ns, 500 * microsecond_ns,
       4},
      {"fewer fields", millisecond_ns, 900 * microsecond_ns, millisecond_ns, 3},
  };
  for (const auto& c : cases) {
    EXPECT_EQ(set_period(c.period, c.computation, c.constraint, c.count), KERN_INVALID_ARGUMENT)
        << c.name;
  }
  EXPECT_EQ(thread_policy_set(MACH_PORT_NULL, THREAD_STANDARD_POLICY, nullptr, 0),
            KERN_INVALID_ARGUMENT);
  EXPECT_EQ(thread_policy_set(mach_thread_self(), 77, nullptr, 0), KERN_INVALID_ARGUMENT);
  EXPECT_EQ(sched_getscheduler(0), SCHED_OTHER);
  EXPECT_TRUE(is_acceptable({millisecond_ns, 50 * microsecond_ns, 50 * microsecond_ns, 1}));
  EXPECT_TRUE(is_acceptable({0, 50 * millisecond_ns, 50 * millisecond_ns, 1}));
}

TEST(ThreadPolicy, ShorterPeriodsAndDriversSetThePriority) {
  const struct {
    uint32_t period;
    int priority;
  } cases[] = {
      {0, 40},
      {333 * microsecond_ns, 60},
      {millisecond_ns, 60},
      {millisecond_ns + 1, 56},
      {2'666'667, 52},
      {5'333'333, 48},
      {10 * millisecond_ns, 44},
      {20 * millisecond_ns, 40},
      {UINT32_MAX, 40},
  };
  for (const auto& c : cases) EXPECT_EQ(priority_for_period(c.period), c.priority) << c.period;
  EXPECT_EQ(priority_below_driver(48, 0), 48);
  EXPECT_EQ(priority_below_driver(48, 88), 48);
  EXPECT_EQ(priority_below_driver(48, 20), 19);
  EXPECT_EQ(priority_below_driver(48, 1), 1);
  EXPECT_EQ(soft_limit_under(RLIM_INFINITY), 500'000u);
  EXPECT_EQ(soft_limit_under(200'000), 150'000u);
}

TEST(ThreadPolicy, AGrantedPolicyIsFifoBelowTheDriverAndNotInherited) {
  const ChildEnd end = run_in_child([] {
    no_bus();
    vesk::tests::WorkgroupRecord record;
    record->driver_priority = 30;
    record.give_as_descriptor_3();
    if (const kern_return_t result = set_ten_milliseconds(); result != KERN_SUCCESS)
      return result == KERN_DENIED && sched_getscheduler(0) == SCHED_OTHER ? not_granted : 1;
    if (sched_getscheduler(0) != (SCHED_FIFO | SCHED_RESET_ON_FORK)) return 2;
    if (own_priority() != 29) return 3;
    int inherited = -1;
    std::thread([&] { inherited = sched_getscheduler(0); }).join();
    if (inherited != SCHED_OTHER) return 4;
    rlimit time = {};
    getrlimit(RLIMIT_RTTIME, &time);
    if (time.rlim_cur > 500'000 || time.rlim_cur >= time.rlim_max) return 5;
    if (thread_policy_set(mach_thread_self(), THREAD_STANDARD_POLICY, nullptr, 0) != KERN_SUCCESS)
      return 6;
    return (sched_getscheduler(0) & ~SCHED_RESET_ON_FORK) == SCHED_OTHER ? 0 : 7;
  });
  if (end.exited_with(not_granted)) GTEST_SKIP() << "this process gets no SCHED_FIFO";
  EXPECT_TRUE(end.exited_with(0)) << "step " << WEXITSTATUS(end.status);
}

TEST(ThreadPolicy, ALimitOnThePriorityIsUsedUpAndNotExceeded) {
  const struct {
    rlim_t limit;
    kern_return_t result;
    int priority;
  } cases[] = {{0, KERN_DENIED, 0}, {7, KERN_SUCCESS, 7}};
  for (const auto& c : cases) {
    const ChildEnd end = run_in_child([&] {
      no_bus();
      if (!give_up_privileges(c.limit)) return not_granted;
      if (set_ten_milliseconds() != c.result) return 1;
      if ((sched_getscheduler(0) == SCHED_OTHER) != (c.priority == 0)) return 2;
      return own_priority() == c.priority ? 0 : 3;
    });
    if (end.exited_with(not_granted)) GTEST_SKIP() << "RLIMIT_RTPRIO cannot be raised here";
    EXPECT_TRUE(end.exited_with(0)) << "step " << WEXITSTATUS(end.status);
  }
}

TEST(ThreadPolicy, AThreadThatSpinsLosesItsPolicyAndNothingElse) {
  const ChildEnd end = run_in_child([] {
    no_bus();
    vesk::platform::prepare_host_process("aumu:Test:Test");
    const rlimit limit = {30'000, RLIM_INFINITY};
    setrlimit(RLIMIT_RTTIME, &limit);
    int result = 1;
    std::thread([&] {
      if (set_ten_milliseconds() != KERN_SUCCESS) {
        result = not_granted;
        return;
      }
      const uint64_t deadline = mach_absolute_time() + 20'000'000'000;
      while (mach_absolute_time() < deadline)
        if ((sched_getscheduler(0) & ~SCHED_RESET_ON_FORK) == SCHED_OTHER) {
          result = 0;
          return;
        }
    }).join();
    return result;
  });
  if (end.exited_with(not_granted)) GTEST_SKIP() << "this process gets no SCHED_FIFO";
  EXPECT_TRUE(end.exited_with(0)) << end.status;
  EXPECT_EQ(end.standard_error,
            "plugin host aumu:Test:Test: real-time limit reached, ordinary scheduling\n");
}

TEST(ThreadNames, AreKernelIdsAlsoOfOtherThreads) {
  EXPECT_EQ(pthread_mach_thread_np(pthread_self()), static_cast<mach_port_t>(gettid()));
  std::atomic<bool> may_end = false;
  pid_t id = 0;
  std::thread other([&] {
    id = gettid();
    may_end.wait(false);
  });
  const mach_port_t name = pthread_mach_thread_np(other.native_handle());
  may_end = true;
  may_end.notify_one();
  other.join();
  EXPECT_EQ(name, static_cast<mach_port_t>(id));
}

/// What a process without rights got that asks on this bus; it prints its thread's id.
ChildEnd ask(const std::string& bus) {
  return run_in_child([&] {
    setenv("DBUS_SYSTEM_BUS_ADDRESS", bus.c_str(), 1);
    if (!give_up_privileges(0)) return not_granted;
    const uint64_t start = mach_absolute_time();
    const kern_return_t result = set_ten_milliseconds();
    // The bus library's own patience is 25 seconds.
    if (mach_absolute_time() - start > 20'000'000'000) return 98;
    dprintf(STDERR_FILENO, "%d", gettid());
    return static_cast<int>(result);
  });
}

TEST(ThreadPolicy, RealtimeKitIsAskedWhereTheProcessMayNotHelpItself) {
  using Service = vesk::tests::RealtimeKitService;
  for (const auto mode :
       {Service::grants, Service::refuses_grants, Service::is_silent, Service::is_missing}) {
    SCOPED_TRACE(mode);
    const Service service(mode);
    if (!service.why_not().empty()) GTEST_SKIP() << service.why_not();
    const ChildEnd end = ask(service.bus());
    EXPECT_TRUE(end.exited_with(mode == Service::grants ? KERN_SUCCESS : KERN_DENIED))
        << WEXITSTATUS(end.status) << end.standard_error;
    if (mode != Service::grants) continue;
    const std::optional<Service::Request> request = service.request();
    ASSERT_TRUE(request.has_value());
    EXPECT_EQ(std::to_string(request->thread), end.standard_error);
    // The service's own bound is 15, and it refuses a hard limit above its 100 ms.
    EXPECT_EQ(request->priority, 15u);
    EXPECT_EQ(request->hard_limit_us, 100'000u);
    EXPECT_EQ(request->soft_limit_us, 75'000u);
  }
}

TEST(ThreadPolicy, ABusThatSaysNothingIsNotWaitedForLong) {
  const vesk::tests::ScratchFolder folder;
  std::filesystem::permissions(folder.path(), std::filesystem::perms(0755));
  sockaddr_un name{AF_UNIX, {}};
  (folder / "bus").copy(name.sun_path, sizeof name.sun_path - 1);
  const auto* const address = reinterpret_cast<const sockaddr*>(&name);
  const int bus = socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
  ASSERT_EQ(bind(bus, address, sizeof name), 0);
  chmod(name.sun_path, 0777);
  ASSERT_EQ(listen(bus, 4), 0);
  std::vector<int> callers;
  const auto connects = [&] {
    callers.push_back(socket(AF_UNIX, SOCK_STREAM | SOCK_NONBLOCK | SOCK_CLOEXEC, 0));
    return connect(callers.back(), address, sizeof name) == 0;
  };
  for (const char* how : {"it takes the connection", "too many wait for it"}) {
    SCOPED_TRACE(how);
    const ChildEnd end = ask("unix:path=" + folder / "bus");
    EXPECT_TRUE(end.exited_with(KERN_DENIED)) << WEXITSTATUS(end.status);
    while (connects()) {
    }
  }
  for (const int caller : callers) close(caller);
  close(bus);
}

}  // namespace
