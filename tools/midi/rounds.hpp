#pragma once

#include <array>
#include <cstddef>
#include <cstdint>

#include "platform/realtime.hpp"
#include "tools/midi/midi_file.hpp"
#include "tools/midi/period_events.hpp"

namespace vesk::tools {

/// The periods of a song that begins again when it has ended. Without events it is silence.
class Rounds {
 public:
  /// `song` must outlive this. `sample_rate` in Hz.
  Rounds(const Song& song, double sample_rate) noexcept VESK_REALTIME;

  /// As `PeriodEvents::next`. Real-time safe.
  Period next(std::uint32_t longest) noexcept VESK_REALTIME;

 private:
  static constexpr std::size_t channels = 16;

  const Song* song_;
  double sample_rate_;
  PeriodEvents events_;
  std::uint64_t frame_ = 0;
  std::array<client::MidiEvent, channels> silence_;
};

}  // namespace vesk::tools
