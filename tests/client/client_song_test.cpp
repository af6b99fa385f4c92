// What a host is told beside the block: who its parent is, how it renders, and where the song
// stands. The misbehaving unit writes what reaches it into its output.
#include <gtest/gtest.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <limits>

#include "tests/client/client_host.hpp"
#include "tests/components/misbehaving/song_words.h"
#include "vesk/host_group.hpp"

using namespace vesk::client;
using namespace vesk::client_test;
using namespace std::chrono_literals;

namespace {

constexpr unsigned frames = 64;
using Song = std::array<float, kSongWords>;

Options real_host(const std::string& chain, Mode mode) {
  Options result = options(chain, mode);
  result.host_program.clear();
  result.environment = {"AUDIO_COMPONENT_PATH=" VESK_COMPONENTS};
  return result;
}

std::unique_ptr<HostProcess> play(const std::string& chain, Mode mode) {
  return start(real_host(chain, mode));
}

Song heard(const HostProcess& host) {
  Song song;
  std::copy_n(host.output(0).begin(), song.size(), song.begin());
  return song;
}

}  // namespace

TEST(ClientSong, WhatIsSetReachesAPluginFromTheNextPeriodOn) {
  for (const Mode mode : {Mode::real_time, Mode::offline}) {
    auto host = play("aumu:Bad_:Vesk#30=1", mode);
    const float offline = mode == Mode::offline ? 1 : 0;
    double sample = 0;
    const auto expect = [&](const Song& song, const char* what) {
      ASSERT_EQ(host->render(frames, sample, {}, 5s), Answer::answered);
      EXPECT_EQ(heard(*host), song) << what;
      sample += frames;
    };
    const float no = -1;
    expect({offline, no, no, no, no, no, no, no, no, no, no, no, no, no}, "nothing is known");

    Transport song{.tempo = 90, .beat = 22.25, .frame = 64, .bar_start = 21, .beats_per_bar = 3};
    host->set_transport(song);
    // Three quarters of a beat at 90 beats a minute and 48 kHz are 24000 frames.
    expect({offline, 90, 22, 0.25, 21, 3, 4, 24000, 1, 1, 64, 0, 0, 0}, "a song begins");
    expect({offline, 90, 22, 0.25, 21, 3, 4, 24000, 1, 0, 64, 0, 0, 0}, "it holds until set");

    song = {.tempo = 120,
            .beat = 8,
            .frame = 192,
            .bar_start = 7,
            .beats_per_bar = 7,
            .beat_unit = 8,
            .playing = false,
            .looping = true,
            .loop_start = 4,
            .loop_end = 12};
    host->set_transport(song);
    expect({offline, 120, 8, 0, 7, 7, 8, 0, 0, 1, 192, 1, 4, 12}, "it stops, and a loop is set");

    song.tempo = std::numeric_limits<double>::quiet_NaN();
    song.beats_per_bar = std::numeric_limits<double>::infinity();
    host->set_transport(song);
    expect({offline, no, no, no, no, no, no, no, 0, 0, 192, 1, 4, 12}, "nonsense is not handed on");
    EXPECT_TRUE(host->stop().orderly()) << host->obituary();
    ASSERT_FALSE(host->last_lines().empty());
    EXPECT_EQ(host->last_lines().back(),
              std::string("plugin host aumu:Bad_:Vesk#30=1: workgroup ") +
                  (offline != 0 ? "not shared" : "joined"));
  }
}

TEST(ClientSong, AGroupTellsAllItsHosts) {
  auto first = play("aumu:Bad_:Vesk#30=1", Mode::offline);
  auto second = play("aumu:Bad_:Vesk#30=1", Mode::offline);
  HostGroup group;
  group.add(*first);
  group.add(*second);
  group.set_transport({.tempo = 77});
  ASSERT_EQ(group.render(frames, 0, 5s), Answer::answered);
  for (const auto& host : {first.get(), second.get()}) EXPECT_EQ(heard(*host)[kSongTempo], 77);
}

TEST(ClientSong, AStartRendersNothing) {
  // It crashes in its first render, which must be the parent's.
  for (const Mode mode : {Mode::real_time, Mode::offline}) {
    auto host = play("aumu:Bad_:Vesk#0=1", mode);
    EXPECT_EQ(host->diagnose(), Health::ready);
    EXPECT_EQ(host->render(frames, 0, {}, 30s), Answer::host_gone);
  }
}

TEST(ClientSong, AHostWhoseParentEndedAtOnceEndsToo) {
  // It is handed to this process, which can then see its end.
  ASSERT_EQ(prctl(PR_SET_CHILD_SUBREAPER, 1), 0);
  for (int round = 0; round < 10; ++round) {
    int ends[2];
    ASSERT_EQ(pipe(ends), 0);
    const pid_t parent = fork();
    if (parent == 0) {
      std::string error;
      const auto host = HostProcess::spawn(real_host("aumu:Null:Vesk", Mode::offline), error);
      const pid_t pid = host != nullptr ? host->pid() : 0;
      _exit(write(ends[1], &pid, sizeof pid) == sizeof pid ? 0 : 1);
    }
    close(ends[1]);
    pid_t host = 0;
    ASSERT_EQ(read(ends[0], &host, sizeof host), static_cast<ssize_t>(sizeof host));
    close(ends[0]);
    waitpid(parent, nullptr, 0);
    ASSERT_GT(host, 0);
    EXPECT_TRUE(wait_until([&] { return waitpid(host, nullptr, WNOHANG) == host; }, 30s));
  }
}
