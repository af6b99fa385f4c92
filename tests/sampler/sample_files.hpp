#pragma once

// Audio files with known contents.

#include <string>
#include <vector>

namespace vesk::tests {

struct Sine {
  double frequency = 261.6255653;  ///< Hz; middle C
  int frames = 44100;
  int rate = 44100;
  int channels = 1;    ///< the same in each
  double level = 0.5;  ///< peak
  double phase = 0;    ///< of the first frame, in turns
};

/// The frames of a sine, interleaved.
std::vector<float> sine_frames(const Sine& sine);

/// Writes interleaved frames, and the folders above them: 32-bit floats to `.wav` and `.caf`, 24
/// bits to `.aif`, `.aiff` and `.flac`, Vorbis to `.ogg`. False when that cannot be done.
bool write_sample(const std::string& path, const std::vector<float>& frames, int rate,
                  int channels);
bool write_sine(const std::string& path, const Sine& sine = {});

}  // namespace vesk::tests
