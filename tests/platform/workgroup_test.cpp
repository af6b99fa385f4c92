#include <fcntl.h>
#include <gtest/gtest.h>
#include <mach/mach.h>
#include <os/workgroup.h>
#include <pthread.h>
#include <sched.h>
#include <sys/mman.h>
#include <unistd.h>
#include <vesk/workgroup_record.h>

#include <atomic>
#include <cerrno>
#include <cstring>
#include <thread>
#include <vector>

#include "platform/linux/mach/port_names.hpp"
#include "tests/support/child_process.hpp"

namespace {

using vesk::platform::name_of_descriptor;

cpu_set_t own_cpus() {
  cpu_set_t cpus;
  sched_getaffinity(0, sizeof cpus, &cpus);
  return cpus;
}

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

/// A record as a parent makes it, sealed, with this process as the parent.
class Record {
 public:
  explicit Record(std::size_t bytes = sizeof(VeskWorkgroupRecord),
                  int seals = F_SEAL_SHRINK | F_SEAL_GROW)
      : descriptor_(memfd_create("workgroup", MFD_CLOEXEC | MFD_ALLOW_SEALING)) {
    // Mapped at full size in any case; what lies beyond a short file is not touched.
    (void)ftruncate(descriptor_, static_cast<off_t>(bytes));
    contents_ = static_cast<VeskWorkgroupRecord*>(mmap(
        nullptr, sizeof(VeskWorkgroupRecord), PROT_READ | PROT_WRITE, MAP_SHARED, descriptor_, 0));
    fcntl(descriptor_, F_ADD_SEALS, seals);
    contents_->magic = VESK_WORKGROUP_MAGIC;
    contents_->version = VESK_WORKGROUP_VERSION;
    contents_->parent = getpid();
    if (bytes >= sizeof(VeskWorkgroupRecord)) set_cpus(own_cpus());
  }
  ~Record() {
    munmap(contents_, sizeof *contents_);
    close(descriptor_);
  }
  Record(const Record&) = delete;
  Record& operator=(const Record&) = delete;

  VeskWorkgroupRecord* operator->() { return contents_; }
  int descriptor() const { return descriptor_; }

  void set_cpus(const cpu_set_t& cpus) {
    uint64_t words[VESK_WORKGROUP_CPU_WORDS];
    std::memcpy(words, &cpus, sizeof words);
    for (int i = 0; i < VESK_WORKGROUP_CPU_WORDS; ++i)
      std::atomic_ref(contents_->cpus[i]).store(words[i]);
  }

  std::vector<pid_t> member_threads() const {
    std::vector<pid_t> threads;
    for (uint64_t& slot : contents_->members)
      if (const uint64_t member = std::atomic_ref(slot).load(); member != 0)
        threads.push_back(static_cast<pid_t>(static_cast<uint32_t>(member)));
    return threads;
  }

 private:
  int descriptor_;
  VeskWorkgroupRecord* contents_;
};

struct Release {
  void operator()(os_workgroup_t group) const { os_release(group); }
};
using Group = std::unique_ptr<os_workgroup_s, Release>;

Group group_of(const Record& record) {
  return Group(os_workgroup_create_with_port("test", name_of_descriptor(record.descriptor())));
}

TEST(Workgroup, AMemberRunsOnTheGroupsCpusUntilItLeaves) {
  Record record;
  const int cpu = usable_cpus().back();
  record.set_cpus(just(cpu));
  const Group group = group_of(record);
  ASSERT_NE(group, nullptr);
  const cpu_set_t before = own_cpus();
  os_workgroup_join_token_s token = {};
  ASSERT_EQ(os_workgroup_join(group.get(), &token), 0);
  EXPECT_TRUE(own_cpus() == just(cpu));
  EXPECT_EQ(record.member_threads(), std::vector<pid_t>{gettid()});
  EXPECT_EQ(record->members[0] >> 32, static_cast<uint64_t>(getpid()));
  os_workgroup_join_token_s second = {};
  EXPECT_EQ(os_workgroup_join(group.get(), &second), EALREADY);
  os_workgroup_leave(group.get(), &token);
  EXPECT_TRUE(own_cpus() == before);
  EXPECT_TRUE(record.member_threads().empty());
  EXPECT_EQ(os_workgroup_join(group.get(), &second), 0);
  os_workgroup_leave(group.get(), &second);
}

TEST(Workgroup, ADamagedRecordMakesTheJoinFailAndChangesNothing) {
  const struct {
    const char* name;
    void (*damage)(Record&);
    std::size_t bytes = sizeof(VeskWorkgroupRecord);
  } cases[] = {
      {"another version", [](Record& record) { record->version = 2; }},
      {"no CPU", [](Record& record) { record.set_cpus({}); }},
      {"a CPU that does not exist", [](Record& record) { record.set_cpus(just(1023)); }},
      {"too short", [](Record&) {}, 64},
      {"too long", [](Record&) {}, 4096},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.name);
    Record record(c.bytes);
    c.damage(record);
    const Group group = group_of(record);
    ASSERT_NE(group, nullptr);
    const cpu_set_t before = own_cpus();
    os_workgroup_join_token_s token = {};
    EXPECT_EQ(os_workgroup_join(group.get(), &token), EINVAL);
    EXPECT_EQ(errno, EINVAL);
    EXPECT_TRUE(own_cpus() == before);
    if (c.bytes >= sizeof(VeskWorkgroupRecord)) EXPECT_TRUE(record.member_threads().empty());
  }
}

