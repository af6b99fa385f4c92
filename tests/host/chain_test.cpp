// What loading and letting go of a chain leaves in the block and asks of its plugins.

#include "host/chain.hpp"

#include <gtest/gtest.h>

#include <chrono>
#include <memory>

#include "tests/support/recording_unit.hpp"

namespace vesk::host {
namespace {

TEST(Chain, AddsUpWhatItsPluginsTookAndEndsTheLastOneFirst) {
  UnitScript script;
  script.pause = std::chrono::milliseconds(1);
  script.latency = 0.25;
  const auto block = std::make_unique<Block>();
  double* const totals[] = {&block->instantiate_ms_total, &block->initialize_ms_total,
                            &block->restore_ms_total, &block->latency_seconds_total};
  for (const bool fails : {false, true}) {
    SCOPED_TRACE(fails);
    script.calls.clear();
    // They are added to, whatever they hold.
    for (double* total : totals) *total = 1000;
    {
      Chain chain;
      std::string error;
      EXPECT_NE(load_chain(fails ? "aumu:Reco:Test|aufx:Reco:Test|aufx:none:Here|aufx:Reco:Test"
                                 : "aumu:Reco:Test|aufx:Reco:Test",
                           48000, 64, *block, chain, error),
                fails);
      EXPECT_EQ(error, fails ? "aufx:none:Here: component not found: aufx:none:Here" : "");
      ASSERT_GE(chain.plugins.size(), 2u);
      const Timings& first = chain.plugins[0]->timings();
      const Timings& second = chain.plugins[1]->timings();
      EXPECT_EQ(*totals[0], 1000 + first.instantiate_ms + second.instantiate_ms);
      EXPECT_EQ(*totals[1], 1000 + first.initialize_ms + second.initialize_ms);
      EXPECT_EQ(*totals[2], 1000 + first.restore_ms + second.restore_ms);
      EXPECT_EQ(*totals[3], 1000.5);
    }
    ASSERT_EQ(script.calls.back(), "close");
    EXPECT_EQ(script.input.inputProc, nullptr) << "the instrument, which has no input, is the last";
  }
}

}  // namespace
}  // namespace vesk::host
