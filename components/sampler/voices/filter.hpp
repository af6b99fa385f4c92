#pragma once

// The filter of a voice: state variable sections in the form that keeps its promises while its
// frequency moves (trapezoidal integrators, after Zavalishin and Simper).

#include "components/sampler/instrument/instrument.hpp"
#include "platform/realtime.hpp"

namespace vesk::sampler {

/// The frequency of a cutoff of 0..1: 20 Hz to 20 kHz.
double cutoff_hz(double cutoff) noexcept VESK_REALTIME;

class VoiceFilter {
 public:
  /// Silent inside.
  void start(Filter::Kind kind, double rate) noexcept VESK_REALTIME;
  /// Filters in place, one channel or two (`right` null). The frequency moves to `hz` in the course
  /// of the block, from where the last one ended; `resonance` is 0..1.
  void run(float* left, float* right, unsigned frames, double hz,
           double resonance) noexcept VESK_REALTIME;

 private:
  struct Section {
    float first = 0, second = 0;
    float tick(float input, float g, float damping, float scale,
               Filter::Kind kind) noexcept VESK_REALTIME;
  };

  Filter::Kind kind_ = Filter::Kind::low24;
  double rate_ = 0;
  float g_ = -1;  ///< tan(pi f / rate) where the last block ended; below 0 before the first
  Section sections_[2][2];  ///< of each channel
  float pole_[2] = {};
};

}  // namespace vesk::sampler
