#include "tools/midi/test_notes.hpp"

#include <cmath>
#include <cstddef>
#include <numbers>

namespace vesk::tools {
namespace {

constexpr double note_seconds = 0.25;
constexpr double held_seconds = 0.2;
constexpr double decay_seconds = 0.12;  // to 1/e
constexpr double loudest = 0.5;

}  // namespace

Song test_notes() {
  constexpr std::uint8_t keys[] = {48, 55, 60, 64, 67, 72, 67, 60};
  Song song;
  double start = 0.0;
  std::uint8_t velocity = 40;
  for (const std::uint8_t key : keys) {
    song.events.push_back({start, 0x90, key, velocity});
    song.events.push_back({start + held_seconds, 0x80, key, 0});
    start += note_seconds;
    velocity += 12;
  }
  song.length_seconds = start;
  song.marks = {{.tempo = 60 / (2 * note_seconds)}};  // a note is half a beat
  return song;
}

void PluckedTone::pluck(std::uint8_t note, std::uint8_t velocity) noexcept VESK_REALTIME {
  const double hz = 440.0 * std::exp2((note - 69) / 12.0);
  phase_ = 0.0;
  step_ = 2.0 * std::numbers::pi * hz / sample_rate_;
  amplitude_ = loudest * velocity / 127.0;
  decay_ = std::exp(-1.0 / (decay_seconds * sample_rate_));
}

void PluckedTone::play(std::span<const host::MidiEvent> events,
                       std::span<float> samples) noexcept VESK_REALTIME {
  std::size_t next = 0;
  for (std::size_t i = 0; i < samples.size(); ++i) {
    for (; next < events.size() && events[next].offset <= i; ++next) {
      const host::MidiEvent& event = events[next];
      if ((event.status & 0xF0) == 0x90 && event.data2 > 0) pluck(event.data1, event.data2);
    }
    samples[i] = static_cast<float>(amplitude_ * std::sin(phase_));
    phase_ = std::remainder(phase_ + step_, 2.0 * std::numbers::pi);
    amplitude_ *= decay_;
  }
}

}  // namespace vesk::tools
