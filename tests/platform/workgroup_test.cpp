#include <fcntl.h>
#include <gtest/gtest.h>
#include <mach/mach.h>
#include <os/workgroup.h>
#include <pthread.h>
#include <sched.h>
#include <sys/mman.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <memory>
#include <thread>
#include <vector>

#include "platform/linux/mach/port_names.hpp"
#include "tests/support/child_process.hpp"
#include "tests/support/workgroup_record.hpp"

namespace {

using vesk::platform::name_of_descriptor;
using vesk::tests::own_cpus;
using Record = vesk::tests::WorkgroupRecord;

bool operator==(const cpu_set_t& a, const cpu_set_t& b) {
  return CPU_EQUAL(&a, &b);
}

/// The CPUs of this process, one by one.
std::vector<int> usable_cpus() {
  std::vector<int> list;
  const cpu_set_t cpus = own_cpus();
  for (int cpu = 0; cpu < CPU_SETSIZE; ++cpu)
    if (CPU_ISSET(cpu, &cpus)) list.push_back(cpu);
  return list;
}

cpu_set_t just(int cpu) {
  cpu_set_t cpus;
  CPU_ZERO(&cpus);
  CPU_SET(cpu, &cpus);
  return cpus;
}

struct Release {
  void operator()(os_workgroup_t group) const { os_release(group); }
};
using Group = std::unique_ptr<os_workgroup_s, Release>;

Group group_of(const Record& record) {
  return Group(os_workgroup_create_with_port("test", name_of_descriptor(record.descriptor())));
}

TEST(Workgroup, AMemberRunsOnTheGroupsCpusUntilItLeaves) {
  Record record;
  for (uint64_t& slot : record->members) slot = 1;
  record->members[VESK_WORKGROUP_MEMBERS - 1] = 0;  // the one free place
  const int cpu = usable_cpus().back();
  record.set_cpus(just(cpu));
  const Group group = group_of(record);
  ASSERT_NE(group, nullptr);
  const cpu_set_t before = own_cpus();
  os_workgroup_join_token_s token = {};
  ASSERT_EQ(os_workgroup_join(group.get(), &token), 0);
  EXPECT_TRUE(own_cpus() == just(cpu));
  EXPECT_EQ(record.member_threads().back(), gettid());
  EXPECT_EQ(record->members[VESK_WORKGROUP_MEMBERS - 1] >> 32, static_cast<uint64_t>(getpid()));
  os_workgroup_join_token_s second = {};
  EXPECT_EQ(os_workgroup_join(group.get(), &second), EALREADY);
  os_workgroup_leave(group.get(), &token);
  EXPECT_TRUE(own_cpus() == before);
  EXPECT_EQ(record->members[VESK_WORKGROUP_MEMBERS - 1], 0u);
  EXPECT_EQ(os_workgroup_join(group.get(), &second), 0);
  os_workgroup_leave(group.get(), &second);
}

TEST(Workgroup, ARecordThatIsDamagedOrFullMakesTheJoinFailAndChangesNothing) {
  const struct {
    const char* name;
    void (*damage)(Record&);
    int error = EINVAL;
    std::size_t bytes = sizeof(VeskWorkgroupRecord);
  } cases[] = {
      {"another version", [](Record& record) { record->version = 2; }},
      {"no CPU", [](Record& record) { record.set_cpus({}); }},
      {"a CPU that does not exist", [](Record& record) { record.set_cpus(just(1023)); }},
      {"too short", [](Record&) {}, EINVAL, 64},
      {"too long", [](Record&) {}, EINVAL, 4096},
      {"full", [](Record& record) { std::fill_n(record->members, VESK_WORKGROUP_MEMBERS, 1); },
       ENOSPC},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.name);
    Record record(c.bytes);
    c.damage(record);
    const Group group = group_of(record);
    ASSERT_NE(group, nullptr);
    const cpu_set_t before = own_cpus();
    os_workgroup_join_token_s token = {};
    EXPECT_EQ(os_workgroup_join(group.get(), &token), c.error);
    EXPECT_EQ(errno, c.error);
    EXPECT_TRUE(own_cpus() == before);
    if (c.error == EINVAL && c.bytes >= sizeof(VeskWorkgroupRecord))
      EXPECT_TRUE(record.member_threads().empty());
  }
}

TEST(Workgroup, LeavingByAnotherThreadAborts) {
  const auto end = vesk::tests::run_in_child([] {
    Record record;
    const Group group = group_of(record);
    os_workgroup_join_token_s token = {};
    if (os_workgroup_join(group.get(), &token) != 0) return 1;
    std::thread([&] { os_workgroup_leave(group.get(), &token); }).join();
    return 0;
  });
  EXPECT_TRUE(end.died_of(SIGABRT)) << end.status;
}

