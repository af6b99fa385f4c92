// Starting and stopping: what the parent learns, what it leaves behind, what it refuses.
#include <fcntl.h>
#include <gtest/gtest.h>
#include <pthread.h>
#include <signal.h>
#include <sys/mman.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cmath>

#include "tests/client/client_host.hpp"
#include "tests/support/child_process.hpp"

using namespace vesk::client;
using namespace vesk::client_test;
using namespace std::chrono_literals;

TEST(ClientStart, AHostGetsACleanProcessAndItsFiguresComeBack) {
  // What must not be passed on: a blocked signal, an ignored one, an open descriptor.
  sigset_t mask, before;
  sigemptyset(&mask);
  sigaddset(&mask, SIGTERM);
  pthread_sigmask(SIG_BLOCK, &mask, &before);
  signal(SIGINT, SIG_IGN);
  const int leak = fcntl(2, F_DUPFD, 6);
  struct Case {
    Mode mode;
    const char* arguments;
    const char* process;
  };
  const Case cases[] = {
      {Mode::real_time, "arguments 48000 4096 128", "group 1 policy 0 records 1 1, bell 1, more 0"},
      {Mode::offline, "arguments 48000 4096 0", "group 1 policy 0 records 0 1, bell 1, more 0"},
  };
  for (const Case& test : cases) {
    const auto host = start("load_ms=20", test.mode);
    EXPECT_TRUE(objects_of(getpid()).empty()) << "the name outlived the start";
    EXPECT_GE(host->load_times().ready_ms, 20);
    EXPECT_GE(host->load_times().listening_ms, host->load_times().ready_ms);
    EXPECT_EQ(host->load_times().instantiate_ms, 1.5);
    EXPECT_EQ(host->latency_seconds(), 0.25);
    EXPECT_TRUE(wait_until([&] { return host->plugin_lines().size() >= 2; }));
    EXPECT_EQ(host->plugin_lines(), (std::vector<std::string>{test.arguments, test.process}));
    const pid_t pid = host->pid();
    EXPECT_TRUE(host->stop().orderly());
    EXPECT_EQ(kill(pid, 0), -1) << "not reaped";
    EXPECT_EQ(host->obituary(), "the host ended with status 0");
  }
  close(leak);
  signal(SIGINT, SIG_DFL);
  pthread_sigmask(SIG_SETMASK, &before, nullptr);
}

TEST(ClientStart, EveryFailedStartHasItsSentenceAndLeavesNothing) {
  struct Case {
    const char* commands;
    const char* program;
    const char* expected;
    std::chrono::milliseconds limit = long_enough;
  };
  const Case cases[] = {
      {"fail=\x1b]0;title\x07 \xc2\x9b m\n caf\u00e9\t.", VESK_FAKE_HOST,
       "?]0;title? ?? m? caf\u00e9\t."},
      {"silent=1", VESK_FAKE_HOST, "the host did not start: the host ended with status 3"},
      {"say=plugin host: mmap failed,silent=1", VESK_FAKE_HOST,
       "the host did not start: the host ended with status 3: plugin host: mmap failed"},
      {"never_ready=1", VESK_FAKE_HOST, "the host took longer than the limit to load its chain",
       100ms},
      {"deaf=1", VESK_FAKE_HOST, "the host loaded its chain but never answered", 2s},
      {"x=1", "/nowhere/vesk-host", "cannot start /nowhere/vesk-host: No such file or directory"},
      {"x=1", "/bin/true",
       "the host did not start: the host ended with status 0, though it was not told to"},
  };
  for (const Case& test : cases) {
    Options start = options(test.commands);
    start.host_program = test.program;
    start.start_limit = test.limit;
    std::string error;
    EXPECT_EQ(HostProcess::start(start, error), nullptr) << test.commands;
    EXPECT_EQ(error, test.expected);
    EXPECT_TRUE(objects_of(getpid()).empty()) << test.commands;
  }
  EXPECT_EQ(waitpid(-1, nullptr, WNOHANG), -1) << "a child is left";
}

TEST(ClientStart, OptionsOutOfRangeAreRefusedInWords) {
  struct Case {
    double rate;
    unsigned most, period;
    const char* chain;
    const char* expected;
  };
  const Case cases[] = {
      {7999, 64, 64, "x", "a sample rate of 7999 Hz is not between 8000 and 384000"},
      {std::nan(""), 64, 64, "x", "a sample rate of nan Hz is not between 8000 and 384000"},
      {48000, 0, 64, "x", "a largest period of 0 frames is not between 1 and 4096"},
      {48000, 4097, 64, "x", "a largest period of 4097 frames is not between 1 and 4096"},
      {48000, 64, 65, "x", "a period of 65 frames is not between 1 and the largest, 64"},
      {48000, 64, 64, "", "the chain names no plugin"},
  };
  for (const Case& test : cases) {
    Options start = options(test.chain, Mode::real_time);
    start.sample_rate_hz = test.rate;
    start.max_frames = test.most;
    start.period_frames = test.period;
    std::string error;
    EXPECT_EQ(HostProcess::spawn(start, error), nullptr);
    EXPECT_EQ(error, test.expected);
  }
}

