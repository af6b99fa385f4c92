#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <vector>

namespace vesk::tools {

/// Measures two channels of audio as they pass: the highest sample, and loudness by EBU R 128.
class LoudnessMeter {
 public:
  /// `sample_rate` in Hz.
  explicit LoudnessMeter(int sample_rate);
  ~LoudnessMeter();
  LoudnessMeter(const LoudnessMeter&) = delete;
  LoudnessMeter& operator=(const LoudnessMeter&) = delete;

  void add(const float* left, const float* right, std::uint32_t frames);

  /// The highest absolute sample; 0 for silence.
  float peak() const { return peak_; }

  /// Integrated loudness in LUFS; empty when nothing passed the gate (silence, or less than the
  /// 0.4 s that a measuring block takes).
  std::optional<double> integrated_lufs() const;

  /// Samples that were infinite or not numbers. They count neither for peak nor for loudness.
  std::uint64_t bad_samples() const { return bad_samples_; }

 private:
  struct State;
  std::unique_ptr<State> state_;
  float peak_ = 0.0f;
  std::uint64_t bad_samples_ = 0;
  std::vector<float> interleaved_;
};

/// An amplitude in decibels of full scale; -infinity for 0.
double to_dbfs(double amplitude);

}  // namespace vesk::tools
