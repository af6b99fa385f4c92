#pragma once

// Samples at other rates than their own: a windowed sinc whose phases are interpolated.

#include <cstdint>
#include <vector>

#include "platform/realtime.hpp"

namespace vesk::sampler {

/// Every kernel fits in a window of so many frames, around its middle.
constexpr unsigned window_frames = 128;
/// The frame of a window that an output exactly on a frame is.
constexpr unsigned window_centre = window_frames / 2 - 1;
/// A voice reads at most so many frames for one of output; higher notes play at this speed.
constexpr unsigned highest_ratio = 64;

/// Frames and 2^-32 of a frame. A pitch is off by less than a millionth of a cent, however long a
/// note lasts.
using FixedFrames = std::int64_t;
constexpr FixedFrames one_frame = FixedFrames{1} << 32;

/// How a block of output runs through the input: `position` counts from the frame
/// `window_centre` of the input, each output's `step` is `step_change` more than the one before.
struct Course {
  FixedFrames position = 0;
  FixedFrames step = one_frame;
  FixedFrames step_change = 0;

  /// The position after so many outputs.
  FixedFrames after(unsigned outputs) const noexcept VESK_REALTIME {
    const auto n = static_cast<FixedFrames>(outputs);
    return position + n * step + n * (n - 1) / 2 * step_change;
  }
};

/// The coefficients for a range of ratios: rows of `taps`, one row more than 2^`phase_bits`.
struct SincKernel {
  double highest_ratio = 1;
  unsigned taps = 0;
  unsigned phase_bits = 0;
  /// The size of a cache line, so that no load of coefficients takes two.
  struct alignas(64) Piece {
    float values[16];
  };
  std::vector<Piece> pieces;
};

/// The kernels, made once and shared by all players of a process.
///
/// Kaiser windows with 96 dB of attenuation. Up to a semitone above the sample's pitch: 64 taps,
/// the band's edge in the middle of the slope, so that what lies below 0.9 of the sample's band is
/// as it was and has no images. Above: 128 taps, all of the slope below the band of the output, so
/// that nothing aliases to where no slope is left (three octaves).
class SincKernels {
 public:
  /// Made by the first call, in some milliseconds: not for the render thread.
  static const SincKernels& shared();

  /// The kernel for input frames a frame of output.
  const SincKernel& for_ratio(double ratio) const noexcept VESK_REALTIME;

  /// Writes `outputs` frames. `input` has a window for every output, to the last frame that the
  /// course comes to.
  void mono(const SincKernel& kernel, const float* input, const Course& course, float* output,
            unsigned outputs) const noexcept VESK_REALTIME;
  void stereo(const SincKernel& kernel, const float* const input[2], const Course& course,
              float* const output[2], unsigned outputs) const noexcept VESK_REALTIME;

 private:
  using Run = void (*)(const SincKernel&, const float* const*, const Course&, float* const*,
                       unsigned) noexcept VESK_REALTIME;
  SincKernels();

  std::vector<SincKernel> kernels_;
  Run mono_, stereo_;
};

}  // namespace vesk::sampler
