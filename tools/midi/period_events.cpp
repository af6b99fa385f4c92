#include "tools/midi/period_events.hpp"

#include <algorithm>
#include <cmath>

namespace vesk::tools {

PeriodEvents::PeriodEvents(std::span<const TimedMidiEvent> events, double sample_rate)
    : events_(events), sample_rate_(sample_rate) {
  slots_.reserve(host::max_midi_events);
}

std::uint64_t PeriodEvents::offset_of(const TimedMidiEvent& event) const {
  const auto frame = static_cast<std::uint64_t>(std::llround(event.seconds * sample_rate_));
  return frame > period_start_ ? frame - period_start_ : 0;
}

Period PeriodEvents::next(std::uint32_t longest) {
  const auto rest = events_.subspan(next_event_);
  std::uint32_t frames = longest;
  if (rest.size() > host::max_midi_events) {
    const std::uint64_t first_left_over = offset_of(rest[host::max_midi_events]);
    frames = static_cast<std::uint32_t>(std::clamp<std::uint64_t>(first_left_over, 1, longest));
  }
  slots_.clear();
  for (const TimedMidiEvent& event :
       rest.first(std::min<std::size_t>(rest.size(), host::max_midi_events))) {
    const std::uint64_t offset = offset_of(event);
    if (offset >= frames) break;
    slots_.push_back(
        {event.status, event.data1, event.data2, 0, static_cast<std::uint32_t>(offset)});
  }
  next_event_ += slots_.size();
  period_start_ += frames;
  return {frames, slots_};
}

}  // namespace vesk::tools
