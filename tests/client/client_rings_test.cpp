// Parameters, editors, notices and lines through another process.
#include <gtest/gtest.h>

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
  std::string error;
  auto host = HostProcess::start(options("open_ms=300"), error);
  ASSERT_NE(host, nullptr) << error;
  host->set_parameter(0, 1, -1);
  host->open_editor(2, "Piano");
  std::this_thread::sleep_for(50ms);
  EXPECT_FALSE(host->settle(0ms));
  for (int value = 0; value < 1000; ++value)
    for (unsigned id = 0; id < 20; ++id) host->set_parameter(0, id, static_cast<float>(value));
  ASSERT_TRUE(host->settle(3s));
  EXPECT_EQ(host->open_mask(), 4u);
  std::this_thread::sleep_for(20ms);
  EXPECT_EQ(lines_with(*host, "open "), std::vector<std::string>{"open 2 Piano"});
  const auto params = lines_with(*host, "param ");
  EXPECT_EQ(params.size(), 21u);
  for (std::size_t i = 1; i < params.size(); ++i) EXPECT_TRUE(params[i].ends_with(" 999"));
}

TEST(ClientRings, TwentyWindowRequestsInARowAreAllServed) {
  std::string error;
  auto host = HostProcess::start(options("x=1"), error);
  ASSERT_NE(host, nullptr) << error;
  for (unsigned i = 0; i < 20; ++i) host->open_editor(i, std::string(127, 'x') + "\u00e9");
  ASSERT_TRUE(host->settle(3s));
  EXPECT_EQ(host->open_mask(), (1u << 20) - 1);
  EXPECT_TRUE(wait_until([&] { return lines_with(*host, "open ").size() == 20; }));
  EXPECT_EQ(lines_with(*host, "open ").back(), "open 19 " + std::string(127, 'x'))
      << "a title is cut at a character";
}

TEST(ClientRings, AWindowThatDoesNotComeStopsNothing) {
  std::string error;
  auto host = HostProcess::start(options("no_window=1"), error);
  ASSERT_NE(host, nullptr) << error;
  host->open_editor(0, "a");
  ASSERT_TRUE(host->settle(2s));
  EXPECT_EQ(host->open_mask(), 0u);
  host->set_parameter(0, 7, 0.5f);
  EXPECT_TRUE(host->settle(2s));
}

TEST(ClientRings, SavedNoticesComeInOrderAndAnOverrunIsTold) {
  std::string error;
  auto host = HostProcess::start(options("a|b|c,crowd=40"), error);
  ASSERT_NE(host, nullptr) << error;
  host->open_editor(2, "c");
  host->open_editor(1, "b");
  ASSERT_TRUE(host->settle(2s));
  EXPECT_EQ(host->next_saved_notice(), std::nullopt);
  host->close_editors();
  ASSERT_TRUE(host->settle(2s));
  unsigned notices = 0;
  while (host->next_saved_notice()) ++notices;
  EXPECT_EQ(notices + host->lost_saved_notices(), 42u);
  EXPECT_GE(notices, 16u);
}

TEST(ClientRings, AFloodOfLinesNeitherStopsTheHostNorPushesOutItsOwn) {
  std::string error;
  auto host = HostProcess::start(options("flood=5000,segv_at=1"), error);
  ASSERT_NE(host, nullptr) << error;
  std::this_thread::sleep_for(100ms);
  host->set_parameter(0, 1, 1);
  EXPECT_TRUE(host->settle(2s));
  EXPECT_EQ(host->plugin_lines().size(), 32u);
}

TEST(ClientRings, GarbageFromTheHostIsTakenForNothing) {
  std::string error;
  auto host = HostProcess::start(options("garbage=1"), error);
  ASSERT_NE(host, nullptr) << error;
  host->set_parameter(0, 1, 1);
  EXPECT_TRUE(host->settle(2s));
  while (const auto plugin = host->next_saved_notice()) EXPECT_EQ(*plugin, 0u);
  EXPECT_EQ(host->render(16, 0, {}, 1s), Answer::answered);
  EXPECT_TRUE(host->stop().orderly());
}
