// Parameters, editors, notices and lines through another process.
#include <gtest/gtest.h>
#include <signal.h>

#include "tests/client/client_host.hpp"

using namespace vesk::client;
using namespace vesk::client_test;
using namespace std::chrono_literals;

namespace {

std::vector<std::string> lines_with(HostProcess& host, const std::string& start) {
  std::vector<std::string> found;
  for (const std::string& line : host.plugin_lines())
    if (line.starts_with(start)) found.push_back(line);
  return found;
}

}  // namespace

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
