// Plugins that misbehave take their host down, or not even that, and never more.

#include <gtest/gtest.h>
#include <sched.h>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <fstream>
#include <map>

#include "tests/support/comma_locale.hpp"
#include "tests/support/raw_host.hpp"
#include "tests/support/scratch_folder.hpp"

using namespace vesk::host;
using namespace std::chrono_literals;

namespace {

#if defined(VESK_SANITIZER)
// A sanitizer reports a crash itself and ends the process in its own way.
constexpr bool tells_crashes = false;
#else
constexpr bool tells_crashes = true;
#endif

TEST(FaultyPlugin, ACrashIsToldInOneLine) {
  struct Case {
    const char* chain;
    const char* environment;
    int signal;  // 0: it exits
    const char* line;
  };
  const Case cases[] = {
      {"aumu:Bad_:Vesk#0=3", "VESK_MISBEHAVE=", SIGSEGV, "plugin 0 died in render: SIGSEGV\n"},
      {"aufx:Gain:Vesk|aufx:Bad_:Vesk#0=1", "VESK_MISBEHAVE=", SIGSEGV,
       "plugin 1 died in render: SIGSEGV\n"},
      {"aumu:Bad_:Vesk#27=2", "VESK_MISBEHAVE=", SIGSEGV, "plugin 0 died in render: SIGSEGV\n"},
      {"aumu:Bad_:Vesk#15=1", "VESK_MISBEHAVE=", SIGSEGV, "plugin 0 died in load: SIGSEGV\n"},
      {"aumu:Bad_:Vesk", "VESK_MISBEHAVE=crash-in-load=2", SIGSEGV,
       "plugin 0 died in load: SIGSEGV\n"},
      {"aumu:Bad_:Vesk#1=2", "VESK_MISBEHAVE=", 0, ""},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.chain);
    RawHost host({.chain = c.chain, .environment = {c.environment}});
    if (host.wait_state() == ready)
      for (int period = 0; period < 100 && !host.has_ended(); ++period)
        host.serve(16, 16 * period, 100ms);
    const int status = host.wait_end();
    if (c.signal == 0) {
      EXPECT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 3) << status;
    } else if (tells_crashes) {
      EXPECT_TRUE(WIFSIGNALED(status) && WTERMSIG(status) == c.signal) << status;
      EXPECT_EQ(host.standard_error(), std::string("plugin host ") + c.chain + ": " + c.line);
    } else {
      EXPECT_NE(status, 0);
    }
  }
}

TEST(FaultyPlugin, AHangInRenderLeavesTheMainThreadAtWork) {
  // In its 50th render: empty periods are renders too, and some are needed until it listens.
  for (const char* chain : {"aumu:Bad_:Vesk#2=50", "aumu:Bad_:Vesk#3=50"}) {
    SCOPED_TRACE(chain);
    RawHost host({.chain = chain});
    ASSERT_TRUE(host.wait_listening());
    int answered = 0;
    while (answered < 100 && host.serve(16, 16 * answered, 300ms)) ++answered;
    EXPECT_LT(answered, 50);
    EXPECT_TRUE(host.wait_turns()) << "parameters and windows are still served";
    EXPECT_FALSE(host.has_ended());
  }
}

TEST(FaultyPlugin, WhatElseItDoesWrongSilencesNoOther) {
  const vesk::tests::CommaLocale locale;
  struct Case {
    const char* name;
    const char* chain;
    std::string environment;
    float heard;  // at an input of 1
  };
  const Case cases[] = {
      {"a failed render passes its input through", "aufx:Bad_:Vesk#10=3|aufx:Gain:Vesk#0=0.5",
       "VESK_MISBEHAVE=", 0.5f},
      {"a comma locale spoils no number", "aufx:Bad_:Vesk#13=1|aufx:Gain:Vesk#0=0.5",
       locale.place(), 0.5f},
      {"an instantiation completes late", "aumu:Asyn:Vesk", "VESK_MISBEHAVE=delay-in-open=200",
       0.25f},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.name);
    if (c.environment == locale.place() && !locale.is_there()) continue;
    RawHost host({.chain = c.chain, .environment = {c.environment}});
    ASSERT_TRUE(host.wait_listening()) << host.block().error;
    for (int period = 0; period < 6; ++period) {
      std::fill_n(host.block().input_left, 16, 1.0f);
      ASSERT_TRUE(host.serve(16, 16 * period));
      EXPECT_EQ(host.block().output_left[15], c.heard);
    }
    EXPECT_TRUE(host.stop());
  }
}

// Starting a thread is nothing for a render thread to do, and RealtimeSanitizer ends it for that.
#if !__has_feature(realtime_sanitizer)
TEST(FaultyPlugin, ThreadsItStartsInRenderAreOrdinary) {
  const vesk::tests::ScratchFolder folder;
  const std::string report = folder / "report";
  cpu_set_t cpus;
  sched_getaffinity(0, sizeof cpus, &cpus);
  RawHost host({.chain = "aumu:Bad_:Vesk#12=2",
                .period_frames = "128",
                .environment = {std::string("VESK_MISBEHAVE_REPORT=") + report}});
  ASSERT_TRUE(host.wait_listening());
  for (int period = 0; period < 4; ++period) ASSERT_TRUE(host.serve(16, 16 * period));
  ASSERT_TRUE(host.stop());
  std::map<std::string, long> values;
  std::ifstream file(report);
  std::string name;
  for (long value = 0; file >> name >> value;) values[name] = value;
  EXPECT_EQ(values.at("thread_policy"), SCHED_OTHER);
  EXPECT_EQ(values.at("thread_cpus"), CPU_COUNT(&cpus));
  EXPECT_EQ(values.at("flushes_denormals"), 1);
}

#endif

}  // namespace
