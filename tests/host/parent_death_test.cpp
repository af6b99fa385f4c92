// A parent that is killed leaves no host behind, whatever the host is at.

#include <gtest/gtest.h>
#include <signal.h>
#include <sys/mman.h>
#include <sys/prctl.h>
#include <sys/wait.h>

#include <cstdio>
#include <sstream>

#include "tests/support/child_process.hpp"
#include "tests/support/raw_host.hpp"

using namespace std::chrono_literals;
using Clock = std::chrono::steady_clock;

namespace {

struct Phase {
  const char* name;
  const char* chain;
  const char* commands;
  bool listens;        // wait until it does before the parent dies
  int periods;         // asked for before the parent dies
  int status;          // 1: ended for being stuck
  bool quits = false;  // asks the host to end before it dies itself
};

/// The host of a parent that brought it into the phase and was killed then.
pid_t orphan(const Phase& phase) {
  const auto parent = vesk::tests::run_in_child([&] {
    RawHost host(
        {.chain = phase.chain, .environment = {std::string("VESK_MISBEHAVE=") + phase.commands}});
    if (phase.listens)
      host.wait_listening();
    else
      std::this_thread::sleep_for(500ms);
    shm_unlink(host.object_name().c_str());
    for (int period = 0; period < phase.periods; ++period) host.serve(16, 16 * period, 200ms);
    if (phase.quits) host.quit();
    std::fprintf(stderr, "host %d", host.has_ended() ? 0 : host.pid());
    return raise(SIGKILL);
  });
  EXPECT_TRUE(parent.died_of(SIGKILL));
  std::istringstream words(parent.standard_error);
  std::string word;
  pid_t host = 0;
  words >> word >> host;
  EXPECT_GT(host, 0) << "it had ended: " << parent.standard_error;
  return host;
}

TEST(ParentDeath, LeavesNoHostBehind) {
  const Phase phases[] = {
      {"an end that takes long", "aumu:Bad_:Vesk#28=1", "", true, 0, 1, true},
      {"rendering", "aumu:Tone:Vesk", "", true, 20, 0},
      {"a slow load", "aumu:Bad_:Vesk", "delay-in-open=2000", false, 0, 0},
      {"a load that hangs", "aumu:Bad_:Vesk#17=1", "", false, 0, 1},
      {"an instantiation that never completes", "aumu:Asyn:Vesk", "hang-in-load=2", false, 0, 1},
      {"a render that hangs", "aumu:Bad_:Vesk#2=5", "", true, 10, 1},
      {"a render that spins", "aumu:Bad_:Vesk#3=5", "", true, 10, 1},
      {"a close that hangs", "aumu:Bad_:Vesk#28=1", "", true, 0, 1},
  };
  // Whoever adopts a host learns its status.
  ASSERT_EQ(prctl(PR_SET_CHILD_SUBREAPER, 1), 0);
  // All at once: each has some seconds to notice.
  const auto start = Clock::now();
  std::vector<pid_t> hosts;
  for (const Phase& phase : phases) {
    SCOPED_TRACE(phase.name);
    hosts.push_back(orphan(phase));
  }
  for (std::size_t i = 0; i < hosts.size(); ++i) {
    SCOPED_TRACE(phases[i].name);
    int status = -1;
    if (!vesk::tests::wait_until([&] { return waitpid(hosts[i], &status, WNOHANG) != 0; }, 40s)) {
      ADD_FAILURE() << "it is still there";
      kill(hosts[i], SIGKILL);
      continue;
    }
    EXPECT_TRUE(WIFEXITED(status)) << status;
    EXPECT_EQ(WEXITSTATUS(status), phases[i].status);
    if (phases[i].quits)
      EXPECT_GT(Clock::now() - start, 10s) << "one that is ending is given time, it may be saving";
  }
}

}  // namespace
