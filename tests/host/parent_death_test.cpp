// A parent that is killed leaves no host behind, whatever the host is at.

#include <fcntl.h>
#include <gtest/gtest.h>
#include <signal.h>
#include <sys/mman.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <fstream>
#include <sstream>
#include <thread>

#include "tests/support/raw_host.hpp"
#include "tests/support/wait_until.hpp"

using namespace vesk::host;
using namespace std::chrono_literals;
using Clock = std::chrono::steady_clock;

namespace {

/// Whether the process runs: an ended one that nobody has reaped yet does not.
bool is_running(pid_t process) {
  std::ifstream file("/proc/" + std::to_string(process) + "/stat");
  std::stringstream text;
  text << file.rdbuf();
  const std::string line = text.str();
  const std::size_t name_end = line.rfind(')');
  return name_end != std::string::npos && line[name_end + 2] != 'Z';
}

bool ends(pid_t process) {
  return vesk::tests::wait_until([&] { return !is_running(process); }, 30s);
}

struct Phase {
  const char* name;
  const char* chain;
  const char* commands;
  bool listens;        // wait until it does before the parent dies
  int periods;         // asked for before the parent dies
  bool quits = false;  // asks the host to end before it dies itself
};

/// What a parent tells the test before it is killed.
struct Report {
  pid_t host;
  char object[64];
};

/// Runs in a process of its own: starts a host, brings it into the phase, reports, and waits to be
/// killed.
[[noreturn]] void be_parent(const Phase& phase, int pipe_end) {
  RawHost host(
      {.chain = phase.chain, .environment = {std::string("VESK_MISBEHAVE=") + phase.commands}});
  if (phase.listens)
    host.wait_listening();
  else
    std::this_thread::sleep_for(200ms);
  for (int period = 0; period < phase.periods; ++period) host.serve(16, 16 * period, 200ms);
  if (phase.quits) host.quit();
  Report report{host.pid(), {}};
  host.object_name().copy(report.object, sizeof report.object - 1);
  if (write(pipe_end, &report, sizeof report) != sizeof report) _exit(1);
  for (;;) pause();
}

/// Brings a host into the phase and kills its parent. The block's object stays.
Report orphan(const Phase& phase) {
  Report report{};
  int ends[2];
  if (pipe(ends) != 0) return report;
  const pid_t parent = fork();
  if (parent == 0) be_parent(phase, ends[1]);
  EXPECT_EQ(read(ends[0], &report, sizeof report), static_cast<ssize_t>(sizeof report));
  EXPECT_TRUE(is_running(report.host));
  kill(parent, SIGKILL);
  waitpid(parent, nullptr, 0);
  close(ends[0]);
  close(ends[1]);
  return report;
}

TEST(ParentDeath, LeavesNoHostBehind) {
  const Phase phases[] = {
      {"an end that takes long", "aumu:Bad_:Vesk#28=1", "", true, 0, true},
      {"rendering", "aumu:Tone:Vesk", "", true, 20},
      {"a slow load", "aumu:Bad_:Vesk", "delay-in-open=1500", false, 0},
      {"a load that hangs", "aumu:Bad_:Vesk#17=1", "", false, 0},
      {"an instantiation that never completes", "aumu:Asyn:Vesk", "hang-in-load=2", false, 0},
      {"a render that hangs", "aumu:Bad_:Vesk#2=5", "", true, 10},
      {"a render that spins", "aumu:Bad_:Vesk#3=5", "", true, 10},
      {"a close that hangs", "aumu:Bad_:Vesk#28=1", "", true, 0},
  };
  // All at once: each has some seconds to notice.
  const auto start = Clock::now();
  std::vector<pid_t> hosts;
  for (const Phase& phase : phases) {
    SCOPED_TRACE(phase.name);
    const Report report = orphan(phase);
    shm_unlink(report.object);
    hosts.push_back(report.host);
  }
  for (std::size_t i = 0; i < hosts.size(); ++i) {
    EXPECT_TRUE(ends(hosts[i])) << phases[i].name;
    if (is_running(hosts[i])) kill(hosts[i], SIGKILL);
    if (phases[i].quits)
      EXPECT_GT(Clock::now() - start, 10s) << "one that is ending is given time, it may be saving";
  }
}

TEST(ParentDeath, IsAnOrderlyEndForAHostAtWork) {
  // Whoever adopts the host learns its status.
  ASSERT_EQ(prctl(PR_SET_CHILD_SUBREAPER, 1), 0);
  const Report report = orphan({"rendering", "aumu:Tone:Vesk", "", true, 20});
  const int object = shm_open(report.object, O_RDONLY, 0);
  const void* const memory = mmap(nullptr, block_size, PROT_READ, MAP_SHARED, object, 0);
  close(object);
  shm_unlink(report.object);
  ASSERT_NE(memory, MAP_FAILED);
  EXPECT_TRUE(ends(report.host));
  kill(report.host, SIGKILL);
  int status = -1;
  EXPECT_EQ(waitpid(report.host, &status, 0), report.host);
  EXPECT_EQ(status, 0) << "one that is ended for being stuck has another";
  EXPECT_EQ(load_acquire(static_cast<const Block*>(memory)->quit), 1u);
  prctl(PR_SET_CHILD_SUBREAPER, 0);
}

}  // namespace
