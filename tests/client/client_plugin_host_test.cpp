// The parent's side against the real host and plugins: a note heard, a parameter obeyed, and what
// is told of plugins that crash, hang or will not load.
#include <gtest/gtest.h>
#include <signal.h>

#include <algorithm>
#include <array>
#include <cmath>

#include "tests/client/client_host.hpp"

using namespace vesk::client;
using namespace vesk::client_test;
using namespace std::chrono_literals;

namespace {

Options plugin_options(const std::string& chain, Mode mode) {
  Options result = options(chain, mode);
  result.host_program.clear();
  result.environment = {"AUDIO_COMPONENT_PATH=" VESK_COMPONENTS};
  return result;
}

float peak(std::span<const float> samples) {
  float most = 0;
  for (const float sample : samples) most = std::max(most, std::abs(sample));
  return most;
}

}  // namespace

TEST(ClientPluginHost, ANoteIsHeardAndAParameterObeyed) {
  const auto host = start(plugin_options("aumu:Tone:Vesk", Mode::real_time));
  const std::array<MidiEvent, 1> note{MidiEvent{0x90, 60, 127, 0, 0}};
  ASSERT_EQ(host->render(128, 0, note, long_enough), Answer::answered);
  double time = 128;
  const auto loudness = [&] {
    float most = 0;
    for (int period = 0; period < 20; ++period, time += 128) {
      EXPECT_EQ(host->render(128, time, {}, long_enough), Answer::answered);
      most = std::max(most, peak(host->output(0).first(128)));
    }
    return most;
  };
  EXPECT_GT(loudness(), 0.01f);
  host->set_parameter(0, 0, 0.0f);
  ASSERT_TRUE(host->settle(long_enough));
  EXPECT_EQ(host->render(128, time, {}, long_enough), Answer::answered);
  EXPECT_EQ(loudness(), 0.0f);
  EXPECT_TRUE(host->stop().orderly()) << host->obituary();
  ASSERT_FALSE(host->last_lines().empty());
  EXPECT_EQ(host->last_lines().back(), "plugin host aumu:Tone:Vesk: workgroup joined");
}

TEST(ClientPluginHost, APluginThatCrashesOrHangsIsNamedForWhatItIs) {
  struct Case {
    const char* chain;
    Answer answer;
    Health health;
  };
  // In its 50th render: the empty periods by which a start ends are renders too.
  const Case cases[] = {
      {"aumu:Bad_:Vesk#0=50", Answer::host_gone, Health::dead},
      {"aumu:Bad_:Vesk#2=50", Answer::timed_out, Health::hung_blocked},
      {"aumu:Bad_:Vesk#3=50", Answer::timed_out, Health::hung_spinning},
  };
  for (const Mode mode : {Mode::real_time, Mode::offline}) {
    for (const Case& test : cases) {
      Options faulty = plugin_options(test.chain, mode);
      faulty.hang_limit = 100ms;
      faulty.stop_limit = 200ms;
      const auto host = start(faulty);
      EXPECT_EQ(host->diagnose(), Health::ready) << test.chain;
      Answer answer = Answer::answered;
      EXPECT_TRUE(wait_until(
          [&] {
            answer = host->is_pending() ? host->collect(100ms) : host->render(128, 0, {}, 100ms);
            return answer == test.answer && host->diagnose() == test.health;
          },
          long_enough))
          << test.chain << ": " << static_cast<int>(answer);
#if !defined(VESK_SANITIZER)
      // A sanitizer reports a crash itself and ends the process in its own way.
      host->end_hung();
      const bool crashed = test.health == Health::dead;
      EXPECT_EQ(host->obituary(),
                (crashed ? "the host was ended by signal 11 (Segmentation fault): plugin host "
                         : "the host was killed, as it did not answer: plugin host ") +
                    std::string(test.chain) +
                    ": plugin 0 died in render: " + (crashed ? "SIGSEGV" : "SIGABRT"));
#endif
    }
  }
}

TEST(ClientPluginHost, WhatDoesNotLoadIsNamedInTheError) {
  struct Case {
    const char* chain;
    const char* start;
    const char* end;
  };
  const Case cases[] = {
      {"aumu:None:Vesk", "aumu:None:Vesk: component not found", ""},
      {"aumu:Bad_:Vesk#15=1", "the host did not start: the host ",
       "plugin 0 died in load: SIGSEGV"},
  };
  for (const Case& test : cases) {
    std::string error;
    EXPECT_EQ(HostProcess::start(plugin_options(test.chain, Mode::offline), error), nullptr);
    EXPECT_TRUE(error.starts_with(test.start)) << error;
#if !defined(VESK_SANITIZER)
    EXPECT_TRUE(error.ends_with(test.end)) << error;
#endif
  }
}
