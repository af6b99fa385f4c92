// The interface of a real plugin, Debian's GxRat, played with real pointer events.

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <vector>

#include "tests/support/display.hpp"
#include "tests/support/raw_host.hpp"
#include "tests/support/scratch_folder.hpp"
#include "tests/support/wait_until.hpp"

using namespace vesk::host;
using namespace vesk::tests;

namespace {

constexpr const char* rat_code = "aufx:xsUI:LV2_";
constexpr unsigned period_frames = 128;

/// The loudest sample that comes back of a tone played into the host, once what glides has arrived.
float loudness(RawHost& host) {
  float peak = 0;
  for (unsigned period = 0; period < 560; ++period) {
    Block& block = host.block();
    for (unsigned i = 0; i < period_frames; ++i) {
      const double phase = (period * period_frames + i) * 2 * M_PI * 330 / 48'000;
      block.input_left[i] = block.input_right[i] = 0.1f * static_cast<float>(std::sin(phase));
    }
    if (!host.serve(period_frames, period * static_cast<double>(period_frames))) return -1;
    if (period < 300) continue;
    for (unsigned i = 0; i < period_frames; ++i)
      peak = std::max(peak, std::abs(block.output_left[i]));
  }
  return peak;
}

float loudness_of(const std::string& chain) {
  RawHost host({.chain = chain, .max_frames = "128"});
  if (!host.wait_listening()) {
    ADD_FAILURE() << host.block().error;
    return -1;
  }
  const float peak = loudness(host);
  EXPECT_TRUE(host.stop());
  return peak;
}

class Lv2InstalledEditor : public testing::TestWithParam<bool> {};

INSTANTIATE_TEST_SUITE_P(Display, Lv2InstalledEditor, testing::Bool(), [](const auto& test) {
  return test.param ? "WithAWindowManager" : "WithoutAWindowManager";
});

TEST_P(Lv2InstalledEditor, ATurnedKnobIsHeardSavedAndRestored) {
  VirtualDisplay display;
  ASSERT_TRUE(display.is_running());
  if (GetParam()) ASSERT_TRUE(display.start_window_manager());
  const ScratchFolder folder;
  const std::string preset = folder / "rat.aupreset", chain = std::string(rat_code) + "@" + preset;
  const float quiet = loudness_of(rat_code);
  ASSERT_GT(quiet, 0.01f);
  float loud = 0;
  {
    RawHost host({.chain = chain, .max_frames = "128"});
    ASSERT_TRUE(host.wait_listening()) << host.block().error;
    host.ask_window(WindowRequest::open, 0, "Rat");
    ASSERT_TRUE(host.wait_open(1)) << host.standard_error();
    const auto window = find_window("Rat");
    ASSERT_TRUE(window);
    EXPECT_LT(view_width(*window), 400) << "this is the panel";
    // Its dark face fills the view up to the edges.
    for (const int y : {4, view_height(*window) - 4}) {
      const auto [left, top] = on_screen(*window, 100, y);
      EXPECT_TRUE(wait_until([&] { return (display.colour_at(left, top) & 0xFF) < 0x60; })) << y;
    }
    // The knob of the level, which may not be there yet when the window is.
    const auto is_louder = [&] { return loudness(host) > 1.2f * quiet; };
    for (int attempt = 0; attempt < 10 && !is_louder(); ++attempt) drag(*window, 280, 93, 280, 43);
    loud = loudness(host);
    EXPECT_GT(loud, 1.2f * quiet);
    click_close_box(*window);
    EXPECT_TRUE(host.wait_open(0));
    EXPECT_EQ(load_acquire(host.block().saved_write), 1u);
    EXPECT_TRUE(host.stop()) << host.standard_error();
  }
  EXPECT_FLOAT_EQ(loudness_of(chain), loud);

  // Looked at and closed, it leaves the file alone.
  const Bytes saved = file_bytes(preset);
  RawHost host({.chain = chain, .max_frames = "128"});
  ASSERT_TRUE(host.wait_listening());
  host.ask_window(WindowRequest::open, 0, "Rat");
  ASSERT_TRUE(host.wait_open(1));
  const auto window = find_window("Rat");
  ASSERT_TRUE(window);
  click_close_box(*window);
  EXPECT_TRUE(host.wait_open(0));
  EXPECT_TRUE(host.stop()) << host.standard_error();
  EXPECT_EQ(load_acquire(host.block().saved_write), 0u);
  EXPECT_EQ(file_bytes(preset), saved);
}

}  // namespace
