#include <mach/mach_time.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <numbers>
#include <utility>

#include "components/sampler/samples/feed.hpp"
#include "components/sampler/samples/sample_data.hpp"
#include "components/sampler/samples/sample_set.hpp"
#include "components/sampler/samples/stream_worker.hpp"

namespace vesk::sampler {
namespace {

constexpr std::uint64_t offline_limit_ns = 1'000'000'000;
constexpr unsigned fade_block = 256;

/// The frames of a fade, which are in memory on both of its sides; at most a block.
unsigned read_fade(const SampleData& data, const Segment& segment, bool is_equal_power,
                   unsigned frames, float* left, float* right) noexcept VESK_REALTIME {
  std::array<float, fade_block> left_in, right_in;
  const unsigned count = std::min(frames, fade_block);
  data.read(segment.frame, segment.step, count, left, right);
  data.read(segment.fades_to, segment.step, count, left_in.data(), right_in.data());
  const double turn = 1.0 / static_cast<double>(segment.fade);
  const double done = static_cast<double>(segment.faded) * turn;
  // Equal power: cosine and sine of the way, each from the one before by a rotation.
  const double step_cosine = std::cos(turn * std::numbers::pi / 2);
  const double step_sine = std::sin(turn * std::numbers::pi / 2);
  double out = is_equal_power ? std::cos(done * std::numbers::pi / 2) : 1 - done;
  double in = is_equal_power ? std::sin(done * std::numbers::pi / 2) : done;
  for (unsigned i = 0; i < count; ++i) {
    left[i] = static_cast<float>(out * left[i] + in * left_in[i]);
    right[i] = static_cast<float>(out * right[i] + in * right_in[i]);
    if (is_equal_power) {
      const double next = out * step_cosine - in * step_sine;
      in = in * step_cosine + out * step_sine;
      out = next;
    } else {
      out -= turn;
      in += turn;
    }
  }
  return count;
}

}  // namespace

ZoneStream::ZoneStream(std::shared_ptr<SampleSet> set, std::shared_ptr<Feed> feed)
    : set_(std::move(set)), feed_(std::move(feed)) {}

void ZoneStream::start(std::size_t zone) noexcept VESK_REALTIME {
  has_starved_ = false;
  if (!set_->has(zone)) return stop();
  zone_ = &set_->zones_[zone];
  head_.start(zone_->order);
  enter_segment();
}

void ZoneStream::release() noexcept VESK_REALTIME {
  head_.release();
}

void ZoneStream::stop() noexcept VESK_REALTIME {
  zone_ = nullptr;
  if (is_fed_) feed_->want({}, 0);
  is_fed_ = false;
}

void ZoneStream::enter_segment() noexcept VESK_REALTIME {
  const Segment& segment = head_.segment();
  in_memory_ = segment.count;
  // Fades are in memory on both sides.
  if (segment.fade == 0 && segment.count > 0)
    in_memory_ = std::min(in_memory_, zone_->data->in_memory(segment.frame, segment.step));
  const bool was_fed = std::exchange(is_fed_, in_memory_ < segment.count);
  if (feed_ == nullptr || !(is_fed_ || was_fed)) return;
  Run run;
  if (is_fed_)
    run = {.data = zone_->data.get(),
           .frame = segment.frame + segment.step * in_memory_,
           .step = segment.step,
           .count = segment.count - in_memory_};
  feed_->want(run, in_memory_);
  set_->worker_->wake();
}

/// From the worker, offline for as long as it takes; none when that is too long.
unsigned ZoneStream::take(float* left, float* right, unsigned frames) noexcept VESK_REALTIME {
  Signal& filled = set_->worker_->filled();
  std::uint64_t end = 0;
  for (;;) {
    const std::uint32_t seen = filled.count();
    const std::uint64_t ready = feed_->ready();
    if (ready > 0) {
      const auto count = static_cast<unsigned>(std::min<std::uint64_t>(ready, frames));
      feed_->take(count, zone_->data->format().channels, left, right);
      return count;
    }
    if (!set_->is_offline_.load(std::memory_order_relaxed)) return 0;
    const std::uint64_t now = mach_absolute_time();
    if (end == 0) {
      end = now + offline_limit_ns;
      set_->worker_->wake();
    }
    if (now >= end) return 0;
    filled.wait(seen, end - now);
  }
}

unsigned ZoneStream::read(float* left, float* right, unsigned frames) noexcept VESK_REALTIME {
  if (zone_ == nullptr) return 0;
  const SampleData& data = *zone_->data;
  unsigned done = 0;
  while (done < frames && head_.segment().count > 0) {
    const Segment& segment = head_.segment();
    auto count = static_cast<unsigned>(std::min<std::int64_t>(frames - done, segment.count));
    if (segment.fade != 0) {
      count = read_fade(data, segment, zone_->order.crossfades_equal_power, count, left + done,
                        right + done);
    } else if (in_memory_ > 0) {
      count = static_cast<unsigned>(std::min<std::int64_t>(count, in_memory_));
      data.read(segment.frame, segment.step, count, left + done, right + done);
      in_memory_ -= count;
      if (is_fed_) feed_->set_lead(in_memory_);
    } else {
      count = take(left + done, right + done, count);
      if (count == 0) {
        has_starved_ = true;
        break;
      }
    }
    done += count;
    const bool is_done = segment.count == count;
    head_.advance(count);
    if (is_done) enter_segment();
  }
  return done;
}

}  // namespace vesk::sampler
