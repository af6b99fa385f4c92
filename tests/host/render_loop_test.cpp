#include "host/render_loop.hpp"

#include <gtest/gtest.h>
#include <os/os_sync_wait_on_address.h>

#include <algorithm>
#include <chrono>
#include <thread>

#include "host/chain.hpp"
#include "tests/support/recording_unit.hpp"

namespace vesk::host {
namespace {

/// A render thread over a block in this process, driven as a parent drives it.
class RenderLoop : public testing::Test {
 protected:
  void load(const char* chain_text, unsigned max_frames) {
    std::string error;
    ASSERT_TRUE(load_chain(chain_text, 48000, max_frames, *block_, chain_, error)) << error;
    script_.calls.clear();
    max_frames_ = max_frames;
  }

  void start() {
    thread_ = std::thread(render_loop, block_.get(), std::ref(chain_.plugins),
                          chain_.first_is_effect, 48000.0, max_frames_, 0u, nullptr);
  }

  /// Posts a period and waits for its answer.
  testing::AssertionResult serve(std::uint32_t frames, std::uint32_t posts = 1) {
    block_->frames = frames;
    const std::uint32_t request = load_relaxed(block_->render_request) + posts;
    store_release(block_->render_request, request);
    os_sync_wake_by_address_any(&block_->render_request, 4, OS_SYNC_WAKE_BY_ADDRESS_SHARED);
    const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(10);
    while (std::chrono::steady_clock::now() < deadline) {
      const std::uint32_t done = load_acquire(block_->render_done);
      if (done == request) return testing::AssertionSuccess();
      os_sync_wait_on_address_with_timeout(&block_->render_done, done, 4,
                                           OS_SYNC_WAIT_ON_ADDRESS_SHARED,
                                           OS_CLOCK_MACH_ABSOLUTE_TIME, 10'000'000);
    }
    return testing::AssertionFailure() << "no answer";
  }

  /// Posts periods until the thread listens: what is posted before is its starting point.
  void start_and_listen() {
    start();
    do {
      store_release(block_->render_request, load_relaxed(block_->render_request) + 1);
      std::this_thread::sleep_for(std::chrono::milliseconds(1));
    } while (load_acquire(block_->render_done) != load_relaxed(block_->render_request));
    script_.calls.clear();
  }

  void TearDown() override {
    store_release(block_->quit, 1);
    if (thread_.joinable()) thread_.join();
  }

