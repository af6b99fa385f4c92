#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "tools/audio/loudness.hpp"
#include "tools/audio/tail.hpp"
#include "tools/audio/writer.hpp"
#include "tools/program/output_file.hpp"
#include "tools/render/warning.hpp"

namespace vesk::tools {

/// Takes what a chain gives out: drops its latency from the start, measures and writes the song,
/// and decides when the sound after it is over.
class SongSink {
 public:
  struct Settings {
    AudioFormat format = AudioFormat::wav_float;
    int sample_rate = 0;
    std::uint64_t dropped_frames = 0;    ///< dropped from the start
    std::uint64_t expected_frames = 0;   ///< of the song, as far as it is known beforehand
    std::optional<double> tail_seconds;  ///< empty: by listening
  };

  /// `file` must outlive the sink. Null with a sentence in `error`.
  static std::unique_ptr<SongSink> open(OutputFile& file, const Settings& settings,
                                        std::string& error);

  /// Takes the chain's next `frames` frames. `end_frame` is where the song is over, in frames
  /// that are kept, and may be unknown as long as it lies beyond this period. False with a
  /// sentence in `error` when the file cannot take them.
  bool take(const float* left, const float* right, std::uint32_t frames,
            std::optional<std::uint64_t> end_frame, std::string& error);

  /// Whether the song and its tail are complete.
  bool is_over() const { return ended_ && tail_.is_over(); }

  /// Completes the file's contents; call once when over.
  bool finish(std::string& error) { return writer_->finish(error); }

  std::uint64_t frames_written() const { return writer_->frames_written(); }
  const LoudnessMeter& meter() const { return meter_; }

  /// What a listener should know: clipping, a cut tail, silence, samples that are no numbers.
  std::vector<Warning> warnings() const;

 private:
  SongSink(std::unique_ptr<AudioWriter> writer, const Settings& settings);

  std::unique_ptr<AudioWriter> writer_;
  LoudnessMeter meter_;
  Tail tail_;
  AudioFormat format_;
  std::uint64_t to_drop_;
  bool ended_ = false;
};

}  // namespace vesk::tools
