// The parent's workgroup, shared as descriptor 3.

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sched.h>
#include <sys/mman.h>
#include <unistd.h>
#include <vesk/workgroup_record.h>

#include <atomic>
#include <functional>
#include <string>

#include "tests/support/raw_host.hpp"

using namespace vesk::host;

namespace {

/// A record in a memfd, as a parent makes it.
class Record {
 public:
  explicit Record(int seals = F_SEAL_SHRINK | F_SEAL_GROW, off_t size = sizeof(VeskWorkgroupRecord))
      : descriptor(memfd_create("workgroup", MFD_CLOEXEC | MFD_ALLOW_SEALING)) {
    EXPECT_EQ(ftruncate(descriptor, size), 0);
    contents = static_cast<VeskWorkgroupRecord*>(
        mmap(nullptr, 4096, PROT_READ | PROT_WRITE, MAP_SHARED, descriptor, 0));
    if (size < static_cast<off_t>(sizeof(VeskWorkgroupRecord))) return;
    contents->magic = VESK_WORKGROUP_MAGIC;
    contents->version = VESK_WORKGROUP_VERSION;
    contents->parent = getpid();
    contents->cpus[0] = 1;
    fcntl(descriptor, F_ADD_SEALS, seals);
  }
  ~Record() {
    munmap(contents, 4096);
    close(descriptor);
  }

  int descriptor;
  VeskWorkgroupRecord* contents;
};

std::string outcome(RawHost& host) {
  const std::string lines = host.standard_error();
  const std::size_t start = lines.rfind(": workgroup ");
  return start == std::string::npos ? lines : lines.substr(start + 12);
}

TEST(Workgroup, IsJoinedAndLeft) {
  cpu_set_t cpus;
  sched_getaffinity(0, sizeof cpus, &cpus);
  if (!CPU_ISSET(0, &cpus)) GTEST_SKIP() << "this process may not use CPU 0";
  const Record record;
  RawHost host({.chain = "aumu:Null:Vesk", .descriptor_3 = record.descriptor});
  ASSERT_TRUE(host.wait_listening());
  std::atomic_ref<std::uint64_t> slot(record.contents->members[0]);
  const std::uint64_t member = slot.load();
  EXPECT_EQ(static_cast<pid_t>(member >> 32), host.pid());
  cpu_set_t placed;
  ASSERT_EQ(sched_getaffinity(static_cast<pid_t>(member & 0xFFFFFFFF), sizeof placed, &placed), 0);
  EXPECT_EQ(CPU_COUNT(&placed), 1);
  EXPECT_TRUE(CPU_ISSET(0, &placed));
  EXPECT_TRUE(host.stop());
  EXPECT_EQ(outcome(host), "joined\n");
  EXPECT_EQ(slot.load(), 0u);
}

TEST(Workgroup, DamageIsToldFromAbsence) {
  struct Case {
    const char* name;
    std::function<void(Record&)> damage;
    const char* outcome;
  };
  const Case cases[] = {
      {"another version", [](Record& r) { r.contents->version = 99; }, "join failed\n"},
      {"no usable CPU", [](Record& r) { r.contents->cpus[0] = 0; }, "join failed\n"},
      {"no record at all", [](Record& r) { r.contents->magic = 1; }, "not shared\n"},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.name);
    Record record;
    c.damage(record);
    RawHost host({.chain = "aumu:Null:Vesk", .descriptor_3 = record.descriptor});
    ASSERT_TRUE(host.wait_listening()) << "it renders all the same";
    EXPECT_TRUE(host.stop());
    EXPECT_EQ(outcome(host), c.outcome);
  }
  const Record unsealed(0);
  RawHost host({.chain = "aumu:Null:Vesk", .descriptor_3 = unsealed.descriptor});
  ASSERT_TRUE(host.wait_listening());
  EXPECT_TRUE(host.stop());
  EXPECT_NE(outcome(host), "joined\n") << "a parent could shrink it under the reader";
}

}  // namespace
