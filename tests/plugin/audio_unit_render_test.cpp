// What a unit may do in a render, and what the plugin makes of it.

#include <gtest/gtest.h>

#include <algorithm>
#include <chrono>
#include <memory>
#include <thread>
#include <utility>

#include "plugin/audio_unit_plugin.hpp"
#include "tests/support/recording_unit.hpp"

using namespace vesk;
using namespace std::chrono_literals;
using Clock = std::chrono::steady_clock;

namespace {

constexpr unsigned max_frames = 48;  // a millisecond at the rate below

/// A unit's output: both channels from one value a frame.
void fill(AudioBufferList* data, UInt32 frames, float left, float right) {
  AudioBuffer* const buffers = data->mBuffers;
  std::fill_n(static_cast<float*>(buffers[0].mData), frames, left);
  std::fill_n(static_cast<float*>(buffers[1].mData), frames, right);
}

class AudioUnitRendering : public testing::Test {
 protected:
  AudioUnitPlugin& load(const char* text) {
    std::string error;
    plugin_ = std::make_unique<AudioUnitPlugin>(*PluginSpec::parse(text, error), false);
    EXPECT_TRUE(plugin_->load(48000, max_frames, error)) << error;
    return *plugin_;
  }

  UnitScript script_;
  std::unique_ptr<AudioUnitPlugin> plugin_;
  float left_[max_frames] = {};
  float right_[max_frames] = {};
};

TEST_F(AudioUnitRendering, AddsAnInstrumentsAudioAndKeepsThePeakOfItsLeft) {
  AudioUnitPlugin& plugin = load(UnitScript::instrument);
  left_[2] = left_[3] = 1;
  ASSERT_TRUE(plugin.render_add(left_, right_, max_frames, 0)) << "zeros, which the unit leaves";
  EXPECT_EQ(std::count(left_, left_ + max_frames, 0.0f), max_frames - 2);
  EXPECT_EQ(std::count(right_, right_ + max_frames, 0.0f), max_frames);

  script_.render = [](UInt32 frames, AudioBufferList* data) {
    fill(data, frames, -0.5f, 2.0f);
    return noErr;
  };
  ASSERT_TRUE(plugin.render_add(left_, right_, 3, 1024));
  EXPECT_EQ(left_[2], 0.5f);
  EXPECT_EQ(right_[2], 2.0f);
  EXPECT_EQ(left_[3], 1.0f);
  EXPECT_EQ(script_.calls.back(), "render 3 at 1024");
  EXPECT_EQ(script_.render_time.mFlags, UInt32{kAudioTimeStampSampleTimeValid});
  EXPECT_EQ(plugin.stats().peak, 0.5f);

  float big[max_frames + 1] = {};
  EXPECT_FALSE(plugin.render_add(big, big, max_frames + 1, 0)) << "more than it was loaded for";
  EXPECT_FALSE(plugin.failed());
  EXPECT_EQ(plugin.stats().renders, 2u);
}

TEST_F(AudioUnitRendering, EachChannelIsTakenAsTheUnitLeavesIt) {
  enum Left { in_place, elsewhere, nowhere };
  float own[2][2] = {{1, -1}, {2, -2}};
  Left channels[2];
  script_.render = [&](UInt32 frames, AudioBufferList* data) {
    fill(data, frames, 5, 7);
    AudioBuffer* const buffers = data->mBuffers;
    for (unsigned channel = 0; channel < 2; ++channel) {
      if (channels[channel] == elsewhere) buffers[channel].mData = own[channel];
      if (channels[channel] == nowhere) buffers[channel].mData = nullptr;
    }
    return noErr;
  };
  AudioUnitPlugin& instrument = load(UnitScript::instrument);
  const auto kept = std::move(plugin_);
  AudioUnitPlugin& effect = load(UnitScript::effect);
  const float wants[2][3] = {{5, -1, 0}, {7, -2, 0}};
  for (const Left left_channel : {in_place, elsewhere, nowhere}) {
    for (const Left right_channel : {in_place, elsewhere, nowhere}) {
      SCOPED_TRACE(testing::Message() << left_channel << right_channel);
      channels[0] = left_channel;
      channels[1] = right_channel;
      float left[2] = {1, 1}, right[2] = {1, 1};
      EXPECT_TRUE(instrument.render_add(left, right, 2, 0));
      EXPECT_EQ(left[1], 1 + wants[0][left_channel]);
      EXPECT_EQ(right[1], 1 + wants[1][right_channel]);
      EXPECT_TRUE(effect.process(left, right, 2, 0, 0));
      EXPECT_EQ(left[1], wants[0][left_channel]);
      EXPECT_EQ(right[1], wants[1][right_channel]);
    }
  }
  EXPECT_EQ(effect.stats().peak, 5) << "the left channel alone counts";
}

TEST_F(AudioUnitRendering, NoteLatenciesAreMeasured) {
  UInt32 sound_at = 0;
  script_.render = [&](UInt32 frames, AudioBufferList* data) {
    fill(data, frames, 0, 1);
    if (sound_at < frames) static_cast<float*>(data->mBuffers[0].mData)[sound_at] = 0.1f;
    return noErr;
  };
  AudioUnitPlugin& plugin = load(UnitScript::instrument);
  struct Step {
    std::uint8_t status, velocity;
    double note_time;
    unsigned offset;
    double render_time;
    UInt32 sound_at;
    std::int64_t shortest, longest;
  };
  const Step steps[] = {
      {0x90, 0, 900, 0, 900, 0, -1, -1},      // a note-off in disguise
      {0xB0, 7, 900, 0, 900, 0, -1, -1},      // no note
      {0x93, 1, 1000, 10, 1024, 6, 20, 20},   //
      {0x90, 9, 2000, 0, 2030, 0, 20, 30},    //
      {0x90, 9, 3000, 0, 3000, 99, 20, 30},   // silent: stays pending
      {0x90, 9, 3064, 0, 3064, 0, 20, 64},    // measured from the pending one
      {0x90, 9, 5000, 10, 5000, 0, -10, 64},  // sound before the note
      {0x90, 9, 6000, 0, 6040, 0, 40, 64},    // replaces a negative minimum
      {0x90, 9, 7000, 0, 7030.9, 0, 30, 64},  // cut towards zero,
      {0x90, 9, 8000, 0, 7999.1, 0, 0, 64},   // from either side
      // Times from the parent may be any number.
      {0x90, 9, 9000, 0, 1e300, 0, 0, INT64_MAX},
      {0x90, 9, 1e300, 0, 9000, 0, INT64_MIN, INT64_MAX},
  };
  for (const Step& step : steps) {
    SCOPED_TRACE(step.note_time);
    plugin.midi(step.status, 60, step.velocity, step.note_time, step.offset);
    sound_at = step.sound_at;
    ASSERT_TRUE(plugin.finish_render(left_, right_, max_frames, step.render_time, 0));
    EXPECT_EQ(plugin.stats().min_note_latency, step.shortest);
    EXPECT_EQ(plugin.stats().max_note_latency, step.longest);
  }
  EXPECT_EQ(script_.calls[5], "midi 90 3c 00 at 0") << "bytes pass unchanged";
  EXPECT_EQ(script_.calls[9], "midi 93 3c 01 at 10");
}

TEST_F(AudioUnitRendering, FailsForGood) {
  script_.render = [](UInt32, AudioBufferList*) { return OSStatus{-10863}; };
  AudioUnitPlugin& plugin = load(UnitScript::effect);
  left_[1] = 2;
  EXPECT_FALSE(plugin.process(left_, right_, 2, 0, 0));
  EXPECT_FALSE(plugin.process(left_, right_, 2, 2, 0));
  plugin.midi(0x90, 60, 100, 4, 0);
  EXPECT_EQ(left_[1], 2) << "the input passes through";
  EXPECT_TRUE(plugin.failed());
  const Stats stats = plugin.stats();
  EXPECT_EQ(stats.renders, 1u);
  EXPECT_EQ(stats.render_errors, 1u);
  EXPECT_EQ(stats.first_error, -10863);
  EXPECT_EQ(script_.calls.back(), "render 2 at 0");
}

TEST_F(AudioUnitRendering, AnEffectIsGivenItsInputInListsOfAnyLength) {
  struct Case {
    UInt32 buffers;
    bool has_memory;  // the unit's own, in every buffer
    bool inside_process;
    bool is_silent;
  };
  const Case cases[] = {
      {0, true, true, false}, {1, true, true, false},  {2, true, true, false},
      {3, true, true, false}, {2, false, true, false}, {0, true, false, false},
      {1, true, false, true}, {3, true, false, true},  {2, false, false, true},
  };
  AudioUnitPlugin& plugin = load(UnitScript::effect);
  for (const Case& c : cases) {
    SCOPED_TRACE(testing::Message() << c.buffers << c.has_memory << c.inside_process);
    script_.render = [&](UInt32 frames, AudioBufferList*) {
      float memory[3][max_frames];
      std::fill_n(&memory[0][0], 3 * max_frames, 9.0f);
      struct {
        AudioBufferList list;
        AudioBuffer more[2];
      } input{};
      AudioBuffer* const buffers = input.list.mBuffers;
      input.list.mNumberBuffers = c.buffers;
      for (UInt32 i = 0; i < 3; ++i) buffers[i].mData = c.has_memory ? memory[i] : nullptr;
      AudioUnitRenderActionFlags flags = kAudioUnitRenderAction_PreRender;
      EXPECT_EQ(script_.pull_input(&flags, frames, &input.list), noErr);
      EXPECT_EQ(flags, kAudioUnitRenderAction_PreRender |
                           (c.is_silent ? kAudioUnitRenderAction_OutputIsSilence : 0));
      float* const callers[] = {left_, right_, nullptr};
      for (UInt32 i = 0; i < 3; ++i) {
        const bool is_served = i < std::min(c.buffers, UInt32{2});
        if (!c.has_memory) {
          EXPECT_EQ(buffers[i].mData, is_served && c.inside_process ? callers[i] : nullptr);
          continue;
        }
        EXPECT_EQ(memory[i][frames - 1], !is_served ? 9 : c.inside_process ? callers[i][0] : 0);
        EXPECT_EQ(memory[i][frames], 9) << "no frame beyond those asked for";
      }
      return noErr;
    };
    std::fill_n(left_, max_frames, 1.0f);
    std::fill_n(right_, max_frames, 2.0f);
    constexpr unsigned frames = max_frames / 2;
    ASSERT_TRUE(c.inside_process ? plugin.process(left_, right_, frames, 0, 0)
                                 : plugin.render_add(left_, right_, frames, 0));
  }
}

// What ThreadSanitizer is to see: figures read, and the render path cut off, under way.
TEST_F(AudioUnitRendering, IsWatchedAndCutOffFromAnotherThread) {
  script_.render = [](UInt32 frames, AudioBufferList* data) {
    fill(data, frames, 0.5f, 0);
    return noErr;
  };
  AudioUnitPlugin& plugin = load(UnitScript::instrument);
  std::thread renderer([&] {
    double time = 0;
    do {
      plugin.midi(0x90, 60, 100, time, 0);
      time += max_frames;
    } while (plugin.render_add(left_, right_, max_frames, time));
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
  EXPECT_EQ(plugin.stats().max_note_latency, max_frames);
  plugin.dispose();
  EXPECT_EQ(script_.calls.back(), "close");
}

}  // namespace
