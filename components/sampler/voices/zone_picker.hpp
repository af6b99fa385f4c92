#pragma once

// Which zones of an instrument a key makes sound.

#include <array>
#include <cstdint>
#include <span>
#include <vector>

#include "components/sampler/instrument/instrument.hpp"
#include "components/sampler/samples/sample_set.hpp"
#include "components/sampler/voices/levels.hpp"
#include "platform/realtime.hpp"

namespace vesk::sampler {

/// What the conditions of groups are held against.
struct MidiState {
  std::array<std::uint8_t, 128> controllers;
  int bend;               ///< -8192..8191
  std::uint8_t pressure;  ///< of the channel
  std::array<std::uint8_t, 128> key_pressures;

  MidiState() noexcept VESK_REALTIME { reset(); }
  /// Everything at rest, volumes full.
  void reset() noexcept VESK_REALTIME;
};

/// The zones of each key, found without a search, and the turns and switches that choose among
/// them.
class ZonePicker {
 public:
  /// Zones that cannot be heard are left out. Allocates; both arguments outlive it.
  ZonePicker(const Instrument& instrument, const SampleSet& samples);

  // Render thread, real-time safe.

  /// A key that switches groups, or any other, was struck.
  void strike(unsigned key) noexcept VESK_REALTIME;
  /// Calls `visit(zone, gain)` for each zone that sounds when `key`, transposed, goes down, or up
  /// with `is_release`; its velocity, 1..127, is that of the note-on. Groups in turn move on.
  template <typename Visit>
  void pick(unsigned channel, unsigned key, unsigned velocity, bool is_release,
            const MidiState& midi, Visit visit) noexcept VESK_REALTIME;
  bool has_release_zones() const noexcept VESK_REALTIME { return !lists_[1].zones.empty(); }
  void reset() noexcept VESK_REALTIME;

 private:
  /// The zones of key k are those from starts[k] to starts[k + 1].
  struct KeyLists {
    std::array<std::uint32_t, 129> starts{};
    std::vector<std::uint32_t> zones;
  };
  /// Groups that take turns.
  struct Chain {
    std::uint32_t first, turn;
    bool was_struck = false;
  };
  struct Turn {
    std::uint32_t chain = 0, next = 0;
  };

  void make_chains();
  bool is_met(std::size_t group, unsigned channel, const MidiState& midi) noexcept VESK_REALTIME;
  void take_turns() noexcept VESK_REALTIME;

  const Instrument& instrument_;
  KeyLists lists_[2];        ///< struck, released
  std::vector<Turn> turns_;  ///< of each group
  std::vector<Chain> chains_;
  std::vector<std::uint32_t> struck_chains_;  ///< room for all
  std::size_t struck_count_ = 0;
  std::array<bool, 128> is_switch_{};
  unsigned first_switch_ = 0, last_switch_ = 0;
};

template <typename Visit>
void ZonePicker::pick(unsigned channel, unsigned key, unsigned velocity, bool is_release,
                      const MidiState& midi, Visit visit) noexcept VESK_REALTIME {
  const KeyLists& list = lists_[is_release ? 1 : 0];
  for (std::uint32_t i = list.starts[key]; i < list.starts[key + 1]; ++i) {
    const std::uint32_t index = list.zones[i];
    const Zone& zone = instrument_.zones[index];
    const double gain = crossfade_gain(instrument_.settings, zone.velocities, velocity);
    if (gain > 0 && (!zone.group || is_met(*zone.group, channel, midi))) visit(index, gain);
  }
  take_turns();
}

}  // namespace vesk::sampler
