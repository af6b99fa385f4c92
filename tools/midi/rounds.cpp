#include "tools/midi/rounds.hpp"

namespace vesk::tools {

Rounds::Rounds(const Song& song, double sample_rate) noexcept VESK_REALTIME
    : song_(&song),
      sample_rate_(sample_rate),
      events_(song, sample_rate) {
  // What is still held when a song ends must not sound into its next round: all notes off.
  for (std::size_t channel = 0; channel < channels; ++channel)
    silence_[channel] = {static_cast<std::uint8_t>(0xB0 + channel), 123, 0, 0, 0};
}

Period Rounds::next(std::uint32_t longest) noexcept VESK_REALTIME {
  if (song_->events.empty()) return {longest};
  const double seconds = static_cast<double>(frame_) / sample_rate_;
  if (events_.is_done() && seconds >= song_->length_seconds) {
    events_ = PeriodEvents(*song_, sample_rate_);
    frame_ = 0;
    return {longest, silence_};
  }
  const Period period = events_.next(longest);
  frame_ += period.frames;
  return period;
}

}  // namespace vesk::tools
