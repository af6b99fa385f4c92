#pragma once

#include <cstdint>
#include <optional>

namespace vesk::tools {

/// How long a chain is listened to after its song has ended.
///
/// With a fixed length that long; without one until the sound has stayed below -90 dBFS for one
/// second, at most 30 seconds. Counts output frames; the same audio ends at the same frame for
/// every period length.
class Tail {
 public:
  static constexpr double silence_dbfs = -90.0;
  static constexpr double silence_seconds = 1.0;
  static constexpr double longest_seconds = 30.0;

  /// `fixed_seconds` 0 or more; empty: by listening. `sample_rate` in Hz.
  Tail(std::optional<double> fixed_seconds, double sample_rate);

  /// Takes the next `frames` frames after the song's end and says how many of them belong to the
  /// tail; fewer than `frames` means that it is over.
  std::uint32_t take(const float* left, const float* right, std::uint32_t frames);

  bool is_over() const { return taken_ >= limit_ || quiet_frames_ >= quiet_wanted_; }

  /// Whether listening gave up at the longest length with the sound still going.
  bool was_cut() const { return listens_ && taken_ >= limit_ && quiet_frames_ < quiet_wanted_; }

 private:
  bool listens_;
  std::uint64_t limit_;
  std::uint64_t quiet_wanted_;
  std::uint64_t taken_ = 0;
  std::uint64_t quiet_frames_ = 0;
};

}  // namespace vesk::tools
