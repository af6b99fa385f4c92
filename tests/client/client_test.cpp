// The parent's rings and lines, on a block of the test's own with a host that turns on command.
#include <gtest/gtest.h>

#include <memory>

#include "client/src/line_store.hpp"
#include "client/src/options.hpp"
#include "client/src/request_rings.hpp"
#include "host/atomics.hpp"
#include "spec/chain_text.hpp"

using namespace vesk;
using namespace vesk::client;

namespace {

constexpr std::int64_t millisecond_ns = 1'000'000;

/// What the host's main loop does with the rings, a turn at a time, in two halves: the mask is
/// stored later than the rings were read, and a parent may come in between.
struct Host {
  std::unique_ptr<host::Block> block = std::make_unique<host::Block>();
  std::uint32_t params = 0, windows = 0, mask = 0;
  std::vector<host::ParamChange> taken;
  unsigned opened = 0, most_at_once = 0;

  Host() { block->open_mask = ~0u; }
  void read_rings() {
    const std::uint32_t end = block->param_write;
    most_at_once = std::max(most_at_once, end - params);
    for (; params != end; ++params) taken.push_back(block->params[params % host::param_slots]);
    most_at_once = std::max(most_at_once, block->window_write - windows);
    for (; windows != block->window_write; ++windows)
      opened += block->window_requests[windows % host::window_slots].kind == 1;
  }
  void store_mask() { block->open_mask = mask; }
  void turn() {
    read_rings();
    store_mask();
  }
};

}  // namespace

TEST(RequestRings, NothingIsSentBeforeTheMainLoopRunsAndOneReplacedMarkIsNotTakenForATurn) {
  Host host;
  RequestRings rings(*host.block, 1, nullptr);
  rings.set_parameter(0, 1, 2);
  rings.open_editor(0, "a");
  EXPECT_TRUE(rings.turn(0).has_value());
  EXPECT_EQ(host.block->param_write + host.block->window_write, 0u);
  host.turn();
  host.read_rings();  // looks and finds nothing
  rings.turn(1);      // sent behind its back
  host.store_mask();  // replaces the mark of this very moment
  rings.turn(2);
  EXPECT_FALSE(rings.is_settled());
  host.turn();
  EXPECT_FALSE(rings.turn(3).has_value());
  EXPECT_TRUE(rings.is_settled());
  EXPECT_EQ(host.taken.size(), 1u);
  EXPECT_EQ(host.opened, 1u);
}

TEST(RequestRings, HoweverFastOrSlowTheHostNoSlotIsOverrunAndTheLastValuesArrive) {
  Host host;
  RequestRings rings(*host.block, 1, nullptr);
  host.turn();
  std::vector<std::int64_t> sent;
  std::int64_t now = 0;
  for (int step = 0; step < 4000; ++step, now += millisecond_ns) {
    for (unsigned id = 0; id < 100; ++id) rings.set_parameter(0, id, static_cast<float>(step));
    if (step % 50 == 0) rings.open_editor(0, "a");
    rings.turn(now);
    sent.resize(host.block->param_write, now);
    if (step % (step < 1000 ? 1 : step < 2000 ? 10 : 700) == 0) host.turn();
  }
  ASSERT_GT(sent.size(), 400u);
  for (std::size_t i = 16; i < sent.size(); ++i)
    EXPECT_GE(sent[i] - sent[i - 16], 25 * millisecond_ns) << "more than 16 in 25 ms";
  for (int step = 0; step < 1000 && !rings.is_settled(); ++step, now += millisecond_ns) {
    rings.turn(now);
    if (step % 10 == 0) host.turn();
  }
  EXPECT_TRUE(rings.is_settled());
  EXPECT_EQ(host.opened, 80u);
  EXPECT_LE(host.most_at_once, RequestRings::batch_changes);
  std::map<std::uint32_t, float> last;
  for (const host::ParamChange& change : host.taken) last[change.id] = change.value;
  ASSERT_EQ(last.size(), 100u);
  for (const auto& [id, value] : last) EXPECT_EQ(value, 3999.0f) << id;
}

TEST(RequestRings, AMaskOfAllOnesIsNoDeadEnd) {
  Host host;
  RequestRings rings(*host.block, 40, nullptr);
  host.turn();
  rings.turn(0);
  host.mask = ~0u;
  std::int64_t now = 0;
  rings.set_parameter(0, 1, 1);
  for (int step = 0; step < 1000 && !rings.is_settled(); ++step, now += millisecond_ns) {
    rings.turn(now);
    host.turn();
  }
  EXPECT_TRUE(rings.is_settled());
  EXPECT_EQ(rings.open_mask(), ~0u);
}

