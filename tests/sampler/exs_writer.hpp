#pragma once

// EXS24 instruments for tests, from a plain description: every byte order and generation of the
// format that the reader knows.

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <utility>
#include <vector>

namespace vesk::tests {

struct ExsZone {
  std::string name = "zone";
  int sample = 0;  ///< in ExsInstrument::samples; -1: the one at the zone's own place
  int group = -1;  ///< in ExsInstrument::groups
  int key_low = 0, key_high = 127, root_key = 60;
  int velocity_low = 0, velocity_high = 127;
  int coarse_tune = 0, fine_tune = 0;      ///< semitones, cents
  int volume = 0;                          ///< dB
  std::optional<float> exact_volume = {};  ///< dB; the zone's volume unless set
  int pan = 0;                             ///< -50..50
  bool is_one_shot = false, tracks_pitch = true, is_reversed = false;
  int start = 0, end = 0;  ///< frames; an end of 0: the file's
  bool has_loop = false, crossfades_equal_power = false, leaves_loop_on_release = false;
  int loop_start = 0, loop_end = 0, loop_crossfade = 0, loop_tune = 0, loop_direction = 0;
};

struct ExsGroup {
  enum Trigger { always, note, round_robin, controller, bend, channel };
  std::string name = "group";
  int volume = 0, pan = 0;
  int polyphony = 0, exclusive_class = 0;
  bool is_muted = false, sounds_on_release = false;
  int release_decay_ms = -1;  ///< -1: off
  int key_low = 0, key_high = 127, velocity_low = 0, velocity_high = 127;
  int attack = 0, decay = 0, sustain = 0, release = 0;  ///< offsets, -127..127
  int cutoff = 0, resonance = 0;
  Trigger trigger = always;
  int switch_key = 0;
  int previous_in_turn = -1;  ///< in ExsInstrument::groups
  int controller_number = 0, value_low = 0, value_high = 127;
  int midi_channel = 0;
};

struct ExsSample {
  std::string folder = {}, file_name = {};
  std::string header_name = {};  ///< the short name in the block's header; `file_name` unless set
  int frames = 0, rate = 44100, channels = 1;
};

struct ExsInstrument {
  std::string name = "instrument";
  std::vector<ExsZone> zones = {};
  std::vector<ExsGroup> groups = {};
  std::vector<ExsSample> samples = {};
  std::vector<std::pair<int, int>> parameters = {};  ///< id and value; none: no block of them
};

/// Sizes of the blocks without their headers, and how the headers are written. Fields beyond a size
/// are left out.
struct ExsLayout {
  enum class Order { little, big, big_with_swapped_word };
  std::size_t instrument = 80, zone = 136, group = 132, sample = 592, parameters = 388;
  Order order = Order::little;
  bool has_size_flag = false;  ///< the old variant: bit 15 of the size, 0x80 of the type
  std::string magic = "TBOS";  ///< or JBOS; as it reads in little endian
};
constexpr auto exs_big = ExsLayout::Order::big;
/// The first generation, the usual one, and the one of 2026.
inline const ExsLayout exs_early{40, 104, 96, 336, 304};
inline const ExsLayout exs_usual{};
inline const ExsLayout exs_late{88, 148, 144, 600, 1108};

std::vector<std::byte> exs_file(const ExsInstrument& instrument, const ExsLayout& layout = {});
/// Writes it to `path`; false when that cannot be.
bool write_exs(const std::string& path, const ExsInstrument& instrument,
               const ExsLayout& layout = {});

}  // namespace vesk::tests
