#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <vector>

namespace vesk::tools {

/// One channel message at its time from the start of the song.
struct TimedMidiEvent {
  double seconds = 0.0;
  std::uint8_t status = 0;  ///< 0x80..0xEF, channel included
  std::uint8_t data1 = 0;
  std::uint8_t data2 = 0;  ///< 0 for messages with one data byte

  bool operator==(const TimedMidiEvent&) const = default;
};

/// How fast a song is from a moment on, and how its beats make bars. Beats are quarter notes.
struct TempoMark {
  double seconds = 0.0;
  double beat = 0.0;                ///< at that moment, from the start of the song
  double tempo = 120;               ///< beats a minute
  double first_bar = 0.0;           ///< beat from which bars of this meter are counted
  std::uint32_t beats_per_bar = 4;  ///< upper number of the time signature
  std::uint32_t beat_unit = 4;      ///< lower number

  bool operator==(const TempoMark&) const = default;
};

/// What a Standard MIDI File says, its tracks merged and its tempo map applied.
struct Song {
  std::vector<TimedMidiEvent> events;  ///< by time; at one time in file order
  std::vector<TempoMark> marks;        ///< by time, the first at 0; none: no tempo is known
  double length_seconds = 0.0;         ///< the last track's end
  std::size_t left_out = 0;  ///< system-exclusive messages, which have no place in a period
};

/// Reads a Standard MIDI File of format 0 or 1, with a metrical or an SMPTE time base.
///
/// A file without a tempo or a time signature has 120 beats a minute and 4/4; one with an SMPTE
/// time base has no beats, and so no marks. Chunks of other kinds are skipped, as are bytes after
/// the last track. The empty result comes with one sentence in `error` (no file name in it): not a
/// MIDI file, a track that ends inside an event, format 2, a song beyond 24 hours. Never throws for
/// bad input.
std::optional<Song> parse_midi(std::span<const std::uint8_t> bytes, std::string& error);

/// `parse_midi` of the file at `path` (at most 64 MB); the path leads the message.
std::optional<Song> read_midi_file(const std::string& path, std::string& error);

}  // namespace vesk::tools
