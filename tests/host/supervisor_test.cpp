#include "host/supervisor.hpp"

#include <gtest/gtest.h>

#include <numeric>

#include "tests/support/recording_unit.hpp"

namespace vesk::host {
namespace {

constexpr std::uint32_t mark = 0xFFFFFFFF;
constexpr std::size_t most_visits = 20'000;

/// A supervisor over a block in this process. Each change of a parameter is a visit of a slot.
class SupervisorTest : public testing::Test {
 protected:
  SupervisorTest() {
    std::string error;
    EXPECT_TRUE(load_chain(UnitScript::effect, 48000, 64, *block_, chain_, error)) << error;
    script_.calls.clear();
    for (std::uint32_t slot = 0; slot < param_slots; ++slot) block_->params[slot] = {0, slot, 0};
  }

  /// Runs a supervisor whose parent has moved its counter from `start` to `end`, until `quit_at`
  /// visits were made; the visited slots.
  std::vector<std::uint32_t> run(std::uint32_t start, std::uint32_t end, std::size_t quit_at) {
    std::vector<std::uint32_t> visited;
    // The unit's parameters are set as real-time code may set them.
    visited.reserve(most_visits);
    store_release(block_->param_write, start);
    store_release(block_->open_mask, mark);
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

TEST_F(SupervisorTest, FinishesARingOfChangesBeforeItQuits) {
  EXPECT_EQ(run(3, 3 + param_slots, 1).size(), param_slots);
}

TEST_F(SupervisorTest, SeesQuitBetweenTheRoundsOfACounterFarAhead) {
  EXPECT_EQ(run(5, 4, 40).size(), 2 * param_slots);
}

TEST_F(SupervisorTest, EndsItsTurnHoweverFarAheadTheCounterIs) {
  const std::size_t turn = 10'000;  // fewer than these are visited in one
  EXPECT_LT(run(5, 4, turn).size(), turn + param_slots);
  EXPECT_LT(visited_in_first_turn_, turn);
  EXPECT_GE(visited_in_first_turn_, 1000u) << "what a parent may have lost count of is not put off";
}

}  // namespace
}  // namespace vesk::host
