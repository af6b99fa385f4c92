#include "components/sampler/voices/filter.hpp"

#include <algorithm>
#include <cmath>
#include <numbers>

namespace vesk::sampler {
namespace {

/// What a kind is made of: sections of two poles with the damping (1/Q) of a Butterworth filter,
/// the resonant one first, and a single pole.
struct Shape {
  unsigned sections;
  float damping[2];
  bool has_pole;
};

Shape shape_of(Filter::Kind kind) noexcept VESK_REALTIME {
  switch (kind) {
    case Filter::Kind::low24:
      return {2, {0.76537f, 1.84776f}, false};
    case Filter::Kind::low18:
      return {1, {1, 0}, true};
    case Filter::Kind::low6:
      return {0, {0, 0}, true};
    case Filter::Kind::low12:
    case Filter::Kind::high12:
    case Filter::Kind::band12:
      break;
  }
  return {1, {std::numbers::sqrt2_v<float>, 0}, false};
}

/// At full resonance: a peak of 26 dB, short of ringing by itself.
constexpr float least_damping = 0.05f;

void drop_denormal(float& state) noexcept VESK_REALTIME {
  if (std::abs(state) < 1e-20f) state = 0;
}

}  // namespace

double cutoff_hz(double cutoff) noexcept VESK_REALTIME {
  return 20 * std::pow(1000.0, std::clamp(cutoff, 0.0, 1.0));
}

void VoiceFilter::start(Filter::Kind kind, double rate) noexcept VESK_REALTIME {
  *this = {};
  kind_ = kind;
  rate_ = rate;
}

float VoiceFilter::Section::tick(float input, float g, float damping, float scale,
                                 Filter::Kind kind) noexcept VESK_REALTIME {
  const float high = (input - (damping + g) * first - second) * scale;
  const float band = g * high + first;
  const float low = g * band + second;
  first = g * high + band;
  second = g * band + low;
  if (kind == Filter::Kind::high12) return high;
  return kind == Filter::Kind::band12 ? band * damping : low;
}

void VoiceFilter::run(float* left, float* right, unsigned frames, double hz,
                      double resonance) noexcept VESK_REALTIME {
  const Shape shape = shape_of(kind_);
  const auto wet = static_cast<float>(std::clamp(resonance, 0.0, 1.0));
  const float damping[2] = {shape.damping[0] + wet * (least_damping - shape.damping[0]),
                            shape.damping[1]};
  // Below the band's end, where the tangent grows out of hand.
  const auto g_end = static_cast<float>(std::tan(std::numbers::pi * std::min(hz / rate_, 0.45)));
  if (g_ < 0) g_ = g_end;
  const float change = (g_end - g_) / static_cast<float>(frames);
  float* const channels[2] = {left, right};
  const unsigned count = right != nullptr ? 2 : 1;
  for (unsigned i = 0; i < frames; ++i) {
    g_ += change;
    const float scale[2] = {1 / (1 + g_ * (g_ + damping[0])), 1 / (1 + g_ * (g_ + damping[1]))};
    for (unsigned channel = 0; channel < count; ++channel) {
      float value = channels[channel][i];
      for (unsigned k = 0; k < shape.sections; ++k)
        value = sections_[channel][k].tick(value, g_, damping[k], scale[k], kind_);
      if (shape.has_pole) {
        const float step = (value - pole_[channel]) * g_ / (1 + g_);
        value = pole_[channel] + step;
        pole_[channel] = value + step;
      }
      channels[channel][i] = value;
    }
  }
  g_ = g_end;
  for (unsigned channel = 0; channel < count; ++channel) {
    for (Section& section : sections_[channel]) {
      drop_denormal(section.first);
      drop_denormal(section.second);
    }
    drop_denormal(pole_[channel]);
  }
}

}  // namespace vesk::sampler
