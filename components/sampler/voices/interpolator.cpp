#include "components/sampler/voices/interpolator.hpp"

#include <algorithm>
#include <cmath>
#include <numbers>

namespace vesk::sampler {
namespace {

constexpr unsigned phase_bits = 8;
constexpr double attenuation_db = 96;

/// The modified Bessel function of order 0.
double bessel_i0(double x) {
  double sum = 1, term = 1;
  for (int k = 1; term > sum * 1e-12; ++k) {
    term *= (x / (2 * k)) * (x / (2 * k));
    sum += term;
  }
  return sum;
}

/// The width of the slope that a Kaiser window of so many taps makes, as a share of the band.
double slope_of(unsigned taps) {
  return (attenuation_db - 8) / (2.285 * (taps - 1)) / std::numbers::pi;
}

SincKernel make_kernel(double ratio, unsigned taps, double cutoff) {
  SincKernel kernel{ratio, taps, phase_bits, {}};
  const double beta = 0.1102 * (attenuation_db - 8.7);
  const double half = taps / 2.0;
  const unsigned phases = 1u << phase_bits;
  // The half of the impulse response that is not a mirror of the other.
  std::vector<double> response(taps / 2 * phases + 1);
  for (std::size_t i = 0; i < response.size(); ++i) {
    const double x = static_cast<double>(i) / phases;
    const double angle = std::numbers::pi * cutoff * x;
    const double window = bessel_i0(beta * std::sqrt(1 - x / half * (x / half))) / bessel_i0(beta);
    response[i] = (i == 0 ? 1 : std::sin(angle) / angle) * window;
  }
  kernel.pieces.resize((phases + 1) * taps * sizeof(float) / sizeof(SincKernel::Piece));
  float* row = kernel.pieces.front().values;
  for (unsigned phase = 0; phase <= phases; ++phase, row += taps) {
    const auto at = [&](unsigned tap) {
      return response[std::abs(static_cast<int>((tap + 1) * phases - phase) -
                               static_cast<int>(taps / 2 * phases))];
    };
    double sum = 0;
    for (unsigned tap = 0; tap < taps; ++tap) sum += at(tap);
    // A constant stays the same in every phase.
    for (unsigned tap = 0; tap < taps; ++tap) row[tap] = static_cast<float>(at(tap) / sum);
  }
  return kernel;
}

template <unsigned channels, unsigned taps>
[[gnu::always_inline]] inline void convolve(const SincKernel& kernel, const float* const* input,
                                            const Course& course, float* const* output,
                                            unsigned outputs) noexcept VESK_REALTIME {
  // Sums in any order: in parallel.
#pragma clang fp reassociate(on) contract(fast)
  constexpr unsigned first = (window_frames - taps) / 2;
  constexpr unsigned fraction_bits = 32 - phase_bits;
  const float* const rows = kernel.pieces.front().values;
  FixedFrames position = course.position, step = course.step;
  for (unsigned i = 0; i < outputs; ++i) {
    const auto fraction = static_cast<std::uint32_t>(position);
    const float* const row = rows + std::size_t{fraction >> fraction_bits} * taps;
    const float* const next = row + taps;
    const auto between =
        static_cast<float>(fraction & ((1u << fraction_bits) - 1)) * (1.0f / (1u << fraction_bits));
    const float* const left = input[0] + (position >> 32) + first;
    const float* const right = input[channels - 1] + (position >> 32) + first;
    float sum_left = 0, sum_right = 0;
    for (unsigned tap = 0; tap < taps; ++tap) {
      const float coefficient = row[tap] + between * (next[tap] - row[tap]);
      sum_left += coefficient * left[tap];
      if constexpr (channels == 2) sum_right += coefficient * right[tap];
    }
    output[0][i] = sum_left;
    if constexpr (channels == 2) output[1][i] = sum_right;
    position += step;
    step += course.step_change;
  }
}

template <unsigned channels>
[[gnu::always_inline]] inline void run(const SincKernel& kernel, const float* const* input,
                                       const Course& course, float* const* output,
                                       unsigned outputs) noexcept VESK_REALTIME {
  if (course.step == one_frame && course.step_change == 0 &&
      static_cast<std::uint32_t>(course.position) == 0 && kernel.taps == 64) {
    // The first phase of this kernel is 1 in the middle and 0 elsewhere.
    for (unsigned channel = 0; channel < channels; ++channel)
      std::copy_n(input[channel] + (course.position >> 32) + window_centre, outputs,
                  output[channel]);
    return;
  }
  if (kernel.taps == 64)
    convolve<channels, 64>(kernel, input, course, output, outputs);
  else
    convolve<channels, 128>(kernel, input, course, output, outputs);
}

template <unsigned channels>
void run_anywhere(const SincKernel& kernel, const float* const* input, const Course& course,
                  float* const* output, unsigned outputs) noexcept VESK_REALTIME {
  run<channels>(kernel, input, course, output, outputs);
}

#if defined(__x86_64__)
template <unsigned channels>
[[gnu::target("avx2,fma")]] void run_with_avx2(const SincKernel& kernel, const float* const* input,
                                               const Course& course, float* const* output,
                                               unsigned outputs) noexcept VESK_REALTIME {
  run<channels>(kernel, input, course, output, outputs);
}
#endif

}  // namespace

SincKernels::SincKernels() : mono_(run_anywhere<1>), stereo_(run_anywhere<2>) {
#if defined(__x86_64__)
  if (__builtin_cpu_supports("avx2") && __builtin_cpu_supports("fma")) {
    mono_ = run_with_avx2<1>;
    stereo_ = run_with_avx2<2>;
  }
#endif
  // To a semitone up nothing comes down into what can be heard.
  kernels_.push_back(make_kernel(std::exp2(1 / 12.0), 64, 1));
  // Six an octave, where most notes are; three above, to three octaves.
  for (int sixth = 1; sixth <= 18; sixth += sixth < 6 ? 1 : 2) {
    const double ratio = std::exp2(sixth / 6.0);
    kernels_.push_back(make_kernel(ratio, 128, 1 / ratio - slope_of(128) / 2));
  }
}

const SincKernels& SincKernels::shared() {
  static const SincKernels kernels;
  return kernels;
}

const SincKernel& SincKernels::for_ratio(double ratio) const noexcept VESK_REALTIME {
  for (const SincKernel& kernel : kernels_)
    if (ratio <= kernel.highest_ratio) return kernel;
  return kernels_.back();
}

void SincKernels::mono(const SincKernel& kernel, const float* input, const Course& course,
                       float* output, unsigned outputs) const noexcept VESK_REALTIME {
  mono_(kernel, &input, course, &output, outputs);
}

void SincKernels::stereo(const SincKernel& kernel, const float* const input[2],
                         const Course& course, float* const output[2],
                         unsigned outputs) const noexcept VESK_REALTIME {
  stereo_(kernel, input, course, output, outputs);
}

}  // namespace vesk::sampler
