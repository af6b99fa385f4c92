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

/// What a Standard MIDI File says, its tracks merged and its tempo map applied.
struct Song {
  std::vector<TimedMidiEvent> events;  ///< by time; at one time in file order
  double length_seconds = 0.0;         ///< the last track's end
  std::size_t left_out = 0;  ///< system-exclusive messages, which have no place in a period
};

/// Reads a Standard MIDI File of format 0 or 1, with a metrical or an SMPTE time base.
///
/// Chunks of other kinds are skipped, as are bytes after the last track. The empty result comes
/// with one sentence in `error` (no file name in it): not a MIDI file, a track that ends inside an
/// event, format 2, a song beyond 24 hours. Never throws for bad input.
std::optional<Song> parse_midi(std::span<const std::uint8_t> bytes, std::string& error);

/// The song's first `seconds`, when it is longer: notes that are held then end there, and pedals
/// are let go.
Song first_part(Song song, double seconds);

/// `parse_midi` of the file at `path` (at most 64 MB); the path leads the message.
std::optional<Song> read_midi_file(const std::string& path, std::string& error);

}  // namespace vesk::tools
