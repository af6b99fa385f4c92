#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "tools/program/output_file.hpp"

namespace vesk::tools {

/// The formats a rendered song can be written in.
enum class AudioFormat {
  wav_float,  ///< `.wav`: 32-bit float, no PEAK chunk (its time stamp would make two runs differ)
  flac,       ///< `.flac`: 24-bit, clipped to -1..1
  vorbis,     ///< `.ogg`: Vorbis at a high quality, clipped; two runs differ by a serial number
};

/// The format that a file name asks for by its ending (letters of either case), WAV for "-"; false
/// otherwise.
bool format_of_name(const std::string& path, AudioFormat& format);

/// The format in a few words: "32-bit float WAV".
const char* description_of(AudioFormat format);

/// How many frames a file of the format can hold.
std::uint64_t longest_frames(AudioFormat format);

/// Writes two channels of audio to an `OutputFile`.
class AudioWriter {
 public:
  /// `file` must outlive the writer; `sample_rate` in Hz, whole. Null with a sentence in `error`.
  static std::unique_ptr<AudioWriter> open(OutputFile& file, AudioFormat format, int sample_rate,
                                           std::string& error);
  ~AudioWriter();
  AudioWriter(const AudioWriter&) = delete;
  AudioWriter& operator=(const AudioWriter&) = delete;

  /// Appends `frames` frames; false with a sentence in `error` (a full disk, a WAV beyond 4 GB).
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
  std::uint64_t frames_written_ = 0;
  std::uint64_t clipped_samples_ = 0;
  std::vector<float> interleaved_;
};

}  // namespace vesk::tools
