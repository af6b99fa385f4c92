#pragma once

// Where in the song a period lies, as far as the host of the unit tells.

#include <cmath>
#include <cstdint>

#include "platform/realtime.hpp"

namespace vesk::lv2 {

/// What a time:Position tells a plugin.
struct Position {
  std::int64_t frame = 0;
  float speed = 1;  ///< 0 stopped, 1 rolling
  bool has_tempo = false;
  float beats_per_minute = 120;
  double beat = 0;             ///< quarter notes since the start of the song; with a tempo only
  double beats_per_frame = 0;  ///< as they pass while it is rolling
  bool has_meter = false;
  std::int64_t bar = 0;
  float bar_beat = 0;
  std::int32_t beat_unit = 4;
  float beats_per_bar = 4;
};

/// Decides when a plugin must be told a position: at the start, after a jump, and when speed,
/// tempo or meter change. Render thread.
class PositionWatch {
 public:
  /// True when `now`, the position of a period's first frame, is not what follows from the last.
  bool must_be_told(const Position& now) noexcept VESK_REALTIME {
    const bool same =
        told_ && now.frame == expected_frame_ && now.speed == last_.speed &&
        now.has_tempo == last_.has_tempo && now.beats_per_minute == last_.beats_per_minute &&
        std::fabs(now.beat - expected_beat_) < beat_tolerance && now.has_meter == last_.has_meter &&
        now.beat_unit == last_.beat_unit && now.beats_per_bar == last_.beats_per_bar;
    told_ = true;
    last_ = now;
    expected_frame_ = now.frame;
    // From what the plugin was told, so that small differences cannot add up unseen.
    if (!same) expected_beat_ = now.beat;
    return !same;
  }
  /// The period was rendered: the next one is expected `frames` later, unless time stands still.
  void advance(std::uint32_t frames) noexcept VESK_REALTIME {
    if (last_.speed == 0) return;
    expected_frame_ += frames;
    expected_beat_ += frames * last_.beats_per_frame;
  }

 private:
  /// Below what is heard, above what differs by rounding.
  static constexpr double beat_tolerance = 1e-4;

  bool told_ = false;
  Position last_;
  std::int64_t expected_frame_ = 0;
  double expected_beat_ = 0;
};

}  // namespace vesk::lv2
