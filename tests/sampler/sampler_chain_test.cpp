// Sampler instruments in whole host processes, as a parent program names and plays them: where a
// note begins, its pitch and level, borders of keys and velocities, release, failures, state.

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <filesystem>
#include <fstream>
#include <numbers>
#include <span>

#include "plugin/audio_unit_plugin.hpp"
#include "tests/sampler/exs_writer.hpp"
#include "tests/sampler/open_sampler.hpp"
#include "tests/sampler/sample_files.hpp"
#include "tests/sampler/sine_fit.hpp"
#include "tests/support/display.hpp"
#include "tests/support/raw_host.hpp"
#include "tests/support/scratch_folder.hpp"

using namespace vesk::host;
using namespace vesk::tests;

namespace {

constexpr int sample_rate = 48'000;
constexpr unsigned frames = 128;
constexpr double c4_hz = 480;  // 100 frames a period
constexpr std::uint8_t c4 = 60;
constexpr std::uint8_t loudest = 127;
// Release times are 10 s * (value / 127)^4: 0.1 s.
constexpr std::pair<int, int> release{0x55, 40};
constexpr double release_seconds = 0.0984;

/// `notes` at frames of their own, over `seconds` of sound from a host.
struct Note {
  std::int64_t frame;
  std::uint8_t status, data1, data2;
};
using Sound = std::vector<float>;

Sound play(RawHost& host, const std::vector<Note>& notes, double seconds) {
  Sound sound;
  Block& block = host.block();
  const auto end = static_cast<std::int64_t>(seconds * sample_rate);
  for (std::int64_t at = 0; at < end; at += frames) {
    block.midi_count = 0;
    for (const Note& note : notes)
      if (note.frame >= at && note.frame < at + frames)
        block.midi[block.midi_count++] = {note.status, note.data1, note.data2, 0,
                                          static_cast<std::uint32_t>(note.frame - at)};
    if (!host.serve(frames, static_cast<double>(at))) return {};
    sound.insert(sound.end(), block.output_left, block.output_left + frames);
  }
  return sound;
}

/// An instrument in a folder of its own, with sines at middle C.
class SamplerChain : public testing::Test {
 protected:
  ExsZone& add_zone(const std::string& file, double level, double phase = 0) {
    ExsZone& zone = instrument_.zones.emplace_back();
    zone.sample = static_cast<int>(instrument_.samples.size());
    zone.root_key = c4;
    zone.has_loop = true;
    zone.loop_start = 1'000;
    zone.loop_end = 48'000;
    ExsSample& sample = instrument_.samples.emplace_back();
    sample.folder = "/Volumes/Elsewhere/Samples";
    sample.file_name = file;
    sample_ = {
        .frequency = c4_hz, .frames = 48'000, .rate = sample_rate, .level = level, .phase = phase};
    EXPECT_TRUE(write_sine(folder_ / file, sample_));
    return zone;
  }
  std::string write() {
    // Level at the lowest velocity: as loud as the highest.
    instrument_.parameters = {release, {0x5a, 0}, {0x05, 32}};
    EXPECT_TRUE(write_exs(piano_, instrument_));
    return "exs:" + piano_;
  }
  static std::span<const float> part(const Sound& sound, double from, double to) {
    return std::span(sound).subspan(static_cast<std::size_t>(from * sample_rate),
                                    static_cast<std::size_t>((to - from) * sample_rate));
  }
  static double peak(std::span<const float> sound) {
    double highest = 0;
    for (const float sample : sound) highest = std::max(highest, std::fabs(double{sample}));
    return highest;
  }

  const ScratchFolder scratch_;
  /// Samples are looked for in all that is two folders above.
  const std::filesystem::path folder_ =
      std::filesystem::path(scratch_.path()) / "library" / "pianos";
  const std::string piano_ = folder_ / "grand piano.exs";
  ExsInstrument instrument_;
  Sine sample_;  ///< the last that was added
};

TEST_F(SamplerChain, ANoteBeginsAtItsFrameWithTheSamplesOwn) {
  // The first frame is the highest.
  add_zone("c4.wav", 0.5, 0.25);
  RawHost host({.chain = write(), .max_frames = "128"});
  ASSERT_TRUE(host.wait_listening()) << host.block().error;
  const Sound file = sine_frames(sample_);
  std::vector<Note> notes;
  for (const std::int64_t frame : {1, 1'407, 12'800, 40'001, 99'990})
    notes.push_back({frame, 0x90, c4, loudest});
  std::vector<Note> events = notes;
  for (const Note& note : notes) events.push_back({note.frame + 9, 0xb0, 120, 0});
  const Sound sound = play(host, events, 2.2);
  ASSERT_FALSE(sound.empty());
  std::int64_t quiet_from = 0;
  for (const Note& note : notes) {
    const auto before = std::span(sound).subspan(static_cast<std::size_t>(quiet_from),
                                                 static_cast<std::size_t>(note.frame - quiet_from));
    if (note.frame - quiet_from > 0) EXPECT_LT(peak(before), 1e-6) << note.frame;
    for (std::int64_t i = 0; i < 9; ++i)
      EXPECT_NEAR(sound[static_cast<std::size_t>(note.frame + i)],
                  file[static_cast<std::size_t>(i)], 1e-4)
          << note.frame << " + " << i;
    // A note that is cut fades for a few milliseconds.
    quiet_from = note.frame + 480;
  }
  EXPECT_TRUE(host.stop()) << host.standard_error();
}

TEST_F(SamplerChain, PlaysAtPitchAndLevel) {
  add_zone("c4.wav", 0.5);
  const std::string chain = write();
  for (const int rate_of_host : {44'100, 48'000, 96'000, 192'000}) {
    for (const int key : {48, 60, 61, 79}) {
      SCOPED_TRACE(testing::Message() << rate_of_host << " Hz, key " << key);
      RawHost host({.chain = chain, .sample_rate = std::to_string(rate_of_host)});
      ASSERT_TRUE(host.wait_listening()) << host.block().error;
      const Sound sound = play(host, {{0, 0x90, static_cast<std::uint8_t>(key), loudest}}, 0.5);
      ASSERT_FALSE(sound.empty());
      const double turns = c4_hz * std::exp2((key - c4) / 12.0) / rate_of_host;
      const auto steady = std::span(sound).subspan(9'600, 9'600);
      EXPECT_NEAR(cents_above(steady, turns), 0, 0.1);
      EXPECT_NEAR(decibels(fit_sine(steady, turns).level / 0.5), 0, 0.05);
      EXPECT_TRUE(host.stop()) << host.standard_error();
    }
  }
}

TEST_F(SamplerChain, SwitchesZonesAtTheBordersOfKeysAndVelocities) {
  ExsZone& quiet = add_zone("quiet.aif", 0.1);
  quiet.velocity_high = 63;
  quiet.key_low = 40;
  quiet.key_high = 72;
  ExsZone& loud = add_zone("loud.flac", 0.4);
  loud.velocity_low = 64;
  loud.key_low = 40;
  loud.key_high = 72;
  add_zone("high.caf", 0.8).key_low = 73;
  const struct {
    std::uint8_t key, velocity;
    double level;
  } cases[] = {{39, 127, 0},  {40, 1, 0.1},   {60, 63, 0.1}, {60, 64, 0.4},
               {72, 63, 0.1}, {72, 127, 0.4}, {73, 1, 0.8},  {127, 127, 0.8}};
  std::vector<Note> notes;
  for (std::size_t i = 0; i < std::size(cases); ++i) {
    const auto frame = static_cast<std::int64_t>(i) * sample_rate / 2;
    notes.push_back({frame, 0x90, cases[i].key, cases[i].velocity});
    notes.push_back({frame + sample_rate / 4, 0x80, cases[i].key, 0});
  }
  RawHost host({.chain = write(), .max_frames = "128"});
  ASSERT_TRUE(host.wait_listening()) << host.block().error;
  const Sound sound = play(host, notes, std::size(cases) / 2.0);
  ASSERT_FALSE(sound.empty());
  for (std::size_t i = 0; i < std::size(cases); ++i) {
    const double from = static_cast<double>(i) / 2;
    EXPECT_NEAR(peak(part(sound, from + 0.05, from + 0.2)), cases[i].level, 0.005)
        << int{cases[i].key} << " at " << int{cases[i].velocity};
  }
}

TEST_F(SamplerChain, FallsSilentWithinItsRelease) {
  add_zone("c4.wav", 0.5);
  RawHost host({.chain = write(), .max_frames = "128"});
  ASSERT_TRUE(host.wait_listening()) << host.block().error;
  // The second is held by the pedal.
  const Sound sound = play(host,
                           {{0, 0x90, c4, loudest},
                            {sample_rate, 0x80, c4, 0},
                            {2 * sample_rate, 0x90, c4, loudest},
                            {2 * sample_rate + 1, 0xb0, 64, 127},
                            {2 * sample_rate + 2, 0x80, c4, 0},
                            {3 * sample_rate, 0xb0, 64, 0}},
                           4);
  ASSERT_FALSE(sound.empty());
  for (const double end : {1.0, 3.0}) {
    EXPECT_NEAR(peak(part(sound, end - 0.1, end)), 0.5, 0.001) << end;
    const double middle = peak(part(sound, end + release_seconds / 2, end + release_seconds));
    EXPECT_GT(middle, 1e-4) << end;
    EXPECT_LT(middle, 0.4) << end;
    EXPECT_LT(peak(part(sound, end + release_seconds * 1.1, end + 0.9)), 1e-6) << end;
  }
}

TEST_F(SamplerChain, SaysWhatIsMissingAndPlaysTheRest) {
  add_zone("c4.wav", 0.5).key_low = 40;
  add_zone("lost.wav", 0.5).key_high = 39;
  const std::string chain = write();
  std::filesystem::remove(folder_ / "lost.wav");
  RawHost host({.chain = chain, .max_frames = "128"});
  ASSERT_TRUE(host.wait_listening()) << host.block().error;
  const Sound sound = play(host, {{0, 0x90, 39, loudest}, {sample_rate, 0x90, 40, loudest}}, 1.5);
  ASSERT_FALSE(sound.empty());
  EXPECT_EQ(peak(part(sound, 0, 1)), 0);
  EXPECT_GT(peak(part(sound, 1, 1.5)), 0.4);
  EXPECT_TRUE(host.stop());
  const std::string line =
      "plugin host: Sampler: " + piano_ + ": 1 of 2 samples are missing, the first is lost.wav\n";
  EXPECT_TRUE(host.standard_error().starts_with(line)) << host.standard_error();
}

TEST_F(SamplerChain, AHostWithoutItsInstrumentFailsWithItsStatus) {
  add_zone("lost.wav", 0.5);
  write();
  std::filesystem::remove(folder_ / "lost.wav");
  std::ofstream(folder_ / "damaged.exs") << std::string(84, 'x').replace(16, 4, "TBOS");
  const struct {
    const char* file;
    const char* error;
    const char* said;
  } cases[] = {
      {"grand piano.exs", "EXS load failed (OSStatus -10871)",
       "none of its samples was found, the first is lost.wav"},
      {"none.exs", "EXS load failed (OSStatus -43)", "is not there"},
      {"damaged.exs", "EXS load failed (OSStatus -10871)", "damaged.exs"},
  };
  for (const auto& c : cases) {
    RawHost host({.chain = "exs:" + (folder_ / c.file).string()});
    EXPECT_EQ(host.wait_state(), failed) << c.file;
    EXPECT_NE(std::string(host.block().error).find(c.error), std::string::npos)
        << host.block().error;
    host.wait_end();
    EXPECT_NE(host.standard_error().find(c.said), std::string::npos) << host.standard_error();
  }
}

// As a person changes it in the panel; another process then has the same.
TEST_F(SamplerChain, APresetBringsBackInstrumentAndParameters) {
  add_zone("c4.wav", 0.5);
  write();
  const std::string preset = scratch_ / "p.aupreset", chain = "aumu:samp:appl@" + preset;
  {
    OpenSampler unit;
    ASSERT_EQ(unit.load(piano_), noErr);
    const auto bytes = unit.saved();
    std::ofstream(preset, std::ios::binary)
        .write(reinterpret_cast<const char*>(bytes.data()),
               static_cast<std::streamsize>(bytes.size()));
  }
  const VirtualDisplay display(false);
  const std::vector<Note> note{{0, 0x90, c4, loudest}};
  const auto open_and_close = [](RawHost& host, auto meanwhile) {
    host.ask_window(WindowRequest::open, 0, "Sampler");
    ASSERT_TRUE(host.wait_open(1)) << host.standard_error();
    meanwhile();
    host.ask_window(WindowRequest::close_all);
    ASSERT_TRUE(host.wait_open(0));
  };
  Bytes rewritten;
  {
    RawHost host({.chain = chain, .max_frames = "128"});
    ASSERT_TRUE(host.wait_listening()) << host.block().error;
    EXPECT_NEAR(peak(part(play(host, note, 0.3), 0.1, 0.2)), 0.5, 0.001);
    open_and_close(host, [&] {
      host.set_parameter(0, 900, -6);
      EXPECT_TRUE(host.wait_turns());
    });
    EXPECT_EQ(load_acquire(host.block().saved_write), 1u);
    EXPECT_TRUE(host.stop()) << host.standard_error();
    rewritten = file_bytes(preset);
  }
  RawHost host({.chain = chain, .max_frames = "128"});
  ASSERT_TRUE(host.wait_listening()) << host.block().error;
  EXPECT_NEAR(peak(part(play(host, note, 0.3), 0.1, 0.2)), 0.5 * std::pow(10, -0.3), 0.001);
  open_and_close(host, [] {});
  EXPECT_EQ(load_acquire(host.block().saved_write), 0u) << "the same state is the same bytes";
  EXPECT_TRUE(host.stop()) << host.standard_error();
  EXPECT_EQ(file_bytes(preset), rewritten);
}

// What a platform does that runs the unit in a process of its own: a temporary one reads the file.
TEST_F(SamplerChain, TheStateOfATemporaryUnitIsCarriedOver) {
  add_zone("c4.wav", 0.5);
  const std::string chain = write();
  std::vector<std::uint8_t> states[2];
  for (const bool out_of_process : {false, true}) {
    std::string error;
    vesk::AudioUnitPlugin plugin(*vesk::PluginSpec::parse(chain, error), out_of_process);
    ASSERT_TRUE(plugin.load(sample_rate, frames, error)) << error;
    states[out_of_process] = plugin.state();
    Sound left(frames), right(frames);
    plugin.midi(0x90, c4, loudest, 0, 0);
    EXPECT_TRUE(plugin.finish_render(left.data(), right.data(), frames, 0, 0));
    EXPECT_NEAR(peak(left), 0.5, 0.001) << out_of_process;
  }
  EXPECT_EQ(states[0], states[1]);
}

}  // namespace
