#pragma once

// Small SoundFonts for tests.

#include <cstdint>
#include <string>
#include <vector>

namespace vesk::tests {

/// One zone: a sample over a range of keys and velocities.
struct SoundFontZone {
  int key_low = 0, key_high = 127, velocity_low = 0, velocity_high = 127;
  int root_key = 69;
  std::vector<float> frames;         ///< mono, -1..1
  std::vector<std::uint8_t> vorbis;  ///< an Ogg file in place of `frames`, as SoundFont 3 has them
  unsigned rate = 44'000;
  unsigned loop_start = 0, loop_end = 0;  ///< frames, the end exclusive; equal: no loop
};

/// One preset with its zones.
struct SoundFontDescription {
  unsigned bank = 0, preset = 0;
  std::vector<SoundFontZone> zones;
};

std::vector<std::uint8_t> soundfont_file(const SoundFontDescription& description);
bool write_soundfont(const std::string& path, const SoundFontDescription& description);

}  // namespace vesk::tests
