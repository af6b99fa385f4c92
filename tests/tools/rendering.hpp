#pragma once

#include <cmath>
#include <cstdint>
#include <filesystem>
#include <fstream>
#include <numeric>
#include <string>
#include <vector>

#include "tests/support/program.hpp"
#include "tests/support/scratch_folder.hpp"
#include "tests/tools/sound_file.hpp"

namespace vesk::tests {

// What the tests of vesk-render play, and how they run it.

inline constexpr const char* piano = "aumu:Sm48:LV2_";
inline constexpr const char* delay = "aufx:jvLs:LV2_";
inline const std::string song = VESK_SONGS "/demo.mid";

inline ProgramResult render(std::vector<std::string> words, const ProgramOptions& options = {}) {
  words.insert(words.begin(), build_tree() + "/bin/vesk-render");
  return run_program(words, options);
}

/// Finds the units that misbehave on command (docs/misbehaving.md).
inline const ProgramOptions test_units{
    .environment = {"AUDIO_COMPONENT_PATH=" + build_tree() + "/components"}};

/// Two channels of it, the same every time.
inline void write_noise(const std::string& path, int rate, int seconds) {
  Sound noise{rate, std::vector<float>(static_cast<std::size_t>(seconds * rate) * 2)};
  std::uint32_t state = 1;
  for (float& sample : noise.samples) {
    state = state * 1664525u + 1013904223u;
    sample = static_cast<float>(state >> 8) / 16'777'216.0f - 0.5f;
  }
  write_sound(path, noise);
}

/// A song of one track with 96 ticks to the quarter note; at 120 beats a minute if it says nothing.
inline void write_song(const std::string& path, const Bytes& track) {
  Bytes bytes{'M', 'T', 'h', 'd', 0, 0, 0, 6, 0, 0, 0, 1, 0, 96, 'M', 'T', 'r', 'k', 0, 0, 0};
  bytes.push_back(static_cast<std::uint8_t>(track.size()));
  bytes.insert(bytes.end(), track.begin(), track.end());
  std::ofstream(path, std::ios::binary)
      .write(reinterpret_cast<const char*>(bytes.data()),
             static_cast<std::streamsize>(bytes.size()));
}

/// The length of a vector.
inline double norm(const std::vector<float>& samples) {
  return std::sqrt(std::inner_product(samples.begin(), samples.end(), samples.begin(), 0.0));
}

/// A host before whose first start `command` is run by its shell.
inline std::string host_that_recovers(const ScratchFolder& folder, const std::string& command) {
  const std::string path = folder / "host", mark = folder / "mark";
  std::ofstream(path) << "#!/bin/sh\nif ! [ -e " << mark << " ]; then touch " << mark << "; "
                      << command << "; fi\nexec " << build_tree() << "/bin/vesk-host \"$@\"\n";
  std::filesystem::permissions(path, std::filesystem::perms::owner_all);
  return path;
}

}  // namespace vesk::tests
