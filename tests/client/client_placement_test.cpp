// Where a host runs: beside the thread that drives it, or anywhere.
#include <gtest/gtest.h>
#include <sched.h>
#include <unistd.h>

#include <cstdlib>

#include "tests/client/client_host.hpp"
#include "vesk/host_group.hpp"

using namespace vesk::client;
using namespace vesk::client_test;
using namespace std::chrono_literals;

namespace {

cpu_set_t cpus_of(int thread) {
  cpu_set_t cpus;
  CPU_ZERO(&cpus);
  sched_getaffinity(thread, sizeof cpus, &cpus);
  return cpus;
}

void confine(const cpu_set_t& cpus) {
  sched_setaffinity(0, sizeof cpus, &cpus);
}

cpu_set_t only(int cpu) {
  cpu_set_t cpus;
  CPU_ZERO(&cpus);
  CPU_SET(cpu, &cpus);
  return cpus;
}

class ClientPlacement : public testing::Test {
 protected:
  void SetUp() override {
    all_ = cpus_of(0);
    if (CPU_COUNT(&all_) < 2) GTEST_SKIP() << "one CPU: nothing is placed";
    for (int cpu = 0; cpu < CPU_SETSIZE; ++cpu) {
      if (!CPU_ISSET(cpu, &all_)) continue;
      second_ = first_;
      first_ = cpu;
      if (second_ >= 0) break;
    }
  }

  void start_host(const std::string& commands) {
    host_ = start(commands, Mode::real_time);
    // "record parent 1 priority 0 thread N"
    ASSERT_TRUE(wait_until([&] {
      for (const std::string& line : host_->plugin_lines())
        if (line.starts_with("record parent 1 ")) member_ = std::atoi(&line[line.rfind(' ')]);
      return member_ != 0;
    }));
  }

  bool is_at(const cpu_set_t& cpus) const {
    const cpu_set_t now = cpus_of(member_);
    return CPU_EQUAL(&now, &cpus) != 0;
  }

  /// Renders until the host's thread has these CPUs.
  bool moves_to(const cpu_set_t& cpus) {
    return wait_until([&] {
      EXPECT_EQ(host_->render(16, 0, {}, long_enough), Answer::answered);
      return is_at(cpus);
    });
  }

  cpu_set_t all_;
  int first_ = -1, second_ = -1;
  std::unique_ptr<HostProcess> host_;
  int member_ = 0;
};

}  // namespace

TEST_F(ClientPlacement, AHostAloneFollowsTheThreadThatDrivesItAndIsLetGoWhenWorkOverlaps) {
  // In the slot before the host's own is a thread that is not its.
  start_host("join=1,alien=" + std::to_string(getpid()));
  // The test's main thread keeps its CPUs, as the process's set is read from it.
  const auto is_left_alone = [&] {
    const cpu_set_t own = cpus_of(getpid());
    return CPU_EQUAL(&own, &all_) != 0;
  };
  std::thread driver([&] {
    for (const int cpu : {first_, second_, first_}) {
      confine(only(cpu));
      EXPECT_TRUE(moves_to(only(cpu)) && is_left_alone()) << cpu;
    }
    EXPECT_TRUE(wait_until([&] {
      EXPECT_EQ(host_->request(16, 0, {}), Answer::answered);
      EXPECT_EQ(host_->collect(long_enough), Answer::answered);
      return is_at(all_);
    }));
  });
  driver.join();
}

TEST_F(ClientPlacement, AGroupLetsItsMembersRunAnywhere) {
  start_host("join=1");
  HostGroup group;
  group.add(*host_);
  EXPECT_TRUE(wait_until([&] { return is_at(all_); }));
  for (int i = 0; i < 12; ++i) EXPECT_EQ(group.render(16, i, long_enough), Answer::answered);
  std::this_thread::sleep_for(20ms);
  EXPECT_TRUE(wait_until([&] { return is_at(all_); }));
}

TEST_F(ClientPlacement, ARealTimeDriverIsKeptBesideItsHostAndGivenBack) {
  std::thread driver([&] {
    const sched_param priority{10};
    if (sched_setscheduler(0, SCHED_FIFO, &priority) != 0)
      GTEST_SKIP() << "no real-time priority here";
    start_host("join=1,fifo=9");
    EXPECT_TRUE(wait_until([&] {
      EXPECT_EQ(host_->render(16, 0, {}, long_enough), Answer::answered);
      const cpu_set_t driver_cpus = cpus_of(0);
      return CPU_COUNT(&driver_cpus) == 1 && is_at(driver_cpus);
    }));
    host_->stop();
    const cpu_set_t after = cpus_of(0);
    EXPECT_TRUE(CPU_EQUAL(&after, &all_));
  });
  driver.join();
}

TEST_F(ClientPlacement, AHostStartedFromAConfinedThreadHasTheCpusOfTheProcess) {
  std::thread starter([&] {
    confine(only(first_));
    host_ = start("x=1");
    const cpu_set_t main_thread = cpus_of(host_->pid());
    EXPECT_TRUE(CPU_EQUAL(&main_thread, &all_));
  });
  starter.join();
}