TEST(Workgroup, AFullRecordTakesNoMoreMembers) {
  Record record;
  for (uint64_t& slot : record->members) slot = 1;
  const Group group = group_of(record);
  os_workgroup_join_token_s token = {};
  EXPECT_EQ(os_workgroup_join(group.get(), &token), ENOSPC);
  record->members[VESK_WORKGROUP_MEMBERS - 1] = 0;
  EXPECT_EQ(os_workgroup_join(group.get(), &token), 0);
  os_workgroup_leave(group.get(), &token);
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

  cpu_set_t by_library = {};
  std::thread([&] { by_library = own_cpus(); }).join();
  EXPECT_TRUE(by_library == before);

  const auto note_cpus = [](void* place) -> void* {
    *static_cast<cpu_set_t*>(place) = own_cpus();
    return place;
  };
  pthread_attr_t attributes;
  pthread_attr_init(&attributes);
  pthread_t thread;
  cpu_set_t with_attributes = {};
  void* returned = nullptr;
  ASSERT_EQ(pthread_create(&thread, &attributes, note_cpus, &with_attributes), 0);
  pthread_join(thread, &returned);
  EXPECT_TRUE(with_attributes == before);
  EXPECT_EQ(returned, &with_attributes);

  const cpu_set_t chosen = just(usable_cpus().back());
  pthread_attr_setaffinity_np(&attributes, sizeof chosen, &chosen);
  cpu_set_t with_choice = {};
  ASSERT_EQ(pthread_create(&thread, &attributes, note_cpus, &with_choice), 0);
  pthread_join(thread, nullptr);
  EXPECT_TRUE(with_choice == chosen);
  pthread_attr_destroy(&attributes);

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
  const struct {
    const char* name;
    int (*open)();
    Expected expected;
  } cases[] = {
      {"nothing", [] { return -1; }, none},
      {"a record", [] { return dup((new Record)->descriptor()); }, joins},
      {"a damaged record",
       [] {
         auto* record = new Record;
         (*record)->version = 9;
         return dup(record->descriptor());
       },
       join_fails},
      {"a record without seals",
       [] { return dup((new Record(sizeof(VeskWorkgroupRecord), 0))->descriptor()); }, none},
      {"a memory file of somebody else",
       [] {
         auto* record = new Record;
         (*record)->magic = 1;
         return dup(record->descriptor());
       },
       none},
      {"a pipe",
       [] {
         int ends[2];
         if (pipe(ends) != 0 || write(ends[1], "x", 1) != 1) return -1;
         return ends[0];
       },
       none},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.name);
    const auto end = vesk::tests::run_in_child([&] {
      const int opened = c.open();
      if (opened >= 0 && opened != 3) dup2(opened, 3);
      if (opened < 0) close(3);
      mach_port_array_t ports = nullptr;
      mach_msg_type_number_t count = 0;
      if (mach_ports_lookup(mach_task_self(), &ports, &count) != KERN_SUCCESS || count != 3)
        return 1;
      if (ports[1] != MACH_PORT_NULL || ports[2] != MACH_PORT_NULL) return 2;
      if ((ports[0] != MACH_PORT_NULL) != (c.expected != none)) return 3;
      const mach_port_t port = ports[0];
      const os_workgroup_t group = os_workgroup_create_with_port(nullptr, port);
      if ((group != nullptr) != (c.expected != none)) return 4;
      if (group != nullptr && mach_port_deallocate(mach_task_self(), port) != KERN_SUCCESS)
        return 5;
      if (group != nullptr && mach_port_deallocate(mach_task_self(), port) != KERN_INVALID_NAME)
        return 6;
      unsigned char resident = 0;
      if (vm_deallocate(mach_task_self(), reinterpret_cast<vm_address_t>(ports),
                        count * sizeof *ports) != KERN_SUCCESS ||
          mincore(ports, 1, &resident) == 0)
        return 7;
      os_workgroup_join_token_s token = {};
      if (group != nullptr && (os_workgroup_join(group, &token) == 0) != (c.expected == joins))
        return 8;
      if (c.expected == joins) os_workgroup_leave(group, &token);
      os_release(group);
      // Whatever it is, it is still there, and nothing was read from it.
      char byte = 0;
      if (std::strcmp(c.name, "a pipe") == 0 && (read(3, &byte, 1) != 1 || byte != 'x')) return 9;
      return (fcntl(3, F_GETFD) >= 0) == (opened >= 0) ? 0 : 10;
    });
    EXPECT_TRUE(end.exited_with(0)) << "step " << WEXITSTATUS(end.status) << end.standard_error;
  }
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
