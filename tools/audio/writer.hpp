#pragma once

#include <cstdint>
#include <limits>
#include <memory>
#include <string>
#include <vector>

#include "tools/program/output_file.hpp"

namespace vesk::tools {

/// The formats a rendered song can be written in.
enum class AudioFormat {
  wav_float,  ///< `.wav`: 32-bit float; beyond 4 GB it is RF64
  flac,       ///< `.flac`: 24-bit, clipped to -1..1
  vorbis,     ///< `.ogg`: Vorbis at a high quality, clipped
  opus,       ///< `.opus`: the same in Opus
};

/// The format that a file name asks for by its ending (letters of either case); false when it asks
/// for none.
bool format_of_name(const std::string& path, AudioFormat& format);

/// The format that is called "wav", "flac", "ogg" or "opus"; false for any other word.
bool format_called(const std::string& word, AudioFormat& format);

/// How names of such files end: ".wav".
const char* ending_of(AudioFormat format);

/// The format in a few words: "32-bit float WAV".
const char* description_of(AudioFormat format);

/// Whether the format has audio of `sample_rate` Hz.
bool takes_rate(AudioFormat format, int sample_rate);

/// Writes two channels of audio to an `OutputFile`. The same audio makes the same bytes.
class AudioWriter {
 public:
  /// `file` must outlive the writer; `sample_rate` in Hz, whole; `most_frames` is what may come at
  /// the most, and decides whether a WAV file is made ready to grow beyond 4 GB. Null with a
  /// sentence in `error`.
  static std::unique_ptr<AudioWriter> open(OutputFile& file, AudioFormat format, int sample_rate,
                                           std::uint64_t most_frames, std::string& error);
  ~AudioWriter();
  AudioWriter(const AudioWriter&) = delete;
  AudioWriter& operator=(const AudioWriter&) = delete;

  /// Appends `frames` frames; false with a sentence in `error` (a full disk).
  /// Frames gather before they go to the file, so a failure may show some calls later.
  bool write(const float* left, const float* right, std::uint32_t frames, std::string& error);

  /// Writes what the format keeps for its end; call once, before the file is committed.
  bool finish(std::string& error);

  std::uint64_t frames_written() const { return frames_written_; }

  /// Samples that the format cannot hold as they are: beyond -1..1 in all but a WAV file.
  std::uint64_t clipped_samples() const { return clipped_samples_; }

 private:
  struct Sink;
  AudioWriter(std::unique_ptr<Sink> sink, AudioFormat format);
  float clip(float sample);
  bool flush(std::string& error);

  std::unique_ptr<Sink> sink_;
  AudioFormat format_;
  std::uint64_t longest_ = std::numeric_limits<std::uint64_t>::max();  // frames
  std::uint64_t frames_written_ = 0;
  std::uint64_t clipped_samples_ = 0;
  std::vector<float> interleaved_;
};

}  // namespace vesk::tools
