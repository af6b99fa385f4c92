#pragma once

#include <cstdint>
#include <span>

#include "host/block.hpp"
#include "platform/realtime.hpp"
#include "tools/midi/midi_file.hpp"

namespace vesk::tools {

/// An arpeggio over two octaves and two seconds, from soft to loud: what to listen to while a
/// plugin is set up, or to watch on its meters.
Song test_notes();

/// Turns notes into audio for plugins that take audio: one plucked sine at a time.
class PluckedTone {
 public:
  explicit PluckedTone(double sample_rate) : sample_rate_(sample_rate) {}

  /// Fills `samples` with what goes on and what the period's note-ons begin. Real-time safe.
  void play(std::span<const host::MidiEvent> events,
            std::span<float> samples) noexcept VESK_REALTIME;

 private:
  void pluck(std::uint8_t note, std::uint8_t velocity) noexcept VESK_REALTIME;

  double sample_rate_;  // Hz
  double phase_ = 0.0;  // radians
  double step_ = 0.0;
  double amplitude_ = 0.0;
  double decay_ = 0.0;  // factor a frame
};

}  // namespace vesk::tools
