#include "tools/midi/period_events.hpp"

#include <cmath>

namespace vesk::tools {

PeriodEvents::PeriodEvents(std::span<const TimedMidiEvent> events, double sample_rate)
    : events_(events), sample_rate_(sample_rate) {
  period_.reserve(host::max_midi_events);
}

std::span<const host::MidiEvent> PeriodEvents::next(std::uint32_t frames) {
  period_.clear();
  while (next_event_ < events_.size() && period_.size() < host::max_midi_events) {
    const TimedMidiEvent& event = events_[next_event_];
    const auto frame = static_cast<std::uint64_t>(std::llround(event.seconds * sample_rate_));
    if (frame >= period_start_ + frames) break;
    host::MidiEvent slot{};
    slot.status = event.status;
    slot.data1 = event.data1;
    slot.data2 = event.data2;
    slot.offset = frame > period_start_ ? static_cast<std::uint32_t>(frame - period_start_) : 0;
    period_.push_back(slot);
    ++next_event_;
  }
  period_start_ += frames;
  return period_;
}

}  // namespace vesk::tools
