// The main loop on a clock and with editors of the test's own. The times that the test program
// prints are of that clock too.

#include "host/supervisor.hpp"

#include <gtest/gtest.h>

#include <numeric>

#include "tests/support/recording_unit.hpp"
#include "tests/support/scratch_folder.hpp"

namespace {

using Clock = std::chrono::steady_clock;

Clock::time_point g_now;

/// The editors that the supervisor asks for.
struct Editors {
  std::uint32_t mask = 0;
  std::vector<unsigned> opened;
  std::function<void()> on_open;
  std::function<void()> on_pump;
  std::function<void(unsigned)> on_close;  ///< the supervisor's
};

Editors g_editors;

}  // namespace

Clock::time_point fake_now() asm("__wrap__ZNSt6chrono3_V212steady_clock3nowEv");
Clock::time_point fake_now() {
  return g_now;
}

namespace vesk::host {

struct Windows::Impl {};

Windows::Windows(std::function<void(unsigned)> on_close) {
  g_editors.on_close = std::move(on_close);
}
Windows::~Windows() = default;
bool Windows::open(unsigned plugin, ComponentInstanceRecord*, const std::string&) {
  g_editors.opened.push_back(plugin);
  if (g_editors.on_open) g_editors.on_open();
  return true;
}
void Windows::close_all() {}
std::uint32_t Windows::open_mask() const {
  return g_editors.mask;
}
void Windows::pump(double) {
  if (g_editors.on_pump) g_editors.on_pump();
}

namespace {

constexpr std::uint32_t mark = 0xFFFFFFFF;
constexpr std::size_t most_visits = 20'000;

/// A supervisor over a block in this process. Each change of a parameter is a visit of a slot.
class SupervisorTest : public testing::Test {
 protected:
  SupervisorTest() {
    g_editors = {};
    load(UnitScript::effect);
    for (std::uint32_t slot = 0; slot < param_slots; ++slot) block_->params[slot] = {0, slot, 0};
  }

  void load(const std::string& text) {
    std::string error;
    EXPECT_TRUE(load_chain(text, 48000, 64, *block_, chain_, error)) << error;
    script_.calls.clear();
  }

  std::string preset(unsigned plugin) const { return folder_ / std::to_string(plugin); }

  /// Runs a supervisor whose parent has moved its counter from `start` to `end`, until `quit_at`
  /// visits were made; the visited slots.
  std::vector<std::uint32_t> run(std::uint32_t start, std::uint32_t end, std::size_t quit_at) {
    std::vector<std::uint32_t> visited;
    // The unit's parameters are set as real-time code may set them.
    visited.reserve(most_visits);
    store_release(block_->param_write, start);
    store_release(block_->open_mask, mark);
    store_release(block_->quit, 0);
    Supervisor supervisor(*block_, chain_, "chain");
    store_release(block_->param_write, end);
    script_.on_parameter = [&](AudioUnitParameterID id) {
      if (visited.size() < most_visits) visited.push_back(id);
      script_.calls.clear();
      if (load_acquire(block_->open_mask) == mark) visited_in_first_turn_ = visited.size();
      if (visited.size() == quit_at) store_release(block_->quit, 1);
    };
    supervisor.run();
    return visited;
  }

  const tests::ScratchFolder folder_;
  UnitScript script_;
  std::unique_ptr<Block> block_ = std::make_unique<Block>();
  Chain chain_;
  std::size_t visited_in_first_turn_ = 0;
};

TEST_F(SupervisorTest, VisitsEveryEntryInOrderAcrossTheWrap) {
  // More than a ring ahead, and past the largest counter.
  const std::vector<std::uint32_t> visited = run(0xFFFFFFF0, 0x00000018, 40);
  std::vector<std::uint32_t> expected(40);
  std::iota(expected.begin(), expected.end(), 0xFFFFFFF0);
  for (std::uint32_t& entry : expected) entry %= param_slots;
  EXPECT_EQ(visited, expected);
  EXPECT_EQ(visited_in_first_turn_, 40u);
}

TEST_F(SupervisorTest, EndsItsTurnHoweverFarAheadTheCounterIsAndQuitsAfterAWholeRing) {
  EXPECT_EQ(run(3, 3 + param_slots, 1).size(), param_slots);
  EXPECT_EQ(run(5, 4, 40).size(), 2 * param_slots);
  const std::size_t turn = 10'000;  // fewer than these are visited in one
  EXPECT_LT(run(5, 4, turn).size(), turn + param_slots);
  EXPECT_LT(visited_in_first_turn_, turn);
  EXPECT_GE(visited_in_first_turn_, 1000u) << "what a parent may have lost count of is not put off";
}

TEST_F(SupervisorTest, PassesOverWhatWasPostedBeforeItAndPluginsThatTheChainDoesNotHave) {
  // Nothing is in the place after the last, so that whoever uses it is found out.
  load(UnitScript::effect);
  const auto taken_out = std::move(chain_.plugins.back());
  chain_.plugins.pop_back();
  const auto post = [&](unsigned plugin) {
    block_->params[block_->param_write++] = {plugin, 0, 0};
    block_->window_requests[block_->window_write++] = {WindowRequest::open, plugin, "None"};
  };
  post(0);
  Supervisor supervisor(*block_, chain_, "chain");
  post(1);
  post(99);
  g_editors.on_pump = [&] { store_release(block_->quit, 1); };
  supervisor.run();
  EXPECT_TRUE(script_.calls.empty());
  EXPECT_TRUE(g_editors.opened.empty());
}

TEST_F(SupervisorTest, WhatAnEditorChangesAsItOpensIsSaved) {
  load(UnitScript::effect + ("@" + preset(1)));
  Supervisor supervisor(*block_, chain_, "chain");
  block_->window_requests[block_->window_write++] = {WindowRequest::open, 1, "Opens"};
  g_editors.on_open = [&] { script_.state_text = "changed"; };
  g_editors.on_pump = [&] { store_release(block_->quit, 1); };
  supervisor.run();
  EXPECT_EQ(g_editors.opened, std::vector<unsigned>{1});
  g_editors.on_close(1);
  EXPECT_EQ(load_acquire(block_->saved_write), 1u);
}

TEST_F(SupervisorTest, SavesWhatIsOpenOnceMoreThanTenSecondsHavePassed) {
  // Plugin 32 has no bit, and bit 0 is not its.
  for (unsigned plugin = 1; plugin <= 32; ++plugin)
    load(UnitScript::effect + ("@" + preset(plugin)));
  std::swap(chain_.plugins[0], chain_.plugins[31]);
  g_editors.mask = 1u | 1u << 2;
  constexpr std::chrono::nanoseconds steps[] = {std::chrono::seconds(10), Clock::duration(1),
                                                std::chrono::seconds(10), Clock::duration(1)};
  std::vector<std::uint32_t> saved;
  g_editors.on_pump = [&] {
    saved.push_back(load_acquire(block_->saved_write));
    if (saved.size() > std::size(steps)) return store_release(block_->quit, 1);
    g_now += steps[saved.size() - 1];
    script_.state_text = std::to_string(saved.size());
  };
  Supervisor(*block_, chain_, "chain").run();
  EXPECT_EQ(saved, (std::vector<std::uint32_t>{0, 0, 2, 2, 4}));
  EXPECT_EQ((std::vector(block_->saved, block_->saved + 4)),
            (std::vector<std::uint32_t>{0, 2, 0, 2}));
}

}  // namespace
}  // namespace vesk::host
