#pragma once

// How a voice's level moves from the start of a note to its end.

#include <cstdint>

#include "components/sampler/instrument/instrument.hpp"
#include "platform/realtime.hpp"

namespace vesk::sampler {

/// The shortest release: a note that ends at once clicks.
constexpr double shortest_release = 0.005;

/// Delay, attack, hold, decay, sustain and release, to the frame.
///
/// The attack is linear in amplitude: in decibels it would be silent for most of its time. Decay
/// and release are exponential, a straight line in decibels, as what dies away by itself; the
/// release aims a little below silence (80 dB), so that it arrives there in its time.
class EnvelopeGenerator {
 public:
  /// From silence. `attack_seconds` stands in for `envelope.attack`; the rate is frames a second.
  void start(const Envelope& envelope, double attack_seconds, double rate) noexcept VESK_REALTIME;
  /// From wherever it is to silence.
  void release(double seconds) noexcept VESK_REALTIME;
  /// Writes the next levels, 0..1.
  void write(float* levels, unsigned frames) noexcept VESK_REALTIME;
  /// Passes over as many.
  void skip(unsigned frames) noexcept VESK_REALTIME;
  float level() const noexcept VESK_REALTIME { return static_cast<float>(level_); }
  bool has_ended() const noexcept VESK_REALTIME { return stage_ == Stage::ended; }

 private:
  enum class Stage : std::uint8_t { delay, attack, hold, decay, sustain, release, ended };

  void begin(Stage stage) noexcept VESK_REALTIME;
  void follow(double seconds, double factor, double addend, double end) noexcept VESK_REALTIME;
  void stay(double level, double seconds) noexcept VESK_REALTIME;
  void fall(double to, double seconds) noexcept VESK_REALTIME;

  Envelope envelope_;
  double rate_ = 0;
  Stage stage_ = Stage::ended;
  std::uint64_t left_ = 0;  ///< frames of this stage
  /// Each frame: level = level * factor + addend; `end_` when the stage is over.
  double level_ = 0, factor_ = 1, addend_ = 0, end_ = 0;
};

}  // namespace vesk::sampler
