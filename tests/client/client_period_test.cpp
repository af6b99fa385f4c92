// Periods, parameters, editors, notices and lines through another process: what is carried over,
// and the faults a parent must survive.
#include <gtest/gtest.h>
#include <signal.h>

#include <array>

#include "tests/client/client_host.hpp"
#include "vesk/host_group.hpp"

using namespace vesk::client;
using namespace vesk::client_test;
using namespace std::chrono_literals;

namespace {

const std::array<MidiEvent, 3> note_events{
    MidiEvent{0x90, 60, 100, 0, 0}, MidiEvent{0x80, 60, 0, 0, 5}, MidiEvent{0xb0, 1, 2, 0, 7}};

std::vector<std::string> lines_with(HostProcess& host, const std::string& start) {
  std::vector<std::string> found;
  for (const std::string& line : host.plugin_lines())
    if (line.starts_with(start)) found.push_back(line);
  return found;
}

}  // namespace

class ClientPeriod : public testing::TestWithParam<Mode> {};
INSTANTIATE_TEST_SUITE_P(modes, ClientPeriod, testing::Values(Mode::real_time, Mode::offline));

TEST_P(ClientPeriod, InputEventsAndTimeReachTheHostAndItsOutputComesBack) {
  const auto host = start("x=1", GetParam());
  for (unsigned period = 0; period < 50; ++period) {
    for (unsigned i = 0; i < 64; ++i) host->input(0)[i] = static_cast<float>(period + i);
    const std::span<const MidiEvent> events(note_events.data(), period % 4);
    ASSERT_EQ(host->render(64, period * 64.0, events, long_enough), Answer::answered);
    ASSERT_EQ(host->output(0)[63], static_cast<float>(period + 63 + period % 4));
    ASSERT_EQ(host->output(1)[0], static_cast<float>(period * 64));
  }
  EXPECT_EQ(host->answer_times().periods, 50u);
  EXPECT_EQ(host->diagnose(), Health::ready);
}

TEST(ClientPeriods, APeriodBeyondTheBlockIsRefused) {
  Options small = options("x=1");
  small.max_frames = 64;
  const auto host = start(small);
  const std::vector<MidiEvent> many(129);
  EXPECT_EQ(host->render(65, 0, {}, long_enough), Answer::refused);
  EXPECT_EQ(host->render(64, 0, many, long_enough), Answer::refused);
  EXPECT_EQ(host->render(64, 0, std::span(many).first(128), long_enough), Answer::answered);
}

TEST(ClientPeriods, ALateAnswerIsKeptForLaterAndNothingIsSentBefore) {
  const auto host = start("answer_when_told=1");
  EXPECT_EQ(host->render(16, 1, note_events, 5ms), Answer::timed_out);
  EXPECT_TRUE(host->is_pending());
  EXPECT_EQ(host->render(16, 2, {}, 1ms), Answer::not_sent);
  EXPECT_EQ(host->request(16, 2, {}), Answer::not_sent);
  EXPECT_EQ(host->collect(0ns), Answer::timed_out);
  kill(host->pid(), SIGUSR1);
  EXPECT_EQ(host->collect(long_enough), Answer::answered);
  EXPECT_EQ(host->output(1)[0], 1.0f);
  EXPECT_EQ(host->output(0)[0], 3.0f);
  EXPECT_EQ(host->request(16, 3, {}), Answer::answered);
  EXPECT_EQ(host->render(16, 4, {}, long_enough), Answer::answered) << "waits for the one before";
  EXPECT_EQ(host->output(1)[0], 4.0f);
}

TEST(ClientPeriods, AHostThatTakesLongerThanItsPeriodIsSlow) {
  const auto host = start("late_ms=20", Mode::real_time);
  EXPECT_EQ(host->diagnose(), Health::ready);
  for (int i = 0; i < 4; ++i) EXPECT_EQ(host->render(16, i, {}, long_enough), Answer::answered);
  EXPECT_EQ(host->diagnose(), Health::slow);
}

TEST(ClientPeriods, AHostKilledWhileTheParentWaitsIsSeenAtOnce) {
  const auto host = start("block_at=1");
  EXPECT_EQ(host->request(16, 0, {}), Answer::answered);
  std::thread killer([pid = host->pid()] {
    std::this_thread::sleep_for(50ms);
    kill(pid, SIGKILL);
  });
  EXPECT_EQ(host->collect(1h), Answer::host_gone) << "long before that";
  killer.join();
  EXPECT_EQ(host->request(16, 0, {}), Answer::host_gone);
  EXPECT_EQ(host->obituary(), "the host was ended by signal 9 (Killed)");
}

