// The parent's side and the render loop as two threads on one mapping: what ThreadSanitizer cannot
// see across processes it sees here.
#include <gtest/gtest.h>

#include <array>
#include <chrono>
#include <memory>
#include <thread>

#include "client/src/period_driver.hpp"
#include "client/src/request_rings.hpp"
#include "host/atomics.hpp"
#include "host/chain.hpp"
#include "host/render_loop.hpp"
#include "tests/support/recording_unit.hpp"
#include "tests/support/wait_until.hpp"

using namespace std::chrono_literals;
using namespace vesk;
using client::Answer;
using client::PeriodDriver;

namespace {

constexpr unsigned period_frames = 64;

/// A render thread over a block in this process and the driver of a parent before it.
class PeriodThreads : public testing::TestWithParam<bool> {
 protected:
  void SetUp() override {
    std::string error;
    ASSERT_TRUE(host::load_chain(UnitScript::effect, 48000, period_frames, *block_, chain_, error))
        << error;
    block_->open_mask = ~0u;
    PeriodDriver::Settings settings;
    settings.max_frames = period_frames;
    settings.spins = GetParam();
    driver_ = std::make_unique<PeriodDriver>(*block_, settings);
    renderer_ = std::thread(host::render_loop, block_.get(), std::ref(chain_.plugins),
                            chain_.first_is_effect, 48000.0, period_frames, 0u, nullptr);
    ASSERT_TRUE(tests::wait_until([this] { return driver_->probe(1ms); }));
  }

  void TearDown() override {
    host::store_release(block_->quit, 1);
    if (renderer_.joinable()) renderer_.join();
  }

  UnitScript script_;
  std::unique_ptr<host::Block> block_ = std::make_unique<host::Block>();
  host::Chain chain_;
  std::unique_ptr<PeriodDriver> driver_;
  std::thread renderer_;
};

}  // namespace

INSTANTIATE_TEST_SUITE_P(spin, PeriodThreads, testing::Bool());

TEST_P(PeriodThreads, ThousandsOfPeriodsComeBackEachWithItsOwnAudioAndTheRingsBesideThem) {
  script_.render = [this](UInt32 frames, AudioBufferList* data) {
    AudioUnitRenderActionFlags flags = 0;
    return script_.pull_input(&flags, frames, data);
  };
  // The host's main loop, as far as the rings go. (The recording unit takes no calls from two
  // threads.)
  std::array<float, 8> values{};
  std::jthread main_loop([&](const std::stop_token& ends) {
    std::uint32_t read = 0;
    while (!ends.stop_requested()) {
      for (const std::uint32_t end = host::load_acquire(block_->param_write); read != end; ++read) {
        const host::ParamChange change = block_->params[read % host::param_slots];
        values[change.id] = change.value;
      }
      host::store_release(block_->open_mask, 0);
    }
  });
  client::RequestRings rings(*block_, 1, nullptr);
  std::int64_t now = 0;
  const client::MidiEvent note{0x90, 60, 100, 0, period_frames - 1};
  for (unsigned period = 0; period < 5000; ++period, now += 2'000'000) {
    for (unsigned i = 0; i < period_frames; ++i) {
      driver_->input(0)[i] = static_cast<float>(period);
      driver_->input(1)[i] = static_cast<float>(i);
    }
    rings.set_parameter(0, period % 8, static_cast<float>(period));
    rings.turn(now);
    const unsigned events = period % 3;
    const client::MidiEvent notes[] = {note, note};
    ASSERT_EQ(driver_->render(period_frames, period * 64.0, std::span(notes, events), 10s),
              Answer::answered);
    ASSERT_EQ(driver_->output(0)[period_frames - 1], static_cast<float>(period));
    ASSERT_EQ(driver_->output(1)[1], 1.0f);
  }
  EXPECT_EQ(driver_->answer_times().periods, 5000u);
  EXPECT_TRUE(tests::wait_until([&] {
    rings.turn(now += 2'000'000);
    return rings.is_settled();
  }));
  main_loop.request_stop();
  main_loop.join();
  for (unsigned id = 0; id < 8; ++id) EXPECT_EQ(values[id], static_cast<float>(4992 + id));
}
