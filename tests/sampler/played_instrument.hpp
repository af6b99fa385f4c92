#pragma once

// An instrument of sines, played and listened to.

#include <gtest/gtest.h>

#include <algorithm>
#include <sstream>
#include <string>
#include <vector>

#include "components/sampler/voices/zone_sound.hpp"
#include "tests/sampler/sample_files.hpp"
#include "tests/sampler/sine_fit.hpp"
#include "tests/support/scratch_folder.hpp"

namespace vesk::tests {

/// Samples and zones are added, then it is opened.
class PlayedInstrument {
 public:
  sampler::Instrument instrument;
  std::vector<float> left, right;  ///< all that was rendered
  double rate = 48000;
  std::unique_ptr<sampler::Player> player;
  sampler::Controls controls;

  /// The zones of `script` and `sounding` have these pitches, fixed.
  static double frequency_of(std::size_t zone) { return 500 + 50 * static_cast<double>(zone); }

  /// A zone of its own sample, for one key or all.
  sampler::Zone& add_zone(const std::vector<float>& frames, int file_rate, int channels) {
    const std::size_t sample = instrument.samples.size();
    instrument.samples.push_back({.file_name = std::to_string(sample) + ".wav"});
    paths.push_back(folder_ / instrument.samples.back().file_name);
    EXPECT_TRUE(write_sample(paths.back(), frames, file_rate, channels));
    instrument.zones.emplace_back().sample = sample;
    return instrument.zones.back();
  }
  sampler::Zone& add_zone(const Sine& sine) {
    return add_zone(sine_frames(sine), sine.rate, sine.channels);
  }
  /// Two seconds of a sine that says which zone it is.
  sampler::Zone& add_zone(unsigned low_key, unsigned high_key) {
    const double frequency = frequency_of(instrument.zones.size());
    sampler::Zone& zone = add_zone(Sine{.frequency = frequency, .frames = 88200, .level = 0.25});
    zone.tracks_pitch = false;
    zone.keys = {static_cast<std::uint8_t>(low_key), static_cast<std::uint8_t>(high_key)};
    return zone;
  }
  sampler::Group& add_group(std::initializer_list<std::size_t> zones) {
    for (const std::size_t zone : zones) instrument.zones[zone].group = instrument.groups.size();
    return instrument.groups.emplace_back();
  }

  void open() {
    auto samples = sampler::SampleSet::load(instrument, paths, sampler::default_budget());
    sound = std::make_unique<sampler::ZoneSound>(instrument, samples);
    controls = sound->controls();
    std::string error;
    player = sound->make_player(rate, 128, error);
    ASSERT_NE(player, nullptr) << error;
  }
  void midi(unsigned status, unsigned data1, unsigned data2) {
    player->midi(static_cast<std::uint8_t>(status), static_cast<std::uint8_t>(data1),
                 static_cast<std::uint8_t>(data2));
  }
  void render(unsigned frames) {
    const std::size_t begin = left.size();
    left.resize(begin + frames, 9);
    right.resize(begin + frames, 9);
    for (unsigned done = 0; done < frames; done += 128)
      player->render(&left[begin + done], &right[begin + done], std::min(frames - done, 128u));
  }

  /// Plays words, 10 ms after each: `60+` a note at velocity 100, `60+40` at another, `60-` its
  /// end, `c64=127` a controller, `b8191` a bend; `3:60+` on the third channel.
  void play(const std::string& script) {
    std::istringstream words(script);
    for (std::string word; words >> word; render(480)) {
      unsigned channel = 0;
      if (const auto colon = word.find(':'); colon != std::string::npos) {
        channel = static_cast<unsigned>(std::stoi(word)) - 1;
        word.erase(0, colon + 1);
      }
      const auto after = [&](char mark) {
        const std::string rest = word.substr(word.find(mark) + 1);
        return rest.empty() ? 100u : static_cast<unsigned>(std::stoi(rest));
      };
      if (word[0] == 'c') {
        midi(0xB0 | channel, static_cast<unsigned>(std::stoi(word.substr(1))), after('='));
      } else if (word[0] == 'b') {
        const unsigned bend = static_cast<unsigned>(std::stoi(word.substr(1)) + 8192);
        midi(0xE0 | channel, bend & 127, bend >> 7);
      } else if (word.find('+') != std::string::npos) {
        midi(0x90 | channel, static_cast<unsigned>(std::stoi(word)), after('+'));
      } else {
        midi(0x80 | channel, static_cast<unsigned>(std::stoi(word)), 0);
      }
    }
  }

  /// The zones that are heard from here on, by their pitches: `0 2`.
  std::string sounding() {
    render(480);
    const std::size_t begin = left.size();
    render(4800);
    std::string heard;
    for (std::size_t zone = 0; zone < instrument.zones.size(); ++zone)
      if (fit_sine(std::span(left).subspan(begin), frequency_of(zone) / rate).level > 0.01)
        heard += (heard.empty() ? "" : " ") + std::to_string(zone);
    return heard;
  }

  std::vector<std::string> paths;  ///< of the samples
  std::unique_ptr<sampler::ZoneSound> sound;

 private:
  ScratchFolder folder_;
};

/// The largest difference of two frames next to each other.
inline float largest_step(std::span<const float> frames) {
  float most = 0;
  for (std::size_t i = 1; i < frames.size(); ++i)
    most = std::max(most, std::abs(frames[i] - frames[i - 1]));
  return most;
}

}  // namespace vesk::tests
