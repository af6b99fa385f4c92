#include "tools/soak/signal_source.hpp"

#include <algorithm>
#include <iterator>

namespace vesk::tools {
namespace {

constexpr double note_seconds = 0.2;
// The last ones are drums of General MIDI as well.
constexpr std::uint8_t keys[] = {60, 72, 48, 67, 84, 36, 38, 42, 24, 96};
constexpr float noise_level = 0.25f;

std::uint8_t key_of(int note) {
  return keys[static_cast<std::size_t>(note) % std::size(keys)];
}

}  // namespace

SignalSource::SignalSource(double sample_rate_hz, bool takes_midi, bool is_effect)
    : frames_a_note_(note_seconds * sample_rate_hz),
      takes_midi_(takes_midi),
      is_effect_(is_effect) {}

void SignalSource::add_notes(unsigned frames) {
  for (; to_next_note_ < frames; to_next_note_ += frames_a_note_) {
    const auto offset = static_cast<std::uint32_t>(to_next_note_);
    const auto add = [&](std::uint8_t status, std::uint8_t data1, std::uint8_t data2) {
      events_.push_back({status, data1, data2, 0, offset});
    };
    if (note_ > 0) add(0x80, key_of(note_ - 1), 0);
    if (note_ % 4 == 3) {
      add(0xE0, 0, static_cast<std::uint8_t>(note_ * 37 % 128));
      add(0xB0, 1, static_cast<std::uint8_t>(note_ * 53 % 128));
    }
    add(0x90, key_of(note_), static_cast<std::uint8_t>(60 + note_ * 29 % 68));
    ++note_;
  }
  to_next_note_ -= frames;
}

std::span<const client::MidiEvent> SignalSource::play(client::HostProcess& host, unsigned frames) {
  events_.clear();
  if (is_effect_)
    for (const unsigned channel : {0u, 1u})
      for (float& sample : host.input(channel).first(frames)) {
        noise_ = noise_ * 1'664'525u + 1'013'904'223u;
        sample = noise_level * static_cast<float>(static_cast<std::int32_t>(noise_)) * 0x1p-31f;
      }
  if (takes_midi_) add_notes(frames);
  is_resting_ = false;
  return events_;
}

std::span<const client::MidiEvent> SignalSource::rest(client::HostProcess& host, unsigned frames) {
  events_.clear();
  for (const unsigned channel : {0u, 1u})
    std::ranges::fill(host.input(channel).first(frames), 0.0f);
  if (takes_midi_ && !is_resting_ && frames > 0) {
    events_.push_back({0x80, key_of(note_ - 1), 0, 0, 0});
    events_.push_back({0xB0, 123, 0, 0, 0});
    is_resting_ = true;
    to_next_note_ = 0;
  }
  return events_;
}

}  // namespace vesk::tools
