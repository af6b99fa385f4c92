#pragma once

// What a sine in a recording is.

#include <cmath>
#include <complex>
#include <numbers>
#include <span>

namespace vesk::tests {

struct Tone {
  double cents = 0;     ///< above the frequency that was expected
  double level_db = 0;  ///< of its peak
};

/// Measured from two windows half a recording apart: how far the phase has turned between them
/// tells the frequency. For tones within 20 cents of `expected_hz`, of a tenth of a second and
/// more.
inline Tone measure_tone(std::span<const float> recording, double sample_rate, double expected_hz) {
  const std::size_t window = recording.size() / 2;
  const double step = 2 * std::numbers::pi * expected_hz / sample_rate;
  const auto at = [&](std::size_t first, double frequency_step) {
    std::complex<double> sum = 0;
    double weights = 0;
    for (std::size_t i = 0; i < window; ++i) {
      const double weight =
          1 - std::cos(2 * std::numbers::pi * static_cast<double>(i) / static_cast<double>(window));
      weights += weight;
      sum += weight * static_cast<double>(recording[first + i]) *
             std::polar(1.0, -frequency_step * static_cast<double>(first + i));
    }
    return 2.0 * sum / weights;
  };
  // Not so far apart that a turn is lost.
  const std::size_t apart =
      std::min(window, static_cast<std::size_t>(sample_rate / expected_hz * 20));
  const double turned = std::arg(at(apart, step) / at(0, step)) / static_cast<double>(apart);
  return {1200 * std::log2(1 + turned / step), 20 * std::log10(std::abs(at(0, step + turned)))};
}

}  // namespace vesk::tests
