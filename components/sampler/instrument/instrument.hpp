#pragma once

// A sampler instrument: which sample sounds for which key, and how. Read from a file once, then
// never changed. Every list is of indexes that have been checked; every number is finite and in the
// range that stands beside it.

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace vesk::sampler {

/// Both ends belong to it; `low` is never above `high`.
struct KeyRange {
  std::uint8_t low = 0, high = 127;
  bool holds(unsigned value) const { return value >= low && value <= high; }
};

struct Loop {
  enum class Direction : std::uint8_t { forward, backward, alternating };
  bool is_on = false;
  Direction direction = Direction::forward;
  bool is_left_on_release = false;      ///< plays on to the end after the key is released
  bool crossfades_equal_power = false;  ///< else linear
  std::int64_t start = 0, end = 0;      ///< frames of the file, the end exclusive; as the file says
  std::int32_t crossfade = 0;           ///< milliseconds, as the file says
  std::int8_t tune_cents = 0;           ///< while inside the loop
};

/// A sample under a range of keys and velocities. What its group adds is already in it.
struct Zone {
  std::string name;
  std::size_t sample = 0;            ///< in Instrument::samples
  std::optional<std::size_t> group;  ///< in Instrument::groups
  KeyRange keys, velocities;
  std::uint8_t root_key = 60;
  bool tracks_pitch = true;
  bool is_one_shot = false;  ///< plays to its end, whatever the key does
  bool is_reversed = false;
  double tune_cents = 0;
  double gain_db = 0;
  double pan = 0;          ///< -1 left, 1 right
  std::int64_t start = 0;  ///< first frame of the file
  std::int64_t end = 0;    ///< exclusive; 0 or less: the file's end
  Loop loop;
};

/// Delay, attack, hold, decay and release in seconds, 0..10 each.
struct Envelope {
  double delay = 0;
  double attack = 0;            ///< at the highest velocity
  double attack_at_lowest = 0;  ///< at velocity 1
  double hold = 0, decay = 0;
  double sustain = 1;  ///< level, 0..1
  double release = 0;
};

/// What decides whether the zones of a group sound at a note-on.
struct GroupCondition {
  enum class Kind : std::uint8_t { always, note, round_robin, controller, bend, channel };
  Kind kind = Kind::always;
  std::uint8_t number = 0;  ///< the switching key, or the controller
  KeyRange values;  ///< of the controller, of the bend's upper seven bits, of channels 1..16
};

struct Group {
  std::string name;
  std::uint8_t polyphony = 0;        ///< 0: no limit of its own
  std::uint8_t exclusive_class = 0;  ///< 0: none; a note ends those of other groups of its class
  bool is_muted = false;
  bool sounds_on_release = false;  ///< triggered by the end of a note, at its velocity
  double release_decay = 0;        ///< seconds over which a long note's release sound fades; 0: it
                                   ///< does not
  GroupCondition condition;
  std::optional<std::size_t> next_in_turn;  ///< round robin: the group that sounds after this one
  Envelope envelope;                        ///< the instrument's with this group's offsets
  double cutoff_offset = 0, resonance_offset = 0;  ///< to Filter's, -1..1
};

struct Filter {
  enum class Kind : std::uint8_t { low24, low18, low12, low6, high12, band12 };
  bool is_on = false;
  Kind kind = Kind::low24;
  double cutoff = 1;     ///< 0..1: 20 Hz * 1000^cutoff
  double resonance = 0;  ///< 0..1
  double key_track = 0;  ///< 0..1
  Envelope envelope;
};

/// One source bends one destination, by an amount that a second source scales.
struct Modulation {
  enum class Source : std::uint8_t {
    none,
    controller,
    velocity,
    key,
    pressure,
    lfo1,
    lfo2,
    lfo3,
    amplitude_envelope,
    filter_envelope
  };
  enum class Destination : std::uint8_t { pitch, cutoff, resonance, volume, pan };
  Source source = Source::none, via = Source::none;
  std::uint8_t source_controller = 0, via_controller = 0;
  Destination destination = Destination::pitch;
  double amount_low = 0;   ///< -1..1, with `via` at rest
  double amount_high = 0;  ///< -1..1, with `via` at its most
  bool is_via_inverted = false, is_source_inverted = false;
};

struct Lfo {
  double rate_hz = 5;      ///< 0.01..20
  std::uint8_t shape = 0;  ///< 0 triangle
  double fade_in = 0;      ///< seconds
};

struct Settings {
  double gain_db = 0;
  double pan = 0;  ///< -1..1
  double tune_cents = 0;
  int transpose = 0;                  ///< semitones, added to a key before zones are looked for
  double bend_up = 2, bend_down = 2;  ///< semitones
  unsigned polyphony = 16;            ///< voices, 1..128
  bool is_mono = false;
  std::uint8_t hold_controller = 64;
  double velocity_lowest_db = -60;      ///< level at velocity 1
  double velocity_highest_db = 0;       ///< level at velocity 127
  std::uint8_t velocity_crossfade = 0;  ///< widens each zone's velocities on both sides
  enum class CrossfadeLaw : std::uint8_t { decibels, linear, equal_power };
  CrossfadeLaw velocity_crossfade_law = CrossfadeLaw::linear;
  Envelope envelope;          ///< of zones without a group
  bool has_envelope = false;  ///< the file says something about it
  Filter filter;
  Lfo lfos[3];
  std::vector<Modulation> modulations;
};

/// Where a sample is said to be, and what it is said to hold: advice, for finding it.
struct SampleReference {
  std::string folder = {};  ///< '/' between its parts; empty when unknown
  std::string file_name = {};
  std::int64_t frames = 0;
  double sample_rate = 0;
  unsigned channels = 0;
};

struct Instrument {
  std::string name = {};
  std::vector<Zone> zones = {};
  std::vector<Group> groups = {};
  std::vector<SampleReference> samples = {};
  Settings settings = {};
};

}  // namespace vesk::sampler