TEST(Workgroup, WhatAMemberStartsRunsWhereTheMemberRanBefore) {
  const cpu_set_t before = own_cpus();
  if (CPU_COUNT(&before) < 2) GTEST_SKIP() << "needs two CPUs to tell the sets apart";
  Record record;
  const int cpu = usable_cpus().front();
  record.set_cpus(just(cpu));
  const Group group = group_of(record);
  os_workgroup_join_token_s token = {};
  ASSERT_EQ(os_workgroup_join(group.get(), &token), 0);

  const auto note_cpus = [](void* place) -> void* {
    *static_cast<cpu_set_t*>(place) = own_cpus();
    return place;
  };
  pthread_attr_t plain, choosing;
  pthread_attr_init(&plain);
  pthread_attr_init(&choosing);
  const cpu_set_t chosen = just(usable_cpus().back());
  pthread_attr_setaffinity_np(&choosing, sizeof chosen, &chosen);
  const struct {
    const char* name;
    const pthread_attr_t* attributes;
    cpu_set_t cpus;
  } cases[] = {{"without attributes", nullptr, before},
               {"with attributes", &plain, before},
               {"with a choice of its own", &choosing, chosen}};
  for (const auto& c : cases) {
    cpu_set_t seen = {};
    pthread_t thread;
    void* returned = nullptr;
    ASSERT_EQ(pthread_create(&thread, c.attributes, note_cpus, &seen), 0);
    pthread_join(thread, &returned);
    EXPECT_TRUE(seen == c.cpus) << c.name;
    EXPECT_EQ(returned, &seen);
  }
  pthread_attr_destroy(&plain);
  pthread_attr_destroy(&choosing);

  const auto child = vesk::tests::run_in_child([&] { return own_cpus() == before ? 0 : 1; });
  EXPECT_TRUE(child.exited_with(0));
  os_workgroup_leave(group.get(), &token);
}

TEST(Workgroup, AThreadThatJoinsWhileTheGroupMovesEndsOnTheNewCpus) {
  const std::vector<int> cpus = usable_cpus();
  if (cpus.size() < 2) GTEST_SKIP() << "needs two CPUs to move between";
  for (int round = 0; round < 300; ++round) {
    Record record;
    record.set_cpus(just(cpus[0]));
    const Group group = group_of(record);
    std::atomic<bool> moved = false;
    std::atomic<bool> is_right = false;
    std::thread member([&] {
      os_workgroup_join_token_s token = {};
      if (os_workgroup_join(group.get(), &token) != 0) return;
      while (!moved) std::this_thread::yield();
      is_right = own_cpus() == just(cpus[1]);
      os_workgroup_leave(group.get(), &token);
    });
    for (int spin = 0; spin < round * 20; ++spin) moved.load();
    // As the parent does: first the record, then those who are in it.
    record.set_cpus(just(cpus[1]));
    for (const pid_t thread : record.member_threads()) {
      const cpu_set_t target = just(cpus[1]);
      sched_setaffinity(thread, sizeof target, &target);
    }
    moved = true;
    member.join();
    ASSERT_TRUE(is_right) << "round " << round;
  }
}

TEST(RegisteredPorts, TheFirstIsTheWorkgroupThatDescriptor3Holds) {
  enum Expected { none, joins, join_fails };
  Record sound, damaged, unsealed(sizeof(VeskWorkgroupRecord), 0), of_somebody_else;
  damaged->version = 9;
  of_somebody_else->magic = 1;
  int ends[2];
  ASSERT_TRUE(pipe(ends) == 0 && write(ends[1], "x", 1) == 1);
  const struct {
    const char* name;
    int descriptor;
    Expected expected;
  } cases[] = {
      {"nothing", -1, none},
      {"a record", sound.descriptor(), joins},
      {"a damaged record", damaged.descriptor(), join_fails},
      {"a record without seals", unsealed.descriptor(), none},
      {"a memory file of somebody else", of_somebody_else.descriptor(), none},
      {"a pipe", ends[0], none},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.name);
    const auto end = vesk::tests::run_in_child([&] {
      const int given = fcntl(c.descriptor, F_DUPFD, 10);  // -1 for nothing
      close(3);
      if (given >= 0) dup2(given, 3);
      mach_port_array_t ports = nullptr;
      mach_msg_type_number_t count = 0;
      if (mach_ports_lookup(mach_task_self(), &ports, &count) != KERN_SUCCESS || count != 3)
        return 1;
      if (ports[1] != MACH_PORT_NULL || ports[2] != MACH_PORT_NULL) return 2;
      const mach_port_t port = ports[0];
      if ((port != MACH_PORT_NULL) != (c.expected != none)) return 3;
      const os_workgroup_t group = os_workgroup_create_with_port(nullptr, port);
      if ((group != nullptr) != (c.expected != none)) return 4;
      unsigned char resident = 0;
      if (vm_deallocate(mach_task_self(), reinterpret_cast<vm_address_t>(ports),
                        count * sizeof *ports) != KERN_SUCCESS ||
          mincore(ports, 1, &resident) == 0)
        return 5;
      if (group != nullptr) {
        if (mach_port_deallocate(mach_task_self(), port) != KERN_SUCCESS) return 6;
        if (mach_port_deallocate(mach_task_self(), port) != KERN_INVALID_NAME) return 7;
        os_workgroup_join_token_s token = {};
        if ((os_workgroup_join(group, &token) == 0) != (c.expected == joins)) return 8;
        if (c.expected == joins) os_workgroup_leave(group, &token);
        os_release(group);
      }
      // Whatever it is, it is still there, and nothing was read from it.
      char byte = 0;
      if (c.descriptor == ends[0] && (read(3, &byte, 1) != 1 || byte != 'x')) return 9;
      return (fcntl(3, F_GETFD) >= 0) == (given >= 0) ? 0 : 10;
    });
    EXPECT_TRUE(end.exited_with(0)) << "step " << WEXITSTATUS(end.status) << end.standard_error;
  }
  for (const int each : ends) close(each);
}

TEST(RegisteredPorts, NamesThatAreNoWorkgroupMakeNone) {
  for (const mach_port_t port : {MACH_PORT_NULL, MACH_PORT_DEAD, mach_task_self(),
                                 mach_thread_self(), name_of_descriptor(STDIN_FILENO)}) {
    errno = 0;
    EXPECT_EQ(os_workgroup_create_with_port(nullptr, port), nullptr) << port;
    EXPECT_EQ(errno, EINVAL);
  }
}

}  // namespace
