// Calls from threads that may not make them end a debug build of the client.
#include <gtest/gtest.h>
#include <pthread.h>

#include <thread>

#include "client/src/period_driver.hpp"
#include "host/atomics.hpp"
#include "tests/client/client_host.hpp"
#include "tests/support/child_process.hpp"
#include "vesk/host_group.hpp"

using namespace vesk;
using namespace vesk::client;
using namespace vesk::client_test;
using namespace std::chrono_literals;

namespace {

constexpr int not_allowed_here = 77;

/// A host whose plugin never comes back from its first period, and a thread that waits for it.
struct DrivenHost {
  std::unique_ptr<HostProcess> host;
  HostGroup group;
  std::thread audio;

  DrivenHost() {
    host = start("block_at=1", Mode::real_time);
    group.add(*host);
    audio = std::thread([this] { group.render(16, 0, 100s); });
    // Slow is a host that has not answered within its period.
    wait_until([this] { return host->diagnose() != Health::ready; });
  }
};

int drive_from_two_threads() {
  host::Block block{};
  PeriodDriver driver(block, {});
  driver.probe(0ns);
  host::store_release(block.render_done, 1);
  driver.probe(0ns);
  driver.request(16, 0, {});
  std::thread other([&] { driver.collect(100s); });
  for (;;) driver.collect(0ns);
}

int ask_from_the_audio_thread() {
  const auto host = start("x=1", Mode::real_time);
  const sched_param priority{10};
  if (pthread_setschedparam(pthread_self(), SCHED_FIFO, &priority) != 0) return not_allowed_here;
  host->render(16, 0, {}, 1s);
  return static_cast<int>(host->open_mask());
}

}  // namespace

TEST(ClientThreads, ACallFromAWrongThreadEndsADebugBuild) {
#ifdef NDEBUG
  GTEST_SKIP() << "checked in debug builds";
#endif
  const struct {
    int (*call)();
    const char* rule;
  } cases[] = {
      {drive_from_two_threads, "two threads drive one host at once"},
      {[] { return static_cast<int>(DrivenHost().host->output(0).size()); },
       "while another thread drives the host"},
      {[] { return static_cast<int>(DrivenHost().host->stop().known); },
       "while a thread drives the host"},
      {[] {
         DrivenHost driven;
         driven.group.remove(*driven.host);
         return 0;
       },
       "while a thread drives the host"},
      {ask_from_the_audio_thread, "on the audio thread"},
  };
  for (const auto& test : cases) {
    const tests::ChildEnd end = tests::run_in_child(test.call);
    if (end.exited_with(not_allowed_here)) continue;
    EXPECT_TRUE(end.died_of(SIGABRT)) << test.rule << ": status " << end.status;
    EXPECT_NE(end.standard_error.find(test.rule), std::string::npos) << end.standard_error;
  }
}
