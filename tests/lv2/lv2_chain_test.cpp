// Real LV2 plugins in a host process, sample by sample against the same plugins run through lilv.

#include <gtest/gtest.h>

#include <algorithm>
#include <memory>

#include "tests/support/raw_host.hpp"
#include "tests/support/reference_plugin.hpp"

using namespace vesk::host;
using vesk::reference::ReferencePlugin;

namespace {

constexpr unsigned period_frames = 128;
constexpr double rate = 48'000;

class Lv2Chain : public testing::Test {
 protected:
  void SetUp() override { lilv_world_load_all(world_.get()); }

  std::unique_ptr<ReferencePlugin> load(const char* uri) {
    return ReferencePlugin::load(world_.get(), uri, rate, period_frames);
  }

  std::unique_ptr<LilvWorld, decltype(&lilv_world_free)> world_{lilv_world_new(), lilv_world_free};
};

/// A few notes, some within the period, released later.
std::vector<MidiEvent> events_of(int period) {
  const auto key = static_cast<std::uint8_t>(48 + period * 7 % 24);
  if (period % 16 == 0)
    return {{0x90, key, 90, 0, 0}, {0x90, static_cast<std::uint8_t>(key + 7), 60, 0, 77}};
  const auto held = static_cast<std::uint8_t>(48 + (period - 9) * 7 % 24);
  if (period % 16 == 9)
    return {{0x80, held, 0, 0, 3}, {0x80, static_cast<std::uint8_t>(held + 7), 0, 0, 127}};
  return {};
}

TEST_F(Lv2Chain, AnInstrumentThroughEffectsIsBitEqual) {
  const auto piano = load("http://drobilla.net/plugins/mda/EPiano");
  const auto delay = load("http://drobilla.net/plugins/mda/Delay");
  const auto ambience = load("http://drobilla.net/plugins/mda/Ambience");
  ASSERT_TRUE(piano && delay && ambience);
  RawHost host({.chain = "aumu:Sm48:LV2_|aufx:jvLs:LV2_|aufx:kZu9:LV2_", .max_frames = "128"});
  ASSERT_TRUE(host.wait_listening()) << host.block().error << host.standard_error();

  float peak = 0;
  for (int period = 0; period < 400; ++period) {
    const std::vector<MidiEvent> events = events_of(period);
    std::copy(events.begin(), events.end(), host.block().midi);
    host.block().midi_count = static_cast<std::uint32_t>(events.size());
    ASSERT_TRUE(host.serve(period_frames, period * static_cast<double>(period_frames)));

    piano->run(period_frames, events);
    ReferencePlugin* before = piano.get();
    for (ReferencePlugin* effect : {delay.get(), ambience.get()}) {
      for (int channel = 0; channel < 2; ++channel)
        std::copy_n(before->output[channel].begin(), period_frames, effect->input[channel].begin());
      effect->run(period_frames, {});
      before = effect;
    }
    for (unsigned i = 0; i < period_frames; ++i) {
      ASSERT_EQ(host.block().output_left[i], before->output[0][i]) << period << ", frame " << i;
      ASSERT_EQ(host.block().output_right[i], before->output[1][i]) << period << ", frame " << i;
      peak = std::max(peak, before->output[0][i]);
    }
  }
  EXPECT_GT(peak, 0.01f) << "silence is equal to silence";
  EXPECT_TRUE(host.stop());
}

TEST_F(Lv2Chain, AChainOfEffectsReadsItsInput) {
  const auto delay = load("http://drobilla.net/plugins/mda/Delay");
  ASSERT_TRUE(delay);
  RawHost host({.chain = "aufx:jvLs:LV2_", .max_frames = "128"});
  ASSERT_TRUE(host.wait_listening()) << host.block().error << host.standard_error();
  std::uint32_t noise = 1;
  for (int period = 0; period < 50; ++period) {
    for (unsigned i = 0; i < period_frames; ++i) {
      noise = noise * 1664525 + 1013904223;
      const float sample = static_cast<float>(noise >> 8) / 16777216.0f - 0.5f;
      host.block().input_left[i] = delay->input[0][i] = sample;
      host.block().input_right[i] = delay->input[1][i] = sample / 2;
    }
    ASSERT_TRUE(host.serve(period_frames, period * static_cast<double>(period_frames)));
    delay->run(period_frames, {});
    for (unsigned i = 0; i < period_frames; ++i) {
      ASSERT_EQ(host.block().output_left[i], delay->output[0][i]) << period << ", frame " << i;
      ASSERT_EQ(host.block().output_right[i], delay->output[1][i]) << period << ", frame " << i;
    }
  }
}

}  // namespace
