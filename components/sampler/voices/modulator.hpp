#pragma once

// What bends a voice while it sounds: low frequency oscillators, and the slots that lead sources to
// destinations.

#include <array>
#include <cstdint>
#include <span>

#include "components/sampler/instrument/instrument.hpp"
#include "platform/realtime.hpp"

namespace vesk::sampler {

/// A triangle from 0 upwards that fades in, anew with each note. Of the shapes that an instrument
/// can name only the triangle is known for certain; the others play as one.
class LfoGenerator {
 public:
  void start(const Lfo& lfo, double rate) noexcept VESK_REALTIME;
  void skip(unsigned frames) noexcept VESK_REALTIME;
  /// -1..1.
  double value() const noexcept VESK_REALTIME;

 private:
  double phase_ = 0, phase_step_ = 0;  ///< periods
  double fade_ = 1, fade_step_ = 0;    ///< 0..1
};

/// What slots read at one moment.
struct ModulationSources {
  const std::array<std::uint8_t, 128>* controllers = nullptr;
  double velocity = 0;  ///< 0..1
  double key = 0;       ///< -1..1, 0 at the middle C
  double pressure = 0;  ///< 0..1
  double lfos[3] = {};
  double amplitude_envelope = 0, filter_envelope = 0;
};

/// What slots come to.
struct ModulationSums {
  double pitch_cents = 0;
  double cutoff = 0, resonance = 0;  ///< added to the filter's
  double gain = 1;
  double pan = 0;
};

ModulationSums modulate(std::span<const Modulation> slots,
                        const ModulationSources& sources) noexcept VESK_REALTIME;

}  // namespace vesk::sampler
