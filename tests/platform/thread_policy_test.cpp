#include <fcntl.h>
#include <gtest/gtest.h>
#include <mach/mach.h>
#include <mach/mach_time.h>
#include <pthread.h>
#include <sched.h>
#include <sys/mman.h>
#include <sys/resource.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <vesk/workgroup_record.h>

#include <filesystem>
#include <string>
#include <thread>
#include <vector>

#include "platform/host_process.hpp"
#include "platform/linux/mach/realtime_priority.hpp"
#include "tests/support/child_process.hpp"
#include "tests/support/realtime_kit_service.hpp"
#include "tests/support/scratch_folder.hpp"

namespace {

using namespace vesk::platform;
using vesk::tests::ChildEnd;
using vesk::tests::RealtimeKitService;
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

void give_descriptor_3_a_record(int driver_priority) {
  VeskWorkgroupRecord record = {};
  record.magic = VESK_WORKGROUP_MAGIC;
  record.version = VESK_WORKGROUP_VERSION;
  record.driver_priority = driver_priority;
  const int file = memfd_create("workgroup", MFD_ALLOW_SEALING);
  (void)!write(file, &record, sizeof record);
  fcntl(file, F_ADD_SEALS, F_SEAL_SHRINK | F_SEAL_GROW);
  if (file != 3) dup2(file, 3);
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
      {"4096 frames at 48 kHz", 85'333'333, 76'799'999, 85'333'333, 4},
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
    give_descriptor_3_a_record(30);
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

TEST(ThreadPolicy, WithoutRightsAndBusItIsDenied) {
  const ChildEnd end = run_in_child([] {
    no_bus();
    if (!give_up_privileges(0)) return not_granted;
    if (set_ten_milliseconds() != KERN_DENIED) return 1;
    return sched_getscheduler(0) == SCHED_OTHER ? 0 : 2;
  });
  if (end.exited_with(not_granted)) GTEST_SKIP() << "could not give up this user's rights";
  EXPECT_TRUE(end.exited_with(0)) << "step " << WEXITSTATUS(end.status);
}

TEST(ThreadPolicy, ALimitOnThePriorityIsUsedUpAndNotExceeded) {
  const ChildEnd end = run_in_child([] {
    no_bus();
    if (!give_up_privileges(7)) return not_granted;
    if (set_ten_milliseconds() != KERN_SUCCESS) return 1;
    return own_priority() == 7 ? 0 : 2;
  });
  if (end.exited_with(not_granted)) GTEST_SKIP() << "RLIMIT_RTPRIO cannot be raised here";
  EXPECT_TRUE(end.exited_with(0)) << "step " << WEXITSTATUS(end.status);
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
      const uint64_t deadline = mach_absolute_time() + 5'000'000'000;
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
  pid_t id = 0;
  int ends[2];
  ASSERT_EQ(pipe(ends), 0);
  std::thread other([&] {
    id = gettid();
    char byte = 0;
    (void)!read(ends[0], &byte, 1);
  });
  const mach_port_t name = pthread_mach_thread_np(other.native_handle());
  (void)!write(ends[1], "x", 1);
  other.join();
  EXPECT_EQ(name, static_cast<mach_port_t>(id));
  close(ends[0]);
  close(ends[1]);
}

/// RealtimeKit on a bus of its own, asked by a process without rights.
class ThreadPolicyByRealtimeKit : public testing::Test {
 protected:
  /// What the child's `thread_policy_set` returned; the child checks the time it took.
  ChildEnd ask(const std::string& bus, rlim_t hard_limit = RLIM_INFINITY) {
    return run_in_child([&] {
      setenv("DBUS_SYSTEM_BUS_ADDRESS", bus.c_str(), 1);
      const rlimit limit = {hard_limit, hard_limit};
      setrlimit(RLIMIT_RTTIME, &limit);
      if (!give_up_privileges(0)) return not_granted;
      const uint64_t start = mach_absolute_time();
      const kern_return_t result = set_ten_milliseconds();
      if (mach_absolute_time() - start > 2'000'000'000) return 98;
      return static_cast<int>(result);
    });
  }
};

TEST_F(ThreadPolicyByRealtimeKit, IsUsedWhereTheProcessMayNotHelpItself) {
  RealtimeKitService service(RealtimeKitService::grants);
  if (!service.why_not().empty()) GTEST_SKIP() << service.why_not();
  const ChildEnd end = ask(service.bus());
  ASSERT_TRUE(end.exited_with(KERN_SUCCESS)) << WEXITSTATUS(end.status) << end.standard_error;
  const std::optional<RealtimeKitService::Request> request = service.request();
  ASSERT_TRUE(request.has_value());
  // The service's own bound is 15, and it refuses a hard limit above its 100 ms.
  EXPECT_EQ(request->priority, 15u);
  EXPECT_EQ(request->hard_limit_us, 100'000u);
  EXPECT_EQ(request->soft_limit_us, 75'000u);
  EXPECT_TRUE(request->is_thread_of_sender);
}

TEST_F(ThreadPolicyByRealtimeKit, IsDeniedWhenTheServiceRefusesIsSilentOrMissing) {
  for (const auto mode : {RealtimeKitService::refuses_grants, RealtimeKitService::is_silent,
                          RealtimeKitService::is_missing}) {
    SCOPED_TRACE(mode);
    RealtimeKitService service(mode);
    if (!service.why_not().empty()) GTEST_SKIP() << service.why_not();
    const ChildEnd end = ask(service.bus());
    EXPECT_TRUE(end.exited_with(KERN_DENIED)) << WEXITSTATUS(end.status);
  }
}

TEST_F(ThreadPolicyByRealtimeKit, IsDeniedWhenTheBusSaysNothing) {
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
    EXPECT_FALSE(end.timed_out);
    EXPECT_TRUE(end.exited_with(KERN_DENIED)) << WEXITSTATUS(end.status);
    while (connects()) {
    }
  }
  for (const int caller : callers) close(caller);
  close(bus);
}

}  // namespace
