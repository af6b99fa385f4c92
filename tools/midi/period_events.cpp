#include "tools/midi/period_events.hpp"

#include <algorithm>
#include <cmath>

namespace vesk::tools {

PeriodEvents::PeriodEvents(const Song& song, double sample_rate,
                           std::uint64_t first_frame) noexcept VESK_REALTIME
    : song_(&song),
      sample_rate_(sample_rate),
      end_frame_(frame_of(song.length_seconds)),
      period_start_(first_frame) {}

std::uint64_t PeriodEvents::frame_of(double seconds) const noexcept VESK_REALTIME {
  return static_cast<std::uint64_t>(std::llround(seconds * sample_rate_));
}

std::uint64_t PeriodEvents::offset_of(double seconds) const noexcept VESK_REALTIME {
  const std::uint64_t frame = frame_of(seconds);
  return frame > period_start_ ? frame - period_start_ : 0;
}

Period PeriodEvents::next(std::uint32_t longest) noexcept VESK_REALTIME {
  const auto rest = std::span(song_->events).subspan(next_event_);
  std::uint32_t frames = frames_to_next_mark(longest);
  if (rest.size() > host::max_midi_events) {
    const std::uint64_t first_left_over = offset_of(rest[host::max_midi_events].seconds);
    frames = static_cast<std::uint32_t>(std::clamp<std::uint64_t>(first_left_over, 1, frames));
  }
  std::size_t count = 0;
  for (const TimedMidiEvent& event :
       rest.first(std::min<std::size_t>(rest.size(), host::max_midi_events))) {
    const std::uint64_t offset = offset_of(event.seconds);
    if (offset >= frames) break;
    slots_[count++] = {event.status, event.data1, event.data2, 0,
                       static_cast<std::uint32_t>(offset)};
  }
  const Period period{frames, {slots_.data(), count}, transport()};
  next_event_ += count;
  period_start_ += frames;
  return period;
}

std::uint32_t PeriodEvents::frames_to_next_mark(std::uint32_t longest) noexcept VESK_REALTIME {
  if (song_->marks.empty()) return longest;
  std::uint64_t frames = longest;
  while (mark_ + 1 < song_->marks.size() && offset_of(song_->marks[mark_ + 1].seconds) == 0)
    ++mark_;
  if (mark_ + 1 < song_->marks.size())
    frames = std::min(frames, offset_of(song_->marks[mark_ + 1].seconds));
  if (period_start_ < end_frame_) frames = std::min(frames, end_frame_ - period_start_);
  return static_cast<std::uint32_t>(frames);
}

std::optional<client::Transport> PeriodEvents::transport() const noexcept VESK_REALTIME {
  if (song_->marks.empty()) return std::nullopt;
  const TempoMark& mark = song_->marks[mark_];
  const auto frame = static_cast<double>(std::min(period_start_, end_frame_));
  const double bar = 4.0 * mark.beats_per_bar / mark.beat_unit;
  client::Transport transport;
  transport.tempo = mark.tempo;
  transport.frame = frame;
  // From the mark, so that nothing adds up over a long song. A mark between two frames is heard at
  // the nearer one, which may be the earlier.
  transport.beat = mark.beat + std::max(0.0, frame / sample_rate_ - mark.seconds) * mark.tempo / 60;
  transport.bar_start = mark.first_bar + std::floor((transport.beat - mark.first_bar) / bar) * bar;
  transport.beats_per_bar = mark.beats_per_bar;
  transport.beat_unit = mark.beat_unit;
  transport.playing = period_start_ < end_frame_;
  return transport;
}

}  // namespace vesk::tools