TEST(ClientStart, TwoLiveHostsNeverShareAPreset) {
  const std::string chain = "aufx:abcd:abcd#1=2@/tmp/./vesk-client-test.aupreset";
  const auto first = start(chain);
  std::string error;
  EXPECT_EQ(HostProcess::start(options("x|aufx:abcd:abcd@/tmp/vesk-client-test.aupreset"), error),
            nullptr);
  EXPECT_EQ(error, "the preset /tmp/vesk-client-test.aupreset is in use by another plugin");
  first->stop();
  start(chain);
}

TEST(ClientStart, ObjectsOfDeadParentsAreSwept) {
  // The name this process would use, but of a process that has ended.
  int ready[2];
  ASSERT_EQ(pipe(ready), 0);
  const pid_t parent = fork();
  if (parent == 0) {
    std::string error;
    const auto host = HostProcess::spawn(options("never_ready=1"), error);
    const char byte = host != nullptr ? 1 : 0;
    [[maybe_unused]] const auto written = write(ready[1], &byte, 1);
    for (;;) pause();
  }
  char byte = 0;
  EXPECT_EQ(read(ready[0], &byte, 1), 1);
  EXPECT_EQ(byte, 1);
  // Once it has ended, any parent on this machine may be the one that sweeps.
  ASSERT_EQ(objects_of(parent).size(), 1u);
  const std::string others = objects_of(parent)[0] + "0";
  kill(parent, SIGKILL);
  waitpid(parent, nullptr, 0);
  close(shm_open(others.c_str(), O_RDWR | O_CREAT, 0600));
  const bool is_root = chown(("/dev/shm" + others).c_str(), 1, 1) == 0;
  start("x=1");
  EXPECT_EQ(objects_of(parent).size(), is_root ? 1u : 0u)
      << "another user's object is not ours to remove";
  shm_unlink(others.c_str());
  close(ready[0]);
  close(ready[1]);
}

TEST(ClientStop, AHostThatDoesNotQuitIsKilledAfterTheLimitEvenIfItNeverStopsSaving) {
  for (const char* commands : {"stubborn=1", "stubborn=1,boast=1"}) {
    Options wanted = options(commands);
    wanted.stop_limit = 100ms;
    const auto host = start(wanted);
    const bool boasts = wanted.chain.ends_with("boast=1");
    EXPECT_TRUE(wait_until([&] { return host->open_mask() == (boasts ? 1u : 0u); }))
        << "its chain has one plugin";
    const Ending ending = host->stop();
    EXPECT_TRUE(ending.killed) << commands;
    EXPECT_EQ(ending.signal, SIGKILL);
    EXPECT_TRUE(host->obituary().starts_with("the host was killed, as it did not stop in time"));
  }
}

TEST(ClientStop, SavingOpenEditorsIsGivenItsTime) {
  Options wanted = options("save_ms=700");
  wanted.stop_limit = 100ms;
  const auto host = start(wanted);
  host->open_editor(0, "a");
  ASSERT_TRUE(host->settle(long_enough));
  EXPECT_EQ(host->open_mask(), 1u);
  EXPECT_TRUE(host->stop().orderly());
  EXPECT_EQ(host->next_saved_notice(), std::optional<unsigned>(0));
}

TEST(ClientStop, AParentThatIgnoresItsChildrenStillSeesThemEnd) {
  signal(SIGCHLD, SIG_IGN);
  const auto host = start("x=1");
  const Ending ending = host->stop();
  signal(SIGCHLD, SIG_DFL);
  EXPECT_FALSE(ending.known);
  EXPECT_FALSE(ending.killed);
  EXPECT_EQ(host->diagnose(), Health::dead);
}

TEST(ClientStart, ALimitBeyondTheClockIsNoneAndARenderThreadThatComesLateIsWaitedFor) {
  constexpr auto for_ever = std::chrono::milliseconds::max();
  Options wanted = options("late_probe=5");
  wanted.start_limit = wanted.stop_limit = wanted.hang_limit = for_ever;
  const auto host = start(wanted);
  host->set_parameter(0, 1, 2);
  EXPECT_TRUE(host->settle(for_ever));
  EXPECT_EQ(host->render(16, 0, {}, std::chrono::nanoseconds::max()), Answer::answered);
  EXPECT_EQ(host->diagnose(), Health::ready);
  EXPECT_TRUE(host->stop().orderly());
}

TEST(ClientStart, FilesThatMayNotGrowAreAnErrorAndEndNobody) {
  for (const rlim_t most : {0, 512, 65'536}) {
    const auto end = vesk::tests::run_in_child([most] {
      const rlimit limit{most, most};
      setrlimit(RLIMIT_FSIZE, &limit);
      std::string error;
      const auto host = HostProcess::start(options("x=1", Mode::real_time), error);
      sigset_t pending;
      sigpending(&pending);
      return host == nullptr && error.ends_with("File too large") &&
                     sigismember(&pending, SIGXFSZ) == 0
                 ? 0
                 : 1;
    });
    EXPECT_TRUE(end.exited_with(0)) << most << ": " << end.status;
  }
}
