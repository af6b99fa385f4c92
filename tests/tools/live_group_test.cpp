// Cycles of a sound server, given to hosts and back.
#include "tools/live/live_group.hpp"

#include <gtest/gtest.h>
#include <signal.h>

#include <algorithm>
#include <thread>

#include "tests/client/client_host.hpp"
#include "tests/support/scratch_folder.hpp"
#include "tools/live/live_chains.hpp"

namespace {

using namespace vesk::tools;
using vesk::client::MidiEvent;
using vesk::client_test::start;
using vesk::tests::wait_until;
using namespace std::chrono_literals;

// The fake host's left output is its input and the number of events, the right one the time.
struct Chain {
  std::vector<float> input = std::vector<float>(6000), left = input, right = input;
  ChainBuffers buffers() {
    return {{input.data(), input.data()}, {left.data(), right.data()}, events};
  }
  std::vector<MidiEvent> events;
};

std::unique_ptr<LiveGroup> group_of(std::size_t count) {
  std::vector<std::unique_ptr<vesk::client::HostProcess>> hosts;
  while (hosts.size() < count) hosts.push_back(start("x=1"));
  return std::make_unique<LiveGroup>(std::move(hosts));
}

TEST(LiveGroup, CutsALongCycleAndSpreadsManyEvents) {
  const auto group = group_of(1);
  Chain chain;
  for (std::size_t i = 0; i < chain.input.size(); ++i)
    chain.input[i] = static_cast<float>(i) / 8192;
  for (std::uint32_t i = 0; i < 200; ++i) chain.events.push_back({0x90, 1, 1, 0, 10});
  chain.events.push_back({0x90, 1, 1, 0, 5000});
  ChainBuffers buffers[] = {chain.buffers()};
  group->play(6000, {}, buffers, 20s);
  EXPECT_EQ(chain.left[0], 128) << "as many as a period holds";
  EXPECT_EQ(chain.left[4095], 128 + chain.input[4095]);
  EXPECT_EQ(chain.left[4096], 73 + chain.input[4096]) << "the rest, and the late one";
  EXPECT_EQ(chain.right[5999], 4096);
  for (int i = 0; i < 1200; ++i) chain.events.push_back({0x90, 1, 1, 0, 0});
  ChainBuffers more[] = {chain.buffers()};
  group->play(64, {}, more, 20s);
  EXPECT_EQ(chain.right[0], 6000);
  EXPECT_GT(group->take_lost_events(), 0u);
  EXPECT_EQ(group->take_missed(), 0u);
}

TEST(LiveGroup, ADeadChainIsSilentUntilItsSuccessorPlaysAndTheOthersPlayOn) {
  const auto group = group_of(2);
  Chain chains[2];
  for (Chain& chain : chains) std::fill(chain.input.begin(), chain.input.end(), 0.5f);
  std::atomic<bool> ends{false};
  std::atomic<float> heard[2] = {};
  std::thread audio([&] {
    while (!ends) {
      ChainBuffers buffers[] = {chains[0].buffers(), chains[1].buffers()};
      group->play(64, {}, buffers, 20s);
      for (int i : {0, 1}) heard[i] = chains[i].left[63];
    }
  });
  EXPECT_TRUE(wait_until([&] { return heard[0] == 0.5f && heard[1] == 0.5f; }));
  kill(group->host(1).pid(), SIGKILL);
  EXPECT_TRUE(wait_until([&] { return heard[1] == 0.0f; }));
  EXPECT_EQ(heard[0], 0.5f);
  EXPECT_TRUE(wait_until([&] { return group->host(1).has_ended(); }));
  group->replace(1, start("x=1"), 20s);
  EXPECT_TRUE(wait_until([&] { return heard[1] == 0.5f; }));
  ends = true;
  audio.join();
  EXPECT_EQ(group->take_missed(), 0u) << "a dead chain misses nothing";

  // Nobody plays: the successor is in its place all the same.
  group->replace(0, start("x=1"), 0s);
  ChainBuffers buffers[] = {chains[0].buffers(), chains[1].buffers()};
  group->play(64, {}, buffers, 20s);
  EXPECT_EQ(chains[0].left[0], 0.5f);
}

TEST(LiveGroup, ALateChainIsSilentAndGetsItsEventsLater) {
  std::vector<std::unique_ptr<vesk::client::HostProcess>> hosts;
  hosts.push_back(start("answer_when_told=1"));
  const int pid = hosts[0]->pid();
  LiveGroup group(std::move(hosts));
  Chain chain;
  chain.events = {{0x90, 1, 1, 0, 7}};
  const auto cycle = [&](std::chrono::nanoseconds limit) {
    ChainBuffers buffers[] = {chain.buffers()};
    group.play(64, {}, buffers, limit);
    chain.events.clear();
    return chain.left[0];
  };
  EXPECT_EQ(cycle(0ns), 0) << "sent, and not answered";
  chain.events = {{0x80, 1, 1, 0, 7}, {0x90, 2, 1, 0, 8}};
  EXPECT_EQ(cycle(0ns), 0) << "not sent";
  EXPECT_EQ(group.take_missed(), 2u);
  kill(pid, SIGUSR1);
  EXPECT_TRUE(wait_until([&] { return cycle(1s) == 2; })) << "both events, once";
}

TEST(LiveGroup, TheFirstChainPlaysAlongWithASong) {
  constexpr double rate = 48'000;
  Song song;
  song.events = {{0, 0x90, 69, 100}, {40 / rate, 0x80, 69, 0}};
  song.marks = {{.tempo = 120}, {.seconds = 32 / rate, .tempo = 60}};
  song.length_seconds = 50 / rate;
  for (const bool as_tones : {false, true}) {
    SCOPED_TRACE(as_tones);
    Accompaniment accompaniment(song, as_tones, rate);
    std::vector<std::unique_ptr<vesk::client::HostProcess>> hosts;
    for (int i = 0; i < 2; ++i) hosts.push_back(start("x=1"));
    LiveGroup group(std::move(hosts), &accompaniment);
    Chain chains[2];
    chains[0].events = {{0x90, 1, 1, 0, 5}};
    ChainBuffers buffers[] = {chains[0].buffers(), chains[1].buffers()};
    group.play(50, {}, buffers, 20s);
    EXPECT_EQ(chains[0].right[31], 0);
    EXPECT_EQ(chains[0].right[32], 32) << "a period has one tempo";
    EXPECT_EQ(chains[0].left[0], 2);
    EXPECT_EQ(chains[0].left[32] == 1, !as_tones);
    EXPECT_EQ(chains[1].left[0], 0);
    chains[0].events.clear();
    accompaniment.set_sample_rate(2 * rate);
    ChainBuffers more[] = {chains[0].buffers(), chains[1].buffers()};
    group.play(100, {}, more, 20s);
    EXPECT_EQ(chains[0].left[0], 1) << "from its beginning";
    EXPECT_EQ(chains[0].right[63], 50);
    EXPECT_EQ(chains[0].right[64], 114);
  }
}

TEST(LiveChains, FollowAnotherSampleRateWithTheirPresetFiles) {
  setenv("VESK_HOST", VESK_FAKE_HOST, 1);
  const vesk::tests::ScratchFolder folder;
  std::string error;
  const auto chain =
      vesk::parse_chain("aufx:Fake:Vesk@" + folder / "p.aupreset", vesk::ChainStart::either, error);
  ASSERT_TRUE(chain) << error;
  std::vector<std::string> said;
  KeptPresets presets;
  LiveChains chains({*chain, *vesk::parse_chain("aufx:Fake:Vesk", vesk::ChainStart::either, error)},
                    false, presets, [&](const std::string& line) { said.push_back(line); });
  ASSERT_TRUE(chains.start({48'000, 64, 0}, nullptr, error)) << error;
  std::atomic<bool> ends{false};
  std::thread audio([&] {
    Chain cycle[2];
    for (Chain& each : cycle) std::fill(each.input.begin(), each.input.end(), 0.5f);
    while (!ends) {
      ChainBuffers buffers[] = {cycle[0].buffers(), cycle[1].buffers()};
      chains.group().play(64, {}, buffers, 20s);
    }
  });
  chains.follow({44'100, 64, 0});
  const auto play_again = [&] {
    chains.watch();
    return said.size() == 2;
  };
  EXPECT_TRUE(wait_until(play_again));
  for (const std::string& line : said) EXPECT_TRUE(line.ends_with(": plays again")) << line;
  for (const std::size_t i : {0u, 1u})
    EXPECT_EQ(chains.group().host(i).options().sample_rate_hz, 44'100);
  ends = true;
  audio.join();
  EXPECT_EQ(chains.group().take_missed(), 0u);
  EXPECT_TRUE(chains.stop(error)) << error;
}

}  // namespace
