#pragma once

#include <sndfile.h>

#include <string>
#include <vector>

namespace vesk::tests {

// Audio files by the library alone, to hold ours against.

struct Sound {
  int rate = 0;
  std::vector<float> samples;  ///< left and right in turn
};

/// Nothing when the file cannot be read.
inline Sound read_sound(const std::string& path) {
  SF_INFO info{};
  SNDFILE* file = sf_open(path.c_str(), SFM_READ, &info);
  if (!file) return {};
  Sound sound{info.samplerate, std::vector<float>(static_cast<std::size_t>(info.frames) * 2)};
  sf_readf_float(file, sound.samples.data(), info.frames);
  sf_close(file);
  return sound;
}

/// A WAV file of 32-bit floats, unless another format is named.
inline void write_sound(const std::string& path, const Sound& sound,
                        int format = SF_FORMAT_WAV | SF_FORMAT_FLOAT) {
  SF_INFO info{0, sound.rate, 2, format, 0, 0};
  SNDFILE* file = sf_open(path.c_str(), SFM_WRITE, &info);
  sf_write_float(file, sound.samples.data(), static_cast<sf_count_t>(sound.samples.size()));
  sf_close(file);
}

}  // namespace vesk::tests
