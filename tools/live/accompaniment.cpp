#include "tools/live/accompaniment.hpp"

#include <utility>

namespace vesk::tools {

Accompaniment::Accompaniment(Song song, bool as_tones, double sample_rate)
    : song_(std::move(song)),
      as_tones_(as_tones),
      wanted_rate_(sample_rate),
      rate_(sample_rate),
      rounds_(song_, sample_rate),
      tone_(sample_rate) {}

Period Accompaniment::next(std::uint32_t longest) noexcept VESK_REALTIME {
  if (const double wanted = wanted_rate_.load(std::memory_order_relaxed); wanted != rate_) {
    rate_ = wanted;
    rounds_ = Rounds(song_, rate_);
    tone_ = PluckedTone(rate_);
  }
  const Period period = rounds_.next(longest);
  if (as_tones_) {
    const std::span<float> samples = std::span(samples_).first(period.frames);
    tone_.play(period.events, samples);
    tones_ = samples;
  }
  return period;
}

}  // namespace vesk::tools
