#include "tests/sampler/sample_files.hpp"

#include <sndfile.h>

#include <cmath>
#include <filesystem>
#include <numbers>

namespace vesk::tests {
namespace {

int format_of(const std::filesystem::path& path) {
  const std::string extension = path.extension().string();
  if (extension == ".flac") return SF_FORMAT_FLAC | SF_FORMAT_PCM_24;
  if (extension == ".ogg") return SF_FORMAT_OGG | SF_FORMAT_VORBIS;
  if (extension == ".aif" || extension == ".aiff") return SF_FORMAT_AIFF | SF_FORMAT_PCM_24;
  return (extension == ".caf" ? SF_FORMAT_CAF : SF_FORMAT_WAV) | SF_FORMAT_FLOAT;
}

}  // namespace

std::vector<float> sine_frames(const Sine& sine) {
  std::vector<float> samples;
  samples.reserve(static_cast<std::size_t>(sine.frames) * static_cast<std::size_t>(sine.channels));
  for (int frame = 0; frame < sine.frames; ++frame) {
    const double turns = sine.phase + sine.frequency * frame / sine.rate;
    const double value = sine.level * std::sin(2 * std::numbers::pi * turns);
    samples.insert(samples.end(), static_cast<std::size_t>(sine.channels),
                   static_cast<float>(value));
  }
  return samples;
}

bool write_sample(const std::string& path, const std::vector<float>& frames, int rate,
                  int channels) {
  std::error_code ignored;
  std::filesystem::create_directories(std::filesystem::path(path).parent_path(), ignored);
  SF_INFO info{0, rate, channels, format_of(path), 0, 0};
  SNDFILE* file = sf_open(path.c_str(), SFM_WRITE, &info);
  if (!file) return false;
  const auto count = static_cast<sf_count_t>(frames.size());
  const bool is_whole = sf_write_float(file, frames.data(), count) == count;
  return sf_close(file) == 0 && is_whole;
}

bool write_sine(const std::string& path, const Sine& sine) {
  return write_sample(path, sine_frames(sine), sine.rate, sine.channels);
}

}  // namespace vesk::tests
