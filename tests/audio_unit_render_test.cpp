// What a unit may do in a render, and what the plugin makes of it.

#include <gtest/gtest.h>

#include <algorithm>
#include <chrono>
#include <thread>

#include "plugin/audio_unit_plugin.hpp"
#include "support/recording_unit.hpp"

using namespace vesk;
using namespace std::chrono_literals;
using Clock = std::chrono::steady_clock;

namespace {

constexpr unsigned kMaxFrames = 48;  // a millisecond at the rate below

class AudioUnitRendering : public testing::Test {
 protected:
  AudioUnitPlugin& load(const char* text) {
    std::string error;
    plugin_ = std::make_unique<AudioUnitPlugin>(*PluginSpec::parse(text, error), false);
    EXPECT_TRUE(plugin_->load(48000, kMaxFrames, error)) << error;
    return *plugin_;
  }

  UnitScript script_;
  std::unique_ptr<AudioUnitPlugin> plugin_;
  float left_[kMaxFrames] = {};
  float right_[kMaxFrames] = {};
};

TEST_F(AudioUnitRendering, BuffersHoldZerosUntilTheUnitWritesThem) {
  ASSERT_TRUE(load(UnitScript::instrument).render_add(left_, right_, kMaxFrames, 0));
  EXPECT_EQ(std::count(left_, left_ + kMaxFrames, 0.0f), kMaxFrames);
  EXPECT_EQ(std::count(right_, right_ + kMaxFrames, 0.0f), kMaxFrames);
  EXPECT_EQ(script_.calls.back(), "render 48 at 0");
}

TEST_F(AudioUnitRendering, AudioInBuffersOfTheUnitsOwnIsFound) {
  float own[2][kMaxFrames];
  std::fill_n(own[0], kMaxFrames, -0.25f);
  std::fill_n(own[1], kMaxFrames, 0.5f);
  script_.render = [&](UInt32, AudioBufferList* data) {
    AudioBuffer* const buffers = data->mBuffers;
    buffers[0].mData = own[0];
    buffers[1].mData = own[1];
    return noErr;
  };
  AudioUnitPlugin& instrument = load(UnitScript::instrument);
  ASSERT_TRUE(instrument.render_add(left_, right_, kMaxFrames, 0));
  EXPECT_EQ(left_[47], -0.25f);
  EXPECT_EQ(right_[47], 0.5f);

  AudioUnitPlugin& effect = load(UnitScript::effect);
  ASSERT_TRUE(effect.process(left_, right_, kMaxFrames, 0, 0));
  EXPECT_EQ(right_[47], 0.5f);
  EXPECT_EQ(effect.stats().peak, 0.25f) << "the left channel's";
}

TEST_F(AudioUnitRendering, LoadIsTheShareOfTheTimeThatTheFramesLast) {
  auto busy_for = 0ms;
  script_.render = [&](UInt32, AudioBufferList*) {
    for (const auto end = Clock::now() + busy_for; Clock::now() < end;) {
    }
    return noErr;
  };
  AudioUnitPlugin& plugin = load(UnitScript::instrument);
  double least_sum = 0, most_sum = 0, least_max = 0, most_max = 0;
  const std::pair<unsigned, std::chrono::milliseconds> renders[] = {
      {48, 2ms}, {24, 3ms}, {48, 0ms}, {0, 1ms}};
  for (const auto& [frames, busy] : renders) {
    busy_for = busy;
    const auto start = Clock::now();
    ASSERT_TRUE(plugin.render_add(left_, right_, frames, 0));
    if (frames == 0) continue;  // no time to be measured against
    const std::chrono::duration<double, std::milli> took = Clock::now() - start;
    const double frames_last_ms = frames / 48.0;
    const double least = static_cast<double>(busy.count()) / frames_last_ms * 100;
    const double most = took.count() / frames_last_ms * 100;
    least_sum += least - 0.1;  // kept in per mille, cut
    most_sum += most;
    least_max = std::max(least_max, least);
    most_max = std::max(most_max, most);
  }
  const Stats stats = plugin.stats();
  EXPECT_EQ(stats.renders, 4u);
  EXPECT_GE(stats.max_load_percent, least_max);
  EXPECT_LE(stats.max_load_percent, most_max);
  EXPECT_GE(stats.mean_load_percent, least_sum / 4);
  EXPECT_LE(stats.mean_load_percent, most_sum / 4);
}

TEST_F(AudioUnitRendering, InputComesInListsOfAnyLength) {
  struct Case {
    UInt32 buffers;
    bool inside_process;
    float second;  // what stands in the second buffer afterwards
    AudioUnitRenderActionFlags flags;
  };
  constexpr AudioUnitRenderActionFlags before = kAudioUnitRenderAction_PreRender;
  constexpr AudioUnitRenderActionFlags silent = before | kAudioUnitRenderAction_OutputIsSilence;
  const Case cases[] = {{0, true, 9, before},  {1, true, 9, before},  {2, true, 2, before},
                        {3, true, 2, before},  {0, false, 9, before}, {1, false, 9, silent},
                        {2, false, 0, silent}, {3, false, 0, silent}};
  AudioUnitPlugin& plugin = load(UnitScript::effect);
  for (const Case& c : cases) {
    SCOPED_TRACE(testing::Message() << c.buffers << " buffers, in process: " << c.inside_process);
    script_.render = [&](UInt32 frames, AudioBufferList*) {
      float offered[3][kMaxFrames];
      std::fill_n(&offered[0][0], 3 * kMaxFrames, 9.0f);
      struct {
        AudioBufferList list;
        AudioBuffer more[2];
      } input{};
      AudioBuffer* const buffers = input.list.mBuffers;
      input.list.mNumberBuffers = c.buffers;
      for (UInt32 i = 0; i < 3; ++i) buffers[i].mData = offered[i];
      AudioUnitRenderActionFlags flags = before;
      EXPECT_EQ(script_.pull_input(&flags, frames, &input.list), noErr);
      EXPECT_EQ(flags, c.flags);
      EXPECT_EQ(offered[0][frames - 1], c.buffers == 0 ? 9.0f : c.inside_process ? 1.0f : 0.0f);
      EXPECT_EQ(offered[1][frames - 1], c.second);
      EXPECT_EQ(offered[1][frames], 9.0f) << "no frame beyond those asked for";
      EXPECT_EQ(offered[2][0], 9.0f) << "there is no third channel";
      return noErr;
    };
    std::fill_n(left_, kMaxFrames, 1.0f);
    std::fill_n(right_, kMaxFrames, 2.0f);
    constexpr unsigned frames = kMaxFrames / 2;
    ASSERT_TRUE(c.inside_process ? plugin.process(left_, right_, frames, 0, 0)
                                 : plugin.render_add(left_, right_, frames, 0));
  }
}

// What ThreadSanitizer is to see: figures read, and the render path cut off, under way.
TEST_F(AudioUnitRendering, IsWatchedAndCutOffFromAnotherThread) {
  script_.render = [](UInt32 frames, AudioBufferList* data) {
    std::fill_n(static_cast<float*>(data->mBuffers[0].mData), frames, 0.5f);
    return noErr;
  };
  AudioUnitPlugin& plugin = load(UnitScript::instrument);
  std::thread renderer([&] {
    double time = 0;
    do {
      plugin.midi(0x90, 60, 100, time, 0);
      time += kMaxFrames;
    } while (plugin.render_add(left_, right_, kMaxFrames, time));
  });
  const auto deadline = Clock::now() + 10s;
  Stats stats;
  do {
    stats = plugin.stats();
  } while (stats.renders < 1000 && !plugin.failed() && Clock::now() < deadline);
  plugin.detach();
  renderer.join();
  EXPECT_GE(stats.renders, 1000u);
  EXPECT_EQ(stats.peak, 0.5f);
  EXPECT_EQ(plugin.stats().max_note_latency, kMaxFrames);
  plugin.dispose();
  EXPECT_EQ(script_.calls.back(), "close");
}

}  // namespace
