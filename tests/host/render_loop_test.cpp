#include "host/render_loop.hpp"

#include <gtest/gtest.h>
#include <os/os_sync_wait_on_address.h>

#include <algorithm>
#include <atomic>
#include <thread>

#include "host/chain.hpp"
#include "tests/support/recording_unit.hpp"
#include "tests/support/wait_until.hpp"

namespace {

// What the render thread asked of its waits, which the linker puts in the place of the platform's.
std::atomic<const void*> g_sleeping_place{nullptr};
std::atomic<unsigned> g_sleeps{0};
std::atomic<std::uint64_t> g_sleep_limit_ns{0};

}  // namespace

extern "C" {
int __real_os_sync_wait_on_address_with_timeout(void*, uint64_t, size_t, uint32_t, os_clockid_t,
                                                uint64_t);
int __wrap_os_sync_wait_on_address_with_timeout(void* address, uint64_t value, size_t size,
                                                uint32_t flags, os_clockid_t clock,
                                                uint64_t timeout_ns) {
  if (address == g_sleeping_place) {
    g_sleep_limit_ns = timeout_ns;
    ++g_sleeps;
  }
  return __real_os_sync_wait_on_address_with_timeout(address, value, size, flags, clock,
                                                     timeout_ns);
}
}

namespace vesk::host {
namespace {

using tests::wait_until;

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

  /// Starts the thread and waits until it sleeps.
  void start_and_listen() {
    const unsigned before = g_sleeps;
    g_sleeping_place = &block_->render_request;
    start();
    ASSERT_TRUE(wait_until([&] { return g_sleeps != before; }));
  }

  void post(std::uint32_t frames, std::uint32_t posts = 1) {
    block_->frames = frames;
    store_release(block_->render_request, load_relaxed(block_->render_request) + posts);
    os_sync_wake_by_address_any(&block_->render_request, 4, OS_SYNC_WAKE_BY_ADDRESS_SHARED);
  }

  /// Posts a period and waits for its answer.
  bool serve(std::uint32_t frames, std::uint32_t posts = 1) {
    post(frames, posts);
    return wait_until(
        [&] { return load_acquire(block_->render_done) == load_relaxed(block_->render_request); });
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
      {1, 1, 0, 128, 4294967295u, 429496728u},
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
  load("aumu:Reco:Test|aufx:Reco:Test", 4096);
  script_.render = [](UInt32, AudioBufferList* data) {
    *static_cast<float*>(data->mBuffers[0].mData) = 1;
    return noErr;
  };
  start_and_listen();
  block_->sample_time = 4800;
  block_->midi_count = 2;
  block_->midi[0] = {0x90, 60, 100, 0, 5};
  block_->midi[1] = {0x80, 60, 0, 0, 999};
  ASSERT_TRUE(serve(64));
  EXPECT_EQ(script_.calls, (std::vector<std::string>{"midi 90 3c 64 at 5", "midi 80 3c 00 at 63",
                                                     "render 64 at 4800", "render 64 at 4800"}));
  EXPECT_EQ(chain_.plugins[0]->stats().min_note_latency, -5) << "a note has its period's time";
  script_.calls.clear();
  ASSERT_TRUE(serve(0));
  EXPECT_EQ(script_.calls.at(1), "midi 80 3c 00 at 0");
  EXPECT_EQ(script_.calls.back(), "render 0 at 4800");

  script_.calls.clear();
  block_->midi_count = 200;
  ASSERT_TRUE(serve(64));
  EXPECT_EQ(script_.calls.size(), max_midi_events + 2);
}

class RenderLoopLimit : public RenderLoop, public testing::WithParamInterface<unsigned> {};
INSTANTIATE_TEST_SUITE_P(max_frames, RenderLoopLimit, testing::Values(64, buffer_frames));

TEST_P(RenderLoopLimit, ClearsTheOutputsAndCutsPeriodsToWhatFits) {
  load(UnitScript::instrument, GetParam());
  script_.render = [](UInt32 frames, AudioBufferList* data) {
    std::fill_n(static_cast<float*>(data->mBuffers[0].mData), frames, 0.5f);
    return noErr;
  };
  start_and_listen();
  for (const std::uint32_t asked : {0u, 200u, 5000u}) {
    SCOPED_TRACE(asked);
    std::fill_n(block_->output_left, buffer_frames, 9.0f);
    std::fill_n(block_->output_right, buffer_frames, 9.0f);
    ASSERT_TRUE(serve(asked));
    const std::uint32_t end = std::min(asked, buffer_frames), rendered = std::min(end, GetParam());
    EXPECT_EQ(script_.calls.back(), "render " + std::to_string(rendered) + " at 0");
    const float *left = block_->output_left, *right = block_->output_right;
    EXPECT_EQ(std::count(left, left + rendered, 0.5f), rendered);
    EXPECT_EQ(std::count(left + rendered, left + end, 0.0f), end - rendered) << "silence beyond";
    EXPECT_EQ(std::count(right, right + end, 0.0f), end);
    if (end < buffer_frames) EXPECT_TRUE(left[end] == 9.0f && right[end] == 9.0f);
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
  block_->sample_time = 96;
  block_->midi_count = 1;
  block_->midi[0] = {0xB0, 1, 2, 0, 3};
  ASSERT_TRUE(serve(8));
  EXPECT_EQ(block_->output_left[7], 3.0f * 4 + 3);
  EXPECT_EQ(block_->output_right[7], 4.0f * 4 + 3);
  // Both units wrote over what they read.
  EXPECT_EQ(block_->input_left[7], 3.0f);
  EXPECT_EQ(block_->input_right[7], 4.0f);
  EXPECT_EQ(script_.calls,
            (std::vector<std::string>{"midi b0 01 02 at 3", "render 8 at 96", "render 8 at 96"}));
}

TEST_F(RenderLoop, TakesAnEarlyRequestAsItsStartAndAnswersSeveralPostsWithTheLatest) {
  load(UnitScript::instrument, 64);
  store_release(block_->render_request, 7);
  start_and_listen();
  EXPECT_EQ(load_acquire(block_->render_done), 0u);
  EXPECT_TRUE(script_.calls.empty());
  ASSERT_TRUE(serve(8, 3));
  EXPECT_EQ(script_.calls.size(), 1u);
}

TEST_F(RenderLoop, AnswersThePeriodThatItRenderedAndNoOtherOnceToldToQuit) {
  load(UnitScript::instrument, 64);
  std::vector<std::uint32_t> answered;
  answered.reserve(8);  // the render thread fills it
  script_.render = [&](UInt32, AudioBufferList*) {
    answered.push_back(load_acquire(block_->render_done));
    if (answered.size() == 2) store_release(block_->quit, 1);
    // The next one arrives before this one is answered.
    if (answered.size() < 4)
      store_release(block_->render_request, load_relaxed(block_->render_request) + 1);
    return noErr;
  };
  start_and_listen();
  post(8);
  thread_.join();
  EXPECT_EQ(answered, (std::vector<std::uint32_t>{0, 1}));
  EXPECT_EQ(load_acquire(block_->render_done), 2u);
}

TEST_F(RenderLoop, QuitsWithoutAWake) {
  load(UnitScript::instrument, 64);
  start_and_listen();
  EXPECT_EQ(g_sleep_limit_ns, 100'000'000u) << "in nanoseconds, which it takes to notice";
  store_release(block_->quit, 1);
  thread_.join();
  EXPECT_TRUE(script_.calls.empty()) << "nothing more is rendered";
}

}  // namespace
}  // namespace vesk::host
