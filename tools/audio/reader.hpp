#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

namespace vesk::tools {

/// Reads an audio file of any kind that libsndfile knows as two channels at a wanted rate.
///
/// One channel is given to both sides; of more than two the first two are used. Another rate than
/// the file's is made by libsamplerate's best sinc converter, a chunk at a time.
class AudioReader {
 public:
  /// `sample_rate` in Hz; 0 takes the file's. Null with a sentence in `error` that begins with
  /// the path.
  static std::unique_ptr<AudioReader> open(const std::string& path, int sample_rate,
                                           std::string& error);
  ~AudioReader();
  AudioReader(const AudioReader&) = delete;
  AudioReader& operator=(const AudioReader&) = delete;

  /// Fills up to `frames` frames; fewer at the end of the file, then 0. A file that turns out to
  /// be damaged ends early, and `failure` says so.
  std::uint32_t read(float* left, float* right, std::uint32_t frames);

  const std::string& failure() const { return failure_; }
  int file_rate() const { return file_rate_; }
  int channels() const { return channels_; }
  int sample_rate() const { return sample_rate_; }

  /// Frames to come in all, at the wanted rate (rounded when the rate is converted).
  std::uint64_t length_frames() const { return length_frames_; }

 private:
  AudioReader() = default;
  long read_file(float** data);
  bool fetch();

  struct Source;
  std::unique_ptr<Source> source_;
  std::string path_;
  std::string failure_;
  int file_rate_ = 0;
  int channels_ = 0;
  int sample_rate_ = 0;
  std::uint64_t length_frames_ = 0;
  std::int64_t missing_frames_ = 0;  // of those that the file announces; less: it announces none
  bool has_ended_ = false;
  std::vector<float> chunk_;        // as the file has it
  std::vector<float> interleaved_;  // two channels at the file's rate
  std::vector<float> converted_;    // two channels at the wanted rate
  const float* pending_ = nullptr;  // frames to hand out next, in one of the two
  std::uint32_t pending_frames_ = 0;
};

}  // namespace vesk::tools
