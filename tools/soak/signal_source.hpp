#pragma once

#include <cstdint>
#include <span>
#include <vector>

#include "vesk/host_process.hpp"

namespace vesk::tools {

/// What a component is given to work on: notes over the whole keyboard with a wheel now and then
/// for those that take MIDI, noise for effects. The same each time.
class SignalSource {
 public:
  SignalSource(double sample_rate_hz, bool takes_midi, bool is_effect);

  /// Fills the host's input for the next `frames` frames and returns the events of that period.
  std::span<const client::MidiEvent> play(client::HostProcess& host, unsigned frames);

  /// The same for a rest: what is held is let go, and the input is silence.
  std::span<const client::MidiEvent> rest(client::HostProcess& host, unsigned frames);

 private:
  void add_notes(unsigned frames);

  double frames_a_note_;
  bool takes_midi_;
  bool is_effect_;
  bool is_resting_ = true;
  double to_next_note_ = 0;  // frames
  int note_ = 0;
  std::uint32_t noise_ = 1;
  std::vector<client::MidiEvent> events_;
};

}  // namespace vesk::tools
