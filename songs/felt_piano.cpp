// Makes the instrument of the second demo, a piano with felt before its hammers, from nothing: its
// samples are sums of decaying sines, one for every fourth key in three degrees of loudness.
//     felt_piano FOLDER    writes "felt piano.exs" and its samples there

#include <algorithm>
#include <cmath>
#include <complex>
#include <cstdio>
#include <numbers>
#include <string>
#include <vector>

#include "tests/sampler/exs_writer.hpp"
#include "tests/sampler/sample_files.hpp"

namespace {

using vesk::tests::ExsInstrument;

constexpr int rate = 44'100;
constexpr double longest_seconds = 6;
constexpr int lowest_root = 33, highest_root = 93, keys_apart = 4;

/// Played more softly the felt takes more of the high partials.
struct Touch {
  const char* name;
  int velocity_low, velocity_high;
  double brightness_hz;  ///< partials fall by e over this
};
constexpr Touch touches[] = {
    {"soft", 0, 44, 500}, {"medium", 45, 64, 900}, {"loud", 65, 127, 1'700}};

/// Adds a string's partial to both channels, and its slow and its fast decay.
void add_partial(std::vector<float>& sound, double hz, double level, double seconds,
                 double balance) {
  const double turn = 2 * std::numbers::pi * hz / rate;
  for (const auto& [share, time] : {std::pair{0.7, seconds / 4}, {0.3, seconds}}) {
    std::complex<double> state(0, -level * share);
    const auto step = std::polar(std::exp(-1 / (time * rate)), turn);
    for (std::size_t i = 0; i < sound.size(); i += 2, state *= step) {
      sound[i] += static_cast<float>(state.real() * (1 + balance));
      sound[i + 1] += static_cast<float>(state.real() * (1 - balance));
    }
  }
}

/// Interleaved; the loudest sample is at -12 dB.
std::vector<float> strike(int key, const Touch& touch) {
  const double octaves = (key - 60) / 12.0, hz = 440 * std::exp2((key - 69) / 12.0);
  const double seconds = 3 * std::exp2(-octaves * 0.8);
  const double stiffness = 3e-4 * std::exp2(octaves);
  const double brightness = touch.brightness_hz * std::exp2(octaves * 0.4);
  std::vector<float> sound(
      2 * static_cast<std::size_t>(rate * std::clamp(seconds * 2.5, 1.0, longest_seconds)));
  for (int n = 1; n <= 60; ++n) {
    const double partial = n * hz * std::sqrt(1 + stiffness * n * n);
    // Struck at an eighth of its length.
    const double level = std::fabs(std::sin(n * std::numbers::pi / 8.2)) / n *
                         std::exp(-(partial - hz) / brightness);
    if (partial > 12'000 || level < 1e-5) continue;
    // Two strings, which are never tuned quite alike.
    add_partial(sound, partial * 0.99988, level, seconds / (1 + 0.12 * n), 0.25);
    add_partial(sound, partial * 1.00012, level, seconds / (1 + 0.12 * n), -0.25);
  }
  // The wood behind the keys.
  add_partial(sound, 95, 0.06, 0.06, 0);
  float highest = 0;
  for (const float sample : sound) highest = std::max(highest, std::fabs(sample));
  const double attack = rate * 0.004, fade = rate * 0.2;
  const std::size_t frames = sound.size() / 2;
  for (std::size_t frame = 0; frame < frames; ++frame) {
    const double envelope = std::min(
        {1.0, static_cast<double>(frame) / attack, static_cast<double>(frames - frame) / fade});
    for (const std::size_t i : {2 * frame, 2 * frame + 1})
      sound[i] *= static_cast<float>(0.25 * envelope / highest);
  }
  return sound;
}

bool add_keys(ExsInstrument& piano, const std::string& folder, int root, const Touch& touch) {
  const std::string name = "felt " + std::to_string(root) + " " + touch.name + ".flac";
  const std::vector<float> sound = strike(root, touch);
  auto& zone = piano.zones.emplace_back();
  zone.name = name;
  zone.sample = static_cast<int>(piano.samples.size());
  zone.root_key = root;
  zone.key_low = root == lowest_root ? 0 : root - 1;
  zone.key_high = root == highest_root ? 127 : root + keys_apart - 2;
  zone.velocity_low = touch.velocity_low;
  zone.velocity_high = touch.velocity_high;
  auto& sample = piano.samples.emplace_back();
  sample.folder = folder + "/Samples";
  sample.file_name = name;
  sample.frames = static_cast<int>(sound.size() / 2);
  sample.rate = rate;
  sample.channels = 2;
  return vesk::tests::write_sample(sample.folder + "/" + name, sound, rate, 2);
}

}  // namespace

int main(int count, char** arguments) {
  if (count != 2) {
    std::fprintf(stderr, "felt_piano FOLDER\n");
    return 2;
  }
  const std::string folder = arguments[1];
  ExsInstrument piano;
  piano.name = "felt piano";
  // 64 voices, a wide touch, layers that fade into each other, and dampers that take a quarter of a
  // second.
  piano.parameters = {{0x05, 64}, {0x5a, -48}, {0x61, 8}, {0x55, 50}};
  for (int root = lowest_root; root <= highest_root; root += keys_apart)
    for (const Touch& touch : touches)
      if (!add_keys(piano, folder, root, touch)) {
        std::fprintf(stderr, "felt_piano: samples cannot be written to %s\n", folder.c_str());
        return 1;
      }
  if (!vesk::tests::write_exs(folder + "/felt piano.exs", piano)) {
    std::fprintf(stderr, "felt_piano: %s cannot be written to\n", folder.c_str());
    return 1;
  }
  return 0;
}
