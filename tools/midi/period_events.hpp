#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <vector>

#include "host/block.hpp"
#include "tools/midi/midi_file.hpp"

namespace vesk::tools {

/// Deals a song's events out to periods, each at its frame.
///
/// A period takes as many events as the block has slots for; what is left over opens the next one,
/// at its first frame and in the same order.
class PeriodEvents {
 public:
  /// `events` by time, as `Song` holds them; kept by reference. `sample_rate` in Hz.
  PeriodEvents(std::span<const TimedMidiEvent> events, double sample_rate);

  /// The events of the next period of `frames` frames (1 or more), valid until the next call.
  std::span<const host::MidiEvent> next(std::uint32_t frames);

  /// Whether every event has been dealt out.
  bool is_done() const { return next_event_ == events_.size(); }

 private:
  std::span<const TimedMidiEvent> events_;
  double sample_rate_;
  std::uint64_t period_start_ = 0;
  std::size_t next_event_ = 0;
  std::vector<host::MidiEvent> period_;
};

}  // namespace vesk::tools
