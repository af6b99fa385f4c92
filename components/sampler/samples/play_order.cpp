#include "components/sampler/samples/play_order.hpp"

#include <algorithm>
#include <cmath>

namespace vesk::sampler {
namespace {

/// The file says milliseconds. Some writers meant frames, and some wrote numbers that are neither.
std::int64_t crossfade_frames(const Loop& loop, std::int64_t loop_frames, double sample_rate) {
  if (loop.crossfade <= 0) return 0;
  const double frames = std::round(loop.crossfade * sample_rate / 1000);
  if (frames <= static_cast<double>(loop_frames)) return static_cast<std::int64_t>(frames);
  return loop.crossfade <= loop_frames ? loop.crossfade : 0;
}

void fit_loop(const Loop& loop, std::int64_t frames, double sample_rate, PlayOrder& order) {
  if (!loop.is_on || loop.start < 0 || loop.end > frames + 1) return;
  order.loop_start = loop.start;
  order.loop_end = std::min(loop.end, frames);
  // Ends that name the last frame stand beside loops whose end is the frame after it. Without that
  // frame a cycle would be out of tune.
  if (order.loop_frames() < 2 || order.loop_end > order.end + 1 || order.loop_end <= order.start)
    return;
  order.end = std::max(order.end, order.loop_end);
  order.has_loop = true;
  order.direction = loop.direction;
  order.is_left_on_release = loop.is_left_on_release;
  order.crossfades_equal_power = loop.crossfades_equal_power;
  if (loop.direction == Loop::Direction::alternating) return;  // it turns without a seam
  const std::int64_t before_loop =
      order.pass_step() > 0 ? order.loop_start : frames - order.loop_end;
  order.crossfade = std::min(crossfade_frames(loop, order.loop_frames(), sample_rate), before_loop);
}

}  // namespace

std::optional<PlayOrder> fit(const Zone& zone, std::int64_t frames, double sample_rate) {
  PlayOrder order;
  order.start = std::max<std::int64_t>(zone.start, 0);
  if (order.start >= frames) return {};
  order.end = zone.end <= 0 ? frames : std::clamp(zone.end, order.start + 1, frames);
  order.step = zone.is_reversed ? -1 : 1;
  if (!zone.is_one_shot) fit_loop(zone.loop, frames, sample_rate, order);
  return order;
}

void PlayHead::start(const PlayOrder& order) noexcept VESK_REALTIME {
  order_ = &order;
  step_ = order.step;
  is_released_ = false;
  is_looping_ = order.has_loop;
  plan(step_ > 0 ? order.start : order.end - 1);
}

std::int64_t PlayHead::to_loop_edge(std::int64_t frame) const noexcept VESK_REALTIME {
  return step_ > 0 ? order_->loop_end - frame : frame - order_->loop_start + 1;
}

void PlayHead::plan(std::int64_t frame) noexcept VESK_REALTIME {
  const PlayOrder& order = *order_;
  const bool leaves = is_released_ && order.is_left_on_release;
  if (is_looping_ && to_loop_edge(frame) == 0) {
    if (leaves && step_ == order.step) {
      is_looping_ = false;
    } else if (leaves || order.direction == Loop::Direction::alternating ||
               step_ != order.pass_step()) {
      step_ = -step_;
      frame += 2 * step_;  // the frame at which it turns is played once
    } else {
      frame -= step_ * order.loop_frames();
    }
  }
  segment_ = {.frame = frame, .step = step_};
  if (!is_looping_) {
    const std::int64_t left = step_ > 0 ? order.end - frame : frame - order.start + 1;
    segment_.count = std::max<std::int64_t>(left, 0);
    return;
  }
  // It ends where a fade would begin, if there will be one or not: a release until then prevents
  // it.
  segment_.count = to_loop_edge(frame);
  if (segment_.count > order.crossfade) {
    segment_.count -= order.crossfade;
  } else if (step_ == order.pass_step() && !leaves) {
    segment_.fade = order.crossfade;
    segment_.faded = order.crossfade - segment_.count;
    segment_.fades_to = frame - step_ * order.loop_frames();
  }
}

void PlayHead::advance(std::int64_t count) noexcept VESK_REALTIME {
  segment_.count -= count;
  segment_.frame += step_ * count;
  if (segment_.fade != 0) {
    segment_.faded += count;
    segment_.fades_to += step_ * count;
  }
  if (segment_.count != 0) return;
  if (segment_.fade != 0)
    plan(segment_.fades_to);  // what faded in goes on
  else
    plan(segment_.frame);
}

bool PlayHead::is_in_loop() const noexcept VESK_REALTIME {
  return is_looping_ && segment_.frame >= order_->loop_start && segment_.frame < order_->loop_end;
}

}  // namespace vesk::sampler
