#pragma once

#include <cstdint>
#include <limits>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <vector>

#include "tools/audio/reader.hpp"
#include "tools/audio/writer.hpp"
#include "tools/midi/midi_file.hpp"
#include "tools/midi/period_events.hpp"

namespace vesk::tools {

/// What is played: a MIDI song, an audio file, or both at once, cut into periods.
class SongSource {
 public:
  struct Settings {
    std::string midi_path = {};   ///< empty: none
    std::string input_path = {};  ///< empty: none
    /// Hz; 0 takes the audio file's if that is one that a host (8,000 to 384,000) and the output
    /// can have, otherwise 48,000.
    int sample_rate = 0;
    AudioFormat output_format = AudioFormat::wav_float;
    /// Beats a minute, for audio without a MIDI song; empty: not known.
    std::optional<double> tempo = {};
    double start_seconds = 0;  ///< where in the song it begins
    /// So much of the song is played before that, as far as there is so much.
    double preroll_seconds = 0;
    /// From the start on; empty: all of it.
    std::optional<double> longest_seconds = {};
  };

  /// Opens what has a path. Null with a sentence in `error`.
  static std::unique_ptr<SongSource> open(const Settings& settings, std::string& error);

  int sample_rate() const { return sample_rate_; }

  /// Makes the next period ready in `left`, `right` and `events`; zeros beyond the end. It has
  /// `longest` frames, or fewer where more events fall into them than a period can hold. False
  /// with a sentence in `error` when the audio file turns out to be damaged.
  bool prepare(std::uint32_t longest, std::string& error);

  /// The length of the period that is ready.
  std::uint32_t frames() const { return period_.frames; }
  std::span<const float> left() const { return left_; }
  std::span<const float> right() const { return right_; }
  std::span<const client::MidiEvent> events() const { return period_.events; }
  /// Where it stands in the song, if that has a tempo.
  const std::optional<client::Transport>& transport() const { return period_.transport; }

  /// Frames that come first, to be heard by the chain alone.
  std::uint64_t preroll_frames() const { return start_frame_ - first_frame_; }

  /// How many frames after those the song is over, once it is known: at the latest when the period
  /// that holds the end has been prepared.
  std::optional<std::uint64_t> end_frame() const;

  /// The end as far as the files tell beforehand.
  std::uint64_t expected_frames() const { return expected_frames_; }

  /// Sentences a listener should know: input converted, channels or messages left out.
  const std::vector<std::string>& remarks() const { return remarks_; }

 private:
  SongSource() = default;
  bool open_audio(const Settings& settings, std::string& error);
  bool open_song(const Settings& settings, std::string& error);
  bool skip_audio(std::string& error);
  std::uint64_t frames_of(double seconds) const;

  int sample_rate_ = 0;
  // Of the song: what the chain hears first, what is kept first, and the end if that is earlier
  // than the song's.
  std::uint64_t first_frame_ = 0;
  std::uint64_t start_frame_ = 0;
  std::uint64_t last_frame_ = std::numeric_limits<std::uint64_t>::max();
  Song song_;
  std::optional<PeriodEvents> song_events_;
  std::unique_ptr<AudioReader> reader_;
  std::uint64_t song_end_ = 0;
  std::uint64_t reader_position_ = 0;  // in the song
  bool reader_ended_ = true;
  std::uint64_t expected_frames_ = 0;
  std::vector<float> left_;
  std::vector<float> right_;
  Period period_;
  std::vector<std::string> remarks_;
};

}  // namespace vesk::tools
