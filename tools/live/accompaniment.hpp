#pragma once

#include <array>
#include <atomic>
#include <span>

#include "host/block.hpp"
#include "platform/realtime.hpp"
#include "tools/midi/rounds.hpp"
#include "tools/midi/test_notes.hpp"

namespace vesk::tools {

/// A song that a chain is played over and over, beside what it is played by others.
class Accompaniment {
 public:
  /// With `as_tones` it is audio too, for a chain that starts with an effect. `sample_rate` in Hz.
  Accompaniment(Song song, bool as_tones, double sample_rate);
  Accompaniment(const Accompaniment&) = delete;
  Accompaniment& operator=(const Accompaniment&) = delete;

  /// Another sample rate, with which the song begins again. Any thread.
  void set_sample_rate(double hz) { wanted_rate_.store(hz, std::memory_order_relaxed); }

  // ---- The audio thread; real-time safe. ----

  /// The song's next period, of at most `longest` frames (1 to 4096).
  Period next(std::uint32_t longest) noexcept VESK_REALTIME;
  /// That period as audio; empty where the song is events alone.
  std::span<const float> tones() const noexcept VESK_REALTIME { return tones_; }

 private:
  const Song song_;
  const bool as_tones_;
  std::atomic<double> wanted_rate_;
  double rate_;
  Rounds rounds_;
  PluckedTone tone_;
  std::array<float, host::buffer_frames> samples_;
  std::span<const float> tones_;
};

}  // namespace vesk::tools
