#pragma once

// The way through the frames of a sample: its loop, its direction, its end.

#include <cstdint>
#include <optional>

#include "components/sampler/instrument/instrument.hpp"
#include "platform/realtime.hpp"

namespace vesk::sampler {

/// What a zone asks of its sample, brought to what the file really holds. Immutable.
struct PlayOrder {
  std::int64_t start = 0, end = 0;  ///< 0 <= start < end <= frames of the file
  int step = 1;                     ///< -1: from the end to the start
  bool has_loop = false;
  bool is_left_on_release = false;
  bool crossfades_equal_power = false;
  Loop::Direction direction = Loop::Direction::forward;
  std::int64_t loop_start = 0, loop_end = 0;  ///< two frames at least; start < loop_end <= end
  std::int64_t crossfade = 0;                 ///< frames, at most the loop's

  /// The step of a pass through the loop that ends with a jump.
  int pass_step() const VESK_REALTIME {
    return direction == Loop::Direction::backward ? -step : step;
  }
  std::int64_t loop_frames() const VESK_REALTIME { return loop_end - loop_start; }
};

/// Nothing when the zone starts behind the file's last frame.
std::optional<PlayOrder> fit(const Zone& zone, std::int64_t frames, double sample_rate);

/// Frames that follow each other.
struct Segment {
  std::int64_t frame = 0;  ///< the first
  int step = 1;            ///< 1 or -1 to the next
  std::int64_t count = 0;  ///< 0: the sample is over
  /// Not 0: these frames fade out while as many from `fades_to` on, in the same direction, fade in.
  /// `faded` of the fade's frames have been played.
  std::int64_t fade = 0, faded = 0, fades_to = 0;
};

/// Where a voice is on its way. Real-time safe throughout.
class PlayHead {
 public:
  /// `order` must outlive the way.
  void start(const PlayOrder& order) noexcept VESK_REALTIME;
  void release() noexcept VESK_REALTIME { is_released_ = true; }
  /// What is played next. A release never changes it, only what comes after it.
  const Segment& segment() const noexcept VESK_REALTIME { return segment_; }
  /// `count` frames, at most the segment's, have been played.
  void advance(std::int64_t count) noexcept VESK_REALTIME;
  bool is_in_loop() const noexcept VESK_REALTIME;

 private:
  void plan(std::int64_t frame) noexcept VESK_REALTIME;
  std::int64_t to_loop_edge(std::int64_t frame) const noexcept VESK_REALTIME;

  const PlayOrder* order_ = nullptr;
  Segment segment_;
  int step_ = 1;
  bool is_looping_ = false;  ///< the loop has not been left
  bool is_released_ = false;
};

}  // namespace vesk::sampler