TEST(RequestRings, WhateverTheHostClaimsItHasNoMoreThanItsChain) {
  Host host;
  RequestRings rings(*host.block, 3, nullptr);
  host.turn();
  host.mask = 0xfffffffa;
  for (std::uint32_t claim = 0; claim < 100; ++claim) {
    host.block->saved[claim % host::saved_slots] = claim % 5;
    host.block->saved_write += claim % 2 == 0 ? 16 : 0xfffffff0;
    host.turn();
    rings.turn(claim);
    EXPECT_EQ(rings.open_mask(), 2u);
    rings.open_editor(0, "a");
    EXPECT_LE(rings.editors(), 3u);
  }
  std::size_t notices = 0;
  while (const auto plugin = rings.next_saved()) {
    EXPECT_LT(*plugin, 3u);
    ++notices;
  }
  EXPECT_EQ(notices, RequestRings::kept_notices);
}

TEST(RequestRings, NoCountersMakeMoreNoticesThanTheRingHolds) {
  const struct {
    const char* name;
    std::uint32_t read, write, after, whole;
  } cases[] = {
      {"none", 5, 5, 5, 0},
      {"some", 0xfffffffe, 3, 3, 5},
      {"a full ring", 0, 16, 16, 16},
      {"more than the ring", 0, 20, 20, 16},
      {"overwritten meanwhile", 0, 16, 20, 12},
      {"all of them", 0, 16, 40, 0},
      {"a counter that jumped back", 0, 0xfffffff0, 0, 0},
      {"forth and not back", 0, 0xfffffff0, 0xfffffff0, 16},
      {"back by a little", 10, 9, 9, 16},
  };
  for (const auto& c : cases) EXPECT_EQ(whole_notices(c.read, c.write, c.after), c.whole) << c.name;
}

TEST(LineStore, LinesAreSortedCutAndKeptToTheLast) {
  const std::string outside = "plugin host x: died outside its plugins: SIGBUS";
  LineStore lines;
  lines.feed("plugin host: could not save state to p\n");
  EXPECT_EQ(lines.death_line(), "") << "this line tells of no end";
  lines.feed(outside + "\n");
  EXPECT_EQ(lines.death_line(), outside);
  lines.feed("plugin host");
  lines.feed(" fake: plugin 2 died in load: SIGSEGV\nhello\n\n");
  lines.feed(std::string(5000, 'x'));
  lines.feed("\nplugin host: last");
  lines.finish();
  ASSERT_EQ(lines.host_lines().size(), 4u);
  EXPECT_EQ(lines.death_line(), "plugin host fake: plugin 2 died in load: SIGSEGV");
  EXPECT_EQ(lines.host_lines().back(), "plugin host: last");
  ASSERT_EQ(lines.plugin_lines().size(), 2u);
  EXPECT_EQ(lines.plugin_lines().back().size(), LineStore::longest_line);
  for (int i = 0; i < 100; ++i) lines.feed("noise\n");
  EXPECT_EQ(lines.plugin_lines().size(), LineStore::kept_lines);
  EXPECT_EQ(lines.host_lines().size(), 4u);
}

TEST(PresetClaims, OnlyAWrittenPresetIsClaimed) {
  struct Case {
    const char* chain;
    bool is_free;  // while /tmp/one is claimed
  };
  const Case cases[] = {
      {"aumu:abcd:abcd@/tmp/two", true},
      {"aumu:abcd:abcd@/tmp/sub/../one", false},
      {"aumu:abcd:abcd#1=2@/tmp/one", false},
      {"aumu:a@cd:abcd", true},
      {"aumu:abcd:abcd@", true},
      {"exs:/tmp/x.exs@/tmp/one", true},
      {"exs:/tmp/x.exs|aufx:abcd:abcd@/tmp/one", false},
      {"aumu:abcd:abcd@/tmp/three|aufx:abcd:abcd@/tmp/three", false},
  };
  for (const Case& test : cases) {
    PresetClaims first, second;
    std::string error;
    ASSERT_TRUE(first.claim({"aumu:abcd:abcd@/tmp/one"}, error));
    EXPECT_EQ(second.claim(split_chain(test.chain), error), test.is_free) << test.chain;
  }
}
