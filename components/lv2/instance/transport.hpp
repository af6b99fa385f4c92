#pragma once

// Where in the song a period lies, as far as the host of the unit tells.

#include <cstdint>

#include "platform/realtime.hpp"

namespace vesk::lv2 {

/// What a time:Position tells a plugin.
struct Position {
  std::int64_t frame = 0;
  float speed = 1;  ///< 0 stopped, 1 rolling
  bool has_tempo = false;
  float beats_per_minute = 120;
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
    const bool same = told_ && now.frame == expected_frame_ && now.speed == last_.speed &&
                      now.has_tempo == last_.has_tempo &&
                      now.beats_per_minute == last_.beats_per_minute &&
                      now.has_meter == last_.has_meter && now.beat_unit == last_.beat_unit &&
                      now.beats_per_bar == last_.beats_per_bar;
    told_ = true;
    last_ = now;
    expected_frame_ = now.frame;
    return !same;
  }
  /// The period was rendered: the next one is expected `frames` later, unless time stands still.
  void advance(std::uint32_t frames) noexcept VESK_REALTIME {
    if (last_.speed != 0) expected_frame_ += frames;
  }

 private:
  bool told_ = false;
  Position last_;
  std::int64_t expected_frame_ = 0;
};

}  // namespace vesk::lv2
