#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <vector>

#include "host/block.hpp"
#include "tools/midi/midi_file.hpp"

namespace vesk::tools {

/// A period of a song: its length, and the events in it.
struct Period {
  std::uint32_t frames = 0;
  std::span<const host::MidiEvent> events = {};
};

/// Cuts a song into periods, with every event at its frame.
///
/// A period ends early, before the first event for which the block has no slot left. Of more
/// events at one frame than there are slots, each further slotful comes a frame later, in a period
/// of one frame: in one of no frames many plugins look at no event.
class PeriodEvents {
 public:
  /// `events` by time, as `Song` holds them; kept by reference. `sample_rate` in Hz.
  PeriodEvents(std::span<const TimedMidiEvent> events, double sample_rate);

  /// The next period, of at most `longest` frames (1 or more) and at least one. Its events are
  /// valid until the next call.
  Period next(std::uint32_t longest);

  /// Whether every event has been dealt out.
  bool is_done() const { return next_event_ == events_.size(); }

 private:
  /// From the period's start; 0 for what is late.
  std::uint64_t offset_of(const TimedMidiEvent& event) const;

  std::span<const TimedMidiEvent> events_;
  double sample_rate_;
  std::uint64_t period_start_ = 0;
  std::size_t next_event_ = 0;
  std::vector<host::MidiEvent> slots_;
};

}  // namespace vesk::tools