TEST(ClientPeriods, AGroupRendersAllAndNamesTheOneThatFailed) {
  std::vector<std::unique_ptr<HostProcess>> hosts;
  HostGroup group;
  std::string error;
  for (const char* commands : {"x=1", "segv_at=2", "x=1"})
    hosts.push_back(HostProcess::spawn(options(commands, Mode::real_time), error));
  for (auto& host : hosts) {
    ASSERT_TRUE(host != nullptr && host->wait_ready(error)) << error;
    group.add(*host);
  }
  group[2].events = std::span(note_events);
  EXPECT_EQ(group.render(32, 7, long_enough), Answer::answered);
  EXPECT_EQ(hosts[2]->output(0)[31], 3.0f);
  EXPECT_TRUE(group[2].events.empty());
  EXPECT_EQ(group.render(32, 8, long_enough), Answer::host_gone);
  EXPECT_EQ(group[0].answer, Answer::answered);
  EXPECT_EQ(group[1].answer, Answer::host_gone);
  EXPECT_EQ(hosts[2]->output(1)[0], 8.0f);
  group.remove(*hosts[1]);
  EXPECT_EQ(group.render(32, 9, long_enough), Answer::answered);
}

TEST(ClientRings, ChangesSetWhileAnEditorOpensArriveMergedAndNoneIsLost) {
  const auto host = start("a|b|c,open_when_told=1");
  host->set_parameter(0, 1, -1);
  host->open_editor(2, "Piano");
  const std::vector<std::string> opening{"open 2 Piano"};
  ASSERT_TRUE(wait_until([&] { return lines_with(*host, "open ") == opening; }));
  EXPECT_FALSE(host->settle(0ms));
  for (int value = 0; value < 1000; ++value)
    for (unsigned id = 0; id < 20; ++id) host->set_parameter(0, id, static_cast<float>(value));
  kill(host->pid(), SIGUSR1);
  ASSERT_TRUE(host->settle(long_enough));
  EXPECT_EQ(host->open_mask(), 4u);
  EXPECT_EQ(lines_with(*host, "open "), opening);
  EXPECT_TRUE(wait_until([&] { return lines_with(*host, "param ").size() == 21; }));
  const auto params = lines_with(*host, "param ");
  for (std::size_t i = 1; i < params.size(); ++i) EXPECT_TRUE(params[i].ends_with(" 999"));
}

TEST(ClientRings, TwentyWindowRequestsInARowAreAllServed) {
  const auto host = start(std::string(19, '|') + ",x=1");
  for (unsigned i = 0; i < 20; ++i) host->open_editor(i, std::string(127, 'x') + "\u00e9");
  ASSERT_TRUE(host->settle(long_enough));
  EXPECT_EQ(host->open_mask(), (1u << 20) - 1);
  EXPECT_TRUE(wait_until([&] { return lines_with(*host, "open ").size() == 20; }));
  EXPECT_EQ(lines_with(*host, "open ").back(), "open 19 " + std::string(127, 'x'))
      << "a title is cut at a character";
}

TEST(ClientRings, SavedNoticesComeInOrderAndAnOverrunIsTold) {
  const auto host = start("a|b|c,crowd=40");
  host->open_editor(2, "c");
  host->open_editor(1, "b");
  ASSERT_TRUE(host->settle(long_enough));
  EXPECT_EQ(host->next_saved_notice(), std::nullopt);
  host->close_editors();
  ASSERT_TRUE(host->settle(long_enough));
  unsigned notices = 0;
  while (host->next_saved_notice()) ++notices;
  EXPECT_EQ(notices + host->lost_saved_notices(), 42u);
  EXPECT_GE(notices, 16u);
}

TEST(ClientRings, AFloodOfLinesNeitherStopsTheHostNorPushesOutItsOwn) {
  const auto host = start("flood=5000,segv_at=1");
  EXPECT_TRUE(wait_until([&] { return host->plugin_lines().size() == 32; }));
  host->set_parameter(0, 1, 1);
  EXPECT_TRUE(host->settle(long_enough));
  EXPECT_EQ(host->render(16, 0, {}, long_enough), Answer::host_gone);
  EXPECT_TRUE(host->obituary().ends_with("plugin 0 died in render: SIGSEGV")) << host->obituary();
}

TEST(ClientRings, AWindowThatDoesNotComeStopsNothing) {
  const auto host = start("no_window=1");
  host->open_editor(0, "a");
  EXPECT_TRUE(host->settle(long_enough));
  EXPECT_EQ(host->open_mask(), 0u);
  host->set_parameter(0, 1, 1);
  EXPECT_TRUE(host->settle(long_enough));
}
