#pragma once

// Sines in what was rendered, by least squares.

#include <cmath>
#include <numbers>
#include <span>

namespace vesk::tests {

struct SineFit {
  double level = 0;  ///< peak
  double phase = 0;  ///< of the first frame, -0.5..0.5 turns
  double rest = 0;   ///< peak level of a sine with the power of what is not the sine
};

/// The sine of that many turns a frame that is nearest to the frames.
inline SineFit fit_sine(std::span<const float> frames, double turns) {
  double cc = 0, ss = 0, cs = 0, yc = 0, ys = 0, yy = 0;
  for (std::size_t i = 0; i < frames.size(); ++i) {
    const double angle = 2 * std::numbers::pi * turns * static_cast<double>(i);
    const double c = std::cos(angle), s = std::sin(angle), y = frames[i];
    cc += c * c, ss += s * s, cs += c * s, yc += y * c, ys += y * s, yy += y * y;
  }
  const double determinant = cc * ss - cs * cs;
  const double a = (yc * ss - ys * cs) / determinant, b = (ys * cc - yc * cs) / determinant;
  const double rest = yy - a * yc - b * ys;
  return {std::hypot(a, b), std::atan2(a, b) / (2 * std::numbers::pi),
          std::sqrt(std::max(rest, 0.0) * 2 / static_cast<double>(frames.size()))};
}

/// How far a sine is above the pitch of that many turns a frame, in cents: by its phase in the
/// first and the last eighth. Within half a turn over the whole.
inline double cents_above(std::span<const float> frames, double turns) {
  const std::size_t part = frames.size() / 8, apart = frames.size() - part;
  const double expected = turns * static_cast<double>(apart);
  const double turned =
      fit_sine(frames.subspan(apart), turns).phase - fit_sine(frames.first(part), turns).phase;
  const double error = std::remainder(turned - expected, 1.0) / static_cast<double>(apart);
  return 1200 * std::log2(1 + error / turns);
}

inline double decibels(double ratio) {
  return 20 * std::log10(std::max(ratio, 1e-12));
}

}  // namespace vesk::tests
