#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>

#include "platform/realtime.hpp"
#include "tools/midi/midi_file.hpp"
#include "vesk/host_process.hpp"

namespace vesk::tools {

/// A period of a song: its length, the events in it, and where it stands in the song, if known.
struct Period {
  std::uint32_t frames = 0;
  std::span<const client::MidiEvent> events = {};
  std::optional<client::Transport> transport = {};
};

/// Cuts a song into periods, with every event at its frame, and one tempo and meter in each.
///
/// A period ends early where tempo or meter change, where the song ends, and before the first event
/// for which the block has no slot left. Of more events at one frame than there are slots, each
/// further slotful comes a frame later, in a period of one frame: in one of no frames many plugins
/// look at no event.
///
/// After the song's end time stands still, so that what plays by itself, such as a metronome, falls
/// silent and the rest rings out.
class PeriodEvents {
 public:
  /// `song` must outlive this. `sample_rate` in Hz. Begins at `first_frame` of the song, with every
  /// event before that.
  PeriodEvents(const Song& song, double sample_rate,
               std::uint64_t first_frame = 0) noexcept VESK_REALTIME;

  /// The next period, of at most `longest` frames (1 or more) and at least one. Its events are
  /// valid until the next call. Real-time safe.
  Period next(std::uint32_t longest) noexcept VESK_REALTIME;

  /// Whether every event has been dealt out.
  bool is_done() const noexcept VESK_REALTIME { return next_event_ == song_->events.size(); }

 private:
  std::uint64_t frame_of(double seconds) const noexcept VESK_REALTIME;
  /// Frames from the period's start to `seconds`; 0 for what is late.
  std::uint64_t offset_of(double seconds) const noexcept VESK_REALTIME;
  /// `longest`, or the frames until the next change of tempo or meter or the song's end.
  std::uint32_t frames_to_next_mark(std::uint32_t longest) noexcept VESK_REALTIME;
  std::optional<client::Transport> transport() const noexcept VESK_REALTIME;

  const Song* song_;
  double sample_rate_;
  std::uint64_t end_frame_;
  std::uint64_t period_start_;
  std::size_t next_event_ = 0;
  std::size_t mark_ = 0;  // in force at the period's start
  std::array<client::MidiEvent, host::max_midi_events> slots_;
};

}  // namespace vesk::tools
