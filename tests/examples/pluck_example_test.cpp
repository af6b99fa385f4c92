// The example unit of docs/components.md in a host: its sound, its editor, its state.

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <numeric>
#include <string>
#include <vector>

#include "tests/support/display.hpp"
#include "tests/support/raw_host.hpp"
#include "tests/support/scratch_folder.hpp"

namespace vesk::host {
namespace {

using namespace vesk::tests;

constexpr unsigned frames = 480;
constexpr double rate = 48'000;
// The bars of the editor (docs/examples/pluck/PluckView.mm), and the middle of the last one.
constexpr int bar_left = 16, bar_width = 288, gain_bar_y = 2 * 44 + 30 + 7;

RawHost::Options host_of(const std::string& chain) {
  return {.chain = chain, .environment = {"AUDIO_COMPONENT_PATH=" + build_folder() + "/examples"}};
}

/// A note from its beginning, `seconds` of it, from the left channel.
std::vector<float> pluck(RawHost& host, std::uint8_t note, double seconds) {
  std::vector<float> sound;
  Block& block = host.block();
  block.midi[0] = {0xB0, 120, 0, 0, 0};
  block.midi[1] = {0x90, note, 100, 0, 7};
  block.midi_count = 2;
  while (static_cast<double>(sound.size()) < seconds * rate) {
    if (!host.serve(frames, static_cast<double>(sound.size()))) return {};
    block.midi_count = 0;
    sound.insert(sound.end(), block.output_left, block.output_left + frames);
  }
  return sound;
}

float loudness_of(const std::vector<float>& sound) {
  const double sum = std::inner_product(sound.begin(), sound.end(), sound.begin(), 0.0);
  return static_cast<float>(std::sqrt(sum / static_cast<double>(sound.size())));
}

/// How many cents the sound is above the pitch of `period` frames: by where it repeats itself best
/// about a tenth of a second later, within half a period.
double cents_above(const std::vector<float>& sound, double period) {
  const double lag = std::floor(rate / 10 / period) * period;
  std::ptrdiff_t best = 0;
  double most_alike = 0;
  for (auto other = std::lround(lag - period / 2) + 1; other < std::lround(lag + period / 2);
       ++other) {
    const double alike = std::inner_product(sound.begin() + other, sound.end(), sound.begin(), 0.0);
    if (alike <= most_alike) continue;
    most_alike = alike;
    best = other;
  }
  return 1200 * std::log2(lag / static_cast<double>(best));
}

TEST(PluckExample, PlaysInTuneFromTheFrameOfItsNote) {
  RawHost host(host_of("aumu:Pluk:Exmp"));
  ASSERT_TRUE(host.wait_listening()) << host.block().error;
  for (const int note : {40, 57, 69, 81}) {
    const double period = rate / (440 * std::exp2((note - 69) / 12.0));
    const std::vector<float> sound = pluck(host, static_cast<std::uint8_t>(note), 0.5);
    ASSERT_EQ(sound.size(), 24'000u);
    const auto first = std::ranges::find_if(sound, [](float sample) { return sample != 0; });
    EXPECT_EQ(first - sound.begin(), 7);
    EXPECT_LE(std::abs(cents_above(sound, period)), 5) << "note " << note;
  }
  EXPECT_TRUE(host.stop());
}

TEST(PluckExample, ItsEditorChangesWhatIsHeardAndSaved) {
  const VirtualDisplay display;
  const ScratchFolder folder;
  const std::string chain = "aumu:Pluk:Exmp@" + folder / "p.aupreset";
  float quiet = 0;
  {
    RawHost host(host_of(chain));
    ASSERT_TRUE(host.wait_listening()) << host.block().error;
    const float loud = loudness_of(pluck(host, 60, 0.3));
    EXPECT_GT(loud, 0.01f);
    host.ask_window(WindowRequest::open, 0, "Pluck");
    ASSERT_TRUE(host.wait_open(1)) << host.standard_error();
    const auto window = find_window("Pluck");
    ASSERT_TRUE(window);
    EXPECT_EQ(view_width(*window), 320);
    EXPECT_EQ(view_height(*window), 3 * 44 + 16);
    // From the default, -6 dB, to the middle of -40..6, by a press and a drag.
    drag(*window, bar_left + bar_width / 4, gain_bar_y, bar_left + bar_width / 2, gain_bar_y);
    for (int i = 0; i < 100 && !(quiet > 0 && quiet < loud / 3); ++i)
      quiet = loudness_of(pluck(host, 60, 0.3));
    EXPECT_NEAR(20 * std::log10(quiet / loud), -11, 0.5);
    click_close_box(*window);
    EXPECT_TRUE(host.wait_open(0));
    EXPECT_TRUE(host.stop());
    EXPECT_EQ(host.standard_error(), "plugin host " + chain + ": workgroup not shared\n");
  }
  RawHost next(host_of(chain));
  ASSERT_TRUE(next.wait_listening()) << next.block().error;
  EXPECT_EQ(loudness_of(pluck(next, 60, 0.3)), quiet);
  EXPECT_TRUE(next.stop());
}

}  // namespace
}  // namespace vesk::host