  UnitScript script_;
  std::unique_ptr<Block> block_ = std::make_unique<Block>();
  Chain chain_;
  unsigned max_frames_ = 0;
  std::thread thread_;
};

TEST(RenderBudget, IsReckonedInTicksAndSaturates) {
  struct Case {
    std::uint32_t numer, denom;
    double rate;
    unsigned frames;
    std::uint32_t period, computation;
  };
  const Case cases[] = {
      {125, 3, 48000, 128, 64000, 57600},
      {1, 1, 48000, 128, 2666666, 2399999},
      {1, 1, 44100, 0, 0, 0},
      {1, 1, 0, 128, 4294967295u, 4294967295u * 9u / 10u},
      {1, 1, -48000, 128, 0, 0},
  };
  for (const Case& c : cases) {
    const RenderBudget budget = render_budget(c.numer, c.denom, c.rate, c.frames);
    EXPECT_EQ(budget.period, c.period);
    EXPECT_EQ(budget.constraint, c.period);
    EXPECT_EQ(budget.computation, c.computation);
  }
}

TEST_F(RenderLoop, DeliversEventsClampedAndBeforeTheAudio) {
  load(UnitScript::instrument, 4096);
  start_and_listen();
  block_->sample_time = 4800;
  block_->midi_count = 2;
  block_->midi[0] = {0x90, 60, 100, 0, 5};
  block_->midi[1] = {0x80, 60, 0, 0, 999};
  ASSERT_TRUE(serve(64));
  EXPECT_EQ(script_.calls, (std::vector<std::string>{"midi 90 3c 64 at 5", "midi 80 3c 00 at 63",
                                                     "render 64 at 4800"}));
  script_.calls.clear();
  ASSERT_TRUE(serve(0));
  EXPECT_EQ(script_.calls.at(1), "midi 80 3c 00 at 0");
  EXPECT_EQ(script_.calls.back(), "render 0 at 4800");

  script_.calls.clear();
  block_->midi_count = 200;
  ASSERT_TRUE(serve(64));
  EXPECT_EQ(script_.calls.size(), max_midi_events + 1);
}

TEST_F(RenderLoop, ClearsTheOutputsForAnInstrument) {
  load(UnitScript::instrument, 4096);
  script_.render = [](UInt32 frames, AudioBufferList* data) {
    std::fill_n(static_cast<float*>(data->mBuffers[0].mData), frames, 0.5f);
    return noErr;
  };
  start_and_listen();
  std::fill_n(block_->output_left, buffer_frames, 9.0f);
  std::fill_n(block_->output_right, buffer_frames, 9.0f);
  ASSERT_TRUE(serve(0));
  EXPECT_EQ(block_->output_left[0], 9.0f) << "no frames, nothing touched";
  ASSERT_TRUE(serve(16));
  EXPECT_EQ(block_->output_left[15], 0.5f);
  EXPECT_EQ(block_->output_right[15], 0.0f);
  EXPECT_EQ(block_->output_left[16], 9.0f);
}

TEST_F(RenderLoop, CutsPeriodsToWhatFits) {
  struct Case {
    unsigned max_frames;
    std::uint32_t frames;
    const char* rendered;
  };
  for (const Case& c : {Case{4096, 5000, "render 4096 at 0"}, Case{64, 200, "render 64 at 0"}}) {
    SCOPED_TRACE(c.rendered);
    Block block{};
    Chain chain;
    std::string error;
    ASSERT_TRUE(load_chain(UnitScript::instrument, 48000, c.max_frames, block, chain, error));
    std::swap(chain.plugins, chain_.plugins);
    max_frames_ = c.max_frames;
    start_and_listen();
    std::fill_n(block_->output_left, buffer_frames, 9.0f);
    std::fill_n(block_->output_right, buffer_frames, 9.0f);
    ASSERT_TRUE(serve(c.frames));
    EXPECT_EQ(script_.calls.back(), c.rendered);
    const auto end = std::min(c.frames, buffer_frames);
    EXPECT_EQ(std::count(block_->output_left, block_->output_left + end, 0.0f), end)
        << "beyond what was rendered there is silence";
    if (end < buffer_frames) EXPECT_EQ(block_->output_right[end], 9.0f);
    TearDown();
    std::swap(chain.plugins, chain_.plugins);
    store_release(block_->quit, 0);
  }
}

TEST_F(RenderLoop, RunsAChainOfEffectsOverACopyOfTheInput) {
  load("aufx:Reco:Test|aufx:Reco:Test", 64);
  script_.render = [this](UInt32 frames, AudioBufferList* data) {
    AudioUnitRenderActionFlags flags = 0;
    const OSStatus status = script_.pull_input(&flags, frames, data);
    for (int channel = 0; channel < 2; ++channel) {
      auto* samples = static_cast<float*>(data->mBuffers[channel].mData);
      for (UInt32 i = 0; i < frames; ++i) samples[i] = samples[i] * 2 + 1;
    }
    return status;
  };
  start_and_listen();
  std::fill_n(block_->input_left, 8, 3.0f);
  std::fill_n(block_->input_right, 8, 4.0f);
  ASSERT_TRUE(serve(8));
  EXPECT_EQ(block_->output_left[7], 3.0f * 4 + 3);
  EXPECT_EQ(block_->output_right[7], 4.0f * 4 + 3);
  // Both units wrote over what they read.
  EXPECT_EQ(block_->input_left[7], 3.0f);
  EXPECT_EQ(block_->input_right[7], 4.0f);
  EXPECT_EQ(script_.calls.size(), 2u);
}

TEST_F(RenderLoop, AnswersSeveralPostsWithTheLatest) {
  load(UnitScript::instrument, 64);
  start_and_listen();
  ASSERT_TRUE(serve(8, 3));
  EXPECT_EQ(script_.calls.size(), 1u);
  EXPECT_EQ(load_acquire(block_->render_done), load_relaxed(block_->render_request));
}

TEST_F(RenderLoop, TakesAnEarlyRequestAsItsStartingPoint) {
  load(UnitScript::instrument, 64);
  store_release(block_->render_request, 7);
  start();
  std::this_thread::sleep_for(std::chrono::milliseconds(50));
  EXPECT_EQ(load_acquire(block_->render_done), 0u);
  ASSERT_TRUE(serve(8));
}

TEST_F(RenderLoop, QuitsWithoutAWake) {
  load(UnitScript::instrument, 64);
  start_and_listen();
  const auto start = std::chrono::steady_clock::now();
  store_release(block_->quit, 1);
  thread_.join();
  EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(5));
  EXPECT_TRUE(script_.calls.empty()) << "nothing more is rendered";
}

}  // namespace
}  // namespace vesk::host
