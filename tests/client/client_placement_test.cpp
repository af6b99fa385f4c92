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

  void start(const std::string& commands) {
    std::string error;
    host_ = HostProcess::start(options(commands, Mode::real_time), error);
    ASSERT_NE(host_, nullptr) << error;
    // "record parent 1 priority 0 thread N"
    ASSERT_TRUE(wait_until([&] {
      for (const std::string& line : host_->plugin_lines())
        if (line.starts_with("record parent 1 ")) member_ = std::atoi(&line[line.rfind(' ')]);
      return member_ != 0;
    }));
  }

  void render(int periods) {
    for (int i = 0; i < periods; ++i) {
      ASSERT_EQ(host_->render(16, i, {}, 1s), Answer::answered);
      std::this_thread::sleep_for(100us);
    }
  }

  bool member_moves_to(const cpu_set_t& cpus) {
    return wait_until([&] {
      const cpu_set_t now = cpus_of(member_);
      return CPU_EQUAL(&now, &cpus) != 0;
    });
  }

  cpu_set_t all_;
  int first_ = -1, second_ = -1;
  std::unique_ptr<HostProcess> host_;
  int member_ = 0;
};

}  // namespace

TEST_F(ClientPlacement, AHostFollowsTheThreadThatDrivesItAndIsLetGoWhenWorkOverlaps) {
  start("join=1");
  // The test's main thread keeps its CPUs, as the process's set is read from it.
  std::thread driver([&] {
    for (const int cpu : {first_, second_, first_}) {
      confine(only(cpu));
      render(12);
      EXPECT_TRUE(member_moves_to(only(cpu))) << cpu;
    }
    for (int i = 0; i < 12; ++i) {
      EXPECT_EQ(host_->request(16, i, {}), Answer::answered);
      EXPECT_EQ(host_->collect(1s), Answer::answered);
    }
  });
  driver.join();
  EXPECT_TRUE(member_moves_to(all_));
}

TEST_F(ClientPlacement, AThreadThatIsNotTheHostsIsNotMoved) {
  std::thread driver([&] {
    confine(only(first_));
    // In the slot before the host's own.
    start("join=1,alien=" + std::to_string(getpid()));
    confine(only(second_));
    render(12);
    EXPECT_TRUE(member_moves_to(only(second_)));
  });
  driver.join();
  const cpu_set_t own = cpus_of(getpid());
  EXPECT_TRUE(CPU_EQUAL(&own, &all_));
}

TEST_F(ClientPlacement, AGroupLetsItsMembersRunAnywhere) {
  start("join=1");
  HostGroup group;
  group.add(*host_);
  EXPECT_TRUE(member_moves_to(all_));
  for (int i = 0; i < 12; ++i) EXPECT_EQ(group.render(16, i, 1s), Answer::answered);
  std::this_thread::sleep_for(20ms);
  EXPECT_TRUE(member_moves_to(all_));
}

TEST_F(ClientPlacement, ARealTimeDriverIsKeptBesideItsHostAndGivenBack) {
  std::thread driver([&] {
    const sched_param priority{10};
    if (sched_setscheduler(0, SCHED_FIFO, &priority) != 0)
      GTEST_SKIP() << "no real-time priority here";
    start("join=1,fifo=9");
    render(40);
    const cpu_set_t member = cpus_of(member_);
    EXPECT_EQ(CPU_COUNT(&member), 1);
    const cpu_set_t held = cpus_of(0);
    EXPECT_TRUE(CPU_EQUAL(&held, &member));
    host_->stop();
    const cpu_set_t after = cpus_of(0);
    EXPECT_TRUE(CPU_EQUAL(&after, &all_));
  });
  driver.join();
}

TEST_F(ClientPlacement, AHostStartedFromAConfinedThreadHasTheCpusOfTheProcess) {
  std::thread starter([&] {
    confine(only(first_));
    std::string error;
    host_ = HostProcess::start(options("x=1"), error);
    ASSERT_NE(host_, nullptr) << error;
    const cpu_set_t main_thread = cpus_of(host_->pid());
    EXPECT_TRUE(CPU_EQUAL(&main_thread, &all_));
  });
  starter.join();
}
