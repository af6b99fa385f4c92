// SoundFonts in the sampler unit.

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <span>

#include "tests/sampler/open_sampler.hpp"
#include "tests/sampler/sample_files.hpp"
#include "tests/sampler/sine_fit.hpp"
#include "tests/sampler/soundfont_writer.hpp"
#include "tests/support/scratch_folder.hpp"

using namespace vesk::tests;

namespace {

constexpr double a4 = 440;
constexpr int a4_key = 69;
constexpr UInt8 percussion = 0x78;

/// A looped sine at 440 Hz.
SoundFontZone sine_zone(double level = 1) {
  SoundFontZone zone;
  zone.frames = sine_frames({.frequency = a4, .frames = 8800, .rate = 44'000, .level = level});
  zone.loop_start = 4400;
  zone.loop_end = 8800;
  return zone;
}

float peak(const std::vector<float>& samples) {
  float highest = 0;
  for (const float sample : samples) highest = std::max(highest, std::fabs(sample));
  return highest;
}

TEST(SoundFont, PlaysAtThePitchAndLevelOfItsSamples) {
  const ScratchFolder folder;
  ASSERT_TRUE(write_soundfont(folder / "sine.sf2", {.zones = {sine_zone()}}));
  const struct {
    double sample_rate;
    int key;
    float gain, coarse, fine, pan;
    double left_db, right_db, cents;
  } cases[] = {
      {8'000, 57, 0, 0, 0, 0, 0, 0, 0},         {44'100, 69, 0, 0, 0, 0, 0, 0, 0},
      {48'000, 70, 0, 0, 0, 0, 0, 0, 0},        {96'000, 69, 0, 0, 0, 0, 0, 0, 0},
      {48'000, 69, -6, 0, 0, 0, -6, -6, 0},     {48'000, 69, 12, 0, 0, 0.5, 12 - 6.0206, 12, 0},
      {48'000, 69, 0, -12, 50, 0, 0, 0, -1150}, {48'000, 69, 0, 2, -99, 0, 0, 0, 101},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(testing::Message() << c.sample_rate << " Hz, key " << c.key << ", " << c.cents);
    OpenSampler unit(c.sample_rate);
    ASSERT_EQ(unit.load(folder / "sine.sf2"), noErr);
    ASSERT_TRUE(unit.initialize());
    EXPECT_EQ(unit.set(900, c.gain), noErr);
    EXPECT_EQ(unit.set(901, c.coarse), noErr);
    EXPECT_EQ(unit.set(902, c.fine), noErr);
    EXPECT_EQ(unit.set(903, c.pan), noErr);
    unit.play(20);
    unit.midi(0x90, static_cast<UInt32>(c.key), 127, 0);
    unit.play(20);
    const auto sound = unit.play(50);
    const double turns = a4 * std::exp2(((c.key - a4_key) * 100 + c.cents) / 1200) / c.sample_rate;
    EXPECT_NEAR(cents_above(sound.left, turns), 0, 0.5);
    EXPECT_NEAR(decibels(fit_sine(sound.left, turns).level), c.left_db, 0.05);
    EXPECT_NEAR(decibels(fit_sine(sound.right, turns).level), c.right_db, 0.05);
  }
}

TEST(SoundFont, PlaysThePresetThatIsAskedForAndTheOnlyOneWhenNoneIs) {
  const ScratchFolder folder;
  ASSERT_TRUE(write_soundfont(folder / "drums", {.bank = 128, .zones = {sine_zone()}}));
  ASSERT_TRUE(write_soundfont(folder / "fifth", {.preset = 5, .zones = {sine_zone()}}));
  const struct {
    const char* file;
    UInt8 bank_msb, preset;
    OSStatus status;
  } cases[] = {
      {"drums", kAUSampler_DefaultMelodicBankMSB, 0, noErr},
      {"drums", kAUSampler_DefaultMelodicBankMSB, 1, kAudioUnitErr_InvalidFile},
      {"drums", percussion, 0, noErr},
      {"fifth", kAUSampler_DefaultMelodicBankMSB, 0, noErr},
      {"fifth", kAUSampler_DefaultMelodicBankMSB, 5, noErr},
      {"fifth", percussion, 5, kAudioUnitErr_InvalidFile},
  };
  for (const auto& c : cases) {
    for (const UInt8 type : {kInstrumentType_SF2Preset, kInstrumentType_EXS24}) {
      SCOPED_TRACE(testing::Message() << c.file << " " << int{c.bank_msb} << " " << int{c.preset});
      OpenSampler unit;
      ASSERT_TRUE(unit.initialize());
      ASSERT_EQ(unit.load(folder / c.file, type, c.bank_msb, c.preset), c.status);
      // On every channel, whatever programs are changed.
      for (UInt32 channel : {0u, 9u, 15u}) {
        unit.midi(0xb0 | channel, 0, 1, 0);
        unit.midi(0xc0 | channel, 3, 0, 0);
        unit.midi(0x90 | channel, a4_key, 127, 0);
        EXPECT_EQ(peak(unit.play(30).left) > 0.5f, c.status == noErr) << channel;
        unit.midi(0xb0 | channel, 120, 0, 0);
        unit.play(10);
      }
    }
  }
}

TEST(SoundFont, UnpacksVorbis) {
  const ScratchFolder folder;
  SoundFontZone zone = sine_zone(0.5);
  ASSERT_TRUE(write_sample(folder / "sine.ogg", zone.frames, 44'000, 1));
  zone.vorbis = file_bytes(folder / "sine.ogg");
  zone.frames.clear();
  ASSERT_TRUE(write_soundfont(folder / "sine.sf3", {.zones = {zone}}));
  OpenSampler unit;
  ASSERT_EQ(unit.load(folder / "sine.sf3"), noErr);
  ASSERT_TRUE(unit.initialize());
  unit.midi(0x90, a4_key, 127, 0);
  const auto sound = unit.play(100);
  // In the loop.
  const auto looped = std::span(sound.left).subspan(10'000);
  EXPECT_NEAR(decibels(fit_sine(looped, a4 / rate).level / 0.5), 0, 0.1);
}

TEST(SoundFont, SwitchesAtTheBordersOfKeysAndVelocities) {
  const ScratchFolder folder;
  SoundFontZone quiet = sine_zone(0.5), loud = sine_zone(1);
  quiet.key_low = loud.key_low = 60;
  quiet.key_high = loud.key_high = 72;
  quiet.velocity_high = 99;
  loud.velocity_low = 100;
  ASSERT_TRUE(write_soundfont(folder / "layers.sf2", {.zones = {quiet, loud}}));
  OpenSampler unit;
  ASSERT_EQ(unit.load(folder / "layers.sf2"), noErr);
  ASSERT_TRUE(unit.initialize());
  const auto level = [&](UInt32 key, UInt32 velocity) {
    unit.midi(0x90, key, velocity, 0);
    const float heard = peak(unit.play(30).left);
    // At the velocity's own level, 40 log10 of it.
    const double scale = std::pow(velocity / 127.0, 2);
    unit.midi(0xb0, 120, 0, 0);
    unit.play(10);
    return static_cast<double>(heard) / scale;
  };
  EXPECT_EQ(level(59, 127), 0);
  EXPECT_NEAR(level(60, 127), 1, 0.02);
  EXPECT_NEAR(level(72, 100), 1, 0.02);
  EXPECT_NEAR(level(72, 99), 0.5, 0.02);
  EXPECT_EQ(level(73, 127), 0);
}

// Where the periods end has no say in it.
TEST(SoundFont, BeginsAtTheNextBlockOf64Frames) {
  const ScratchFolder folder;
  ASSERT_TRUE(write_soundfont(folder / "sine.sf2", {.zones = {sine_zone()}}));
  for (const UInt32 asked : {0u, 1u, 63u, 64u, 100u}) {
    OpenSampler unit;
    ASSERT_EQ(unit.load(folder / "sine.sf2"), noErr);
    ASSERT_TRUE(unit.initialize());
    unit.midi(0x90, a4_key, 127, asked);
    const auto sound = unit.play(2);
    const auto first =
        std::ranges::find_if(sound.left, [](float s) { return std::fabs(s) > 1e-4f; });
    const auto begin = static_cast<UInt32>(first - sound.left.begin());
    EXPECT_GE(begin, (asked + 63) / 64 * 64) << asked;
    EXPECT_LT(begin, (asked + 63) / 64 * 64 + 10) << asked;
  }
}

TEST(SoundFont, IsSilentAfterAResetAndPlaysOn) {
  const ScratchFolder folder;
  ASSERT_TRUE(write_soundfont(folder / "sine.sf2", {.zones = {sine_zone()}}));
  OpenSampler unit;
  ASSERT_EQ(unit.load(folder / "sine.sf2"), noErr);
  ASSERT_TRUE(unit.initialize());
  unit.midi(0x90, a4_key, 127, 0);
  unit.midi(0xb0, 7, 20, 0);
  // The library's block does not end with this period.
  EXPECT_EQ(unit.render(100), noErr);
  EXPECT_EQ(AudioUnitReset(unit.unit(), kAudioUnitScope_Global, 0), noErr);
  EXPECT_EQ(peak(unit.play(20).left), 0);
  unit.midi(0x90, a4_key, 127, 0);
  EXPECT_NEAR(peak(unit.play(30).left), 1, 0.02) << "the volume is at rest";
}

TEST(SoundFont, OtherRatesAreRefusedWithWords) {
  const ScratchFolder folder;
  ASSERT_TRUE(write_soundfont(folder / "sine.sf2", {.zones = {sine_zone()}}));
  for (const double sample_rate : {4'000.0, 192'000.0}) {
    OpenSampler early(sample_rate), late(sample_rate);
    EXPECT_EQ(early.load(folder / "sine.sf2"), noErr);
    testing::internal::CaptureStderr();
    EXPECT_EQ(AudioUnitInitialize(early.unit()), kAudioUnitErr_FailedInitialization);
    EXPECT_TRUE(late.initialize());
    EXPECT_EQ(late.load(folder / "sine.sf2"), kAudioUnitErr_FormatNotSupported);
    const std::string said = testing::internal::GetCapturedStderr();
    const std::string line = "plugin host: Sampler: SoundFonts are played at 8 to 96 kHz, not at " +
                             std::to_string(static_cast<int>(sample_rate)) + " Hz\n";
    EXPECT_EQ(said, line + line);
  }
}

TEST(SoundFont, ADamagedFileIsRefusedInOneLine) {
  const ScratchFolder folder;
  const auto whole = soundfont_file({.zones = {sine_zone()}});
  for (const std::size_t size : {std::size_t{20}, whole.size() / 2, whole.size() - 40}) {
    std::ofstream(folder / "cut.sf2", std::ios::binary)
        .write(reinterpret_cast<const char*>(whole.data()), static_cast<std::streamsize>(size));
    OpenSampler unit;
    testing::internal::CaptureStderr();
    EXPECT_EQ(unit.load(folder / "cut.sf2"), kAudioUnitErr_InvalidFile) << size;
    const std::string said = testing::internal::GetCapturedStderr();
    EXPECT_TRUE(said.starts_with("plugin host: Sampler: " + folder / "cut.sf2" + ": ")) << said;
    EXPECT_EQ(std::ranges::count(said, '\n'), 1) << said;
  }
}

}  // namespace
